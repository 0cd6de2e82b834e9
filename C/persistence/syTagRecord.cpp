// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "persistence/syTagRecord.h"

#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "persistence/syTextIds.h"

namespace KxN::detail {

void ThrowEndOfFile(CFile const& file) {
    AfxThrowFileException(CFileException::endOfFile, -1, file.GetFileName());
}

// Heads are taken apart and put together as 64-bit words, so that the bytes pass from and to the file's buffer in the
// pieces in which they were stored: fields that straddle such pieces cost several times their size.
namespace {

// The fields of a head; `bytes` holds 18 or, for a long one, 30 of them.
inline UINT TakeApart(BYTE const* bytes, STag& record) {
    std::uint64_t const first = Load<std::uint64_t>(bytes);
    std::uint64_t const second = Load<std::uint64_t>(bytes + 8);
    std::uint64_t const tail = Load<std::uint16_t>(bytes + 16);
    record.id = static_cast<std::uint32_t>(first);
    record.version = static_cast<std::uint16_t>(first >> 32);
    if (record.version & longFormMark) {
        std::uint64_t const third = Load<std::uint64_t>(bytes + 18);
        std::uint64_t const last = Load<std::uint32_t>(bytes + 26);
        record.version &= longFormVersion;
        record.dataSize = first >> 48 | second << 16;
        record.dataAddress = second >> 48 | tail << 16 | third << 32;
        record.nextTag = third >> 32 | last << 32;
        return STag::fileSize;
    }
    record.dataSize = first >> 48 | (second & 0xffff) << 16;
    record.dataAddress = second >> 16 & limit32;
    record.nextTag = second >> 48 | tail << 16;
    return STag32::fileSize;
}

}  // namespace

UINT ReadRecord(CFile& file, ULONGLONG position, STag& record) {
    if (BYTE const* const there = file.Peek(position, STag::fileSize)) [[likely]] {
        UINT const size = TakeApart(there, record);
        file.Seek(static_cast<LONGLONG>(position + size), CFile::begin);
        return size;
    }
    BYTE bytes[STag::fileSize];
    // Positions from 2^63 on turn negative here, and the file refuses them.
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    if (file.Read(bytes, STag32::fileSize) != STag32::fileSize) ThrowEndOfFile(file);
    if (Load<std::uint16_t>(bytes + 4) & longFormMark) {
        constexpr UINT rest = STag::fileSize - STag32::fileSize;
        if (file.Read(bytes + STag32::fileSize, rest) != rest) ThrowEndOfFile(file);
    }
    return TakeApart(bytes, record);
}

void WriteRecord(CFile& file, STag const& record, bool longForm) {
    BYTE bytes[STag::fileSize + 2];
    std::uint64_t const front = record.id | std::uint64_t{record.version} << 32 | record.dataSize << 48;
    if (longForm) {
        BYTE* next = Put(bytes, front | std::uint64_t{longFormMark} << 32);
        next = Put(next, record.dataSize >> 16 | record.dataAddress << 48);
        next = Put(next, record.dataAddress >> 16 | record.nextTag << 48);
        Put(next, record.nextTag >> 16);
        file.Write(bytes, STag::fileSize);
        return;
    }
    if (record.dataSize > limit32 || record.dataAddress > limit32 || record.nextTag > limit32)
        throw new KxException(L"syTag", __LINE__, KxString(KxResId(text::FileTooLarge)));
    BYTE* next = Put(bytes, front);
    next = Put(next, record.dataSize >> 16 | record.dataAddress << 16 | record.nextTag << 48);
    Put(next, static_cast<std::uint16_t>(record.nextTag >> 16));
    file.Write(bytes, STag32::fileSize);
}

bool LinkInPlace(CFile& file, ULONGLONG position, ULONGLONG newTag) {
    BYTE* const bytes = file.Touch(position, STag::fileSize);
    if (!bytes) return false;
    std::uint16_t const version = Load<std::uint16_t>(bytes + 4);
    if (version & longFormMark) {
        if ((version & ~longFormVersion) != longFormMark || Load<std::uint64_t>(bytes + 22) != 0) return false;
        Put(bytes + 22, std::uint64_t{newTag});
        return true;
    }
    if (newTag > limit32 || Load<std::uint32_t>(bytes + 14) != 0) return false;
    Put(bytes + 14, static_cast<std::uint32_t>(newTag));
    return true;
}

}  // namespace KxN::detail
