// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "TagTest.h"

#include "hbtools/persistence/syGeometryTags.h"

#include <bit>
#include <cmath>
#include <limits>

using namespace KxN;

namespace {

/// Hexadecimal text of what `tag` writes behind its 18-byte head.
template <class TAG, class VALUE>
std::string Payload(VALUE& value) {
    CMemFile file;
    KxTagArchive archive(&file, 0);
    archive << TAG(7, value);
    std::string const hex = HexOf(file);
    EXPECT_EQ(hex.substr(0, 36), Plain("07000000 6400 00000000 12000000 00000000"));
    return hex.substr(36);
}

template <class TAG, class VALUE>
VALUE Reread(VALUE& value) {
    CMemFile file;
    KxTagArchive(&file, 0) << TAG(7, value);
    file.Seek(0, CFile::begin);
    VALUE read;
    KxTagArchive(&file, 1) >> TAG(7, read);
    return read;
}

template <class TAG, class VALUE>
std::string ReadPayload(VALUE& value, std::string const& payload) {
    auto const file = FileOf(FromHex("07000000 6400 00000000 12000000 00000000" + payload));
    return Thrown([&] {
        KxTagArchive archive(file.get(), 1);
        archive >> TAG(7, value);
    });
}

}  // namespace

TEST(GeometryTags, SingleVectorsAreOneTagForEachComponent) {
    KxVec2s shorts(1, -1);
    // 208016 is 0x32c90; the payload begins at 18, its records at 18 and 38.
    EXPECT_EQ(Payload<KxVec2sTag>(shorts), Plain("902c0300 6400 02000000 24000000 26000000 0100"
                                                 "912c0300 6400 02000000 38000000 00000000 ffff"));
    KxVec2d doubles(1.0, 2.0);
    EXPECT_EQ(Payload<KxVec2dTag>(doubles), Plain("922c0300 6400 08000000 24000000 2c000000 000000000000f03f"
                                                  "932c0300 6400 08000000 3e000000 00000000 0000000000000040"));
    KxVec3d point(1.0, 2.0, -0.0);
    EXPECT_EQ(Payload<KxVec3dTag>(point), Plain("8a2c0300 6400 08000000 24000000 2c000000 000000000000f03f"
                                                "8b2c0300 6400 08000000 3e000000 46000000 0000000000000040"
                                                "8c2c0300 6400 08000000 58000000 00000000 0000000000000080"));
    KxVec3f single(1.0F, 2.0F, 0.5F);
    EXPECT_EQ(Payload<KxVec3fTag>(single), Plain("8d2c0300 6400 04000000 24000000 28000000 0000803f"
                                                 "8e2c0300 6400 04000000 3a000000 3e000000 00000040"
                                                 "8f2c0300 6400 04000000 50000000 00000000 0000003f"));
    EXPECT_EQ(Reread<KxVec2sTag>(shorts), shorts);
    EXPECT_EQ(Reread<KxVec2dTag>(doubles), doubles);
    EXPECT_EQ(Reread<KxVec3dTag>(point), point);
    EXPECT_EQ(Reread<KxVec3fTag>(single), single);
}

TEST(GeometryTags, CollectionsAreACountAndPlainNumbers) {
    KxTArray<KxVec2s> shorts(2);
    shorts[0] = KxVec2s(1, 2);
    shorts[1] = KxVec2s(-1, 3);
    EXPECT_EQ(Payload<KxVec2sArrayTag>(shorts), Plain("02000000 0100 0200 ffff 0300"));
    KxTArray<KxVec3i> ints(1);
    ints[0] = KxVec3i(1, -2, 3);
    EXPECT_EQ(Payload<KxVec3iArrayTag>(ints), Plain("01000000 01000000 feffffff 03000000"));
    KxTArray<KxVec3f> floats(1);
    floats[0] = KxVec3f(1.0F, 0.5F, 2.0F);
    EXPECT_EQ(Payload<KxVec3fArrayTag>(floats), Plain("01000000 0000803f 0000003f 00000040"));
    KxTArray<KxVec3d> doubles(1);
    doubles[0] = KxVec3d(1.0, 2.0, -2.0);
    EXPECT_EQ(Payload<KxVec3dArrayTag>(doubles), Plain("01000000 000000000000f03f 0000000000000040 00000000000000c0"));
    KxTList<KxVec3d> list;
    list.AddTail(KxVec3d(1.0, 2.0, -2.0));
    EXPECT_EQ(Payload<KxVec3dListTag>(list), Plain("01000000 000000000000f03f 0000000000000040 00000000000000c0"));
    KxTArray<KxVec3d> nothing;
    EXPECT_EQ(Payload<KxVec3dArrayTag>(nothing), "00000000");

    EXPECT_EQ(Reread<KxVec2sArrayTag>(shorts)[1], KxVec2s(-1, 3));
    EXPECT_EQ(Reread<KxVec3iArrayTag>(ints)[0], KxVec3i(1, -2, 3));
    EXPECT_EQ(Reread<KxVec3fArrayTag>(floats)[0], KxVec3f(1.0F, 0.5F, 2.0F));
    EXPECT_EQ(Reread<KxVec3dArrayTag>(doubles)[0], KxVec3d(1.0, 2.0, -2.0));
    EXPECT_EQ(Reread<KxVec3dListTag>(list)[0], KxVec3d(1.0, 2.0, -2.0));
    EXPECT_EQ(Reread<KxVec3dArrayTag>(nothing).Size(), 0);
}

