// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Records on both sides of 2^31 and 2^32, in a sparse file.
#include "TagTest.h"

#include "hbtools/persistence/syTagInspector.h"

#include <filesystem>
#include <unistd.h>

using namespace KxN;

namespace {

class LargeTagFiles : public testing::Test {
protected:
    void SetUp() override {
        path = (std::filesystem::temp_directory_path() / ("hbtools-large-" + std::to_string(::getpid()))).string();
        file.Open(KxString(path.c_str()), CFile::modeCreate | CFile::modeReadWrite);
    }
    void TearDown() override {
        file.Abort();
        std::filesystem::remove(path);
    }
    /// Makes the file sparse up to `length`; false where the file system cannot.
    bool Extend(ULONGLONG length) {
        try {
            file.SetLength(length);
            return true;
        } catch (CFileException* exception) {
            exception->Delete();
            return false;
        }
    }

    std::string path;
    CFile file;
};

}  // namespace

TEST_F(LargeTagFiles, TheLongFormReachesBeyond4GiB) {
    FormatScope const scope(TagFormat64);
    KxTagArchive archive(&file, 0);
    int index = 0;
    for (ULONGLONG gap : {0ULL, (1ULL << 31) - 10, (1ULL << 31) + 100, (1ULL << 32) - 7, (1ULL << 32) + 5000}) {
        if (!Extend(std::max(gap, file.GetLength()))) GTEST_SKIP() << "no sparse files here";
        archive << KxTTag<int>(static_cast<unsigned long>(100 + index), index);
        ++index;
    }
    file.Seek(0, CFile::begin);
    KxTagArchive reading(&file, 1);
    for (int i : {4, 0, 3, 1, 2}) {
        int value = -1;
        KxTTag<int> tag(static_cast<unsigned long>(100 + i), value);
        reading >> tag;
        EXPECT_EQ(value, i);
        EXPECT_EQ(tag.GetDataAddress() > 0xffffffffULL, i >= 3);
    }
    file.Seek(0, CFile::begin);
    KxTagInspector inspector(&file);
    EXPECT_EQ(inspector.Inspect(), TagFileWhole);
    EXPECT_EQ(inspector.Records().Size(), 5);
}

TEST_F(LargeTagFiles, TheShortFormRefusesBeforeItDamagesAnything) {
    KxTagArchive archive(&file, 0);
    int value = 7;
    archive << KxTTag<int>(1, value);
    if (!Extend((1ULL << 32) + 10)) GTEST_SKIP() << "no sparse files here";
    ULONGLONG const length = file.GetLength();
    try {
        archive << KxTTag<int>(2, value);
        FAIL() << "a position beyond 32 bits has no room in the short form";
    } catch (KxException* exception) {
        EXPECT_TRUE(exception->GetMessage() == L"Die Dateigröße überschreitet das erlaubte Maximum von 4 GBytes");
        exception->Delete();
    }
    EXPECT_EQ(file.GetLength(), length);
    // Nor does a long record behind a short one, whose link would not reach it.
    FormatScope const scope(TagFormat64);
    EXPECT_EQ(Thrown([&] { archive << KxTTag<int>(2, value); }), "KxException");
    EXPECT_EQ(file.GetLength(), length);
    file.Seek(0, CFile::begin);
    BYTE head[18];
    ASSERT_EQ(file.Read(head, sizeof head), sizeof head);
    EXPECT_EQ(ToHex({head, head + 18}), Plain("01000000 6400 04000000 12000000 00000000"));
}
