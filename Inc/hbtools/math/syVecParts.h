// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Component arithmetic that the ten vector classes share. Internal: it is no promise to users.
#pragma once

#include "hbtools/math/syMath.h"

#include <cstddef>
#include <type_traits>

namespace KxN::detail {

/// The marker of an invalid component.
template <class S>
inline constexpr S InvalidMarker = S();
template <>
inline constexpr short InvalidMarker<short> = KxMath::SInfinity;
template <>
inline constexpr int InvalidMarker<int> = KxMath::IInfinity;
template <>
inline constexpr float InvalidMarker<float> = KxMath::Infinity;
template <>
inline constexpr double InvalidMarker<double> = KxMath::Infinity;

// Whole numbers wrap: they are reckoned without a sign, which gives the same bits.
template <class S>
constexpr S Sum(S a, S b) {
    if constexpr (std::is_integral_v<S>) {
        return static_cast<S>(static_cast<unsigned int>(a) + static_cast<unsigned int>(b));
    } else {
        return a + b;
    }
}

template <class S>
constexpr S Difference(S a, S b) {
    if constexpr (std::is_integral_v<S>) {
        return static_cast<S>(static_cast<unsigned int>(a) - static_cast<unsigned int>(b));
    } else {
        return a - b;
    }
}

/// A component times a factor: in int for int, else in double. A short result is brought to int towards zero and
/// keeps its low 16 bits.
constexpr int Scaled(int a, int factor) {
    return static_cast<int>(static_cast<unsigned int>(a) * static_cast<unsigned int>(factor));
}
constexpr short Scaled(short a, double factor) {
    return static_cast<short>(KxMath::Truncate(a * factor));
}
constexpr float Scaled(float a, double factor) {
    return static_cast<float>(static_cast<double>(a) * factor);
}
constexpr double Scaled(double a, double factor) {
    return a * factor;
}

template <class S, std::size_t N>
void AddTo(S (&a)[N], S const (&b)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        a[i] = Sum(a[i], b[i]);
    }
}

template <class S, std::size_t N>
void SubtractFrom(S (&a)[N], S const (&b)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        a[i] = Difference(a[i], b[i]);
    }
}

template <class S, std::size_t N, class F>
void Scale(S (&a)[N], F factor) {
    for (S& component : a) {
        component = Scaled(component, factor);
    }
}

/// Division by zero, and of the smallest int by -1, is left to the processor.
template <std::size_t N>
void Divide(int (&a)[N], int divisor) {
    for (int& component : a) {
        component /= divisor;
    }
}

template <class S, std::size_t N>
void NegateAll(S (&a)[N]) {
    for (S& component : a) {
        if constexpr (std::is_integral_v<S>) {
            component = Difference(S(), component);
        } else {
            component = -component;
        }
    }
}

template <class S, std::size_t N>
void CopyTo(S (&a)[N], S const* values) {
    for (std::size_t i = 0; i < N; ++i) {
        a[i] = values[i];
    }
}

/// None of the first `Tested` components is the marker. They are read in order and only up to the first marker,
/// since a default-constructed vector has no other component set.
template <std::size_t Tested, class S, std::size_t N>
constexpr bool IsValid(S const (&a)[N]) {
    for (std::size_t i = 0; i < Tested; ++i) {
        if (a[i] == InvalidMarker<S>) {
            return false;
        }
    }
    return true;
}

/// (b - a) * t + a for each component.
template <class S, std::size_t N>
void Interpolate(S (&result)[N], S const (&a)[N], S const (&b)[N], S t) {
    for (std::size_t i = 0; i < N; ++i) {
        result[i] = (b[i] - a[i]) * t + a[i];
    }
}

/// The parameter of a smooth interpolation.
template <class S>
constexpr S Smooth(S t) {
    return (S(3) - S(2) * t) * t * t;
}

// The three ways in which vectors are equal.

/// Every component is equal.
template <class S, std::size_t N>
constexpr bool EqualExactly(S const (&a)[N], S const (&b)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        if (a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

/// Every difference is below Epsilon; NaN is unequal to all.
template <class S, std::size_t N>
constexpr bool EqualBelowEpsilon(S const (&a)[N], S const (&b)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        if (!(KxMath::Abs(static_cast<double>(a[i] - b[i])) < KxMath::Epsilon)) {
            return false;
        }
    }
    return true;
}

/// No difference is above Epsilon, formed in the type of `a`; NaN is equal to all.
template <class S, class Other, std::size_t N>
constexpr bool EqualUpToEpsilon(S const (&a)[N], Other const (&b)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        if (KxMath::Abs(static_cast<double>(a[i] - static_cast<S>(b[i]))) > KxMath::Epsilon) {
            return false;
        }
    }
    return true;
}

/// The length of a vector of whole numbers between two points: the differences wrap at 32 bits.
template <class S, std::size_t N>
double DistanceOfWhole(S const (&a)[N], S const (&b)[N]) {
    double sum = 0;
    for (std::size_t i = 0; i < N; ++i) {
        sum += KxMath::Sqr(Difference<int>(a[i], b[i]));
    }
    return KxMath::Sqrt(sum);
}

/// Products formed in the type of the vectors, each widened and added in double in their order.
template <class S, std::size_t N>
constexpr double DotWidened(S const (&a)[N], S const (&b)[N]) {
    double sum = a[0] * b[0];
    for (std::size_t i = 1; i < N; ++i) {
        sum += static_cast<double>(a[i] * b[i]);
    }
    return sum;
}

/// Brings a vector to length 1. One whose length is neither below nor above zero, a null vector or NaN, stays.
template <class Vector>
bool NormalizeUnlessNull(Vector& vector) {
    double const length = vector.Length();
    if (!(length < 0 || length > 0)) {
        return false;
    }
    vector *= 1.0 / length;
    return true;
}

/// The angle of two vectors; 0 if the product of their squared lengths is not above the guard.
template <class Vector>
double AngleAbove(double guard, Vector const& a, Vector const& b, bool normalized) {
    if (normalized) {
        return KxMath::ACos(a.Dot(b));
    }
    double const product = a.SquaredLength() * b.SquaredLength();
    return product > guard ? KxMath::ACos(a.Dot(b) / KxMath::Sqrt(product)) : 0.0;
}

}  // namespace KxN::detail
