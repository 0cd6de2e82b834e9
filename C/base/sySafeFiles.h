// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Many files, each whole or not at all as by KxSafeFile. That waits for the medium and looks through the folder once for each
// file; here files wait for each other and are flushed together, and a folder is looked through once. So a file may get its
// name only when others have ended, or with Commit.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>
#include <string>

namespace KxN::detail {

class SafeFiles {
public:
    SafeFiles();
    SafeFiles(SafeFiles const&) = delete;
    SafeFiles& operator=(SafeFiles const&) = delete;
    /// Removes what has not got its name.
    ~SafeFiles();

    /// Makes the next file; one that has not ended is dropped. @throws KxDirEntryException, as all do that write
    void Begin(KxString const& path);
    void Write(void const* data, std::size_t count);
    /// The file is whole. Many of them get their names now, in the order in which they ended.
    void End();
    void Drop() noexcept;
    /// A folder that got a new folder, whose name is to be flushed too.
    void NoteFolder(std::string const& folder);
    /// All that ended get their names, and their folders are flushed. The first that cannot takes those behind it along.
    void Commit();

    /// Of the one that is being written.
    KxString GetTemporaryPath() const;
    /// How many got their names.
    std::size_t CountPlaced() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace KxN::detail
