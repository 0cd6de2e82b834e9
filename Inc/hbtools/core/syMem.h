// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTMem and KxTVector: an owned array of a fixed number of elements, which only Resize changes. Values: copies
// are deep, elements live as long as the array. Access is not checked. What passes out of an operation is what
// `new` or an element throws; unless an operation says otherwise, the array is then as it was before.
// Elements that Resize adds are default-constructed, plain numbers are zero. Const operations may run on several
// threads at a time.
#pragma once

#include "hbtools/base/syTypes.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace KxN {

namespace detail {

/// An array of `count` default-constructed elements, plain numbers zero; null for 0.
template <class T>
std::unique_ptr<T[]> NewArray(std::size_t count) {
    return std::unique_ptr<T[]>(count ? new T[count]() : nullptr);
}

template <class T>
std::unique_ptr<T[]> CopyOfArray(T const* values, std::size_t count) {
    auto copy = NewArray<T>(count);
    std::copy(values, values + count, copy.get());
    return copy;
}

/// A new array of `newCount` elements, over whose beginning the old ones are assigned. They are moved only where
/// that cannot fail, so that the old array is whole whatever is thrown.
template <class T>
std::unique_ptr<T[]> ResizedArray(T* values, std::size_t oldCount, std::size_t newCount) {
    auto resized = NewArray<T>(newCount);
    std::size_t const kept = std::min(oldCount, newCount);
    if constexpr (std::is_nothrow_move_assignable_v<T> || !std::is_copy_assignable_v<T>) {
        std::move(values, values + kept, resized.get());
    } else {
        std::copy(values, values + kept, resized.get());
    }
    return resized;
}

}  // namespace detail

template <class T>
class KX_API KxTMem {
public:
    KxTMem() noexcept = default;
    explicit KxTMem(unsigned long count) : m_data(detail::NewArray<T>(count).release()), m_count(count) {}
    /// Copies `count` elements from `values`.
    KxTMem(T const* values, unsigned long count)
        : m_data(detail::CopyOfArray(values, count).release()), m_count(count) {}
    KxTMem(KxTMem const& other) : KxTMem(other.m_data, other.m_count) {}
    KxTMem(KxTMem&& other) noexcept { Swap(other); }

    /// Elements are assigned in place if the counts are equal; if one of them throws, some are assigned already.
    KxTMem& operator=(KxTMem const& other) {
        if (m_count == other.m_count) {
            std::copy(other.begin(), other.end(), begin());
        } else {
            KxTMem(other).Swap(*this);
        }
        return *this;
    }
    KxTMem& operator=(KxTMem&& other) noexcept {
        KxTMem(std::move(other)).Swap(*this);
        return *this;
    }

    /// Makes the array `count` elements long, keeping the leading ones. 0 frees it and leaves a null pointer.
    /// Nothing happens if that is its length already; otherwise pointers into it end.
    virtual void Resize(unsigned long count) {
        if (count != m_count) {
            auto resized = detail::ResizedArray(m_data, m_count, count);
            delete[] m_data;
            m_data = resized.release();
            m_count = count;
        }
    }

    virtual ~KxTMem() { delete[] m_data; }

    unsigned long Size() const { return m_count; }
    T* Data() { return m_data; }
    T const* Data() const { return m_data; }
    T& operator[](unsigned long index) { return m_data[index]; }
    T const& operator[](unsigned long index) const { return m_data[index]; }

    T* begin() { return m_data; }
    T* end() { return m_data + m_count; }
    T const* begin() const { return m_data; }
    T const* end() const { return m_data + m_count; }

protected:
    void Swap(KxTMem& other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_count, other.m_count);
    }

private:
    T* m_data = nullptr;
    unsigned long m_count = 0;
};

template <class T>
class KX_API KxTVector : public KxTMem<T> {
public:
    using KxTMem<T>::KxTMem;

    /// Assigns `value` to every element; it may be one of them. If an assignment throws, some are assigned already.
    virtual void Fill(T const& value) {
        T const copy(value);  // NOLINT(performance-unnecessary-copy-initialization): value may be an element
        std::fill(this->begin(), this->end(), copy);
    }
};

}  // namespace KxN
