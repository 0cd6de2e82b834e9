// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxVec2s, KxVec2i, KxVec2f, KxVec2d: vectors of two components by value. An object is exactly its components,
// x first; an array of vectors is a flat array of numbers. Nothing throws, no operation has shared state.
//
// A vector is invalid if a component is the marker of its type (KxMath::SInfinity, IInfinity, Infinity). The
// default constructor and Invalidate() write it into x and leave y as it is. Indices are not checked, pointers
// given to constructors and SetValues are read for two components.
// Float vectors form squares, products and their sum in float and widen the sum.
#pragma once

#include "hbtools/math/syVecParts.h"

namespace KxN {

class KxVec2i;
class KxVec2f;

class KX_API KxVec2s {
public:
    static KxVec2s const Zero;
    static KxVec2s const Invalid;  ///< The marker in both components.

    KxVec2s() { Invalidate(); }
    explicit KxVec2s(short const* values) : m_values{values[0], values[1]} {}
    constexpr KxVec2s(short x, short y) : m_values{x, y} {}
    /// Keeps the low 16 bits of each component.
    explicit KxVec2s(KxVec2i const& vector);

    void SetValues(short x, short y) { *this = KxVec2s(x, y); }
    void SetValues(short const* values) { detail::CopyTo(m_values, values); }
    short* Values() { return m_values; }
    short const* Values() const { return m_values; }
    operator short*() { return m_values; }
    operator short const*() const { return m_values; }
    short& operator[](int index) { return m_values[index]; }
    short const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<short>; }
    bool IsValid() const { return detail::IsValid<2>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    /// In float, the sum widened.
    double Dot(KxVec2f const& vector) const;
    double Distance(KxVec2s const& vector) const { return detail::DistanceOfWhole(m_values, vector.m_values); }

    void operator+=(KxVec2s const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec2s const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    /// In double, then towards zero back to 16 bits.
    void operator*=(double factor) { detail::Scale(m_values, factor); }
    void operator/=(double divisor) { detail::Scale(m_values, 1.0 / divisor); }
    bool operator==(KxVec2s const& vector) const { return detail::EqualExactly(m_values, vector.m_values); }
    bool operator!=(KxVec2s const& vector) const { return !(*this == vector); }

private:
    short m_values[2];
};

class KX_API KxVec2i {
public:
    static KxVec2i const Zero;

    KxVec2i() { Invalidate(); }
    explicit KxVec2i(int const* values) : m_values{values[0], values[1]} {}
    constexpr KxVec2i(int x, int y) : m_values{x, y} {}
    KxVec2i(KxVec2s const& vector) : m_values{vector[0], vector[1]} {}
    KxVec2i& operator=(KxVec2s const& vector) { return *this = KxVec2i(vector); }

    void SetValues(int x, int y) { *this = KxVec2i(x, y); }
    void SetValues(int const* values) { detail::CopyTo(m_values, values); }
    int* Values() { return m_values; }
    int const* Values() const { return m_values; }
    operator int*() { return m_values; }
    operator int const*() const { return m_values; }
    int& operator[](int index) { return m_values[index]; }
    int const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<int>; }
    bool IsValid() const { return detail::IsValid<2>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    double Distance(KxVec2i const& vector) const { return detail::DistanceOfWhole(m_values, vector.m_values); }

    void operator+=(KxVec2i const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec2i const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    /// Whole numbers; a divisor of zero is a processor fault.
    void operator*=(int factor) { detail::Scale(m_values, factor); }
    void operator/=(int divisor) { detail::Divide(m_values, divisor); }
    bool operator==(KxVec2i const& vector) const { return detail::EqualExactly(m_values, vector.m_values); }
    bool operator!=(KxVec2i const& vector) const { return !(*this == vector); }

private:
    int m_values[2];
};

class KX_API KxVec2f {
public:
    static KxVec2f const Zero;
    static KxVec2f const XUnit;
    static KxVec2f const YUnit;

    KxVec2f() { Invalidate(); }
    explicit KxVec2f(float const* values) : m_values{values[0], values[1]} {}
    constexpr KxVec2f(float x, float y) : m_values{x, y} {}

    void SetValues(float x, float y) { *this = KxVec2f(x, y); }
    void SetValues(float const* values) { detail::CopyTo(m_values, values); }
    float* Values() { return m_values; }
    float const* Values() const { return m_values; }
    operator float*() { return m_values; }
    operator float const*() const { return m_values; }
    float& operator[](int index) { return m_values[index]; }
    float const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<float>; }
    bool IsValid() const { return detail::IsValid<2>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    double Dot(KxVec2f const& vector) const {
        return m_values[0] * vector.m_values[0] + m_values[1] * vector.m_values[1];
    }
    double SquaredLength() const { return Dot(*this); }
    double Length() const { return KxMath::Sqrt(SquaredLength()); }
    double Distance(KxVec2f const& vector) const { return Minus(vector).Length(); }
    /// True unless the distance is above `distance`.
    bool IsNeighbour(KxVec2f const& vector, double distance) const { return !(Distance(vector) > distance); }
    /// To length 1; a null vector, also one of NaN, becomes XUnit.
    void Normalize() {
        if (!detail::NormalizeUnlessNull(*this)) {
            SetValues(1, 0);
        }
    }
    /// 0 to Pi, in radians. `normalized` promises that both lengths are 1. A null vector gives Pi.
    double Angle(KxVec2f const& vector, bool normalized) const {
        return KxMath::ACos(normalized ? Dot(vector) : Dot(vector) / (Length() * vector.Length()));
    }

    void operator+=(KxVec2f const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec2f const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    void operator*=(double factor) { detail::Scale(m_values, factor); }
    void operator/=(double divisor) { detail::Scale(m_values, 1.0 / divisor); }
    /// Every difference is below KxMath::Epsilon.
    bool operator==(KxVec2f const& vector) const { return detail::EqualBelowEpsilon(m_values, vector.m_values); }
    bool operator!=(KxVec2f const& vector) const { return !(*this == vector); }

    /// From a at t = 0 to b at t = 1, without a clamp; SmoothLerp leaves and arrives slowly.
    static KxVec2f Lerp(KxVec2f const& a, KxVec2f const& b, float t) {
        KxVec2f result;
        detail::Interpolate(result.m_values, a.m_values, b.m_values, t);
        return result;
    }
    static KxVec2f SmoothLerp(KxVec2f const& a, KxVec2f const& b, float t) { return Lerp(a, b, detail::Smooth(t)); }

private:
    KxVec2f Minus(KxVec2f const& vector) const {
        return KxVec2f(m_values[0] - vector.m_values[0], m_values[1] - vector.m_values[1]);
    }

    float m_values[2];
};

class KX_API KxVec2d {
public:
    static KxVec2d const Zero;
    static KxVec2d const Invalid;  ///< The marker in both components.
    static KxVec2d const XUnit;
    static KxVec2d const YUnit;

    KxVec2d() { Invalidate(); }
    explicit KxVec2d(double const* values) : m_values{values[0], values[1]} {}
    constexpr KxVec2d(double x, double y) : m_values{x, y} {}
    KxVec2d(KxVec2f const& vector) : m_values{vector[0], vector[1]} {}
    KxVec2d(KxVec2s const& vector) : KxVec2d(KxVec2i(vector)) {}
    KxVec2d(KxVec2i const& vector) : m_values{static_cast<double>(vector[0]), static_cast<double>(vector[1])} {}
    KxVec2d& operator=(KxVec2f const& vector) { return *this = KxVec2d(vector); }
    KxVec2d& operator=(KxVec2s const& vector) { return *this = KxVec2d(vector); }
    KxVec2d& operator=(KxVec2i const& vector) { return *this = KxVec2d(vector); }

    void SetValues(double x, double y) { *this = KxVec2d(x, y); }
    void SetValues(double const* values) { detail::CopyTo(m_values, values); }
    double* Values() { return m_values; }
    double const* Values() const { return m_values; }
    operator double*() { return m_values; }
    operator double const*() const { return m_values; }
    double& operator[](int index) { return m_values[index]; }
    double const& operator[](int index) const { return m_values[index]; }

    void Invalidate() { m_values[0] = detail::InvalidMarker<double>; }
    bool IsValid() const { return detail::IsValid<2>(m_values); }

    void Negate() { detail::NegateAll(m_values); }
    double Dot(KxVec2d const& vector) const {
        return m_values[0] * vector.m_values[0] + m_values[1] * vector.m_values[1];
    }
    double SquaredLength() const { return Dot(*this); }
    double Length() const { return KxMath::Sqrt(SquaredLength()); }
    double Distance(KxVec2d const& vector) const { return Minus(vector).Length(); }
    /// True unless the distance is above `distance`.
    bool IsNeighbour(KxVec2d const& vector, double distance) const { return !(Distance(vector) > distance); }
    /// To length 1; a null vector, also one of NaN, becomes XUnit.
    void Normalize() {
        if (!detail::NormalizeUnlessNull(*this)) {
            SetValues(1, 0);
        }
    }
    /// 0 to Pi, in radians. `normalized` promises that both lengths are 1. A null vector gives Pi.
    double Angle(KxVec2d const& vector, bool normalized) const {
        return KxMath::ACos(normalized ? Dot(vector) : Dot(vector) / (Length() * vector.Length()));
    }

    void operator+=(KxVec2d const& vector) { detail::AddTo(m_values, vector.m_values); }
    void operator-=(KxVec2d const& vector) { detail::SubtractFrom(m_values, vector.m_values); }
    void operator*=(double factor) { detail::Scale(m_values, factor); }
    void operator/=(double divisor) { detail::Scale(m_values, 1.0 / divisor); }
    /// Every difference is below KxMath::Epsilon.
    bool operator==(KxVec2d const& vector) const { return detail::EqualBelowEpsilon(m_values, vector.m_values); }
    bool operator!=(KxVec2d const& vector) const { return !(*this == vector); }

    /// From a at t = 0 to b at t = 1, without a clamp; SmoothLerp leaves and arrives slowly.
    static KxVec2d Lerp(KxVec2d const& a, KxVec2d const& b, double t) {
        KxVec2d result;
        detail::Interpolate(result.m_values, a.m_values, b.m_values, t);
        return result;
    }
    static KxVec2d SmoothLerp(KxVec2d const& a, KxVec2d const& b, double t) { return Lerp(a, b, detail::Smooth(t)); }

    KxVec2f ToVector2f() const { return KxVec2f(static_cast<float>(m_values[0]), static_cast<float>(m_values[1])); }

private:
    KxVec2d Minus(KxVec2d const& vector) const {
        return KxVec2d(m_values[0] - vector.m_values[0], m_values[1] - vector.m_values[1]);
    }

    double m_values[2];
};

inline KxVec2s::KxVec2s(KxVec2i const& vector)
    : m_values{static_cast<short>(vector[0]), static_cast<short>(vector[1])} {}

inline double KxVec2s::Dot(KxVec2f const& vector) const {
    return KxVec2f(m_values[0], m_values[1]).Dot(vector);
}

}  // namespace KxN
