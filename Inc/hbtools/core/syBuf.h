// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTBuf1D, a buffer of a stated number of elements, and KxTBlockMem, an array whose room grows in blocks so that
// making it longer by one again and again stays cheap. Values: copies are deep. Access is not checked, new
// elements are zero or default-constructed, and whatever is thrown leaves the object as it was. Const operations
// may run on several threads at a time.
#pragma once

#include "hbtools/core/syArray.h"

namespace KxN {

template <class T>
class KX_API KxTBuf1D {
public:
    KxTBuf1D() noexcept = default;
    explicit KxTBuf1D(unsigned int count) : m_data(detail::NewArray<T>(count).release()), m_count(count) {}
    /// Copies `count` elements from `values`.
    KxTBuf1D(T const* values, unsigned int count)
        : m_data(detail::CopyOfArray(values, count).release()), m_count(count) {}
    KxTBuf1D(KxTBuf1D const& other) : KxTBuf1D(other.m_data, other.m_count) {}
    KxTBuf1D(KxTBuf1D&& other) noexcept
        : m_data(std::exchange(other.m_data, nullptr)), m_count(std::exchange(other.m_count, 0U)) {}
    ~KxTBuf1D() { delete[] m_data; }

    KxTBuf1D& operator=(KxTBuf1D other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_count, other.m_count);
        return *this;
    }

    unsigned int Size() const { return m_count; }
    /// Makes the buffer `count` elements long, keeping the leading ones; 0 frees it.
    void Resize(unsigned int count) {
        if (count != m_count) {
            auto resized = detail::ResizedArray(m_data, m_count, count);
            delete[] m_data;
            m_data = resized.release();
            m_count = count;
        }
    }

    T* Data() { return m_data; }
    T const* Data() const { return m_data; }
    T& operator[](unsigned int index) { return m_data[index]; }
    T const& operator[](unsigned int index) const { return m_data[index]; }

    T* begin() { return m_data; }
    T* end() { return m_data + m_count; }
    T const* begin() const { return m_data; }
    T const* end() const { return m_data + m_count; }

private:
    T* m_data = nullptr;
    unsigned int m_count = 0;
};

template <class T>
class KX_API KxTBlockMem {
public:
    KxTBlockMem() noexcept = default;
    explicit KxTBlockMem(int count) : m_elements(count) {}

    int Size() const { return m_elements.Size(); }
    /// Makes the array `count` elements long, keeping the leading ones.
    void Resize(int count) { m_elements.Resize(count); }

    T* Data() { return m_elements.Data(); }
    T const* Data() const { return m_elements.Data(); }
    T& operator[](int index) { return m_elements[index]; }
    T const& operator[](int index) const { return m_elements[index]; }

    T* begin() { return m_elements.begin(); }
    T* end() { return m_elements.end(); }
    T const* begin() const { return m_elements.begin(); }
    T const* end() const { return m_elements.end(); }

private:
    KxTDynArray<T> m_elements;
};

}  // namespace KxN
