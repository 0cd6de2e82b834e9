// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Archives that nobody vouches for.
#include "hbtools/base/syLimits.h"

#include "ZipTest.h"

#include "../base/Allocations.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fstream>
#include <set>
#include <utility>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// How often this process looks through a folder and waits for the medium; files that got a name without that.
struct Calls {
    int folders = 0, syncs = 0, renames = 0, unsynced = 0;
    bool isSynced = false;  // since the last file was locked, as new ones are
    std::multiset<std::string> syncedFolders;
} g_calls;
int g_syncfsError = 0, g_folderError = 0;  // with which these fail
int g_renamesLeft = -1;                    // before the process is killed

template <class Function>
Function* Next(char const* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {
DIR* opendir(char const* path) {
    ++g_calls.folders;
    return Next<DIR*(char const*)>("opendir")(path);
}
int fsync(int number) {
    g_calls.syncs += g_calls.isSynced = true;
    int const left = std::exchange(test::g_allocationsLeft, -1);  // what we take here never fails
    std::filesystem::path const path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(number));
    if (std::filesystem::is_directory(path)) {
        g_calls.syncedFolders.insert(path.filename());
        if ((errno = g_folderError)) return -1;
    }
    test::g_allocationsLeft = left;
    return Next<int(int)>("fsync")(number);
}
int syncfs(int number) noexcept {
    if ((errno = g_syncfsError)) return -1;
    g_calls.syncs += g_calls.isSynced = true;
    return Next<int(int)>("syncfs")(number);
}
int flock(int number, int operation) noexcept {
    g_calls.isSynced = false;
    return Next<int(int, int)>("flock")(number, operation);
}
int rename(char const* from, char const* to) noexcept {
    if (g_renamesLeft >= 0 && g_renamesLeft-- == 0) std::raise(SIGKILL);
    ++g_calls.renames;
    g_calls.unsynced += !g_calls.isSynced;
    return Next<int(char const*, char const*)>("rename")(from, to);
}
}

using namespace KxN;
using namespace std::string_literals;
using test::Archive;
using test::Crc;
using test::Entry;
using test::Little;

