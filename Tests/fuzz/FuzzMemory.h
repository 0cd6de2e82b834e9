// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What targets know of memory that fails, see Entry.cc.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

namespace memory {

/// Whether an allocation of this run was made to fail: then its results may tell that and nothing else.
inline constinit std::atomic<bool> g_hasFailed = false;
inline constinit std::atomic<bool> g_isSafe = false;

/// While it lives no allocation fails: for what a target does by itself, before and behind what it tries.
class Safe {
public:
    Safe() : m_former(g_isSafe.exchange(true)) {}
    Safe(Safe const&) = delete;
    Safe& operator=(Safe const&) = delete;
    ~Safe() { g_isSafe = m_former; }

private:
    bool m_former;
};

}  // namespace memory

/// A promise is broken: ends the process, or, since memory has failed, the target.
[[noreturn]] inline void Broken() {
    if (memory::g_hasFailed) throw std::bad_alloc();
    std::abort();
}
