// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Taking a transform apart, and the interpolation of rotations that stands on it. The two forms of Decompose work on the
// transpose, whose rows are the images of the axes.
#include "hbtools/math/syMatrix4.h"

namespace KxN {

namespace {

bool IsZero(double value) {
    return !(value < 0.0 || value > 0.0);
}

/// Rotation about x, then y, then z.
struct Angles {
    double x, y, z;
};

Angles AnglesOf(KxMatrix4 const& m) {
    double const y = KxMath::ATan2(-m[2][0], KxMath::Sqrt(m[1][0] * m[1][0] + m[0][0] * m[0][0]));
    // Looking along the axis of y, those of x and z are one: all of the turn goes to x.
    if (y == KxMath::PiHalf) return {KxMath::ATan2(m[0][1], m[1][1]), y, 0};
    if (y == -KxMath::PiHalf) return {-KxMath::ATan2(m[0][1], m[1][1]), y, 0};
    double const c = 1.0 / KxMath::Cos(y);
    return {KxMath::ATan2(c * m[2][1], c * m[2][2]), y, KxMath::ATan2(c * m[1][0], c * m[0][0])};
}

/// Between two angles the shorter way round.
double Between(double a, double b, double t) {
    if (b < a - KxMath::Pi) b += KxMath::TwoPi;
    if (b > a + KxMath::Pi) b -= KxMath::TwoPi;
    return a * (1.0 - t) + b * t;
}

/// Brings a row to length 1 unless it has none, and returns that length.
double TakeLength(KxVec3d& row) {
    double const length = row.Length();
    row.Normalize();
    return length;
}

/// Removes the part of `row` along `unit` and returns its length.
double TakeShear(KxVec3d& row, KxVec3d const& unit) {
    double const shear = unit.Dot(row);
    KxVec3d part(unit);
    part *= shear;
    row -= part;
    return shear;
}

}  // namespace

bool KxMatrix4::Decompose(KxMatrix4& U, KxVec3d& K, KxMatrix4& R, KxVec3d& T, KxMatrix4& F) const {
    KxMatrix3 const linear = SubMatrix3x3();
    T = KxVec3d(m_rows[0][3], m_rows[1][3], m_rows[2][3]);
    F = Identity;  // an output may be this object
    double const det = linear.Det();
    double const sign = det >= 0 ? 1.0 : -1.0;
    if (sign * det < 1e-12) return false;

    KxMatrix3 const W = linear.Transpose();
    double eigenvalues[3];
    KxVec3d eigenvectors[3];
    (W * linear).Jacobi(eigenvalues, eigenvectors);
    KxMatrix3 V, S;
    for (int i = 0; i < 3; ++i) {
        K[i] = KxMath::Sqrt(eigenvalues[i]) * sign;
        S[i][i] = 1.0 / K[i];
        for (int j = 0; j < 3; ++j) V[i][j] = eigenvectors[i][j];
    }
    KxMatrix3 const inverseStretch = V * S * V.Transpose();
    U = V.Transpose();
    R = (inverseStretch * W).Transpose();
    return true;
}

bool KxMatrix4::Decompose(double* values) const {
    KxMatrix4 W = Transpose();
    double const scale = W[3][3];
    if (IsZero(scale)) return false;
    for (Row& row : W.m_rows)
        for (int c = 0; c < 4; ++c) row[c] /= scale;

    KxMatrix4 affine = W;
    for (int r = 0; r < 4; ++r) affine[r][3] = r == 3 ? 1 : 0;
    if (affine.IsSingular()) return false;

    for (int i = 12; i < 16; ++i) values[i] = 0;
    if (!IsZero(W[0][3]) || !IsZero(W[1][3]) || !IsZero(W[2][3])) {
        KxMatrix4 const inverse = affine.Inverse();
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) values[12 + r] += inverse[r][c] * W[c][3];
        W = affine;
    }

    for (int i = 0; i < 3; ++i) values[9 + i] = W[3][i];

    KxVec3d row[3];
    for (int r = 0; r < 3; ++r) row[r] = KxVec3d(W[r][0], W[r][1], W[r][2]);
    values[0] = TakeLength(row[0]);
    values[3] = TakeShear(row[1], row[0]);
    values[1] = TakeLength(row[1]);
    values[3] /= values[1];
    values[4] = TakeShear(row[2], row[0]);
    values[5] = TakeShear(row[2], row[1]);
    values[2] = TakeLength(row[2]);
    values[4] /= values[2];
    values[5] /= values[2];
    if (row[0].Dot(row[1].Cross(row[2])) < 0) {
        for (int i = 0; i < 3; ++i) {
            values[i] = -values[i];
            row[i].Negate();
        }
    }

    values[7] = KxMath::ASin(-row[0][2]);
    if (IsZero(KxMath::Cos(values[7]))) {
        values[6] = KxMath::ATan2(row[1][0], row[1][1]);
        values[8] = 0;
    } else {
        values[6] = KxMath::ATan2(row[1][2], row[2][2]);
        values[8] = KxMath::ATan2(row[0][1], row[0][0]);
    }
    return true;
}

KxMatrix4 KxMatrix4::Slerp(KxMatrix4 const& a, KxMatrix4 const& b, double t) {
    Angles const from = AnglesOf(a), to = AnglesOf(b);
    return AZRotation(Between(from.z, to.z, t)) * AYRotation(Between(from.y, to.y, t)) *
           AXRotation(Between(from.x, to.x, t));
}

KxMatrix4 KxMatrix4::SmoothSlerp(KxMatrix4 const& a, KxMatrix4 const& b, double t) {
    return Slerp(a, b, detail::Smooth(t));
}

}  // namespace KxN