namespace {

class HostileZip : public test::Zip {};

TEST_F(HostileZip, NamesStayInTheFolder) {
    std::string const longest(256, 'n'), endless(65000, 'a');
    std::string umlauts, deep, far;  // fewer characters than bytes
    for (int i = 0; i < 128; ++i) umlauts += "\xc3\xa4";
    for (int i = 0; i < 129; ++i) deep += "a/";
    deep += "a";
    for (int i = 0; i < 20; ++i) far += std::string(220, 'f') + '/';
    for (std::string const& name : {"../x"s,
                                    "..\\x"s,
                                    "a/../../x"s,
                                    "/x"s,
                                    "\\x"s,
                                    "C:\\x"s,
                                    "C:x"s,
                                    "\\\\host\\x"s,
                                    "a/.."s,
                                    "con"s,
                                    "a/NUL.txt"s,
                                    "Lpt1"s,
                                    "a."s,
                                    "a "s,
                                    "a:b"s,
                                    "a\0b"s,
                                    "a\nb"s,
                                    "a\x7f"s,
                                    "\xe2\x80\xae.txt"s,
                                    "a\xc2\xad"s,
                                    "\xd8\x9c"s,
                                    "a/\xe1\x85\x9f"s,
                                    "\xe2\x81\xa4"s,
                                    "\xe3\x85\xa4"s,
                                    "a\xef\xbe\xa0"s,
                                    "com\xc2\xb9.txt"s,
                                    "Lpt\xc2\xb2"s,
                                    "COM\xc2\xb3"s,
                                    ".a.txt.hbtmp-abcdefg2"s,
                                    "a/.b.hbtmp-22222222"s,
                                    ""s,
                                    "."s,
                                    "/"s,
                                    "a*"s,
                                    longest,
                                    umlauts,
                                    deep,
                                    far + "x",
                                    endless}) {
        Put("z.zip", Archive({{"good.txt", "1"}, {name, "bad", 0x800}}));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << name;
        EXPECT_TRUE(failure.starts_with("Failed to accept name of current file ")) << failure;
        EXPECT_EQ(CountOut(), 0u) << name;
    }
    Put("z.zip", Archive({{"com-", "1"}, {"\xe4", "no UTF-8, whatever it says", 0x800}}));
    EXPECT_EQ(Unpacked("z.zip").count("com-") + Unpacked("z.zip").count("\xc3\xa4"), 2u);
    std::filesystem::remove_all(File("out"));
    std::string sign, spelt;  // one character that stands for eighteen
    for (int i = 0; i < 5; ++i) sign += "\uFDFA", spelt += "صلى الله عليه وسلم";
    std::vector<Entry> const clashes[] = {{{sign, "1", 0x800}, {spelt, "2", 0x800}},
                                          {{"a.txt", "1"}, {"A.TXT", "2"}},
                                          {{"a", "1"}, {"a/b", "2"}},
                                          {{"a/b", "1"}, {"a", "2"}},
                                          {{"a", "1"}, {"A/", ""}},
                                          {{"a", "1"}, {"a/", ""}},
                                          {{"a", "1"}, {"A", "2"}, {"a", "3"}},
                                          // as file systems that heed neither case nor composition compare them
                                          {{"\xe2\x84\xaa", "1", 0x800}, {"k", "2"}},
                                          {{"stra\xc3\x9f\x65", "1", 0x800}, {"STRASSE", "2"}},
                                          {{"\xc3\xa9", "1", 0x800}, {"e\xcc\x81", "2", 0x800}}};
    for (auto const& entries : clashes) {
        Put("z.zip", Archive(entries));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << entries[1].name;
    }
    // Of the very same name the last one, once.
    Put("z.zip", Archive({{"a/b", "1"}, {"c", "2"}, {"a//b", "3"}, {"c", "4"}, {"a\\b", "5"}, {"a/", ""}, {"a/", ""}}));
    g_calls = {};
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"a\\b", "5"}, {"c", "4"}}));
    EXPECT_EQ(g_calls.renames, 2);
    std::filesystem::remove_all(File("out"));
    Put("z.zip", Archive({{"a/./b//c.txt", "fine"}, {"a/", ""}, {"d/e/", ""}}));
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"a\\.\\b\\\\c.txt", "fine"}}));
    EXPECT_EQ(Get("out/a/b/c.txt"), "fine");
    EXPECT_TRUE(std::filesystem::is_directory(File("out/d/e")));
    // A link that stands there already and leads out.
    std::filesystem::create_directories(File("elsewhere"));
    std::filesystem::create_directory_symlink(File("elsewhere"), File("out/link"));
    std::filesystem::create_symlink("../elsewhere/file", File("out/file"));
    for (char const* name : {"link/x", "link/new/x", "link/new/", "file"}) {
        Put("z.zip", Archive({{name, ""}}));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << name;
        EXPECT_NE(failure, "") << name;
        EXPECT_TRUE(std::filesystem::is_empty(File("elsewhere"))) << name;
    }
}

