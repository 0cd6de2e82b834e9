// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The stream that a tag writes its new payload to when it replaces the old one in place. Plain payloads go straight
// to the file. Payloads that are made of tags append their records at the end of what they are given; here that end
// lies in memory, as if the file ended at the old payload, and the bytes reach the file only if they fit where the
// old payload stood.
#pragma once

#include "hbtools/base/syFile.h"

namespace KxN::detail {

class Replacement : public CFile {
public:
    /// `address`: where the old payload begins; the file stands there.
    Replacement(CFile& file, ULONGLONG address) : m_file(file), m_address(address) {}

    /// Brings a payload made of tags to the file. False, with the file unchanged, if it is longer than the old one.
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
    CMemFile m_records{64 * 1024};
    bool m_inMemory = false;  // from the first look at the end on
};

}  // namespace KxN::detail
