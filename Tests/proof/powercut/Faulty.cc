// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Faulty.h"

#include "../FileState.h"

#include <array>
#include <filesystem>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace powercut {

namespace fs = std::filesystem;

namespace {

/// Gives the new file what the target has besides bytes.
int TakeOver(char const* target, int file, bool isWithMode, bool isWithList) {
    std::array<char, 1000> list;
    struct stat old {};
    ssize_t const size = ::getxattr(target, proof::accessList.data(), list.data(), list.size());
    int failures = ::stat(target, &old) + ::fchown(file, old.st_uid, old.st_gid);
    if (isWithMode) failures += ::fchmod(file, old.st_mode & 0777);
    if (isWithList && size > 0)
        failures += ::fsetxattr(file, proof::accessList.data(), list.data(), static_cast<std::size_t>(size), 0);
    ::fsetxattr(file, "user.scanner", "seven", 5, 0);
    return failures;
}

}  // namespace

int SaveFaultily(std::string const& saver, char const* target) {
    std::string const bytes(2000, 'n'), folder = fs::path(target).parent_path(),
                                        part = saver == "overwriting" ? target : folder + "/.scan.dat.hbtmp-aaaaaaaa";
    bool const isMending = saver == "mending", isOther = saver == "overwriting" || saver == "unsynced";
    int const file = ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (::write(file, bytes.data(), isMending ? 1000 : bytes.size()) < 0) return 1;
    bool const isLaggard = saver == "laggard";  // its mode is not synced
    if (isLaggard) ::fsync(file);
    if (!isOther && saver != "unnamed" &&
        TakeOver(target, file, saver != "modeless", saver != "listless" && saver != "modeless"))
        return 1;
    if (saver == "littering") ::mkdir((folder + "/parts").c_str(), 0700);
    if (saver != "unsynced" && !isLaggard) ::fsync(file);
    if (!isMending) ::close(file);
    if (saver != "overwriting") ::rename(part.c_str(), target);
    if (saver == "unnamed") return 0;
    int const opened = ::open(folder.c_str(), O_RDONLY);
    if (saver == "littering") ::rmdir((folder + "/parts").c_str());
    ::fsync(opened);
    if (isMending && (::ftruncate(file, 600) != 0 || ::fsync(file) != 0)) return 1;
    return ::close(opened);
}

}  // namespace powercut
