// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syMatrix.h"
#include "math/syDenseKernels.h"
#include "math/syScratch.h"

#include <algorithm>
#include <utility>

namespace KxN {

namespace {

constexpr std::size_t fewColumns = 16;

bool IsNonZero(double value) {
    return value < 0.0 || value > 0.0;
}

void Subtract(double* y, double factor, double const* x, int count) {
    for (int i = 0; i < count; ++i) y[i] -= factor * x[i];
}

/// Replaces a by its inverse and b, unless it is null, by the solution. False, with both in between, if singular.
bool GaussJordan(KxMatrix& a, KxMatrix* b) {
    int const n = a.Height();
    if (a.Width() != n) return false;
    detail::Scratch<int, fewColumns> pivotRows(n), pivotColumns(n);
    detail::Scratch<bool, fewColumns> isDone(n);
    std::fill_n(isDone.Data(), n, false);
    for (int step = 0; step < n; ++step) {
        double best = 0.0;
        int row = -1, column = -1;
        for (int r = 0; r < n; ++r) {
            if (isDone[r]) continue;
            for (int c = 0; c < n; ++c) {
                if (isDone[c] || !(KxMath::Abs(a[r][c]) > best)) continue;
                best = KxMath::Abs(a[r][c]);
                row = r;
                column = c;
            }
        }
        if (!IsNonZero(best)) return false;
        isDone[column] = true;
        if (row != column) {
            std::swap_ranges(a[row], a[row] + n, a[column]);
            if (b) std::swap_ranges((*b)[row], (*b)[row] + b->Width(), (*b)[column]);
        }
        pivotRows[step] = row;
        pivotColumns[step] = column;
        double const pivot = std::exchange(a[column][column], 1.0);
        for (int c = 0; c < n; ++c) a[column][c] /= pivot;
        if (b)
            for (int c = 0; c < b->Width(); ++c) (*b)[column][c] /= pivot;
        for (int r = 0; r < n; ++r) {
            if (r == column) continue;
            double const factor = std::exchange(a[r][column], 0.0);
            Subtract(a[r], factor, a[column], n);
            if (b) Subtract((*b)[r], factor, (*b)[column], b->Width());
        }
    }
    for (int step = n - 1; step >= 0; --step)
        if (pivotRows[step] != pivotColumns[step])
            for (int r = 0; r < n; ++r) std::swap(a[r][pivotRows[step]], a[r][pivotColumns[step]]);
    return true;
}

/// Row form of a solver on matrices: one column in, one column out. x stays as it is where there is no result.
template <class Solve>
bool SolveColumn(Solve solve, KxMatrix const& A, KxVec& x, KxVec const& b) {
    KxMatrix right(1, b.Size()), result;
    right.SetCol(0, b);
    if (!solve(A, result, right)) return false;
    x = result.Col(0);
    return true;
}

}  // namespace

bool KxMatrix::IsSingular() const {
    KxMatrix copy(*this);
    return !GaussJordan(copy, nullptr);
}

KxMatrix KxMatrix::GaussJordanInverse() const {
    KxMatrix inverse(*this);
    return GaussJordan(inverse, nullptr) ? inverse : KxMatrix();
}

KxMatrix KxMatrix::LUDecomposition(KxTArray<int>* permutation, int* sign) const {
    int const n = m_height;
    KxMatrix lu(n, n);
    for (int r = 0; r < n; ++r) std::copy_n(m_rows[r], std::min(n, m_width), lu[r]);
    if (permutation) {
        permutation->Resize(n);
        for (int r = 0; r < n; ++r) (*permutation)[r] = r;
    }
    for (int k = 0; k < n - 1; ++k) {
        int pivot = k;
        for (int r = k + 1; r < n; ++r)
            if (KxMath::Abs(lu[r][k]) > KxMath::Abs(lu[pivot][k])) pivot = r;
        if (pivot != k) {
            std::swap_ranges(lu[k], lu[k] + n, lu[pivot]);
            if (permutation) std::swap((*permutation)[k], (*permutation)[pivot]);
            if (sign) *sign = -*sign;
        }
        for (int r = k + 1; r < n; ++r) {
            lu[r][k] /= lu[k][k];
            Subtract(lu[r] + k + 1, lu[r][k], lu[k] + k + 1, n - k - 1);
        }
    }
    return lu;
}

KxMatrix KxMatrix::LUInverse() const {
    int const n = m_height;
    KxTArray<int> permutation;
    KxMatrix const lu = LUDecomposition(&permutation, nullptr);
    KxMatrix inverse(n, n);
    for (int r = 0; r < n; ++r) {
        inverse[r][permutation[r]] = 1.0;
        for (int k = 0; k < r; ++k) Subtract(inverse[r], lu[r][k], inverse[k], n);
    }
    for (int r = n - 1; r >= 0; --r) {
        for (int k = r + 1; k < n; ++k) Subtract(inverse[r], lu[r][k], inverse[k], n);
        for (int c = 0; c < n; ++c) inverse[r][c] /= lu[r][r];
    }
    return inverse;
}

double KxMatrix::Determinant() const {
    int sign = 1;
    KxMatrix const lu = LUDecomposition(nullptr, &sign);
    double product = sign;
    for (int i = 0; i < m_height; ++i) product *= lu[i][i];
    return product;
}

bool KxMatrix::SolveEquationSystemGaussJordan(KxMatrix const& A, KxMatrix& X, KxMatrix const& B) {
    KxMatrix copy(A), result(B);
    if (!GaussJordan(copy, &result)) return false;
    X = std::move(result);
    return true;
}

bool KxMatrix::SolveEquationSystemGaussJordan(KxMatrix const& A, KxVec& x, KxVec const& b) {
    return SolveColumn([](auto&&... of) { return SolveEquationSystemGaussJordan(of...); }, A, x, b);
}

bool KxMatrix::SolveEquationSystemLU(KxMatrix const& A, KxMatrix& X, KxMatrix const& B) {
    X = A.LUInverse() * B;
    return true;
}

bool KxMatrix::SolveEquationSystemLU(KxMatrix const& A, KxVec& x, KxVec const& b) {
    return SolveColumn([](auto&&... of) { return SolveEquationSystemLU(of...); }, A, x, b);
}

bool KxMatrix::SolveEquationSystemSVD(KxMatrix const& A, KxMatrix& X, KxMatrix const& B) {
    KxMatrix U, V;
    KxVec W;
    if (!A.SVD(U, W, V)) return false;
    for (double& w : W) {
        if (!IsNonZero(w)) return false;
        w = 1.0 / w;
    }
    for (int r = 0; r < V.m_height; ++r)
        for (int c = 0; c < V.m_width; ++c) V[r][c] *= W[c];
    X = V * U.Transpose() * B;
    return true;
}

bool KxMatrix::SolveEquationSystemSVD(KxMatrix const& A, KxVec& x, KxVec const& b) {
    return SolveColumn([](auto&&... of) { return SolveEquationSystemSVD(of...); }, A, x, b);
}

bool KxMatrix::SolveEquationSystem(KxMatrix const& A, KxMatrix& X, KxMatrix const& B) {
    bool const isUnique = A.m_width == A.m_height && !A.IsSingular();
    return isUnique ? SolveEquationSystemLU(A, X, B) : SolveEquationSystemSVD(A, X, B);
}

bool KxMatrix::SolveEquationSystem(KxMatrix const& A, KxVec& x, KxVec const& b) {
    return SolveColumn([](auto&&... of) { return SolveEquationSystem(of...); }, A, x, b);
}

}  // namespace KxN
