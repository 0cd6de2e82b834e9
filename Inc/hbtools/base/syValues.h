// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Plain values that every room shares: ranges, pairs, rectangles, sizes and coordinates. Each is exactly its
// public members in the order of its constructor, compares by them, and checks nothing: whether a minimum may
// exceed a maximum is the user's matter. A default-constructed value is zero throughout.
#pragma once

namespace KxN {

/// Two ends of a range of whole numbers; both belong to it.
template <class T>
struct KxTRange {
    T minimum = T();
    T maximum = T();

    constexpr KxTRange() = default;
    constexpr KxTRange(T theMinimum, T theMaximum) : minimum(theMinimum), maximum(theMaximum) {}
    friend constexpr bool operator==(KxTRange const&, KxTRange const&) = default;
};

/// Two ends of a range of floating-point numbers; both belong to it. A type of its own, so that an operation
/// can be offered for either kind of number.
template <class T>
struct KxTFloatRange {
    T minimum = T();
    T maximum = T();

    constexpr KxTFloatRange() = default;
    constexpr KxTFloatRange(T theMinimum, T theMaximum) : minimum(theMinimum), maximum(theMaximum) {}
    friend constexpr bool operator==(KxTFloatRange const&, KxTFloatRange const&) = default;
};

template <class T>
struct KxTPair {
    T first = T();
    T second = T();

    constexpr KxTPair() = default;
    constexpr KxTPair(T theFirst, T theSecond) : first(theFirst), second(theSecond) {}
    friend constexpr bool operator==(KxTPair const&, KxTPair const&) = default;
};

template <class T>
struct KxTRectangle {
    T left = T();
    T top = T();
    T right = T();
    T bottom = T();

    constexpr KxTRectangle() = default;
    constexpr KxTRectangle(T theLeft, T theTop, T theRight, T theBottom)
        : left(theLeft), top(theTop), right(theRight), bottom(theBottom) {}
    friend constexpr bool operator==(KxTRectangle const&, KxTRectangle const&) = default;
};

template <class T>
struct KxTSize {
    T width = T();
    T height = T();

    constexpr KxTSize() = default;
    constexpr KxTSize(T theWidth, T theHeight) : width(theWidth), height(theHeight) {}
    friend constexpr bool operator==(KxTSize const&, KxTSize const&) = default;
};

/// A point of three coordinates without any arithmetic; see KxVec3f and KxVec3d for that.
template <class T>
struct KxTCoor {
    T x = T();
    T y = T();
    T z = T();

    constexpr KxTCoor() = default;
    constexpr KxTCoor(T theX, T theY, T theZ) : x(theX), y(theY), z(theZ) {}
    friend constexpr bool operator==(KxTCoor const&, KxTCoor const&) = default;
};

}  // namespace KxN
