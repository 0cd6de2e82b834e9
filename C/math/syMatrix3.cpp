// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syMatrix3.h"

#include "math/syRotations.h"

namespace KxN {

constinit KxMatrix3 const KxMatrix3::Identity;

KxMatrix3::KxMatrix3(KxMatrix const& m)
    : KxMatrix3(m[0][0], m[0][1], m[0][2], m[1][0], m[1][1], m[1][2], m[2][0], m[2][1], m[2][2]) {}

bool operator==(KxMatrix3 const& a, KxMatrix3 const& b) {
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            if (a[r][c] < b[r][c] || a[r][c] > b[r][c]) return false;
    return true;
}

KxMatrix3 KxMatrix3::operator*(KxMatrix3 const& right) const {
    KxMatrix3 product;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            product[r][c] = m_rows[r][0] * right[0][c] + m_rows[r][1] * right[1][c] + m_rows[r][2] * right[2][c];
    return product;
}

KxMatrix3 KxMatrix3::Transpose() const {
    KxMatrix3 const& m = *this;
    return KxMatrix3(m[0][0], m[1][0], m[2][0], m[0][1], m[1][1], m[2][1], m[0][2], m[1][2], m[2][2]);
}

double KxMatrix3::Det() const {
    KxMatrix3 const& m = *this;
    return Det(m[0][0], m[0][1], m[0][2], m[1][0], m[1][1], m[1][2], m[2][0], m[2][1], m[2][2]);
}

KxMatrix3 KxMatrix3::Adjoint() const {
    KxMatrix3 const& m = *this;
    return Adjoint(m[0][0], m[0][1], m[0][2], m[1][0], m[1][1], m[1][2], m[2][0], m[2][1], m[2][2]);
}

KxMatrix3 KxMatrix3::Adjoint(double a, double b, double c, double d, double e, double f, double g, double h, double i) {
    return KxMatrix3(e * i - f * h, -(b * i - c * h), b * f - c * e, -(d * i - f * g), a * i - c * g, -(a * f - c * d),
                     d * h - e * g, -(a * h - b * g), a * e - b * d);
}

KxMatrix3 KxMatrix3::Inverse() const {
    double const factor = 1.0 / Det();
    KxMatrix3 inverse = Adjoint();
    for (Row& row : inverse.m_rows)
        for (int c = 0; c < 3; ++c) row[c] *= factor;
    return inverse;
}

bool KxMatrix3::IsSingular() const {
    double const det = Det();
    return !(det < 0.0 || det > 0.0);
}

KxMatrix3 KxMatrix3::AXRotation(double angle) {
    double const c = KxMath::Cos(angle), s = KxMath::Sin(angle);
    return KxMatrix3(1, 0, 0, 0, c, -s, 0, s, c);
}

KxMatrix3 KxMatrix3::AYRotation(double angle) {
    double const c = KxMath::Cos(angle), s = KxMath::Sin(angle);
    return KxMatrix3(c, 0, s, 0, 1, 0, -s, 0, c);
}

KxMatrix3 KxMatrix3::AZRotation(double angle) {
    double const c = KxMath::Cos(angle), s = KxMath::Sin(angle);
    return KxMatrix3(c, -s, 0, s, c, 0, 0, 0, 1);
}

KxMatrix3 KxMatrix3::ARotation(KxVec3d const& axis, double angle) {
    return detail::RotationAbout<KxMatrix3>(axis, angle);
}

KxMatrix3 KxMatrix3::AScale(KxVec3d const& factors) {
    return KxMatrix3(factors[0], 0, 0, 0, factors[1], 0, 0, 0, factors[2]);
}

KxMatrix3 KxMatrix3::AVectorIntoVectorMatrix(KxVec3d const& from, KxVec3d const& to) {
    double angle = 0;
    if (!detail::TurningAngle(from, to, angle)) return Identity;
    return ARotation(from.Cross(to), angle);
}

// The classic cyclic method. Rotating a pair (p, q) moves the elements above the diagonal only.
bool KxMatrix3::Jacobi(double* eigenvalues, KxVec3d* eigenvectors) const {
    constexpr int sweeps = 50;
    KxMatrix3 a = *this;
    double* const d = eigenvalues;
    double b[3], z[3];
    for (int i = 0; i < 3; ++i) {
        eigenvectors[i] = KxVec3d(i == 0, i == 1, i == 2);
        b[i] = d[i] = a[i][i];
        z[i] = 0;
    }
    for (int sweep = 0; sweep < sweeps; ++sweep) {
        double const sum = KxMath::Abs(a[0][1]) + KxMath::Abs(a[0][2]) + KxMath::Abs(a[1][2]);
        if (sum < 2.220446049250313e-16) return false;
        double const threshold = sweep < 3 ? sum * 0.022222222222222223 : 0.0;
        for (int p = 0; p < 2; ++p) {
            for (int q = p + 1; q < 3; ++q) {
                double const apq = a[p][q];
                double const g = 100.0 * KxMath::Abs(apq);
                auto const isNothingTo = [g](double value) { return KxMath::Abs(value) + g == KxMath::Abs(value); };
                if (sweep > 3 && isNothingTo(d[p]) && isNothingTo(d[q])) {
                    a[p][q] = 0;
                    continue;
                }
                if (!(KxMath::Abs(apq) > threshold)) continue;
                double const h = d[q] - d[p];
                double t = apq / h;
                if (!isNothingTo(h)) {
                    double const theta = 0.5 * h / apq;
                    t = 1.0 / (KxMath::Abs(theta) + KxMath::Sqrt(theta * theta + 1.0));
                    if (theta < 0) t = -t;
                }
                double const c = 1.0 / KxMath::Sqrt(t * t + 1.0), s = t * c, tau = s / (1.0 + c);
                z[p] -= t * apq;
                z[q] += t * apq;
                d[p] -= t * apq;
                d[q] += t * apq;
                a[p][q] = 0;
                auto const rotate = [s, tau](double& first, double& second) {
                    double const f = first, e = second;
                    first = f - s * (e + f * tau);
                    second = e + s * (f - e * tau);
                };
                for (int j = 0; j < p; ++j) rotate(a[j][p], a[j][q]);
                for (int j = p + 1; j < q; ++j) rotate(a[p][j], a[j][q]);
                for (int j = q + 1; j < 3; ++j) rotate(a[p][j], a[q][j]);
                for (int j = 0; j < 3; ++j) rotate(eigenvectors[j][p], eigenvectors[j][q]);
            }
        }
        for (int i = 0; i < 3; ++i) {
            b[i] += z[i];
            d[i] = b[i];
            z[i] = 0;
        }
    }
    return true;
}

}  // namespace KxN
