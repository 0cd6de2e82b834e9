// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Folders of test programs. Who removes its own is the program that made it; what one that was killed has left goes when the
// next one makes a folder there. The name tells the owner: hbtools-NAMESPACE-PROCESS-START-XXXXXX, with the number of the
// processes' name space, of the process in it, and the moment at which that began, since numbers come again.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace test {

/// When that process began, as the system counts; empty if there is none.
inline std::string StartOf(std::string const& process) {
    std::ifstream in("/proc/" + process + "/stat");
    std::string all;
    std::getline(in, all, '\0');              // which fails where it ends meanwhile; an iterator would throw
    std::size_t const name = all.rfind(')');  // which may hold anything
    if (name == all.npos) return "";
    std::istringstream rest(all.substr(name + 1));
    constexpr int place = 20;  // behind the name
    std::string word;
    for (int i = 0; i < place && rest >> word; ++i) {}
    return word;
}

/// What the names of folders of this name space of processes begin with; empty if the system does not tell.
inline std::string FolderPrefix() {
    struct stat space {};
    return ::stat("/proc/self/ns/pid", &space) == 0 ? "hbtools-" + std::to_string(space.st_ino) + "-" : "";
}

/// Removes what processes that are gone have left in `root`.
inline void RemoveAbandoned(std::filesystem::path const& root) {
    namespace fs = std::filesystem;
    std::string const prefix = FolderPrefix();
    std::error_code error;
    for (fs::directory_iterator entry(root, error), end; !prefix.empty() && !error && entry != end;
         entry.increment(error)) {
        std::string const name = entry->path().filename();
        struct stat status {};
        if (!name.starts_with(prefix) || ::lstat(entry->path().c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
            status.st_uid != ::geteuid())
            continue;
        std::istringstream rest(name.substr(prefix.size()));
        std::string process, start;
        if (!std::getline(rest, process, '-') || !std::getline(rest, start, '-') || StartOf(process) == start) continue;
        std::error_code ignored;
        fs::permissions(entry->path(), fs::perms::owner_all, ignored);
        fs::remove_all(entry->path(), ignored);
    }
}

/// A new folder of this process in `root`; empty if there is none. Whoever makes it removes it.
inline std::filesystem::path MakeOwnFolder(std::filesystem::path const& root = std::filesystem::temp_directory_path()) {
    RemoveAbandoned(root);
    std::string const process = std::to_string(::getpid()), prefix = FolderPrefix();
    std::string name =
        (root / (prefix.empty() ? "hbtools-" : prefix + process + "-" + StartOf(process) + "-")).string();
    name += "XXXXXX";
    return ::mkdtemp(name.data()) ? std::filesystem::path(name) : std::filesystem::path();
}

/// The same in memory, where the system has that.
inline std::filesystem::path MakeOwnFolderInMemory() {
    std::error_code none;
    bool const isThere = std::filesystem::is_directory("/dev/shm", none);
    return isThere ? MakeOwnFolder("/dev/shm") : MakeOwnFolder();
}

}  // namespace test