// What other systems write beside the bytes: links, modes, another name in front of them, times that are none.
TEST_F(HostileZip, OnlyBytesNamesAndTimesComeOut) {
    auto const onUnix = [](std::string archive, unsigned mode) {  // every entry
        for (std::size_t at = 0; (at = archive.find("PK\1\2", at)) != archive.npos; ++at)
            archive.replace(at + 5, 1, "\3").replace(at + 38, 4, Little(mode << 16, 4));
        return archive;
    };
    std::filesystem::create_directories(File("elsewhere"));
    std::string const target = "../elsewhere", endless(5000, 'x');
    Put("z.zip", onUnix(Archive({{"link", target}, {"endless", endless}}), 0120777));
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"link", target}, {"endless", endless}}));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(File("out/link"))));
    std::filesystem::remove_all(File("out"));
    Put("z.zip", onUnix(Archive({{"link", target}, {"link/x", "bad"}}), 0120777));
    std::string failure;
    EXPECT_TRUE(Unpacked("z.zip", &failure).empty() && CountOut() == 0 && failure.find("link\\x") != failure.npos);
    EXPECT_TRUE(std::filesystem::is_empty(File("elsewhere")));
    Put("z.zip", onUnix(Archive({{"tool", "x"}}), 0107777));
    EXPECT_EQ(Unpacked("z.zip").size(), 1u);
    auto const special = static_cast<std::filesystem::perms>(07111);
    EXPECT_EQ(std::filesystem::status(File("out/tool")).permissions() & special, std::filesystem::perms::none);
    std::string renamed = Archive({{"one", "first"}});
    Put("z.zip", renamed.replace(30, 3, "two"));  // the directory counts
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"one", "first"}}));
    EXPECT_FALSE(std::filesystem::exists(File("out/two")));
    auto const secondsOf = [&](char const* name) {
        return std::chrono::system_clock::to_time_t(std::chrono::time_point_cast<std::chrono::system_clock::duration>(
            std::chrono::file_clock::to_sys(std::filesystem::last_write_time(File(name)))));
    };
    struct Case {
        unsigned stored;
        int year, month, day, hour, minute, second;
    };
    for (Case const& c : {Case{0, 1980, 1, 1, 0, 0, 0}, Case{~0U, 2107, 12, 31, 23, 59, 59},
                          Case{0x74320000, 2038, 1, 18, 0, 0, 0}, Case{0x7433bf7d, 2038, 1, 19, 23, 59, 58}}) {
        std::string archive = Archive({{"one", "first"}});
        Put("z.zip", archive.replace(archive.find("PK\1\2") + 12, 4, Little(c.stored, 4)));
        EXPECT_EQ(Unpacked("z.zip").size(), 1u);
        std::time_t const seconds = secondsOf("out/one");
        std::tm const* const local = std::localtime(&seconds);
        EXPECT_TRUE(local->tm_year == c.year - 1900 && local->tm_mon == c.month - 1 && local->tm_mday == c.day &&
                    local->tm_hour == c.hour && local->tm_min == c.minute && local->tm_sec == c.second)
            << std::asctime(local);
    }
    // Times that few file systems have; one in memory has all of them.
    bool const hasMemory = std::filesystem::is_directory("/dev/shm");
    std::filesystem::path const old = hasMemory ? "/dev/shm" / File("old").parent_path().filename() : File("old");
    for (auto const& [seconds, stored] : {std::pair{-99999999999LL, 0x00210000U},
                                          {-2208988800LL, 0x00210000U},
                                          {7258118400LL, 0xff9fbf7dU},
                                          {253402300800LL, 0xff9fbf7dU},
                                          {-(1LL << 62), 0x00210000U},
                                          {1LL << 62, 0xff9fbf7dU}}) {
        std::ofstream(old) << "old";
        timespec const times[2] = {{seconds, 0}, {seconds, 0}};
        struct stat status;
        if (::utimensat(AT_FDCWD, old.c_str(), times, 0) != 0 || ::stat(old.c_str(), &status) != 0) continue;
        if (status.st_mtim.tv_sec != seconds) continue;  // this file system has no such years
        KxZipHelper::CompressFile(KxxFromSystemPath(old.string()), Path("old.zip"), L"", L"");
        EXPECT_EQ(Get("old.zip").substr(10, 4), Little(stored, 4));
        std::filesystem::remove(File("old.zip"));
    }
    std::filesystem::remove(old);
}

