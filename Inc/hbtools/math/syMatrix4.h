// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxMatrix4: an affine or projective transform of space by value, sixteen doubles row after row. Points are columns
// multiplied from the right, y = M x; of A * B the transform B acts first. A translation stands in column 3; the last row
// of an affine matrix is exactly 0, 0, 0, 1. Rotations are counterclockwise about their axis for a positive angle in
// radians. Equality and the tests for zero are exact. Nothing throws but the allocation of arrays: a singular matrix
// shows in elements that are not finite. No shared state; indices are not checked.
#pragma once

#include "hbtools/math/syMathMatrix.h"
#include "hbtools/math/syMatrix3.h"
#include "hbtools/math/syVec4.h"

namespace KxN {

class CArchive;

class KX_API KxMatrix4 {
public:
    class Row {
    public:
        constexpr Row(double x, double y, double z, double w) : m_values{x, y, z, w} {}
        constexpr double& operator[](int column) { return m_values[column]; }
        constexpr double const& operator[](int column) const { return m_values[column]; }

    private:
        double m_values[4];
    };

    static KxMatrix4 const Identity;
    static KxMatrix4 const ZeroMatrix;

    constexpr KxMatrix4() : KxMatrix4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1) {}  ///< The identity.
    /// Row after row.
    constexpr KxMatrix4(double m00, double m01, double m02, double m03, double m10, double m11, double m12, double m13,
                        double m20, double m21, double m22, double m23, double m30, double m31, double m32, double m33)
        : m_rows{Row(m00, m01, m02, m03), Row(m10, m11, m12, m13), Row(m20, m21, m22, m23), Row(m30, m31, m32, m33)} {}
    /// In the upper left; last row and column of the identity.
    KxMatrix4(KxMatrix3 const& matrix);
    /// Its rows and columns 0 to 3, which must be there.
    explicit KxMatrix4(KxMatrix const& matrix);
    /// An element that is missing, in a row that was made shorter, is that of the identity.
    KxMatrix4(KxTMatrix4x4<float> const& matrix);
    KxMatrix4(KxTMatrix4x4<double> const& matrix);

    KxMatrix4& operator=(double value);  ///< Every element.
    KxMatrix4& operator=(KxMatrix3 const& matrix) { return *this = KxMatrix4(matrix); }
    KxMatrix4& operator=(KxMatrix const& matrix) { return *this = KxMatrix4(matrix); }
    KxMatrix4& operator=(KxTMatrix4x4<float> const& matrix) { return *this = KxMatrix4(matrix); }
    KxMatrix4& operator=(KxTMatrix4x4<double> const& matrix) { return *this = KxMatrix4(matrix); }
    void SetValues(double value) { *this = value; }
    void SetValues(double m00, double m01, double m02, double m03, double m10, double m11, double m12, double m13,
                   double m20, double m21, double m22, double m23, double m30, double m31, double m32, double m33) {
        *this = KxMatrix4(m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33);
    }

    operator KxMatrix() const;
    operator KxTMatrix4x4<float>() const;
    operator KxTMatrix4x4<double>() const;
    KxMatrix3 SubMatrix3x3() const;  ///< The upper left.

    constexpr Row& operator[](int row) { return m_rows[row]; }
    constexpr Row const& operator[](int row) const { return m_rows[row]; }
    constexpr double& operator()(int row, int column) { return m_rows[row][column]; }
    constexpr double const& operator()(int row, int column) const { return m_rows[row][column]; }

    /// No element is less or greater than the other's.
    friend KX_API bool operator==(KxMatrix4 const& a, KxMatrix4 const& b);
    constexpr bool IsAffine() const {
        return m_rows[3][0] == 0.0 && m_rows[3][1] == 0.0 && m_rows[3][2] == 0.0 && m_rows[3][3] == 1.0;
    }

    // Images of points, reckoned in double: where the matrix is not affine they are multiplied by 1.0 / w, whatever w
    // is. `in` and `out` may be the same.
    KxVec3d operator*(KxVec3d const& v) const { return Image<KxVec3d>(v); }
    KxVec3f operator*(KxVec3f const& v) const { return Image<KxVec3f>(v); }
    void Transform(KxVec3d const& in, KxVec3d& out) const { out = *this * in; }
    void Transform(KxVec3f const& in, KxVec3f& out) const { out = *this * in; }
    void Transform(KxVec3d& v) const { v = *this * v; }
    void Transform(KxVec3f& v) const { v = *this * v; }

    // Images of homogeneous vectors, without a division. An affine matrix leaves w as it is in Transform, and sets it to
    // 1.0 in the product.
    KxVec4f operator*(KxVec4f const& v) const;
    void operator*(KxVec4d const& v) const =
        delete;  // it would be taken as the point that it converts to, without its w
    void Transform(KxVec4f const& in, KxVec4f& out) const;
    void Transform(KxVec4f& v) const { Transform(v, v); }

