// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A folder that appears whole or not at all: it is filled under another name beside its place, and put there by Commit.
// Without it everything goes again. That of a process which was killed goes when the same folder is made the next time.
#pragma once

#include <hbtools/base/sySafeFile.h>
#include <hbtools/base/syString.h>

#include <filesystem>

namespace ScanLab {

class UnpackedFolder {
public:
    /// @throws KxException if there is a folder that is not empty, KxFileException if none can be made
    explicit UnpackedFolder(KxN::KxString const& target);
    UnpackedFolder(UnpackedFolder const&) = delete;
    UnpackedFolder& operator=(UnpackedFolder const&) = delete;
    ~UnpackedFolder();

    /// Where it is filled.
    KxN::KxString Path() const;
    /// @throws KxFileException if it cannot be put in its place, or if its name there is not safe on the medium
    void Commit();

private:
    KxN::KxString m_target;
    KxN::KxSafeFile m_place;  // keeps the name from others, and tells whether somebody is at work under it
    std::filesystem::path m_path;
};

}  // namespace ScanLab