TEST_F(HostileZip, DamagedArchivesBringNothingWrong) {
    std::string const good = Archive({{"one.txt", "first"}, {"two.txt", "second"}}, "comment");
    Put("z.zip", good);
    std::map<std::string, std::string> const whole = {{"one.txt", "first"}, {"two.txt", "second"}};
    EXPECT_EQ(Unpacked("z.zip"), whole);
    std::filesystem::remove_all(File("out"));
    for (std::size_t size = 0; size < good.size(); ++size) {
        Put("z.zip", good.substr(0, size));
        std::string failure;
        EXPECT_TRUE(Unpacked("z.zip", &failure).empty()) << size;
    }
    for (std::size_t at = 0; at < good.size(); ++at) {
        std::string changed = good;
        changed[at] = static_cast<char>(changed[at] ^ 0x41);
        Put("z.zip", changed);
        KxTMap<KxString, KxString> files;
        try {
            KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files);
        } catch (KxException* exception) {
            exception->Delete();
        }
        for (auto const& file : files) {  // under whatever name, never another content
            std::string const content = Get(test::U(file.value).substr(m_folder.string().size() + 1));
            EXPECT_TRUE(content == "first" || content == "second") << at;
        }
        std::filesystem::remove_all(File("out"));
    }
    struct Case {
        Entry entry;
        char const* part;
    };
    for (Case const& c :
         {Case{{"a", "data", 0, 0, 1}, "wrong checksum"},
          Case{{"a", "data", 1}, "encrypted, or compressed by method 0"},
          Case{{"a", "data", 0, 14}, "compressed by method 14"}, Case{{"a", "data", 0, 0, 0, 100}, "current file a"},
          Case{{"a", "data", 0, 0, 0, -2}, "current file a"}}) {
        Put("z.zip", Archive({{"good.txt", "1"}, c.entry}));
        std::string failure;
        EXPECT_EQ(Unpacked("z.zip", &failure), (std::map<std::string, std::string>{{"good.txt", "1"}}));
        EXPECT_NE(failure.find(c.part), std::string::npos) << failure;
        EXPECT_EQ(CountOut(), 1u);  // no half file
        std::filesystem::remove_all(File("out"));
    }
}

