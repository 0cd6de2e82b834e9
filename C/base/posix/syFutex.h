// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Sleeping on a word of memory. Nothing but the word has a state, so that a thread that dies asleep leaves nothing behind.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>

namespace KxN::detail {

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>;  // none: for ever

/// `timeout` in milliseconds from now; 0xFFFFFFFF and more is for ever.
Deadline DeadlineAfter(unsigned long timeout);

/// Sleeps while the word has this value, until the deadline at most; false then. May return early.
bool SleepWhile(std::atomic<int> const& word, int value, Deadline deadline);

/// Wakes sleepers. Only the address is used: the word may be gone.
void WakeOne(std::atomic<int> const* word);
void WakeAll(std::atomic<int> const* word);

}  // namespace KxN::detail
