// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The inner loops of dense vectors and matrices, on plain arrays. A matrix is a pointer to its first element and a
// stride, the distance of two rows in elements. Each loop stands in two forms, for any processor and for those with wide
// registers; they differ in the last bits of `product` alone, where the wide form rounds less often.
#pragma once

#include <cstddef>

namespace KxN::detail {

/// Where a row begins.
inline std::ptrdiff_t Offset(int row, int stride) {
    return static_cast<std::ptrdiff_t>(row) * stride;
}

/// Consecutive rotations of pairs of rows: the first of `first` and `first + step`, the next of the latter and the row that
/// is `step` further. x, the former of a pair, becomes c x + s y, and y becomes c y - s x.
struct RotationChain {
    int first;
    int step;  // not 0; a single rotation may combine rows far apart
    int count;
};

struct Rotation {
    double c, s;
};

constexpr int sumParts = 16;  // that a dot product is added up in

struct DenseKernels {
    double (*dot)(double const* a, double const* b, int count);
    /// The same sum, made block after block: `state`, sumParts numbers that begin at 0, goes from one call to the next. All
    /// blocks but the last have a multiple of sumParts numbers. Returns the sum so far.
    double (*continueDot)(double* state, double const* a, double const* b, int count);
    /// y += factor * x
    void (*addScaled)(double* y, double factor, double const* x, int count);
    /// The place of the first of the largest absolute values above 0; -1 without one. NaN does not count.
    int (*firstLargest)(double const* x, int count);
    /// c += a * b, or c -= a * b, where a has `inner` columns. c must not overlap the others.
    void (*product)(bool isSubtracted, double* c, int strideC, double const* a, int strideA, double const* b,
                    int strideB, int rows, int columns, int inner);
    /// Drops the element at `place` and subtracts factor * x from the `count` others. Returns their largest absolute
    /// value, 0 without one; NaN does not count.
    double (*eliminate)(double* row, int place, double factor, double const* x, int count);
    /// x = (x - the sum of l[j] * factors[j]), element by element, where l has rows of `stride`.
    void (*subtractRows)(double* x, double const* l, int stride, double const* factors, int rows, int count);
    /// Solves T X = B in place for at most triangleRows rows. Below the diagonal if isLower, else above it; a diagonal of
    /// ones unless isDivided.
    void (*solveTriangle)(bool isLower, bool isDivided, double const* t, int strideT, double* b, int strideB, int rows,
                          int columns);
    /// Each row += (row * u / h) * v
    void (*reflectRows)(double* rows, int stride, int rowCount, double const* u, double h, double const* v, int count);
    /// sums += the sum of factors[i] * row i
    void (*addRows)(double* sums, double const* rows, int stride, int rowCount, double const* factors, int count);
    /// product = A u, where the lower triangle of `rows` is that of the symmetric matrix A.
    void (*symmetricProduct)(double* product, double const* rows, int stride, double const* u, int count);
    /// A -= u v^T + v u^T in the lower triangle.
    void (*symmetricUpdate)(double* rows, int stride, double const* u, double const* v, int count);
    /// Rotates rows of a matrix, chain after chain.
    void (*rotate)(double* rows, int stride, int length, RotationChain const* chains, int chainCount,
                   Rotation const* rotations);
};

constexpr int triangleRows = 8;

extern DenseKernels const plainKernels;
/// The best for this processor.
DenseKernels const& Kernels();

/// `to` gets the columns of `from` as rows.
void Transpose(double const* from, int strideFrom, double* to, int strideTo, int rows, int columns);

}  // namespace KxN::detail
