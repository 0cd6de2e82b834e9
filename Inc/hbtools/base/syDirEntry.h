// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Paths of files and directories. KxTools::DirEntry holds a path as text, with '/' between its components;
// repeated separators and those at the end are dropped. A backslash is an ordinary character of a name, as it is
// to the system; a path that comes from a file with backslashes is built with the style FSYS_STYLE_DOS, which
// takes both as separators. Taking paths apart touches no file; "." and ".." stay as they are, since ".."
// behind a symbolic link is not what its text says. File names that are no valid UTF-8 survive. Results of
// unsigned char are 1 and 0; nothing here throws. A value belongs to one thread at a time.
#pragma once

#include "hbtools/base/syDateTime.h"
#include "hbtools/base/syString.h"

namespace KxTools {

/// How a path is written.
enum FSysPathStyle {
    FSYS_STYLE_HOST = 0,  ///< The system's own: '/'.
    FSYS_STYLE_UNIX = 1,  ///< '/'.
    FSYS_STYLE_DOS = 2    ///< '\'; read with '/' as well.
};

class KX_API DirEntry {
public:
    DirEntry() = default;
    DirEntry(String const& path, FSysPathStyle style = FSYS_STYLE_HOST);
    DirEntry(wchar_t const* path) : DirEntry(String(path)) {}

    /// 1 if something is there, or if the system cannot tell, since what may be there must not be taken for missing and
    /// written over. With `followLinks` a symbolic link counts as what it names, else as itself.
    unsigned char Exists(unsigned char followLinks = 1) const;
    /// 1 if the path is not empty and holds nothing that no path can hold.
    unsigned char IsValid() const;
    unsigned char IsAbs() const;
    /// Makes the directory, with `parents` also those above it, and flushes the names of new ones. 1 if it is there afterwards;
    /// otherwise those above it that were made stay.
    unsigned char MakeDir(unsigned char parents = 1) const;
    /// Puts the current directory in front of a relative path and drops components ".". 0, and no change, if it cannot.
    unsigned char ToAbs();

    /// The whole path. `addSeparator` puts a separator at its end. A path longer than `maxLen` characters loses
    /// its beginning, for which "..." stands.
    String GetFull(FSysPathStyle style = FSYS_STYLE_HOST, unsigned char addSeparator = 0, int maxLen = WholeText) const;
    /// The last component, extension included; empty for a root.
    String GetName(FSysPathStyle style = FSYS_STYLE_HOST) const;
    /// The last component up to, and from behind, its last separator. One at the very start of a name belongs
    /// to the name, so ".profile" has no extension.
    String GetBase(wchar_t separator = L'.') const;
    String GetExtension(wchar_t separator = L'.') const;
    /// The path without its last component; empty for a single name, the root for a root.
    DirEntry GetPath() const;

    /// Removes the last component and returns it.
    String CutName(FSysPathStyle style = FSYS_STYLE_HOST);
    /// Replaces the extension, or adds it; an empty one removes it with its separator. No effect without a name.
    void SetExtension(String const& extension, wchar_t separator = L'.');

    /// Appends a path. An absolute one takes the place of what was there.
    DirEntry& operator+=(DirEntry const& other);
    DirEntry operator+(DirEntry const& other) const;
    friend bool operator==(DirEntry const& a, DirEntry const& b) { return a.m_path == b.m_path; }

    /// Copies the file with content, mode and time of change. The target appears whole or not at all; an existing
    /// one is replaced with `overwrite`, and left alone without it. Returns 0 or the system's error number.
    unsigned long CopyTo(DirEntry const& target, int overwrite) const;
    /// Removes a file or an empty directory. Returns 0 or the system's error number.
    unsigned long Kill() const;

protected:
    std::wstring m_path;
};

/// What stands at a path at the moment of construction.
class KX_API FileStat {
public:
    explicit FileStat(DirEntry const& path, unsigned char followLinks = 1);

    /// Non-zero if the path is a directory.
    int GetKind() const { return m_isDirectory ? 1 : 0; }
    bool Exists() const { return m_exists; }
    bool IsFile() const { return m_isFile; }
    unsigned long long GetSize() const { return m_size; }       ///< Bytes, 0 unless it is a file.
    KxN::KxDateTime GetModified() const { return m_modified; }  ///< Local time, not set if nothing is there.

private:
    bool m_exists = false;
    bool m_isFile = false;
    bool m_isDirectory = false;
    unsigned long long m_size = 0;
    KxN::KxDateTime m_modified;
};

}  // namespace KxTools

namespace KxN {

class KX_API KxDirEntry : public KxTools::DirEntry {
public:
    KxDirEntry() = default;
    KxDirEntry(KxString const& path) : DirEntry(path) {}
    KxDirEntry(wchar_t const* path) : DirEntry(path) {}
    KxDirEntry(KxTools::DirEntry const& path) : DirEntry(path) {}
    KxDirEntry(KxDirEntry const&) = default;
    KxDirEntry(KxDirEntry&&) = default;
    KxDirEntry& operator=(KxDirEntry const&) = default;
    KxDirEntry& operator=(KxDirEntry&&) = default;
    ~KxDirEntry() = default;
};

}  // namespace KxN
