// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "math/syDenseFactors.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace KxN::detail {

namespace {

/// About half of n, so that the rest divides into whole triangles.
int Half(int n) {
    return (n / 2 + triangleRows - 1) / triangleRows * triangleRows;
}

void SwapRows(double* a, int stride, int columns, int const* pivots, int count) {
    for (int r = 0; r < count; ++r)
        if (pivots[r] != r)
            std::swap_ranges(a + Offset(r, stride), a + Offset(r, stride) + columns, a + Offset(pivots[r], stride));
}

/// LU of a few columns. They are turned into rows meanwhile, so that all loops run along them.
void FactorPanel(DenseKernels const& kernels, double* a, int stride, int rows, int columns, int* pivots, double* work) {
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) work[Offset(c, rows) + r] = a[Offset(r, stride) + c];
    for (int k = 0; k < columns; ++k) {
        double* const column = work + Offset(k, rows);
        for (int j = 1; j < k; ++j)
            for (int i = 0; i < j; ++i) column[j] -= work[Offset(i, rows) + j] * column[i];
        kernels.subtractRows(column + k, work + k, rows, column, k, rows - k);
        pivots[k] = k + std::max(kernels.firstLargest(column + k, rows - k), 0);
        if (pivots[k] != k)
            for (int c = 0; c < columns; ++c) std::swap(work[Offset(c, rows) + k], work[Offset(c, rows) + pivots[k]]);
        double const pivot = column[k];
        for (int r = k + 1; r < rows; ++r) column[r] /= pivot;
    }
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) a[Offset(r, stride) + c] = work[Offset(c, rows) + r];
}

/// LU of at least as many rows as columns: the left half, what follows for the right one, and then its rest.
void FactorColumns(DenseKernels const& kernels, double* a, int stride, int rows, int columns, int* pivots,
                   double* work) {
    if (columns <= triangleRows) {
        FactorPanel(kernels, a, stride, rows, columns, pivots, work);
        return;
    }
    int const half = Half(columns), rest = columns - half;
    double* const below = a + Offset(half, stride);
    FactorColumns(kernels, a, stride, rows, half, pivots, work);
    SwapRows(a + half, stride, rest, pivots, half);
    SolveTriangle(kernels, true, false, a, stride, a + half, stride, half, rest);
    kernels.product(true, below + half, stride, below, stride, a + half, stride, rows - half, rest, half);
    FactorColumns(kernels, below + half, stride, rows - half, rest, pivots + half, work);
    SwapRows(below, stride, half, pivots + half, rest);
    for (int k = half; k < columns; ++k) pivots[k] += half;
}

void InvertLower(DenseKernels const& kernels, bool isDivided, double const* t, int strideT, double* b, int strideB,
                 int n, int lead) {
    // b has `lead` full columns left of the square that becomes the inverse.
    if (n <= triangleRows) {
        kernels.solveTriangle(true, isDivided, t, strideT, b, strideB, n, lead + n);
        return;
    }
    int const half = Half(n);
    double* const below = b + Offset(half, strideB);
    double const* const left = t + Offset(half, strideT);
    InvertLower(kernels, isDivided, t, strideT, b, strideB, half, lead);
    kernels.product(true, below, strideB, left, strideT, b, strideB, n - half, lead + half, half);
    InvertLower(kernels, isDivided, left + half, strideT, below, strideB, n - half, lead + half);
}

/// LU as it is defined, row by row. knownSize is 0 where n is not known in advance.
template <int knownSize>
void FactorSmall(double* a, int someSize, int* pivots) {
    int const n = knownSize ? knownSize : someSize;
    for (int k = 0; k < n; ++k) {
        int at = k;
        double largest = 0.0;
        for (int r = k; r < n; ++r) {
            if (!(std::abs(a[r * n + k]) > largest)) continue;
            largest = std::abs(a[r * n + k]);
            at = r;
        }
        pivots[k] = at;
        if (at != k)
            for (int c = 0; c < n; ++c) std::swap(a[k * n + c], a[at * n + c]);
        for (int r = k + 1; r < n; ++r) {
            double const factor = a[r * n + k] /= a[k * n + k];
            for (int c = k + 1; c < n; ++c) a[r * n + c] -= factor * a[k * n + c];
        }
    }
}

/// knownSize is 0 where n is not known in advance.
template <int knownSize>
bool InvertSquare(double* a, int someSize, double* b, int width) {
    int const n = knownSize ? knownSize : someSize;
    bool isDone[smallSize] = {};
    int rows[smallSize], columns[smallSize];
    for (int step = 0; step < n; ++step) {
        double largest = 0.0;
        int row = -1, column = -1;
        for (int r = 0; r < n; ++r) {
            if (isDone[r]) continue;
            for (int c = 0; c < n; ++c) {
                if (isDone[c] || !(std::abs(a[r * n + c]) > largest)) continue;
                largest = std::abs(a[r * n + c]);
                row = r;
                column = c;
            }
        }
        if (row < 0) return false;
        isDone[column] = true;
        rows[step] = row;
        columns[step] = column;
        double* const pivotRow = a + column * n;
        double* const right = b + Offset(column, width);
        if (row != column) {
            for (int c = 0; c < n; ++c) std::swap(a[row * n + c], pivotRow[c]);
            std::swap_ranges(right, right + width, b + Offset(row, width));
        }
        double const pivot = std::exchange(pivotRow[column], 1.0);
        for (int c = 0; c < n; ++c) pivotRow[c] /= pivot;
        for (int c = 0; c < width; ++c) right[c] /= pivot;
        for (int r = 0; r < n; ++r) {
            if (r == column) continue;
            double const factor = std::exchange(a[r * n + column], 0.0);
            for (int c = 0; c < n; ++c) a[r * n + c] -= factor * pivotRow[c];
            for (int c = 0; c < width; ++c) b[Offset(r, width) + c] -= factor * right[c];
        }
    }
    for (int step = n - 1; step >= 0; --step)
        if (rows[step] != columns[step])
            for (int r = 0; r < n; ++r) std::swap(a[r * n + rows[step]], a[r * n + columns[step]]);
    return true;
}

}  // namespace

