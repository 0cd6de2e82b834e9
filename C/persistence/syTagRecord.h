// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The bytes of one record: the one place that knows their layout. Fields are unaligned, so they are copied.
#pragma once

#include "hbtools/persistence/syTag.h"

#include <cstring>

namespace KxN::detail {

constexpr std::uint16_t longFormMark = 0x8000;     // bit 15 of the version word: a 30-byte record
constexpr std::uint16_t longFormVersion = 0x3fff;  // what a reader keeps of it
constexpr ULONGLONG limit32 = 0xffffffff;

template <class T>
T Load(BYTE const* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

template <class T>
BYTE* Put(BYTE* bytes, T value) {
    std::memcpy(bytes, &value, sizeof value);
    return bytes + sizeof value;
}

[[noreturn]] void ThrowEndOfFile(CFile const& file);

/// Reads the record at `position` and leaves the file behind it. Returns its size in the file, 18 or 30.
/// @throws CFileException cause endOfFile if it is not whole
UINT ReadRecord(CFile& file, ULONGLONG position, STag& record);

/// Puts the file to the payload of a record that was just read: behind a 30-byte record that was patched by an
/// 18-byte image, and in damaged files, it does not follow directly.
inline void SeekPayload(CFile& file, ULONGLONG position, UINT size, STag const& record) {
    if (record.dataAddress != position + size) file.Seek(static_cast<LONGLONG>(record.dataAddress), CFile::begin);
}

/// Writes the image in the 30-byte or the 18-byte form at the file's position.
/// @throws KxException if the 18-byte form cannot hold it, before anything is written
void WriteRecord(CFile& file, STag const& record, bool longForm);

/// Sets the link of the record at `position` in the file's buffer. False, with nothing changed, if it is not there,
/// has a link already, or is one whose head must be written anew.
bool LinkInPlace(CFile& file, ULONGLONG position, ULONGLONG newTag);

/// How many records a file of this length can hold: a walk that visits more goes round in a ring.
inline ULONGLONG MostRecords(CFile const& file) {
    return file.GetLength() / STag32::fileSize + 1;
}

}  // namespace KxN::detail
