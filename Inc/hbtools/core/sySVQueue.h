// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTSVQueue: a sequence kept in a chain of blocks. Adding at the end costs no move, inserting and removing move
// at most one block, and a walk by index costs one step per element, because access keeps a cursor on the block
// it last stood in. Values: copies are deep. Indices are not checked.
//
// Guarantees: Append and copies leave everything as it was if something is thrown. Insert, Prepend and Remove do
// so too if moving an element cannot throw; if it can, the queue stays valid but elements of one block may be lost.
// References to elements end with Insert, Prepend, Remove and Clear; Append leaves them. Iterators end with any change.
// Threads: operator[] moves the cursor even on a const queue, so two threads may not index one queue at a time.
// Iterators leave the cursor alone: several threads may walk a queue that nobody changes.
#pragma once

#include "hbtools/base/syTypes.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace KxN {

template <class T>
class KX_API KxTSVQueue {
    struct SBlock {
        explicit SBlock(int theCapacity)
            : capacity(theCapacity), elements(std::allocator<T>().allocate(static_cast<std::size_t>(theCapacity))) {}
        SBlock(SBlock const&) = delete;
        SBlock& operator=(SBlock const&) = delete;
        ~SBlock() {
            std::destroy_n(elements, used);
            std::allocator<T>().deallocate(elements, static_cast<std::size_t>(capacity));
        }

        SBlock* next = nullptr;
        SBlock* prev = nullptr;
        int const capacity;
        int used = 0;
        T* const elements;
    };
    using BlockHolder = std::unique_ptr<SBlock>;

    template <class E>
    class Walker {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = E*;
        using reference = E&;

        Walker() = default;
        explicit Walker(SBlock const* block) { Enter(block); }
        template <class Other>
        requires std::is_same_v<Other const, E> Walker(Walker<Other> const& other)
            : m_element(other.m_element), m_blockEnd(other.m_blockEnd), m_block(other.m_block) {}

        E& operator*() const { return *m_element; }
        E* operator->() const { return m_element; }
        Walker& operator++() {
            if (++m_element == m_blockEnd) {
                Enter(m_block->next);
            }
            return *this;
        }
        Walker operator++(int) {
            Walker const before(*this);
            ++*this;
            return before;
        }
        friend bool operator==(Walker const& a, Walker const& b) { return a.m_element == b.m_element; }

    private:
        template <class>
        friend class Walker;

        // Only a queue without elements has a block without elements.
        void Enter(SBlock const* block) {
            m_block = block;
            m_element = block && block->used ? block->elements : nullptr;
            m_blockEnd = m_element ? m_element + block->used : nullptr;
        }

        E* m_element = nullptr;
        E* m_blockEnd = nullptr;
        SBlock const* m_block = nullptr;
    };

public:
    using iterator = Walker<T>;
    using const_iterator = Walker<T const>;

    /// Sizes in elements. maximalBlock is brought to 4..16368, minimalBlock to 2..maximalBlock, and step to
    /// minimalBlock..maximalBlock; then maximalBlock and step are made multiples of minimalBlock. The first block
    /// has room for `step` elements, each later one for `maximalBlock`.
    explicit KxTSVQueue(int maximalBlock = 1024, int step = 16, int minimalBlock = 16) {
        m_maximalBlock = std::clamp(maximalBlock, 4, 16368);
        m_minimalBlock = std::clamp(minimalBlock, 2, m_maximalBlock);
        m_maximalBlock -= m_maximalBlock % m_minimalBlock;
        if (m_maximalBlock < 4) {  // a minimal size of 3
            m_maximalBlock += m_minimalBlock;
        }
        m_step = std::clamp(step, m_minimalBlock, m_maximalBlock);
        m_step -= m_step % m_minimalBlock;
    }

