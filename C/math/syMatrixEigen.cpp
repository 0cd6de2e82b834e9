// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Both steps work on the transposed matrix of the transformation: what they combine are its columns, which then lie in
// one piece.
#include "hbtools/math/syMatrix.h"
#include "math/syDenseKernels.h"
#include "math/syHypotenuse.h"
#include "math/syNumberRange.h"
#include "math/syRotationList.h"
#include "math/syScratch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace KxN {

namespace {

using detail::Hypotenuse;
using detail::LargestSize;
using detail::Offset;
using detail::SafeExponent;
using detail::ScaleByPower;
using detail::Scratch;
using detail::WithSign;

constexpr std::size_t few = 8;  // rows of a matrix for which all working memory is on the stack

/// Reduces the symmetric n * n matrix q to tridiagonal form d, e from its last row up. q becomes the transposed matrix of
/// the transformation. Returns the exponent by which d and e are scaled.
int Tridiagonalize(double* q, int stride, int n, double* d, double* e) {
    auto const row = [=](int r) { return q + Offset(r, stride); };
    if (n == 0) return 0;
    detail::DenseKernels const& kernels = detail::Kernels();
    double largest = 0;
    for (int i = 0; i < n; ++i) largest = KxMath::Max(largest, LargestSize(row(i), i + 1));
    int const exponent = SafeExponent(largest);
    for (int i = 0; i < n; ++i) ScaleByPower(row(i), exponent, i + 1);
    for (int i = n - 1; i > 0; --i) {
        double* const u = row(i);
        double scale = 0, h = 0;
        if (i > 1)
            for (int k = 0; k < i; ++k) scale += std::abs(u[k]);
        d[i] = 0.0;
        if (i == 1 || scale == 0.0) {
            e[i] = u[i - 1];
            continue;
        }
        for (int k = 0; k < i; ++k) {
            u[k] /= scale;
            h += u[k] * u[k];
        }
        double const f = u[i - 1];
        double const g = -WithSign(KxMath::Sqrt(h), f);
        e[i] = scale * g;
        h -= f * g;
        u[i - 1] = f - g;
        // A becomes A - u v^T - v u^T, where v = A u / h - (u^T A u / 2 h^2) u stands in e.
        kernels.symmetricProduct(e, q, stride, u, i);
        for (int j = 0; j < i; ++j) e[j] /= h;
        double const half = kernels.dot(e, u, i) / (h + h);
        for (int j = 0; j < i; ++j) e[j] -= half * u[j];
        kernels.symmetricUpdate(q, stride, u, e, i);
        d[i] = h;
    }
    e[0] = 0.0;
    for (int i = 0; i < n; ++i) {
        double* const u = row(i);
        if (i > 0 && d[i] != 0.0) kernels.reflectRows(q, stride, i, u, -d[i], u, i);
        d[i] = u[i];
        std::fill_n(u, i, 0.0);
        u[i] = 1.0;
        for (int j = 0; j < i; ++j) row(j)[i] = 0.0;
    }
    return exponent;
}

/// The eigenvalues of the tridiagonal matrix d, e into d; the n rows of q are rotated with them.
bool ImplicitQl(double* q, int stride, int n, double* d, double* e) {
    if (n < 1) return true;
    for (int i = 1; i < n; ++i) e[i - 1] = e[i];
    e[n - 1] = 0.0;
    int const limit = std::max(2 * n, 32);
    detail::RotationList rotations(q, stride);
    for (int l = 0; l < n; ++l) {
        for (int iteration = 0;; ++iteration) {
            int m = l;
            for (; m < n - 1; ++m) {
                double const sum = std::abs(d[m]) + std::abs(d[m + 1]);
                if (std::abs(e[m]) + sum == sum) break;
            }
            if (m == l) break;
            if (iteration == limit) {
                rotations.Make();
                return false;
            }
            double g = (d[l + 1] - d[l]) / (2.0 * e[l]);
            g = d[m] - d[l] + e[l] / (g + WithSign(Hypotenuse(g, 1.0), g));
            double s = 1.0, c = 1.0, p = 0.0;
            int i = m - 1;
            rotations.Begin(m, -1);
            for (; i >= l; --i) {
                double const f = s * e[i], b = c * e[i];
                double r = Hypotenuse(f, g);
                e[i + 1] = r;
                if (r == 0.0) {
                    d[i + 1] -= p;
                    e[m] = 0.0;
                    break;
                }
                s = f / r;
                c = g / r;
                g = d[i + 1] - p;
                r = (d[i] - g) * s + 2.0 * c * b;
                p = s * r;
                d[i + 1] = g + p;
                g = c * r - b;
                rotations.Add(c, s);
            }
            if (i >= l) continue;
            d[l] -= p;
            e[l] = g;
            e[m] = 0.0;
        }
    }
    rotations.Make();
    return true;
}

/// The columns of a matrix as rows that can be rotated.
class Columns {
public:
    Columns(int count, int length) : m_length(length), m_count(count), m_values(Offset(count, m_stride)) {
        std::fill_n(m_values.Data(), Offset(count, m_stride), 0.0);
    }

