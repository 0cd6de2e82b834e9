// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Calls of the system that fail: the functions of the C library are defined anew and ask here first. Preloaded into a
// program, the environment says what fails (see environment.cpp); a program that is linked with faults.cpp says it itself.
#pragma once

#include <string_view>

namespace iofaults {

enum Call {
    Open,
    Read,
    Write,
    Copy,
    Fsync,
    Close,
    Truncate,
    Rename,
    Mkdir,
    Chmod,
    Unlink,
    Link,
    Stat,
    List,
    Lock,
    Dup,
    Times,
    GetAttribute,
    SetAttribute,
    Seek,
    FileSystem,
    EndList,
    Random,
    Current
};
constexpr std::string_view names[] = {"open",  "read",    "write",   "copy", "fsync",  "close",   "truncate", "rename",
                                      "mkdir", "chmod",   "unlink",  "link", "stat",   "list",    "lock",     "dup",
                                      "times", "getattr", "setattr", "seek", "statfs", "endlist", "random",   "getcwd"};
constexpr int numCalls = sizeof names / sizeof *names;

/// A call that fails has done nothing, but for those that close, which have closed, as the system does it. Those that are of
/// no file, for random numbers and the current folder, count as being below each folder.
struct Plan {
    std::string_view under;  // only files below this folder, and the folder itself, are touched; none if empty
    std::string_view call;   // one of the names
    int number = 0;          // which of these calls fails, counted from 1
    int error = 0;           // the system error number; 0: reads and writes move one byte instead
    std::string_view times;  // once, lasting (that call and all later ones), alternating (that one, not the next, ...)
    char const* mark = nullptr;  // a file that is made when the fault has been reached
};
/// Follows this plan from here on; what it names must last. One for no folder ends that.
void Follow(Plan const& plan);
/// How often calls of that kind were made below the folders of all plans.
int CountCalls(Call call);
/// Whether a call has failed, or moved less, since a plan for some folder is followed.
bool HasFailed();
/// The path of the file of such a call; empty for one of no file. Of many the first and the last are kept, without those that
/// are the same as the one before: the number counts from 0 up to kept, and what is not there is null.
constexpr int kept = 8;
char const* FailedPath(int number);

}  // namespace iofaults
