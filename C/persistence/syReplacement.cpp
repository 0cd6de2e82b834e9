// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "persistence/syReplacement.h"

#include "hbtools/persistence/syObjectInspector.h"
#include "persistence/syInnerTags.h"
#include "persistence/syTagRecord.h"

#include <algorithm>
#include <memory>

namespace KxN::detail {

namespace {

constexpr UINT blockSize = 64 * 1024;

// Where the last byte of a chain and its payloads ends. Kinds of size 0 that have a payload are known by their ids.
// The records of a histogram, and the types of an object, stand one level deeper and nothing stands below them. `left` is
// what may still be visited.
ULONGLONG EndOfChain(CFile& file, ULONGLONG position, bool isInner, ULONGLONG& left) {
    ULONGLONG const length = file.GetLength();
    ULONGLONG end = position;
    for (; left > 0; --left) {
        STag record;
        ReadRecord(file, position, record);
        ULONGLONG payloadEnd = record.dataAddress;
        if ((record.id == inner::histogramValues || record.id == inner::objectTypes) && !isInner) {
            payloadEnd = EndOfChain(file, record.dataAddress, true, left);
        } else if (record.id == inner::intCount) {
            std::uint32_t count = 0;
            file.Seek(static_cast<LONGLONG>(record.dataAddress), CFile::begin);
            if (file.Read(&count, sizeof count) != sizeof count) ThrowEndOfFile(file);
            payloadEnd = length - std::min<ULONGLONG>(record.dataAddress, length) > sizeof count
                             ? record.dataAddress + sizeof count + ULONGLONG{4} * count
                             : length;
        } else {
            ULONGLONG const room = length - std::min(record.dataAddress, length);
            payloadEnd = record.dataAddress + std::min<ULONGLONG>(record.dataSize, room);
        }
        end = std::max(end, std::min(payloadEnd, length));
        if (record.nextTag == 0) return end;
        position = record.nextTag;
    }
    ThrowEndOfFile(file);
}

// Where the image ends that stands there. Nothing tells that of classes which only their own code can read: the next
// record of the level is as far as those can reach, and where there is none no more than what stands in front of the
// unknown body is certain.
ULONGLONG EndOfImage(CFile& file, ULONGLONG position, ULONGLONG next) {
    ULONGLONG const length = file.GetLength();
    bool const isBounded = next > position && next <= length;
    KxObjectInspector objects(&file);
    objects.Begin(position, isBounded ? next : length);
    SxObject object;
    ULONGLONG certain = position;
    while (objects.Next(object))
        if (object.kind == ValueUnknown) certain = object.valuePosition;
    if (!objects.HasFault() && !objects.IsUnknownBehind()) return objects.GetPosition();
    return isBounded ? next : certain;
}

}  // namespace

bool Replacement::Finish() {
    if (!m_inMemory) return true;
    ULONGLONG const size = m_records.GetLength();
    ULONGLONG left = MostRecords(m_file);
    ULONGLONG const oldEnd =
        m_isImage ? EndOfImage(m_file, m_address, m_next) : EndOfChain(m_file, m_address, false, left);
    if (size > oldEnd - m_address) return false;
    m_file.Seek(static_cast<LONGLONG>(m_address), CFile::begin);
    m_records.Seek(0, begin);
    auto const block = std::make_unique_for_overwrite<BYTE[]>(blockSize);
    while (UINT const part = m_records.Read(block.get(), blockSize)) m_file.Write(block.get(), part);
    return true;
}

ULONGLONG Replacement::GetPosition() const {
    return m_inMemory ? m_address + m_records.GetPosition() : m_file.GetPosition();
}

ULONGLONG Replacement::Seek(LONGLONG offset, UINT from) {
    if (from == end) m_inMemory = true;
    if (!m_inMemory) return m_file.Seek(offset, from);
    LONGLONG const shift = from == begin ? static_cast<LONGLONG>(m_address) : 0;
    return m_address + m_records.Seek(offset - shift, from);
}

ULONGLONG Replacement::GetLength() const {
    return m_inMemory ? m_address + m_records.GetLength() : m_file.GetLength();
}

UINT Replacement::Read(void* buffer, UINT count) {
    return m_inMemory ? m_records.Read(buffer, count) : m_file.Read(buffer, count);
}

void Replacement::Write(void const* buffer, UINT count) {
    if (m_inMemory)
        m_records.Write(buffer, count);
    else
        m_file.Write(buffer, count);
}

void Replacement::Flush() {}

}  // namespace KxN::detail
