// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Payloads in a copy. Those that are made of records hold positions and are put together anew; all others keep their
// bytes, but for the count of an array that lost elements.
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "hbtools/math/syVec3.h"
#include "persistence/syTagCopyPlan.h"
#include "persistence/syTagPayload.h"
#include "persistence/syTagRecord.h"
#include "persistence/syTextIds.h"

#include <algorithm>

namespace KxN::detail {

namespace {

constexpr UINT blockSize = 1 << 20;

ULONGLONG HeadSize(bool isLong) {
    return isLong ? STag::fileSize : STag32::fileSize;
}

/// How many records a payload is made of, and the bytes of what they hold.
struct Inner {
    ULONGLONG records = 0;
    ULONGLONG bytes = 0;
};

Inner InnerOf(SxTagRecord const& record) {
    ULONGLONG const count = static_cast<ULONGLONG>(record.count);
    switch (record.kind) {
        case PayloadVec2s: return {2, 2 * sizeof(short)};
        case PayloadVec2d: return {2, 2 * sizeof(double)};
        case PayloadVec3d: return {3, 3 * sizeof(double)};
        case PayloadVec3f: return {3, 3 * sizeof(float)};
        case PayloadIntArray: return {1, (1 + count) * sizeof(int)};
        case PayloadDoubleTags: return {1 + count, sizeof(int) + count * sizeof(double)};
        case PayloadHistogram: return {2 + count, sizeof(int) + count * sizeof(double)};
        default: return {};
    }
}

/// Reads the records of a payload one after the other and writes them one behind the other.
class InnerCopy {
public:
    InnerCopy(CFile& source, CFile& target, ULONGLONG from, ULONGLONG to, bool isLong)
        : m_source(source), m_target(target), m_from(from), m_to(to), m_isLong(isLong) {}

    /// The next record with the `size` bytes that it holds, at most 8; `value` replaces an int. A last one has no link.
    void Take(UINT size, bool isLast, std::int32_t const* value = nullptr) {
        STag image;
        ReadRecord(m_source, m_from, image);
        BYTE bytes[8] = {};
        m_source.Seek(static_cast<LONGLONG>(image.dataAddress), CFile::begin);
        if (m_source.Read(bytes, size) != size) ThrowEndOfFile(m_source);
        if (value) Put(bytes, *value);
        m_from = isLast ? 0 : NextInner(m_source, image);
        m_inside = image.dataAddress;
        image.dataAddress = m_to + HeadSize(m_isLong);
        m_to = image.dataAddress + size;
        image.nextTag = isLast ? 0 : m_to;
        WriteCopiedRecord(m_target, image, m_isLong);
        m_target.Write(bytes, size);
    }
    /// Goes on within the payload of the record that was taken last.
    void Enter() { m_from = m_inside; }

private:
    CFile& m_source;
    CFile& m_target;
    ULONGLONG m_from;
    ULONGLONG m_to;
    ULONGLONG m_inside = 0;
    bool m_isLong;
};

ULONGLONG ElementsAt(SxTagRecord const& record) {
    ULONGLONG const bytes = static_cast<ULONGLONG>(record.count) * KxTagInspector::ElementSize(record);
    return record.image.dataAddress + record.payloadSize - bytes;
}

/// An array with fewer elements than it promised.
void CopyCut(CFile& source, CFile& target, SxTagRecord const& record) {
    UINT const each = KxTagInspector::ElementSize(record);
    ULONGLONG const bytes = static_cast<ULONGLONG>(record.count) * each;
    LONGLONG const count = CopiedCount(record);
    std::int32_t const heads[2] = {record.width > 0 ? record.width : static_cast<std::int32_t>(count),
                                   record.width > 0 ? static_cast<std::int32_t>(count / record.width) : 0};
    target.Write(heads, record.width > 0 ? 8 : 4);
    CopyBytes(source, ElementsAt(record), target, bytes);
    KxVec3f gap(0, 0, 0);
    gap.Invalidate();
    KxVec3d const wideGap(gap);
    void const* const bits = record.kind == PayloadVec3f2dArray ? static_cast<void const*>(&gap) : &wideGap;
    for (LONGLONG i = record.count; i < count; ++i) target.Write(bits, each);
}

}  // namespace

LONGLONG CopiedCount(SxTagRecord const& record) {
    if (!record.isDamaged || record.width <= 0) return record.count;
    return (record.count + record.width - 1) / record.width * record.width;
}

ULONGLONG CopiedSize(SxTagRecord const& record, bool isLong) {
    Inner const inner = InnerOf(record);
    if (inner.records > 0) return inner.records * HeadSize(isLong) + inner.bytes;
    if (!record.isDamaged) return record.payloadSize;
    return (record.width > 0 ? 8U : 4U) +
           static_cast<ULONGLONG>(CopiedCount(record)) * KxTagInspector::ElementSize(record);
}

void CopyPayload(CFile& source, CFile& target, SxTagRecord const& record, ULONGLONG position, bool isLong) {
    Inner const inner = InnerOf(record);
    if (inner.records == 0) {
        if (record.isDamaged)
            CopyCut(source, target, record);
        else
            CopyBytes(source, record.image.dataAddress, target, record.payloadSize);
        return;
    }
    InnerCopy copy(source, target, record.image.dataAddress, position, isLong);
    std::int32_t const count = static_cast<std::int32_t>(record.count);
    switch (record.kind) {
        case PayloadIntArray:
            copy.Take(sizeof count, true, &count);
            CopyBytes(source, ElementsAt(record), target, static_cast<ULONGLONG>(count) * sizeof(int));
            break;
        case PayloadHistogram:
            copy.Take(0, true);
            copy.Enter();
            [[fallthrough]];
        case PayloadDoubleTags:
            copy.Take(sizeof count, count == 0, &count);
            for (std::int32_t i = 1; i <= count; ++i) copy.Take(sizeof(double), i == count);
            break;
        default:
            for (ULONGLONG i = 1; i <= inner.records; ++i)
                copy.Take(static_cast<UINT>(inner.bytes / inner.records), i == inner.records);
            break;
    }
}

void CopyBytes(CFile& source, ULONGLONG position, CFile& target, ULONGLONG count) {
    std::vector<BYTE> block(static_cast<std::size_t>(std::min<ULONGLONG>(count, blockSize)));
    while (count > 0) {
        UINT const part = static_cast<UINT>(std::min<ULONGLONG>(count, blockSize));
        source.Seek(static_cast<LONGLONG>(position), CFile::begin);
        if (source.Read(block.data(), part) != part) ThrowEndOfFile(source);
        target.Write(block.data(), part);
        position += part;
        count -= part;
    }
}

void WriteCopiedRecord(CFile& target, STag const& image, bool isLong) {
    if (isLong && image.version > longFormVersion) {
        KxString message;
        message.SPrintf(KxString(KxResId(text::VersionNeeds32)), image.version, image.id);
        throw new KxException(L"syTagCopier", __LINE__, message);
    }
    WriteRecord(target, image, isLong);
}

}  // namespace KxN::detail
