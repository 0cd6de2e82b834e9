// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A file out of which bytes were lost, or into which some came, in front of a record: all heads behind are off by one and the
// same number. Seen through this file they stand where they say.
#pragma once

#include "hbtools/base/syFile.h"

namespace KxN::detail {

class ShiftedFile : public CFile {
public:
    /// Shows the file as it is.
    explicit ShiftedFile(CFile& file) : m_file(file) {}

    /// From now on `shift` zeros stand in front of what is at `seam`; below 0 as many bytes in front of it are left out.
    void SetShift(ULONGLONG seam, LONGLONG shift);
    LONGLONG Shift() const { return m_shift; }
    /// The zeros; where bytes are left out the place, twice.
    ULONGLONG HoleBegin() const { return m_shift < 0 ? m_seam - static_cast<ULONGLONG>(-m_shift) : m_seam; }
    ULONGLONG HoleEnd() const { return m_shift < 0 ? HoleBegin() : m_seam + static_cast<ULONGLONG>(m_shift); }
    /// Where in the file itself something stands.
    ULONGLONG ToSource(ULONGLONG position) const;

    ULONGLONG GetPosition() const override { return m_position; }
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetLength() const override { return m_shift == 0 ? m_file.GetLength() : m_length; }
    UINT Read(void* buffer, UINT count) override;
    BYTE const* Peek(ULONGLONG position, UINT count) override;
    CString GetFileName() const override { return m_file.GetFileName(); }
    CString GetFilePath() const override { return m_file.GetFilePath(); }

private:
    CFile& m_file;
    ULONGLONG m_seam = 0;
    LONGLONG m_shift = 0;
    ULONGLONG m_length = 0;  // while shifted
    ULONGLONG m_position = 0;
};

/// Looks from `from` on for a head by which all that follows is shifted: one that a link to `target` was made for, or one
/// whose link is off by as much as itself. Sets where it stands and by how much. One pass. @throws CFileException
bool FindShift(CFile& file, ULONGLONG from, ULONGLONG target, ULONGLONG& seam, LONGLONG& shift);

}  // namespace KxN::detail
