// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxSafeFile writes a file whole or not at all. The bytes go into a new file beside the target, named
// ".name.hbtmp-xxxxxxxx" with eight random characters; Commit flushes it to the medium, renames it over the
// target and flushes the directory. At every moment, also across a power failure, the target is the old file or the
// new one. Without Commit, and after a failure, the target is as it was and the new file is gone. That of a process which
// was killed goes at the next save of the same file: it is known by its name, and nobody holds its lock (flock) any more.
// Where the file system knows no locks, saving is as safe; but such left-over files stay.
//
//     KxSafeFile file(path);
//     file.Write(bytes.data(), bytes.size());
//     file.Commit();
//
// Kept: mode, owner, access lists and other attributes of the old file. A symbolic link stays and the file that it
// names is replaced; of several hard links the given one gets the new file. Refused: a target without write
// permission, a directory that cannot be written, an owner that cannot be kept, anything but a regular file.
// Every failure throws KxDirEntryException with path and system error number. One thread at a time.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>
#include <string_view>

namespace KxN {

class CFile;

class KX_API KxSafeFile {
public:
    /// Makes the new file. @throws KxDirEntryException
    explicit KxSafeFile(KxString const& path);
    KxSafeFile(KxSafeFile const&) = delete;
    KxSafeFile& operator=(KxSafeFile const&) = delete;
    /// Removes the new file unless it was committed.
    ~KxSafeFile();

    /// Opens the new file in `file`, for those that write through one: for reading and writing, with what was written already.
    /// Close it before Commit. What it throws, here and later, tells the target. @throws CFileException
    void Open(CFile& file) const;
    /// The new file, for those that write by path; it must not be renamed.
    KxString GetTemporaryPath() const;
    /// Appends bytes. @throws KxDirEntryException, after which the new file is gone
    void Write(void const* data, std::size_t count);
    /// Puts the new file in the target's place. @throws KxDirEntryException; the target is as it was, except
    /// that it is the new file whole if only flushing the directory failed
    void Commit();
    void Discard() noexcept;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Replaces the content of a file, or makes it, in one step. @throws KxDirEntryException
KX_API void KxxSaveFile(KxString const& path, std::string_view bytes);

/// Waits until the names in a folder are on the medium: for those who rename something in it by themselves. An empty path is
/// the current folder. @throws KxDirEntryException
KX_API void KxxFlushFolder(KxString const& path);

/// True for the name of a file that a KxSafeFile left behind when its process was killed.
KX_API bool KxxIsTemporaryName(KxString const& fileName);

}  // namespace KxN