TEST(GeometryTags, TwoDimensionalArraysGoRowAfterRow) {
    KxT2dArray<KxVec3f> floats(3, 2);
    for (int row = 0; row < 2; ++row)
        for (int column = 0; column < 3; ++column)
            floats(column, row) = KxVec3f(static_cast<float>(column), static_cast<float>(row), 0.0F);
    EXPECT_EQ(Payload<KxVec3f2dArrayTag>(floats),
              Plain("03000000 02000000 00000000 00000000 00000000 0000803f 00000000 00000000 00000040 00000000 00000000"
                    "00000000 0000803f 00000000 0000803f 0000803f 00000000 00000040 0000803f 00000000"));
    KxT2dArray<KxVec3d> flat(5, 0);
    EXPECT_EQ(Payload<KxVec3d2dArrayTag>(flat), Plain("05000000 00000000"));
    EXPECT_EQ(Reread<KxVec3d2dArrayTag>(flat).Width(), 5);
    KxT2dArray<KxVec3d> doubles(1, 1);
    doubles(0, 0) = KxVec3d(1.0, 2.0, -2.0);
    EXPECT_EQ(Payload<KxVec3d2dArrayTag>(doubles),
              Plain("01000000 01000000 000000000000f03f 0000000000000040 00000000000000c0"));
    EXPECT_EQ(Reread<KxVec3f2dArrayTag>(floats)(2, 1), KxVec3f(2.0F, 1.0F, 0.0F));
    for (auto const& [width, height] :
         {std::pair(65536, 65536), std::pair(70000, 70000), std::pair(-1, -1), std::pair(1, -1)}) {
        EXPECT_THROW(floats.Resize(width, height), std::bad_array_new_length);
        EXPECT_EQ(floats(2, 1), KxVec3f(2.0F, 1.0F, 0.0F));
    }
}

TEST(GeometryTags, EveryBitOfACoordinateIsCarried) {
    KxTArray<KxVec3d> values(2);
    double const nan = std::bit_cast<double>(0x7ff4dead0000beefULL);
    values[0] = KxVec3d(nan, std::numeric_limits<double>::infinity(), -0.0);
    values[1] = KxVec3d(std::numeric_limits<double>::denorm_min(), static_cast<double>(KxMath::Infinity), 1e308);
    KxTArray<KxVec3d> const read = Reread<KxVec3dArrayTag>(values);
    EXPECT_EQ(std::memcmp(read.Data(), values.Data(), 2 * sizeof(KxVec3d)), 0);
}

TEST(GeometryTags, HistogramIsATagArrayInATag) {
    KxHistogram histogram(16);
    histogram.Add(1.0);
    histogram.Add(-2.0);
    // 208009 is 0x32c89.
    EXPECT_EQ(Payload<KxHistogramTag>(histogram), Plain("892c0300 6400 00000000 24000000 00000000"
                                                        "e82c0300 6400 04000000 36000000 3a000000 02000000"
                                                        "e92c0300 6400 08000000 4c000000 54000000 000000000000f03f"
                                                        "e92c0300 6400 08000000 66000000 00000000 00000000000000c0"));
    CMemFile file;
    KxTagArchive(&file, 0) << KxHistogramTag(7, histogram);
    file.Seek(0, CFile::begin);
    KxHistogram read(16);
    read.Add(99.0);
    KxTagArchive(&file, 1) >> KxHistogramTag(7, read);
    EXPECT_EQ(read.Count(), 2);
    EXPECT_EQ(read.Min(), -2.0);
    EXPECT_EQ(read.Max(), 1.0);
}

