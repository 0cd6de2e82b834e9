// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDirEntry.h"

#include "Support.h"

#include <cerrno>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace KxN;
using test::U;
namespace fs = std::filesystem;

TEST(DirEntry, PartsOfAPath) {
    struct {
        wchar_t const* path;
        std::string full, name, base, extension, parent;
        bool isAbsolute;
    } const cases[] = {
        {L"", "", "", "", "", "", false},
        {L"/", "/", "", "", "", "/", true},
        {L"///", "/", "", "", "", "/", true},
        {L"a", "a", "a", "a", "", "", false},
        {L"/a", "/a", "a", "a", "", "/", true},
        {L"/a//b/", "/a/b", "b", "b", "", "/a", true},
        {L"dir.d/scan.tar.gz", "dir.d/scan.tar.gz", "scan.tar.gz", "scan.tar", "gz", "dir.d", false},
        {L"dir.d/scan", "dir.d/scan", "scan", "scan", "", "dir.d", false},
        {L".profile", ".profile", ".profile", ".profile", "", "", false},
        {L"a.", "a.", "a.", "a", "", "", false},
        {L"..", "..", "..", "..", "", "", false},
        {L"a\\b.c", "a\\b.c", "a\\b.c", "a\\b", "c", "", false},
        {L"/Größe/ä.txt", "/Größe/ä.txt", "ä.txt", "ä", "txt", "/Größe", true},
    };
    for (auto const& c : cases) {
        KxDirEntry const entry(c.path);
        SCOPED_TRACE(c.full);
        EXPECT_EQ(U(entry.GetFull()), c.full);
        EXPECT_EQ(U(entry.GetName()), c.name);
        EXPECT_EQ(U(entry.GetBase()), c.base);
        EXPECT_EQ(U(entry.GetExtension(L'.')), c.extension);
        EXPECT_EQ(U(entry.GetPath().GetFull()), c.parent);
        EXPECT_EQ(entry.IsAbs(), c.isAbsolute);
        KxDirEntry cut = entry;
        EXPECT_EQ(U(cut.CutName(KxTools::FSYS_STYLE_HOST)), c.name);
        EXPECT_EQ(U(cut.GetFull()), c.parent);
    }
    EXPECT_FALSE(KxDirEntry().IsValid());
    EXPECT_FALSE(KxDirEntry(KxString(std::wstring(L"a\0b", 3))).IsValid());
}

TEST(DirEntry, WritingAndChanging) {
    KxTools::DirEntry const dos(KxTools::String(L"data\\scans/a.tag"), KxTools::FSYS_STYLE_DOS);
    EXPECT_EQ(U(dos.GetFull()), "data/scans/a.tag");
    EXPECT_EQ(U(dos.GetFull(KxTools::FSYS_STYLE_DOS, 1)), "data\\scans\\a.tag\\");
    EXPECT_EQ(U(KxDirEntry(L"/").GetFull(KxTools::FSYS_STYLE_HOST, 1, KxTools::WholeText)), "/");
    EXPECT_EQ(U(KxDirEntry().GetFull(KxTools::FSYS_STYLE_HOST, 1)), "");
    EXPECT_EQ(U(KxDirEntry(L"/abcdef/x").GetFull(KxTools::FSYS_STYLE_HOST, 0, 6)), "...f/x");
    EXPECT_EQ(U(KxDirEntry(L"/abcdef/x").GetFull(KxTools::FSYS_STYLE_HOST, 0, 2)), "..");
    struct {
        wchar_t const *path, *extension;
        std::string result;
    } const cases[] = {
        {L"a/b.ini", L"BAK", "a/b.BAK"}, {L"a/b", L"BAK", "a/b.BAK"}, {L"a.d/b", L".x", "a.d/b.x"},
        {L"a.b.c", L"", "a.b"},          {L".rc", L"old", ".rc.old"}, {L"/", L"x", "/"},
        {L"a/.", L"x", "a/."},           {L"..", L"x", ".."},
    };
    for (auto const& c : cases) {
        KxDirEntry entry(c.path);
        entry.SetExtension(KxTools::String(c.extension));
        EXPECT_EQ(U(entry.GetFull()), c.result);
    }
    EXPECT_EQ(U((KxDirEntry(L"a") + KxDirEntry(L"b/c")).GetFull()), "a/b/c");
    EXPECT_EQ(U((KxDirEntry(L"a") + KxDirEntry(L"/b")).GetFull()), "/b");
    EXPECT_EQ(U((KxDirEntry(L"/") + KxDirEntry(L"b")).GetFull()), "/b");
    EXPECT_EQ(U((KxDirEntry() + KxDirEntry(L"b")).GetFull()), "b");
    EXPECT_EQ(U((KxDirEntry(L"b") + KxDirEntry()).GetFull()), "b");
    KxDirEntry self(L"a");
    self += self;
    EXPECT_EQ(U(self.GetFull()), "a/a");
}

