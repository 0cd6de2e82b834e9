// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxVec3i, KxVec3f, KxVec3d: points and directions of three components by value. An object is exactly its
// components, x first; an array of vectors is a flat array of numbers. Nothing throws, no shared state.
//
// A vector is invalid if a component is the marker of its type (KxMath::IInfinity, Infinity). The default
// constructor and Invalidate() write it into x and leave the rest as it is. Indices are not checked, pointers
// given to constructors and SetValues are read for three components.
// KxVec3f forms each product and difference in float, widens each and adds them in double in the order x, y, z.
#pragma once

#include "hbtools/base/syValues.h"
#include "hbtools/math/syVec2.h"

namespace KxN {

class KxVec;
class KxVec4f;
class KxVec4d;

class KX_API KxVec3i {
public:
    static KxVec3i const Zero;

    KxVec3i() { Invalidate(); }
    explicit KxVec3i(int const* values) : m_values{values[0], values[1], values[2]} {}
    constexpr KxVec3i(int x, int y, int z) : m_values{x, y, z} {}
    KxVec3i(KxVec2i const& vector, int z) : m_values{vector[0], vector[1], z} {}

    void SetValues(int x, int y, int z) { *this = KxVec3i(x, y, z); }
    void SetValues(int const* values) { detail::CopyTo(m_values, values); }
    int* Values() { return m_values; }
    int const* Values() const { return m_values; }
    operator int*() { return m_values; }
    operator int const*() const { return m_values; }
    int& operator[](int index) { return m_values[index]; }
    int const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<int>; }
    bool IsValid() const { return detail::IsValid<3>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    double Distance(KxVec3i const& vector) const { return detail::DistanceOfWhole(m_values, vector.m_values); }

    void operator+=(KxVec3i const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec3i const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    /// Whole numbers; a divisor of zero is a processor fault.
    void operator*=(int factor) { detail::Scale(m_values, factor); }
    void operator/=(int divisor) { detail::Divide(m_values, divisor); }
    bool operator==(KxVec3i const& vector) const { return detail::EqualExactly(m_values, vector.m_values); }
    bool operator!=(KxVec3i const& vector) const { return !(*this == vector); }

private:
    int m_values[3];
};

class KX_API KxVec3f {
public:
    static KxVec3f const Zero;
    static KxVec3f const One;
    static KxVec3f const XUnit;
    static KxVec3f const YUnit;
    static KxVec3f const ZUnit;
    static KxVec3f const Invalid;   ///< The marker in all components,
    static KxVec3f const Infinity;  ///< and so here.

    KxVec3f() { Invalidate(); }
    explicit KxVec3f(float const* values) : m_values{values[0], values[1], values[2]} {}
    constexpr KxVec3f(float x, float y, float z) : m_values{x, y, z} {}
    KxVec3f(KxVec2f const& vector, float z) : m_values{vector[0], vector[1], z} {}
    KxVec3f(KxTCoor<float> const& coor) : m_values{coor.x, coor.y, coor.z} {}
    explicit KxVec3f(KxVec4f const& vector);  ///< The homogeneous division of KxVec4f.
    operator KxTCoor<float>() const { return KxTCoor<float>(m_values[0], m_values[1], m_values[2]); }

    void SetValues(float x, float y, float z) { *this = KxVec3f(x, y, z); }
    void SetValues(float const* values) { detail::CopyTo(m_values, values); }
    float* Values() { return m_values; }
    float const* Values() const { return m_values; }
    operator float*() { return m_values; }
    operator float const*() const { return m_values; }
    float& operator[](int index) { return m_values[index]; }
    float const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<float>; }
    bool IsValid() const { return detail::IsValid<3>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    double Dot(KxVec3f const& vector) const { return detail::DotWidened(m_values, vector.m_values); }
    KxVec3f Cross(KxVec3f const& vector) const {
        float const* const a = m_values;
        float const* const b = vector.m_values;
        return KxVec3f(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
    }
    double SquaredLength() const { return Dot(*this); }
    double Length() const { return KxMath::Sqrt(SquaredLength()); }
    double SquaredDistance(KxVec3f const& vector) const { return Minus(vector).SquaredLength(); }
    double Distance(KxVec3f const& vector) const { return KxMath::Sqrt(SquaredDistance(vector)); }
    /// The smallest and the largest absolute difference of corresponding components.
    double MinDistance(KxVec3f const& vector) const {
        KxVec3f const d = Minus(vector);
        return KxMath::Min(KxMath::Abs(double(d[0])), KxMath::Abs(double(d[1])), KxMath::Abs(double(d[2])));
    }
    double MaxDistance(KxVec3f const& vector) const {
        KxVec3f const d = Minus(vector);
        return KxMath::Max(KxMath::Abs(double(d[0])), KxMath::Abs(double(d[1])), KxMath::Abs(double(d[2])));
    }
    /// To length 1. A null vector, also one of NaN, stays as it is and gives false.
    bool Normalize() { return detail::NormalizeUnlessNull(*this); }
    /// A copy of length 1; an unchanged copy of a null vector.
    KxVec3f Normalized() const {
        KxVec3f copy(*this);
        copy.Normalize();
        return copy;
    }
    /// 0 to Pi, in radians. `normalized` promises that both lengths are 1. If the product of the squared lengths is
    /// not above 1e-24 the angle is 0.
    double Angle(KxVec3f const& vector, bool normalized) const {
        return detail::AngleAbove(1e-24, *this, vector, normalized);
    }

    void operator+=(KxVec3f const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec3f const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    void operator*=(double factor) { detail::Scale(m_values, factor); }
    void operator/=(double divisor) { detail::Scale(m_values, 1.0 / divisor); }
    /// No difference is above KxMath::Epsilon.
    bool operator==(KxVec3f const& vector) const { return detail::EqualUpToEpsilon(m_values, vector.m_values); }
    bool operator!=(KxVec3f const& vector) const { return !(*this == vector); }

    /// From a at t = 0 to b at t = 1, without a clamp; SmoothLerp leaves and arrives slowly.
    static KxVec3f Lerp(KxVec3f const& a, KxVec3f const& b, float t) {
        KxVec3f result;
        detail::Interpolate(result.m_values, a.m_values, b.m_values, t);
        return result;
    }
    static KxVec3f SmoothLerp(KxVec3f const& a, KxVec3f const& b, float t) { return Lerp(a, b, detail::Smooth(t)); }

private:
    KxVec3f Minus(KxVec3f const& vector) const {
        return KxVec3f(m_values[0] - vector.m_values[0], m_values[1] - vector.m_values[1],
                       m_values[2] - vector.m_values[2]);
    }

    friend class KxVec3d;
    float m_values[3];
};

class KX_API KxVec3d {
public:
    static KxVec3d const Zero;
    static KxVec3d const One;
    static KxVec3d const XUnit;
    static KxVec3d const YUnit;
    static KxVec3d const ZUnit;
    static KxVec3d const Invalid;   ///< The marker in all components,
    static KxVec3d const Infinity;  ///< and so here.

    KxVec3d() { Invalidate(); }
    explicit KxVec3d(double const* values) : m_values{values[0], values[1], values[2]} {}
    constexpr KxVec3d(double x, double y, double z) : m_values{x, y, z} {}
    KxVec3d(KxVec2d const& vector, double z) : m_values{vector[0], vector[1], z} {}
    KxVec3d(KxVec3f const& vector) : m_values{vector[0], vector[1], vector[2]} {}
    explicit KxVec3d(KxVec4f const& vector);  ///< The homogeneous division of KxVec4f,
    explicit KxVec3d(KxVec4d const& vector);  ///< of KxVec4d.
    /// The first three elements, which must be there.
    KxVec3d(KxVec const& vector);
    KxVec3d& operator=(KxVec const& vector) { return *this = KxVec3d(vector); }
    KxVec ToVector() const;

    void SetValues(double x, double y, double z) { *this = KxVec3d(x, y, z); }
    void SetValues(double const* values) { detail::CopyTo(m_values, values); }
    void SetValues(float const* values) { *this = KxVec3d(values[0], values[1], values[2]); }
    double* Values() { return m_values; }
    double const* Values() const { return m_values; }
    operator double*() { return m_values; }
    operator double const*() const { return m_values; }
    double& operator[](int index) { return m_values[index]; }
    double const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<double>; }
    bool IsValid() const { return detail::IsValid<3>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    KxVec3d Abs() const {
        return KxVec3d(KxMath::Abs(m_values[0]), KxMath::Abs(m_values[1]), KxMath::Abs(m_values[2]));
    }
    /// Component by component; Div does not look for zeros.
    KxVec3d Mult(KxVec3d const& v) const { return KxVec3d(m_values[0] * v[0], m_values[1] * v[1], m_values[2] * v[2]); }
    KxVec3d Div(KxVec3d const& v) const { return KxVec3d(m_values[0] / v[0], m_values[1] / v[1], m_values[2] / v[2]); }
    double Dot(KxVec3d const& vector) const { return detail::DotWidened(m_values, vector.m_values); }
    double Dot(KxVec3f const& vector) const { return Dot(KxVec3d(vector)); }
    KxVec3d Cross(KxVec3d const& vector) const {
        double const* const a = m_values;
        double const* const b = vector.m_values;
        return KxVec3d(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
    }
    double SquaredLength() const { return Dot(*this); }
    double Length() const { return KxMath::Sqrt(SquaredLength()); }
    double SquaredDistance(KxVec3d const& vector) const { return Minus(vector).SquaredLength(); }
    double SquaredDistance(KxVec3f const& vector) const { return SquaredDistance(KxVec3d(vector)); }
    double Distance(KxVec3d const& vector) const { return KxMath::Sqrt(SquaredDistance(vector)); }
    double Distance(KxVec3f const& vector) const { return Distance(KxVec3d(vector)); }
    /// The smallest and the largest absolute difference of corresponding components.
    double MinDistance(KxVec3d const& vector) const {
        KxVec3d const d = Minus(vector).Abs();
        return KxMath::Min(d[0], d[1], d[2]);
    }
    double MaxDistance(KxVec3d const& vector) const {
        KxVec3d const d = Minus(vector).Abs();
        return KxMath::Max(d[0], d[1], d[2]);
    }
    /// To length 1. A null vector, also one of NaN, stays as it is and gives false.
    bool Normalize() { return detail::NormalizeUnlessNull(*this); }
    /// A copy of length 1; an unchanged copy of a null vector.
    KxVec3d Normalized() const {
        KxVec3d copy(*this);
        copy.Normalize();
        return copy;
    }
    /// 0 to Pi, in radians. `normalized` promises that both lengths are 1. If the product of the squared lengths is
    /// not above 1e-28 the angle is 0.
    double Angle(KxVec3d const& vector, bool normalized) const {
        return detail::AngleAbove(1e-28, *this, vector, normalized);
    }

    void operator+=(KxVec3d const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec3d const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    void operator+=(KxVec3f const& vector) { *this += KxVec3d(vector); }
    void operator-=(KxVec3f const& vector) { *this -= KxVec3d(vector); }
    void operator*=(double factor) { detail::Scale(m_values, factor); }
    void operator/=(double divisor) { detail::Scale(m_values, 1.0 / divisor); }
    /// No component is less or greater: exact, and NaN is equal to anything.
    bool operator==(KxVec3d const& v) const {
        return !(m_values[0] < v[0] || m_values[0] > v[0] || m_values[1] < v[1] || m_values[1] > v[1] ||
                 m_values[2] < v[2] || m_values[2] > v[2]);
    }
    bool operator!=(KxVec3d const& vector) const { return !(*this == vector); }
    /// No difference is above KxMath::Epsilon.
    bool operator==(KxVec3f const& vector) const { return detail::EqualUpToEpsilon(m_values, vector.m_values); }
    bool operator!=(KxVec3f const& vector) const { return !(*this == vector); }

    /// From a at t = 0 to b at t = 1, without a clamp; SmoothLerp leaves and arrives slowly.
    static KxVec3d Lerp(KxVec3d const& a, KxVec3d const& b, double t) {
        KxVec3d result;
        detail::Interpolate(result.m_values, a.m_values, b.m_values, t);
        return result;
    }
    static KxVec3d SmoothLerp(KxVec3d const& a, KxVec3d const& b, double t) { return Lerp(a, b, detail::Smooth(t)); }

    /// Narrowed; KxVec3f::Invalid if a component is the marker.
    KxVec3f ToVector3f() const {
        return IsValid() ? KxVec3f(static_cast<float>(m_values[0]), static_cast<float>(m_values[1]),
                                   static_cast<float>(m_values[2]))
                         : KxVec3f::Invalid;
    }

private:
    KxVec3d Minus(KxVec3d const& vector) const {
        return KxVec3d(m_values[0] - vector.m_values[0], m_values[1] - vector.m_values[1],
                       m_values[2] - vector.m_values[2]);
    }

    double m_values[3];
};

}  // namespace KxN
