// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "TagTest.h"

#include "hbtools/persistence/syTagCopier.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <random>
#include <set>
#include <unistd.h>

using namespace KxN;

namespace {

/// A file that counts how often it is read or sought.
class CountingFile : public CMemFile {
public:
    ULONGLONG Seek(LONGLONG offset, UINT from) override {
        ++steps;
        return CMemFile::Seek(offset, from);
    }
    UINT Read(void* buffer, UINT count) override {
        ++steps;
        return CMemFile::Read(buffer, count);
    }
    long steps = 0;
};

void StoreInts(CFile& file, int count, int idOf(int)) {
    KxTagArchive archive(&file, 0);
    for (int i = 0; i < count; ++i) archive << KxTTag<int>(static_cast<unsigned long>(idOf(i)), i);
    file.Seek(0, CFile::begin);
}

int Plus1000(int i) {
    return 1000 + i;
}

}  // namespace

TEST(TagArchive, MissingTagsByMode) {
    CMemFile file;
    file.SetFilePath(L"/somewhere/Platte.tag");
    StoreInts(file, 3, Plus1000);
    KxTagArchive archive(&file, 1);
    int value = -5;
    archive >> KxTTag<int>(1001, value);
    ULONGLONG const position = file.GetPosition();

    EXPECT_TRUE(archive.IsNecessaryTagsMode());
    EXPECT_TRUE(archive.LastReadTagFound());
    try {
        archive >> KxTTag<int>(9, value);
        FAIL() << "a necessary tag that is missing is an error";
    } catch (KxTagArchiveException* exception) {
        EXPECT_TRUE(exception->GetMessage() ==
                    L"Das benötigte Tag vom Typ \"class KxN::KxTTag<int>\" ( ID = 9 ) existiert nicht in der Datei "
                    L"\"Platte.tag\"");
        EXPECT_TRUE(exception->GetClassNameW() == L"class KxN::KxTTag<int>");
        EXPECT_EQ(exception->GetTagID(), 9U);
        EXPECT_TRUE(exception->GetSrcFileName() == L"syTagArchive");
        KxTagArchiveException copy(*exception);
        EXPECT_TRUE(copy.GetMessage() == exception->GetMessage());
        EXPECT_TRUE(copy.GetFileName() == L"Platte.tag");
        exception->Delete();
    }
    EXPECT_FALSE(archive.LastReadTagFound());
    EXPECT_EQ(file.GetPosition(), position);

    archive.SetOptionalTagsMode();
    archive >> KxTTag<int>(9, value);
    EXPECT_FALSE(archive.LastReadTagFound());
    EXPECT_EQ(file.GetPosition(), position);
    archive >> KxTTag<int>(1002, value);
    EXPECT_EQ(value, 2);
}

TEST(TagArchive, AnAbsentOptionalLevelReadsNothingDownToItsLeaves) {
    CMemFile file;
    {
        KxTagArchive archive(&file, 0);
        archive << KxNullTag(1);
        archive.LevelDown();
        int value = 11;
        archive << KxTTag<int>(2, value) << KxNullTag(3);
        archive.LevelDown();
        value = 12;
        archive << KxTTag<int>(4, value);
        archive.LevelUp();
        archive.LevelUp();
        value = 13;
        archive << KxTTag<int>(5, value);
    }
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    int value = -1;
    archive.SetOptionalTagsMode();
    archive >> KxNullTag(99);
    archive.LevelDown();
    EXPECT_TRUE(archive.SkipReadTags());
    EXPECT_TRUE(archive.IsNecessaryTagsMode());
    archive >> KxTTag<int>(2, value) >> KxNullTag(3);
    archive.LevelDown();
    EXPECT_TRUE(archive.SkipReadTags());
    archive >> KxTTag<int>(4, value);
    archive.LevelUp();
    archive.LevelUp();
    EXPECT_EQ(value, -1);
    EXPECT_FALSE(archive.SkipReadTags());
    EXPECT_TRUE(archive.IsOptionalTagsMode());

    archive >> KxNullTag(1);
    archive.LevelDown();
    EXPECT_FALSE(archive.SkipReadTags());
    archive >> KxNullTag(3);
    archive.LevelDown();
    archive >> KxTTag<int>(4, value);
    EXPECT_EQ(value, 12);
    archive.LevelUp();
    archive >> KxTTag<int>(2, value);
    EXPECT_EQ(value, 11);
    archive.LevelUp();
    archive >> KxTTag<int>(5, value);
    EXPECT_EQ(value, 13);
}

