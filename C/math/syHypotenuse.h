// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include "hbtools/math/syMath.h"

namespace KxN::detail {

/// sqrt(a^2 + b^2) without overflow or underflow on the way.
inline double Hypotenuse(double a, double b) {
    double const sum = a * a + b * b;
    if (sum > 1e-280 && sum < 1e300) [[likely]]
        return KxMath::Sqrt(sum);
    double const x = KxMath::Abs(a), y = KxMath::Abs(b);
    double const larger = x > y ? x : y, smaller = x > y ? y : x;
    if (larger == 0.0) return 0.0;
    double const ratio = smaller / larger;
    return larger * KxMath::Sqrt(1.0 + ratio * ratio);
}

/// The size of `value`, negative if `sign` is; zero of either sign counts as positive, NaN as negative.
inline double WithSign(double value, double sign) {
    return sign >= 0.0 ? KxMath::Abs(value) : -KxMath::Abs(value);
}

}  // namespace KxN::detail
