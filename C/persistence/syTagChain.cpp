// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "persistence/syTagChain.h"

#include "persistence/syTagRecord.h"

#include <algorithm>
#include <limits>

namespace KxN::detail {

bool TagChain::Find(CFile& file, std::uint32_t id, ULONGLONG position, STag& record) {
    std::size_t number = NumberOf(position);

    // In order of writing the wanted record is the one right there.
    if (number >= m_known.size()) {
        if (ReadAt(file, id, position, record)) {
            Remember(record.nextTag, number);
            return true;
        }
        if (record.nextTag == 0) return false;
        if (number == unknown) return WalkPlainly(file, id, record.nextTag, record);
    }

    for (std::size_t known = number;;) {
        std::size_t const found = NumberOfKnown(id, known);
        if (found != unknown) {
            if (!ReadAt(file, id, m_known[found].position, record)) {
                // Somebody rewrote the file under us: what we know is worth nothing.
                ForgetAll();
                return WalkPlainly(file, id, position, record);
            }
            Remember(record.nextTag, found);
            return true;
        }
        // Not among the known ones: go on to the end, or until the id turns up.
        known = std::max(number, m_known.size());
        bool reached = false;
        while (!reached) {
            if (!Extend(file)) return false;
            reached = m_known.back().id == id && m_known.size() > number;
        }
    }
}

// True if the record there is one of the id; the file stands at its payload then.
bool TagChain::ReadAt(CFile& file, std::uint32_t id, ULONGLONG position, STag& record) {
    UINT const size = ReadRecord(file, position, record);
    if (record.id != id) return false;
    SeekPayload(file, position, size, record);
    return true;
}

bool TagChain::WalkPlainly(CFile& file, std::uint32_t id, ULONGLONG position, STag& record) {
    for (ULONGLONG left = MostRecords(file); left > 0; --left) {
        if (ReadAt(file, id, position, record)) return true;
        if (record.nextTag == 0) return false;
        position = record.nextTag;
    }
    ThrowEndOfFile(file);
}

std::size_t TagChain::NumberOf(ULONGLONG position) const {
    if (position == m_hintPosition) return m_hintNumber;
    if (position == m_start) return 0;
    if (!m_rising) return unknown;
    auto const place = std::lower_bound(m_known.begin(), m_known.end(), position,
                                        [](Known const& known, ULONGLONG p) { return known.position < p; });
    if (place == m_known.end() || place->position != position) return unknown;
    return static_cast<std::size_t>(place - m_known.begin());
}

void TagChain::Remember(ULONGLONG next, std::size_t number) {
    if (next == 0 || number == unknown) return;
    m_hintPosition = next;
    m_hintNumber = number + 1;
}

// The first known record of the id from number `from` on.
std::size_t TagChain::NumberOfKnown(std::uint32_t id, std::size_t from) {
    constexpr std::size_t nearby = 8;  // a few comparisons are cheaper than a search
    std::size_t const near = std::min(m_known.size(), from + nearby);
    for (std::size_t i = from; i < near; ++i)
        if (m_known[i].id == id) return i;
    if (near >= m_known.size()) return unknown;

    MergeRuns();
    std::size_t best = unknown;
    std::size_t begin = 0;
    for (std::size_t const end : m_runEnds) {
        auto const last = m_entries.begin() + static_cast<std::ptrdiff_t>(end);
        auto const place = std::lower_bound(m_entries.begin() + static_cast<std::ptrdiff_t>(begin), last,
                                            Entry(id, static_cast<std::uint32_t>(near)));
        if (place != last && place->first == id) best = std::min<std::size_t>(best, place->second);
        begin = end;
    }
    return best;
}

// Takes the next record of the chain into memory. False at its end.
bool TagChain::Extend(CFile& file) {
    ULONGLONG next = m_start;
    STag record;
    if (!m_known.empty()) {
        if (m_lastLink == 0) {
            // A chain grows only together with its file.
            ULONGLONG const length = file.GetLength();
            if (length == m_lengthAtEnd) return false;
            ReadRecord(file, m_known.back().position, record);
            m_lastLink = record.nextTag;
            m_lengthAtEnd = m_lastLink == 0 ? length : 0;
        }
        if (m_lastLink == 0) return false;
        next = m_lastLink;
    }
    if (m_known.size() >= m_mostRecords) {
        m_mostRecords =
            static_cast<std::size_t>(std::min<ULONGLONG>(MostRecords(file), std::numeric_limits<std::uint32_t>::max()));
        if (m_known.size() >= m_mostRecords) ThrowEndOfFile(file);
    }
    ReadRecord(file, next, record);
    bool const rises = m_known.empty() || next > m_known.back().position;
    m_known.push_back({next, record.id});
    m_rising = m_rising && rises;
    m_lastLink = record.nextTag;
    return true;
}

// Brings what was added since into the sorted runs. A run is merged into the one before it as long as it is not
// shorter, so that there are few runs and each entry moves few times.
void TagChain::MergeRuns() {
    std::size_t begin = m_runEnds.empty() ? 0 : m_runEnds.back();
    if (begin == m_known.size()) return;
    m_entries.resize(begin);  // a former attempt may have run out of memory on the way
    for (std::size_t i = begin; i < m_known.size(); ++i)
        m_entries.emplace_back(m_known[i].id, static_cast<std::uint32_t>(i));
    m_runEnds.reserve(m_runEnds.size() + 1);
    std::sort(m_entries.begin() + static_cast<std::ptrdiff_t>(begin), m_entries.end());
    while (!m_runEnds.empty()) {
        std::size_t const former = m_runEnds.size() > 1 ? m_runEnds[m_runEnds.size() - 2] : 0;
        if (m_entries.size() - begin < begin - former) break;
        std::inplace_merge(m_entries.begin() + static_cast<std::ptrdiff_t>(former),
                           m_entries.begin() + static_cast<std::ptrdiff_t>(begin), m_entries.end());
        m_runEnds.pop_back();
        begin = former;
    }
    m_runEnds.push_back(m_entries.size());
}

void TagChain::ForgetAll() {
    *this = TagChain(m_start);
}

}  // namespace KxN::detail