    // Images of many points, each as above, to the last bit. The forms with two arrays resize `out` if they must; both
    // may be the same array.
    void Transform(KxTArray<KxVec3f>& points) const { Transform(points, points); }
    void Transform(KxTArray<KxVec3d>& points) const { Transform(points, points); }
    void Transform(KxTArray<KxVec3f> const& in, KxTArray<KxVec3f>& out) const;
    void Transform(KxTArray<KxVec3d> const& in, KxTArray<KxVec3d>& out) const;
    KxTArray<KxVec3f> operator*(KxTArray<KxVec3f> const& points) const;
    KxTArray<KxVec3d> operator*(KxTArray<KxVec3d> const& points) const;

    KxMatrix4 operator*(KxMatrix4 const& right) const;
    KxMatrix4& operator*=(KxMatrix4 const& right) { return *this = *this * right; }
    KxMatrix4 operator+(KxMatrix4 const& right) const;
    KxMatrix4 operator-(KxMatrix4 const& right) const;
    KxMatrix4 Transpose() const;
    double L1Norm() const;  ///< The sum of the absolute values.
    double L2Norm() const;  ///< The square root of the sum of squares.
    double EuclideanNorm() const { return L2Norm(); }

    double Det() const;
    static double Det(double m00, double m01, double m02, double m03, double m10, double m11, double m12, double m13,
                      double m20, double m21, double m22, double m23, double m30, double m31, double m32, double m33);
    /// The adjugate: the inverse times the determinant.
    KxMatrix4 Adjoint() const;
    static KxMatrix4 Adjoint(double m00, double m01, double m02, double m03, double m10, double m11, double m12,
                             double m13, double m20, double m21, double m22, double m23, double m30, double m31,
                             double m32, double m33);
    /// Not finite if the matrix is singular.
    KxMatrix4 Inverse() const;
    void Invert() { *this = Inverse(); }
    /// The determinant is neither less nor greater than zero.
    bool IsSingular() const;

    static KxMatrix4 AXRotation(double angle) { return KxMatrix3::AXRotation(angle); }
    static KxMatrix4 AYRotation(double angle) { return KxMatrix3::AYRotation(angle); }
    static KxMatrix4 AZRotation(double angle) { return KxMatrix3::AZRotation(angle); }
    /// About an axis of any length; about z if it is null.
    static KxMatrix4 ARotation(KxVec3d const& axis, double angle);
    static KxMatrix4 AScale(double factor) { return KxMatrix3::AScale(factor); }
    static KxMatrix4 AScale(KxVec3d const& factors) { return KxMatrix3::AScale(factors); }
    static KxMatrix4 ATranslation(KxVec3d const& offset);
    /// Turns the direction of `from` into that of `to`; the identity if one is null or they are the same. Opposite
    /// vectors turn about `from` with its components moved round: (z, x, y).
    static KxMatrix4 AVectorIntoVectorMatrix(KxVec3d const& from, KxVec3d const& to);

    /// Reads sixteen floats, row after row. @throws CArchiveException with cause 4 if the archive stores
    void LoadFloatVersion(CArchive& archive);

    /// The linear part L as R U^T diag(K) U: R a rotation, U the axes of the stretch K, all of K negative if L mirrors.
    /// T is the translation, F the identity. False, with the other outputs undefined, if |det L| is below 1e-12.
    bool Decompose(KxMatrix4& U, KxVec3d& K, KxMatrix4& R, KxVec3d& T, KxMatrix4& F) const;
    /// Into 16 numbers: scale x, y, z; shear xy, xz, yz; rotation x, y, z in radians; translation x, y, z; perspective
    /// x, y, z, w. False if element (3, 3) or the determinant of the affine part is exactly zero.
    bool Decompose(double* values) const;

    /// Element by element from a at t = 0 to b at t = 1, without a clamp; SmoothLerp leaves and arrives slowly.
    static KxMatrix4 Lerp(KxMatrix4 const& a, KxMatrix4 const& b, double t);
    static KxMatrix4 SmoothLerp(KxMatrix4 const& a, KxMatrix4 const& b, double t);
    /// Interpolates the rotation by its Euler angles; the result has no translation and no scale.
    static KxMatrix4 Slerp(KxMatrix4 const& a, KxMatrix4 const& b, double t);
    static KxMatrix4 SmoothSlerp(KxMatrix4 const& a, KxMatrix4 const& b, double t);

private:
    template <class Vector>
    Vector Image(Vector const& v) const {
        using Scalar = std::remove_cvref_t<decltype(v[0])>;
        double const x = v[0], y = v[1], z = v[2];
        auto const component = [&](Row const& row) { return row[0] * x + row[1] * y + row[2] * z + row[3]; };
        double image[3] = {component(m_rows[0]), component(m_rows[1]), component(m_rows[2])};
        if (!IsAffine()) [[unlikely]] {
            double const factor = 1.0 / component(m_rows[3]);
            for (double& value : image) value *= factor;
        }
        return Vector(static_cast<Scalar>(image[0]), static_cast<Scalar>(image[1]), static_cast<Scalar>(image[2]));
    }

    Row m_rows[4];
};
static_assert(sizeof(KxMatrix4) == 16 * sizeof(double));

}  // namespace KxN
