// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include "hbtools/math/syMath.h"

#include <cmath>
#include <immintrin.h>

namespace KxN::detail {

/// sqrt(a^2 + b^2) without overflow or underflow on the way: larger * sqrt(1 + (smaller / larger)^2). Which one is larger
/// is anybody's guess, so no branch asks for it. Nearly all of a QR iteration waits for this.
inline double Hypotenuse(double a, double b) {
    __m128d const x = _mm_set_sd(std::abs(a)), y = _mm_set_sd(std::abs(b));
    double const larger = _mm_cvtsd_f64(_mm_max_sd(x, y)), smaller = _mm_cvtsd_f64(_mm_min_sd(y, x));
    if (larger == 0.0) return 0.0;
    double const ratio = smaller / larger;
    return larger * KxMath::Sqrt(1.0 + ratio * ratio);
}

/// The size of `value`, negative if `sign` is; zero of either sign counts as positive, NaN as negative.
inline double WithSign(double value, double sign) {
    return sign >= 0.0 ? std::abs(value) : -std::abs(value);
}

}  // namespace KxN::detail
