// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDateTime.h"

#include <chrono>
#include <cmath>
#include <limits>
#include <optional>

namespace KxN {

namespace {

namespace chrono = std::chrono;

constexpr long long dayHundredths = 24LL * 60 * 60 * 100;
constexpr chrono::sys_days origin = chrono::year{1899} / 12 / 30;

/// Days since the origin; none if there is no such date.
std::optional<long long> DaysOf(long long year, long long month, long long day) {
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31) return std::nullopt;
    chrono::year_month_day const date(chrono::year(static_cast<int>(year)), chrono::month(static_cast<unsigned>(month)),
                                      chrono::day(static_cast<unsigned>(day)));
    if (!date.ok()) return std::nullopt;
    return (chrono::sys_days(date) - origin).count();
}

std::optional<long long> HundredthsOf(long long hour, long long minute, long long second, long long hundredths) {
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) return std::nullopt;
    return ((hour * 60 + minute) * 60 + second) * 100 + hundredths;
}

std::optional<long long> DaysOfNumber(unsigned long date) {
    if (date > 99991231) return std::nullopt;
    long long const number = static_cast<long long>(date);
    return DaysOf(number / 10000, number / 100 % 100, number % 100);
}

long long FloorDays(long long hundredths) {
    long long const days = hundredths / dayHundredths;
    return days * dayHundredths > hundredths ? days - 1 : days;
}

chrono::year_month_day DateOf(long long hundredths) {
    return origin + chrono::days(FloorDays(hundredths));
}

}  // namespace

KxDateTime::KxDateTime(int year, int month, int day, int hour, int minute, int second) {
    SetDateTime(year, month, day, hour, minute, second);
}

KxDateTime::~KxDateTime() = default;

// A day number below ten million leaves a double a millionth of a hundredth: rounding gives what was stored.
long long KxDateTime::Hundredths() const {
    return std::llround(m_value * static_cast<double>(dayHundredths));
}

long long KxDateTime::DayHundredths() const {
    long long const all = Hundredths();
    return all - FloorDays(all) * dayHundredths;
}

long long KxDateTime::SortKey() const {
    return IsValid() ? Hundredths() : std::numeric_limits<long long>::min();
}

void KxDateTime::Set(long long days, long long hundredths) {
    m_value = static_cast<double>(days * dayHundredths + hundredths) / static_cast<double>(dayHundredths);
}

unsigned long KxDateTime::GetDate() const {
    if (!m_hasDate) return 0;
    return static_cast<unsigned long>(GetYear()) * 10000 + static_cast<unsigned long>(GetMonth() * 100 + GetDay());
}

void KxDateTime::SetDate(unsigned long date) {
    std::optional<long long> const days = DaysOfNumber(date);
    Set(days.value_or(0), DayHundredths());
    m_hasDate = days.has_value();
}

long KxDateTime::GetTime() const {
    if (GetHour() < 0) return 0;
    return ((GetHour() * 100L + GetMinute()) * 100 + GetSecond()) * 100 + GetHundredths();
}

void KxDateTime::SetTime(int hour, int minute, int second) {
    std::optional<long long> const time = HundredthsOf(hour, minute, second, 0);
    Set(FloorDays(Hundredths()), time.value_or(0));
    m_time = time ? TimeSet : TimeInvalid;
}

void KxDateTime::SetDateTime(int year, int month, int day, int hour, int minute, int second) {
    *this = KxDateTime();
    std::optional<long long> const days = DaysOf(year, month, day);
    std::optional<long long> const time = HundredthsOf(hour, minute, second, 0);
    m_time = TimeInvalid;
    if (!days || !time) return;
    Set(*days, *time);
    m_hasDate = true;
    m_time = TimeSet;
}

void KxDateTime::SetDateTime(unsigned long date, long time) {
    *this = KxDateTime();
    std::optional<long long> const days = DaysOfNumber(date);
    std::optional<long long> const hundredths =
        time < 0 || time > 23595999 ? std::nullopt
                                    : HundredthsOf(time / 1000000, time / 10000 % 100, time / 100 % 100, time % 100);
    m_time = TimeInvalid;
    if (!days || !hundredths) return;
    Set(*days, *hundredths);
    m_hasDate = true;
    m_time = TimeSet;
}

int KxDateTime::GetYear() const {
    return m_hasDate ? static_cast<int>(DateOf(Hundredths()).year()) : -1;
}

int KxDateTime::GetMonth() const {
    return m_hasDate ? static_cast<int>(static_cast<unsigned>(DateOf(Hundredths()).month())) : -1;
}

int KxDateTime::GetDay() const {
    return m_hasDate ? static_cast<int>(static_cast<unsigned>(DateOf(Hundredths()).day())) : -1;
}

int KxDateTime::TimePart(long long divisor, long long modulus) const {
    bool const known = m_time == TimeSet || (m_time == TimeUnset && m_hasDate);
    return known ? static_cast<int>(DayHundredths() / divisor % modulus) : -1;
}

int KxDateTime::GetHour() const {
    return TimePart(360000, 24);
}

int KxDateTime::GetMinute() const {
    return TimePart(6000, 60);
}

int KxDateTime::GetSecond() const {
    return TimePart(100, 60);
}

int KxDateTime::GetHundredths() const {
    return TimePart(1, 100);
}

KxDateTime KxDateTime::AddDays(long days) const {
    KxDateTime result = *this;
    if (!m_hasDate) return result;
    static long long const first = *DaysOf(1, 1, 1);
    static long long const last = *DaysOf(9999, 12, 31);
    long long const from = FloorDays(Hundredths());
    if (days < first - from || days > last - from) {
        result = KxDateTime();
        result.m_time = TimeInvalid;
        return result;
    }
    result.Set(from + days, DayHundredths());
    return result;
}

KxString KxDateTime::GetDateText() const {
    return m_hasDate ? KxString(KxxFormat(L"%02d.%02d.%04d", GetDay(), GetMonth(), GetYear())) : KxString();
}

KxString KxDateTime::GetTimeText() const {
    return GetHour() >= 0 ? KxString(KxxFormat(L"%02d:%02d:%02d", GetHour(), GetMinute(), GetSecond())) : KxString();
}

}  // namespace KxN
