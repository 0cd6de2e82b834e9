// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The method of Golub and Reinsch. It combines columns all the way, so matrix and V are kept transposed until the end:
// their columns then lie in one piece.
#include "hbtools/base/syException.h"
#include "hbtools/math/syMatrix.h"
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
using detail::Offset;
using detail::Scratch;
using detail::WithSign;

constexpr int maxIterations = 30;  // for each singular value
constexpr std::size_t few = 8;     // rows of a matrix for which all working memory is on the stack

void Scale(double* y, double factor, int count) {
    for (int i = 0; i < count; ++i) y[i] *= factor;
}

/// Makes u, divided by `scale`, the vector of the reflection onto its first element; returns that element, and minus half
/// the squared length in h.
double Reflect(double* u, int count, double scale, double& h) {
    for (int k = 0; k < count; ++k) u[k] /= scale;
    double const sum = detail::Kernels().dot(u, u, count);
    double const f = u[0];
    double const g = -WithSign(KxMath::Sqrt(sum), f);
    h = f * g - sum;
    u[0] = f - g;
    return g;
}

double SumOfSizes(double const* u, int count) {
    double sum = 0;
    for (int k = 0; k < count; ++k) sum += std::abs(u[k]);
    return sum;
}

class Decomposition {
public:
    explicit Decomposition(KxMatrix const& matrix)
        : m_m(matrix.Height()),
          m_n(matrix.Width()),
          m_a(Offset(m_n, m_strideA)),
          m_v(Offset(m_n, m_strideV)),
          m_w(m_n),
          m_e(m_n),
          m_u(std::max(m_m, m_n)),
          m_sums(m_m) {
        std::fill_n(m_a.Data(), Offset(m_n, m_strideA), 0.0);
        std::fill_n(m_v.Data(), Offset(m_n, m_strideV), 0.0);
        detail::Transpose(matrix.Data(), m_n, m_a.Data(), m_strideA, m_m, m_n);
        int const exponent = detail::SafeExponent(detail::LargestSize(matrix.Data(), m_m * m_n));
        for (int k = 0; k < m_n; ++k) detail::ScaleByPower(A(k), exponent, m_m);
        Reduce();
        AccumulateRight();
        AccumulateLeft();
        for (int k = m_n - 1; k >= 0; --k) Diagonalize(k);
        m_turnsOfA.Make();
        m_turnsOfV.Make();
        for (int k = 0; k < m_n; ++k)
            if (m_e[k] < 0.0) Scale(V(k), -1.0, m_n);
        detail::ScaleByPower(m_w.Data(), -exponent, m_n);
    }

    /// Once there is memory for all three, nothing can fail.
    void Give(KxMatrix& U, KxVec& W, KxMatrix& V) {
        KxMatrix newU(0, 0), newV(0, 0);
        KxVec newW;
        bool const hasSizeOfU = U.Width() == m_n && U.Height() == m_m,
                   hasSizeOfV = V.Width() == m_n && V.Height() == m_n;
        if (!hasSizeOfU) newU.Resize(m_n, m_m);
        if (!hasSizeOfV) newV.Resize(m_n, m_n);
        if (W.Size() != m_n) newW.Resize(m_n);
        if (!hasSizeOfU) U = std::move(newU);
        if (!hasSizeOfV) V = std::move(newV);
        if (W.Size() != m_n) W = std::move(newW);
        detail::Transpose(m_a.Data(), m_strideA, U.Data(), m_n, m_n, m_m);
        detail::Transpose(m_v.Data(), m_strideV, V.Data(), m_n, m_n, m_n);
        std::copy_n(m_w.Data(), m_n, W.Data());
    }

private:
    /// Columns of what is U in the end, and of V.
    double* A(int column) { return m_a.Data() + Offset(column, m_strideA); }
    double* V(int column) { return m_v.Data() + Offset(column, m_strideV); }

    /// To an upper bidiagonal matrix: m_w on the diagonal, m_e above it. The vectors of the reflections stay in m_a.
    void Reduce() {
        double g = 0, scale = 0, h = 0;
        for (int i = 0; i < m_n; ++i) {
            int const l = i + 1, rest = m_n - l;
            m_e[i] = scale * g;
            g = scale = 0;
            if (i < m_m) {
                double* const u = A(i) + i;
                scale = SumOfSizes(u, m_m - i);
                if (scale != 0.0) {
                    g = Reflect(u, m_m - i, scale, h);
                    if (rest > 0) m_kernels.reflectRows(A(l) + i, m_strideA, rest, u, h, u, m_m - i);
                    Scale(u, scale, m_m - i);
                }
            }
            m_w[i] = scale * g;
            g = scale = 0;
            if (i < m_m && rest > 0) {
                double* const u = m_u.Data();
                for (int k = 0; k < rest; ++k) u[k] = A(l + k)[i];
                scale = SumOfSizes(u, rest);
                if (scale != 0.0) {
                    g = Reflect(u, rest, scale, h);
                    std::fill_n(m_sums.Data(), m_m - l, 0.0);
                    m_kernels.addRows(m_sums.Data(), A(l) + l, m_strideA, rest, u, m_m - l);
                    for (int k = 0; k < rest; ++k) {
                        m_kernels.addScaled(A(l + k) + l, u[k] / h, m_sums.Data(), m_m - l);
                        A(l + k)[i] = u[k] * scale;
                    }
                }
            }
            m_norm = KxMath::Max(m_norm, std::abs(m_w[i]) + std::abs(m_e[i]));
        }
    }

