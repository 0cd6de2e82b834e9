// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The bytes of tag files against literals worked out from the format by hand. In each record stand id, version,
// size, address of the payload, link.
#include "TagTest.h"

#include <cmath>

using namespace KxN;

namespace {

void StoreSimpleKinds(CFile& file) {
    KxTagArchive archive(&file, 0);
    KxString text(L"Äb");
    int number = 7;
    short small = -2;
    float single = 1.0F;
    double minusZero = -0.0;
    long long large = 0x0102030405060708;
    unsigned long serial = 0xdeadbeef;
    archive << KxNullTag(100) << KxStringTag(101, text) << KxTTag<int>(102, number) << KxTTag<short>(103, small)
            << KxTTag<float>(104, single) << KxTTag<double>(105, minusZero) << KxTTag<long long>(106, large)
            << KxNumeratedTag(107, serial, KxVersion(0x1234));
}

char const* const simpleKinds32 =
    "64000000 6400 00000000 12000000 12000000"
    "65000000 6400 03000000 24000000 27000000 c46200"
    "66000000 6400 04000000 39000000 3d000000 07000000"
    "67000000 6400 02000000 4f000000 51000000 feff"
    "68000000 6400 04000000 63000000 67000000 0000803f"
    "69000000 6400 08000000 79000000 81000000 0000000000000080"
    "6a000000 6400 08000000 93000000 9b000000 0807060504030201"
    "6b000000 3412 04000000 ad000000 00000000 efbeadde";

char const* const simpleKinds64 =
    "64000000 6480 0000000000000000 1e00000000000000 1e00000000000000"
    "65000000 6480 0300000000000000 3c00000000000000 3f00000000000000 c46200"
    "66000000 6480 0400000000000000 5d00000000000000 6100000000000000 07000000"
    "67000000 6480 0200000000000000 7f00000000000000 8100000000000000 feff"
    "68000000 6480 0400000000000000 9f00000000000000 a300000000000000 0000803f"
    "69000000 6480 0800000000000000 c100000000000000 c900000000000000 0000000000000080"
    "6a000000 6480 0800000000000000 e700000000000000 ef00000000000000 0807060504030201"
    "6b000000 3492 0400000000000000 0d01000000000000 0000000000000000 efbeadde";

}  // namespace

TEST(TagBytes, SimpleKindsInBothForms) {
    for (auto [format, expected] : {std::pair{TagFormat32, simpleKinds32}, std::pair{TagFormat64, simpleKinds64}}) {
        FormatScope const scope(format);
        CMemFile file;
        StoreSimpleKinds(file);
        EXPECT_EQ(HexOf(file), Plain(expected));
    }
}

TEST(TagBytes, SimpleKindsAreReadInAnyOrder) {
    for (char const* bytes : {simpleKinds32, simpleKinds64}) {
        auto const file = FileOf(FromHex(bytes));
        KxTagArchive archive(file.get(), 1);
        KxString text;
        int number = 0;
        short small = 0;
        float single = 0;
        double minusZero = 1;
        long long large = 0;
        unsigned long serial = 0xdeadbeef;
        archive >> KxTTag<long long>(106, large) >> KxTTag<short>(103, small) >> KxStringTag(101, text);
        archive >> KxTTag<double>(105, minusZero) >> KxTTag<int>(102, number) >> KxTTag<float>(104, single);
        KxNumeratedTag numerated(107, serial, KxVersion(0x1234));
        archive >> numerated;
        EXPECT_EQ(large, 0x0102030405060708);
        EXPECT_EQ(small, -2);
        EXPECT_TRUE(text == L"Äb");
        EXPECT_TRUE(minusZero == 0 && std::signbit(minusZero));
        EXPECT_EQ(number, 7);
        EXPECT_EQ(single, 1.0F);
        EXPECT_EQ(numerated.GetDataSize(), 4U);
        EXPECT_EQ(numerated.GetNextTag(), 0U);
    }
}

TEST(TagBytes, NestedLevel) {
    CMemFile file;
    {
        KxTagArchive archive(&file, 0);
        int one = 1;
        int two = 2;
        int three = 3;
        archive << KxNullTag(10);
        archive.LevelDown();
        archive << KxTTag<int>(11, one) << KxTTag<int>(12, two);
        archive.LevelUp();
        archive << KxTTag<int>(13, three);
    }
    // The marker's link leads over its children; the last child's is empty.
    EXPECT_EQ(HexOf(file), Plain("0a000000 6400 00000000 12000000 3e000000"
                                 "0b000000 6400 04000000 24000000 28000000 01000000"
                                 "0c000000 6400 04000000 3a000000 00000000 02000000"
                                 "0d000000 6400 04000000 50000000 00000000 03000000"));
}

TEST(TagBytes, AppendingToAnExistingChainPatchesItsLastRecord) {
    auto const file =
        FileOf(FromHex("0a000000 6400 02000000 12000000 14000000 0100"
                       "0b000000 6400 02000000 26000000 00000000 0200"));
    KxTagArchive archive(file.get(), 0);
    short three = 3;
    archive << KxTTag<short>(12, three);
    EXPECT_EQ(HexOf(*file), Plain("0a000000 6400 02000000 12000000 14000000 0100"
                                  "0b000000 6400 02000000 26000000 28000000 0200"
                                  "0c000000 6400 02000000 3a000000 00000000 0300"));
}

