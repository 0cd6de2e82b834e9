// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTArray, an owned array of a fixed number of elements, and KxTDynArray, one that grows at its end in constant
// time per element. Values: copies are deep. Access is not checked; a negative count is refused by
// std::bad_array_new_length. Unless an operation says otherwise, whatever is thrown leaves the array as it was.
// New elements are default-constructed, plain numbers are zero. Const operations may run on several threads at
// a time. References into an array end with Resize, Reserve, Add and Clear.
#pragma once

#include "hbtools/core/syMem.h"

#include <limits>
#include <new>

namespace KxN {

template <class T>
class KX_API KxTArray {
public:
    KxTArray() noexcept = default;
    explicit KxTArray(int count) : m_data(detail::NewArray<T>(Checked(count)).release()), m_count(count) {}
    /// Copies `count` elements from `values`.
    KxTArray(T const* values, int count)
        : m_data(detail::CopyOfArray(values, Checked(count)).release()), m_count(count) {}
    KxTArray(KxTArray const& other) : KxTArray(other.m_data, other.m_count) {}
    KxTArray(KxTArray&& other) noexcept { Swap(other); }
    constexpr ~KxTArray() { delete[] m_data; }

    KxTArray& operator=(KxTArray const& other) {
        KxTArray(other).Swap(*this);
        return *this;
    }
    KxTArray& operator=(KxTArray&& other) noexcept {
        KxTArray(std::move(other)).Swap(*this);
        return *this;
    }

    int Size() const { return m_count; }
    /// Makes the array `count` elements long, keeping the leading ones; 0 frees it.
    void Resize(int count) {
        if (count != m_count) {
            auto resized = detail::ResizedArray(m_data, static_cast<std::size_t>(m_count), Checked(count));
            delete[] m_data;
            m_data = resized.release();
            m_count = count;
        }
    }

    /// Gives the block, made by new[], to the caller; the array is empty then.
    T* Detach() noexcept {
        m_count = 0;
        return std::exchange(m_data, nullptr);
    }
    /// Frees the present block and owns `block`, made by new[] with `count` elements.
    constexpr void Attach(T* block, int count) noexcept {
        if (block != m_data) delete[] m_data;
        m_data = block;
        m_count = count;
    }

    T* Data() { return m_data; }
    T const* Data() const { return m_data; }
    T& operator[](int index) { return m_data[index]; }
    T const& operator[](int index) const { return m_data[index]; }

    T* begin() { return m_data; }
    T* end() { return m_data + m_count; }
    T const* begin() const { return m_data; }
    T const* end() const { return m_data + m_count; }

    void Swap(KxTArray& other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_count, other.m_count);
    }

private:
    static std::size_t Checked(int count) {
        if (count < 0) {
            throw std::bad_array_new_length();
        }
        return static_cast<std::size_t>(count);
    }

    T* m_data = nullptr;
    int m_count = 0;
};

/// An array with room to grow. Elements beyond the count do not exist: Clear and a smaller Resize destroy them.
template <class T>
class KX_API KxTDynArray {
public:
    KxTDynArray() noexcept = default;
    explicit KxTDynArray(int count) : KxTDynArray() { Resize(count); }
    KxTDynArray(KxTDynArray const& other) : KxTDynArray() {
        Reserve(other.m_count);
        std::uninitialized_copy(other.begin(), other.end(), m_data);
        m_count = other.m_count;
    }
    KxTDynArray(KxTDynArray&& other) noexcept { Swap(other); }
    ~KxTDynArray() {
        std::destroy_n(m_data, m_count);
        Release(m_data, m_capacity);
    }

    KxTDynArray& operator=(KxTDynArray const& other) {
        KxTDynArray(other).Swap(*this);
        return *this;
    }
    KxTDynArray& operator=(KxTDynArray&& other) noexcept {
        KxTDynArray(std::move(other)).Swap(*this);
        return *this;
    }

    int Size() const { return m_count; }
    /// Number of elements that fit without a new allocation.
    int Capacity() const { return m_capacity; }

    /// Makes room for `capacity` elements at least, without any more than that.
    void Reserve(int capacity) {
        if (capacity > m_capacity) {
            Reallocate(capacity);
        }
    }

    /// Makes the array `count` elements long, keeping the leading ones. The capacity never shrinks.
    void Resize(int count) {
        if (count < 0) {
            throw std::bad_array_new_length();
        }
        if (count > m_capacity) {
            Reallocate(GrownCapacity(count));
        }
        if (count > m_count) {
            std::uninitialized_value_construct(m_data + m_count, m_data + count);
        } else {
            std::destroy(m_data + count, m_data + m_count);
        }
        m_count = count;
    }

    /// Appends a copy of `value`, which may be an element of the array.
    void Add(T const& value) {
        if (m_count == m_capacity) [[unlikely]] {
            T copy(value);
            Reallocate(GrownCapacity(m_count));
            std::construct_at(m_data + m_count, std::move(copy));
        } else {
            std::construct_at(m_data + m_count, value);
        }
        ++m_count;
    }

    /// Destroys all elements and keeps the capacity.
    void Clear() noexcept {
        std::destroy_n(m_data, m_count);
        m_count = 0;
    }

    T* Data() { return m_data; }
    T const* Data() const { return m_data; }
    T& operator[](int index) { return m_data[index]; }
    T const& operator[](int index) const { return m_data[index]; }

    T* begin() { return m_data; }
    T* end() { return m_data + m_count; }
    T const* begin() const { return m_data; }
    T const* end() const { return m_data + m_count; }

    void Swap(KxTDynArray& other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_count, other.m_count);
        std::swap(m_capacity, other.m_capacity);
    }

private:
    static void Release(T* data, int capacity) noexcept {
        if (data) {
            std::allocator<T>().deallocate(data, static_cast<std::size_t>(capacity));
        }
    }

    /// Twice the present capacity, or what is needed if that is more: n additions cost n moves in all.
    int GrownCapacity(int needed) const {
        constexpr int Limit = std::numeric_limits<int>::max();
        if (m_count == Limit) {
            throw std::bad_array_new_length();
        }
        int const doubled = m_capacity > Limit / 2 ? Limit : std::max(8, 2 * m_capacity);
        return std::max(needed, doubled);
    }

    void Reallocate(int capacity) {
        T* const moved = std::allocator<T>().allocate(static_cast<std::size_t>(capacity));
        try {
            if constexpr (std::is_nothrow_move_constructible_v<T> || !std::is_copy_constructible_v<T>) {
                std::uninitialized_move_n(m_data, m_count, moved);
            } else {
                std::uninitialized_copy_n(m_data, m_count, moved);
            }
        } catch (...) {
            Release(moved, capacity);
            throw;
        }
        std::destroy_n(m_data, m_count);
        Release(m_data, m_capacity);
        m_data = moved;
        m_capacity = capacity;
    }

    T* m_data = nullptr;
    int m_count = 0;
    int m_capacity = 0;
};

}  // namespace KxN
