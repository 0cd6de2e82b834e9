// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syMatrix4.h"

#include "hbtools/base/syArchive.h"
#include "math/syRotations.h"
#include "math/syTransformKernels.h"

namespace KxN {

namespace {

/// Makes a matrix from a function of row and column.
template <class Element>
KxMatrix4 Made(Element element) {
    KxMatrix4 matrix;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) matrix[r][c] = element(r, c);
    return matrix;
}

template <class T>
KxTMatrix4x4<T> Dense(KxMatrix4 const& matrix) {
    KxTMatrix4x4<T> dense;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            dense[static_cast<unsigned long>(r)][static_cast<unsigned long>(c)] = static_cast<T>(matrix[r][c]);
    return dense;
}

template <class T>
KxMatrix4 FromDense(KxTMatrix4x4<T> const& dense) {
    return Made([&dense](int r, int c) -> double {
        auto const row = static_cast<unsigned long>(r), column = static_cast<unsigned long>(c);
        bool const isThere = row < dense.Size() && column < dense[row].Size();
        return isThere ? dense[row][column] : KxMatrix4::Identity[r][c];
    });
}

/// The determinant of what is left without a row and a column.
double Minor(KxMatrix4 const& m, int row, int column) {
    int const r0 = row == 0, r1 = row <= 1 ? 2 : 1, r2 = row <= 2 ? 3 : 2;
    int const c0 = column == 0, c1 = column <= 1 ? 2 : 1, c2 = column <= 2 ? 3 : 2;
    return KxMatrix3::Det(m[r0][c0], m[r0][c1], m[r0][c2], m[r1][c0], m[r1][c1], m[r1][c2], m[r2][c0], m[r2][c1],
                          m[r2][c2]);
}

/// The product of the upper three rows and a homogeneous vector.
void UpperImage(KxMatrix4 const& m, KxVec4f const& v, double (&image)[4]) {
    double const x = v[0], y = v[1], z = v[2], w = v[3];
    for (int r = 0; r < 4; ++r) image[r] = m[r][0] * x + m[r][1] * y + m[r][2] * z + m[r][3] * w;
}

KxVec4f Narrowed(double const (&image)[4]) {
    return KxVec4f(static_cast<float>(image[0]), static_cast<float>(image[1]), static_cast<float>(image[2]),
                   static_cast<float>(image[3]));
}

template <class Point>
void TransformArray(KxMatrix4 const& matrix, KxTArray<Point> const& in, KxTArray<Point>& out) {
    if (out.Size() != in.Size()) out = KxTArray<Point>(in.Size());
    if (in.Size() > 0)
        detail::TransformPoints(&matrix[0][0], matrix.IsAffine(), in[0].Values(), out[0].Values(),
                                static_cast<std::size_t>(in.Size()));
}

}  // namespace

constinit KxMatrix4 const KxMatrix4::Identity;
constinit KxMatrix4 const KxMatrix4::ZeroMatrix(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);

KxMatrix4::KxMatrix4(KxMatrix3 const& m)
    : KxMatrix4(m[0][0], m[0][1], m[0][2], 0, m[1][0], m[1][1], m[1][2], 0, m[2][0], m[2][1], m[2][2], 0, 0, 0, 0, 1) {}

KxMatrix4::KxMatrix4(KxMatrix const& matrix) : KxMatrix4(Made([&](int r, int c) { return matrix[r][c]; })) {}

KxMatrix4::KxMatrix4(KxTMatrix4x4<float> const& matrix) : KxMatrix4(FromDense(matrix)) {}

KxMatrix4::KxMatrix4(KxTMatrix4x4<double> const& matrix) : KxMatrix4(FromDense(matrix)) {}

KxMatrix4& KxMatrix4::operator=(double value) {
    return *this = Made([value](int, int) { return value; });
}

KxMatrix4::operator KxMatrix() const {
    KxMatrix dense(4, 4);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) dense[r][c] = m_rows[r][c];
    return dense;
}

KxMatrix4::operator KxTMatrix4x4<float>() const {
    return Dense<float>(*this);
}

KxMatrix4::operator KxTMatrix4x4<double>() const {
    return Dense<double>(*this);
}

KxMatrix3 KxMatrix4::SubMatrix3x3() const {
    KxMatrix4 const& m = *this;
    return KxMatrix3(m[0][0], m[0][1], m[0][2], m[1][0], m[1][1], m[1][2], m[2][0], m[2][1], m[2][2]);
}

bool operator==(KxMatrix4 const& a, KxMatrix4 const& b) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (a[r][c] < b[r][c] || a[r][c] > b[r][c]) return false;
    return true;
}

KxVec4f KxMatrix4::operator*(KxVec4f const& v) const {
    double image[4];
    UpperImage(*this, v, image);
    if (IsAffine()) image[3] = 1.0;
    return Narrowed(image);
}

void KxMatrix4::Transform(KxVec4f const& in, KxVec4f& out) const {
    double image[4];
    UpperImage(*this, in, image);
    float const w = in[3];
    out = Narrowed(image);
    if (IsAffine()) out[3] = w;
}

