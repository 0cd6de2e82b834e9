// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxDateTime, a local date and time of day to the hundredth of a second, years 1 to 9999. Date and time are set
// and asked for apart, as numbers that files store: the date is year*10000 + month*100 + day, the time is
// ((hour*100 + minute)*100 + second)*100 + hundredths. Both forms survive a round trip exactly. An object
// starts with no date set, which GetDate shows as 0. Nothing throws; a value type, so any thread.
#pragma once

#include "hbtools/base/syString.h"

#include <compare>

namespace KxN {

class KX_API KxDateTime {
public:
    KxDateTime() = default;  ///< Nothing is set, IsValid is false.
    KxDateTime(int year, int month, int day, int hour, int minute, int second);
    KxDateTime(KxDateTime const&) = default;
    KxDateTime& operator=(KxDateTime const&) = default;
    virtual ~KxDateTime();

    /// The present moment in local time.
    static KxDateTime Now();
    /// Local time of a count of seconds since 1970-01-01 00:00 UTC.
    static KxDateTime FromUnixTime(long long seconds);

    /// True if a date is set and the time of day was not set to something impossible.
    bool IsValid() const { return m_hasDate && m_time != TimeInvalid; }

    unsigned long GetDate() const;  ///< The date number, 0 if no date is set.
    /// Sets the date and leaves the time of day. A number that is no date, such as 0, leaves no date set.
    void SetDate(unsigned long date);
    long GetTime() const;  ///< The time number, 0 if there is no time of day.
    /// Sets the time of day and leaves the date. Values out of range make the time invalid.
    void SetTime(int hour, int minute, int second);
    /// Sets both; anything out of range leaves the object invalid, without date and time.
    void SetDateTime(int year, int month, int day, int hour, int minute, int second);
    void SetDateTime(unsigned long date, long time);

    // Parts of the value; -1 where there is none. A date without a time of day stands at midnight.
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetHundredths() const;

    /// Days since 1899-12-30, the time of day as their fraction; 0 where nothing is set.
    double GetValue() const { return m_value; }
    /// The same time of day so many days later, invalid beyond the years 1 to 9999.
    KxDateTime AddDays(long days) const;

    /// "31.12.2024", "23:59:58"; empty where there is none.
    KxString GetDateText() const;
    KxString GetTimeText() const;

    /// By hundredths of a second. What is not valid is equal to its like and comes before everything else.
    friend bool operator==(KxDateTime const& a, KxDateTime const& b) { return a.SortKey() == b.SortKey(); }
    friend auto operator<=>(KxDateTime const& a, KxDateTime const& b) { return a.SortKey() <=> b.SortKey(); }

private:
    enum TimeState : unsigned char { TimeUnset, TimeSet, TimeInvalid };

    long long Hundredths() const;  // since 1899-12-30 00:00
    long long DayHundredths() const;
    long long SortKey() const;
    int TimePart(long long divisor, long long modulus) const;
    void Set(long long days, long long hundredths);

    double m_value = 0;
    bool m_hasDate = false;
    TimeState m_time = TimeUnset;
};

/// A moment, as seconds since 1970-01-01 00:00 UTC; 0 is none.
class CTime {
public:
    constexpr explicit CTime(long long seconds = 0) : m_seconds(seconds) {}
    constexpr long long GetTime() const { return m_seconds; }
    KxDateTime GetDateTime() const { return KxDateTime::FromUnixTime(m_seconds); }
    friend constexpr auto operator<=>(CTime const&, CTime const&) = default;

private:
    long long m_seconds;
};

}  // namespace KxN
