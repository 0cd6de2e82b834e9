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
// block behind it, in a ring, that is not. Alloc moves the cursor, Free does not. A table finds the block of
// an address and a bit per block says which have room, so that millions of elements may come and go in any order.
#pragma once

#include "hbtools/core/syArray.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace KxN {

template <class T>
class KX_API KxTHeap {
public:
    /// A new element, owned by the heap.
    virtual T* Alloc() = 0;
    /// Destroys an element that Alloc gave. Null and pointers into other memory are ignored.
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
        unsigned char* const marks = block->Marks();
        marks[block->hint] = Used;
        --m_freeCount;
        if (++block->used == block->capacity) {
            block->hint = block->capacity;
            SetRoom(*block, false);
        } else if (marks[++block->hint] != Unused) {
            unsigned char const* const from = marks + block->hint;
            auto const rest = static_cast<std::size_t>(block->capacity - block->hint);
            block->hint += static_cast<int>(static_cast<unsigned char const*>(std::memchr(from, Unused, rest)) - from);
        }
        return element;
    }

    /// A block whose last element goes is freed too, unless it is the only one; if the cursor stood on it, the
    /// cursor goes to the block behind it in the ring.
    void Free(T* element) override {
        SBlock* const block = m_cursor && IsIn(m_cursor, element) ? m_cursor : FindBlock(element);
        if (!block) {
            return;
        }
        int const slot = static_cast<int>(element - block->elements);
        std::destroy_at(element);
        block->Marks()[slot] = Unused;
        block->hint = std::min(block->hint, slot);
        if (block->used == block->capacity) {
            SetRoom(*block, true);
        }
        --block->used;
        ++m_freeCount;
        if (block->used == 0 && m_blockCount > 1) {
            DropBlock(*block);
        }
    }

    void Clear() override {
        for (SBlock* const block : m_blocks) {
            if (block) {
                Delete(block);
            }
        }
        m_blocks = KxTDynArray<SBlock*>();
        m_buckets = KxTArray<SBlock*>();
        m_withRoom = KxTDynArray<std::uint64_t>();
        m_cursor = nullptr;
        m_blockCount = 0;
        m_freeCount = 0;
    }

    int BlockSize() const { return m_blockSize; }
    /// Sets the number of elements per block, at least 1. A heap that has blocks goes on with theirs until Clear.
    void SetBlockSize(int blockSize) { m_blockSize = std::max(1, blockSize); }
    int BlockCount() const { return m_blockCount; }
    /// Slots of all blocks that hold no element.
    long FreeCount() const { return m_freeCount; }

    void Swap(KxTBlockHeap& other) noexcept {
        m_blocks.Swap(other.m_blocks);
        m_withRoom.Swap(other.m_withRoom);
        m_buckets.Swap(other.m_buckets);
        std::swap(m_blockCount, other.m_blockCount);
        std::swap(m_cursor, other.m_cursor);
        std::swap(m_blockBytes, other.m_blockBytes);
        std::swap(m_windowBits, other.m_windowBits);
        std::swap(m_capacity, other.m_capacity);
        std::swap(m_blockSize, other.m_blockSize);
        std::swap(m_freeCount, other.m_freeCount);
    }

