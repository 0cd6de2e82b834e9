// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The stream that a tag writes its new payload to when it replaces the old one in place. It lies in memory, as if the file
// ended at the old payload, and the bytes reach the file only when all of them are there. A payload with records, which a
// tag appends at the end of what it is given, and the image of an object must fit where the old one stood.
//
// No record says how long such a payload is. It lies in front of the next record of the level, and a level below the
// record may follow it. The new payload, which the same code wrote, tells how the old one is made: both are walked side by
// side, from last record to last record, for as long as they are of the same ids. What is told by neither is not counted,
// so that nothing is written over that may belong to others.
#pragma once

#include "hbtools/persistence/syTag.h"

namespace KxN::detail {

class Replacement : public CFile {
public:
    /// `record`: the one whose payload is replaced.
    Replacement(CFile& file, STag const& record, bool isImage) : m_file(file), m_record(record), m_isImage(isImage) {
        m_bytes.SetLength(0);
    }

    /// Brings the payload to the file. False, with the file unchanged, if it must fit and is longer than the old one.
    bool Finish();

    bool IsOpen() const override { return true; }
    ULONGLONG GetPosition() const override { return Begin() + m_bytes.GetPosition(); }
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetLength() const override { return Begin() + m_bytes.GetLength(); }
    UINT Read(void* buffer, UINT count) override { return m_bytes.Read(buffer, count); }
    void Write(void const* buffer, UINT count) override { m_bytes.Write(buffer, count); }
    BYTE* Touch(ULONGLONG position, UINT count) override;
    BYTE const* Peek(ULONGLONG position, UINT count) override { return Touch(position, count); }
    void Flush() override {}
    CString GetFileName() const override { return m_file.GetFileName(); }
    CString GetFilePath() const override { return m_file.GetFilePath(); }

private:
    ULONGLONG Begin() const { return m_record.dataAddress; }
    ULONGLONG OldEnd();
    ULONGLONG EndOfRecords(ULONGLONG limit);
    ULONGLONG EndOfUndeclared(STag const& was, STag const& is, ULONGLONG limit);

    CFile& m_file;
    STag m_record;
    bool m_isImage;
    BYTE m_first[1024];  // for the many that are no longer
    CMemFile m_bytes{m_first, sizeof m_first, 64 * 1024};
    bool m_hasRecords = false;  // the end was looked for, as is done to append one
    ULONGLONG m_front = 0;      // bytes in front of the first of them
};

}  // namespace KxN::detail
