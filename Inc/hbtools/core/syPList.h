// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// CPList: a list of untyped pointers in insertion order, which can be sorted and searched. Its operations are protected:
// a class for one type publishes those it wants. They return 1 for success and 0 for failure, and a failure, lack of memory
// included, leaves the list as it was. What the functions throw passes through: a sort leaves the same entries in any order,
// Clear those that the clear function was not called for yet. One thread at a time.
#pragma once

#include "hbtools/base/syTypes.h"

#include <cstddef>

namespace KxN {

class KX_API CPList {
public:
    /// Below 0, 0 or above 0, as entry stands before, beside or behind value.
    using CmpFunc = int (*)(void* entry, void* value);
    /// Disposes of an entry.
    using ClrFunc = void (*)(void* entry);

    CPList(CPList const&) = delete;
    CPList& operator=(CPList const&) = delete;

protected:
    CPList() = default;
    CPList(CmpFunc compare, ClrFunc clear) : m_compare(compare), m_clear(clear) {}
    ~CPList() { Clear(); }

    CmpFunc GetCmpFunc() const { return m_compare; }
    void SetCmpFunc(CmpFunc compare) { m_compare = compare; }
    ClrFunc GetClrFunc() const { return m_clear; }
    void SetClrFunc(ClrFunc clear) { m_clear = clear; }
    unsigned long NumEntries() const { return m_count; }

    long AddEntry(void* entry) { return InsertEntry(m_count, entry); }
    /// In front of the entry of that index, or at the end. Those behind it move.
    long InsertEntry(unsigned long index, void* entry);
    /// Takes an entry out and leaves it to the caller; the second looks at each for the first entry with that pointer.
    long RemoveEntry(unsigned long index);
    long RemoveByValue(void* entry);
    /// *entry is null if there is none of that index.
    long GetEntryPtr(unsigned long index, void** entry) const;
    /// In a sorted list: index and pointer of the first entry that is equal to the value; 0 and null if there is none.
    long FindBinary(void* value, unsigned long* index, void** entry) const;
    /// By the compare function; equal entries change their order. Without one the order stays.
    void Sort();
    /// Calls the clear function for each entry and frees the memory.
    void Clear();
    /// Makes `target`, which clears its own entries, a list of the same pointers with the same functions.
    long DuplicateList(CPList& target) const;
    /// Sets how many entries the memory grows by, 0 for 32, and shrinks or widens it to the count or to `minimum`.
    long Compact(unsigned long entriesPerStep, unsigned long minimum);

private:
    bool Reallocate(unsigned long entries);
    void SortRange(unsigned long low, unsigned long high);

    CmpFunc m_compare = nullptr;
    ClrFunc m_clear = nullptr;
    std::size_t m_granularity = 256;  // bytes
    unsigned long m_count = 0;
    std::size_t m_bytes = 0;
    void** m_entries = nullptr;
};

}  // namespace KxN
