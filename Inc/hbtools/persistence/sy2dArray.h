// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxT2dArray: width times height elements in one block, row after row; element (column, row) has the index
// width * row + column. A value: copies are deep. Access is unchecked. An array belongs to one thread at a time;
// several may read one that nobody changes.
#pragma once

#include "hbtools/core/syArray.h"

#include <limits>
#include <new>

namespace KxN {

template <class T>
class KxT2dArray {
public:
    KxT2dArray() = default;
    /// @throws std::bad_array_new_length if a side is negative or the product is no int
    KxT2dArray(int width, int height) { Resize(width, height); }

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    /// Changes the shape. Elements keep their index, not their column and row; new ones are default-constructed.
    /// @throws std::bad_array_new_length as above; nothing is changed
    void Resize(int width, int height) {
        if (width < 0 || height < 0 || (height > 0 && width > std::numeric_limits<int>::max() / height))
            throw std::bad_array_new_length();
        m_values.Resize(width * height);
        m_width = width;
        m_height = height;
    }
    T& operator()(int column, int row) { return m_values[m_width * row + column]; }
    T const& operator()(int column, int row) const { return m_values[m_width * row + column]; }
    T* Data() { return m_values.Data(); }
    T const* Data() const { return m_values.Data(); }
    int Size() const { return m_values.Size(); }
    T* begin() { return Data(); }
    T* end() { return Data() + Size(); }
    T const* begin() const { return Data(); }
    T const* end() const { return Data() + Size(); }

private:
    KxTArray<T> m_values;
    int m_width = 0;
    int m_height = 0;
};

}  // namespace KxN
