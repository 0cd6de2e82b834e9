// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syMatrix.h"
#include "math/syDenseFactors.h"
#include "math/syNumberRange.h"
#include "math/syScratch.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

namespace KxN {

namespace {

constexpr std::size_t few = detail::smallSize;  // rows of a matrix for which all working memory is on the stack

using detail::LargestSize;
using detail::Offset;
using detail::Scratch;
using Work = Scratch<double, few * few>;
using Places = Scratch<int, 2 * few>;

std::ptrdiff_t Square(int n) {
    return Offset(n, n);
}

bool IsNonZero(double value) {
    return value < 0.0 || value > 0.0;
}

/// What solvers that cannot say false make of a system with fewer columns than rows.
KxMatrix NotANumber(int width, int height) {
    KxMatrix result(width, height);
    return std::move(result = std::numeric_limits<double>::quiet_NaN());
}

/// The n * n elements on the left, with zeros where there are none.
void CopySquare(KxMatrix const& matrix, double* square) {
    int const n = matrix.Height(), width = std::min(n, matrix.Width());
    for (int r = 0; r < n; ++r) {
        double* const row = square + Offset(r, n);
        std::fill(std::copy_n(matrix[r], width, row), row + n, 0.0);
    }
}

/// Makes the n * n elements smaller where their sums could be infinite; returns the exponent, see SafeSumExponent.
int MakeSafe(double* square, int n) {
    if (n <= detail::smallSize) {  // faster than a call of the kernel
        bool isLarge = false;
        for (int i = 0; i < n * n; ++i) isLarge |= KxMath::Abs(square[i]) > 1e288;
        if (!isLarge) [[likely]]
            return 0;
    }
    int const exponent = detail::SafeSumExponent(LargestSize(square, n * n));
    detail::ScaleByPower(square, exponent, n * n);
    return exponent;
}

/// A square matrix factored with full pivoting.
class FullFactors {
public:
    /// `lu` has room for the factors.
    FullFactors(KxMatrix const& matrix, double* lu)
        : m_n(matrix.Height()), m_work(Square(m_n)), m_rows(m_n), m_columns(m_n), m_lu(lu) {
        std::copy_n(matrix.Data(), Square(m_n), m_work.Data());
        m_exponent = MakeSafe(m_work.Data(), m_n);
        Places order(Offset(m_n, 2));
        m_isRegular = detail::FactorFully(detail::Kernels(), m_work.Data(), m_n, m_rows.Data(), m_columns.Data(),
                                          order.Data(), lu);
    }

    bool IsRegular() const { return m_isRegular; }

    /// Into the place of the factors, which end.
    void Invert() {
        double* const inverse = m_work.Data();
        detail::InvertLower(detail::Kernels(), true, m_lu, inverse, m_n);
        detail::SolveTriangle(detail::Kernels(), false, false, m_lu, m_n, inverse, m_n, m_n, m_n);
        for (int k = 0; k < m_n; ++k)
            for (int c = 0; c < m_n; ++c) m_lu[Offset(m_columns[k], m_n) + m_rows[c]] = inverse[Offset(k, m_n) + c];
        detail::ScaleByPower(m_lu, m_exponent, m_n * m_n);
    }

