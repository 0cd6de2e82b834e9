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

UINT ReadRecord(CFile& file, ULONGLONG position, STag& record) {
    BYTE bytes[STag::fileSize];
    // Positions from 2^63 on turn negative here, and the file refuses them.
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    if (file.Read(bytes, STag32::fileSize) != STag32::fileSize) ThrowEndOfFile(file);
    record.id = Load<std::uint32_t>(bytes);
    record.version = Load<std::uint16_t>(bytes + 4);
    if (record.version & longFormMark) {
        constexpr UINT rest = STag::fileSize - STag32::fileSize;
        if (file.Read(bytes + STag32::fileSize, rest) != rest) ThrowEndOfFile(file);
        record.version &= longFormVersion;
        record.dataSize = Load<ULONGLONG>(bytes + 6);
        record.dataAddress = Load<ULONGLONG>(bytes + 14);
        record.nextTag = Load<ULONGLONG>(bytes + 22);
        return STag::fileSize;
    }
    record.dataSize = Load<std::uint32_t>(bytes + 6);
    record.dataAddress = Load<std::uint32_t>(bytes + 10);
    record.nextTag = Load<std::uint32_t>(bytes + 14);
    return STag32::fileSize;
}

void WriteRecord(CFile& file, STag const& record, bool longForm) {
    BYTE bytes[STag::fileSize];
    BYTE* next = Put(bytes, record.id);
    if (longForm) {
        next = Put(next, static_cast<std::uint16_t>(record.version | longFormMark));
        next = Put(next, record.dataSize);
        next = Put(next, record.dataAddress);
        Put(next, record.nextTag);
        file.Write(bytes, STag::fileSize);
        return;
    }
    if (record.dataSize > limit32 || record.dataAddress > limit32 || record.nextTag > limit32)
        throw new KxException(L"syTag", __LINE__, KxString(KxResId(text::FileTooLarge)));
    next = Put(next, record.version);
    next = Put(next, static_cast<std::uint32_t>(record.dataSize));
    next = Put(next, static_cast<std::uint32_t>(record.dataAddress));
    Put(next, static_cast<std::uint32_t>(record.nextTag));
    file.Write(bytes, STag32::fileSize);
}

}  // namespace KxN::detail
