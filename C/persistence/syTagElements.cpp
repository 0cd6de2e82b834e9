// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Payloads as plain numbers, one after the other, for the inspector's users.
#include "persistence/syTagRecord.h"
#include "persistence/syTagWalk.h"

#include <algorithm>

namespace KxN {

namespace {

/// Kinds whose numbers stand in records of their own.
int NumComponents(TagPayloadKind kind) {
    switch (kind) {
        case PayloadVec2s:
        case PayloadVec2d: return 2;
        case PayloadVec3d:
        case PayloadVec3f: return 3;
        default: return 0;
    }
}

void ReadAt(CFile& file, ULONGLONG position, void* bytes, UINT size) {
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    if (file.Read(bytes, size) != size) detail::ThrowEndOfFile(file);
}

}  // namespace

UINT KxTagInspector::ElementSize(SxTagRecord const& record) {
    switch (record.kind) {
        case PayloadScalar: return static_cast<UINT>(record.payloadSize);
        case PayloadIntArray:
        case PayloadVec2s:
        case PayloadVec2sArray: return 4;
        case PayloadDoubleTags:
        case PayloadHistogram: return 8;
        case PayloadVec3f:
        case PayloadVec3fArray:
        case PayloadVec3iArray:
        case PayloadVec3f2dArray: return 12;
        case PayloadVec2d: return 16;
        case PayloadVec3d:
        case PayloadVec3dArray:
        case PayloadVec3d2dArray: return 24;
        default: return 1;
    }
}

LONGLONG KxTagInspector::NumElements(SxTagRecord const& record) {
    switch (record.kind) {
        case PayloadNone:
        case PayloadEmptyArray:
        case PayloadGraphObject: return 0;
        case KxN::PayloadText:
        case PayloadBytes:
        case PayloadUnknown:
        case PayloadImage: return static_cast<LONGLONG>(record.payloadSize);
        default: return record.count;
    }
}

LONGLONG KxTagInspector::ReadElements(SxTagRecord const& record, LONGLONG first, LONGLONG count, void* elements) {
    LONGLONG const all = NumElements(record);
    if (first < 0 || first >= all) return 0;
    count = std::min(count, all - first);
    CFile& file = m_walk->m_file;
    auto* bytes = static_cast<BYTE*>(elements);
    UINT const each = ElementSize(record);
    if (int const components = NumComponents(record.kind)) {
        UINT const size = each / static_cast<UINT>(components);
        STag inner;
        ULONGLONG position = record.image.dataAddress;
        for (int i = 0; i < components; ++i, position = detail::NextInner(file, inner)) {
            detail::ReadRecord(file, position, inner);
            ReadAt(file, inner.dataAddress, bytes + static_cast<UINT>(i) * size, size);
        }
        return 1;
    }
    if (record.kind == PayloadDoubleTags || record.kind == PayloadHistogram) {
        STag inside;
        inside.dataAddress = record.image.dataAddress;
        if (record.kind == PayloadHistogram) detail::ReadRecord(file, record.image.dataAddress, inside);
        for (LONGLONG i = 0; i < count; ++i)
            detail::Put(bytes + i * 8, m_walk->m_elements.Value(file, inside.dataAddress, first + i));
        return count;
    }
    // All others stand at the end of their payload.
    ULONGLONG position = record.image.dataAddress + record.payloadSize - static_cast<ULONGLONG>(all - first) * each;
    constexpr LONGLONG atOnce = 1 << 24;
    for (LONGLONG left = count * each; left > 0;) {
        UINT const part = static_cast<UINT>(std::min(left, atOnce));
        ReadAt(file, position, bytes, part);
        position += part;
        bytes += part;
        left -= part;
    }
    return count;
}

}  // namespace KxN
