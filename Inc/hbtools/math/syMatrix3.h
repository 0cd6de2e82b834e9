// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxMatrix3: a linear transform of space by value, nine doubles row after row. Points are columns multiplied from the
// right, y = M x; of A * B the transform B acts first. Rotations are counterclockwise about their axis for a positive
// angle in radians. Equality and the tests for zero are exact. Nothing throws, no shared state: a singular matrix shows
// in elements that are not finite. Indices are not checked.
#pragma once

#include "hbtools/math/syMatrix.h"
#include "hbtools/math/syVec3.h"

namespace KxN {

class KX_API KxMatrix3 {
public:
    class Row {
    public:
        constexpr Row(double x, double y, double z) : m_values{x, y, z} {}
        constexpr double& operator[](int column) { return m_values[column]; }
        constexpr double const& operator[](int column) const { return m_values[column]; }

    private:
        double m_values[3];
    };

    static KxMatrix3 const Identity;

    constexpr KxMatrix3() : KxMatrix3(1, 0, 0, 0, 1, 0, 0, 0, 1) {}  ///< The identity.
    /// Row after row.
    constexpr KxMatrix3(double a, double b, double c, double d, double e, double f, double g, double h, double i)
        : m_rows{Row(a, b, c), Row(d, e, f), Row(g, h, i)} {}
    /// Its rows 0 to 2 and columns 0 to 2, which must be there.
    explicit KxMatrix3(KxMatrix const& matrix);
    KxMatrix3& operator=(KxMatrix const& matrix) { return *this = KxMatrix3(matrix); }
    void SetValues(double a, double b, double c, double d, double e, double f, double g, double h, double i) {
        *this = KxMatrix3(a, b, c, d, e, f, g, h, i);
    }

    constexpr Row& operator[](int row) { return m_rows[row]; }
    constexpr Row const& operator[](int row) const { return m_rows[row]; }

    /// No element is less or greater than the other's.
    friend KX_API bool operator==(KxMatrix3 const& a, KxMatrix3 const& b);

    // Images of vectors, reckoned in double. `in` and `out` may be the same.
    KxVec3d operator*(KxVec3d const& v) const { return Image<KxVec3d>(v); }
    KxVec3f operator*(KxVec3f const& v) const { return Image<KxVec3f>(v); }
    void Transform(KxVec3d const& in, KxVec3d& out) const { out = *this * in; }
    void Transform(KxVec3f const& in, KxVec3f& out) const { out = *this * in; }
    void Transform(KxVec3d& v) const { v = *this * v; }
    void Transform(KxVec3f& v) const { v = *this * v; }

    KxMatrix3 operator*(KxMatrix3 const& right) const;
    KxMatrix3& operator*=(KxMatrix3 const& right) { return *this = *this * right; }
    KxMatrix3 Transpose() const;

    double Det() const;
    static constexpr double Det(double a, double b, double c, double d, double e, double f, double g, double h,
                                double i) {
        return a * (e * i - f * h) - d * (b * i - c * h) + g * (b * f - c * e);
    }
    /// The adjugate: the inverse times the determinant.
    KxMatrix3 Adjoint() const;
    static KxMatrix3 Adjoint(double a, double b, double c, double d, double e, double f, double g, double h, double i);
    /// Not finite if the matrix is singular.
    KxMatrix3 Inverse() const;
    void Invert() { *this = Inverse(); }
    /// The determinant is neither less nor greater than zero.
    bool IsSingular() const;

    static KxMatrix3 AXRotation(double angle);
    static KxMatrix3 AYRotation(double angle);
    static KxMatrix3 AZRotation(double angle);
    /// About an axis of any length; about z if it is null.
    static KxMatrix3 ARotation(KxVec3d const& axis, double angle);
    static KxMatrix3 AScale(double factor) { return AScale(KxVec3d(factor, factor, factor)); }
    static KxMatrix3 AScale(KxVec3d const& factors);
    /// Turns the direction of `from` into that of `to`; the identity if one is null or they are the same. Opposite
    /// vectors have no axis here: the result is a turn by Pi about z. KxMatrix4 finds one.
    static KxMatrix3 AVectorIntoVectorMatrix(KxVec3d const& from, KxVec3d const& to);

    /// Eigenvalues and eigenvectors of a symmetric matrix, of which the upper triangle and the diagonal are read.
    /// eigenvectors[i][j] is component i of the vector of eigenvalue j; nothing is sorted. Both take three. False when
    /// it has converged, true when 50 sweeps were not enough.
    bool Jacobi(double* eigenvalues, KxVec3d* eigenvectors) const;

private:
    template <class Vector>
    Vector Image(Vector const& v) const {
        using Scalar = std::remove_cvref_t<decltype(v[0])>;
        double const x = v[0], y = v[1], z = v[2];
        auto const component = [&](Row const& row) {
            return static_cast<Scalar>(row[0] * x + row[1] * y + row[2] * z);
        };
        return Vector(component(m_rows[0]), component(m_rows[1]), component(m_rows[2]));
    }

    Row m_rows[3];
};
static_assert(sizeof(KxMatrix3) == 9 * sizeof(double));

}  // namespace KxN