TEST(TagArchive, ModesAndFlags) {
    CMemFile file;
    KxTagArchive archive(&file, 0xf05);
    EXPECT_TRUE(archive.IsLoading());
    EXPECT_FALSE(archive.IsStoring());
    EXPECT_FALSE(archive.IsByteSwapping());
    EXPECT_EQ(archive.GetMode(), 5U);
    EXPECT_TRUE(KxTagArchive(&file, 0).IsByteSwapping());
    archive.SetReplaceMode();
    archive.SetLastReadTagFound();
    archive.SetSkipReadTagsFlag();
    EXPECT_EQ(archive.GetMode(), 0x3205U);
    EXPECT_TRUE(archive.IsReplaceMode());
    archive.SetAppendMode();
    archive.ResetSkipReadTagsFlag();
    archive.SetLastReadTagNotFound();
    EXPECT_EQ(archive.GetMode(), 5U);
    EXPECT_TRUE(archive.IsAppendMode());
    archive.SetMode(0x100);
    EXPECT_TRUE(archive.IsOptionalTagsMode());
    archive.LevelUp();  // the first level stays
    EXPECT_EQ(archive.GetMode(), 0x100U);
    archive >> [](KxTagArchive& a) -> KxTagArchive& {
        a.SetNecessaryTagsMode();
        return a;
    };
    EXPECT_EQ(archive.GetMode(), 0U);
    archive.Close();
    EXPECT_EQ(archive.GetFile(), nullptr);
    EXPECT_EQ(Thrown([&] { archive << KxNullTag(1); }), "file 6");
}

TEST(TagArchive, ReadingTwiceWrapsRound) {
    CMemFile file;
    StoreInts(file, 4, [](int i) { return i / 2; });  // ids 0 0 1 1
    KxTagArchive archive(&file, 1);
    int value = -1;
    int const expected[] = {2, 3, 3, 3};  // from the last one on it is found where it stands
    for (int e : expected) {
        archive >> KxTTag<int>(1, value);
        EXPECT_EQ(value, e);
    }
    int const again[] = {0, 1, 0, 1};
    for (int e : again) {
        archive >> KxTTag<int>(0, value);
        EXPECT_EQ(value, e);
    }
}

TEST(TagArchive, NumeratedTagsAreFoundByTheirNumber) {
    for (TagFormat format : {TagFormat32, TagFormat64}) {
        FormatScope const scope(format);
        CMemFile file;
        {
            KxTagArchive archive(&file, 0);
            for (unsigned long number : {5UL, 6UL, 7UL}) {
                archive << KxNumeratedTag(50, number);
                archive.LevelDown();
                int value = static_cast<int>(number) * 10;
                archive << KxTTag<int>(51, value);
                archive.LevelUp();
            }
        }
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 1);
        for (unsigned long number : {6UL, 5UL, 7UL, 6UL}) {
            int value = 0;
            archive >> KxNumeratedTag(50, number);
            archive.LevelDown();
            archive >> KxTTag<int>(51, value);
            archive.LevelUp();
            EXPECT_EQ(value, static_cast<int>(number) * 10);
        }
        unsigned long absent = 8;
        EXPECT_EQ(Thrown([&] { archive >> KxNumeratedTag(50, absent); }), "missing");
    }
}

