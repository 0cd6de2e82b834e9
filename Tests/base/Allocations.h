// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Counts what is allocated, the library included, and lets an allocation fail. All sources of a test binary that include
// this, but one, define HBTOOLS_ALLOCATIONS_ELSEWHERE before.
#pragma once

#include "hbtools/base/syException.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <typeinfo>

namespace test {

inline thread_local std::size_t g_allocations = 0;
inline thread_local std::size_t g_allocatedBytes = 0;
inline thread_local int g_allocationsLeft = -1;  // before one fails; -1: none does

/// Lets the n-th allocation of the action fail, n = 0, 1, ..., until it gets through; `check` looks at each failure.
/// Returns the number of failures.
template <class Action, class Check>
int FailEachAllocation(Action action, Check check) {
    for (int n = 0;; ++n) {
        g_allocationsLeft = n;
        try {
            action();
            g_allocationsLeft = -1;
            return n;
        } catch (KxN::CException* exception) {
            g_allocationsLeft = -1;
            EXPECT_EQ(typeid(*exception), typeid(KxN::KxMemoryException));
            exception->Delete();
        } catch (std::bad_alloc const&) {
            g_allocationsLeft = -1;
        }
        check();
        if (testing::Test::HasFailure()) return n;
    }
}

}  // namespace test

#ifndef HBTOOLS_ALLOCATIONS_ELSEWHERE
// Not inlined, or the compiler sees free beside new and warns.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++test::g_allocations;
    test::g_allocatedBytes += size;
    if (test::g_allocationsLeft >= 0 && test::g_allocationsLeft-- == 0) throw std::bad_alloc();
    if (void* const memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    try {
        return operator new(size);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    operator delete(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    operator delete(memory);
}
#endif
