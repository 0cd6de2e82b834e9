// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "syFutex.h"

#include "hbtools/base/sySync.h"

#include <cerrno>
#include <climits>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace KxN::detail {

static_assert(sizeof(std::atomic<int>) == 4 && std::atomic<int>::is_always_lock_free);

Deadline DeadlineAfter(unsigned long timeout) {
    if (timeout >= INFINITE) return std::nullopt;
    return Clock::now() + std::chrono::milliseconds(timeout);
}

bool SleepWhile(std::atomic<int> const& word, int value, Deadline deadline) {
    timespec until{};
    if (deadline) {
        auto const since = deadline->time_since_epoch();
        auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(since);
        until.tv_sec = seconds.count();
        until.tv_nsec = std::chrono::duration_cast<std::chrono::nanoseconds>(since - seconds).count();
    }
    // This form takes a moment of the monotonic clock, not a length.
    long const result = ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value,
                                  deadline ? &until : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void WakeOne(std::atomic<int> const* word) {
    ::syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, 1, nullptr, nullptr, 0);
}

void WakeAll(std::atomic<int> const* word) {
    ::syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace KxN::detail
