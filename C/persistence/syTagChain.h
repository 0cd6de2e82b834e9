// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What an archive remembers of one level's chain, so that a tag is found by id without walking the file again. The
// answers are those of a walk: a record that is found is read from the file each time, and the end of the chain is
// looked at again on each search that comes to it, since it may have grown. Reading in order remembers nothing.
#pragma once

#include "hbtools/persistence/syTag.h"

#include <utility>
#include <vector>

namespace KxN::detail {

class TagChain {
public:
    explicit TagChain(ULONGLONG startPosition) : m_start(startPosition), m_hintPosition(startPosition) {}

    /// Finds the first record of `id` from `position` on. Found: true, `record` is its image and the file stands
    /// at its payload. @throws CFileException cause endOfFile for a broken or ring-shaped chain
    bool Find(CFile& file, std::uint32_t id, ULONGLONG position, STag& record);

private:
    using Entry = std::pair<std::uint32_t, std::uint32_t>;  // id, number of the record in the chain
    struct Known {
        ULONGLONG position;
        std::uint32_t id;
    };

    static constexpr std::size_t unknown = static_cast<std::size_t>(-1);

    bool ReadAt(CFile& file, std::uint32_t id, ULONGLONG position, STag& record);
    bool WalkPlainly(CFile& file, std::uint32_t id, ULONGLONG position, STag& record);
    std::size_t NumberOf(ULONGLONG position) const;
    std::size_t NumberOfKnown(std::uint32_t id, std::size_t from);
    bool Extend(CFile& file);
    void Remember(ULONGLONG next, std::size_t number);
    void MergeRuns();
    void ForgetAll();

    ULONGLONG m_start;
    // The record that a search in order asks for next: its place and its number.
    ULONGLONG m_hintPosition;
    std::size_t m_hintNumber = 0;

    std::vector<Known> m_known;     // the records from the start on, in chain order
    ULONGLONG m_lastLink = 0;       // of the last of them when it was read
    ULONGLONG m_lengthAtEnd = 0;    // of the file when the last of them was seen to be the end
    std::size_t m_mostRecords = 0;  // bound of the walk; asked of the file again when it is reached
    bool m_rising = true;           // all links so far led forward, so that the positions are sorted

    // The known ids as sorted runs of doubling length: searching costs little and so does adding.
    std::vector<Entry> m_entries;
    std::vector<std::size_t> m_runEnds;
};

}  // namespace KxN::detail
