// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Reading the plain numbers of a collection: a count is believed only as far as the file has bytes for it.
#pragma once

#include "hbtools/base/syArchive.h"

namespace KxN::detail {

constexpr int blockArchiveSize = 4096;

/// @throws CArchiveException cause badIndex for a negative count, endOfFile for one that the file cannot hold
inline void CheckCountOf(ULONGLONG remaining, LONGLONG count, ULONGLONG elementSize, CFile const& file) {
    if (count < 0) AfxThrowArchiveException(CArchiveException::badIndex, file.GetFileName());
    if (static_cast<ULONGLONG>(count) > remaining / elementSize)
        AfxThrowArchiveException(CArchiveException::endOfFile, file.GetFileName());
}

/// The same for elements that stand from `position` on.
inline void CheckCount(CFile const& file, ULONGLONG position, LONGLONG count, ULONGLONG elementSize) {
    ULONGLONG const length = file.GetLength();
    CheckCountOf(length > position ? length - position : 0, count, elementSize, file);
}

class BlockReader : public CArchive {
public:
    explicit BlockReader(CFile* file) : CArchive(file, load, blockArchiveSize) {}
    void CheckCount(LONGLONG count, ULONGLONG elementSize) const {
        CheckCountOf(GetRemaining(), count, elementSize, *GetFile());
    }
};

}  // namespace KxN::detail
