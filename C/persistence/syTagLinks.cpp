// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Levels that were written to again when records stood behind them: they go on at the end of the file, as every chain does.
// Which record belongs where is told by the links alone: one that is led to is no begin of a level, and a payload ends
// where any other record begins. Only a file in which all makes sense so is read so; any other is damaged, and what is wrong
// is told as if levels did not grow.
#include "persistence/syTagRecord.h"
#include "persistence/syTagWalk.h"

#include <algorithm>
#include <set>

namespace KxN {

TagFileState KxTagInspector::Walk::InspectWithGrownLevels() {
    m_growth = Growth::unseen;
    m_links.clear();
    m_heads.clear();
    m_markerEnds.clear();
    TagFileState const state = Inspect(false);
    if (m_growth != Growth::seen) return state;
    FindLinks();
    m_growth = Growth::followed;
    return Inspect(false) == TagFileWhole ? TagFileWhole : InspectWithoutGrowth(false);
}

TagFileState KxTagInspector::Walk::InspectWithoutGrowth(bool isRecovering) {
    m_growth = Growth::none;
    m_links.clear();
    m_heads.clear();
    m_markerEnds.clear();
    return Inspect(isRecovering);
}

// All records that the first chain leads to, and chains that may begin behind their payloads. A chain that only seems to
// begin there, since a neighbour that a link leads to stands there, does no harm: its records are met all the same.
void KxTagInspector::Walk::FindLinks() {
    ULONGLONG budget = detail::MostRecords(m_file);
    std::set<ULONGLONG> met;  // ordered: no file can slow it down by its choice of places
    std::vector<ULONGLONG> begins{m_start};
    while (!begins.empty()) {
        ULONGLONG position = begins.back();
        begins.pop_back();
        while (budget > 0 && detail::IsRecordAt(m_file, position, m_size) && met.insert(position).second) {
            --budget;
            STag image;
            detail::ReadRecord(m_file, position, image);
            ULONGLONG const next = image.nextTag;
            ULONGLONG const end = next > position && next < m_size ? next : m_size;
            if (image.dataAddress <= end && image.dataSize <= end - image.dataAddress) {
                ULONGLONG const size = detail::FindPayload(m_file, image, end, budget, m_objects).size;
                ULONGLONG const behind = image.dataAddress + size;
                if (behind < m_size) begins.push_back(behind);
                if (size == 0) m_markerEnds.insert(behind);
            }
            if (next == 0 || next >= m_size) break;
            ++m_links[next];
            position = next;
        }
    }
    m_heads.assign(met.begin(), met.end());
}

// True if a link out of the payload of its parent leads to a record that nothing else leads to. Right behind a marker it
// rather is the first of that one's level, and the link is damaged.
bool KxTagInspector::Walk::HasGrownTo(ULONGLONG position) const {
    auto const found = m_links.find(position);
    return found != m_links.end() && found->second == 1 && !m_markerEnds.contains(position) &&
           detail::IsRecordAt(m_file, position, m_size);
}

// Where a payload ends at the latest: at the next record, which may belong to a level that has grown.
ULONGLONG KxTagInspector::Walk::PayloadLimit(ULONGLONG address, ULONGLONG limit) const {
    if (m_links.contains(address)) return address;
    auto const next = std::upper_bound(m_heads.begin(), m_heads.end(), address);
    return next == m_heads.end() ? limit : std::min(limit, *next);
}

}  // namespace KxN
