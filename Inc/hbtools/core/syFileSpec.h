// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxFileSpec: the entries of a folder whose names match a pattern, one after the other, in the order of the system.
//
//     KxFileSpec files;
//     for (int found = files.First(L"scans/*.tag"); found; found = files.Next()) Use(files.GetName());
//
// In the last component of the pattern "*" stands for any characters and "?" for one; "*.*" matches names without a point
// too. Case does not count, where a character has one upper case of one character: "*.tag" finds SCAN.TAG too. The folder
// itself is found as the system finds it. The entries "." and ".." are never found. One thread at a time.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>

namespace KxN {

class KX_API KxFileSpec {
public:
    KxFileSpec();
    KxFileSpec(KxFileSpec const&) = delete;
    KxFileSpec& operator=(KxFileSpec const&) = delete;
    virtual ~KxFileSpec();

    /// Ends a search that runs and begins a new one. Non-zero if something was found; 0 also for a folder that is not there
    /// or cannot be read.
    int First(KxString const& pattern);
    /// The next hit; 0 if there is none, or if no search runs.
    int Next();

    // Of the last hit:
    KxString const& GetName() const { return m_name; }  ///< Without the folder.
    int IsDirectory() const { return m_isDirectory; }
    ULONGLONG GetSize() const { return m_size; }  ///< In bytes; 0 of a folder.

private:
    struct SSearch;

    std::unique_ptr<SSearch> m_search;
    KxString m_name;
    int m_isDirectory = 0;
    ULONGLONG m_size = 0;
};

}  // namespace KxN