    KxMatrix Solve(KxMatrix const& right) {
        int const width = right.Width();
        KxMatrix permuted(width, m_n), result(width, m_n);
        for (int k = 0; k < m_n; ++k) std::copy_n(right[m_rows[k]], width, permuted[k]);
        detail::ScaleByPower(permuted.Data(), m_exponent, m_n * width);
        detail::SolveTriangle(detail::Kernels(), true, true, m_lu, m_n, permuted.Data(), width, m_n, width);
        detail::SolveTriangle(detail::Kernels(), false, false, m_lu, m_n, permuted.Data(), width, m_n, width);
        for (int k = 0; k < m_n; ++k) std::copy_n(permuted[k], width, result[m_columns[k]]);
        return result;
    }

private:
    int m_n;
    Work m_work;
    Scratch<int, few> m_rows, m_columns;
    double* m_lu;
    int m_exponent = 0;  // of what the matrix was multiplied by
    bool m_isRegular = false;
};

/// LU in place of the n * n elements. Follows the exchanges in *permutation and *sign, which may be null.
void Factor(double* square, int n, int* permutation, int* sign) {
    Scratch<double, few * detail::triangleRows> work(Offset(n, detail::triangleRows));
    Scratch<int, few> pivots(n);
    detail::FactorLU(detail::Kernels(), square, n, pivots.Data(), work.Data());
    if (permutation)
        for (int k = 0; k < n; ++k) permutation[k] = k;
    for (int k = 0; k < n; ++k) {
        if (permutation) std::swap(permutation[k], permutation[pivots[k]]);
        if (sign && pivots[k] != k) *sign = -*sign;
    }
}

/// Into `inverse`, of height * height elements. *largest, unless it is null, gets the largest element met on the way.
void InvertByLU(KxMatrix const& matrix, double* inverse, double* largest) {
    int const n = matrix.Height();
    Work lu(Square(n)), row(n);
    Scratch<int, few> permutation(n);
    CopySquare(matrix, lu.Data());
    if (largest) *largest = LargestSize(lu.Data(), n * n);
    int const exponent = MakeSafe(lu.Data(), n);
    Factor(lu.Data(), n, permutation.Data(), nullptr);
    if (largest) *largest = KxMath::Max(*largest, std::ldexp(LargestSize(lu.Data(), n * n), -exponent));
    detail::InvertLower(detail::Kernels(), false, lu.Data(), inverse, n);
    detail::SolveTriangle(detail::Kernels(), false, true, lu.Data(), n, inverse, n, n, n);
    for (int r = 0; r < n; ++r) {
        double* const target = inverse + Offset(r, n);
        std::copy_n(target, n, row.Data());
        for (int c = 0; c < n; ++c) target[permutation[c]] = row[c];
    }
    detail::ScaleByPower(inverse, exponent, n * n);
}

/// Whether full pivoting cannot find a pivot of zero. It works exactly on a matrix that differs by less than n^3 roundings
/// of the largest element, and the nearest singular matrix is 1 / |inverse| away; so is the inverse known, which is why
/// what it met on the way counts too. The bound leaves two digits for larger elements that full pivoting may meet.
bool IsSurelyRegular(double const* inverse, int n, double largest) {
    double norm = 0, sumOfAll = 0;
    for (int r = 0; r < n; ++r) {
        double const* const row = inverse + Offset(r, n);
        double sums[4] = {};
        int c = 0;
        for (; c + 4 <= n; c += 4)
            for (int k = 0; k < 4; ++k) sums[k] += std::abs(row[c + k]);
        for (; c < n; ++c) sums[0] += std::abs(row[c]);
        double const sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
        norm = KxMath::Max(norm, sum);
        sumOfAll += sum;
    }
    bool const isFinite = sumOfAll < std::numeric_limits<double>::infinity();
    return isFinite && largest > 1e-200 && largest * norm < 1e14 / (static_cast<double>(n) * n * n);
}

/// Into `inverse` by LU; false if the square matrix is singular. Full pivoting, which decides that, costs more than the
/// inverse, so it is left out where its result is known.
bool InvertRegular(KxMatrix const& matrix, double* inverse) {
    int const n = matrix.Height();
    bool const isSmall = n <= detail::smallSize;
    if (isSmall && matrix.IsSingular()) return false;
    double largest = 0;
    InvertByLU(matrix, inverse, isSmall ? nullptr : &largest);
    return isSmall || IsSurelyRegular(inverse, n, largest) || !matrix.IsSingular();
}

/// x = the n * n elements times b, which may be x.
void MultiplyInto(KxVec& x, double const* square, int n, KxVec const& b) {
    KxVec result{KxTArray<double>(n)};
    for (int r = 0; r < n; ++r) result[r] = detail::Kernels().dot(square + Offset(r, n), b.Data(), n);
    x = std::move(result);
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
    return m_width != m_height || !FullFactors(*this, nullptr).IsRegular();
}

KxMatrix KxMatrix::GaussJordanInverse() const {
    if (m_width != m_height) return {};
    if (m_height <= detail::smallSize) {
        KxMatrix inverse(*this);
        int const exponent = MakeSafe(inverse.Data(), m_height);
        if (!detail::InvertSmall(inverse.Data(), m_height, nullptr, 0)) return {};
        detail::ScaleByPower(inverse.Data(), exponent, m_height * m_height);
        return inverse;
    }
    KxMatrix inverse(m_width, m_height);
    FullFactors factors(*this, inverse.Data());
    if (!factors.IsRegular()) return {};
    factors.Invert();
    return inverse;
}

KxMatrix KxMatrix::LUDecomposition(KxTArray<int>* permutation, int* sign) const {
    KxMatrix lu(m_height, m_height);
    CopySquare(*this, lu.Data());
    if (permutation) permutation->Resize(m_height);
    Factor(lu.Data(), m_height, permutation ? permutation->Data() : nullptr, sign);
    return lu;
}

KxMatrix KxMatrix::LUInverse() const {
    bool const isHigh = m_width < m_height;
    KxMatrix inverse = isHigh ? NotANumber(1, 1) : KxMatrix(m_height, m_height);
    if (!isHigh) InvertByLU(*this, inverse.Data(), nullptr);
    return inverse;
}

double KxMatrix::Determinant() const {
    // Behind a column of zeros, at whose pivot the multipliers are 0 / 0, a second one becomes NaN.
    if (m_height - m_width > 1) return std::numeric_limits<double>::quiet_NaN();
    int sign = 1;
    Work lu(Square(m_height));
    CopySquare(*this, lu.Data());
    Factor(lu.Data(), m_height, nullptr, &sign);
    double product = sign;
    for (int i = 0; i < m_height; ++i) product *= lu[Offset(i, m_height) + i];
    return product;
}

bool KxMatrix::SolveEquationSystemGaussJordan(KxMatrix const& A, KxMatrix& X, KxMatrix const& B) {
    int const n = A.m_height;
    if (A.m_width != n) return false;
    Work lu(Square(n));
    if (n <= detail::smallSize) {
        KxMatrix result(B);
        std::copy_n(A.Data(), n * n, lu.Data());
        detail::ScaleByPower(result.Data(), MakeSafe(lu.Data(), n), n * B.m_width);
        if (!detail::InvertSmall(lu.Data(), n, result.Data(), B.m_width)) return false;
        X = std::move(result);
        return true;
    }
    FullFactors factors(A, lu.Data());
    if (!factors.IsRegular()) return false;
    X = factors.Solve(B);
    return true;
}

bool KxMatrix::SolveEquationSystemGaussJordan(KxMatrix const& A, KxVec& x, KxVec const& b) {
    return SolveColumn([](auto&&... of) { return SolveEquationSystemGaussJordan(of...); }, A, x, b);
}

bool KxMatrix::SolveEquationSystemLU(KxMatrix const& A, KxMatrix& X, KxMatrix const& B) {
    X = A.m_width < A.m_height ? NotANumber(B.m_width, A.m_height) : A.LUInverse() * B;
    return true;
}

bool KxMatrix::SolveEquationSystemLU(KxMatrix const& A, KxVec& x, KxVec const& b) {
    if (A.m_width < A.m_height) {
        x = NotANumber(1, A.m_height).Col(0);
        return true;
    }
    Work inverse(Square(A.m_height));
    InvertByLU(A, inverse.Data(), nullptr);
    MultiplyInto(x, inverse.Data(), A.m_height, b);
    return true;
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
    if (A.m_width != A.m_height) return SolveEquationSystemSVD(A, X, B);
    Work inverse(Square(A.m_height));
    if (!InvertRegular(A, inverse.Data())) return SolveEquationSystemSVD(A, X, B);
    KxMatrix result(B.m_width, A.m_height);
    detail::Kernels().product(false, result.Data(), B.m_width, inverse.Data(), A.m_height, B.Data(), B.m_width,
                              A.m_height, B.m_width, A.m_height);
    X = std::move(result);
    return true;
}

bool KxMatrix::SolveEquationSystem(KxMatrix const& A, KxVec& x, KxVec const& b) {
    if (A.m_width != A.m_height) return SolveEquationSystemSVD(A, x, b);
    Work inverse(Square(A.m_height));
    if (!InvertRegular(A, inverse.Data())) return SolveEquationSystemSVD(A, x, b);
    MultiplyInto(x, inverse.Data(), A.m_height, b);
    return true;
}

}  // namespace KxN
