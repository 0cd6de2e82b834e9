// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What a disk may hold when the power goes. Bytes reach it in any order, or not at all, until their file is synced; names
// until their folder is; modes, owners, attributes and times until their file is synced, by more than a sync of its bytes.
// Nothing is granted that the system does not promise: a synced file may still be without its name.
#pragma once

#include "../FileState.h"
#include "Record.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace powercut {

struct Change {
    Call call;
    std::string path, other;
    int node = 0;  // file or none
    std::size_t offset = 0;
    std::string bytes;
};

/// What is in a folder, by paths.
using Files = proof::FileStates;

class History {
public:
    /// What of the changes has arrived on the disk.
    struct Choice {
        std::vector<bool> isApplied;      // of all changes
        std::optional<std::size_t> torn;  // a write of which only so many bytes arrive
        std::size_t tornLength = 0;
        bool hasHoles = false;  // lengths arrive without their bytes
    };

    /// `files` is what was there before the recorded calls; `numbers` are the system's numbers of these.
    History(std::filesystem::path const& record, Files const& files,
            std::map<std::uint64_t, std::string> const& numbers);

    std::size_t CountChanges() const { return m_changes.size(); }
    /// What the program itself sees after so many calls.
    Files SeenAfter(std::size_t count) const;
    /// Visits what the disk may hold if the power goes after so many calls, each state once. Returns the number of states
    /// that were built.
    std::size_t CutAfter(std::size_t count, bool isLong,
                         std::function<void(Files const&, Choice const&)> const& visit) const;
    /// A line for each of so many changes: what it was, and whether it has arrived.
    std::string TextOf(Choice const& choice, std::size_t count) const;

private:
    Files Apply(Choice const& choice, std::size_t count) const;
    std::vector<std::size_t> PendingAfter(std::size_t count) const;
    bool IsSafeBy(Change const& change, Change const& sync) const;

    std::vector<Change> m_changes;
    std::vector<proof::FileState> m_nodes;  // before; those that are made later are empty
    Files m_folders;                        // before
    std::map<std::string, int> m_names;     // before
};

}  // namespace powercut
