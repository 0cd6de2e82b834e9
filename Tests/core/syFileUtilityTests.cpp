// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syObject.h"
#include "hbtools/core/syBackupFile.h"
#include "hbtools/core/syFileSpec.h"
#include "hbtools/core/syMemFiles.h"

#include "../base/Allocations.h"
#include "../base/Support.h"

#include <cstdlib>
#include <limits>
#include <set>
#include <string>
#include <utility>

using namespace KxN;

namespace {

class FileUtilities : public test::TempFolder {};

TEST_F(FileUtilities, ABackupReplacesTheFormerOne) {
    Put("plate.ini", "one");
    KxBackupFile backup(Path("plate.ini"));
    EXPECT_EQ(backup.GetBackupName().Len(), 0);
    backup.Create();
    EXPECT_EQ(Get("plate.BAK"), "one");
    EXPECT_EQ(test::U(backup.GetBackupName()), test::U(Path("plate.BAK")));
    Put("plate.ini", "two");
    backup.Create();
    EXPECT_EQ(Get("plate.BAK"), "two");
    backup.SetExtension(L"old");
    backup.Create();
    EXPECT_EQ(Get("plate.old"), "two");
    backup.SetFileName(Path("missing.ini"));
    EXPECT_NE(test::Thrown<KxDirEntryException>([&] { backup.Create(); }).find("missing.ini"), std::string::npos);
    EXPECT_TRUE(KxDirEntry(Path("folder.old")).MakeDir(0));
    Put("folder.txt", "x");
    backup.SetFileName(Path("folder.txt"));
    EXPECT_NE(test::Thrown<KxDirEntryException>([&] { backup.Create(); }), "");
    EXPECT_EQ(CountFiles(), 5u);  // nothing half done stays
}

TEST(DynMemFile, GrowsByItsFactor) {
    struct Case {
        ULONGLONG minimum;
        unsigned factor;
        ULONGLONG current, wanted, size;
    };
    constexpr ULONGLONG most = std::numeric_limits<ULONGLONG>::max();
    for (Case const& c :
         {Case{1024, 2, 0, 5000, 8192}, Case{1024, 2, 4096, 4096, 4096}, Case{100, 3, 50, 101, 300},
          Case{0, 2, 0, 77, 77}, Case{1, 0, 0, 5, 8}, Case{1, 1, 0, 5, 8}, Case{1024, 2, 0, most, most}})
        EXPECT_EQ(KxDynMemFile(c.minimum, c.factor).GetNewBufferSize(c.current, c.wanted), c.size) << c.wanted;

    struct Counting : KxDynMemFile {
        Counting() : KxDynMemFile(16, 2) {}
        ~Counting() override { Close(); }
        BYTE* Realloc(BYTE* memory, ULONGLONG size) override {
            ++moves;
            return isPoor ? nullptr : KxDynMemFile::Realloc(memory, size);
        }
        int moves = 0;
        bool isPoor = false;
        using KxDynMemFile::GrowFile, KxDynMemFile::m_bufferSize;
    } file;
    EXPECT_EQ(file.GetBufferPtr(), nullptr);
    for (int i = 0; i < 10000; ++i) file.Write("x", 1);
    file.GrowFile(1);  // there is room
    EXPECT_EQ(file.moves, 10);
    EXPECT_EQ(file.m_bufferSize, 16384u);
    EXPECT_EQ(file.GetBufferPtr()[9999], 'x');
    file.isPoor = true;
    std::string const much(10000, 'y');
    EXPECT_NE(test::Thrown<CMemoryException>([&] { file.Write(much.data(), 10000); }), "");
    EXPECT_EQ(file.GetLength(), 10000u);
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { file.SetFilePath(nullptr); }), "");
}

TEST(SharedFile, HandsItsMemoryOn) {
    EXPECT_EQ(KxSharedFile().GetAllocFlags(), 8194u);
    KxSharedFile file(2, 7, 16);
    EXPECT_EQ(test::Thrown<KxSharedFileException>([&] { file.Detach(); }).substr(0, 63),
              "KxSharedFile::Detach() lieferte ein ungültiges Handle zurück");
    file.Write("abc", 3);
    auto* const memory = static_cast<char*>(file.Detach());
    EXPECT_EQ(std::string(memory, 3), "abc");
    std::free(memory);
}