void KxMatrix4::Transform(KxTArray<KxVec3f> const& in, KxTArray<KxVec3f>& out) const {
    TransformArray(*this, in, out);
}

void KxMatrix4::Transform(KxTArray<KxVec3d> const& in, KxTArray<KxVec3d>& out) const {
    TransformArray(*this, in, out);
}

KxTArray<KxVec3f> KxMatrix4::operator*(KxTArray<KxVec3f> const& points) const {
    KxTArray<KxVec3f> images;
    Transform(points, images);
    return images;
}

KxTArray<KxVec3d> KxMatrix4::operator*(KxTArray<KxVec3d> const& points) const {
    KxTArray<KxVec3d> images;
    Transform(points, images);
    return images;
}

KxMatrix4 KxMatrix4::operator*(KxMatrix4 const& right) const {
    return Made([&](int r, int c) {
        return m_rows[r][0] * right[0][c] + m_rows[r][1] * right[1][c] + m_rows[r][2] * right[2][c] +
               m_rows[r][3] * right[3][c];
    });
}

KxMatrix4 KxMatrix4::operator+(KxMatrix4 const& right) const {
    return Made([&](int r, int c) { return m_rows[r][c] + right[r][c]; });
}

KxMatrix4 KxMatrix4::operator-(KxMatrix4 const& right) const {
    return Made([&](int r, int c) { return m_rows[r][c] - right[r][c]; });
}

KxMatrix4 KxMatrix4::Transpose() const {
    return Made([&](int r, int c) { return m_rows[c][r]; });
}

double KxMatrix4::L1Norm() const {
    double sum = 0;
    for (Row const& row : m_rows)
        for (int c = 0; c < 4; ++c) sum += KxMath::Abs(row[c]);
    return sum;
}

double KxMatrix4::L2Norm() const {
    double sum = 0;
    for (Row const& row : m_rows)
        for (int c = 0; c < 4; ++c) sum += row[c] * row[c];
    return KxMath::Sqrt(sum);
}

double KxMatrix4::Det() const {
    KxMatrix4 const& m = *this;
    return m[0][0] * Minor(m, 0, 0) - m[1][0] * Minor(m, 1, 0) + m[2][0] * Minor(m, 2, 0) - m[3][0] * Minor(m, 3, 0);
}

double KxMatrix4::Det(double m00, double m01, double m02, double m03, double m10, double m11, double m12, double m13,
                      double m20, double m21, double m22, double m23, double m30, double m31, double m32, double m33) {
    return KxMatrix4(m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33).Det();
}

KxMatrix4 KxMatrix4::Adjoint() const {
    return Made([this](int r, int c) {
        double const minor = Minor(*this, c, r);
        return (r + c) % 2 == 0 ? minor : -minor;
    });
}

KxMatrix4 KxMatrix4::Adjoint(double m00, double m01, double m02, double m03, double m10, double m11, double m12,
                             double m13, double m20, double m21, double m22, double m23, double m30, double m31,
                             double m32, double m33) {
    return KxMatrix4(m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33).Adjoint();
}

KxMatrix4 KxMatrix4::Inverse() const {
    double const factor = 1.0 / Det();
    KxMatrix4 inverse = Adjoint();
    for (Row& row : inverse.m_rows)
        for (int c = 0; c < 4; ++c) row[c] *= factor;
    return inverse;
}

bool KxMatrix4::IsSingular() const {
    double const det = Det();
    return !(det < 0.0 || det > 0.0);
}

KxMatrix4 KxMatrix4::ARotation(KxVec3d const& axis, double angle) {
    return detail::RotationAbout<KxMatrix4>(axis, angle);
}

KxMatrix4 KxMatrix4::ATranslation(KxVec3d const& offset) {
    return KxMatrix4(1, 0, 0, offset[0], 0, 1, 0, offset[1], 0, 0, 1, offset[2], 0, 0, 0, 1);
}

KxMatrix4 KxMatrix4::AVectorIntoVectorMatrix(KxVec3d const& from, KxVec3d const& to) {
    double angle = 0;
    if (!detail::TurningAngle(from, to, angle)) return Identity;
    bool const isOpposite = KxMath::Abs(angle - KxMath::Pi) < 1e-8;
    return ARotation(isOpposite ? KxVec3d(from[2], from[0], from[1]) : from.Cross(to), angle);
}

void KxMatrix4::LoadFloatVersion(CArchive& archive) {
    float values[16] = {};
    for (float& value : values) archive >> value;
    *this = Made([&values](int r, int c) -> double { return values[4 * r + c]; });
}

KxMatrix4 KxMatrix4::Lerp(KxMatrix4 const& a, KxMatrix4 const& b, double t) {
    return Made([&](int r, int c) { return (b[r][c] - a[r][c]) * t + a[r][c]; });
}

KxMatrix4 KxMatrix4::SmoothLerp(KxMatrix4 const& a, KxMatrix4 const& b, double t) {
    return Lerp(a, b, detail::Smooth(t));
}

}  // namespace KxN