TEST_F(HostileZip, DirectoriesThatLieAreRefused) {
    std::string const good = Archive({{"one", "first"}, {"two", "second"}}), numbers = Little(1, 2) + Little(8, 2);
    std::size_t const second = good.rfind("PK\1\2"), end = good.size() - 22, first = good.find("PK\1\2");
    auto const with = [&](std::size_t at, std::string const& bytes) {
        return std::string(good).replace(at, bytes.size(), bytes);
    };
    // The same with an end record for large numbers, `extra` in it.
    auto const large = [&](std::string const& extra, unsigned wrong) {
        std::string const numbersOfAll = Little(2, 8) + Little(2, 8) + Little(end - first, 8) + Little(first, 8);
        return good.substr(0, end) + "PK\6\6" + Little(44 + extra.size() + wrong, 8) + Little(45, 2) + Little(45, 2) +
               Little(0, 8) + numbersOfAll + extra + "PK\6\7" + Little(0, 4) + Little(end, 8) + Little(1, 4) +
               "PK\5\6" + Little(0, 4) + std::string(12, '\xff') + Little(0, 2);
    };
    std::string const whole = large("", 0);
    auto const largeWith = [&](std::size_t at, std::string const& bytes) {  // behind the 56 and 20 bytes the small end
        return std::string(whole).replace(end + at, bytes.size(), bytes);
    };
    struct Case {
        char const* what;
        std::string archive;
        char const* failure;  // null if all is well
    } const cases[] = {
        {"count too large", with(end + 8, Little(3, 2) + Little(3, 2)), "file no. 3 in zip"},
        {"count too small", with(end + 8, Little(1, 2) + Little(1, 2)), "file no. 3 in zip"},
        {"counts contradict", with(end + 8, Little(1, 2)), "Failed to open zip file"},
        {"several parts", with(end + 4, Little(1, 2)), "one of several parts"},
        {"directory too long", with(end + 12, Little(~0U, 4)), "no directory"},
        {"comment of the last entry too long", with(second + 32, Little(30, 2)), "file no. 2 in zip"},
        {"entry behind the directory", with(second + 42, Little(good.find("PK\1\2") + 1, 4)), "file no. 2 in zip"},
        {"entries on top of each other", with(second + 42, Little(0, 4)), "entries overlap"},
        {"second entry damaged", with(second, "PK\1\3"), "file no. 2 in zip"},
        {"first entry damaged", with(good.find("PK\1\2"), "PK\1\3"), "Failed to go to first file in zip file: "},
        {"a locator of nothing in the comment",
         Archive({{"one", "first"}, {"two", "second"}},
                 "PK\6\7" + Little(0, 4) + Little(5, 8) + Little(1, 4) + "comment"),
         nullptr},
        {"the same in a file",
         Archive({{"one", "first"}, {"two", "second"}, {"z", "PK\6\7" + Little(0, 4) + Little(5, 8) + Little(1, 4)}}),
         nullptr},
        {"a large offset that nobody asked for",
         Archive({{"one", "first"}, {"two", "second", 0, 0, 0, 0, numbers + Little(0, 8)}}), nullptr},
        {"something in front", "#!/bin/sh\n" + good, nullptr},
        {"a long large end", large("more than we know", 0), nullptr},
        {"the same, and something in front", "#!/bin/sh\n" + large("", 0), nullptr},
        {"a large end of another length", large("more", 1), "no directory"},
        {"a count beyond all numbers", largeWith(24, Little(1ULL << 63, 8) + Little(1ULL << 63, 8)),
         "file no. 3 in zip"},
        {"large counts contradict", largeWith(24, Little(3, 8)), "contradict"},
        {"the small count contradicts", largeWith(76 + 10, Little(3, 2)), "contradict"},
        {"the small size contradicts", largeWith(76 + 12, Little(3, 4)), "contradict"},
        {"the small offset contradicts", largeWith(76 + 16, Little(3, 4)), "contradict"},
        {"a small end that says the same", largeWith(76 + 10, Little(2, 2)), nullptr},
        {"a locator that leads nowhere", largeWith(56 + 8, Little(~0ULL, 8)), nullptr},
        {"a large offset without its field",
         Archive({{"one", "first"}, {"two", "second", 0, 0, 0, 0, Little(1, 2) + Little(4, 2) + Little(0, 4)}})
             .replace(second + 42, 4, Little(~0U, 4)),
         "file no. 2 in zip"},
        {"two large ends", large(large("", 0).substr(end, 56), 0), "contradict"},
        {"too much behind", good + std::string(65537, 'x'), "no zip file"},
        {"behind it the end of another comment", with(end + 20, Little(good.size() + 3, 2)) + good + "xyz",
         "contradict"},
    };
    Put("new", "new");
    for (Case const& c : cases) {
        Put("z.zip", c.archive);
        std::string failure;
        auto files = Unpacked("z.zip", c.failure ? &failure : nullptr);
        std::filesystem::remove_all(File("out"));
        if (c.failure) {
            EXPECT_TRUE(files.empty() && failure.find(c.failure) != failure.npos) << c.what << ": " << failure;
            EXPECT_EQ(test::Thrown<KxException>([&] {
                          KxZipHelper::CompressFile(Path("new"), Path("z.zip"), L"", L"");
                      }).find("Failed to create zip file: "),
                      0u);
            EXPECT_TRUE(Get("z.zip") == c.archive) << c.what;
        } else {
            EXPECT_TRUE(files["one"] == "first" && files["two"] == "second") << c.what;
            KxZipHelper::CompressFile(Path("new"), Path("z.zip"), L"", L"");
            files["new"] = "new";
            EXPECT_TRUE(Unpacked("z.zip") == files) << c.what;
            EXPECT_EQ(Run("! which unzip || unzip -tq z.zip || [ $? -eq 1 ]"), 0) << c.what;  // 1: it warns
        }
    }
    Put("z.zip", Archive({{"one", "first"}, {"full/", "second"}, {"empty/", ""}}));
    std::string failure;
    EXPECT_EQ(Unpacked("z.zip", &failure), (std::map<std::string, std::string>{{"one", "first"}}));
    EXPECT_NE(failure.find("file full\\ in zip"), failure.npos) << failure;
    EXPECT_TRUE(std::filesystem::is_directory(File("out/empty")));
    // What stands behind the end is passed over, and nothing is added to that.
    std::string const similar = "PK\5\6, and so on, as an end begins";
    Put("z.zip", Archive({}) + "behind");
    EXPECT_TRUE(Unpacked("z.zip").empty());
    Put("z.zip", Archive({{"one", "first"}, {"two", similar}}) + std::string(65536, 'x'));
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{{"one", "first"}, {"two", similar}}));
    EXPECT_NE(test::Thrown<KxException>([&] {
                  KxZipHelper::CompressFile(Path("new"), Path("z.zip"), L"", L"");
              }).find("something stands behind its end"),
              std::string::npos);
}

