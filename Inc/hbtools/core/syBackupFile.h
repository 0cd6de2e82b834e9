// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxBackupFile: a copy of a file beside it, under the same name with another extension. One thread at a time.
//
//     KxBackupFile(L"plate.ini").Create();   // plate.BAK
#pragma once

#include "hbtools/base/syString.h"

namespace KxN {

class KX_API KxBackupFile {
public:
    explicit KxBackupFile(KxString const& fileName, KxString const& extension = L"BAK")
        : m_fileName(fileName), m_extension(extension) {}

    void SetFileName(KxString const& fileName) { m_fileName = fileName; }
    void SetExtension(KxString const& extension) { m_extension = extension; }

    /// Copies the file. A former copy is replaced once the new one is whole.
    /// @throws KxDirEntryException with the file's name and the system's error number
    void Create();
    /// The full path of the last copy made; empty before.
    KxString const& GetBackupName() const { return m_backupName; }

private:
    KxString m_fileName;
    KxString m_extension;
    KxString m_backupName;
};

}  // namespace KxN
