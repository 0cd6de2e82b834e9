// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syMath.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

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

TEST(KxMath, ComparisonsAtTheirBorders) {
    struct {
        double got, want;
    } const cases[] = {
        {KxMath::Min(NaN, 1.0), NaN},
        {KxMath::Min(1.0, NaN), 1.0},
        {KxMath::Max(NaN, 1.0), 1.0},
        {KxMath::Max(1.0, NaN), NaN},
        {KxMath::Min(0.0, -0.0), -0.0},
        {KxMath::Max(-0.0, 0.0), 0.0},
        {KxMath::Min(3.0, 1.0, 2.0), 1.0},
        {KxMath::Max(3.0, 1.0, 2.0), 3.0},
        {KxMath::Clamp(5, 0, 3), 3.0},
        {KxMath::Clamp(-5, 0, 3), 0.0},
        {KxMath::Clamp(1, 3, 0), 0.0},
        {KxMath::Clamp(NaN, 0, 3), 3.0},
        {KxMath::Abs(-0.0), -0.0},
        {KxMath::Abs(-2.5), 2.5},
        {KxMath::Sign(NaN), -1.0},
        {KxMath::Sign(-0.0), 0.0},
        {KxMath::Sign(1e-300), 1.0},
        {KxMath::Sign(-Inf), -1.0},
        {KxMath::ASin(1.0), -1.5707963267948966},
        {KxMath::ASin(-1.0), 1.5707963267948966},
        {KxMath::ASin(NaN), KxMath::PiHalf},
        {KxMath::ASin(0.5), std::asin(0.5)},
        {KxMath::ACos(1.5), 0.0},
        {KxMath::ACos(-1.5), KxMath::Pi},
        {KxMath::ACos(NaN), KxMath::Pi},
        {KxMath::ACos(-0.5), std::acos(-0.5)},
        {KxMath::Pow(2.0, -3), 0.125},
        {KxMath::Pow(0.0, 0), 1.0},
        {KxMath::Pow(NaN, 0), 1.0},
        {KxMath::Pow(-2.0, 5), -32.0},
        {KxMath::Pow(3.0, 13), 1594323.0},
        {KxMath::Pow(1.0, SmallestInt), 1.0},
        {KxMath::Pow(2.0, SmallestInt), 0.0},
        {KxMath::Pow(1e200, 1), 1e200},
        {KxMath::Pow(2.0, 0.5), std::sqrt(2.0)},
        {KxMath::Gaussian(2, 1), std::exp(-2.0)},
        {KxMath::CoTan(1.0), 1.0 / std::tan(1.0)},
    };
    for (auto const& c : cases) {
        EXPECT_TRUE(Bits(c.got) == Bits(c.want) || (std::isnan(c.got) && std::isnan(c.want)))
            << &c - cases << ": " << c.got << " " << c.want;
    }
    EXPECT_TRUE(std::signbit(KxMath::Abs(NaN)));  // the sign bit flips
    EXPECT_EQ(KxMath::Abs(SmallestInt), SmallestInt);
    EXPECT_EQ(KxMath::Sign(-7) + KxMath::Min(3, 1, 2) + KxMath::Max(3, 1, 2), 3);
}

TEST(KxMath, RoundsToIntOrTheSmallestInt) {
    struct {
        double x;
        int floor, ceil, round;
    } const cases[] = {
        {0.0, 0, 0, 0},
        {-0.5, -1, 0, 0},
        {0.5, 0, 1, 1},
        {2.5, 2, 3, 3},
        {-2.5, -3, -2, -2},
        {-3.0, -3, -3, -3},
        {0.49999999999999994, 0, 1, 1},
        {2147483646.5, 2147483646, 2147483647, 2147483647},
        {2147483647.0, 2147483647, 2147483647, 2147483647},
        {2147483647.25, 2147483647, SmallestInt, 2147483647},
        {2147483648.0, SmallestInt, SmallestInt, SmallestInt},
        {-2147483648.0, SmallestInt, SmallestInt, SmallestInt},
        {-2147483647.5, SmallestInt, -2147483647, -2147483647},
        {-2147483649.0, SmallestInt, SmallestInt, SmallestInt},
        {1e300, SmallestInt, SmallestInt, SmallestInt},
        {-1e300, SmallestInt, SmallestInt, SmallestInt},
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
