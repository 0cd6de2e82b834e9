// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syMath.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <vector>

using namespace KxN;

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr int SmallestInt = -2147483647 - 1;

std::uint64_t Bits(double x) {
    return std::bit_cast<std::uint64_t>(x);
}

TEST(KxMath, ConstantsHaveTheirBits) {
    struct {
        double value;
        std::uint64_t bits;
    } const cases[] = {
        {KxMath::Pi, 0x400921FB54442D18},
        {KxMath::TwoPi, 0x401921FB54442D18},
        {KxMath::PiHalf, 0x3FF921FB54442D18},
        {KxMath::PiInverse, 0x3FD45F306DC9C883},
        {KxMath::TwoPiInverse, 0x3FC45F306DC9C883},
        {KxMath::PiHalfInverse, 0x3FE45F306DC9C883},
        {KxMath::RadToDeg, 0x404CA5DC1A63C1F8},
        {KxMath::DegToRad, 0x3F91DF46A2529D39},
        {KxMath::OneThird, 0x3FD5555555555555},
        {KxMath::Epsilon, 0x3E8000063FCA1753},
        {KxMath::ZeroTolerance, 0x3BC79CA10C924223},
        {KxMath::Infinity, 0x47EFFFFFE0000000},
    };
    for (auto const& c : cases) EXPECT_EQ(Bits(c.value), c.bits) << c.value;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(KxMath::Infinity), 0x7F7FFFFFU);
    EXPECT_EQ(KxMath::IInfinity, 0x7FFFFFFF);
    EXPECT_EQ(KxMath::SInfinity, 0x7FFF);
}

/// The same bits, but for NaN, which is any NaN.
void ExpectSame(std::vector<double> const& got, std::vector<double> const& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_TRUE(Bits(got[i]) == Bits(want[i]) || (std::isnan(got[i]) && std::isnan(want[i])))
            << i << ": " << got[i] << " " << want[i];
}

TEST(KxMath, ComparisonsAndPowersAtTheirBorders) {
    using M = KxMath;
    ExpectSame({M::Min(NaN, 1.0), M::Min(1.0, NaN), M::Min(0.0, -0.0), M::Min(3.0, 1.0, 2.0)}, {NaN, 1.0, -0.0, 1.0});
    ExpectSame({M::Max(NaN, 1.0), M::Max(1.0, NaN), M::Max(-0.0, 0.0), M::Max(3.0, 1.0, 2.0)}, {1.0, NaN, 0.0, 3.0});
    ExpectSame({M::Clamp(5, 0, 3), M::Clamp(-5, 0, 3), M::Clamp(1, 3, 0), M::Clamp(NaN, 0, 3)}, {3.0, 0.0, 0.0, 3.0});
    ExpectSame({M::Abs(-0.0), M::Abs(-2.5)}, {-0.0, 2.5});
    ExpectSame({M::Sign(NaN), M::Sign(-0.0), M::Sign(1e-300), M::Sign(-Inf)}, {-1.0, 0.0, 1.0, -1.0});
    ExpectSame({M::ASin(1.0), M::ASin(-1.0), M::ASin(NaN), M::ASin(0.5)},
               {-1.5707963267948966, 1.5707963267948966, M::PiHalf, std::asin(0.5)});
    ExpectSame({M::ACos(1.5), M::ACos(-1.5), M::ACos(NaN), M::ACos(-0.5)}, {0.0, M::Pi, M::Pi, std::acos(-0.5)});
    ExpectSame({M::Pow(2.0, -3), M::Pow(0.0, 0), M::Pow(NaN, 0), M::Pow(-2.0, 5), M::Pow(3.0, 13)},
               {0.125, 1.0, 1.0, -32.0, 1594323.0});
    ExpectSame({M::Pow(1.0, SmallestInt), M::Pow(2.0, SmallestInt), M::Pow(1e200, 1), M::Pow(2.0, 0.5)},
               {1.0, 0.0, 1e200, std::sqrt(2.0)});
    ExpectSame({M::Gaussian(2, 1), M::CoTan(1.0)}, {std::exp(-2.0), 1.0 / std::tan(1.0)});
    EXPECT_TRUE(std::signbit(KxMath::Abs(NaN)));  // the sign bit flips
    EXPECT_EQ(KxMath::Abs(SmallestInt), SmallestInt);
    EXPECT_EQ(KxMath::Sign(-7) + KxMath::Min(3, 1, 2) + KxMath::Max(3, 1, 2), 3);
    EXPECT_EQ(KxMath::Max(1, 2, 3) * KxMath::Abs(-4) + KxMath::Abs(5), 17);
}

TEST(KxMath, RoundsToIntOrTheSmallestInt) {
    struct {
        double x;
        int floor, ceil, round;
    } const cases[] = {
        {-0.5, -1, 0, 0},
        {0.5, 0, 1, 1},
        {2.5, 2, 3, 3},
        {-2.5, -3, -2, -2},
        {0.49999999999999994, 0, 1, 1},
        {2147483646.5, 2147483646, 2147483647, 2147483647},
        {2147483647.0, 2147483647, 2147483647, 2147483647},
        {2147483647.25, 2147483647, SmallestInt, 2147483647},
        {2147483648.0, SmallestInt, SmallestInt, SmallestInt},
        {-2147483648.0, SmallestInt, SmallestInt, SmallestInt},
        {-2147483647.5, SmallestInt, -2147483647, -2147483647},
        {-2147483649.0, SmallestInt, SmallestInt, SmallestInt},
        {1e300, SmallestInt, SmallestInt, SmallestInt},
        {9223372036854775808.0, SmallestInt, SmallestInt, SmallestInt},
        {-9223372036854775808.0, SmallestInt, SmallestInt, SmallestInt},
        {NaN, SmallestInt, SmallestInt, SmallestInt},
        {Inf, SmallestInt, SmallestInt, SmallestInt},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(KxMath::Floor(c.x), c.floor) << c.x;
        EXPECT_EQ(KxMath::Ceil(c.x), c.ceil) << c.x;
        EXPECT_EQ(KxMath::Round(c.x), c.round) << c.x;
    }
}

}  // namespace
