// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Somebody has laid something at the very name that a new file gets: it must be new, and no link is followed.
#include "hbtools/base/sySafeFile.h"

#include "Support.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <set>
#include <utility>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
int g_foreseen = 0;        // of the next random names so many are "aaaaaaaa"
bool g_isRefused = false;  // there are no random names
}  // namespace

/// In place of that of the C library, also for the library of the house.
extern "C" [[gnu::visibility("default")]] ssize_t getrandom(void* buffer, size_t count, unsigned flags) {
    if (g_isRefused) {
        errno = ENOSYS;
        return -1;
    }
    if (g_foreseen == 0) return ::syscall(SYS_getrandom, buffer, count, flags);
    --g_foreseen;
    std::memset(buffer, 0, count);
    return static_cast<ssize_t>(count);
}

namespace {

using namespace KxN;
namespace fs = std::filesystem;

class PartFile : public test::TempFolder {
protected:
    ~PartFile() override {
        g_foreseen = 0;
        g_isRefused = false;
    }

    fs::path const planted = File(".scan.dat.hbtmp-aaaaaaaa");
};

TEST_F(PartFile, WhatStandsAtItsNameStaysUntouched) {
    Put("else.dat", "of somebody else");
    struct Case {
        char const* what;
        std::function<void(fs::path const&)> plant;
    };
    int locked = -1, reader = -1;
    Case const cases[] = {{"file that somebody writes",
                           [&](fs::path const& path) {
                               Put(path.filename(), "of somebody else");
                               locked = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
                               ASSERT_EQ(::flock(locked, LOCK_EX), 0);
                           }},
                          {"link", [&](fs::path const& path) { fs::create_symlink("else.dat", path); }},
                          {"link to nothing", [&](fs::path const& path) { fs::create_symlink("nothing", path); }},
                          {"folder", [&](fs::path const& path) { fs::create_directory(path); }},
                          {"pipe", [&](fs::path const& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
                          {"pipe that somebody reads",
                           [&](fs::path const& path) {
                               ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
                               reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
                           }},
                          {"file of another user", [&](fs::path const& path) {
                               Put(path.filename(), "of somebody else");
                               ASSERT_EQ(::chown(path.c_str(), 12345, 12345), 0);
                           }}};
    for (Case const& c : cases) {
        if (&c == std::end(cases) - 1 && ::geteuid() != 0) continue;  // only root makes it
        SCOPED_TRACE(c.what);
        Put("scan.dat", "old");
        fs::remove_all(planted);
        c.plant(planted);
        struct stat before {
        }, after{};
        ASSERT_EQ(::lstat(planted.c_str(), &before), 0);
        std::size_t const count = CountFiles();
        g_foreseen = 1000;  // whatever is tried
        EXPECT_NE(test::Thrown<KxFileException>([&] { KxxSaveFile(Path("scan.dat"), "new"); }), "");
        EXPECT_EQ(Get("scan.dat"), "old");
        g_foreseen = 2;
        KxxSaveFile(Path("scan.dat"), "new");
        EXPECT_EQ(g_foreseen, 0);
        EXPECT_EQ(Get("scan.dat"), "new");
        ASSERT_EQ(::lstat(planted.c_str(), &after), 0);
        EXPECT_TRUE(before.st_ino == after.st_ino && before.st_mode == after.st_mode && after.st_nlink > 0);
        EXPECT_EQ(Get("else.dat"), "of somebody else");
        EXPECT_EQ(CountFiles(), count);
        EXPECT_TRUE(locked < 0 || Get(planted.filename()) == "of somebody else");
        for (int* const number : {&locked, &reader})
            if (*number >= 0) ::close(std::exchange(*number, -1));
    }
}

TEST_F(PartFile, NamesAreNewWithoutRandomNumbersToo) {
    fs::create_symlink("else.dat", planted);  // what eight zeros would be
    g_isRefused = true;
    std::set<std::string> names;
    for (int round = 0; round < 100; ++round) {
        KxSafeFile one(Path("scan.dat")), other(Path("scan.dat"));
        for (KxSafeFile const* file : {&one, &other}) names.insert(test::U(file->GetTemporaryPath()));
        one.Write("one", 3);
        one.Commit();
    }
    EXPECT_EQ(names.size(), 200u);
    EXPECT_TRUE(fs::is_symlink(planted) && !fs::exists(File("else.dat")));
    EXPECT_EQ(Get("scan.dat"), "one");
}

}  // namespace
