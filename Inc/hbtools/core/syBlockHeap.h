// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTHeap and KxTBlockHeap: memory for many elements of one type, taken and given back one by one without an
// allocation each, and freed in one step. An element is constructed by Alloc and destroyed by Free, Clear or the
// heap's destructor; its address stays until then. What passes out of Alloc is what `new` or the element throws;
// the heap is then as it was, but for a free block it may have gained. Free never throws.
// A heap cannot be copied; it belongs to one thread at a time.
//
// Which slot comes next is fixed: the lowest free one of the cursor block, or, if that block is full, of the first
// block behind it, in a ring, that is not. Alloc moves the cursor, Free does not. Finding the block of a pointer
// and the next block with room stays cheap in any order of frees, so millions of elements may go in any order.
#pragma once

#include "hbtools/core/syArray.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>

namespace KxN {

template <class T>
class KX_API KxTHeap {
public:
    /// A new element, owned by the heap.
    virtual T* Alloc() = 0;
    /// Destroys an element that Alloc gave. A pointer that is null or no live element of this heap is ignored.
    virtual void Free(T* element) = 0;
    /// Destroys all elements and frees all memory.
    virtual void Clear() = 0;
    virtual ~KxTHeap() = default;
};

template <class T>
class KX_API KxTBlockHeap : public KxTHeap<T> {
public:
    /// blockSize: elements per block, at least 1.
    explicit KxTBlockHeap(int blockSize = 1024) : m_blockSize(std::max(1, blockSize)) {}
    KxTBlockHeap(KxTBlockHeap const&) = delete;
    KxTBlockHeap& operator=(KxTBlockHeap const&) = delete;
    ~KxTBlockHeap() override { KxTBlockHeap::Clear(); }

    /// A default-constructed element.
    T* Alloc() override { return Construct(); }

    /// An element constructed from the arguments.
    template <class... Arguments>
    T* Construct(Arguments&&... arguments) {
        SBlock* block = m_cursor;
        if (!block || block->used == block->capacity) [[unlikely]] {
            block = MoveCursorToRoom();
        }
        T* const element = std::construct_at(block->elements + block->hint, std::forward<Arguments>(arguments)...);
        block->marks[block->hint] = Used;
        --m_freeCount;
        if (++block->used == block->capacity) {
            block->hint = block->capacity;
            SetRoom(*block, false);
        } else if (block->marks[++block->hint] != Unused) {
            unsigned char const* const from = &block->marks[block->hint];
            auto const rest = static_cast<std::size_t>(block->capacity - block->hint);
            block->hint += static_cast<int>(static_cast<unsigned char const*>(std::memchr(from, Unused, rest)) - from);
        }
        return element;
    }

    /// A block whose last element goes is freed too, unless it is the only one; if the cursor stood on it, the
    /// cursor goes to the block behind it in the ring.
    void Free(T* element) override {
        SBlock* const block = FindBlock(element);
        if (!block) {
            return;
        }
        int const slot = static_cast<int>(element - block->elements);
        if (block->marks[slot] == Unused) {
            return;
        }
        std::destroy_at(element);
        block->marks[slot] = Unused;
        block->hint = std::min(block->hint, slot);
        if (block->used == block->capacity) {
            SetRoom(*block, true);
        }
        --block->used;
        ++m_freeCount;
        m_lastFreed = block;
        if (block->used == 0 && m_blockCount > 1) {
            DropBlock(*block);
        }
    }

    void Clear() override {
        for (SBlock* const block : m_blocks) {
            delete block;
        }
        m_byAddress.clear();
        m_blocks = KxTDynArray<SBlock*>();
        m_withRoom = KxTDynArray<std::uint64_t>();
        m_cursor = m_lastFreed = nullptr;
        m_blockCount = 0;
        m_freeCount = 0;
    }

    int BlockSize() const { return m_blockSize; }
    /// Sets the number of elements of blocks made from now on, at least 1.
    void SetBlockSize(int blockSize) { m_blockSize = std::max(1, blockSize); }
    int BlockCount() const { return m_blockCount; }
    /// Slots of all blocks that hold no element.
    long FreeCount() const { return m_freeCount; }

    void Swap(KxTBlockHeap& other) noexcept {
        m_blocks.Swap(other.m_blocks);
        m_withRoom.Swap(other.m_withRoom);
        m_byAddress.swap(other.m_byAddress);
        std::swap(m_blockCount, other.m_blockCount);
        std::swap(m_cursor, other.m_cursor);
        std::swap(m_lastFreed, other.m_lastFreed);
        std::swap(m_blockSize, other.m_blockSize);
        std::swap(m_freeCount, other.m_freeCount);
    }

private:
    static constexpr unsigned char Unused = 0;
    static constexpr unsigned char Used = 1;

