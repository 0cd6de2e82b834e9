// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The method of Golub and Reinsch. It combines columns all the way, so matrix and V are kept transposed until the end:
// their columns then lie in one piece.
#include "hbtools/base/syException.h"
#include "hbtools/math/syMatrix.h"
#include "math/syDenseKernels.h"
#include "math/syHypotenuse.h"

#include <algorithm>
#include <cstddef>

namespace KxN {

namespace {

using detail::Hypotenuse;
using detail::WithSign;

constexpr int maxIterations = 30;  // for each singular value

void AddScaled(double* y, double factor, double const* x, int count) {
    for (int i = 0; i < count; ++i) y[i] += factor * x[i];
}

void Scale(double* y, double factor, int count) {
    for (int i = 0; i < count; ++i) y[i] *= factor;
}

void Rotate(double* a, double* b, double c, double s, int count) {
    for (int k = 0; k < count; ++k) {
        double const x = a[k], y = b[k];
        a[k] = x * c + y * s;
        b[k] = y * c - x * s;
    }
}

class Decomposition {
public:
    explicit Decomposition(KxMatrix const& matrix)
        : m_m(matrix.Height()),
          m_n(matrix.Width()),
          m_a(matrix.Transpose()),
          m_v(m_n, m_n),
          m_w(m_n, 0.0),
          m_e(m_n, 0.0),
          m_sums(m_m, 0.0),
          m_row(m_n, 0.0) {
        Reduce();
        AccumulateRight();
        AccumulateLeft();
        for (int k = m_n - 1; k >= 0; --k) Diagonalize(k);
    }

    void Give(KxMatrix& U, KxVec& W, KxMatrix& V) {
        U = m_a.Transpose();
        V = m_v.Transpose();
        W = m_w;
    }

private:
    /// To an upper bidiagonal matrix: m_w on the diagonal, m_e above it. The vectors of the reflections stay in m_a.
    void Reduce() {
        double g = 0, scale = 0;
        for (int i = 0; i < m_n; ++i) {
            int const l = i + 1;
            m_e[i] = scale * g;
            g = scale = 0;
            if (i < m_m) {
                double* const u = m_a[i] + i;
                int const count = m_m - i;
                for (int k = 0; k < count; ++k) scale += KxMath::Abs(u[k]);
                if (scale != 0.0) {
                    double h = 0;
                    g = Reflect(u, count, scale, h);
                    for (int j = l; j < m_n; ++j)
                        AddScaled(m_a[j] + i, detail::Kernels().dot(u, m_a[j] + i, count) / h, u, count);
                    Scale(u, scale, count);
                }
            }
            m_w[i] = scale * g;
            g = scale = 0;
            if (i < m_m && l < m_n) {
                double* const u = m_row.Data() + l;
                int const count = m_n - l;
                for (int k = 0; k < count; ++k) {
                    u[k] = m_a[l + k][i];
                    scale += KxMath::Abs(u[k]);
                }
                if (scale != 0.0) {
                    double h = 0;
                    g = Reflect(u, count, scale, h);
                    m_sums = 0.0;
                    for (int k = 0; k < count; ++k) AddScaled(m_sums.Data() + l, u[k], m_a[l + k] + l, m_m - l);
                    for (int k = 0; k < count; ++k) {
                        AddScaled(m_a[l + k] + l, u[k] / h, m_sums.Data() + l, m_m - l);
                        m_a[l + k][i] = u[k] * scale;
                    }
                }
            }
            m_norm = KxMath::Max(m_norm, KxMath::Abs(m_w[i]) + KxMath::Abs(m_e[i]));
        }
    }

    /// Makes u, divided by `scale`, the vector of the reflection onto its first element; returns that element, and minus
    /// half the squared length in h.
    static double Reflect(double* u, int count, double scale, double& h) {
        double sum = 0;
        for (int k = 0; k < count; ++k) {
            u[k] /= scale;
            sum += u[k] * u[k];
        }
        double const f = u[0];
        double const g = -WithSign(KxMath::Sqrt(sum), f);
        h = f * g - sum;
        u[0] = f - g;
        return g;
    }

    void AccumulateRight() {
        double g = 0;
        for (int i = m_n - 1; i >= 0; --i) {
            int const l = i + 1, count = m_n - l;
            double* const v = m_v[i];
            if (count > 0) {
                if (g != 0.0) {
                    double* const u = m_row.Data() + l;
                    for (int k = 0; k < count; ++k) u[k] = m_a[l + k][i];
                    for (int k = 0; k < count; ++k) v[l + k] = u[k] / u[0] / g;
                    for (int j = l; j < m_n; ++j)
                        AddScaled(m_v[j] + l, detail::Kernels().dot(u, m_v[j] + l, count), v + l, count);
                }
                for (int j = l; j < m_n; ++j) v[j] = m_v[j][i] = 0.0;
            }
            v[i] = 1.0;
            g = m_e[i];
        }
    }

    void AccumulateLeft() {
        for (int i = std::min(m_m, m_n) - 1; i >= 0; --i) {
            int const count = m_m - i;
            double* const u = m_a[i] + i;
            for (int j = i + 1; j < m_n; ++j) m_a[j][i] = 0.0;
            double g = m_w[i];
            if (g != 0.0) {
                g = 1.0 / g;
                for (int j = i + 1; j < m_n; ++j) {
                    double const sum = detail::Kernels().dot(u + 1, m_a[j] + i + 1, count - 1);
                    AddScaled(m_a[j] + i, sum / u[0] * g, u, count);
                }
                Scale(u, g, count);
            } else {
                std::fill_n(u, count, 0.0);
            }
            u[0] += 1.0;
        }
    }

    bool IsSmall(double value) const { return KxMath::Abs(value) + m_norm == m_norm; }

    /// Iterates until singular value k has come off, or gives up and leaves it as it is.
    void Diagonalize(int k) {
        for (int iteration = 1; iteration <= maxIterations; ++iteration) {
            int l = k;
            while (l > 0 && !IsSmall(m_e[l]) && !IsSmall(m_w[l - 1])) --l;
            if (l > 0 && !IsSmall(m_e[l])) CancelRow(l, k);
            if (l == k) {
                if (m_w[k] < 0.0) {
                    m_w[k] = -m_w[k];
                    for (int j = 0; j < m_n; ++j) m_v[k][j] = -m_v[k][j];
                }
                return;
            }
            Step(l, k);
        }
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
            Rotate(m_a[l - 1], m_a[i], c, s, m_m);
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
        for (int j = l; j < k; ++j) {
            int const i = j + 1;
            g = m_e[i];
            y = m_w[i];
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
            Rotate(m_v[j], m_v[i], c, s, m_n);
            r = Hypotenuse(f, h);
            m_w[j] = r;
            if (r != 0.0) {
                c = f / r;
                s = h / r;
            }
            f = c * g + s * y;
            x = c * y - s * g;
            Rotate(m_a[j], m_a[i], c, s, m_m);
        }
        m_e[l] = 0.0;
        m_e[k] = f;
        m_w[k] = x;
    }

    int m_m, m_n;
    KxMatrix m_a;  // transposed
    KxMatrix m_v;  // transposed
    KxVec m_w, m_e;
    KxVec m_sums, m_row;
    double m_norm = 0;
};

}  // namespace

bool KxMatrix::SVD(KxMatrix& U, KxVec& W, KxMatrix& V) const {
    try {
        Decomposition(*this).Give(U, W, V);
        return true;
    } catch (CException* exception) {
        exception->Delete();
        return false;
    }
}

}  // namespace KxN