TEST(TagArchive, VersionsThatNobodyReadsAreRefusedWithTheTagUnchanged) {
    CMemFile file;
    int value = 3;
    KxTagArchive(&file, 0) << KxTTag<int>(1, value, KxVersion(200));
    file.Seek(0, CFile::begin);
    value = 4;
    KxTTag<int> tag(1, value);
    KxTagArchive archive(&file, 1);
    EXPECT_EQ(Thrown([&] { archive >> tag; }), "version");
    KxTTag<int> early(1, value, KxVersion(0));
    for (KxTTag<int>* one : {&tag, &early}) {
        try {
            archive >> *one;
        } catch (KxVersionException* exception) {
            int const needed = one == &tag ? 100 : 0;
            EXPECT_EQ(exception->GetFound().GetValue() * 1000 + exception->GetNeeded().GetValue(), 200'000 + needed);
            EXPECT_GE(exception->GetMessage().Search(L"wurde 200", 0), 0);
            exception->Delete();
        }
    }
    EXPECT_EQ(value, 4);
    EXPECT_EQ(tag.GetVersion().GetValue(), 100);
    archive >> KxTTag<int>(1, value, KxVersion(200));
    EXPECT_EQ(value, 3);

    // Bits 14 and 15 of the word are no part of the version in the long form; in the short one bit 15 is its mark.
    auto const marked = FileOf(FromHex("01000000 64c0 0000000000000000 1e00000000000000 0000000000000000"));
    KxTagArchive(marked.get(), 1) >> KxNullTag(1, KxVersion(0x64));
    CMemFile refused;
    EXPECT_EQ(Thrown([&] { KxTagArchive(&refused, 0) << KxNullTag(1, KxVersion(0x8001)); }), "KxException");
    EXPECT_EQ(refused.GetLength(), 0U);
}

TEST(TagArchive, TextsAreCutAndFilledToTheirDeclaredSize) {
    CMemFile file;
    {
        KxTagArchive archive(&file, 0);
        KxString empty;
        KxString text(L"abc");
        KxStringTag shortened(2, text);
        KxString other(L"ab");
        KxStringTag lengthened(3, other);
        text = KxString(L"x");
        other = KxString(L"wxyz");
        archive << KxStringTag(1, empty) << shortened << lengthened;
    }
    std::string const hex = HexOf(file);
    EXPECT_EQ(hex, Plain("01000000 6400 01000000 12000000 13000000 00"
                         "02000000 6400 04000000 25000000 29000000 78000000"
                         "03000000 6400 03000000 3b000000 00000000 777879"));
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    KxString a(L"?"), b, c;
    archive >> KxStringTag(1, a) >> KxStringTag(2, b) >> KxStringTag(3, c);
    EXPECT_TRUE(a == L"" && b == L"x" && c == L"wxy");
    CMemFile large;  // read in several pieces, of which the first has it all
    KxString text(std::wstring(3 << 19, L'x'));
    KxStringTag declared(1, text);
    text = KxString(L"y");
    KxTagArchive(&large, 0) << declared;
    EXPECT_EQ(large.GetLength(), 18U + (3U << 19) + 1U);
    large.Seek(0, CFile::begin);
    KxTagArchive(&large, 1) >> KxStringTag(1, a);
    EXPECT_TRUE(a == L"y");
    // Other sizes than that of the kind: a surplus is stepped over, and a number is read as long as it is.
    auto const sizes =
        FileOf(FromHex("01000000 6400 08000000 12000000 1a000000 07000000 ffffffff"
                       "02000000 6400 02000000 2c000000 00000000 05000000"));
    int one = 0, two = 0;
    KxTagArchive(sizes.get(), 1) >> KxTTag<int>(1, one) >> KxTTag<int>(2, two);
    EXPECT_EQ(one * 10 + two, 75);
    auto const nothing = FileOf(FromHex("01000000 6400 00000000 12000000 00000000"));
    KxString former(L"?");
    KxTagArchive(nothing.get(), 1) >> KxStringTag(1, former);
    EXPECT_TRUE(!former);
}

TEST(TagArchive, DamagedChainsEndAtOnce) {
    struct Case {
        char const* what;
        char const* bytes;
        char const* expected;
    };
    Case const cases[] = {
        {"nothing", "", "file 14"},
        {"cut head", "01000000 6400 00000000 12000000 000000", "file 14"},
        {"cut long head", "01000000 6480 0000000000000000 1e00000000000000 00000000000000", "file 14"},
        {"link to itself", "02000000 6400 00000000 12000000 00000000", "missing"},
        {"self ring", "02000000 6480 0000000000000000 1e00000000000000 0000000000000000", "missing"},
        {"link behind the end", "02000000 6400 00000000 12000000 13000000 00", "file 14"},
        {"link at 2^63", "02000000 6480 0000000000000000 1e00000000000000 0000000000000080", "file 9"},
        {"link at 2^64-1", "02000000 6480 0000000000000000 1e00000000000000 ffffffffffffffff", "file 9"},
        {"ring of two", "02000000 6400 00000000 12000000 12000000 03000000 6400 00000000 24000000 12000000", "file 14"},
        {"payload cut", "01000000 6400 04000000 12000000 00000000 000000", "file 14"},
        {"payload elsewhere", "01000000 6400 04000000 ffffffff 00000000 00000000", "file 14"},
        {"payload at 2^63", "01000000 6480 0400000000000000 0000000000000080 0000000000000000 00000000", "file 9"}};
    for (Case const& c : cases) {
        auto const file = FileOf(FromHex(c.bytes));
        KxTagArchive archive(file.get(), 1);
        int value = 0;
        EXPECT_EQ(Thrown([&] { archive >> KxTTag<int>(1, value); }), c.expected) << c.what;
        EXPECT_EQ(Thrown([&] { archive >> KxTTag<int>(1, value); }), c.expected) << c.what << ", again";
    }
    // A tag that reads by itself walks along the links, whether there is an end or none.
    for (auto [bytes, expected] :
         {std::pair{"02000000 6400 00000000 12000000 12000000", "file 14"},
          {"02000000 6400 00000000 12000000 12000000 03000000 6400 00000000 24000000", "file 14"},
          {"02000000 6400 00000000 12000000 12000000 03000000 6400 00000000 24000000 12000000", "file 14"},
          {"02000000 6400 00000000 12000000 12000000 03000000 6400 00000000 24000000 00000000", ""}}) {
        auto const file = FileOf(FromHex(bytes));
        int value = 7;
        KxTTag<int> tag(1, value);
        EXPECT_EQ(Thrown([&] { EXPECT_EQ(tag.Read(file.get(), 0), 0); }), expected) << bytes;
        EXPECT_EQ(value, 7);
    }
    // A text of 4 GiB and one of 2^64-1 bytes in files of a few bytes.
    for (char const* bytes : {"01000000 6400 ffffffff 12000000 00000000 61",
                              "01000000 6480 ffffffffffffffff 1e00000000000000 0000000000000000 61"}) {
        auto const file = FileOf(FromHex(bytes));
        KxString text(L"before");
        EXPECT_EQ(Thrown([&] { KxTagArchive(file.get(), 1) >> KxStringTag(1, text); }), "file 14");
        EXPECT_TRUE(text == L"before");
    }
}

// Each number of a record at each place that is a bound: of this file, of 31, 32 and 63 bits, or below zero.
TEST(TagArchive, NumbersAtEveryBoundEndInADocumentedWay) {
    std::set<std::string> const documented = {"", "file 9", "file 14", "missing"};
    for (bool const isLong : {false, true}) {
        FormatScope const scope(isLong ? TagFormat64 : TagFormat32);
        CMemFile whole;
        KxString text(L"abc");
        int value = 7;
        KxTagArchive(&whole, 0) << KxStringTag(1, text) << KxTTag<int>(2, value);
        std::vector<BYTE> const bytes = BytesOf(whole);
        std::uint64_t const size = bytes.size();
        for (std::size_t const field : {0U, 1U, 2U}) {  // size, address, link
            for (std::uint64_t const number :
                 {std::uint64_t{0}, std::uint64_t{1}, size - 1, size, size + 1, 0x7fffffffUL, 0x80000000UL,
                  0xffffffffUL, 1UL << 63, ~0UL, ~0UL - 17, ~0UL - 29}) {
                std::vector<BYTE> changed = bytes;
                std::size_t const width = isLong ? 8 : 4;
                std::memcpy(changed.data() + 6 + field * width, &number, width);
                auto const file = FileOf(changed);
                KxTagArchive archive(file.get(), 1);
                KxString read(L"before");
                for (auto const& load : {std::function([&] { archive >> KxStringTag(1, read); }),
                                         std::function([&] { archive >> KxTTag<int>(2, value); })})
                    EXPECT_TRUE(documented.contains(Thrown(load))) << isLong << field << ' ' << number << Thrown(load);
                EXPECT_LE(read.Len(), static_cast<int>(size)) << number;
                CMemFile copy;
                KxTagCopier copier(file.get());
                copier.Repair(copy);
                EXPECT_LE(copy.GetLength(), 2 * size) << number;
            }
        }
    }
}

// The file of a reader becomes shorter and longer under it, and another one takes its name.
TEST(TagArchive, AFileThatChangesMeanwhileIsAnError) {
    namespace fs = std::filesystem;
    fs::path const path = fs::temp_directory_path() / ("hbtools-changing-" + std::to_string(::getpid())),
                   other = path.string() + "2";
    KxTArray<double> values(200'000), read;
    {
        CFile file(KxString(path.wstring()), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive(&file, 0) << KxTTagArrayTag<double, KxTTag<double>>(1, values)
                               << KxTTagArrayTag<double, KxTTag<double>>(2, values);
        file.Close();
    }
    std::uintmax_t const size = fs::file_size(path);
    CFile file(KxString(path.wstring()), CFile::modeRead);
    KxTagArchive archive(&file, 1);
    auto const load = [&](unsigned long id) {
        read.Resize(1);
        return Thrown([&] { archive >> KxTTagArrayTag<double, KxTTag<double>>(id, read); });
    };
    EXPECT_EQ(load(1), "");
    fs::resize_file(path, size / 2 + 5000);
    EXPECT_EQ(load(2), "archive 3");
    EXPECT_EQ(read.Size(), 1);
    fs::resize_file(path, size);  // zeros
    EXPECT_EQ(load(2), "file 14");
    EXPECT_EQ(load(1), "");
    std::ofstream(other) << "another file";
    fs::rename(other, path);
    EXPECT_EQ(load(1), "") << "what was opened";
    EXPECT_EQ(read.Size(), values.Size());
    fs::remove(path);
}

TEST(TagArchive, AReadTagAppendedAgainMakesARingThatEndsInAnError) {
    CMemFile file;
    StoreInts(file, 3, Plus1000);
    int value = 0;
    KxTTag<int> tag(1000, value);
    KxTagArchive(&file, 1) >> tag;
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 0);
    archive << tag;  // carries its old link to record 1001
    EXPECT_EQ(Thrown([&] { archive << tag; }), "file 14");

    file.Seek(0, CFile::begin);
    KxTagArchive reading(&file, 1);
    reading >> KxTTag<int>(1002, value);
    EXPECT_EQ(value, 2);
    EXPECT_EQ(Thrown([&] { reading >> KxTTag<int>(77, value); }), "file 14");
    unsigned long number = 9;
    EXPECT_EQ(Thrown([&] { reading >> KxNumeratedTag(1001, number); }), "file 14");
    reading >> KxTTag<int>(1001, value);
    EXPECT_EQ(value, 1);
}

// What the archive remembers must never show: every read gives what a walk from the read position, and then from the
// begin of the level, would give.
TEST(TagArchive, AnyOrderGivesWhatTheWrapRoundSearchGives) {
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        int const ids = 1 + static_cast<int>(random() % 12);
        std::vector<int> stored;
        CMemFile file;
        KxTagArchive archive(&file, 1);
        std::size_t readIndex = 0;
        for (int step = 0; step < 300; ++step) {
            if (stored.empty() || random() % 8 == 0) {
                int const id = static_cast<int>(random() % static_cast<unsigned>(ids));
                FormatScope const scope(random() % 2 ? TagFormat32 : TagFormat64);
                int value = static_cast<int>(stored.size());
                archive << KxTTag<int>(static_cast<unsigned long>(id), value);
                stored.push_back(id);
                continue;
            }
            int const wanted = static_cast<int>(random() % static_cast<unsigned>(ids + 1));
            auto const begin = stored.begin();
            auto found = std::find(begin + static_cast<std::ptrdiff_t>(readIndex), stored.end(), wanted);
            if (found == stored.end()) found = std::find(begin, stored.end(), wanted);
            int value = -1;
            archive.SetOptionalTagsMode();
            archive >> KxTTag<int>(static_cast<unsigned long>(wanted), value);
            ASSERT_EQ(archive.LastReadTagFound() != 0, found != stored.end()) << round << ' ' << step;
            if (found == stored.end()) continue;
            ASSERT_EQ(value, found - begin) << round << ' ' << step;
            if (found + 1 != stored.end()) readIndex = static_cast<std::size_t>(found + 1 - begin);
        }
    }
}

TEST(TagArchive, ReadingByIdCostsTheSameStepsWhateverTheOrderAndLength) {
    for (bool reverse : {false, true}) {
        long perTag[2] = {0, 0};
        for (int size : {0, 1}) {
            int const count = size == 0 ? 1000 : 10000;
            CountingFile file;
            StoreInts(file, count, Plus1000);
            std::vector<int> order(static_cast<std::size_t>(count));
            std::iota(order.begin(), order.end(), 0);
            if (reverse)
                std::reverse(order.begin(), order.end());
            else
                std::shuffle(order.begin(), order.end(), std::mt19937(3));
            file.steps = 0;
            KxTagArchive archive(&file, 1);
            for (int i : order) {
                int value = -1;
                archive >> KxTTag<int>(static_cast<unsigned long>(1000 + i), value);
                ASSERT_EQ(value, i);
            }
            perTag[size] = file.steps / count;
        }
        EXPECT_LE(perTag[1], perTag[0] + 1);
        EXPECT_LT(perTag[1], 30);
    }
}

TEST(TagArchive, ANumeratedTagOnARingEndsInLinearTime) {
    long perRecord[2] = {0, 0};
    for (int size : {0, 1}) {
        int const count = size == 0 ? 1000 : 10000;
        CountingFile file;
        StoreInts(file, count, Plus1000);
        std::uint32_t const second = 22;  // a record has 18 + 4 bytes; the link of the last leads to the second
        file.Seek(static_cast<LONGLONG>(file.GetLength()) - 8, CFile::begin);
        file.Write(&second, sizeof second);
        file.steps = 0;
        unsigned long absent = 99;
        KxNumeratedTag tag(1001, absent);
        EXPECT_EQ(Thrown([&] { tag.Read(&file, 0); }), "file 14");
        perRecord[size] = file.steps / count;
    }
    EXPECT_LE(perRecord[1], perRecord[0] + 1);
}

TEST(TagArchive, ReplacingAndAppendingManyIdsStaysLinear) {
    long perTag[2] = {0, 0};
    for (int size : {0, 1}) {
        int const count = size == 0 ? 1000 : 10000;
        CountingFile file;
        StoreInts(file, count, Plus1000);
        file.steps = 0;
        KxTagArchive archive(&file, 0);
        archive.SetReplaceMode();
        for (int i = 0; i < 2 * count; i += 2) {
            int value = -i;
            archive << KxTTag<int>(static_cast<unsigned long>(1000 + i), value);
        }
        perTag[size] = file.steps / count;
        file.Seek(0, CFile::begin);
        KxTagArchive reading(&file, 1);
        int value = 0;
        reading >> KxTTag<int>(static_cast<unsigned long>(1000 + 2 * count - 2), value);
        EXPECT_EQ(value, 2 - 2 * count);
        reading >> KxTTag<int>(1001, value);
        EXPECT_EQ(value, 1);
    }
    EXPECT_LE(perTag[1], perTag[0] + 1);
}

TEST(TagArchive, EveryCutAndEveryFlippedBitEndsInADocumentedWay) {
    CMemFile whole;
    {
        KxTagArchive archive(&whole, 0);
        KxString text(L"Platte");
        KxTArray<int> ints(3);
        KxTArray<double> doubles(2);
        archive << KxNullTag(1);
        archive.LevelDown();
        archive << KxStringTag(2, text) << KxTBasicTypeArrayTag<int>(3, ints);
        archive.LevelUp();
        FormatScope const scope(TagFormat64);
        archive << KxTTagArrayTag<double, KxTTag<double>>(4, doubles) << KxStringTag(5, text);
    }
    auto const load = [](std::vector<BYTE> const& bytes) {
        return Thrown([&] {
            auto const file = FileOf(bytes);
            KxTagArchive archive(file.get(), 1);
            KxString text;
            KxTArray<int> ints;
            KxTArray<double> doubles;
            archive >> KxNullTag(1);
            archive.LevelDown();
            archive >> KxTBasicTypeArrayTag<int>(3, ints) >> KxStringTag(2, text);
            archive.LevelUp();
            archive >> KxStringTag(5, text) >> KxTTagArrayTag<double, KxTTag<double>>(4, doubles);
        });
    };
    std::vector<BYTE> const bytes = BytesOf(whole);
    EXPECT_EQ(load(bytes), "");
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        std::string const thrown = load({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)});
        EXPECT_TRUE(thrown == "file 14" || thrown == "archive 3") << length << ' ' << thrown;
    }
    std::set<std::string> const documented = {"", "file 9", "file 14", "archive 3", "archive 5", "missing", "version"};
    for (std::size_t i = 0; i < bytes.size() * 8; ++i) {
        std::vector<BYTE> flipped = bytes;
        flipped[i / 8] = static_cast<BYTE>(flipped[i / 8] ^ (1U << (i % 8)));
        std::string const thrown = load(flipped);
        EXPECT_TRUE(documented.contains(thrown)) << i << ' ' << thrown;
    }
}
