// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxVec4i, KxVec4f, KxVec4d: vectors of four components by value; the floating-point ones are homogeneous points
// x, y, z, w. An object is exactly its components, x first. Nothing throws, no operation has shared state.
//
// A vector is invalid if a component is the marker of its type (KxMath::IInfinity, Infinity); the w of KxVec4f and
// KxVec4d is not looked at. The default constructor and Invalidate() write the marker into x and leave the rest as
// it is. Indices are not checked, pointers given to constructors and SetValues are read for four components.
#pragma once

#include "hbtools/math/syVec3.h"

namespace KxN {

class KX_API KxVec4i {
public:
    static KxVec4i const Zero;

    KxVec4i() { Invalidate(); }
    explicit KxVec4i(int const* values) : m_values{values[0], values[1], values[2], values[3]} {}
    constexpr KxVec4i(int x, int y, int z, int w) : m_values{x, y, z, w} {}
    KxVec4i(KxVec2i const& vector, int z, int w) : m_values{vector[0], vector[1], z, w} {}
    KxVec4i(KxVec3i const& vector, int w) : m_values{vector[0], vector[1], vector[2], w} {}

    void SetValues(int x, int y, int z, int w) { *this = KxVec4i(x, y, z, w); }
    void SetValues(int const* values) { detail::CopyTo(m_values, values); }
    int* Values() { return m_values; }
    int const* Values() const { return m_values; }
    operator int*() { return m_values; }
    operator int const*() const { return m_values; }
    int& operator[](int index) { return m_values[index]; }
    int const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<int>; }
    bool IsValid() const { return detail::IsValid<4>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    double Distance(KxVec4i const& vector) const { return detail::DistanceOfWhole(m_values, vector.m_values); }

    void operator+=(KxVec4i const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec4i const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    /// Whole numbers; a divisor of zero is a processor fault.
    void operator*=(int factor) { detail::Scale(m_values, factor); }
    void operator/=(int divisor) { detail::Divide(m_values, divisor); }
    bool operator==(KxVec4i const& vector) const { return detail::EqualExactly(m_values, vector.m_values); }
    bool operator!=(KxVec4i const& vector) const { return !(*this == vector); }

private:
    int m_values[4];
};

class KX_API KxVec4f {
public:
    KxVec4f() { Invalidate(); }
    explicit KxVec4f(float const* values) : m_values{values[0], values[1], values[2], values[3]} {}
    constexpr KxVec4f(float x, float y, float z, float w) : m_values{x, y, z, w} {}
    KxVec4f(KxVec2f const& vector, float z, float w) : m_values{vector[0], vector[1], z, w} {}
    KxVec4f(KxVec3f const& vector) : m_values{vector[0], vector[1], vector[2], 1.0F} {}
    KxVec4f(KxVec3d const& vector)
        : m_values{static_cast<float>(vector[0]), static_cast<float>(vector[1]), static_cast<float>(vector[2]), 1.0F} {}

    void SetValues(float x, float y, float z, float w) { *this = KxVec4f(x, y, z, w); }
    void SetValues(float const* values) { detail::CopyTo(m_values, values); }
    float* Values() { return m_values; }
    float const* Values() const { return m_values; }
    operator float*() { return m_values; }
    operator float const*() const { return m_values; }
    float& operator[](int index) { return m_values[index]; }
    float const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<float>; }
    bool IsValid() const { return detail::IsValid<3>(m_values); }

    void operator+=(KxVec4f const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec4f const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    void operator*=(double factor) { detail::Scale(m_values, factor); }
    void operator/=(double divisor) { detail::Scale(m_values, 1.0 / divisor); }
    /// Every difference, that of w included, is below KxMath::Epsilon.
    bool operator==(KxVec4f const& vector) const { return detail::EqualBelowEpsilon(m_values, vector.m_values); }
    bool operator!=(KxVec4f const& vector) const { return !(*this == vector); }

    /// From a at t = 0 to b at t = 1, without a clamp; SmoothLerp leaves and arrives slowly.
    static KxVec4f Lerp(KxVec4f const& a, KxVec4f const& b, float t) {
        KxVec4f result;
        detail::Interpolate(result.m_values, a.m_values, b.m_values, t);
        return result;
    }
    static KxVec4f SmoothLerp(KxVec4f const& a, KxVec4f const& b, float t) { return Lerp(a, b, detail::Smooth(t)); }

    /// x, y and z divided by w, in float; Infinity if w is zero or NaN.
    operator KxVec3f() const {
        float const w = m_values[3];
        if (!(w < 0 || w > 0)) {
            return KxVec3f::Infinity;
        }
        float const r = 1.0F / w;
        return KxVec3f(detail::Scaled(m_values[0], r), detail::Scaled(m_values[1], r), detail::Scaled(m_values[2], r));
    }
    /// The same, widened.
    operator KxVec3d() const { return KxVec3d(operator KxVec3f()); }

private:
    float m_values[4];
};

class KX_API KxVec4d {
public:
    KxVec4d() { Invalidate(); }
    explicit KxVec4d(double const* values) : m_values{values[0], values[1], values[2], values[3]} {}
    constexpr KxVec4d(double x, double y, double z, double w) : m_values{x, y, z, w} {}
    KxVec4d(KxVec2d const& vector, double z, double w) : m_values{vector[0], vector[1], z, w} {}
    KxVec4d(KxVec3f const& vector, float w) : m_values{vector[0], vector[1], vector[2], w} {}
    KxVec4d(KxVec3d const& vector, float w) : m_values{vector[0], vector[1], vector[2], w} {}
    KxVec4d(KxVec4f const& vector) : m_values{vector[0], vector[1], vector[2], vector[3]} {}

    void SetValues(double x, double y, double z, double w) { *this = KxVec4d(x, y, z, w); }
    void SetValues(double const* values) { detail::CopyTo(m_values, values); }
    double* Values() { return m_values; }
    double const* Values() const { return m_values; }
    operator double*() { return m_values; }
    operator double const*() const { return m_values; }
    double& operator[](int index) { return m_values[index]; }
    double const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<double>; }
    bool IsValid() const { return detail::IsValid<3>(m_values); }

    void operator+=(KxVec4d const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec4d const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    void operator*=(double factor) { detail::Scale(m_values, factor); }
    void operator/=(double divisor) { detail::Scale(m_values, 1.0 / divisor); }
    /// Every difference, that of w included, is below KxMath::Epsilon.
    bool operator==(KxVec4d const& vector) const { return detail::EqualBelowEpsilon(m_values, vector.m_values); }
    bool operator!=(KxVec4d const& vector) const { return !(*this == vector); }

    /// From a at t = 0 to b at t = 1, without a clamp; SmoothLerp leaves and arrives slowly.
    static KxVec4d Lerp(KxVec4d const& a, KxVec4d const& b, double t) {
        KxVec4d result;
        detail::Interpolate(result.m_values, a.m_values, b.m_values, t);
        return result;
    }
    static KxVec4d SmoothLerp(KxVec4d const& a, KxVec4d const& b, double t) { return Lerp(a, b, detail::Smooth(t)); }

    KxVec4f ToVector4f() const {
        return KxVec4f(static_cast<float>(m_values[0]), static_cast<float>(m_values[1]),
                       static_cast<float>(m_values[2]), static_cast<float>(m_values[3]));
    }

    /// x, y and z divided by w; Infinity if w is zero or NaN.
    operator KxVec3d() const {
        double const w = m_values[3];
        if (!(w < 0 || w > 0)) {
            return KxVec3d::Infinity;
        }
        double const r = 1.0 / w;
        return KxVec3d(m_values[0] * r, m_values[1] * r, m_values[2] * r);
    }
    /// The same, narrowed component by component; KxVec3f::Infinity if w is zero or NaN.
    KxVec3f ToVector3f() const {
        double const w = m_values[3];
        if (!(w < 0 || w > 0)) {
            return KxVec3f::Infinity;
        }
        double const r = 1.0 / w;
        return KxVec3f(static_cast<float>(m_values[0] * r), static_cast<float>(m_values[1] * r),
                       static_cast<float>(m_values[2] * r));
    }

private:
    double m_values[4];
};

inline KxVec3f::KxVec3f(KxVec4f const& vector) : KxVec3f(vector.operator KxVec3f()) {}
inline KxVec3d::KxVec3d(KxVec4f const& vector) : KxVec3d(vector.operator KxVec3d()) {}
inline KxVec3d::KxVec3d(KxVec4d const& vector) : KxVec3d(vector.operator KxVec3d()) {}

}  // namespace KxN
