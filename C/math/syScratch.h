// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Working memory of one call: small amounts stand on the stack, so that small matrices cost no allocation.
#pragma once

#include "hbtools/core/syArray.h"

#include <cstddef>

namespace KxN::detail {

/// `count` elements with undefined contents if they are few, else zero.
template <class T, std::size_t few>
class Scratch {
public:
    explicit Scratch(int count) {
        if (count > static_cast<int>(few)) {
            m_many.Resize(count);
            m_data = m_many.Data();
        }
    }
    Scratch(Scratch const&) = delete;
    Scratch& operator=(Scratch const&) = delete;

    T* Data() { return m_data; }
    T& operator[](int index) { return m_data[index]; }

private:
    T m_few[few];
    KxTArray<T> m_many;
    T* m_data = m_few;
};

}  // namespace KxN::detail
