// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Faulty.h"

#include "../FileState.h"

#include "hbtools/base/syException.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace proof {

namespace fs = std::filesystem;

namespace {

Scenario Step(std::function<void()> const& step) {
    return {{step}, [] { return ""; }, {}, {}, "", {"proof::Refused not written"}};
}

void Write(fs::path const& path, bool isChecked) {
    int const number = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    bool const isDone = ::write(number, "text", 4) == 4;
    if (isChecked && !isDone) throw Refused{"not written"};  // which leaves it open
    ::close(number);
}

Scenario Careless(fs::path const& folder) {
    return Step([=] { Write(folder / "file", false); });
}
Scenario InPlace(fs::path const& folder) {
    WriteFile(folder / "file", "old");
    return Step([=] { Write(folder / "file", true); });
}
Scenario Open(fs::path const& folder) {
    return Step([=] {
        ::mkdir((folder / "made").c_str(), 0700);
        if (::open(folder.c_str(), O_RDONLY) < 0) ::abort();
    });
}
Scenario Held(fs::path const& folder) {
    return Step([=] {
        for (int i = 0; i < 2 && ::open(folder.c_str(), O_RDONLY) < 0; ++i) {}
    });
}

/// What a saver that renames takes over from the old file, and none of that is looked at for errors.
struct Kept {
    bool mode, list;
};
template <Kept kept>
Scenario Renaming(fs::path const& folder) {
    WriteFile(folder / "file", "old");
    return Step([file = (folder / "file").string()] {
        std::string const part = file + "-new";
        std::array<char, 1000> list;
        ssize_t const size = ::getxattr(file.c_str(), accessList.data(), list.data(), list.size());
        struct stat old {};
        int const number = ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (number < 0 || ::write(number, "text", 4) != 4 || ::stat(file.c_str(), &old) != 0) std::abort();
        if (kept.mode && ::fchown(number, old.st_uid, old.st_gid) != 0) std::perror("owner");
        if (kept.mode) ::fchmod(number, old.st_mode & 0777);
        ::fsetxattr(number, "user.scanner", "seven", 5, 0);
        if (kept.list && size > 0)
            ::fsetxattr(number, accessList.data(), list.data(), static_cast<std::size_t>(size), 0);
        if (!kept.mode) ::fchmod(number, 0600);
        ::close(number);
        ::rename(part.c_str(), file.c_str());
    });
}

/// Leaves the folder where the file in it cannot be made.
Scenario Foldering(fs::path const& folder) {
    return Step([=] {
        ::mkdir((folder / "out").c_str(), 0700);
        int const number = ::open((folder / "out" / "file").c_str(), O_WRONLY | O_CREAT, 0600);
        if (number < 0) throw Refused{"not written"};
        ::close(number);
    });
}

/// Tells another file than the one that failed, or the new one that nobody knows.
template <bool isTemporary>
Scenario Misnaming(fs::path const& folder) {
    WriteFile(folder / "file", "old");
    WriteFile(folder / "file.old", "older");
    Scenario scenario = Step([=] {
        if (int const number = ::open((folder / "file").c_str(), O_RDONLY); number >= 0) {
            ::close(number);
            return;
        }
        std::string const named = (folder / (isTemporary ? ".file.hbtmp-aaaaaaaa" : "file.old")).string();
        throw new KxN::KxDirEntryException(L"Faulty", 1, PathOf(named), EIO);
    });
    scenario.told = {{0, {"file"}}};
    return scenario;
}

}  // namespace

std::vector<Kind> FaultyKinds() {
    return {{"careless", Careless},
            {"in place", InPlace},
            {"open", Open},
            {"held", Held},
            {"modeless", Renaming<Kept{false, true}>},
            {"listless", Renaming<Kept{true, false}>},
            {"unchecked", Renaming<Kept{true, true}>},
            {"foldering", Foldering},
            {"misnaming", Misnaming<false>},
            {"telling temporary", Misnaming<true>}};
}

}  // namespace proof
