// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/persistence/syTagCopier.h"

#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "persistence/syInnerTags.h"
#include "persistence/syTagCopyPlan.h"
#include "persistence/syTagPayload.h"
#include "persistence/syTagRecord.h"
#include "persistence/syTextIds.h"

#include <algorithm>
#include <set>

namespace KxN {

namespace {

constexpr ULONGLONG formPosition = 30;  // of the form that a file header tells
constexpr int ownForms = -1;
constexpr ULONGLONG chainNowhere = ~0ULL;  // a link that no head was made for

ULONGLONG HeadSize(bool isLong) {
    return isLong ? STag::fileSize : STag32::fileSize;
}

ULONGLONG EndOf(SxTagRecord const& record) {
    return record.image.dataAddress + record.payloadSize;
}

}  // namespace

void KxTagCopier::Plan::Begin() {
    auto const& records = m_inspector.Records();
    std::size_t const count = static_cast<std::size_t>(records.Size());
    m_losses.Clear();
    m_numCopied = 0;
    m_firstChild.assign(count + 1, -1);
    m_nextSibling.assign(count, -1);
    for (int i = records.Size(); i-- > 0;) {
        int& first = m_firstChild[static_cast<std::size_t>(records[i].parent) + 1];
        m_nextSibling[static_cast<std::size_t>(i)] = first;
        first = i;
    }
    m_isKept.assign(count, true);
    m_isCovered.assign(count, false);
    m_hasNoRest.assign(count, false);
    m_addresses.assign(count, 0);
}

// What is damaged, but for arrays of which some elements are whole.
void KxTagCopier::Plan::DropDamaged() {
    auto const& records = m_inspector.Records();
    for (int i = 0; i < records.Size(); ++i)
        if (records[i].isDamaged && records[i].count <= 0) m_isKept[static_cast<std::size_t>(i)] = false;
}

// Only in damaged files do payloads cover other records. It bounds the copy by the source: each byte goes over once.
void KxTagCopier::Plan::DropOverlapping() {
    auto const& records = m_inspector.Records();
    std::vector<int> order;
    for (int i = 0; i < records.Size(); ++i)
        if (IsKept(i)) order.push_back(i);
    std::sort(order.begin(), order.end(), [&](int a, int b) { return records[a].position < records[b].position; });
    for (std::size_t k = 1; k < order.size(); ++k) {
        SxTagRecord const& record = records[order[k - 1]];
        ULONGLONG const next = records[order[k]].position;
        std::size_t const index = static_cast<std::size_t>(order[k - 1]);
        if (EndOf(record) > next) {
            m_isKept[index] = false;
            m_isCovered[index] = true;
        }
        m_hasNoRest[index] = record.image.dataAddress + record.extent > next;
    }
}

// Levels go with the record that they are nested in.
void KxTagCopier::Plan::DropBelow() {
    auto const& records = m_inspector.Records();
    for (int i = 0; i < records.Size(); ++i)
        if (records[i].parent >= 0 && !IsKept(records[i].parent)) m_isKept[static_cast<std::size_t>(i)] = false;
}

// Bytes behind a payload that belong to no kind: left over by a longer one, or the application's own.
ULONGLONG KxTagCopier::Plan::RestOf(int record) const {
    SxTagRecord const& source = m_inspector.Records()[record];
    ULONGLONG const end = source.image.dataAddress + source.extent;
    bool const isLeaf = m_firstChild[static_cast<std::size_t>(record) + 1] < 0;
    if (!isLeaf || source.isDamaged || m_hasNoRest[static_cast<std::size_t>(record)]) return 0;
    return detail::IsCollection(source.kind) || end < m_inspector.GetFileSize() ? end - EndOf(source) : 0;
}

// An object whose types are there and whose address is not.
bool KxTagCopier::Plan::NeedsAddress(int object) const {
    auto const& records = m_inspector.Records();
    bool hasTypes = false;
    int child = m_firstChild[static_cast<std::size_t>(object) + 1];
    for (bool isFirst = true; child >= 0; child = m_nextSibling[static_cast<std::size_t>(child)]) {
        if (!IsKept(child)) continue;
        if (isFirst) hasTypes = records[child].image.id == inner::objectTypes;
        isFirst = false;
        if (records[child].image.id == inner::objectAddress && records[child].image.dataSize == 8) return false;
    }
    return hasTypes && records[object].kind == PayloadGraphObject;
}

void KxTagCopier::Plan::AddItem(Part part, int record, std::vector<std::size_t>& lastOfLevels) {
    std::size_t const number = m_items.size();
    if (part != Part::rest) {
        std::size_t const last = lastOfLevels.back();
        if (last != none) m_items[last].next = number;
        lastOfLevels.back() = number;
    }
    m_items.push_back({part, record, none, 0, 0, false});
}

void KxTagCopier::Plan::MakeItems() {
    m_items.clear();
    std::vector<int> open;
    std::vector<std::size_t> lastOfLevels{none};
    for (int record = m_firstChild[0];;) {
        if (record >= 0) {
            if (!IsKept(record)) {
                record = m_nextSibling[static_cast<std::size_t>(record)];
                continue;
            }
            AddItem(Part::record, record, lastOfLevels);
            open.push_back(record);
            lastOfLevels.push_back(none);
            record = m_firstChild[static_cast<std::size_t>(record) + 1];
            continue;
        }
        if (open.empty()) break;
        int const done = open.back();
        if (NeedsAddress(done)) AddItem(Part::address, done, lastOfLevels);
        open.pop_back();
        lastOfLevels.pop_back();
        if (RestOf(done) > 0) AddItem(Part::rest, done, lastOfLevels);
        record = m_nextSibling[static_cast<std::size_t>(done)];
    }
}

// An address is nothing but identity: any other than those that are there.
void KxTagCopier::Plan::ChooseAddresses() {
    auto const& records = m_inspector.Records();
    std::set<long long> used{0};
    bool isAsked = false;
    for (Item const& item : m_items) {
        if (item.part != Part::address) continue;
        if (!isAsked) {
            isAsked = true;
            for (int i = 0; i < records.Size(); ++i) {
                LONGLONG value = 0;
                if (records[i].kind == PayloadScalar && records[i].payloadSize == 8 &&
                    m_inspector.ReadInteger(records[i], value))
                    used.insert(value);
            }
        }
        long long& address = m_addresses[static_cast<std::size_t>(item.record)];
        if (address == 0) address = static_cast<long long>(RecordOf(item).position);
        while (!used.insert(address).second) ++address;
    }
}

void KxTagCopier::Plan::UseForm(bool isLong) {
    for (Item& item : m_items) item.isLong = isLong;
}

// A short record that comes to stand where its form does not reach becomes a long one.
void KxTagCopier::Plan::UseOwnForms() {
    for (Item& item : m_items) item.isLong = RecordOf(item).isLongForm;
    if (Place() <= detail::limit32) return;
    for (bool isChanged = true; isChanged; Place()) {
        isChanged = false;
        for (Item& item : m_items) {
            ULONGLONG const next = item.next == none ? 0 : m_items[item.next].position;
            if (item.isLong || std::max(item.position + STag32::fileSize, next) <= detail::limit32) continue;
            item.isLong = isChanged = true;
        }
    }
}

ULONGLONG KxTagCopier::Plan::Place() {
    ULONGLONG position = m_inspector.GetStartPosition();
    for (Item& item : m_items) {
        item.position = position;
        item.size = item.part == Part::record ? detail::CopiedSize(RecordOf(item), item.isLong)
                    : item.part == Part::rest ? RestOf(item.record)
                                              : sizeof(long long);
        position += item.size + (item.part == Part::rest ? 0 : HeadSize(item.isLong));
    }
    return position;
}

void KxTagCopier::Plan::WriteItem(CFile& target, Item const& item) {
    SxTagRecord const& record = RecordOf(item);
    if (item.part == Part::rest) {
        detail::CopyBytes(m_source, EndOf(record), target, item.size);
        return;
    }
    STag image = record.image;
    if (item.part == Part::address) {
        image.id = inner::objectAddress;
        image.version = 100;
        image.dataSize = sizeof(long long);
    }
    image.dataAddress = item.position + HeadSize(item.isLong);
    image.nextTag = item.next == none ? 0 : m_items[item.next].position;
    detail::WriteCopiedRecord(target, image, item.isLong);
    if (item.part == Part::record)
        detail::CopyPayload(m_source, target, record, image.dataAddress, item.isLong);
    else
        target.Write(&m_addresses[static_cast<std::size_t>(item.record)], sizeof(long long));
}

void KxTagCopier::Plan::Write(CFile& target, int format) {
    target.SetLength(0);
    target.Seek(0, CFile::begin);
    ULONGLONG const start = m_inspector.GetStartPosition();
    if (start > 0 &&
        start <= m_inspector.GetFileSize()) {  // else the file ends within the header, and nothing is whole
        // A header of which half of the mark is lost is known by the other half.
        std::uint16_t const mark = 0x4949, length = static_cast<std::uint16_t>(start);
        detail::CopyBytes(m_source, 0, target, start);
        target.Seek(0, CFile::begin);
        target.Write(&mark, sizeof mark);
        target.Seek(4, CFile::begin);
        target.Write(&length, sizeof length);
        if (format != ownForms) {
            std::uint16_t const form = static_cast<std::uint16_t>(format);
            target.Seek(formPosition, CFile::begin);
            target.Write(&form, sizeof form);
        }
        target.Seek(0, CFile::end);
    }
    for (Item const& item : m_items) WriteItem(target, item);
    target.Flush();
}

TagPayloadKind KxTagCopier::Plan::ExpectedKind(Item const& item) const {
    if (item.part == Part::address) return PayloadScalar;
    TagPayloadKind const kind = RecordOf(item).kind;
    if (kind != PayloadGraphObject) return kind;
    for (int child = m_firstChild[static_cast<std::size_t>(item.record) + 1]; child >= 0;
         child = m_nextSibling[static_cast<std::size_t>(child)])
        if (IsKept(child))
            return m_inspector.Records()[child].image.id == inner::objectTypes ? PayloadGraphObject : PayloadNone;
    return PayloadNone;
}

// Looks at the copy as any reader would: the item that is not what it was, or none.
std::size_t KxTagCopier::Plan::FindDifference(CFile& target) {
    KxTagInspector copy(&target);
    TagFileState const state = copy.Inspect();
    auto const& records = copy.Records();
    auto const at = [&](ULONGLONG position) {
        auto const behind = std::upper_bound(m_items.begin(), m_items.end(), position,
                                             [](ULONGLONG place, Item const& item) { return place < item.position; });
        return behind == m_items.begin() ? 0 : static_cast<std::size_t>(behind - m_items.begin()) - 1;
    };
    int number = 0;
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        Item const& item = m_items[i];
        if (item.part == Part::rest) continue;
        if (number == records.Size()) return i;
        SxTagRecord const& found = records[number++];
        if (found.position != item.position) return at(std::min(found.position, item.position));
        bool const isCounted = item.part == Part::record && found.kind == PayloadImage;
        if (found.kind != ExpectedKind(item) || (isCounted && found.count != RecordOf(item).count)) return i;
    }
    if (number < records.Size()) return at(records[number].position);
    if (state == TagFileDamaged && copy.Faults().Size() > 0) return at(copy.Faults()[0].position);
    return none;
}