    void AccumulateRight() {
        double g = 0;
        for (int i = m_n - 1; i >= 0; --i) {
            int const l = i + 1, rest = m_n - l;
            double* const v = V(i) + l;
            if (rest > 0) {
                if (g != 0.0) {
                    double* const u = m_u.Data();
                    for (int k = 0; k < rest; ++k) u[k] = A(l + k)[i];
                    for (int k = 0; k < rest; ++k) v[k] = u[k] / u[0] / g;
                    m_kernels.reflectRows(V(l) + l, m_strideV, rest, u, 1.0, v, rest);
                }
                std::fill_n(v, rest, 0.0);
                for (int j = l; j < m_n; ++j) V(j)[i] = 0.0;
            }
            V(i)[i] = 1.0;
            g = m_e[i];
        }
    }

    void AccumulateLeft() {
        for (int i = std::min(m_m, m_n) - 1; i >= 0; --i) {
            int const l = i + 1, count = m_m - i;
            double* const u = A(i) + i;
            for (int j = l; j < m_n; ++j) A(j)[i] = 0.0;
            if (m_w[i] != 0.0) {
                double const g = 1.0 / m_w[i], pivot = u[0];
                std::copy_n(u, count, m_u.Data());
                Scale(u, g, count);
                if (l < m_n) m_kernels.reflectRows(A(l) + i, m_strideA, m_n - l, m_u.Data(), pivot, u, count);
            } else {
                std::fill_n(u, count, 0.0);
            }
            u[0] += 1.0;
        }
    }

    bool IsSmall(double value) const { return std::abs(value) + m_norm == m_norm; }

    /// Iterates until singular value k has come off, or gives up and leaves it as it is. Then nothing needs m_e[k] any
    /// more: it gets the sign of the column of V.
    void Diagonalize(int k) {
        double sign = 1.0;
        for (int iteration = 1; iteration <= maxIterations; ++iteration) {
            int l = k;
            while (l > 0 && !IsSmall(m_e[l]) && !IsSmall(m_w[l - 1])) --l;
            if (l > 0 && !IsSmall(m_e[l])) CancelRow(l, k);
            if (l == k) {
                if (m_w[k] < 0.0) {
                    m_w[k] = -m_w[k];
                    sign = -1.0;
                }
                break;
            }
            Step(l, k);
        }
        m_e[k] = sign;
    }

    /// Row l - 1 has no diagonal element any more: rotates what stands beside it out of the matrix.
    void CancelRow(int l, int k) {
        double c = 0.0, s = 1.0;
        for (int i = l; i <= k; ++i) {
            double const f = s * m_e[i];
            m_e[i] = c * m_e[i];
            if (IsSmall(f)) break;
            double const g = m_w[i];
            m_w[i] = Hypotenuse(f, g);
            c = g / m_w[i];
            s = -f / m_w[i];
            m_turnsOfA.Begin(l - 1, i - l + 1);
            m_turnsOfA.Add(c, s);
        }
    }

    /// One step of QR with a shift from the lowest 2 * 2 block, on the rows l to k.
    void Step(int l, int k) {
        double x = m_w[l], y = m_w[k - 1], g = m_e[k - 1], h = m_e[k];
        double const z = m_w[k];
        double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
        g = Hypotenuse(f, 1.0);
        f = ((x - z) * (x + z) + h * (y / (f + WithSign(g, f)) - h)) / x;
        double c = 1.0, s = 1.0;
        m_turnsOfA.Begin(l, 1);
        m_turnsOfV.Begin(l, 1);
        for (int j = l; j < k; ++j) {
            g = m_e[j + 1];
            y = m_w[j + 1];
            h = s * g;
            g = c * g;
            double r = Hypotenuse(f, h);
            m_e[j] = r;
            c = f / r;
            s = h / r;
            f = x * c + g * s;
            g = g * c - x * s;
            h = y * s;
            y *= c;
            m_turnsOfV.Add(c, s);
            r = Hypotenuse(f, h);
            m_w[j] = r;
            if (r != 0.0) {
                c = f / r;
                s = h / r;
            }
            f = c * g + s * y;
            x = c * y - s * g;
            m_turnsOfA.Add(c, s);
        }
        m_e[l] = 0.0;
        m_e[k] = f;
        m_w[k] = x;
    }

    int m_m, m_n;
    int m_strideA = detail::RotatedStride(m_m), m_strideV = detail::RotatedStride(m_n);
    detail::DenseKernels const& m_kernels = detail::Kernels();
    Scratch<double, few * few> m_a, m_v;
    Scratch<double, few> m_w, m_e;
    Scratch<double, few * few> m_u, m_sums;
    double m_norm = 0;
    detail::RotationList m_turnsOfA{m_a.Data(), m_strideA}, m_turnsOfV{m_v.Data(), m_strideV};
};

}  // namespace

bool KxMatrix::SVD(KxMatrix& U, KxVec& W, KxMatrix& V) const {
    try {
        Decomposition(*this).Give(U, W, V);
        return true;
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        exception->Delete();
        return false;
    }
}

}  // namespace KxN
