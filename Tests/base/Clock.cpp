// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Clock.h"

#include <sys/syscall.h>
#include <unistd.h>

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    auto const result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    if (result != 0 || clock != CLOCK_REALTIME) return result;
    time->tv_sec -= test::g_clockBehind;
    if (test::g_clockJumps > 0) time->tv_sec += ++test::g_clockJumps % 2 ? 86400 : -86400;
    return result;
}
