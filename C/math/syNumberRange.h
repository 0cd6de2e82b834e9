// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Very large and very small numbers are multiplied by a power of two before a method that multiplies two of them, and its
// results are divided by it: that rounds nothing but what lies beyond the range of the results.
#pragma once

#include "hbtools/math/syMath.h"
#include "math/syDenseKernels.h"

#include <cmath>
#include <limits>

namespace KxN::detail {

/// The largest absolute value, 0 without one. NaN does not count.
inline double LargestSize(double const* values, int count) {
    if (count < 8) {  // as fast as a call of the kernel
        double largest = 0;
        for (int i = 0; i < count; ++i)
            if (std::abs(values[i]) > largest) largest = std::abs(values[i]);
        return largest;
    }
    int const place = Kernels().firstLargest(values, count);
    return place < 0 ? 0.0 : std::abs(values[place]);
}

/// The exponent of that power for numbers of which `largest` is the largest, 0 if they need none. It leaves large numbers
/// as large as they may be, since there may be much smaller ones beside them.
inline int SafeExponent(double largest) {
    if (largest == 0.0 || (largest >= 1e-100 && largest <= 1e100)) [[likely]]
        return 0;
    if (!(largest < std::numeric_limits<double>::infinity())) return 0;
    return (largest > 1.0 ? 300 : 0) - std::ilogb(largest);
}

/// The same for elimination, which adds numbers and does not multiply two large ones: 0 but near the end of their range.
inline int SafeSumExponent(double largest) {
    return largest > 0x1p+960 && largest < std::numeric_limits<double>::infinity() ? -64 : 0;
}

/// The numbers times 2 to the power of `exponent`.
inline void ScaleByPower(double* values, int exponent, int count) {
    if (exponent == 0) return;
    for (int i = 0; i < count; ++i) values[i] = std::ldexp(values[i], exponent);
}

}  // namespace KxN::detail