TEST_F(FileUtilities, PatternsFindTheirFiles) {
    for (char const* name : {"a.tag", "ab.tag", "b.tag", "b.TAG", "tag", ".tag", "a.tag.bak", "\xc3\xa4.tag"})
        Put(name, "12");
    EXPECT_TRUE(KxDirEntry(Path("d.tag")).MakeDir(0));
    struct Case {
        wchar_t const* pattern;
        std::set<std::string> names;
    };
    for (Case const& c : {Case{L"*.tag", {"a.tag", "ab.tag", "b.tag", "b.TAG", ".tag", "\xc3\xa4.tag", "d.tag"}},
                          Case{L"?.Tag", {"a.tag", "b.tag", "b.TAG", "\xc3\xa4.tag", "d.tag"}},
                          Case{L"a*", {"a.tag", "ab.tag", "a.tag.bak"}}, Case{L"a*b*g*", {"ab.tag"}},
                          Case{L"B.tag", {"b.tag", "b.TAG"}}, Case{L"\xc4.*", {"\xc3\xa4.tag"}}, Case{L"[ab].tag", {}},
                          Case{L"nothing*", {}}}) {
        std::set<std::string> names;
        KxFileSpec files;
        for (int found = files.First(Path("") + L"/" + c.pattern); found; found = files.Next()) {
            names.insert(test::U(files.GetName()));
            EXPECT_EQ(files.IsDirectory() != 0, test::U(files.GetName()) == "d.tag");
            EXPECT_EQ(files.GetSize(), files.IsDirectory() ? 0u : 2u);
        }
        EXPECT_EQ(names, c.names) << test::U(KxString(c.pattern));
        EXPECT_EQ(files.Next(), 0);
    }
    KxFileSpec files;
    EXPECT_EQ(files.Next(), 0);
    EXPECT_TRUE(files.First(Path("*.*")));
    int count = 1;
    while (files.Next()) ++count;
    EXPECT_EQ(count, 9);
    std::filesystem::create_symlink("nowhere", File("dangling.lnk"));
    std::filesystem::path const former = std::filesystem::current_path();
    std::filesystem::current_path(m_folder);
    EXPECT_TRUE(files.First(L"*.lnk"));  // here
    std::filesystem::current_path(former);
    EXPECT_EQ(test::U(files.GetName()), "dangling.lnk");
    EXPECT_TRUE(files.GetSize() == 0 && !files.IsDirectory());
    EXPECT_EQ(files.First(Path("missing/*")), 0);
    EXPECT_EQ(files.Next(), 0);
    KxString stars(Path("") + L"/");
    for (int i = 0; i < 3000; ++i) stars += L"*a";
    EXPECT_EQ(files.First(stars), 0);
}

TEST_F(FileUtilities, SearchesLoseNothingWhenMemoryFails) {
    std::set<std::string> const all = {"a long name that needs memory of its own.tag", "b.tag"};
    for (std::string const& name : all) Put(name, "12");
    KxString const pattern = Path("*.tag");
    int const failures = test::FailEachAllocation(
        [&] {
            KxFileSpec files;
            for (int found = files.First(pattern); found; found = files.Next()) {}
        },
        [] {});
    EXPECT_GT(failures, 10);
    // What a call failed for is found by the next one.
    for (int n = 0; n < failures; ++n) {
        KxFileSpec files;
        std::set<std::string> names;
        bool hasBegun = false;
        test::g_allocationsLeft = n;
        for (int found = 1; found;) try {
                found = hasBegun ? files.Next() : files.First(pattern);
                hasBegun = true;
                int const left = std::exchange(test::g_allocationsLeft, -1);
                if (found) names.insert(test::U(files.GetName()));
                test::g_allocationsLeft = left;
            } catch (std::bad_alloc const&) {}
        test::g_allocationsLeft = -1;
        EXPECT_EQ(names, all) << n;
    }
}

}  // namespace
