// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What there is in a folder, with all that a save has to keep besides bytes: kind, mode, owner, access lists and other
// attributes, where links lead, and folders, empty ones too.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace proof {

struct FileState {
    std::string bytes;  // of a file; of a link where it leads
    mode_t mode = 0;    // with the kind
    uid_t user = 0;
    gid_t group = 0;
    std::map<std::string, std::string> attributes;  // access lists are such
    long long time = 0;                             // of the last change, in nanoseconds; 0 where it does not count

    bool operator==(FileState const&) const = default;
    bool IsFile() const { return S_ISREG(mode); }
    bool IsFolder() const { return S_ISDIR(mode); }
    /// The same but for the bytes.
    bool IsLike(FileState const& other) const;
    /// In short, for findings.
    std::string Text() const;
    /// All of it, for sums.
    std::string All() const;
    std::size_t Hash() const;
};
using FileStates = std::map<std::string, FileState>;  // by path

constexpr std::string_view accessList = "system.posix_acl_access";

/// What stands under the path; links are not followed. `isTimed` notes the time of its last change.
FileState StateOf(std::filesystem::path const& path, bool isTimed = false);
/// All that is below the folder.
FileStates StatesBelow(std::filesystem::path const& folder);
/// Gives the file what no new one gets by itself: a mode, an access list, another attribute, an owner. What the file system
/// or our rights do not allow is left out.
void MakeOdd(std::filesystem::path const& path);
/// Whether that gave it an access list; if not, says so: what loses one cannot be found then.
bool TellWhetherListsAreKnown(std::filesystem::path const& folder);
/// Brings the mode in line with the access list, whose mask stands in the place of the group's rights.
void SettleMode(FileState& state);

}  // namespace proof
