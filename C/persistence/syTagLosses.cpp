// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What a repaired copy does not hold of its source. It is told from the bytes that went over, so that nothing is missing
// in the account: each byte of the source is in the copy or in one of the losses.
#include "persistence/syTagCopyPlan.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace KxN {

namespace {

struct Range {
    ULONGLONG begin;
    ULONGLONG end;
};

/// Makes one of ranges that touch.
void Merge(std::vector<Range>& ranges) {
    std::sort(ranges.begin(), ranges.end(), [](Range a, Range b) { return a.begin < b.begin; });
    std::vector<Range> merged;
    for (Range const& range : ranges) {
        if (range.begin >= range.end) continue;
        if (merged.empty() || range.begin > merged.back().end)
            merged.push_back(range);
        else
            merged.back().end = std::max(merged.back().end, range.end);
    }
    ranges.swap(merged);
}

/// What of `range` lies in none of the ranges, which are merged.
std::vector<Range> Outside(Range range, std::vector<Range> const& ranges) {
    std::vector<Range> left;
    auto next = std::upper_bound(ranges.begin(), ranges.end(), range.begin,
                                 [](ULONGLONG place, Range const& other) { return place < other.end; });
    for (; next != ranges.end() && next->begin < range.end; ++next) {
        if (next->begin > range.begin) left.push_back({range.begin, next->begin});
        range.begin = std::max(range.begin, next->end);
    }
    if (range.begin < range.end) left.push_back(range);
    return left;
}

}  // namespace

// Why a record, or a part of it, is lost.
KxString KxTagCopier::Plan::ReasonOf(int number, std::map<ULONGLONG, int> const& faults) const {
    SxTagRecord const& record = m_inspector.Records()[number];
    auto const fault = faults.find(record.position);
    if (record.isDamaged && fault != faults.end()) return m_inspector.Faults()[fault->second].text;
    KxString text;
    if (m_isCovered[static_cast<std::size_t>(number)])
        text.SPrintf(L"the payload of the record at %llu covers other records", record.position);
    else if (record.parent >= 0 && !IsKept(record.parent))
        text.SPrintf(L"the record at %llu stands within one that is lost", record.position);
    else
        text.SPrintf(L"the record at %llu would be read as something else in the copy", record.position);
    return text;
}

// Ranges are told as they are in the source. What does not stand there is no range.
void KxTagCopier::Plan::TellShift(std::vector<SxTagLoss>& losses) const {
    LONGLONG const shift = m_source.Shift();
    if (shift == 0) return;
    for (SxTagLoss& loss : losses) {
        loss.begin = m_source.ToSource(loss.begin);
        loss.end = m_source.ToSource(loss.end);
    }
    std::erase_if(losses, [](SxTagLoss const& loss) { return !loss.isRecord && loss.begin == loss.end; });
    SxTagLoss loss;
    loss.end = m_source.ToSource(m_source.HoleEnd());
    loss.begin = shift > 0 ? loss.end : loss.end - static_cast<ULONGLONG>(-shift);
    loss.text.SPrintf(
        L"%llu bytes %s in front of %llu, as all heads behind it say; records are told at the positions that "
        L"their heads say",
        static_cast<ULONGLONG>(std::abs(shift)), KxString(shift > 0 ? L"are missing" : L"are too many"), loss.end);
    losses.push_back(loss);
}

void KxTagCopier::Plan::FindLosses() {
    auto const& records = m_inspector.Records();
    ULONGLONG const size = m_inspector.GetFileSize();
    std::vector<Range> kept;
    if (m_inspector.GetStartPosition() <= size) kept.push_back({0, m_inspector.GetStartPosition()});
    for (Item const& item : m_items) {
        if (item.part == Part::address) continue;
        SxTagRecord const& record = RecordOf(item);
        ULONGLONG const end = record.image.dataAddress + record.payloadSize;
        kept.push_back(item.part == Part::rest ? Range{end, end + item.size} : Range{record.position, end});
    }
    Merge(kept);

    std::map<ULONGLONG, int> faults;  // of payloads, by the record
    for (int i = 0; i < m_inspector.Faults().Size(); ++i) {
        SxTagFault const& fault = m_inspector.Faults()[i];
        if (fault.kind == FaultShortPayload || fault.kind == FaultCount || fault.kind == FaultObject ||
            fault.kind == FaultOverlap || fault.kind == FaultTruncated || fault.kind == FaultDepth)
            faults.emplace(fault.position, i);
    }
    std::vector<SxTagLoss> losses;
    std::vector<Range> told = kept;
    for (int i = 0; i < records.Size(); ++i) {
        SxTagRecord const& record = records[i];
        bool const isCut = IsKept(i) && record.isDamaged;
        if (IsKept(i) && !isCut) continue;
        ULONGLONG const behind = record.image.dataAddress + record.payloadSize;
        // Of a record that is cut all up to its end is lost; one that is not whole may claim what is not its own.
        ULONGLONG const end =
            std::min(size, isCut ? std::max(behind, record.image.dataAddress + record.extent) : behind);
        std::vector<Range> parts = Outside({isCut ? behind : record.position, end}, kept);
        SxTagLoss loss;
        loss.isRecord = true;
        loss.position = record.position;
        loss.begin = parts.empty() ? (isCut ? behind : record.position) : parts.front().begin;
        loss.end = parts.empty() ? loss.begin : parts.front().end;
        loss.id = record.image.id;
        loss.kind = record.kind;
        loss.kept = isCut ? record.count : 0;
        bool const isArray = record.kind > PayloadVec3f && record.kind < PayloadEmptyArray;
        loss.promised = record.promised > 0 ? record.promised : isArray ? record.count : 0;
        loss.text = ReasonOf(i, faults);
        losses.push_back(loss);
        told.push_back({loss.begin, loss.end});
    }
    Merge(told);
    for (Range const& range : Outside({0, size}, told)) {
        SxTagLoss loss;
        loss.begin = range.begin;
        loss.end = range.end;
        loss.text.SPrintf(
            L"%llu bytes belong to no record that can be told; how many records and points stood there is not known",
            range.end - range.begin);
        losses.push_back(loss);
    }
    TellShift(losses);
    std::stable_sort(losses.begin(), losses.end(),
                     [](SxTagLoss const& a, SxTagLoss const& b) { return a.begin < b.begin; });
    for (SxTagLoss const& loss : losses) m_losses.Add(loss);
}

}  // namespace KxN