    /// The copy has the same sizes and the same blocks.
    KxTSVQueue(KxTSVQueue const& other) : KxTSVQueue(other.m_maximalBlock, other.m_step, other.m_minimalBlock) {
        for (SBlock const* block = other.m_first; block; block = block->next) {
            BlockHolder copy(new SBlock(block->capacity));
            std::uninitialized_copy_n(block->elements, block->used, copy->elements);
            copy->used = block->used;
            m_count += block->used;
            LinkBehind(std::move(copy), m_last);
        }
    }
    KxTSVQueue(KxTSVQueue&& other) noexcept : KxTSVQueue() { Swap(other); }
    KxTSVQueue& operator=(KxTSVQueue const& other) {
        KxTSVQueue(other).Swap(*this);
        return *this;
    }
    KxTSVQueue& operator=(KxTSVQueue&& other) noexcept {
        KxTSVQueue(std::move(other)).Swap(*this);
        return *this;
    }
    ~KxTSVQueue() { Clear(); }

    int Count() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }

    T& operator[](int index) { return *Seek(index); }
    T const& operator[](int index) const { return *Seek(index); }

    void Append(T const& value) { AppendValue(value); }
    void Append(T&& value) { AppendValue(std::move(value)); }
    void Prepend(T value) { Insert(std::move(value), 0); }

    /// Puts the value in front of the element at `index` (0..Count()). A block with room takes it. A full block
    /// splits: in its lower half the new block comes in front and takes the elements before the position and the
    /// value, otherwise it comes behind and takes those from the position on.
    void Insert(T value, int index) {
        if (index == m_count) {
            AppendValue(std::move(value));
            return;
        }
        T* const place = Seek(index);
        SBlock& block = *m_cursor;
        if (block.used < block.capacity) {
            InsertIntoBlock(block, place, std::move(value));
        } else if (place - block.elements < block.capacity / 2) {
            SplitInFront(block, place, std::move(value));
        } else {
            SplitBehind(block, place, std::move(value));
        }
    }

    /// Takes the element out and returns it. A block that empties goes too, unless it is the only one.
    T Remove(int index) {
        T* const place = Seek(index);
        SBlock& block = *m_cursor;
        T removed(std::move_if_noexcept(*place));
        std::move(place + 1, block.elements + block.used, place);
        --block.used;
        --m_count;
        std::destroy_at(block.elements + block.used);
        if (block.used == 0 && m_first != m_last) {
            DropCursorBlock();
        }
        return removed;
    }

    /// Index of the first element equal to the value, or -1. Looks at all in front of it.
    int Find(T const& value) const {
        int index = 0;
        for (T const& element : *this) {
            if (element == value) {
                return index;
            }
            ++index;
        }
        return -1;
    }

    /// Destroys all elements, first to last, and frees all blocks.
    void Clear() noexcept {
        while (m_first) {
            delete std::exchange(m_first, m_first->next);
        }
        m_last = m_cursor = nullptr;
        m_count = m_cursorIndex = 0;
    }

    iterator begin() { return iterator(m_first); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(m_first); }
    const_iterator end() const { return const_iterator(); }

    int MaximalBlock() const { return m_maximalBlock; }
    int Step() const { return m_step; }
    int MinimalBlock() const { return m_minimalBlock; }

    /// Calls `visit(capacity, used)` for each block in order; for those who tune the sizes.
    template <class Visitor>
    void ForEachBlock(Visitor visit) const {
        for (SBlock const* block = m_first; block; block = block->next) {
            visit(block->capacity, block->used);
        }
    }

    void Swap(KxTSVQueue& other) noexcept {
        std::swap(m_first, other.m_first);
        std::swap(m_last, other.m_last);
        std::swap(m_cursor, other.m_cursor);
        std::swap(m_cursorIndex, other.m_cursorIndex);
        std::swap(m_count, other.m_count);
        std::swap(m_maximalBlock, other.m_maximalBlock);
        std::swap(m_step, other.m_step);
        std::swap(m_minimalBlock, other.m_minimalBlock);
    }