TEST(GeometryTags, CountsAreBelievedOnlyAsFarAsTheFileGoes) {
    struct Case {
        char const* payload;
        char const* expected;
    };
    Case const cases[] = {{"", "archive 3"},
                          {"0100", "archive 3"},
                          {"01000000", "archive 3"},
                          {"01000000 00000000 00000000 00000000 00000000 00000000 0000", "archive 3"},
                          {"ffffffff 00", "archive 5"},
                          {"00000080 00", "archive 5"},
                          {"ffffff7f 00", "archive 3"}};
    for (Case const& c : cases) {
        KxTArray<KxVec3d> values(1);
        values[0] = KxVec3d(1.0, 2.0, 3.0);
        EXPECT_EQ(ReadPayload<KxVec3dArrayTag>(values, c.payload), c.expected) << c.payload;
        EXPECT_EQ(values.Size(), 1) << c.payload;
        KxTList<KxVec3d> list;
        EXPECT_EQ(ReadPayload<KxVec3dListTag>(list, c.payload), c.expected) << c.payload;
        KxCompactArray<KxVec3f> compact;
        std::string const cut = std::string(c.payload).substr(0, 17);
        EXPECT_EQ(ReadPayload<KxVec3fCompactArrayTag>(compact, cut), c.expected) << cut;
    }
    // Width times height: negative sides, and a product beyond 31 bits.
    Case const sides[] = {{"ffffffff ffffffff 00", "archive 5"},
                          {"00000000 ffffffff 00", "archive 5"},
                          {"00000100 00000100 00", "archive 5"},
                          {"00000100 00010000 00", "archive 3"}};
    for (Case const& c : sides) {
        KxT2dArray<KxVec3f> values(1, 1);
        EXPECT_EQ(ReadPayload<KxVec3f2dArrayTag>(values, c.payload), c.expected) << c.payload;
        EXPECT_EQ(values.Size(), 1) << c.payload;
    }
}

TEST(GeometryTags, ReplacedVectorsAndHistogramsReadTheirNewValue) {
    CMemFile file;
    KxVec3d point(1.0, 2.0, 3.0);
    KxHistogram histogram(16);
    for (double value : {1.0, 2.0, 3.0}) histogram.Add(value);
    int behind = 77;
    KxTagArchive(&file, 0) << KxVec3dTag(1, point) << KxHistogramTag(2, histogram) << KxTTag<int>(3, behind);
    std::vector<BYTE> const before = BytesOf(file);

    file.Seek(0, CFile::begin);
    KxTagArchive replacing(&file, 0);
    replacing.SetReplaceMode();
    KxVec3d other(-1.0, -2.0, -3.0);
    KxHistogram shorter(16);
    shorter.Add(5.0);
    replacing << KxVec3dTag(1, other) << KxHistogramTag(2, shorter);
    EXPECT_EQ(file.GetLength(), before.size());

    auto const reread = [&file](double expectedX, int expectedCount) {
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 1);
        KxVec3d point2;
        KxHistogram histogram2(16);
        int behind2 = 0;
        archive >> KxTTag<int>(3, behind2) >> KxVec3dTag(1, point2) >> KxHistogramTag(2, histogram2);
        EXPECT_EQ(point2[0], expectedX);
        EXPECT_EQ(histogram2.Count(), expectedCount);
        EXPECT_EQ(behind2, 77);
    };
    reread(-1.0, 1);

    // Longer than what stands there, though not than what once stood there: refused, and no byte changes.
    std::vector<BYTE> const now = BytesOf(file);
    KxHistogram longer(16);
    for (int i = 0; i < 2; ++i) longer.Add(i);
    EXPECT_EQ(Thrown([&] { replacing << KxHistogramTag(2, longer); }), "KxException");
    EXPECT_EQ(BytesOf(file), now);
    reread(-1.0, 1);
}

TEST(GeometryTags, CountsAboveTheElementsPresentAreAnError) {
    KxTArray<double> values(3);
    CMemFile file;
    KxTagArchive(&file, 0) << KxTTagArrayTag<double, KxTTag<double>>(21, values);
    std::vector<BYTE> bytes = BytesOf(file);
    bytes[36] = 4;  // the count, which stood at 3
    bytes.resize(bytes.size() + 26);
    KxTArray<double> read(1);
    EXPECT_EQ(Thrown([&] {
                  auto const damaged = FileOf(bytes);
                  KxTagArchive archive(damaged.get(), 1);
                  archive >> KxTTagArrayTag<double, KxTTag<double>>(21, read);
              }),
              "file 14");
    EXPECT_EQ(read.Size(), 1);
}