class DirEntryFiles : public test::TempFolder {};

TEST_F(DirEntryFiles, WhatIsThere) {
    Put("file", "12345");
    fs::create_symlink("gone", File("dangling"));
    fs::create_directory_symlink(".", File("link"));
    EXPECT_TRUE(KxDirEntry(Path("file")).Exists(1));
    EXPECT_FALSE(KxDirEntry(Path("dangling")).Exists(1));
    EXPECT_TRUE(KxDirEntry(Path("dangling")).Exists(0));
    EXPECT_FALSE(KxDirEntry(Path("file/x")).Exists(1));
    EXPECT_FALSE(KxDirEntry().Exists(1));
    fs::create_symlink("loop", File("loop"));
    EXPECT_FALSE(KxDirEntry(Path("loop")).Exists(1) || KxDirEntry(Path(std::string(300, 'n'))).Exists(1));
    EXPECT_FALSE(KxTools::FileStat(KxDirEntry()).Exists() || KxDirEntry().MakeDir(1));
    EXPECT_FALSE(KxDirEntry(Path("dangling")).MakeDir(0));
    EXPECT_EQ(KxDirEntry().Kill(), static_cast<unsigned long>(ENOENT));
    EXPECT_EQ(KxDirEntry(KxString(std::wstring(L"a\0b", 3))).Kill(), static_cast<unsigned long>(EINVAL));
    KxTools::FileStat const file(KxDirEntry(Path("file"))), folder{KxDirEntry(Path("."))}, none{KxDirEntry(Path("no"))};
    EXPECT_EQ(file.GetKind(), 0);
    EXPECT_EQ(file.GetSize(), 5u);
    EXPECT_TRUE(file.GetModified().IsValid() && file.IsFile());
    EXPECT_NE(folder.GetKind(), 0);
    EXPECT_EQ(KxTools::FileStat(KxDirEntry(Path("link")), 0).GetKind(), 0);
    EXPECT_TRUE(none.GetKind() == 0 && !none.Exists() && !none.GetModified().IsValid());

    // What cannot be looked at is not taken for missing.
    fs::create_directory(File("shut"));
    fs::permissions(File("shut"), fs::perms::none);
    bool const isRoot = ::geteuid() == 0, isSwitched = isRoot && ::seteuid(65534) == 0;
    EXPECT_EQ(KxDirEntry(Path("shut/file")).Exists(1), !isRoot || isSwitched);
    ASSERT_TRUE(!isSwitched || ::seteuid(0) == 0);
    fs::remove(File("shut"));

    EXPECT_FALSE(KxDirEntry(Path("x/y/z")).MakeDir(0));
    EXPECT_TRUE(KxDirEntry(Path("x/y/z")).MakeDir(1));
    EXPECT_TRUE(KxDirEntry(Path("x/y/z")).MakeDir(0));
    EXPECT_FALSE(KxDirEntry(Path("file")).MakeDir(1));
    EXPECT_FALSE(KxDirEntry(Path("file/y")).MakeDir(1));

    fs::path const before = fs::current_path();
    fs::current_path(m_folder);
    KxDirEntry relative(L"./x/.././y.txt");
    EXPECT_TRUE(relative.ToAbs());
    EXPECT_EQ(U(relative.GetFull()), fs::canonical(m_folder).string() + "/x/../y.txt");
    fs::create_directory("away");
    fs::current_path("away");
    fs::remove(File("away"));
    KxDirEntry lost(L"a");
    EXPECT_FALSE(lost.ToAbs());
    EXPECT_EQ(U(lost.GetFull()), "a");
    fs::current_path(before);
    KxDirEntry root(L"/");
    EXPECT_TRUE(root.ToAbs());
    EXPECT_EQ(U(root.GetFull()), "/");
}