private:
    /// Brings the cursor to the block of the element, from the nearest of the first, the last and the cursor block.
    T* Seek(int index) const {
        int position = index - m_cursorIndex;
        if (static_cast<unsigned>(position) >= static_cast<unsigned>(m_cursor->used)) [[unlikely]] {
            MoveCursor(index);
            position = index - m_cursorIndex;
        }
        return m_cursor->elements + position;
    }

    void MoveCursor(int index) const {
        if (index < m_cursorIndex / 2) {
            m_cursor = m_first;
            m_cursorIndex = 0;
        } else if (index - m_cursorIndex > m_count - index) {
            m_cursor = m_last;
            m_cursorIndex = m_count - m_last->used;
        }
        while (index < m_cursorIndex) {
            m_cursor = m_cursor->prev;
            m_cursorIndex -= m_cursor->used;
        }
        while (index >= m_cursorIndex + m_cursor->used) {
            m_cursorIndex += m_cursor->used;
            m_cursor = m_cursor->next;
        }
    }

    BlockHolder NewBlock() const {
        if (m_count > std::numeric_limits<int>::max() - m_maximalBlock) {
            throw std::bad_array_new_length();
        }
        int const rounded = m_maximalBlock - m_maximalBlock % m_minimalBlock;
        return BlockHolder(new SBlock(m_first ? std::max(rounded, m_step) : m_step));
    }

    template <class V>
    void AppendValue(V&& value) {
        SBlock* const block = m_last;
        if (!block || block->used == block->capacity) [[unlikely]] {
            AppendToNewBlock(std::forward<V>(value));
            return;
        }
        std::construct_at(block->elements + block->used, std::forward<V>(value));
        ++block->used;
        ++m_count;
    }

    template <class V>
    void AppendToNewBlock(V&& value) {
        BlockHolder fresh = NewBlock();
        std::construct_at(fresh->elements, std::forward<V>(value));
        fresh->used = 1;
        LinkBehind(std::move(fresh), m_last);
        ++m_count;
    }

    void InsertIntoBlock(SBlock& block, T* place, T&& value) {
        T* const end = block.elements + block.used;
        std::construct_at(end, std::move(end[-1]));
        ++block.used;
        ++m_count;
        std::move_backward(place, end - 1, end);
        *place = std::move(value);
    }

    void SplitInFront(SBlock& block, T* place, T&& value) {
        BlockHolder fresh = NewBlock();
        TakeOver(*fresh, block.elements, place);
        std::construct_at(fresh->elements + fresh->used, std::move(value));
        ++fresh->used;
        T* const end = block.elements + block.used;
        T* const keptEnd = place == block.elements ? end : std::move(place, end, block.elements);
        std::destroy(keptEnd, end);
        block.used = static_cast<int>(keptEnd - block.elements);
        ++m_count;
        m_cursor = LinkBehind(std::move(fresh), block.prev);
    }

    void SplitBehind(SBlock& block, T* place, T&& value) {
        BlockHolder fresh = NewBlock();
        T* const end = block.elements + block.used;
        TakeOver(*fresh, place, end);
        *place = std::move(value);
        std::destroy(place + 1, end);
        block.used = static_cast<int>(place + 1 - block.elements);
        ++m_count;
        LinkBehind(std::move(fresh), &block);
    }

    /// Fills an empty block. Elements are moved only where that cannot fail.
    static void TakeOver(SBlock& fresh, T* from, T* end) {
        if constexpr (std::is_nothrow_move_constructible_v<T> || !std::is_copy_constructible_v<T>) {
            std::uninitialized_move(from, end, fresh.elements);
        } else {
            std::uninitialized_copy(from, end, fresh.elements);
        }
        fresh.used = static_cast<int>(end - from);
    }

    /// Links the block behind `prev`, in front of all for null.
    SBlock* LinkBehind(BlockHolder holder, SBlock* prev) noexcept {
        SBlock* const block = holder.release();
        block->prev = prev;
        block->next = prev ? prev->next : m_first;
        (block->prev ? block->prev->next : m_first) = block;
        (block->next ? block->next->prev : m_last) = block;
        if (!m_cursor) {
            m_cursor = block;
        }
        return block;
    }

    void DropCursorBlock() noexcept {
        SBlock* const block = m_cursor;
        (block->prev ? block->prev->next : m_first) = block->next;
        (block->next ? block->next->prev : m_last) = block->prev;
        if (block->next) {
            m_cursor = block->next;
        } else {
            m_cursor = block->prev;
            m_cursorIndex -= m_cursor->used;
        }
        delete block;
    }

    SBlock* m_first = nullptr;
    SBlock* m_last = nullptr;
    mutable SBlock* m_cursor = nullptr;  // null only without blocks
    mutable int m_cursorIndex = 0;       // index of the cursor block's first element
    int m_count = 0;
    int m_maximalBlock = 0;
    int m_step = 0;
    int m_minimalBlock = 0;
};

}  // namespace KxN