TEST_F(HostileZip, TheMediumIsHeard) {
    Put("z.zip", Archive({{"a/1", "one"}, {"b/2", "two"}, {"3", "three"}}));
    std::map<std::string, std::string> const all = {{"a\\1", "one"}, {"b\\2", "two"}, {"3", "three"}};
    std::string const folder = m_folder.filename();
    std::multiset<std::string> const folders = {folder, "a", "b", "out"};  // where there are new names
    for (int error : {0, ENOSYS, EPERM, EINVAL}) {  // where all cannot be flushed at once each file is
        std::filesystem::remove_all(File("out"));
        g_calls = {};
        g_syncfsError = error;
        EXPECT_EQ(Unpacked("z.zip"), all);
        EXPECT_EQ(g_calls.syncs, 4 + (error ? 3 : 1));
        EXPECT_EQ(g_calls.syncedFolders, folders);
    }
    std::filesystem::remove_all(File("out"));
    g_syncfsError = EIO;
    std::string failure;
    EXPECT_TRUE(Unpacked("z.zip", &failure).empty());
    EXPECT_TRUE(failure.starts_with("Failed to write file: " + File("out/a/1").string())) << failure;
    EXPECT_EQ(CountOut(), 0u);
    // A folder that fails keeps no other from being flushed, and is not tried again.
    g_syncfsError = 0;
    g_folderError = EIO;
    std::filesystem::remove_all(File("out"));
    g_calls = {};
    EXPECT_EQ(Unpacked("z.zip", &failure), all);
    EXPECT_EQ(g_calls.syncedFolders, folders);
    EXPECT_TRUE(failure.starts_with("Failed to write file: " + m_folder.string() + ": ")) << failure;
    g_folderError = 0;
    // Killed between two names: each file is the former one or the new one, and the next time nothing is left over.
    for (unsigned killed = 0; killed < 3; ++killed) {
        std::filesystem::remove_all(File("out"));
        std::filesystem::create_directories(File("out"));
        Put("out/3", "former");
        EXPECT_EXIT((g_renamesLeft = static_cast<int>(killed), Unpacked("z.zip")), testing::KilledBySignal(SIGKILL),
                    "");
        EXPECT_EQ(Get("out/a/1") + Get("out/b/2") + Get("out/3"),
                  std::string("onetwo").substr(0, 3u * killed) + "former");
        EXPECT_GT(CountOut(), 1u + killed);
        EXPECT_EQ(Unpacked("z.zip"), all);
        EXPECT_EQ(CountOut(), 3u);
    }
}

TEST_F(HostileZip, EffortGrowsWithTheArchiveAlone) {
    auto const entries = [](int count, int depth) {
        std::vector<Entry> all;
        for (int i = 0; i < count; ++i) {
            all.push_back({std::to_string(i), "x"});
            for (int folder = 0; folder < depth; ++folder) all.back().name.insert(0, "f/");
        }
        return all;
    };
    auto const bytesOf = [&](int count, int depth) {  // for names that are found to clash, so nothing is made
        std::vector<Entry> all = entries(count, depth);
        all.push_back({all[0].name + "/x", "x"});
        Put("z.zip", Archive(all));
        std::size_t const before = test::g_allocatedBytes;
        std::string failure;
        Unpacked("z.zip", &failure);
        EXPECT_NE(failure, "");
        return test::g_allocatedBytes - before;
    };
    EXPECT_LT(bytesOf(2000, 1), 12 * bytesOf(200, 1));
    EXPECT_LT(bytesOf(200, 120), 12 * bytesOf(200, 12));
    auto const callsOf = [&](int count) {
        Put("z.zip", Archive(entries(count, 1)));
        std::filesystem::remove_all(File("out"));
        g_calls = {};
        EXPECT_EQ(Unpacked("z.zip").size(), static_cast<std::size_t>(count));
        EXPECT_EQ(g_calls.renames, count);
        EXPECT_EQ(g_calls.unsynced, 0);
        return g_calls;
    };
    Calls const few = callsOf(20), many = callsOf(200);
    EXPECT_EQ(many.folders, few.folders);
    EXPECT_LT(many.syncs, few.syncs + 10);  // none for each file, or for its folder
}