TEST_F(DirEntryFiles, CopiesAreWholeOrNotThere) {
    std::string const bytes(3'000'000, 'x');
    Put("source", bytes);
    Put("empty", "");
    fs::permissions(File("source"), fs::perms(0640));
    fs::last_write_time(File("source"), fs::file_time_type::clock::now() - std::chrono::hours(100));
    KxDirEntry const source(Path("source"));
    ASSERT_EQ(source.CopyTo(KxDirEntry(Path("ä.BAK")), 1), 0u);
    EXPECT_EQ(Get("ä.BAK"), bytes);
    EXPECT_EQ(fs::status(File("ä.BAK")).permissions(), fs::perms(0640));
    EXPECT_EQ(fs::last_write_time(File("ä.BAK")), fs::last_write_time(File("source")));
    EXPECT_EQ(source.CopyTo(KxDirEntry(Path("ä.BAK")), 0), static_cast<unsigned long>(EEXIST));
    EXPECT_EQ(KxDirEntry(Path("empty")).CopyTo(KxDirEntry(Path("ä.BAK")), 1), 0u);
    EXPECT_EQ(Get("ä.BAK"), "");
    EXPECT_EQ(source.CopyTo(KxDirEntry(Path("no/x")), 1), static_cast<unsigned long>(ENOENT));
    EXPECT_EQ(KxDirEntry(Path("no")).CopyTo(KxDirEntry(Path("y")), 1), static_cast<unsigned long>(ENOENT));
    EXPECT_EQ(source.CopyTo(source, 1), static_cast<unsigned long>(EINVAL));
    EXPECT_EQ(source.CopyTo(KxDirEntry(m_folder.wstring().c_str()), 1), static_cast<unsigned long>(EISDIR));
    EXPECT_EQ(KxDirEntry(m_folder.wstring().c_str()).CopyTo(KxDirEntry(Path("y")), 1),
              static_cast<unsigned long>(EISDIR));
    fs::create_symlink("source", File("link"));
    EXPECT_EQ(source.CopyTo(KxDirEntry(Path("link")), 1), static_cast<unsigned long>(EINVAL));
    ASSERT_EQ(::mkfifo(File("pipe").c_str(), 0600), 0);
    EXPECT_NE(KxDirEntry(Path("pipe")).CopyTo(KxDirEntry(Path("y")), 1), 0u);  // without waiting for a writer
    EXPECT_EQ(source.CopyTo(KxDirEntry(L"/bin"), 1), static_cast<unsigned long>(EISDIR));  // a link, mostly
    EXPECT_EQ(Get("source"), bytes);
    EXPECT_EQ(CountFiles(), 5u);
    // From another file system, where the kernel does not copy; and from one that fails.
    int const memory = ::memfd_create("source", MFD_CLOEXEC);
    ASSERT_EQ(::write(memory, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    KxDirEntry const outside(KxString(KxxFromSystemPath("/proc/self/fd/" + std::to_string(memory))));
    Put("target", "old");
    {
        test::SizeLimit const limit(1000);
        EXPECT_EQ(outside.CopyTo(KxDirEntry(Path("target")), 1), static_cast<unsigned long>(EFBIG));
    }
    EXPECT_EQ(KxDirEntry(L"/proc/self/mem").CopyTo(KxDirEntry(Path("target")), 1), static_cast<unsigned long>(EIO));
    EXPECT_EQ(Get("target"), "old");
    EXPECT_EQ(outside.CopyTo(KxDirEntry(Path("target")), 1), 0u);
    EXPECT_EQ(Get("target"), bytes);
    EXPECT_EQ(CountFiles(), 6u);
    ::close(memory);
    // A name that is no valid text.
    std::ofstream(m_folder / "\xFFname") << "raw";
    KxDirEntry const raw(KxString(KxxFromSystemPath((m_folder / "\xFFname").string())));
    EXPECT_TRUE(raw.Exists(1));
    EXPECT_EQ(raw.CopyTo(KxDirEntry(Path("copy")), 0), 0u);
    EXPECT_EQ(Get("copy"), "raw");
    EXPECT_EQ(raw.Kill(), 0u);
    EXPECT_EQ(raw.Kill(), static_cast<unsigned long>(ENOENT));
}

}  // namespace
