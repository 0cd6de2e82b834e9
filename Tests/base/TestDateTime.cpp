// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDateTime.h"

#include "Support.h"

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace {

using namespace KxN;
using test::U;

TEST(DateTime, NumbersGoRound) {
    for (unsigned long const date :
         {10101u, 15000228u, 18991229u, 18991230u, 18991231u, 20000229u, 20240229u, 99991231u}) {
        // Hundredths of a day, a step that meets all digits.
        for (long hundredths = 0; hundredths < 8640000; hundredths += 71) {
            long const time = hundredths / 360000 * 1000000 + hundredths / 6000 % 60 * 10000 + hundredths % 6000;
            KxDateTime value;
            value.SetDateTime(date, time);
            ASSERT_TRUE(value.IsValid());
            ASSERT_EQ(value.GetDate(), date);
            ASSERT_EQ(value.GetTime(), time) << date;
            ASSERT_EQ(value.GetHour(), time / 1000000);
            ASSERT_EQ(value.GetHundredths(), time % 100);
        }
        KxDateTime last;
        last.SetDateTime(date, 23595999);
        EXPECT_EQ(last.GetTime(), 23595999) << date;
    }
}

TEST(DateTime, ValueCountsDays) {
    EXPECT_EQ(KxDateTime(1899, 12, 30, 0, 0, 0).GetValue(), 0.0);
    EXPECT_EQ(KxDateTime(1899, 12, 29, 12, 0, 0).GetValue(), -0.5);
    EXPECT_EQ(KxDateTime(2000, 1, 1, 18, 0, 0).GetValue(), 36526.75);
}

TEST(DateTime, NothingSetAndImpossible) {
    KxDateTime unset;
    EXPECT_FALSE(unset.IsValid());
    EXPECT_EQ(unset.GetDate(), 0u);
    EXPECT_EQ(unset.GetTime(), 0);
    EXPECT_EQ(unset.GetHour() + unset.GetMinute() + unset.GetSecond(), -3);
    EXPECT_EQ(U(unset.GetDateText()) + U(unset.GetTimeText()), "");
    for (unsigned long const date :
         {0ul, 1ul, 20230229ul, 20241301ul, 20240001ul, 20240100ul, 20240132ul, 101ul, 100000101ul, ~0ul}) {
        KxDateTime value(2024, 1, 1, 12, 0, 0), both;
        value.SetDate(date);
        both.SetDateTime(date, 0);
        EXPECT_FALSE(value.IsValid() || both.IsValid()) << date;
        EXPECT_EQ(value.GetDate(), 0u) << date;
        EXPECT_EQ(value.GetHour(), 12) << date;
    }
    for (long const time : {-1L, 24000000L, 600000L, 6000L, 2147483647L, -2147483647L - 1}) {
        KxDateTime value;
        value.SetDateTime(20240101, time);
        EXPECT_FALSE(value.IsValid()) << time;
        EXPECT_EQ(value.GetDate(), 0u) << time;
    }
    for (int const hour : {-1, 24, 2147483647, -2147483647 - 1}) {
        KxDateTime value(2024, 1, 1, 12, 0, 0);
        value.SetTime(hour, 0, 0);
        EXPECT_EQ(value.GetHour(), -1);
        EXPECT_EQ(value.GetDate(), 20240101u);
    }
    for (KxDateTime const& value :
         {KxDateTime(0, 1, 1, 0, 0, 0), KxDateTime(10000, 1, 1, 0, 0, 0), KxDateTime(2024, 0, 1, 0, 0, 0),
          KxDateTime(2024, 1, 1, 0, 60, 0), KxDateTime(2024, 1, 1, 0, -1, 0), KxDateTime(2024, 1, 1, 0, 0, -1)})
        EXPECT_FALSE(value.IsValid());
    EXPECT_EQ(unset.GetYear() + unset.GetMonth() + unset.GetDay(), -3);
    EXPECT_EQ(unset.AddDays(1), unset);
}

TEST(DateTime, TimeAndDateApart) {
    KxDateTime value;
    value.SetTime(23, 59, 58);
    EXPECT_FALSE(value.IsValid());
    EXPECT_EQ(value.GetTime(), 23595800);
    value.SetDate(20240229);
    EXPECT_TRUE(value.IsValid());
    EXPECT_EQ(U(value.GetDateText() + L" " + value.GetTimeText()), "29.02.2024 23:59:58");
    KxDateTime other;
    other.SetTime(-1, -1, -1);
    other.SetDate(18001231);
    EXPECT_EQ(other.GetDate(), 18001231u);
    EXPECT_EQ(other.GetSecond(), -1);
    EXPECT_FALSE(other.IsValid());
    other.SetTime(1, 2, 3);
    EXPECT_TRUE(other.IsValid());
    KxDateTime dateOnly;
    dateOnly.SetDate(20240229);
    EXPECT_EQ(U(dateOnly.GetTimeText()), "00:00:00");
}

TEST(DateTime, OrderAndDays) {
    KxDateTime const unset, early(1911, 1, 1, 0, 0, 0), late(9999, 1, 1, 0, 0, 0);
    EXPECT_TRUE(unset < early && early < late && unset == KxDateTime() && late > KxDateTime::Now());
    EXPECT_EQ(KxDateTime(2024, 3, 1, 7, 8, 9).AddDays(-1), KxDateTime(2024, 2, 29, 7, 8, 9));
    EXPECT_FALSE(late.AddDays(366).IsValid());
    EXPECT_FALSE(late.AddDays(-2147483647 - 1).IsValid());
    EXPECT_EQ(late.AddDays(364).GetDate(), 99991231u);
    EXPECT_TRUE(KxDateTime::Now().IsValid());
    // Wherever this is, and whatever is said about that: within a day of the time in Greenwich.
    for (char const* zone : {"", "UTC", "Pacific/Kiritimati", "ABC-24", "../../../../etc/passwd", ":/dev/zero",
                             "X99:99:99Y,M13.9.9", "\x1b%s%n"}) {
        EXPECT_EXIT(
            {
                ::setenv("TZ", zone, 1);
                ::tzset();
                bool isRight = KxDateTime::Now().IsValid();
                for (auto const& [seconds, date] : {std::pair{-2208988800LL + 86400, 19000102u},
                                                    {0, 19700101u},
                                                    {2147483648LL, 20380119u},
                                                    {4294967296LL, 21060207u},
                                                    {253402300799LL - 86400, 99991230u}}) {
                    KxDateTime const greenwich(static_cast<int>(date / 10000), static_cast<int>(date / 100 % 100),
                                               static_cast<int>(date % 100), 12, 0, 0);
                    KxDateTime const here = KxDateTime::FromUnixTime(seconds);
                    isRight = isRight && std::abs(here.GetValue() - greenwich.GetValue()) < 2.5;
                }
                std::_Exit(isRight ? 7 : 1);
            },
            testing::ExitedWithCode(7), "")
            << zone;
    }
    for (long long const seconds : {-62135596800LL - 3 * 86400, 253402300799LL + 3 * 86400, 9223372036854775807LL})
        EXPECT_FALSE(KxDateTime::FromUnixTime(seconds).IsValid());
}

}  // namespace
