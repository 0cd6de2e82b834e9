// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxCompactArray: an array of `Size()` logical positions of which only some have storage. Access by operator[] is
// constant-time for an element that is there; for one that is not it makes the element, with the invalid marker
// in its first component and zero in the others, and moves the later ones. T is a vector of the library.
// A value: copies are deep. Access is unchecked; even reading through operator[] may insert, so ask Has first.
// An array belongs to one thread at a time. Several may read one that nobody changes, through a const reference only:
// operator[] of one that is not const may insert.
#pragma once

#include "hbtools/base/syTypes.h"
#include "hbtools/core/syArray.h"

#include <array>
#include <bit>
#include <new>

namespace KxN {

/// Masks and bit counts for 32-bit block masks, ready from static initialisation on and never changed.
class KX_API KxArrayElementMaskCalculation {
public:
    constexpr KxArrayElementMaskCalculation() {
        for (unsigned i = 0; i < 32; ++i) {
            m_singleBit[i] = 1U << i;
            m_bitsToHere[i] = 0xffffffffU >> (31 - i);
        }
        for (unsigned n = 0; n < m_bitCount.size(); ++n)
            m_bitCount[n] = static_cast<std::uint16_t>((n & 1) + (n == 0 ? 0U : m_bitCount[n / 2]));
    }
    std::uint32_t SingleBit(int i) const { return m_singleBit[static_cast<unsigned>(i)]; }    ///< Bit i, 0 to 31.
    std::uint32_t BitsToHere(int i) const { return m_bitsToHere[static_cast<unsigned>(i)]; }  ///< Bits 0 to i.
    std::uint16_t BitCount(unsigned n) const { return m_bitCount[n]; }                        ///< n up to 65535.
    /// Set bits of a whole mask.
    int BitCount32(std::uint32_t mask) const { return BitCount(mask >> 16) + BitCount(mask & 0xffff); }

private:
    std::array<std::uint32_t, 32> m_singleBit{};
    std::array<std::uint32_t, 32> m_bitsToHere{};
    std::array<std::uint16_t, 65536> m_bitCount{};
};

extern KX_API KxArrayElementMaskCalculation const g_aAEMC;

template <class T>
class KxCompactArray {
public:
    KxCompactArray() = default;
    explicit KxCompactArray(int size) { Resize(size); }

    /// Logical positions, 0 to Size() - 1.
    int Size() const { return m_size; }
    /// Elements that have storage.
    int NumElements() const { return m_used; }
    /// True if position `index` has storage.
    bool Has(int index) const {
        SBlock const& block = m_blocks[index / blockLength];
        return block.base >= 0 && (block.mask & g_aAEMC.SingleBit(index % blockLength)) != 0;
    }
    /// Place of an element that is there among all that are, in order of their index.
    int DenseIndex(int index) const {
        SBlock const& block = m_blocks[index / blockLength];
        return block.base + g_aAEMC.BitCount32(block.mask & g_aAEMC.BitsToHere(index % blockLength)) - 1;
    }

    T& operator[](int index) { return m_dense[Has(index) ? DenseIndex(index) : Insert(index)]; }
    /// @pre Has(index)
    T const& operator[](int index) const { return m_dense[DenseIndex(index)]; }

    /// Changes the number of positions; elements behind the new end go away.
    /// @throws std::bad_array_new_length for a negative size, std::bad_alloc; unchanged then
    void Resize(int size) {
        if (size < 0) throw std::bad_array_new_length();
        int const blocks = size / blockLength + (size % blockLength != 0);
        if (size < m_size) CutTo(size, blocks);
        m_blocks.Resize(blocks);
        m_size = size;
    }
    /// Gives every position storage, as an access to each in turn would, in one pass.
    void Fill() {
        KxTArray<T> full(m_size);
        for (int i = 0; i < m_size; ++i) full[i] = Has(i) ? m_dense[DenseIndex(i)] : Marked();
        SetAll(full);
    }
    /// All Size() elements in a row. @pre NumElements() == Size()
    T* Data() { return m_dense.Data(); }
    T const* Data() const { return m_dense.Data(); }

private:
    static constexpr int blockLength = 32;
    struct SBlock {
        std::int32_t base = -1;  // place of the block's first element among all, negative if there is none
        std::uint32_t mask = 0;  // one bit for each element that is there
    };

    static T Marked() {
        T value;
        for (std::size_t i = 0; i < sizeof(T) / sizeof(value[0]); ++i) value[static_cast<int>(i)] = 0;
        value.Invalidate();
        return value;
    }

    int Insert(int index) {
        int const number = index / blockLength;
        int const bit = index % blockLength;
        int place = 0;
        SBlock& block = m_blocks[number];
        if (block.base >= 0) {
            place = block.base + g_aAEMC.BitCount32(block.mask & g_aAEMC.BitsToHere(bit));
        } else if (number > m_lastBlock) {
            place = m_used;  // behind all: filling in order never searches
        } else {
            for (int lower = number - 1; lower >= 0; --lower) {
                if (m_blocks[lower].base < 0) continue;
                place = m_blocks[lower].base + g_aAEMC.BitCount32(m_blocks[lower].mask);
                break;
            }
        }
        MakeRoom(place);
        m_dense[place] = Marked();
        block.mask |= g_aAEMC.SingleBit(bit);
        if (block.base < 0) block.base = place;
        for (int later = number + 1; later <= m_lastBlock; ++later)
            if (m_blocks[later].base >= 0) ++m_blocks[later].base;
        if (number > m_lastBlock) m_lastBlock = number;
        return place;
    }
    void MakeRoom(int place) {
        if (m_used == m_dense.Size()) {
            int const grown = m_used < 16 ? 16 : m_used + m_used / 2;
            m_dense.Resize(grown < m_size || m_used >= m_size ? grown : m_size);
        }
        for (int i = m_used; i > place; --i) m_dense[i] = m_dense[i - 1];
        ++m_used;
    }
    void CutTo(int size, int blocks) {
        int used = 0;
        for (int i = 0; i < blocks; ++i) {
            if (i == size / blockLength) m_blocks[i].mask &= g_aAEMC.BitsToHere(size % blockLength) >> 1;
            if (m_blocks[i].mask == 0) m_blocks[i].base = -1;
            used += g_aAEMC.BitCount32(m_blocks[i].mask);
        }
        m_used = used;
        m_lastBlock = blocks - 1;
    }
    void SetAll(KxTArray<T>& full) {
        m_dense = std::move(full);
        m_used = m_size;
        for (int i = 0; i < m_blocks.Size(); ++i) {
            m_blocks[i].base = i * blockLength;
            int const rest = m_size - i * blockLength;
            m_blocks[i].mask = g_aAEMC.BitsToHere((rest < blockLength ? rest : blockLength) - 1);
        }
        m_lastBlock = m_blocks.Size() - 1;
    }

    KxTArray<T> m_dense;
    int m_used = 0;
    KxTArray<SBlock> m_blocks;
    int m_lastBlock = -1;  // no block behind it has elements
    int m_size = 0;
};

}  // namespace KxN
