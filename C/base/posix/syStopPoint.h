// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Where a thread that is to stop or to die does so, when it was found where it must not: on its way out of the allocator, or
// at the end of what it holds.
#pragma once

#include <atomic>

namespace KxN::detail {

/// Somebody waits for the calling thread to stop. Set by its signal handler.
[[gnu::tls_model("initial-exec"), gnu::visibility("hidden")]] extern constinit thread_local int t_isAwaited;
/// How many Holds of the calling thread there are.
[[gnu::tls_model("initial-exec"), gnu::visibility("hidden")]] extern constinit thread_local int t_numHeld;

/// Stops or ends here, unless the caller at that address may hold locks itself.
[[gnu::cold, gnu::noinline]] void StopPoint(void const* caller) noexcept;
/// Stops or ends here.
[[gnu::cold, gnu::noinline]] void StopNow() noexcept;

/// While one lives the calling thread is neither suspended nor killed by others; what was asked for meanwhile happens at
/// the end of the outermost. For what other threads rely on: locks, and a change with the wake that belongs to it. Nobody waits
/// for a thread, nor halts or kills one, while he holds: that one may wait for him.
class Hold {
public:
    Hold() noexcept { Begin(); }
    Hold(Hold const&) = delete;
    Hold& operator=(Hold const&) = delete;
    ~Hold() { End(); }

    static void Begin() noexcept {
        ++t_numHeld;
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    static void End() noexcept {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (--t_numHeld == 0 && t_isAwaited) [[unlikely]]
            StopNow();
    }
};

}  // namespace KxN::detail