TEST_F(HostileZip, EachAllocationMayFail) {
    Put("old", "old");
    Put("new", "new");
    KxZipHelper::CompressFile(Path("old"), Path("old.zip"), L"", L"");
    std::string const before = Get("old.zip");
    auto const failing = [&](int n, auto action) {  // whether it got through
        test::g_allocationsLeft = n;
        bool isDone = false;
        try {
            action();
            isDone = true;
        } catch (CException* exception) {
            test::g_allocationsLeft = -1;
            exception->Delete();
        } catch (std::bad_alloc const&) {}
        test::g_allocationsLeft = -1;
        return isDone;
    };
    for (int n = 0, isDone = false; !isDone; ++n) {
        Put("z.zip", before);
        isDone = failing(n, [&] { KxZipHelper::CompressFile(Path("new"), Path("z.zip"), L"in", L"c"); });
        ASSERT_TRUE(isDone || Get("z.zip") == before) << n;
        ASSERT_EQ(CountFiles(), 4u) << n;
    }
    for (int n = 0, isDone = false; !isDone; ++n) {
        std::filesystem::remove_all(File("out"));
        KxTMap<KxString, KxString> files;
        isDone = failing(n, [&] { KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files); });
        for (auto const& file : files) ASSERT_EQ(std::filesystem::file_size(test::U(file.value)), 3u) << n;
        ASSERT_TRUE(CountOut() == static_cast<std::size_t>(files.Count()) || !isDone) << n;
        ASSERT_LE(CountOut(), 2u) << n;
    }
}

TEST_F(HostileZip, BoundsHold) {
    Put("zeros", std::string(5000000, '\0'));
    KxZipHelper::CompressFile(Path("zeros"), Path("z.zip"), L"", L"");
    struct Case {
        unsigned long long total, ratio;
    };
    for (Case const& c : {Case{4999999, 1100}, Case{1ULL << 40, 100}}) {
        auto const total = std::exchange(KxxLimits().zipTotal, c.total),
                   ratio = std::exchange(KxxLimits().zipRatio, c.ratio);
        std::string failure;
        Unpacked("z.zip", &failure);
        KxxLimits().zipTotal = total;
        KxxLimits().zipRatio = ratio;
        EXPECT_NE(failure.find("more data than allowed"), std::string::npos);
        EXPECT_EQ(CountOut(), 0u);
    }
    auto const ratio = std::exchange(KxxLimits().zipRatio, ~0ULL);  // any: the product has no number
    EXPECT_EQ(Unpacked("z.zip").size(), 1u);
    KxxLimits().zipRatio = ratio;
    // Sizes whose sum has none either: progress is told all the same, and the archive refused where it lies.
    std::string const most = Little(1, 2) + Little(8, 2) + Little(~0ULL, 8);
    Put("z.zip", Archive({{"a", "x", 0, 0, 0, -2, most}, {"b", "x", 0, 0, 0, -2, most}}));
    KxTMap<KxString, KxString> files;
    EXPECT_NE(test::Thrown<KxException>([&] {
                  KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files,
                                               [](auto, auto all) { EXPECT_EQ(all, ~0ULL); });
              }).find("current file a"),
              std::string::npos);
}

TEST_F(HostileZip, LargeNumbersStandInFieldsOfTheirOwn) {
    PutLarge("z.zip", 1000, Crc(std::string(1000, '\0')));
    Put("small", "small");
    KxZipHelper::CompressFile(Path("small"), Path("z.zip"), L"", L"");
    std::string const bytes = Get("z.zip");
    EXPECT_EQ(Unpacked("z.zip"), (std::map<std::string, std::string>{
                                     {"zeros", std::string(1000, '\0')}, {"tail", "tail"}, {"small", "small"}}));
    for (std::size_t at = 0; at < bytes.size(); at += at == 63 ? 950 : 1) {  // all but the zeros
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 0x81);
        Put("z.zip", changed);
        std::filesystem::remove_all(File("out"));
        KxTMap<KxString, KxString> files;
        try {
            KxZipHelper::UncompressFiles(Path("z.zip"), Path("out"), files);
        } catch (KxException* exception) {
            exception->Delete();
        }
        for (auto const& file : files) {
            std::size_t const length = std::filesystem::file_size(test::U(file.value));
            EXPECT_TRUE(length == 1000 || length == 4 || length == 5) << at;
        }
    }
}

}  // namespace
