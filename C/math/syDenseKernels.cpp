// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "math/syDenseKernels.h"

#include <algorithm>
#include <cstddef>

namespace KxN::detail {

double DenseDot(double const* a, double const* b, int size) {
    // Four sums side by side: the processor adds while it waits for the sum before.
    double sums[4] = {};
    int i = 0;
    for (; i + 4 <= size; i += 4)
        for (int k = 0; k < 4; ++k) sums[k] += a[i + k] * b[i + k];
    double sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    for (; i < size; ++i) sum += a[i] * b[i];
    return sum;
}

void DenseProduct(double* c, int strideC, double const* a, int strideA, double const* b, int strideB, int rows,
                  int columns, int inner) {
    for (int r = 0; r < rows; ++r) {
        double* const target = c + static_cast<std::ptrdiff_t>(r) * strideC;
        double const* const factors = a + static_cast<std::ptrdiff_t>(r) * strideA;
        std::fill(target, target + columns, 0.0);
        for (int k = 0; k < inner; ++k) {
            double const factor = factors[k];
            double const* const source = b + static_cast<std::ptrdiff_t>(k) * strideB;
            for (int i = 0; i < columns; ++i) target[i] += factor * source[i];
        }
    }
}

}  // namespace KxN::detail