// Takes the record of an item out, or, where a marker turned into something else, the record that made it so.
void KxTagCopier::Plan::Drop(std::size_t number) {
    int record = m_items[number].record;
    TagPayloadKind const kind = RecordOf(m_items[number]).kind;
    if (detail::IsMarker(kind)) {
        for (int child = m_firstChild[static_cast<std::size_t>(record) + 1]; child >= 0;
             child = m_nextSibling[static_cast<std::size_t>(child)]) {
            if (!IsKept(child)) continue;
            record = child;
            break;
        }
    }
    if (m_items[number].part == Part::rest)
        m_hasNoRest[static_cast<std::size_t>(record)] = true;
    else
        m_isKept[static_cast<std::size_t>(record)] = false;
}

TagFileState KxTagCopier::Plan::Convert(CFile& target, TagFormat format) {
    m_source.SetShift(0, 0);
    TagFileState const state = m_inspector.Inspect();
    Begin();
    if (state != TagFileWhole) return state;
    MakeItems();
    UseForm(format == TagFormat64);
    ULONGLONG const length = Place();
    for (Item const& item : m_items) {
        // Refuses in time what a record of this form does not hold.
        if (item.part != Part::record) continue;
        STag image = RecordOf(item).image;
        image.dataAddress = length;
        CMemFile nowhere;
        detail::WriteCopiedRecord(nowhere, image, item.isLong);
    }
    Write(target, format);
    std::size_t const difference = FindDifference(target);
    if (difference != none) {
        SxTagRecord const& record = RecordOf(m_items[difference]);
        KxString message;
        message.SPrintf(KxString(KxResId(text::CopyDiffers)), record.image.id, record.position);
        throw new KxException(L"syTagCopier", __LINE__, message);
    }
    m_numCopied = m_inspector.Records().Size();
    return state;
}