    struct SBlock {
        explicit SBlock(int theCapacity)
            : capacity(theCapacity),
              marks(theCapacity),
              elements(std::allocator<T>().allocate(static_cast<std::size_t>(theCapacity))) {}
        SBlock(SBlock const&) = delete;
        SBlock& operator=(SBlock const&) = delete;
        ~SBlock() {
            if constexpr (!std::is_trivially_destructible_v<T>) {
                for (int slot = 0; slot < capacity; ++slot) {
                    if (marks[slot] != Unused) {
                        std::destroy_at(elements + slot);
                    }
                }
            }
            std::allocator<T>().deallocate(elements, static_cast<std::size_t>(capacity));
        }

        bool Holds(T const* element) const {
            auto const offset = reinterpret_cast<std::uintptr_t>(element) - reinterpret_cast<std::uintptr_t>(elements);
            return offset < static_cast<std::size_t>(capacity) * sizeof(T);
        }

        int const capacity;
        int used = 0;
        int hint = 0;      // lowest free slot; the capacity if there is none
        int position = 0;  // in m_blocks
        KxTArray<unsigned char> marks;
        T* const elements;
    };

    SBlock* FindBlock(T const* element) const {
        if (m_cursor && m_cursor->Holds(element)) {
            return m_cursor;
        }
        if (m_lastFreed && m_lastFreed->Holds(element)) {
            return m_lastFreed;
        }
        auto const behind = m_byAddress.upper_bound(reinterpret_cast<std::uintptr_t>(element));
        if (behind == m_byAddress.begin()) {
            return nullptr;
        }
        SBlock* const block = std::prev(behind)->second;
        return block->Holds(element) ? block : nullptr;
    }

    SBlock* MoveCursorToRoom() {
        if (m_freeCount == 0) {
            m_cursor = AppendBlock();
        } else {
            m_cursor = m_blocks[NextWithRoom(m_cursor ? m_cursor->position : 0)];
        }
        return m_cursor;
    }

    /// Position of the first block with room, from `from` on in a ring. There is one.
    int NextWithRoom(int from) const {
        int const words = m_withRoom.Size();
        int word = from / 64;
        std::uint64_t bits = m_withRoom[word] & (~std::uint64_t(0) << (from % 64));
        while (bits == 0) {
            word = word + 1 == words ? 0 : word + 1;
            bits = m_withRoom[word];
        }
        return word * 64 + std::countr_zero(bits);
    }

    void SetRoom(SBlock const& block, bool hasRoom) {
        std::uint64_t& word = m_withRoom[block.position / 64];
        std::uint64_t const bit = std::uint64_t(1) << (block.position % 64);
        word = hasRoom ? word | bit : word & ~bit;
    }

    SBlock* AppendBlock() {
        CloseGaps();
        auto block = std::make_unique<SBlock>(m_blockSize);
        block->position = m_blocks.Size();
        if (block->position % 64 == 0 && m_withRoom.Size() == block->position / 64) {
            m_withRoom.Add(0);
        }
        auto const place = m_byAddress.emplace(reinterpret_cast<std::uintptr_t>(block->elements), block.get()).first;
        try {
            m_blocks.Add(block.get());
        } catch (...) {
            m_byAddress.erase(place);
            throw;
        }
        SetRoom(*block, true);
        ++m_blockCount;
        m_freeCount += m_blockSize;
        return block.release();
    }

    /// Renumbers the blocks when more than half of the positions are empty, so that the positions stay in
    /// proportion to the blocks at constant cost per block.
    void CloseGaps() {
        if (m_blocks.Size() <= 2 * m_blockCount + 64) {
            return;
        }
        std::fill(m_withRoom.begin(), m_withRoom.end(), std::uint64_t(0));
        int position = 0;
        for (SBlock* const block : m_blocks) {
            if (block) {
                m_blocks[position] = block;
                block->position = position++;
                SetRoom(*block, block->used < block->capacity);
            }
        }
        m_blocks.Resize(position);
    }

    void DropBlock(SBlock& block) {
        m_freeCount -= block.capacity;
        SetRoom(block, false);
        m_blocks[block.position] = nullptr;
        m_byAddress.erase(reinterpret_cast<std::uintptr_t>(block.elements));
        --m_blockCount;
        if (m_cursor == &block) {
            int position = block.position;
            do {
                position = position + 1 == m_blocks.Size() ? 0 : position + 1;
            } while (!m_blocks[position]);
            m_cursor = m_blocks[position];
        }
        m_lastFreed = nullptr;
        delete &block;
    }

    KxTDynArray<SBlock*> m_blocks;          // in the order of their making; null where one was dropped
    KxTDynArray<std::uint64_t> m_withRoom;  // a bit for each position, set if the block there has a free slot
    std::map<std::uintptr_t, SBlock*> m_byAddress;
    int m_blockCount = 0;
    SBlock* m_cursor = nullptr;  // null only without blocks
    SBlock* m_lastFreed = nullptr;
    int m_blockSize;
    long m_freeCount = 0;
};

}  // namespace KxN
