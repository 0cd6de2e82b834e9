// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Working memory of one call: small amounts stand on the stack, so that small matrices cost no allocation.
#pragma once

#include "hbtools/core/syArray.h"

#include <cstddef>
#include <limits>
#include <new>

namespace KxN::detail {

/// `count` elements with undefined contents if they are few, else zero. More than an int is std::bad_array_new_length.
template <class T, std::size_t few>
class Scratch {
public:
    explicit Scratch(std::ptrdiff_t count) {
        if (count <= static_cast<std::ptrdiff_t>(few)) return;
        if (count > std::numeric_limits<int>::max()) throw std::bad_array_new_length();
        m_many.Resize(static_cast<int>(count));
        m_data = m_many.Data();
    }
    Scratch(Scratch const&) = delete;
    Scratch& operator=(Scratch const&) = delete;

    T* Data() { return m_data; }
    T& operator[](std::ptrdiff_t index) { return m_data[index]; }

private:
    T m_few[few];
    KxTArray<T> m_many;
    T* m_data = m_few;
};

}  // namespace KxN::detail