TEST(CompactArray, InsertsInOrderOfTheIndex) {
    KxCompactArray<KxVec3f> array(40);
    EXPECT_FALSE(array.Has(33));
    array[33] = KxVec3f(1.0F, 2.0F, 3.0F);
    EXPECT_TRUE(array.Has(33));
    EXPECT_EQ(array.DenseIndex(33), 0);
    array[31] = KxVec3f(4.0F, 5.0F, 6.0F);
    array[32] = KxVec3f(7.0F, 8.0F, 9.0F);
    array[0] = KxVec3f(0.0F, 0.0F, 0.0F);
    EXPECT_EQ(array.NumElements(), 4);
    int const order[] = {0, 31, 32, 33};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(array.DenseIndex(order[i]), i);
    EXPECT_EQ(array[33], KxVec3f(1.0F, 2.0F, 3.0F));
    EXPECT_EQ(array[31][0], 4.0F);
    // An access makes the element, with the marker in its first component.
    EXPECT_EQ(std::bit_cast<std::uint32_t>(array[16][0]), 0x7f7fffffU);
    EXPECT_EQ(array.DenseIndex(16), 1);
    EXPECT_EQ(array.DenseIndex(33), 4);

    array.Resize(32);
    EXPECT_EQ(array.NumElements(), 3);
    array.Resize(64);
    EXPECT_FALSE(array.Has(33));
    EXPECT_EQ(array[31][0], 4.0F);

    KxCompactArray<KxVec3f> wide(200);  // between blocks that are there, with empty ones among them
    for (int const index : {150, 5, 199, 70, 6, 40, 0, 71}) wide[index] = KxVec3f(static_cast<float>(index), 0, 0);
    int rank = 0;
    for (int i = 0; i < 200; ++i) {
        if (!wide.Has(i)) continue;
        EXPECT_EQ(wide.DenseIndex(i), rank++);
        EXPECT_EQ(wide[i][0], static_cast<float>(i));
    }
    EXPECT_EQ(rank, 8);
    wide.Resize(71);  // within a block
    EXPECT_TRUE(wide.NumElements() == 5 && wide.Has(70) && !wide.Has(71 - 32));
    wide.Resize(200);
    EXPECT_FALSE(wide.Has(71));
    EXPECT_THROW(wide.Resize(-1), std::bad_array_new_length);
    EXPECT_THROW(KxCompactArray<KxVec3f>(-1), std::bad_array_new_length);
    EXPECT_TRUE(wide.Size() == 200 && wide.Has(70));
    for (int i = 0; i < 200; ++i) wide[i][0] = static_cast<float>(i);  // all of them, in order
    EXPECT_EQ(wide.NumElements(), 200);
    for (int i = 0; i < 200; ++i) ASSERT_EQ(wide[i][0], static_cast<float>(i));
}

TEST(CompactArray, WritingFillsTheGapsWithTheMarker) {
    KxCompactArray<KxVec3f> array(3);
    array[1] = KxVec3f(1.0F, 2.0F, 0.5F);
    EXPECT_EQ(Payload<KxVec3fCompactArrayTag>(array), Plain("03000000 ffff7f7f 00000000 00000000"
                                                            "0000803f 00000040 0000003f ffff7f7f 00000000 00000000"));
    EXPECT_EQ(array.NumElements(), 3);
    KxCompactArray<KxVec3f> read = Reread<KxVec3fCompactArrayTag>(array);
    EXPECT_EQ(read.NumElements(), 3);
    EXPECT_EQ(read[1], KxVec3f(1.0F, 2.0F, 0.5F));
    KxCompactArray<KxVec3f> blocks(70);
    blocks[65] = KxVec3f(1.0F, 2.0F, 0.5F);
    KxCompactArray<KxVec3f> const again = Reread<KxVec3fCompactArrayTag>(blocks);
    EXPECT_TRUE(again.NumElements() == 70 && again.DenseIndex(65) == 65);
}

TEST(CompactArray, Masks) {
    EXPECT_EQ(g_aAEMC.SingleBit(31), 0x80000000U);
    EXPECT_EQ(g_aAEMC.BitsToHere(0), 1U);
    EXPECT_EQ(g_aAEMC.BitsToHere(31), 0xffffffffU);
    for (unsigned n = 0; n < 65536; ++n) ASSERT_EQ(g_aAEMC.BitCount(n), std::popcount(n));
    EXPECT_EQ(g_aAEMC.BitCount32(0x00010001), 2);
}
