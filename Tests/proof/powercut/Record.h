// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the recorder writes and the program reads: one head for each call that changed a file or made it safe, followed by
// its two paths, the second mostly empty, and its bytes.
#pragma once

#include <cstdint>

namespace powercut {

enum class Call : std::uint32_t {
    create,     ///< A new file of that name: its bytes are a Made.
    write,      ///< Bytes at an offset.
    truncate,   ///< The length is in the offset.
    sync,       ///< Of the file.
    syncBytes,  ///< Of its bytes alone.
    syncFolder,
    syncAll,
    rename,  ///< Of the first path to the second.
    link,
    unlink,
    makeFolder,  ///< Its bytes are a Made too.
    removeFolder,
    mode,       ///< The offset.
    owner,      ///< User and group as the halves of the offset.
    attribute,  ///< The second path is its name, the bytes are its value.
    time        ///< Of the last change, in nanoseconds: the offset.
};

/// What a new file is created with, as its bytes.
struct Made {
    std::uint32_t mode, user, group;
};

struct Head {
    Call call;
    std::uint32_t pathLength;
    std::uint32_t otherLength;
    std::uint32_t padding;
    std::uint64_t file;  ///< The number that the system gives it.
    std::uint64_t offset;
    std::uint64_t length;
};

}  // namespace powercut
