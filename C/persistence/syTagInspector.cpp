// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syTagInspector.h"

#include "hbtools/base/syLimits.h"
#include "persistence/syInnerTags.h"
#include "persistence/syTagRecord.h"
#include "persistence/syTagShift.h"
#include "persistence/syTagWalk.h"

#include <algorithm>

namespace KxN {

namespace {

constexpr ULONGLONG fileHeaderSize = 512;
constexpr std::uint16_t fileHeaderMark = 0x4949;
constexpr std::size_t mostIds = 1 << 16;  // that are remembered

}  // namespace

TagFileState KxTagInspector::Walk::Inspect(bool isRecovering) {
    m_records.Clear();
    m_faults.Clear();
    m_remarks.Clear();
    m_levelIds.clear();
    m_plainIds.clear();
    m_levels.clear();
    m_visited.clear();
    m_deferred.clear();
    m_taken.clear();
    m_hasVisited = m_isRecovering = isRecovering;
    m_isBroken = m_tookTrail = false;
    m_hasVisited = m_hasVisited || m_growth == Growth::followed;
    m_emptyFrom = m_emptyTo = 0;
    m_size = m_file.GetLength();
    m_shifted = dynamic_cast<detail::ShiftedFile const*>(&m_file);
    m_budget = detail::MostRecords(m_file);
    m_steps = 4 * m_budget;
    m_start = m_reached = 0;
    if (FindStart()) {
        if (m_start < m_size) m_levels.push_back({m_start, m_size, -1, 0, -1, m_start, 0});
    } else if (m_isRecovering) {
        BeginAtFirstRecord();
        if (m_levels.empty()) return m_faults.Size() > 0 ? TagFileDamaged : TagFileForeign;
    } else {
        return m_faults.Size() > 0 ? TagFileDamaged : TagFileForeign;
    }
    while (!m_levels.empty() || (m_isRecovering && TakeDeferred())) {
        Level& level = m_levels.back();
        if (level.next == chainLost) FindNextOf(level);
        if (level.next != chainEnd) {
            Step(level);
            continue;
        }
        ULONGLONG const reached = level.reached;
        m_levels.pop_back();
        if (!m_levels.empty()) m_levels.back().reached = std::max(m_levels.back().reached, reached);
    }
    if (m_hasVisited) FindOverlaps();
    CheckGraphs();
    if (m_reached < m_size && !m_isBroken)
        Fault(FaultTrailing, m_reached, 0, m_size - m_reached,
              L"%llu bytes at the end belong to no record; readers do not reach them", m_size - m_reached);
    return m_faults.Size() > 0 ? TagFileDamaged : TagFileWhole;
}

// Finds where the first chain begins. False if the file is foreign, or too short to tell, which is a fault.
bool KxTagInspector::Walk::FindStart() {
    if (detail::IsRecordAt(m_file, 0, m_size)) return true;
    BYTE bytes[STag32::fileSize] = {};
    m_file.Seek(0, CFile::begin);
    UINT const got = m_file.Read(bytes, sizeof bytes);
    if (got >= 6 && detail::Load<std::uint16_t>(bytes) == fileHeaderMark &&
        detail::Load<std::uint16_t>(bytes + 4) == fileHeaderSize) {
        m_start = m_reached = fileHeaderSize;
        if (m_size == fileHeaderSize || detail::IsRecordAt(m_file, m_start, m_size)) return true;
        if (m_size > fileHeaderSize && !detail::IsCutRecordAt(m_file, m_start)) return false;
    } else if (!detail::IsCutRecordAt(m_file, 0)) {
        return false;
    }
    Fault(FaultTruncated, m_start, 0, m_size - std::min(m_start, m_size),
          L"the file ends after %llu bytes; a record of at least %u bytes was expected at %llu", m_size,
          STag32::fileSize, m_start < m_size ? m_start : m_size);
    return false;
}

// One record of a chain, its payload, and the link to the next.
void KxTagInspector::Walk::Step(Level& level) {
    SxTagRecord record{};
    if (!TakeRecord(level, record)) {
        level.next = chainEnd;
        m_isBroken = true;
        return;
    }
    int const number = m_records.Size();
    m_records.Add(record);
    if (m_hasVisited) m_visited.emplace(record.position, record.parent);
    m_isMended = false;
    if (m_isRecovering)
        FollowOrMend(level, number);
    else
        FollowLink(level, number);
    SxTagRecord const& taken = m_records[number];  // with its extent
    TakePayload(number, taken.image.dataAddress + taken.extent);
}

bool KxTagInspector::Walk::TakeRecord(Level& level, SxTagRecord& record) {
    ULONGLONG const position = level.next;
    ULONGLONG const source = level.source >= 0 ? m_records[level.source].position : position;
    if (m_budget == 0) {
        Fault(FaultCycle, source, position, m_size - m_reached,
              L"the chains visit more records than the file can hold");
        for (Level& open : m_levels) open.next = chainEnd;
        return false;
    }
    --m_budget;
    if (detail::IsRecordAt(m_file, position, m_size)) {
        record.isLongForm = detail::ReadRecord(m_file, position, record.image) == STag::fileSize;
    } else if (m_size - position < STag32::fileSize || detail::IsCutRecordAt(m_file, position)) {
        Fault(FaultTruncated, position, 0, m_size - position,
              L"the file ends inside the head of a record at %llu: %llu bytes are there", position, m_size - position);
        Reached(m_size);
        return false;
    } else {
        // The head is whole, but its address does not lead behind it. If its link is sound it is still a record.
        bool isLong = false;
        try {
            isLong = detail::ReadRecord(m_file, position, record.image) == STag::fileSize;
        } catch (CFileException* exception) {
            exception->Delete();
            Fault(FaultNoRecord, source, position, level.end - std::min(position, level.end),
                  L"the record at %llu leads to %llu, where no record stands; the rest of its level is out of reach",
                  source, position);
            Reached(m_size);
            return false;
        }
        record.isLongForm = isLong;
        ULONGLONG const behind = position + (isLong ? STag::fileSize : STag32::fileSize);
        // Zeros in the place of a head look like the last record of a level.
        bool const linkIsSound =
            (record.image.nextTag == 0 && record.image.dataAddress != 0) ||
            (record.image.nextTag > position && detail::IsRecordAt(m_file, record.image.nextTag, m_size));
        if (!linkIsSound || behind > level.end) {
            Fault(FaultNoRecord, source, position, level.end - std::min(position, level.end),
                  L"the record at %llu leads to %llu, where no record stands; the rest of its level is out of reach",
                  source, position);
            return false;
        }
        Fault(FaultAddress, position, record.image.dataAddress, 0,
              L"the payload of the record at %llu is said to stand at %llu instead of %llu; readers take what stands "
              L"there",
              position, record.image.dataAddress, behind);
        record.image.dataAddress = behind;
    }
    record.position = position;
    record.parent = level.parent;
    record.depth = level.depth;
    Reached(record.image.dataAddress);
    return true;
}

// From here on it is asked whether a place was met before: a link has left the order of the file.
void KxTagInspector::Walk::RememberVisits() {
    if (m_hasVisited) return;
    for (SxTagRecord const& record : m_records) m_visited.emplace(record.position, record.parent);
    m_hasVisited = true;
}

// True if the links from one record come to the other within a few thousand steps, of which all questions together may
// take a few for each record.
bool KxTagInspector::Walk::LeadsTo(ULONGLONG from, ULONGLONG position) {
    constexpr int steps = 4096;
    for (int i = 0; i < steps && m_steps > 0 && detail::IsRecordAt(m_file, from, m_size); ++i, --m_steps) {
        if (from == position) return true;
        STag record;
        detail::ReadRecord(m_file, from, record);
        if (record.nextTag == 0) return false;
        from = record.nextTag;
    }
    return false;
}

KxTagInspector::Walk::Visit KxTagInspector::Walk::VisitOf(ULONGLONG position, int parent) {
    RememberVisits();
    auto const found = m_visited.find(position);
    if (found == m_visited.end()) return Visit::none;
    return found->second == parent ? Visit::sameChain : Visit::otherChain;
}

void KxTagInspector::Walk::FollowLink(Level& level, int number) {
    SxTagRecord& record = m_records[number];
    ULONGLONG const next = record.image.nextTag;
    ULONGLONG const address = record.image.dataAddress;
    ULONGLONG const behind = address + std::min<ULONGLONG>(record.image.dataSize, m_size - std::min(address, m_size));
    ULONGLONG const rest = level.end - std::min(behind, level.end);
    ULONGLONG end = level.end;
    level.next = chainEnd;
    level.source = number;
    if (next == 0) {
        // the last of its chain
    } else if (next >= m_size) {
        Fault(FaultDanglingLink, record.position, next, rest,
              L"the record at %llu leads to %llu, behind the end of the file at %llu; the rest of its level is out of "
              L"reach",
              record.position, next, m_size);
        m_isBroken = true;
    } else if (next <= record.position) {
        switch (VisitOf(next, record.parent)) {
            case Visit::sameChain: FaultCycleAt(record.position, next, rest); break;
            case Visit::otherChain:
                if (LeadsTo(next, record.position))
                    FaultCycleAt(record.position, next, rest);
                else
                    FaultShared(record.position, next);
                break;
            case Visit::none:
                Fault(FaultBackwardLink, record.position, next, 0, L"the record at %llu leads backward to %llu",
                      record.position, next);
                level.next = next;
                break;
        }
    } else if (next < behind) {
        Fault(FaultIntoRecord, record.position, next, rest,
              L"the record at %llu leads to %llu, into its own head or payload; the rest of its level is out of reach",
              record.position, next);
        m_isBroken = true;
    } else if (next >= level.end && m_growth == Growth::followed && HasGrownTo(next)) {
        level.next = next;
        level.end = m_size;
    } else if (next >= level.end) {
        if (m_growth == Growth::unseen && detail::IsRecordAt(m_file, next, m_size)) m_growth = Growth::seen;
        RememberVisits();
        Fault(FaultOverlap, record.position, next, 0,
              L"the record at %llu leads to %llu, out of the payload of its parent, which ends at %llu",
              record.position, next, level.end);
    } else if (m_hasVisited && VisitOf(next, record.parent) != Visit::none) {
        FaultShared(record.position, next);
    } else {
        end = next;
        level.next = next;
    }
    record.extent = std::max(end, address) - address;
}

void KxTagInspector::Walk::TakePayload(int number, ULONGLONG end) {
    STag const image = m_records[number].image;
    ULONGLONG const position = m_records[number].position;
    ULONGLONG const limit = std::min(end, m_size);
    if (image.dataAddress > m_size || image.dataSize > limit - std::min(image.dataAddress, limit)) {
        ULONGLONG const there = limit - std::min(image.dataAddress, limit);
        Fault(FaultShortPayload, position, 0, image.dataSize - there,
              L"the payload of the record at %llu promises %llu bytes and %llu are there", position, image.dataSize,
              there);
        m_records[number].kind = PayloadBytes;
        m_records[number].payloadSize = there;
        m_records[number].isDamaged = true;
        Reached(limit);
        return;
    }
    ULONGLONG const payloadLimit = PayloadLimit(image.dataAddress, limit);
    detail::PayloadFinding finding = detail::FindPayload(m_file, image, payloadLimit, m_budget, m_objects);
    RejectCut(m_records[number], finding);
    RejectShifted(image, finding);
    if (finding.fault.Len() > 0)
        Fault(finding.faultKind, position, finding.target, finding.lostBytes, L"the record at %llu: %s", position,
              finding.fault);
    SxTagRecord& record = m_records[number];
    record.kind = finding.kind;
    record.count = finding.count;
    record.width = finding.width;
    record.payloadSize = finding.size;
    record.isDamaged = finding.fault.Len() > 0;
    if (m_isRecovering && record.isDamaged) {
        TakeLeft(number, limit, finding);
        return;
    }
    if (finding.bodyBegin > 0 && image.nextTag == 0 && !m_isMended) {
        // Only its class knows where the body ends; a record that stands there is none of it.
        finding.size = FindSoundHead(finding.bodyBegin, limit) - image.dataAddress;
        record.payloadSize = finding.size;
    }
    ULONGLONG const nested = image.dataAddress + finding.size;
    Reached(finding.hasLeftOver ? limit : nested);
    if (m_isRecovering) {
        m_taken[position] = nested;
        m_levels.back().reached = std::max(m_levels.back().reached, std::min(nested, m_size));
        // Behind a payload stands a level only rarely: without a link to tell, it is the next record.
        if (m_isMended) record.extent = finding.size;
        if (m_isMended && finding.kind != PayloadNone && finding.kind != PayloadGraphObject) return;
    }
    bool const isNeighbour = m_links.contains(nested);
    if (isNeighbour || !detail::IsRecordAt(m_file, nested, limit)) {
        record.extent = std::min(record.extent, payloadLimit - std::min(image.dataAddress, payloadLimit));
        if (detail::IsCollection(finding.kind) && limit == m_size && !finding.hasLeftOver)
            record.extent = finding.size;  // the rest is a trail
        if (image.dataSize == 4 && image.nextTag != 0 && m_plainIds.size() < mostIds) m_plainIds.insert(image.id);
        return;
    }
    if (m_hasVisited && m_visited.contains(nested)) return;  // a chain that runs backward ends where it came from
    if (record.depth + 1 >= KxxLimits().nestingDepth) {
        Fault(FaultDepth, position, nested, limit - nested, L"the record at %llu is nested deeper than %d levels",
              position, KxxLimits().nestingDepth);
        Reached(limit);
        return;
    }
    if (image.nextTag == 0 && !m_isMended && !MayHaveLevel(record)) {
        GoOnUnlinked(number, nested);
        return;
    }
    record.hasLevel = true;
    if (finding.kind != PayloadNone && image.nextTag != 0 && m_levelIds.size() < mostIds) m_levelIds.insert(image.id);
    m_levels.push_back({nested, limit, number, record.depth + 1, -1, nested, PromisedEnd(record), m_isMended});
}

// Whether what stands behind the payload of the last record of a level is a level below it. Any record may have one, but as a
// rule it is a marker, or a number that tells records of one id apart. Otherwise it is a neighbour: the link to it was
// never written, or is lost.
bool KxTagInspector::Walk::MayHaveLevel(SxTagRecord const& record) {
    constexpr std::uint32_t mostNumerated = 1 << 24;  // nobody counts up to there; floats are greater
    if (detail::IsMarker(record.kind)) return true;
    if (m_levelIds.contains(record.image.id)) return true;
    if (m_plainIds.contains(record.image.id)) return false;
    std::uint32_t number = mostNumerated;
    m_file.Seek(static_cast<LONGLONG>(record.image.dataAddress), CFile::begin);
    if (record.image.dataSize != sizeof number || m_file.Read(&number, sizeof number) != sizeof number ||
        number >= mostNumerated)
        return false;
    SxTagFault remark;
    remark.kind = FaultUnlinked;
    remark.position = record.image.dataAddress + record.payloadSize;
    remark.target = record.position;
    remark.text.SPrintf(
        L"the record at %llu is taken for the first of a level below the number at %llu; if it is none, the link to it "
        L"is lost",
        remark.position, remark.target);
    m_remarks.Add(remark);
    return true;
}

// A record that no link leads to becomes the next of a level that ends in front of it: a level whose parent has a link ends
// where that leads. Within a level there are more links that can be lost than at its end; but one that is what a parent is,
// by its id or as a marker, rather is that one's neighbour.
void KxTagInspector::Walk::GoOnUnlinked(int number, ULONGLONG position) {
    STag next;
    detail::ReadRecord(m_file, position, next);
    bool const isNextMarker =
        next.dataSize == 0 && (next.dataAddress >= m_size ||
                               (!IsInnerAt(next.dataAddress) && detail::IsRecordAt(m_file, next.dataAddress, m_size)));
    constexpr std::size_t mostParents = 64;  // that are looked at; a file may have thousands around each record
    std::size_t open = m_levels.size() - 1;
    std::size_t const outermost = open - std::min(open, mostParents);
    for (std::size_t i = open; i > outermost && m_levels[i].parent >= 0 && m_levels[i - 1].next == chainEnd; --i) {
        SxTagRecord const& parent = m_records[m_levels[i].parent];
        if (parent.image.nextTag != 0 || next.id == m_records[number].image.id) break;
        if (next.id != parent.image.id && !(isNextMarker && detail::IsMarker(parent.kind))) continue;
        open = i - 1;
        break;
    }
    SxTagRecord& record = m_records[number];
    record.extent = record.payloadSize;
    m_levels[open].next = position;
    m_levels[open].source = number;
    Fault(
        FaultUnlinked, position, record.position, m_levels[open].end - position,
        L"no link leads to the record at %llu, which stands right behind the one at %llu; readers of its level do not "
        L"come to it",
        position, record.position);
}

// Backward links can lead two chains to the same bytes.
void KxTagInspector::Walk::FindOverlaps() {
    std::vector<std::pair<ULONGLONG, ULONGLONG>> heads;
    for (SxTagRecord const& record : m_records)
        heads.emplace_back(record.position, record.position + (record.isLongForm ? STag::fileSize : STag32::fileSize));
    std::sort(heads.begin(), heads.end());
    for (std::size_t i = 1; i < heads.size(); ++i)
        if (heads[i].first < heads[i - 1].second)
            Fault(FaultOverlap, heads[i].first, heads[i - 1].first, 0,
                  L"the records at %llu and %llu overlap: two chains lead there", heads[i - 1].first, heads[i].first);
}

// Readers need the types and the address of an object. The types are there: they tell that it is one.
void KxTagInspector::Walk::CheckGraphs() {
    std::vector<bool> hasAddress(static_cast<std::size_t>(m_records.Size()));
    for (SxTagRecord const& record : m_records)
        if (record.parent >= 0 && record.image.id == inner::objectAddress && record.image.dataSize == 8)
            hasAddress[static_cast<std::size_t>(record.parent)] = true;
    for (int i = 0; i < m_records.Size(); ++i) {
        SxTagRecord const& record = m_records[i];
        if (record.kind != PayloadGraphObject || hasAddress[static_cast<std::size_t>(i)]) continue;
        Fault(FaultObject, record.position, 0, record.extent,
              L"the object in the record at %llu has no address; readers refuse it", record.position);
    }
}

KxTagInspector::KxTagInspector(CFile* file) : m_walk(new Walk(*file)) {}

KxTagInspector::~KxTagInspector() {
    delete m_walk;
}

TagFileState KxTagInspector::Inspect() {
    return m_walk->InspectWithGrownLevels();
}

TagFileState KxTagInspector::Recover() {
    return m_walk->InspectWithoutGrowth(true);
}

KxTDynArray<SxTagRecord> const& KxTagInspector::Records() const {
    return m_walk->m_records;
}

KxTDynArray<SxTagFault> const& KxTagInspector::Faults() const {
    return m_walk->m_faults;
}

KxTDynArray<SxTagFault> const& KxTagInspector::Remarks() const {
    return m_walk->m_remarks;
}

ULONGLONG KxTagInspector::GetStartPosition() const {
    return m_walk->m_start;
}

ULONGLONG KxTagInspector::GetFileSize() const {
    return m_walk->m_size;
}

KxString KxTagInspector::PayloadText(SxTagRecord const& record, LONGLONG first, LONGLONG count,
                                     wchar_t const* separator) {
    return detail::PayloadValues(m_walk->m_file, m_walk->m_elements, record, first, count, separator);
}

KxObjectInspector& KxTagInspector::Objects() {
    return m_walk->m_objects;
}

bool KxTagInspector::ReadInteger(SxTagRecord const& record, LONGLONG& value) {
    if (record.kind != PayloadScalar) return false;
    BYTE bytes[8];
    UINT const size = static_cast<UINT>(record.payloadSize);
    m_walk->m_file.Seek(static_cast<LONGLONG>(record.image.dataAddress), CFile::begin);
    if (size > sizeof bytes || m_walk->m_file.Read(bytes, size) != size) return false;
    value = size == 2   ? detail::Load<std::int16_t>(bytes)
            : size == 4 ? detail::Load<std::int32_t>(bytes)
                        : detail::Load<long long>(bytes);
    return true;
}

LONGLONG KxTagInspector::NumValues(SxTagRecord const& record) {
    return record.kind == PayloadBytes || record.kind == PayloadUnknown ? static_cast<LONGLONG>(record.payloadSize)
                                                                        : record.count;
}

wchar_t const* KxxPayloadKindName(TagPayloadKind kind) {
    static wchar_t const* const names[] = {L"marker",
                                           L"text",
                                           L"scalar",
                                           L"bytes",
                                           L"KxVec2s",
                                           L"KxVec2d",
                                           L"KxVec3d",
                                           L"KxVec3f",
                                           L"array of int",
                                           L"array of double tags",
                                           L"histogram",
                                           L"array of KxVec2s",
                                           L"array of KxVec3f",
                                           L"array of KxVec3i",
                                           L"array of KxVec3d",
                                           L"2-D array of KxVec3f",
                                           L"2-D array of KxVec3d",
                                           L"empty array",
                                           L"unknown",
                                           L"persistent object",
                                           L"object of a graph"};
    return names[kind];
}

wchar_t const* KxxTagFaultName(TagFaultKind kind) {
    static wchar_t const* const names[] = {
        L"truncated",         L"dangling link",   L"cycle",          L"backward link",        L"link into a record",
        L"link to no record", L"wrong address",   L"short payload",  L"impossible count",     L"overlap",
        L"trailing bytes",    L"nested too deep", L"refused object", L"record without a link"};
    return names[kind];
}

}  // namespace KxN