TEST(TagBytes, MixedFormsFollowTheStickyRule) {
    CMemFile file;
    short one = 1;
    short two = 2;
    short three = 3;
    {
        KxTagArchive archive(&file, 0);
        archive << KxTTag<short>(1, one);
        FormatScope const scope(TagFormat64);
        archive << KxTTag<short>(2, two);
    }
    {
        // A fresh archive walks the chain from its begin and meets the short record first.
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 0);
        FormatScope const scope(TagFormat64);
        archive << KxTTag<short>(3, three);
    }
    // The second record was 30 bytes; its head is now an 18-byte image that still tells where the payload is.
    std::string const expected =
        "01000000 6400 02000000 12000000 14000000 0100"
        "02000000 6400 02000000 32000000 34000000"
        "000000000000 000000000000 0200"
        "03000000 6480 0200000000000000 5200000000000000 0000000000000000 0300";
    std::string hex = HexOf(file);
    // Twelve bytes of the former image remain between head and payload; they mean nothing.
    hex.replace(76, 24, std::string(24, '0'));
    EXPECT_EQ(hex, Plain(expected));

    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    short a = 0;
    short b = 0;
    short c = 0;
    archive >> KxTTag<short>(3, c) >> KxTTag<short>(2, b) >> KxTTag<short>(1, a);
    EXPECT_EQ(a * 100 + b * 10 + c, 123);
}

TEST(TagBytes, ReplaceOverwritesInPlace) {
    CMemFile file;
    {
        KxTagArchive archive(&file, 0);
        int one = 1;
        int two = 2;
        archive << KxTTag<int>(11, one) << KxTTag<int>(12, two);
    }
    file.Seek(0, CFile::begin);
    KxTagArchive replacing(&file, 0);
    replacing.SetReplaceMode();
    int nine = 9;
    int ten = 10;
    replacing << KxTTag<int>(11, nine) << KxTTag<int>(13, ten);
    EXPECT_EQ(HexOf(file), Plain("0b000000 6400 04000000 12000000 16000000 09000000"
                                 "0c000000 6400 04000000 28000000 2c000000 02000000"
                                 "0d000000 6400 04000000 3e000000 00000000 0a000000"));
}

TEST(TagBytes, IntArrayHasACountTagAndPlainNumbers) {
    CMemFile file;
    KxTArray<int> values(2);
    values[0] = 5;
    values[1] = -1;
    {
        KxTagArchive archive(&file, 0);
        archive << KxTBasicTypeArrayTag<int>(20, values);
    }
    // 208113 is 0x32cf1.
    EXPECT_EQ(HexOf(file), Plain("14000000 6400 00000000 12000000 00000000"
                                 "f12c0300 6400 04000000 24000000 00000000 02000000"
                                 "05000000 ffffffff"));
}

TEST(TagBytes, TagArrayHasATagForEachElement) {
    CMemFile file;
    KxTArray<double> values(2);
    values[0] = 1.0;
    values[1] = -2.0;
    {
        KxTagArchive archive(&file, 0);
        archive << KxTTagArrayTag<double, KxTTag<double>>(21, values);
    }
    // 208104 is 0x32ce8, 208105 is 0x32ce9.
    EXPECT_EQ(HexOf(file), Plain("15000000 6400 00000000 12000000 00000000"
                                 "e82c0300 6400 04000000 24000000 28000000 02000000"
                                 "e92c0300 6400 08000000 3a000000 42000000 000000000000f03f"
                                 "e92c0300 6400 08000000 54000000 00000000 00000000000000c0"));
}

TEST(TagBytes, IdsAndNumbersHave32Bits) {
    CMemFile file;
    unsigned long number = 0xffffffff;
    KxTagArchive(&file, 0) << KxNumeratedTag(0xffffffff, number);
    EXPECT_EQ(HexOf(file), Plain("ffffffff 6400 04000000 12000000 00000000 ffffffff"));
    KxNullTag tag(7);
    struct {
        char const* what;
        unsigned long value;
        char const* id;
        char const* number;
    } const cases[] = {
        {"the last one", 0xffffffff, "", ""},
        {"one bit more", 0x100000007, "archive 5", "archive 5"},
        {"a negative int", static_cast<unsigned long>(-1), "", "archive 5"},
        {"a negative number of more bits", static_cast<unsigned long>(-1L << 32), "archive 5", "archive 5"}};
    for (auto const& c : cases) {
        number = c.value;
        EXPECT_EQ(Thrown([&] { KxNullTag other(c.value); }), c.id) << c.what;
        EXPECT_EQ(Thrown([&] { tag.SetID(c.value); }), c.id) << c.what;
        EXPECT_EQ(tag.GetID(), 0xffffffff) << c.what;
        EXPECT_EQ(Thrown([&] { KxNumeratedTag other(7, number); }), c.number) << c.what;
    }
}

TEST(TagBytes, BehindATextTheFileStandsAtItsEnd) {
    ULONGLONG const size = (1 << 20) + 100;
    CMemFile file;
    KxString text(L"ab");
    KxStringTag tag(1, text);
    tag.SetDataSize(size);  // zeros up to there
    KxTagArchive archive(&file, 0);
    archive << tag;
    file.Seek(0, CFile::begin);
    KxTagArchive(&file, 1) >> KxStringTag(1, text);
    EXPECT_EQ(file.GetPosition(), 18 + size);
    EXPECT_TRUE(text == L"ab");
}
