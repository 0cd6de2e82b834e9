// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/sySafeFile.h"

#include "Support.h"

#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
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
    for (wchar_t const* other : {L"file", L".file.hbtmp-", L".file.hbtmp-ABCDEFGH", L"file.hbtmp-abcdefgh", L""})
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