bool InvertSmall(double* a, int n, double* b, int width) {
    if (n == 3) return InvertSquare<3>(a, n, b, width);
    if (n == 4) return InvertSquare<4>(a, n, b, width);
    return InvertSquare<0>(a, n, b, width);
}

void FactorLU(DenseKernels const& kernels, double* a, int n, int* pivots, double* work) {
    if (n == 3)
        FactorSmall<3>(a, n, pivots);
    else if (n == 4)
        FactorSmall<4>(a, n, pivots);
    else if (n <= triangleRows)
        FactorSmall<0>(a, n, pivots);
    else
        FactorColumns(kernels, a, n, n, n, pivots, work);
}

void SolveTriangle(DenseKernels const& kernels, bool isLower, bool isDivided, double const* t, int strideT, double* b,
                   int strideB, int n, int columns) {
    if (n <= triangleRows) {
        kernels.solveTriangle(isLower, isDivided, t, strideT, b, strideB, n, columns);
        return;
    }
    int const half = Half(n);
    double* const below = b + Offset(half, strideB);
    double const* const lower = t + Offset(half, strideT);
    if (isLower) {
        SolveTriangle(kernels, isLower, isDivided, t, strideT, b, strideB, half, columns);
        kernels.product(true, below, strideB, lower, strideT, b, strideB, n - half, columns, half);
        SolveTriangle(kernels, isLower, isDivided, lower + half, strideT, below, strideB, n - half, columns);
    } else {
        SolveTriangle(kernels, isLower, isDivided, lower + half, strideT, below, strideB, n - half, columns);
        kernels.product(true, b, strideB, t + half, strideT, below, strideB, half, columns, n - half);
        SolveTriangle(kernels, isLower, isDivided, t, strideT, b, strideB, half, columns);
    }
}

void InvertLower(DenseKernels const& kernels, bool isDivided, double const* t, double* b, int n) {
    for (int r = 0; r < n; ++r) {
        std::fill_n(b + Offset(r, n), n, 0.0);
        b[Offset(r, n) + r] = 1.0;
    }
    InvertLower(kernels, isDivided, t, n, b, n, n, 0);
}

bool FactorFully(DenseKernels const& kernels, double* a, int n, int* rows, int* columns, int* order, double* lu) {
    // What is left of each row stands together at its beginning, in the order of the columns; behind it the factors by
    // which it was changed, the first one last.
    int* const left = order + n;  // the numbers of the columns that are left
    double best = 0.0;
    int at = 0;
    for (int r = 0; r < n; ++r) {
        order[r] = left[r] = r;
        int const place = kernels.firstLargest(a + Offset(r, n), n);
        if (place >= 0 && std::abs(a[Offset(r, n) + place]) > best) {
            best = std::abs(a[Offset(r, n) + place]);
            at = r;
        }
    }
    for (int k = 0; k < n; ++k) {
        if (!(best > 0.0)) return false;
        int const rest = n - 1 - k;
        double* const pivotRow = a + Offset(order[at], n);
        int place = 0;
        while (std::abs(pivotRow[place]) != best) ++place;
        rows[k] = order[at];
        columns[k] = left[place];
        order[at] = order[place];
        std::copy(order + place + 1, order + rest + 1, order + place);
        std::copy(left + place + 1, left + rest + 1, left + place);
        double const pivot = pivotRow[place];
        std::copy(pivotRow + place + 1, pivotRow + rest + 1, pivotRow + place);
        for (int c = 0; c < rest; ++c) pivotRow[c] /= pivot;
        pivotRow[rest] = pivot;
        best = 0.0;
        for (int r = 0; r < rest; ++r) {
            double* const row = a + Offset(order[r], n);
            double const factor = row[place];
            double const largest = kernels.eliminate(row, place, factor, pivotRow, rest);
            row[rest] = factor;
            if (largest > best) {
                best = largest;
                at = r;
            }
        }
    }
    if (!lu) return true;
    for (int k = 0; k < n; ++k) order[columns[k]] = k;
    for (int k = 0; k < n; ++k) left[k] = k;
    for (int k = 0; k < n; ++k) {
        double const* const row = a + Offset(rows[k], n);
        int const rest = n - 1 - k;
        int const place = static_cast<int>(std::lower_bound(left, left + rest + 1, columns[k]) - left);
        std::copy(left + place + 1, left + rest + 1, left + place);
        for (int j = 0; j <= k; ++j) lu[Offset(k, n) + j] = row[n - 1 - j];
        for (int c = 0; c < rest; ++c) lu[Offset(k, n) + order[left[c]]] = row[c];
    }
    return true;
}

}  // namespace KxN::detail
