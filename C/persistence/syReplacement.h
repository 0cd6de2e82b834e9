// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The stream that a tag writes its new payload to when it replaces the old one in place. Plain payloads go straight
// to the file. Payloads that are made of tags append their records at the end of what they are given; here that end
// lies in memory, as if the file ended at the old payload, and the bytes reach the file only if they fit where the
// old payload stood. Images of persistent objects, which a refused object may break off, are kept in memory from
// their begin.
#pragma once

#include "hbtools/persistence/syTag.h"

namespace KxN::detail {

class Replacement : public CFile {
public:
    /// `record`: the one whose payload is replaced; the file stands at its begin.
    Replacement(CFile& file, STag const& record, bool isImage)
        : m_file(file),
          m_address(record.dataAddress),
          m_next(record.nextTag),
          m_isImage(isImage),
          m_inMemory(isImage) {}

    /// Brings a payload made of tags, or an image, to the file. False, with the file unchanged, if it is longer than the old one.
    bool Finish();

    bool IsOpen() const override { return true; }
    ULONGLONG GetPosition() const override;
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetLength() const override;
    UINT Read(void* buffer, UINT count) override;
    void Write(void const* buffer, UINT count) override;
    BYTE* Touch(ULONGLONG, UINT) override { return nullptr; }
    BYTE const* Peek(ULONGLONG, UINT) override { return nullptr; }
    void Flush() override;
    CString GetFileName() const override { return m_file.GetFileName(); }
    CString GetFilePath() const override { return m_file.GetFilePath(); }

private:
    CFile& m_file;
    ULONGLONG m_address;
    ULONGLONG m_next;  // the next record of the level; 0 for none
    bool m_isImage;
    CMemFile m_records{64 * 1024};
    bool m_inMemory;  // of tags from the first look at the end on
};

}  // namespace KxN::detail
