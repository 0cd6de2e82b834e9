// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/sySafeFile.h"

#include "hbtools/base/syFile.h"
#include "hbtools/base/syWnd.h"

#include "Support.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using namespace KxN;
namespace fs = std::filesystem;

class SafeFile : public test::TempFolder {
protected:
    /// The system error number with which saving fails; 0 if it does not.
    static unsigned long Save(KxString const& path, std::string_view bytes) {
        try {
            KxxSaveFile(path, bytes);
        } catch (KxFileException* exception) {
            auto* const known = dynamic_cast<KxDirEntryException*>(exception);
            unsigned long const code = known ? known->GetCode() : 9999;
            EXPECT_TRUE(!path || exception->GetMessage().Search(path, 0) >= 0);
            exception->Delete();
            return code;
        }
        return 0;
    }
};

TEST_F(SafeFile, ReplacesWholeAndKeepsWhatBelongsToTheFile) {
    EXPECT_EQ(Save(Path("new"), "one"), 0u);
    EXPECT_EQ(Get("new"), "one");
    mode_t const mask = ::umask(0);
    ::umask(mask);
    struct stat status;
    ASSERT_EQ(::stat(File("new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);

    Put("old", "before");
    ASSERT_EQ(::chmod(File("old").c_str(), 0604), 0);
    bool const isRoot = ::chown(File("old").c_str(), 12345, 12346) == 0;
    fs::create_symlink("old", File("link"));
    fs::create_symlink(File("link"), File("link2"));
    EXPECT_EQ(Save(Path("link2"), "after"), 0u);
    EXPECT_EQ(Get("old"), "after");
    EXPECT_TRUE(fs::is_symlink(File("link")) && fs::is_symlink(File("link2")));
    ASSERT_EQ(::stat(File("old").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0604u);
    if (isRoot) {
        EXPECT_EQ(status.st_uid, 12345u);
        EXPECT_EQ(status.st_gid, 12346u);
        ASSERT_EQ(::chown(File("new").c_str(), 0, 12346), 0);  // the group alone
        EXPECT_EQ(Save(Path("new"), "two"), 0u);
        ASSERT_EQ(::stat(File("new").c_str(), &status), 0);
        EXPECT_TRUE(status.st_uid == 0 && status.st_gid == 12346);
    }
    fs::create_symlink("target", File("dangling"));
    EXPECT_EQ(Save(Path("dangling"), "x"), 0u);
    EXPECT_EQ(Get("target"), "x");
    EXPECT_EQ(CountFiles(), 6u);
}

TEST_F(SafeFile, OfHardLinksTheGivenOneGetsTheNewFile) {
    Put("one", "old");
    fs::create_hard_link(File("one"), File("two"));
    EXPECT_EQ(Save(Path("one"), "new"), 0u);
    EXPECT_EQ(Get("one") + Get("two"), "newold");
    EXPECT_EQ(CountFiles(), 2u);
}

TEST_F(SafeFile, ProcessesThatSaveOneFileLeaveAWholeOne) {
    constexpr int processes = 4, rounds = 50;
    Put("file", std::string(20000, '0'));
    std::vector<pid_t> children;
    for (int i = 1; i <= processes; ++i) {
        pid_t const child = ::fork();
        if (child == 0) {
            int failures = 0;
            for (int round = 0; round < rounds; ++round)
                failures += Save(Path("file"),
                                 std::string(static_cast<std::size_t>(20000 + i), static_cast<char>('0' + i))) != 0;
            ::_exit(failures);
        }
        children.push_back(child);
    }
    // Whoever reads meanwhile sees a whole one too.
    auto const isWhole = [](std::string const& bytes) {
        return !bytes.empty() && bytes == std::string(static_cast<std::size_t>(20000 + bytes[0] - '0'), bytes[0]);
    };
    for (pid_t const child : children) {
        int status = 0;
        while (::waitpid(child, &status, WNOHANG) == 0) EXPECT_TRUE(isWhole(Get("file")));
        EXPECT_EQ(status, 0) << "a save was refused";
    }
    EXPECT_TRUE(isWhole(Get("file")) && Get("file")[0] != '0');
    EXPECT_EQ(CountFiles(), 1u);
}

TEST_F(SafeFile, FailuresLeaveTheOldFileAndNothingElse) {
    Put("file", "old");
    Put("protected", "old");
    ASSERT_EQ(::chmod(File("protected").c_str(), 0444), 0);
    fs::create_symlink("loop", File("loop"));
    ASSERT_EQ(::mkfifo(File("pipe").c_str(), 0600), 0);
    struct {
        KxString path;
        unsigned long code;
    } const cases[] = {
        {Path("protected"), EACCES},
        {Path("loop"), ELOOP},
        {Path("pipe"), EINVAL},
        {Path("no/file"), ENOENT},
        {Path("file/x"), ENOTDIR},
        {Path("."), EISDIR},
        {KxString(), ENOENT},
        {Path(std::string(300, 'n')), ENAMETOOLONG},
        {Path("") + L"a" + KxString(std::wstring(1, L'\0')), EINVAL},
    };
    for (auto const& c : cases) EXPECT_EQ(Save(c.path, "new"), c.code) << test::U(c.path);
    {
        test::SizeLimit const limit(1000);
        EXPECT_EQ(Save(Path("file"), std::string(5000, 'x')), static_cast<unsigned long>(EFBIG));  // and we live on
    }
    EXPECT_EQ(Get("file"), "old");
    EXPECT_EQ(Get("protected"), "old");
    EXPECT_EQ(CountFiles(), 4u);
    std::string const longName(250, 'n');
    EXPECT_EQ(Save(Path(longName), "x"), 0u);  // the new file's own name is cut to fit
}

// Access lists and attributes go over; the mask of the process matters for new files only.
TEST_F(SafeFile, AttributesGoOverAndTheMaskIsForNewFiles) {
    Put("file", "old");
    // Version 2; the owner may read and write, user 12345 read, the group and the mask read, all others nothing.
    std::string const list(
        "\2\0\0\0\1\0\6\0\xff\xff\xff\xff\2\0\4\0\x39\x30\0\0\4\0\4\0\xff\xff\xff\xff\x10\0\4\0\xff\xff\xff\xff"
        "\x20\0\0\0\xff\xff\xff\xff",
        44);
    std::pair<char const*, std::string> const attributes[] = {{"user.device", "scanner 7"},
                                                              {"system.posix_acl_access", list}};
    std::vector<bool> isSet;
    for (auto const& [name, value] : attributes)
        isSet.push_back(::setxattr(File("file").c_str(), name, value.data(), value.size(), 0) == 0);
    mode_t const former = ::umask(0777);
    EXPECT_EQ(Save(Path("file"), "new"), 0u);
    EXPECT_EQ(Save(Path("nobodys"), "new"), 0u);
    ::umask(former);
    for (std::size_t i = 0; i < std::size(attributes); ++i) {
        if (!isSet[i]) continue;  // a file system without
        std::string value(100, '?');
        ssize_t const size = ::getxattr(File("file").c_str(), attributes[i].first, value.data(), value.size());
        EXPECT_EQ(value.substr(0, static_cast<std::size_t>(std::max<ssize_t>(0, size))), attributes[i].second);
    }
    EXPECT_EQ(Get("file"), "new");
    EXPECT_EQ(static_cast<int>(fs::status(File("nobodys")).permissions()), 0);
    EXPECT_EQ(Save(Path("nobodys"), "newer"), static_cast<unsigned long>(EACCES));
}

TEST_F(SafeFile, WhoMayNotKeepWhatBelongsToTheFileIsRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of others";
    for (char const* name : {"shut", "open"}) {
        fs::create_directory(File(name));
        Put(std::string(name) + "/file", "old");
        fs::permissions(File(name) / "file", fs::perms(0666));
    }
    fs::permissions(m_folder, fs::perms(0755));
    fs::permissions(File("shut"), fs::perms(0555));
    fs::permissions(File("open"), fs::perms(0777));
    fs::create_directory(File("blind"));
    fs::permissions(File("blind"), fs::perms(0333));
    ASSERT_EQ(::chown((File("shut") / "file").c_str(), 65534, 65534), 0);
    ASSERT_TRUE(::setegid(65534) == 0 && ::seteuid(65534) == 0);
    unsigned long const shut = Save(Path("shut/file"), "new"), open = Save(Path("open/file"), "new"),
                        blind = Save(Path("blind/file"), "new");
    ASSERT_TRUE(::seteuid(0) == 0 && ::setegid(0) == 0);
    EXPECT_EQ(shut, static_cast<unsigned long>(EACCES)) << "the folder takes no new file";
    EXPECT_EQ(open, static_cast<unsigned long>(EPERM)) << "the new file would have another owner";
    EXPECT_EQ(blind, 0u) << "what may be written need not be read";
    EXPECT_EQ(Get("shut/file") + Get("open/file") + Get("blind/file"), "oldoldnew");
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(m_folder), {}), 6);
}

// Each case is a process of its own: saving looks at the signal once.
TEST_F(SafeFile, AHandlerForFullFilesStaysDeathTest) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    static std::atomic<int> calls;
    for (int const flags : {0, SA_SIGINFO}) {
        auto const run = [&] {
            struct sigaction own {};
            own.sa_flags = flags;
            own.sa_handler = [](int) { ++calls; };  // more arguments do no harm
            ::sigaction(SIGXFSZ, &own, nullptr);
            test::SizeLimit const limit(10);
            bool const isRefused = Save(Path("file"), std::string(50, 'x')) == EFBIG;
            std::_Exit(isRefused && calls > 0 && CountFiles() == 0 ? 7 : 1);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(7), "") << flags;
    }
}

// What is meant for them would otherwise stand among the measurements.
TEST_F(SafeFile, NoFileTakesThePlaceOfStandardOutput) {
    for (int const closed : {0, 1, 2, 3}) {  // each alone, then all
        auto const run = [&] {
            for (int number = 0; number < 3; ++number)
                if (closed == number || closed == 3) ::close(number);
            CFile file(Path("file"), CFile::modeReadWrite | CFile::modeCreate);
            KxSafeFile safe(Path("safe"));
            test::Append(file, "measured ");
            safe.Write("measured ", 9);
            AfxMessageBox(L"text");
            if (closed == 3 && (::write(0, "text", 4) != -1 || ::write(1, "text", 4) != -1)) std::_Exit(1);
            test::Append(file, "whole");
            safe.Write("whole", 5);
            file.Close();
            safe.Commit();
            std::_Exit(Get("file") == "measured whole" && Get("safe") == "measured whole" ? 7 : 2);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(7), "") << closed;
    }
}

TEST_F(SafeFile, WithoutCommitNothingHappens) {
    Put("file", "old");
    KxString temporary;
    {
        KxSafeFile file(Path("file"));
        file.Write("new", 3);
        temporary = file.GetTemporaryPath();
        EXPECT_EQ(CountFiles(), 2u);
        struct stat status;
        ASSERT_EQ(::stat(KxxToSystemPath(temporary.View()).c_str(), &status), 0);
    }
    EXPECT_EQ(Get("file"), "old");
    EXPECT_EQ(CountFiles(), 1u);
    KxString const name = temporary.Copy(temporary.Search(L"/.file.", 0) + 1, 999);
    EXPECT_TRUE(KxxIsTemporaryName(name));
    for (wchar_t const* other :
         {L"file", L".file.hbtmp-", L".measured-abcdefgh", L".file.hbtmp-ABCDEFGH", L"file.hbtmp-abcdefgh", L""})
        EXPECT_FALSE(KxxIsTemporaryName(other));

    KxSafeFile file(Path("file"));
    std::ofstream(KxxToSystemPath(file.GetTemporaryPath().View())) << "by path";
    file.Commit();
    EXPECT_EQ(Get("file"), "by path");
    test::Thrown<KxFileException>([&] { file.Commit(); });
    test::Thrown<KxFileException>([&] { file.Write("x", 1); });
    EXPECT_EQ(Get("file"), "by path");
}

TEST_F(SafeFile, WhatAKilledProcessLeftGoesAtTheNextSaveOfThatFile) {
    Put("file", "old");
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::string const longName(250, 'n');
    pid_t const child = ::fork();
    if (child == 0) {
        KxSafeFile const file(Path("file")), other(Path("other")), cut(Path(longName));
        EXPECT_EQ(::write(ends[1], "", 1), 1);
        ::pause();
    }
    char ready;
    ASSERT_EQ(::read(ends[0], &ready, 1), 1);
    EXPECT_EQ(Save(Path("file"), "while it is held"), 0u);
    EXPECT_EQ(CountFiles(), 4u);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    // What only looks alike.
    Put(".file.hbtmp-ABCDEFGH", "");
    Put(".file.hbtmp-abcdefghi", "");
    Put("xfile.hbtmp-abcdefgh", "");
    fs::create_directory(File(".file.hbtmp-aaaaaaaa"));
    fs::create_symlink("file", File(".file.hbtmp-bbbbbbbb"));
    KxSafeFile own(Path("file"));  // of this process
    EXPECT_EQ(Save(Path("file"), "new"), 0u);
    EXPECT_EQ(Get("file"), "new");
    EXPECT_EQ(CountFiles(), 9u);  // file, the five, own, and those of the other two
    own.Write("own", 3);
    own.Commit();
    EXPECT_EQ(Get("file"), "own");
    EXPECT_EQ(Save(Path("other"), ""), 0u);
    EXPECT_EQ(Save(Path(longName), ""), 0u);
    EXPECT_EQ(CountFiles(), 8u);
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace
