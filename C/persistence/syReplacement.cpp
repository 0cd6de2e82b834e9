// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "persistence/syReplacement.h"

#include "hbtools/persistence/syObjectInspector.h"
#include "persistence/syInnerTags.h"
#include "persistence/syTagPayload.h"
#include "persistence/syTagRecord.h"

#include <algorithm>
#include <array>
#include <limits>

namespace KxN::detail {

namespace {

constexpr ULONGLONG callLimit = 1U << 30;  // one CFile call moves a UINT of bytes

/// Behind `size` bytes from `position` on, which must not lie behind `limit`; where they begin if they cannot be there.
ULONGLONG Behind(ULONGLONG position, ULONGLONG size, ULONGLONG limit) {
    return position + (size <= limit - position ? size : 0);
}

/// The last record of a chain that begins with a whole one, or the first whose link leads to none.
STag LastOf(CFile& file, ULONGLONG position, ULONGLONG limit) {
    STag record;
    for (;; position = record.nextTag) {
        ReadRecord(file, position, record);
        if (record.nextTag < record.dataAddress || !IsRecordAt(file, record.nextTag, limit)) return record;
    }
}

// Where the image ends that stands there. Nothing tells that of classes which only their own code can read: they can reach
// up to the next record of the level. Within other payloads, and where there is none, no more than what stands in front of
// the unknown body is certain.
ULONGLONG EndOfImage(CFile& file, ULONGLONG position, ULONGLONG limit, bool mayReachLimit) {
    KxObjectInspector objects(&file);
    objects.Begin(position, limit);
    SxObject object;
    ULONGLONG certain = position;
    while (objects.Next(object))
        if (object.kind == ValueUnknown) certain = object.valuePosition;
    if (!objects.HasFault() && !objects.IsUnknownBehind()) return objects.GetPosition();
    return mayReachLimit ? limit : certain;
}

/// How a collection is made: bytes of its counts, bytes of an element.
struct Shape {
    ULONGLONG head;
    ULONGLONG each;
};
constexpr Shape intArray{4, 4};
constexpr Shape shapes[] = {{4, 4}, {4, 12}, {4, 24}, {8, 12}, {8, 24}};

ULONGLONG EndOfCollection(CFile& file, ULONGLONG position, ULONGLONG limit, Shape shape) {
    std::array<std::int32_t, 2> counts{1, 1};
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    if (file.Read(counts.data(), static_cast<UINT>(shape.head)) != shape.head) return position;
    if (counts[0] < 0 || counts[1] < 0) return position;
    ULONGLONG const count = static_cast<ULONGLONG>(counts[0]) * static_cast<ULONGLONG>(counts[1]);
    if (count > std::numeric_limits<std::int32_t>::max()) return position;
    return Behind(position, shape.head + count * shape.each, limit);
}

}  // namespace

bool Replacement::Finish() {
    ULONGLONG const size = m_bytes.GetLength();
    if ((m_hasRecords || m_isImage) && size > OldEnd() - Begin()) return false;
    m_file.Seek(static_cast<LONGLONG>(Begin()), CFile::begin);
    for (ULONGLONG done = 0; done < size;) {
        UINT const part = static_cast<UINT>(std::min(size - done, callLimit));
        m_file.Write(m_bytes.Peek(done, part), part);
        done += part;
    }
    return true;
}

ULONGLONG Replacement::OldEnd() {
    ULONGLONG const length = m_file.GetLength();
    bool const isBounded = m_record.nextTag >= Begin() && m_record.nextTag <= length;
    ULONGLONG const limit = isBounded ? m_record.nextTag : length;
    return m_isImage ? EndOfImage(m_file, Begin(), limit, isBounded) : EndOfRecords(limit);
}

ULONGLONG Replacement::EndOfRecords(ULONGLONG limit) {
    ULONGLONG certain = Behind(Begin(), m_record.dataSize, limit);
    // The chains that are compared; the new one is whole.
    ULONGLONG old = Begin() + m_front;
    ULONGLONG made = old;
    for (;;) {
        if (!IsRecordAt(m_file, old, limit) || !IsRecordAt(*this, made, GetLength())) return certain;
        STag was, is;
        ReadRecord(m_file, old, was);
        ReadRecord(*this, made, is);
        if (was.id != is.id) return certain;
        was = LastOf(m_file, old, limit);
        is = LastOf(*this, made, GetLength());
        if (was.nextTag != 0) return was.dataAddress;
        old = certain = Behind(was.dataAddress, was.dataSize, limit);
        if (was.id == inner::intCount) return EndOfCollection(m_file, was.dataAddress, limit, intArray);
        if (was.id != is.id) return certain;
        made = is.dataAddress + is.dataSize;
        if (was.dataSize == 0 && is.dataSize == 0 && !IsRecordAt(*this, made, GetLength()))
            return EndOfUndeclared(was, is, limit);
    }
}

// Where a payload ends that is neither declared nor made of records: an image, or a collection. Of the shapes that the new
// one can have the least counts; an empty one tells no more than that there are counts.
ULONGLONG Replacement::EndOfUndeclared(STag const& was, STag const& is, ULONGLONG limit) {
    KxObjectInspector objects(this);
    if (objects.IsImageAt(is.dataAddress, GetLength())) return EndOfImage(m_file, was.dataAddress, limit, false);
    ULONGLONG least = limit;
    bool isCollection = false;
    for (Shape shape : shapes) {
        if (EndOfCollection(*this, is.dataAddress, GetLength(), shape) != GetLength()) continue;
        isCollection = true;
        if (is.dataAddress + shape.head == GetLength()) shape.each = 0;
        least = std::min(least, EndOfCollection(m_file, was.dataAddress, limit, shape));
    }
    return isCollection ? least : was.dataAddress;
}

ULONGLONG Replacement::Seek(LONGLONG offset, UINT from) {
    if (from == end && !m_hasRecords) {
        m_hasRecords = true;
        m_front = m_bytes.GetLength();
    }
    LONGLONG const shift = from == begin ? static_cast<LONGLONG>(Begin()) : 0;
    return Begin() + m_bytes.Seek(offset - shift, from);
}

BYTE* Replacement::Touch(ULONGLONG position, UINT count) {
    return position < Begin() ? nullptr : m_bytes.Touch(position - Begin(), count);
}

}  // namespace KxN::detail