    double* Data() { return m_values.Data(); }
    int Stride() const { return m_stride; }
    double* operator[](int column) { return m_values.Data() + Offset(column, m_stride); }
    void Take(KxMatrix const& matrix) {
        detail::Transpose(matrix.Data(), m_count, m_values.Data(), m_stride, m_length, m_count);
    }
    void Give(KxMatrix& matrix) {
        detail::Transpose(m_values.Data(), m_stride, matrix.Data(), m_count, m_count, m_length);
    }

private:
    int m_length, m_count, m_stride = detail::RotatedStride(m_length);
    Scratch<double, few * few> m_values;
};

}  // namespace

void KxMatrix::TridiagonalizeHouseholder(KxVec* diagonal, KxVec* offDiagonal) {
    int const n = std::min(m_width, m_height);
    diagonal->Resize(n);
    offDiagonal->Resize(n);
    int const exponent = Tridiagonalize(Data(), m_width, n, diagonal->Data(), offDiagonal->Data());
    ScaleByPower(diagonal->Data(), -exponent, n);
    ScaleByPower(offDiagonal->Data(), -exponent, n);
    for (int r = 1; r < n; ++r)
        for (int c = 0; c < r; ++c) std::swap(m_rows[r][c], m_rows[c][r]);
}

bool KxMatrix::QLAlgorithm(KxVec& diagonal, KxVec& offDiagonal) {
    if (m_width < 1) return true;
    Columns columns(m_width, m_height);
    columns.Take(*this);
    double* const d = diagonal.Data();
    double* const e = offDiagonal.Data();
    int const exponent = SafeExponent(KxMath::Max(LargestSize(d, m_width), LargestSize(e + 1, m_width - 1)));
    ScaleByPower(d, exponent, m_width);
    ScaleByPower(e, exponent, m_width);
    bool const isDone = ImplicitQl(columns.Data(), columns.Stride(), m_width, d, e);
    ScaleByPower(d, -exponent, m_width);
    ScaleByPower(e, -exponent, m_width);
    columns.Give(*this);
    return isDone;
}

KxMatrix KxMatrix::EigenVectors(KxVec* eigenvalues) const {
    int const n = std::min(m_width, m_height);
    Columns columns(n, n);
    for (int r = 0; r < n; ++r) std::copy_n(m_rows[r], n, columns[r]);
    Scratch<double, few> d(n), e(n);
    int const exponent = Tridiagonalize(columns.Data(), columns.Stride(), n, d.Data(), e.Data());
    ImplicitQl(columns.Data(), columns.Stride(), n, d.Data(), e.Data());
    ScaleByPower(d.Data(), -exponent, n);
    if (eigenvalues) {
        eigenvalues->Resize(n);
        std::copy_n(d.Data(), n, eigenvalues->Data());
    }
    KxMatrix result(n, n);
    columns.Give(result);
    return result;
}

}  // namespace KxN