// Where bytes are missing within the file, or too many, the heads behind them are off by one number. It is worth a try where
// that brings back more records.
TagFileState KxTagCopier::Plan::Recover() {
    constexpr int mostTries = 4;  // each is a pass through the file
    auto const numKept = [&] {
        auto const& records = m_inspector.Records();
        return std::count_if(records.begin(), records.end(),
                             [](SxTagRecord const& r) { return !r.isDamaged || r.count > 0; });
    };
    ULONGLONG seam = ~0ULL;
    LONGLONG shift = 0;
    int tries = 0;
    for (SxTagFault const& fault : m_inspector.Faults()) {
        bool const isLost =
            fault.kind == FaultDanglingLink || fault.kind == FaultNoRecord || fault.kind == FaultIntoRecord;
        ULONGLONG found = 0;
        LONGLONG by = 0;
        if (!isLost || tries++ == mostTries) continue;
        if (!detail::FindShift(m_source, fault.position + STag32::fileSize, fault.target, found, by) || found >= seam)
            continue;
        seam = found;
        shift = by;
    }
    // Of a file whose begin is lost no fault tells a link.
    if (m_inspector.Records().Size() == 0) detail::FindShift(m_source, 0, chainNowhere, seam, shift);
    TagFileState const state = m_inspector.Recover();
    if (shift == 0) return state;
    auto const kept = numKept();
    m_source.SetShift(seam, shift);
    TagFileState const shifted = m_inspector.Recover();
    if (numKept() > kept) return shifted;
    m_source.SetShift(0, 0);
    return m_inspector.Recover();
}

