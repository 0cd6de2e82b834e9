// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The operator new of every program that is linked with the library, so that whoever handles exhausted memory is told
// how much was asked for. The memory is malloc's. The library's own requests are bound like those of everybody else
// (see C/CMakeLists.txt): with an operator new of the application's they all use that one.
//
// The run-time libraries of the sanitizers bring operators of their own, which tell new from malloc and stand before
// ours: in those builds ours are left out, and the handlers are never called.
#include "base/posix/syMutex.h"
#include "hbtools/base/syFault.h"
#include "hbtools/base/syObject.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <new>

namespace KxN {

namespace {

constinit thread_local unsigned long long t_requested = 0;
constinit std::atomic<KxOutOfMemoryHandler> g_handler = nullptr;
constinit std::atomic<KxUnexpectedFunction> g_unexpected = nullptr;
constinit detail::Mutex g_mutex;
constinit std::new_handler g_formerOfLanguage = nullptr;  // guarded by the mutex

/// What the language knows of our handlers.
void CallHandler() {
    KxOutOfMemoryHandler const handler = g_handler;
    if (!handler || handler(t_requested) == 0) throw std::bad_alloc();
}

}  // namespace

KxOutOfMemoryHandler KxxSetOutOfMemoryHandler(KxOutOfMemoryHandler handler) noexcept {
    std::lock_guard const lock(g_mutex);
    KxOutOfMemoryHandler const former = g_handler.exchange(handler);
    bool const isOurs = std::get_new_handler() == CallHandler;
    if (handler && !isOurs) g_formerOfLanguage = std::set_new_handler(CallHandler);
    if (!handler && isOurs) std::set_new_handler(g_formerOfLanguage);
    return former;
}

KxUnexpectedFunction KxxSetUnexpectedHandler(KxUnexpectedFunction handler) noexcept {
    return g_unexpected.exchange(handler);
}

void KxxUnexpected() {
    if (KxUnexpectedFunction const handler = g_unexpected) handler();
    std::terminate();
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HB_KEEP_OPERATORS
#endif
#endif
#else
#define HB_KEEP_OPERATORS
#endif

#ifndef HB_KEEP_OPERATORS
namespace {

void* Request(std::size_t size, std::size_t alignment) {
    if (alignment == 0) return std::malloc(size);
    void* memory = nullptr;
    return ::posix_memalign(&memory, std::max(alignment, sizeof(void*)), size) == 0 ? memory : nullptr;
}

[[gnu::cold, gnu::noinline]] void* RequestAgain(std::size_t size, std::size_t alignment) {
    for (;;) {
        std::new_handler const handler = std::get_new_handler();
        if (!handler) throw std::bad_alloc();
        unsigned long long const outer = t_requested;
        t_requested = size;
        try {
            handler();
        } catch (...) {
            t_requested = outer;
            throw;
        }
        t_requested = outer;
        if (void* const memory = Request(size, alignment)) return memory;
    }
}

[[gnu::always_inline]] inline void Leave() {
    if (detail::t_isAwaited) [[unlikely]]
        detail::StopPoint(__builtin_return_address(0));
}

[[gnu::always_inline]] inline void* Allocate(std::size_t size, std::size_t alignment) {
    size = std::max<std::size_t>(size, 1);
    void* memory = Request(size, alignment);
    if (!memory) memory = RequestAgain(size, alignment);
    Leave();
    return memory;
}

[[gnu::always_inline]] inline void Release(void* memory) {
    std::free(memory);
    Leave();
}

void* AllocateOrNull(std::size_t size, std::size_t alignment) noexcept {
    try {
        return Allocate(size, alignment);
    } catch (CException* exception) {
        exception->Delete();
    } catch (...) {  // whatever the handler throws
    }
    return nullptr;
}

constexpr std::size_t AlignmentOf(std::align_val_t alignment) {
    return static_cast<std::size_t>(alignment);
}

}  // namespace
#endif

}  // namespace KxN

#ifndef HB_KEEP_OPERATORS
// clang-format off
void* operator new(std::size_t size) { return KxN::Allocate(size, 0); }
void* operator new[](std::size_t size) { return KxN::Allocate(size, 0); }
void* operator new(std::size_t size, std::align_val_t to) { return KxN::Allocate(size, KxN::AlignmentOf(to)); }
void* operator new[](std::size_t size, std::align_val_t to) { return KxN::Allocate(size, KxN::AlignmentOf(to)); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return KxN::AllocateOrNull(size, 0); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return KxN::AllocateOrNull(size, 0); }
void* operator new(std::size_t size, std::align_val_t to, std::nothrow_t const&) noexcept {
    return KxN::AllocateOrNull(size, KxN::AlignmentOf(to));
}
void* operator new[](std::size_t size, std::align_val_t to, std::nothrow_t const&) noexcept {
    return KxN::AllocateOrNull(size, KxN::AlignmentOf(to));
}
void operator delete(void* memory) noexcept { KxN::Release(memory); }
void operator delete[](void* memory) noexcept { KxN::Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { KxN::Release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { KxN::Release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { KxN::Release(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { KxN::Release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { KxN::Release(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { KxN::Release(memory); }
void operator delete(void* memory, std::nothrow_t const&) noexcept { KxN::Release(memory); }
void operator delete[](void* memory, std::nothrow_t const&) noexcept { KxN::Release(memory); }
void operator delete(void* memory, std::align_val_t, std::nothrow_t const&) noexcept { KxN::Release(memory); }
void operator delete[](void* memory, std::align_val_t, std::nothrow_t const&) noexcept { KxN::Release(memory); }
// clang-format on
#endif
