// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxMath: the numeric constants and small functions that every numeric class of the library uses. All static, no
// state, any thread. Nothing throws and nothing traps: bad input shows in the result. The comparisons are exactly
// as written here, so that NaN and the borders give what each function says; angles are in radians.
#pragma once

#include "hbtools/base/syTypes.h"

#include <cmath>
#include <limits>

namespace KxN {

class KX_API KxMath {
public:
    static constexpr double Pi = 3.141592653589793;
    static constexpr double TwoPi = 6.283185307179586;
    static constexpr double PiHalf = 1.5707963267948966;
    static constexpr double PiInverse = 0.3183098861837907;
    static constexpr double TwoPiInverse = 0.15915494309189535;
    static constexpr double PiHalfInverse = 0.6366197723675814;
    static constexpr double RadToDeg = 57.29577951308232;
    static constexpr double DegToRad = 0.017453292519943295;
    static constexpr double OneThird = 0.3333333333333333;
    /// The bound of tolerant comparisons: this decimal value, not the machine epsilon of float.
    static constexpr double Epsilon = 1.1921e-07;
    static constexpr double ZeroTolerance = 1e-20;
    /// The invalid markers of float (widened: of double), int and short values.
    static constexpr float Infinity = std::numeric_limits<float>::max();
    static constexpr int IInfinity = std::numeric_limits<int>::max();
    static constexpr short SInfinity = std::numeric_limits<short>::max();

    static constexpr int Min(int a, int b) { return b < a ? b : a; }
    static constexpr int Max(int a, int b) { return a < b ? b : a; }
    static constexpr int Min(int a, int b, int c) { return Min(Min(a, b), c); }
    static constexpr int Max(int a, int b, int c) { return Max(Max(a, b), c); }
    /// With a NaN among the operands: Min gives the first, Max the second.
    static constexpr double Min(double a, double b) { return a >= b ? b : a; }
    static constexpr double Max(double a, double b) { return a > b ? a : b; }
    static constexpr double Min(double a, double b, double c) { return Min(Min(a, b), c); }
    static constexpr double Max(double a, double b, double c) { return Max(Max(a, b), c); }
    /// `high` wins if `low` exceeds it; NaN gives `high`.
    static constexpr double Clamp(double value, double low, double high) {
        double const raised = low > value ? low : value;
        return high >= raised ? raised : high;
    }

    /// The smallest int stays as it is.
    static constexpr int Abs(int x) { return x < 0 ? static_cast<int>(0U - static_cast<unsigned int>(x)) : x; }
    /// -0.0 stays as it is.
    static constexpr double Abs(double x) { return x >= 0 ? x : -x; }
    static constexpr int Sign(int x) { return (x > 0) - (x < 0); }
    /// 1.0, 0.0 or -1.0; NaN gives -1.0.
    static constexpr double Sign(double x) { return x > 0 ? 1.0 : x == 0 ? 0.0 : -1.0; }
    static constexpr double Sqr(double x) { return x * x; }

    static double Sqrt(double x) { return std::sqrt(x); }
    static double Sin(double x) { return std::sin(x); }
    static double Cos(double x) { return std::cos(x); }
    static double Tan(double x) { return std::tan(x); }
    static double CoTan(double x) { return 1.0 / std::tan(x); }
    static double ATan(double x) { return std::atan(x); }
    static double ATan2(double y, double x) { return std::atan2(y, x); }
    static double Exp(double x) { return std::exp(x); }
    static double Log(double x) { return std::log(x); }
    static double Pow(double x, double exponent) { return std::pow(x, exponent); }
    /// Square and multiply; exponent 0 gives 1.0 for every x.
    static constexpr double Pow(double x, int exponent) {
        auto const bits = static_cast<unsigned int>(exponent);
        unsigned int rest = exponent < 0 ? 0U - bits : bits;
        double power = (rest & 1U) ? x : 1.0;
        while (rest >>= 1) {
            x *= x;
            if (rest & 1U) {
                power *= x;
            }
        }
        return exponent < 0 ? 1.0 / power : power;
    }

    /// Clamped: Pi for x up to -1 and for NaN, 0.0 from 1 on.
    static double ACos(double x) { return !(x > -1) ? Pi : x >= 1 ? 0.0 : std::acos(x); }
    /// Clamped: +PiHalf for x up to -1 and for NaN, -PiHalf from 1 on. The signs at the ends are the inverse of the
    /// mathematical limits; callers rely on them as they stand.
    static double ASin(double x) { return !(x > -1) ? PiHalf : x >= 1 ? -PiHalf : std::asin(x); }

    /// A result outside int, and NaN, gives the smallest int, in all of these.
    static constexpr int Floor(double x) {
        if (!InLongLong(x)) {
            return Truncate(x);
        }
        auto const whole = static_cast<long long>(x);
        return Narrow(x < 0 && static_cast<double>(whole) != x ? whole - 1 : whole);
    }
    static constexpr int Ceil(double x) {
        if (!InLongLong(x)) {
            return Truncate(x);
        }
        auto const whole = static_cast<long long>(x);
        return Narrow(x > 0 && static_cast<double>(whole) != x ? whole + 1 : whole);
    }
    /// Floor(x + 0.5): halves go up, -2.5 gives -2.
    static constexpr int Round(double x) { return Floor(x + 0.5); }
    /// Towards zero.
    static constexpr int Truncate(double x) {
        return x > -2147483649.0 && x < 2147483648.0 ? static_cast<int>(x) : std::numeric_limits<int>::min();
    }

    /// exp(-x^2 / (2 sigma^2)), without a normalising factor.
    static double Gaussian(double x, double sigma) { return std::exp(-(x * x / (sigma * sigma * 2.0))); }

private:
    static constexpr bool InLongLong(double x) { return x > -0x1p63 && x < 0x1p63; }
    static constexpr int Narrow(long long whole) {
        auto const narrow = static_cast<int>(whole);
        return narrow == whole ? narrow : std::numeric_limits<int>::min();
    }
};

}  // namespace KxN