TagFileState KxTagCopier::Plan::Repair(CFile& target) {
    m_source.SetShift(0, 0);
    TagFileState state = m_inspector.Inspect();
    if (state != TagFileWhole) state = Recover();
    Begin();
    if (state == TagFileForeign || (m_inspector.Records().Size() == 0 && m_inspector.GetStartPosition() == 0))
        return TagFileForeign;
    DropDamaged();
    DropOverlapping();
    // Each round costs a copy: after many of them what stands behind the difference is given up as a whole.
    constexpr int mostRounds = 64;
    for (int round = 0;; ++round) {
        DropBelow();
        MakeItems();
        ChooseAddresses();
        UseOwnForms();
        Write(target, ownForms);
        std::size_t const difference = FindDifference(target);
        if (difference == none || m_items.empty()) break;
        Drop(difference);
        for (std::size_t i = difference; i < m_items.size() && round >= mostRounds; ++i)
            m_isKept[static_cast<std::size_t>(m_items[i].record)] = false;
    }
    m_numCopied = static_cast<int>(std::count(m_isKept.begin(), m_isKept.end(), true));
    FindLosses();
    // Records that cover one another may pass for whole each for itself.
    return m_losses.Size() > 0 ? TagFileDamaged : state;
}

KxTagCopier::KxTagCopier(CFile* source) : m_plan(std::make_unique<Plan>(*source)) {}

KxTagCopier::~KxTagCopier() = default;

TagFileState KxTagCopier::Convert(CFile& target, TagFormat format) {
    return m_plan->Convert(target, format);
}

TagFileState KxTagCopier::Repair(CFile& target) {
    return m_plan->Repair(target);
}

int KxTagCopier::NumCopied() const {
    return m_plan->m_numCopied;
}

KxTDynArray<SxTagFault> const& KxTagCopier::Faults() const {
    return m_plan->m_inspector.Faults();
}

KxTDynArray<SxTagLoss> const& KxTagCopier::Losses() const {
    return m_plan->m_losses;
}

KxTagInspector& KxTagCopier::Source() {
    return m_plan->m_inspector;
}

}  // namespace KxN
