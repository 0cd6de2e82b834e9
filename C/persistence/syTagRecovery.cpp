// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The part of the walk that goes on behind damage. A head gives itself away: its dataAddress is its own place plus its
// size. So the next of a level can be found by its bytes where the link to it is lost.
#include "persistence/syInnerTags.h"
#include "persistence/syTagRecord.h"
#include "persistence/syTagShift.h"
#include "persistence/syTagWalk.h"

#include <algorithm>
#include <cstdlib>

namespace KxN {

using detail::Load;

namespace {

constexpr std::size_t blockSize = 1 << 20;

/// True if the bytes of a head, 18 or 30 of them, name the place behind it.
bool NamesItsPayload(BYTE const* bytes, ULONGLONG position, std::size_t size) {
    if (Load<std::uint16_t>(bytes + 4) & detail::longFormMark)
        return size >= STag::fileSize && Load<std::uint64_t>(bytes + 14) == position + STag::fileSize;
    std::uint64_t const address = Load<std::uint32_t>(bytes + 10);
    return address == position + STag32::fileSize || address == position + STag::fileSize;
}

/// Records that stand only inside payloads.
bool IsInner(std::uint32_t id) {
    return (id >= inner::histogramValues && id <= inner::vec2d + 1) || id == inner::arrayCount ||
           id == inner::arrayElement || id == inner::intCount;
}

}  // namespace

// The first place from `from` on where a whole head stands in front of `end`; `end` if there is none. The end of a head
// looks like another one, of version 0, where its link leads right behind.
ULONGLONG KxTagInspector::Walk::FindHead(ULONGLONG from, ULONGLONG end) {
    if (from >= m_emptyFrom && from < m_emptyTo) from = std::min(m_emptyTo, end);
    ULONGLONG const begin = from;
    std::vector<BYTE> block;
    while (from < end && end - from >= STag32::fileSize) {
        block.resize(static_cast<std::size_t>(std::min<ULONGLONG>(blockSize, end - from)));
        m_file.Seek(static_cast<LONGLONG>(from), CFile::begin);
        std::size_t const got = m_file.Read(block.data(), static_cast<UINT>(block.size()));
        if (got < block.size()) break;
        std::size_t const last = got - STag32::fileSize;
        for (std::size_t i = 0; i <= last; ++i)
            if (NamesItsPayload(block.data() + i, from + i, got - i) &&
                Load<std::uint16_t>(block.data() + i + 4) != 0 && !IsInner(Load<std::uint32_t>(block.data() + i)) &&
                detail::IsRecordAt(m_file, from + i, end))
                return from + i;
        // Heads that stand across the end of the block are looked at again with the next one.
        if (from + got >= end) break;
        from += got - STag::fileSize;
    }
    if (begin < end) {
        m_emptyFrom = begin;
        m_emptyTo = end - std::min<ULONGLONG>(end - begin, STag::fileSize);
    }
    return end;
}

// The same where the rest of the head makes sense too: among enough bytes of any kind four are right by chance.
ULONGLONG KxTagInspector::Walk::FindSoundHead(ULONGLONG from, ULONGLONG end) {
    for (ULONGLONG head = FindHead(from, end); head < end; head = FindHead(head + 1, end)) {
        STag record;
        detail::ReadRecord(m_file, head, record);
        bool const isPlausible = record.dataSize <= m_size - record.dataAddress;
        if (isPlausible && (record.nextTag == 0 || (record.nextTag > head && IsHeadAt(record.nextTag, m_size))))
            return head;
    }
    return end;
}

// As FindHead, but chainEnd where it is none or another chain has it.
ULONGLONG KxTagInspector::Walk::UnvisitedHead(ULONGLONG from, ULONGLONG end) {
    ULONGLONG const head = FindHead(from, end);
    return head < end && !m_visited.contains(head) ? head : chainEnd;
}

// True if the record there is one that stands only inside payloads.
bool KxTagInspector::Walk::IsInnerAt(ULONGLONG position) {
    BYTE bytes[4] = {};
    m_file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    return m_file.Read(bytes, sizeof bytes) == sizeof bytes && IsInner(Load<std::uint32_t>(bytes));
}

// True if a head at the position would have nothing in common with the records that were taken.
bool KxTagInspector::Walk::IsFree(ULONGLONG position) const {
    auto const next = m_taken.lower_bound(position);
    if (next != m_taken.end() && next->first < position + STag32::fileSize) return false;
    return next == m_taken.begin() || std::prev(next)->second <= position;
}

// True if a head that begins at `from` or behind it reaches across the position: within a head the link can look like the
// address of another one.
bool KxTagInspector::Walk::IsWithinHead(ULONGLONG position, ULONGLONG from) {
    for (ULONGLONG head = std::max(from, position - std::min<ULONGLONG>(position, STag::fileSize)); head < position;
         ++head) {
        head = FindHead(head, std::min(m_size, position + STag::fileSize));
        STag sound;
        if (head < position && head + detail::ReadRecord(m_file, head, sound) > position) return true;
    }
    return false;
}

// A head that stands whole at the position, also one whose dataAddress is wrong in a single byte.
bool KxTagInspector::Walk::IsHeadAt(ULONGLONG position, ULONGLONG end) {
    if (detail::IsRecordAt(m_file, position, end)) return !IsInnerAt(position);
    if (position >= end || end - position < STag32::fileSize) return false;
    // A link that leads a little beside a sound head does not make a damaged one.
    if (FindHead(position, std::min(end, position + 2 * STag::fileSize)) < position + STag32::fileSize) return false;
    STag record;
    try {
        bool const isLong = detail::ReadRecord(m_file, position, record) == STag::fileSize;
        std::uint64_t const wrong = record.dataAddress ^ (position + (isLong ? STag::fileSize : STag32::fileSize));
        int bytes = 0;
        for (int shift = 0; shift < 64; shift += 8) bytes += (wrong >> shift & 0xff) != 0;
        return bytes == 1 && (record.nextTag == 0 || (record.nextTag > position && record.nextTag < end &&
                                                      detail::IsRecordAt(m_file, record.nextTag, end)));
    } catch (CFileException* exception) {
        exception->Delete();  // a long head that is cut
        return false;
    }
}

// The begin of the file is damaged: the first record is the first that is found. The block in front of it is a file
// header if half of its mark is left.
void KxTagInspector::Walk::BeginAtFirstRecord() {
    constexpr UINT headerSize = 512;
    BYTE bytes[6] = {};
    m_file.Seek(0, CFile::begin);
    m_file.Read(bytes, sizeof bytes);
    bool const isHeader = Load<std::uint16_t>(bytes) == 0x4949 || Load<std::uint16_t>(bytes + 4) == headerSize;
    ULONGLONG const head = FindSoundHead(m_start, m_size);
    if (head >= m_size) return;
    if (isHeader && head >= headerSize) m_start = headerSize;
    m_faults.Clear();
    Fault(FaultNoRecord, m_start, head, head - m_start,
          L"the file does not begin with a record; the first one stands at %llu", head);
    m_isBroken = true;
    m_levels.push_back({head, m_size, -1, 0, -1, head, 0});
}

void KxTagInspector::Walk::FaultMended(SxTagRecord const& record, ULONGLONG end) {
    ULONGLONG const next = record.image.nextTag;
    TagFaultKind const kind = next >= m_size                                                       ? FaultDanglingLink
                              : m_visited.contains(next)                                           ? FaultCycle
                              : next > record.position && next < record.image.dataAddress          ? FaultIntoRecord
                              : next > record.position && detail::IsRecordAt(m_file, next, m_size) ? FaultOverlap
                                                                                                   : FaultNoRecord;
    Fault(
        kind, record.position, next, 0,
        L"the link of the record at %llu leads to %llu, where its level does not go on; what is found behind it, up to "
        L"%llu, is taken",
        record.position, next, end);
    m_isBroken = m_isMended = true;
}

// A head that stands where the link would lead if one bit of it had not tipped; chainEnd unless there is exactly one.
ULONGLONG KxTagInspector::Walk::OneBitOff(ULONGLONG link, bool isLong, ULONGLONG from, ULONGLONG end) {
    ULONGLONG found = chainEnd;
    for (int bit = 0; bit < (isLong ? 63 : 32); ++bit) {
        ULONGLONG const place = link ^ (1ULL << bit);
        if (place < from || place >= end || m_visited.contains(place)) continue;
        if (!detail::IsRecordAt(m_file, place, end) || IsInnerAt(place) || IsWithinHead(place, from)) continue;
        if (found != chainEnd) return chainEnd;
        found = place;
    }
    return found;
}

// Where a plain collection ends that has the place up to `end` at most: where a link of its own, or of a record around it,
// once led, if that fits exactly; or in front of the next record.
ULONGLONG KxTagInspector::Walk::CollectionEnd(Level const& level, SxTagRecord const& record, ULONGLONG end) {
    for (ULONGLONG const hint : {record.image.nextTag, level.promisedEnd}) {
        if (hint < record.image.dataAddress || hint >= end) continue;
        detail::PayloadFinding const finding = detail::FindPayload(m_file, record.image, hint, m_budget, m_objects);
        if (finding.kind != PayloadUnknown && finding.size == hint - record.image.dataAddress &&
            finding.fault.Len() == 0)
            return hint;
    }
    return FindHead(record.image.dataAddress, end);
}

void KxTagInspector::Walk::FollowOrMend(Level& level, int number) {
    SxTagRecord& record = m_records[number];
    ULONGLONG const next = record.image.nextTag;
    ULONGLONG const address = record.image.dataAddress;
    ULONGLONG end = level.end;
    level.next = chainEnd;
    level.source = number;
    level.reached = std::max(level.reached, std::min(address, m_size));
    if (next == 0) {
        m_isMended = level.isLoose;  // the last of its chain
    } else if (next >= address && next < level.end && !m_visited.contains(next) && IsHeadAt(next, level.end) &&
               !IsWithinHead(next, address + std::min(record.image.dataSize, next - address))) {
        end = next;
        level.next = next;
    } else if (next < record.position && !m_visited.contains(next) && IsFree(next) && IsHeadAt(next, m_size)) {
        Fault(FaultBackwardLink, record.position, next, 0, L"the record at %llu leads backward to %llu",
              record.position, next);
        m_isMended = level.isLoose = true;
        level.next = next;
    } else {
        FaultMended(record, level.end);
        if (next > address && next < m_size) m_deferred.push_back({next, record.parent, record.depth, number});
        ULONGLONG const tipped =
            record.image.dataSize == 0 ? OneBitOff(next, record.isLongForm, address, level.end) : chainEnd;
        level.next = tipped != chainEnd ? tipped : chainLost;
        if (tipped != chainEnd) {
            end = tipped;
            m_isMended = false;  // its level ends there
        }
    }
    // Nothing tells the end of a plain collection but the record behind it.
    if ((m_isMended || level.isLoose) && record.image.dataSize == 0 && address < end &&
        !m_objects.IsImageAt(address, m_size) && !detail::IsRecordAt(m_file, address, m_size))
        end = CollectionEnd(level, record, end);
    record.extent = std::max(end, address) - address;
}

// Where the payload of a record ended when the file was whole: where its link leads, or that of a record around it.
ULONGLONG KxTagInspector::Walk::PromisedEnd(SxTagRecord const& record) const {
    if (record.image.nextTag >= m_size || (m_isMended && record.image.nextTag > record.image.dataAddress))
        return record.image.nextTag;
    ULONGLONG const end = record.image.dataAddress + record.extent;
    if (end < m_size && !m_isMended) return end;
    return m_levels.empty() ? 0 : m_levels.back().promisedEnd;
}

// A collection of points that was cut may have the shape of shorter points up to the end of the file. The link tells them
// apart, where it leads behind the end and the count fits up to there.
void KxTagInspector::Walk::RejectCut(SxTagRecord const& record, detail::PayloadFinding& finding) const {
    ULONGLONG const address = record.image.dataAddress, promised = PromisedEnd(record);
    bool const isCollection = finding.kind >= PayloadVec2sArray && finding.kind <= PayloadVec3d2dArray;
    if (!isCollection || finding.fault.Len() > 0 || promised <= m_size || address + finding.size != m_size) return;
    if (!detail::IsCollectionUpTo(m_file, address, promised)) return;
    ULONGLONG const there = m_size - address;
    finding = {};
    finding.kind = PayloadUnknown;
    finding.size = there;
    finding.faultKind = FaultShortPayload;
    finding.lostBytes = promised - m_size;
    finding.fault.SPrintf(L"the payload of %llu bytes is cut: by its count and the link it had %llu", there,
                          promised - address);
}

// The payload in which bytes are missing, or too many: at which place nothing tells. Of raw elements those in front of it are
// right.
void KxTagInspector::Walk::RejectShifted(STag const& image, detail::PayloadFinding& finding) const {
    detail::ShiftedFile const* const file = m_shifted;
    if (!file || file->Shift() == 0 || finding.fault.Len() > 0) return;
    ULONGLONG const end = image.dataAddress + finding.size;
    if (finding.size == 0 || file->HoleBegin() <= image.dataAddress || file->HoleEnd() > end) return;
    SxTagRecord record{};
    record.kind = finding.kind;
    ULONGLONG const each = ElementSize(record);
    bool const isArray =
        finding.kind == PayloadIntArray || (finding.kind >= PayloadVec2sArray && finding.kind <= PayloadVec3d2dArray);
    finding.promised = isArray ? finding.count : 0;
    if (isArray) {
        ULONGLONG const first = end - static_cast<ULONGLONG>(finding.count) * each;
        ULONGLONG const behind = file->Shift() > 0 ? std::max(first, file->HoleBegin()) : end;
        finding.kept = static_cast<LONGLONG>((behind - first) / each);
        finding.keptSize = first - image.dataAddress + static_cast<ULONGLONG>(finding.kept) * each;
    }
    finding.faultKind = FaultShortPayload;
    finding.lostBytes = file->HoleEnd() - file->HoleBegin();
    finding.fault.SPrintf(
        L"%llu bytes of the %s are %s, at a place that nothing tells; what stands behind that place is "
        L"not right",
        static_cast<ULONGLONG>(std::abs(file->Shift())), KxString(KxxPayloadKindName(finding.kind)),
        KxString(file->Shift() > 0 ? L"missing" : L"too many"));
}

// What is whole of a damaged payload.
void KxTagInspector::Walk::TakeLeft(int number, ULONGLONG end, detail::PayloadFinding const& finding) {
    SxTagRecord& record = m_records[number];
    detail::PayloadFinding left = finding;
    ULONGLONG const head = finding.kind == PayloadUnknown ? FindHead(record.image.dataAddress, end) : end;
    if (head < end) {
        // A record that no link leads to stands behind it.
        left = detail::FindPayload(m_file, record.image, head, m_budget, m_objects);
        if (left.fault.Len() == 0) {
            m_faults.Resize(m_faults.Size() - 1);
            record.isDamaged = false;
            left.kept = left.count;
            left.keptSize = left.size;
            record.kind = left.kind;
        }
        record.extent = head - record.image.dataAddress;
        end = head;
    }
    if (record.isDamaged && finding.kind == PayloadUnknown) {
        left = detail::SalvageCollection(m_file, record.image.dataAddress, end, PromisedEnd(record));
        if (left.kept > 0) {
            // What was said before the kind was found would contradict it.
            SxTagFault& fault = m_faults[m_faults.Size() - 1];
            fault.kind = left.faultKind;
            fault.lostBytes = left.lostBytes;
            fault.text.SPrintf(L"the record at %llu: %s", record.position, left.fault);
            record.kind = left.kind;
        }
        record.width = left.width;
        // What has the shape of no kind may be the application's own: up to a sound link nothing of it is lost. With its size
        // declared any reader sees where it ends.
        if (left.kept == 0 && !m_isMended && record.image.nextTag == end) {
            record.image.dataSize = end - record.image.dataAddress;
            left = detail::FindPayload(m_file, record.image, end, m_budget, m_objects);
            left.kept = left.count;
            left.keptSize = left.size;
            record.kind = left.kind;
            record.isDamaged = false;
        }
    }
    record.count = std::max(0LL, left.kept);
    if (record.isDamaged) record.promised = std::max(left.promised, record.count);
    record.payloadSize = record.count > 0 ? left.keptSize : end - record.image.dataAddress;
    ULONGLONG const behind = record.image.dataAddress + record.payloadSize;
    m_taken[record.position] = behind;
    Reached(behind);
    m_levels.back().reached = std::max(m_levels.back().reached, behind);
}

// A chain whose link is lost goes on with the first record behind all that it holds so far.
void KxTagInspector::Walk::FindNextOf(Level& level) {
    level.next = UnvisitedHead(level.reached, level.end);
}

// When all chains are done: the links that led out of their level, then what stands behind the last record.
bool KxTagInspector::Walk::TakeDeferred() {
    while (!m_deferred.empty()) {
        Deferred const link = m_deferred.back();
        m_deferred.pop_back();
        if (m_visited.contains(link.position) || !detail::IsRecordAt(m_file, link.position, m_size) ||
            IsInnerAt(link.position) || !IsFree(link.position))
            continue;
        m_levels.push_back({link.position, m_size, link.parent, link.depth, link.source, link.position, 0, true});
        return true;
    }
    if (m_tookTrail || m_reached >= m_size) return false;
    m_tookTrail = true;
    ULONGLONG const head = UnvisitedHead(m_reached, m_size);
    if (head == chainEnd) return false;
    Fault(FaultTrailing, head, 0, 0, L"no link leads to the record at %llu; it is taken for one of the first level",
          head);
    m_isBroken = true;
    m_levels.push_back({head, m_size, -1, 0, -1, head, 0, true});
    return true;
}

}  // namespace KxN
