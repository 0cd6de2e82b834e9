// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Factors of square matrices and what is solved with them, on plain arrays.
#pragma once

#include "math/syDenseKernels.h"

namespace KxN::detail {

/// Multipliers below the diagonal and the upper factor in place of a. In step k rows k and pivots[k] were exchanged.
/// `work` has n * triangleRows elements.
void FactorLU(DenseKernels const& kernels, double* a, int n, int* pivots, double* work);

/// Solves T X = B in place; b has `columns` columns. See DenseKernels::solveTriangle.
void SolveTriangle(DenseKernels const& kernels, bool isLower, bool isDivided, double const* t, int strideT, double* b,
                   int strideB, int n, int columns);

/// The inverse of the lower triangle of t into b, which must be zero above the diagonal and is overwritten.
void InvertLower(DenseKernels const& kernels, bool isDivided, double const* t, double* b, int n);

/// Gauss-Jordan elimination with full pivoting of at most smallSize rows: a becomes its inverse and b, of `width`
/// columns, the solution. False, with both in between, as soon as the largest of what is left is zero or there is none.
bool InvertSmall(double* a, int n, double* b, int width);

constexpr int smallSize = 8;

/// The same pivots for any size, as factors: the first largest value of what is left, by rows and columns, is next; the row that
/// has its column's number takes the place of its row. False as above.
/// On success a P = L U with the pivots in L: lu holds L, and U above the diagonal; step k took row rows[k] and column
/// columns[k]. a is destroyed; lu may be null. `order` has 2 * n elements.
bool FactorFully(DenseKernels const& kernels, double* a, int n, int* rows, int* columns, int* order, double* lu);

}  // namespace KxN::detail