private:
    static constexpr unsigned char Unused = 0;
    static constexpr unsigned char Used = 1;

    /// The head of a block; its marks and its elements lie behind it in the same piece of memory.
    struct SBlock {
        unsigned char* Marks() { return reinterpret_cast<unsigned char*>(this + 1); }

        SBlock* nextOfBucket;
        int capacity;
        int used;
        int hint;      // lowest free slot; the capacity if there is none
        int position;  // in m_blocks
        T* elements;
    };

    static constexpr auto Alignment = std::align_val_t(std::max(alignof(T), alignof(SBlock)));

    static constexpr std::size_t ElementsOffset(std::size_t capacity) {
        return (sizeof(SBlock) + capacity + alignof(T) - 1) / alignof(T) * alignof(T);
    }

    // The table of addresses. Memory is thought to be cut into windows, each as long as a block or up to twice that;
    // a block stands in the bucket of the window in which it begins. So an element's block begins in the window of
    // the element or in the one before, and no window has more than two.

    bool IsIn(SBlock const* block, T const* element) const {
        return reinterpret_cast<std::uintptr_t>(element) - reinterpret_cast<std::uintptr_t>(block) < m_blockBytes;
    }

    SBlock*& Bucket(std::uintptr_t window) {
        return m_buckets[static_cast<int>(window & static_cast<std::uintptr_t>(m_buckets.Size() - 1))];
    }

    std::uintptr_t WindowOf(void const* address) const {
        return reinterpret_cast<std::uintptr_t>(address) >> m_windowBits;
    }

    SBlock* FindBlock(T const* element) {
        if (m_blockCount == 0) {
            return nullptr;
        }
        std::uintptr_t const window = WindowOf(element);
        for (std::uintptr_t const candidate : {window, window - 1}) {
            for (SBlock* block = Bucket(candidate); block; block = block->nextOfBucket) {
                if (IsIn(block, element)) {
                    return block;
                }
            }
        }
        return nullptr;
    }

    void AddToBucket(SBlock& block) {
        SBlock*& bucket = Bucket(WindowOf(&block));
        block.nextOfBucket = bucket;
        bucket = &block;
    }

    void TakeFromBucket(SBlock& block) {
        SBlock** link = &Bucket(WindowOf(&block));
        while (*link != &block) {
            link = &(*link)->nextOfBucket;
        }
        *link = block.nextOfBucket;
    }

    /// Doubles the buckets when there are as many blocks.
    void MakeBuckets() {
        if (m_blockCount < m_buckets.Size()) {
            return;
        }
        m_buckets = KxTArray<SBlock*>(std::max(16, 2 * m_buckets.Size()));
        for (SBlock* const block : m_blocks) {
            if (block) {
                AddToBucket(*block);
            }
        }
    }

    SBlock* NewBlock() {
        auto const capacity = static_cast<std::size_t>(m_blockCount == 0 ? m_blockSize : m_capacity);
        std::size_t const offset = ElementsOffset(capacity);
        if (m_blockCount == 0) {
            m_capacity = m_blockSize;
            m_blockBytes = offset + capacity * sizeof(T);
            m_windowBits = static_cast<int>(std::bit_width(m_blockBytes - 1));
        }
        void* const memory = ::operator new(m_blockBytes, Alignment);
        void* const elements = static_cast<unsigned char*>(memory) + offset;
        SBlock* const block = new (memory) SBlock{nullptr, m_capacity, 0, 0, 0, static_cast<T*>(elements)};
        std::memset(block->Marks(), Unused, capacity);
        return block;
    }

    /// Destroys what is left in a block and frees it.
    void Delete(SBlock* block) noexcept {
        if constexpr (!std::is_trivially_destructible_v<T>) {
            for (int slot = 0; slot < block->capacity; ++slot) {
                if (block->Marks()[slot] != Unused) {
                    std::destroy_at(block->elements + slot);
                }
            }
        }
        ::operator delete(block, Alignment);
    }

    SBlock* MoveCursorToRoom() {
        if (m_freeCount == 0) {
            m_cursor = AppendBlock();
        } else {
            m_cursor = m_blocks[NextWithRoom(m_cursor->position)];
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
        MakeBuckets();
        if (m_withRoom.Size() <= m_blocks.Size() / 64) {
            m_withRoom.Add(0);
        }
        m_blocks.Add(nullptr);
        SBlock* block = nullptr;
        try {
            block = NewBlock();
        } catch (...) {
            m_blocks.Resize(m_blocks.Size() - 1);
            throw;
        }
        block->position = m_blocks.Size() - 1;
        m_blocks[block->position] = block;
        AddToBucket(*block);
        SetRoom(*block, true);
        ++m_blockCount;
        m_freeCount += block->capacity;
        return block;
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
        TakeFromBucket(block);
        --m_blockCount;
        if (m_cursor == &block) {
            int position = block.position;
            do {
                position = position + 1 == m_blocks.Size() ? 0 : position + 1;
            } while (!m_blocks[position]);
            m_cursor = m_blocks[position];
        }
        Delete(&block);
    }

    KxTDynArray<SBlock*> m_blocks;          // in the order of their making; null where one was dropped
    KxTDynArray<std::uint64_t> m_withRoom;  // a bit for each position, set if the block there has a free slot
    KxTArray<SBlock*> m_buckets;            // by address; their number is a power of two
    int m_blockCount = 0;
    SBlock* m_cursor = nullptr;  // null only without blocks
    int m_blockSize;
    int m_capacity = 0;            // of the present blocks
    std::size_t m_blockBytes = 0;  // of the present blocks, with head and marks
    int m_windowBits = 0;
    long m_freeCount = 0;
};

}  // namespace KxN
