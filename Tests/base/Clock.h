// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The clock of this process that can be set, and is set by tests.
#pragma once

#include <atomic>
#include <ctime>

namespace test {

/// By how many seconds it is behind that of the file system.
inline std::atomic<std::time_t> g_clockBehind = 0;
/// Unless it is 0, it goes a day forward or back each time it is asked for, and this counts.
inline std::atomic<int> g_clockJumps = 0;

}  // namespace test
