// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/core/syPList.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

namespace KxN {

namespace {

constexpr std::size_t entryBytes = sizeof(void*);
constexpr std::size_t usualGranularity = 256;
constexpr unsigned long fewEntries = 8;  // are sorted by selection

struct Freeing {
    void operator()(void** memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<void*, Freeing>;

/// Orders a range by exchanges alone: when the comparison throws, each entry is still there once.
template <class Less>
void HeapSort(void** entries, unsigned long count, Less const& isLess) {
    auto const sink = [&](unsigned long parent, unsigned long end) {
        for (unsigned long child; (child = 2 * parent + 1) < end; parent = child) {
            if (child + 1 < end && isLess(entries[child], entries[child + 1])) ++child;
            if (!isLess(entries[parent], entries[child])) return;
            std::swap(entries[parent], entries[child]);
        }
    };
    for (unsigned long i = count / 2; i-- > 0;) sink(i, count);
    for (unsigned long end = count; end-- > 1;) {
        std::swap(entries[0], entries[end]);
        sink(0, end);
    }
}

}  // namespace

/// Memory for so many entries, rounded up to the granularity.
bool CPList::Reallocate(unsigned long entries) {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max() / 4;
    if (entries > most / entryBytes || m_granularity > most) return false;
    std::size_t const bytes = (entries * entryBytes + m_granularity - 1) / m_granularity * m_granularity;
    if (bytes == m_bytes) return true;
    if (bytes == 0) {
        std::free(std::exchange(m_entries, nullptr));
        m_bytes = 0;
        return true;
    }
    auto* const block = static_cast<void**>(std::realloc(m_entries, bytes));
    if (!block) return false;
    m_entries = block;
    m_bytes = bytes;
    return true;
}

long CPList::InsertEntry(unsigned long index, void* entry) {
    if (index > m_count) return 0;
    if ((m_count + 1) * entryBytes > m_bytes && !Reallocate(m_count + 1)) return 0;
    std::memmove(m_entries + index + 1, m_entries + index, (m_count - index) * entryBytes);
    m_entries[index] = entry;
    ++m_count;
    return 1;
}

long CPList::RemoveEntry(unsigned long index) {
    if (index >= m_count) return 0;
    --m_count;
    std::memmove(m_entries + index, m_entries + index + 1, (m_count - index) * entryBytes);
    return 1;
}

long CPList::RemoveByValue(void* entry) {
    void** const end = m_entries + m_count;
    return RemoveEntry(static_cast<unsigned long>(std::find(m_entries, end, entry) - m_entries));
}

long CPList::GetEntryPtr(unsigned long index, void** entry) const {
    *entry = index < m_count ? m_entries[index] : nullptr;
    return index < m_count;
}

long CPList::FindBinary(void* value, unsigned long* index, void** entry) const {
    *index = 0;
    *entry = nullptr;
    if (!m_compare) return 0;
    long isFound = 0;
    for (unsigned long low = 0, high = m_count; low < high;) {
        unsigned long const middle = low + (high - low) / 2;
        int const order = m_compare(m_entries[middle], value);
        if (order < 0) {
            low = middle + 1;
            continue;
        }
        high = middle;
        if (order > 0) continue;
        isFound = 1;  // and the first of its equals may stand in front of it
        *index = middle;
        *entry = m_entries[middle];
    }
    return isFound;
}

/// Sorts low to high, both included: at most 8 entries.
void CPList::SortRange(unsigned long low, unsigned long high) {
    for (; high > low; --high) {
        unsigned long greatest = low;
        for (unsigned long i = low + 1; i <= high; ++i)
            if (m_compare(m_entries[i], m_entries[greatest]) > 0) greatest = i;
        std::swap(m_entries[greatest], m_entries[high]);
    }
}

void CPList::Sort() {
    if (!m_compare || m_count < 2) return;
    struct SRange {
        unsigned long low, high;
    };
    // The longer part waits, so that its half is done at most as often as the count has bits. A range that was halved badly
    // so often is made a heap.
    SRange waiting[std::numeric_limits<unsigned long>::digits];
    int numWaiting = 0, badSplits = 2 * static_cast<int>(std::bit_width(m_count));
    SRange range{0, m_count - 1};
    for (;;) {
        auto& [low, high] = range;
        if (high - low < fewEntries || badSplits <= 0) {
            if (high - low < fewEntries) {
                SortRange(low, high);
            } else {
                HeapSort(m_entries + low, high - low + 1, [this](void* a, void* b) { return m_compare(a, b) < 0; });
            }
            if (numWaiting == 0) return;
            range = waiting[--numWaiting];
            continue;
        }
        std::swap(m_entries[low], m_entries[low + (high - low) / 2]);
        void* const pivot = m_entries[low];
        unsigned long up = low, down = high + 1;
        for (;;) {
            do ++up;
            while (up <= high && m_compare(m_entries[up], pivot) < 0);
            do --down;
            while (down > low && m_compare(m_entries[down], pivot) > 0);
            if (up >= down) break;
            std::swap(m_entries[up], m_entries[down]);
        }
        std::swap(m_entries[low], m_entries[down]);
        // low ... down - 1, the pivot at down, down + 1 ... high
        SRange first{low, down > low ? down - 1 : low}, second{std::min(down + 1, high), high};
        if (first.high - first.low > second.high - second.low) std::swap(first, second);
        if ((second.high - second.low) / 8 > first.high - first.low) --badSplits;
        waiting[numWaiting++] = second;
        range = first;
    }
}

void CPList::Clear() {
    unsigned long const count = std::exchange(m_count, 0);
    Memory const entries(std::exchange(m_entries, nullptr));
    m_bytes = 0;
    if (!m_clear) return;
    unsigned long numCleared = 0;
    try {
        while (numCleared < count) m_clear(entries.get()[numCleared++]);
    } catch (...) {
        while (numCleared < count) AddEntry(entries.get()[numCleared++]);
        throw;
    }
}

long CPList::DuplicateList(CPList& target) const {
    if (&target == this) return 1;
    Memory copy(m_bytes > 0 ? static_cast<void**>(std::malloc(m_bytes)) : nullptr);
    if (m_bytes > 0 && !copy) return 0;
    target.Clear();
    if (copy) std::memcpy(copy.get(), m_entries, m_count * entryBytes);
    target.m_compare = m_compare;
    target.m_clear = m_clear;
    target.m_granularity = m_granularity;
    target.m_count = m_count;
    target.m_bytes = m_bytes;
    target.m_entries = copy.release();
    return 1;
}

long CPList::Compact(unsigned long entriesPerStep, unsigned long minimum) {
    std::size_t const former = m_granularity;
    m_granularity = entriesPerStep == 0 ? usualGranularity : entriesPerStep * entryBytes;
    bool const isPossible = entriesPerStep <= std::numeric_limits<std::size_t>::max() / entryBytes;
    if (isPossible && Reallocate(std::max(minimum, m_count))) return 1;
    m_granularity = former;
    return 0;
}

}  // namespace KxN
