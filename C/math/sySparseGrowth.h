// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <limits>
#include <new>

namespace KxN::detail {

/// The next capacity of an array of `size` elements that is to get one more: half as much again.
constexpr int GrownByHalf(int capacity, int size) {
    constexpr int limit = std::numeric_limits<int>::max();
    if (size == limit) throw std::bad_array_new_length();
    return std::max(capacity > limit - capacity / 2 ? limit : capacity + capacity / 2, size + 1);
}

}  // namespace KxN::detail
