// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDateTime.h"

#include <algorithm>
#include <ctime>

namespace KxN {

namespace {

KxDateTime FromClock(std::time_t seconds, long hundredths) {
    KxDateTime result;
    std::tm local{};
    if (!::localtime_r(&seconds, &local)) return result;
    long const year = local.tm_year + 1900L;
    if (year < 1 || year > 9999) return result;
    int const second = std::min(local.tm_sec, 59);  // a leap second has no number of its own
    long const time = ((local.tm_hour * 100L + local.tm_min) * 100 + second) * 100 + hundredths;
    result.SetDateTime(static_cast<unsigned long>(year * 10000 + (local.tm_mon + 1) * 100 + local.tm_mday), time);
    return result;
}

}  // namespace

KxDateTime KxDateTime::Now() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return FromClock(now.tv_sec, now.tv_nsec / 10'000'000);
}

KxDateTime KxDateTime::FromUnixTime(long long seconds) {
    return FromClock(seconds, 0);
}

}  // namespace KxN
