// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "TagTest.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syTagCopier.h"
#include "hbtools/persistence/syTagInspector.h"

#include <cstring>

using namespace KxN;

namespace {

struct Findings {
    TagFileState state;
    std::string faults;   // "kind@position>target-lost", separated by blanks
    std::string records;  // "id:kind:depth"
    int numRemarks = 0;
};

Findings Inspect(std::vector<BYTE> const& bytes, bool recovers = false) {
    auto const file = FileOf(bytes);
    KxTagInspector inspector(file.get());
    Findings findings{recovers ? inspector.Recover() : inspector.Inspect(), "", ""};
    findings.numRemarks = inspector.Remarks().Size();
    for (SxTagFault const& fault : inspector.Faults()) {
        KxString line;
        line.SPrintf(L"%s@%llu>%llu-%llu ", KxxTagFaultName(fault.kind), fault.position, fault.target, fault.lostBytes);
        for (wchar_t c : line.View()) findings.faults += static_cast<char>(c);
    }
    for (SxTagRecord const& record : inspector.Records()) {
        KxString line;
        line.SPrintf(L"%u:%s:%d ", record.image.id, KxxPayloadKindName(record.kind), record.depth);
        for (wchar_t c : line.View()) findings.records += static_cast<char>(c);
        // Whatever the bytes are, showing values ends and stays within the file.
        try {
            inspector.PayloadText(record, 0, 20, L";");
        } catch (CFileException* exception) {
            exception->Delete();
        }
    }
    return findings;
}

std::vector<BYTE> SampleFile() {
    CMemFile file;
    KxString name(L"Platte");
    KxTArray<KxVec3d> points(2);
    points[0] = KxVec3d(1.0, 2.0, 3.0);
    points[1] = KxVec3d(0.1, -2.5, 1e300);
    KxT2dArray<KxVec3f> grid(3, 2);
    for (KxVec3f& cell : grid) cell = KxVec3f(1.0F, 2.0F, 3.0F);
    KxTArray<KxVec3i> ints(1);
    ints[0] = KxVec3i(3, -4, 5);
    KxTArray<int> numbers(2);
    numbers[0] = 7;
    numbers[1] = -8;
    KxHistogram histogram(16);
    histogram.Add(0.25);
    histogram.Add(-1.0);
    KxVec3d normal(0.0, 0.0, 1.0);
    KxTArray<KxVec3f> none;
    int scalar = 42;
    KxTagArchive archive(&file, 0);
    archive << KxNullTag(1);
    archive.LevelDown();
    archive << KxStringTag(2, name) << KxVec3dArrayTag(3, points);
    archive.LevelUp();
    {
        FormatScope const scope(TagFormat64);
        archive << KxNullTag(4);
        archive.LevelDown();
        archive << KxVec3f2dArrayTag(5, grid) << KxVec3iArrayTag(6, ints) << KxTBasicTypeArrayTag<int>(7, numbers);
        archive << KxHistogramTag(8, histogram) << KxVec3dTag(9, normal) << KxVec3fArrayTag(10, none);
        archive.LevelUp();
    }
    archive << KxTTag<int>(11, scalar);
    return BytesOf(file);
}

}  // namespace

TEST(TagInspector, RecognisesWhatTheLibraryWrites) {
    Findings const findings = Inspect(SampleFile());
    EXPECT_EQ(findings.state, TagFileWhole);
    EXPECT_EQ(findings.faults, "");
    EXPECT_EQ(findings.records,
              "1:marker:0 2:text:1 3:array of KxVec3d:1 4:marker:0 5:2-D array of KxVec3f:1 6:array of KxVec3i:1 "
              "7:array of int:1 8:histogram:1 9:KxVec3d:1 10:empty array:1 11:scalar:0 ");
}

TEST(TagInspector, ShowsValues) {
    auto const file = FileOf(SampleFile());
    KxTagInspector inspector(file.get());
    inspector.Inspect();
    auto const& records = inspector.Records();
    auto const text = [&](int number, int first, int count) {
        return inspector.PayloadText(records[number], first, count, L"; ");
    };
    EXPECT_TRUE(text(1, 0, 1) == L"Platte");
    EXPECT_TRUE(text(2, 0, 9) == L"1 2 3; 0.1 -2.5 1e+300");
    EXPECT_TRUE(text(2, 1, 1) == L"0.1 -2.5 1e+300");
    EXPECT_TRUE(text(5, 0, 1) == L"3 -4 5");
    EXPECT_TRUE(text(6, 0, 2) == L"7; -8");
    EXPECT_TRUE(text(7, 0, 2) == L"0.25; -1");
    EXPECT_TRUE(text(7, 1, 1) == L"-1" && text(7, 0, 1) == L"0.25");  // back again
    EXPECT_TRUE(text(8, 0, 1) == L"0 0 1");
    EXPECT_TRUE(text(10, 0, 1) == L"int 42, float 5.9e-44");
    EXPECT_EQ(records[4].width, 3);
    EXPECT_EQ(records[2].parent, 0);
    LONGLONG number = 7;
    EXPECT_TRUE(!inspector.ReadInteger(records[8], number) && number == 7);
    EXPECT_EQ(inspector.ReadElements(records[2], -1, 1, &number), 0);
}

TEST(TagInspector, ShowsScalarsAndVectorsOfEveryWidth) {
    short whole2 = -2;
    int whole4 = -4;
    long long whole8 = -8;
    KxVec2s pixel(4, -5);
    KxVec2d flat(0.5, -0.25);
    KxVec3f point(1, -2, 0.5F);
    KxString lines(L"a\tb\r\nc\x1b[0m");
    CMemFile file;
    KxTagArchive(&file, 0) << KxTTag<short>(1, whole2) << KxTTag<int>(2, whole4) << KxTTag<long long>(3, whole8)
                           << KxVec2sTag(4, pixel) << KxVec2dTag(5, flat) << KxVec3fTag(6, point)
                           << KxStringTag(7, lines);
    KxTagInspector inspector(&file);
    inspector.Inspect();
    char const* const shown[] = {"-2",        "int -4, float -nan", "int -8, double -nan", "4 -5",
                                 "0.5 -0.25", "1 -2 0.5",           "a\tb\r\nc\x1b[0m"};
    ASSERT_EQ(inspector.Records().Size(), 7);
    for (int i = 0; i < 7; ++i) {
        SxTagRecord const& record = inspector.Records()[i];
        KxString const text = inspector.PayloadText(record, 0, 1, L"; ");
        EXPECT_EQ(KxxToUtf8(text.View()), shown[i]);
        LONGLONG number = 0;
        EXPECT_EQ(inspector.ReadInteger(record, number), i < 3);
        EXPECT_EQ(number, i < 3 ? -2 * (1 << i) : 0);
    }
}

TEST(TagInspector, NamesEachKindOfDamage) {
    struct Case {
        char const* what;
        char const* bytes;
        TagFileState state;
        char const* faults;
    };
    Case const cases[] = {
        {"empty", "", TagFileDamaged, "truncated@0>0-0 "},
        {"one byte", "01", TagFileDamaged, "truncated@0>0-1 "},
        {"text", "48656c6c6f2c20776f726c642e0a546869732069", TagFileForeign, ""},
        {"short foreign", "48656c6c6f2c20776f726c642e0a", TagFileForeign, ""},
        {"whole", "01000000 6400 00000000 12000000 00000000", TagFileWhole, ""},
        {"cut head behind a link", "01000000 6400 00000000 12000000 12000000 0200", TagFileDamaged,
         "truncated@18>0-2 "},
        {"dangling link", "01000000 6400 00000000 12000000 ff000000", TagFileDamaged, "dangling link@0>255-0 "},
        {"self ring", "01000000 6400 00000000 12000000 12000000 02000000 6400 00000000 24000000 12000000",
         TagFileDamaged, "cycle@18>18-0 "},
        {"ring",
         "01000000 6400 00000000 12000000 12000000 02000000 6400 00000000 24000000 24000000"
         "03000000 6400 00000000 36000000 12000000",
         TagFileDamaged, "cycle@36>18-0 "},
        {"into the head", "01000000 6400 00000000 12000000 05000000", TagFileDamaged, "link into a record@0>5-0 "},
        {"into the payload",
         "01000000 6400 08000000 12000000 14000000 0000000000000000 02000000 6400 00000000 2c000000 00000000",
         TagFileDamaged, "link into a record@0>20-18 "},
        {"link to no record",
         "01000000 6400 02000000 12000000 14000000 0000"
         "ffffffff ffffffff ffffffff ffffffff ffff ffffffff ffffffff ffffffff",
         TagFileDamaged, "link to no record@0>20-30 "},
        {"short payload", "01000000 6400 08000000 12000000 00000000 000000", TagFileDamaged, "short payload@0>0-5 "},
        {"negative count", "01000000 6400 00000000 12000000 00000000 ffffffff 00", TagFileDamaged,
         "impossible count@0>0-5 "},
        {"count of 2^31-1", "01000000 6400 00000000 12000000 00000000 ffffff7f 00", TagFileDamaged,
         "impossible count@0>0-5 "},
        {"array cut", "01000000 6400 00000000 12000000 00000000 02000000 0000000000000000 0000", TagFileDamaged,
         "short payload@0>0-14 "},
        {"trailing", "01000000 6400 02000000 12000000 00000000 0100 deadbeef", TagFileDamaged,
         "trailing bytes@20>0-4 "}};
    for (Case const& c : cases) {
        Findings const findings = Inspect(FromHex(c.bytes));
        EXPECT_EQ(findings.state, c.state) << c.what;
        EXPECT_EQ(findings.faults, c.faults) << c.what;
    }
    KxT2dArray<KxVec3f> grid(2, 9);
    for (KxVec3f& cell : grid) cell = KxVec3f(1.0F, 2.0F, 3.0F);
    CMemFile file;
    KxTagArchive(&file, 0) << KxVec3f2dArrayTag(1, grid);
    std::vector<BYTE> cut = BytesOf(file);
    cut.resize(18 + 8 + 8 * 12);  // of 18 points
    EXPECT_EQ(Inspect(cut).faults, "short payload@0>0-104 ");
    std::vector<BYTE> header = FromHex("4949 6400 0002");  // of a file that goes on otherwise
    header.resize(512);
    header.insert(header.end(), 40, BYTE{'a'});
    EXPECT_EQ(Inspect(header).state, TagFileForeign);
}

TEST(TagInspector, RecoveryBeginsAtTheFirstRecordThatIsThere) {
    for (char const* before : {"ffffffff ffffffff ffffffff ffffffff ffffffff",
                               "ffff 01000000 6400 00000000 14000000 ff000000"}) {  // a head whose link leads nowhere
        Findings const findings =
            Inspect(FromHex(before + std::string("02000000 6400 00000000 26000000 00000000"
                                                 "03000000 6400 02000000 38000000 00000000 0500")),
                    true);
        EXPECT_EQ(findings.state, TagFileDamaged) << before;
        EXPECT_EQ(findings.faults, "link to no record@0>20-20 ") << before;
        EXPECT_EQ(findings.records, "2:marker:0 3:scalar:1 ") << before;
    }
}

TEST(TagInspector, WhatStandsBehindAFileHeader) {
    auto const header = FromHex("4949 0100 0002");
    struct {
        char const* behind;
        TagFileState state;
        char const* faults;
    } const cases[] = {{"", TagFileWhole, ""},
                       {"01000000 6400 00000000 12020000 00000000", TagFileWhole, ""},
                       {"01000000 6400", TagFileDamaged, "truncated@512>0-6 "},
                       {"ffffffff ffff ffffffff ffffffff ffffffff", TagFileForeign, ""}};
    for (auto const& c : cases) {
        auto bytes = header, behind = FromHex(c.behind);
        bytes.resize(512);
        bytes.insert(bytes.end(), behind.begin(), behind.end());
        Findings const findings = Inspect(bytes);
        EXPECT_EQ(findings.state, c.state) << c.behind;
        EXPECT_EQ(findings.faults, c.faults) << c.behind;
    }
    auto const record = FromHex("01000000 6400 00000000 12020000 00000000");
    for (char const* version : {"0000", "ff7f", "ffff"}) {  // nobody judges it
        auto bytes = FromHex(std::string("4949") + version + "0002");
        bytes.resize(512);
        bytes.insert(bytes.end(), record.begin(), record.end());
        EXPECT_EQ(Inspect(bytes).state, TagFileWhole) << version;
    }
    auto twice = header;
    twice.resize(512);
    twice.insert(twice.end(), header.begin(), header.end());
    twice.resize(1024);
    twice.insert(twice.end(), record.begin(), record.end());
    EXPECT_EQ(Inspect(twice).state, TagFileForeign);
}

TEST(TagInspector, BackwardLinksAndSharedTailsAreNamed) {
    // 0 -> 39 -> 21 -> end: readable, but backward.
    Findings const backward =
        Inspect(FromHex("01000000 6400 02000000 12000000 27000000 0100 ff"
                        "02000000 6400 00000000 27000000 00000000"
                        "03000000 6400 00000000 39000000 15000000"));
    EXPECT_EQ(backward.state, TagFileDamaged);
    EXPECT_EQ(backward.faults, "backward link@39>21-0 ");
    EXPECT_EQ(backward.records, "1:scalar:0 3:marker:0 2:marker:0 ");
    // A child's link leads out of its parent to the parent's neighbour.
    Findings const shared =
        Inspect(FromHex("01000000 6400 00000000 12000000 24000000"
                        "02000000 6400 00000000 24000000 36000000"
                        "03000000 6400 00000000 36000000 00000000"
                        "04000000 6400 00000000 48000000 00000000"));
    EXPECT_EQ(shared.state, TagFileDamaged);
    EXPECT_NE(shared.faults.find("overlap@18>54"), std::string::npos) << shared.faults;
    // The same where the link leads exactly to the end of the parent's payload; and a ring through two levels.
    EXPECT_EQ(Inspect(FromHex("01000000 6400 00000000 12000000 24000000 02000000 6400 00000000 24000000 24000000"
                              "03000000 6400 00000000 36000000 00000000"))
                  .faults,
              "overlap@18>36-0 ");
    EXPECT_EQ(Inspect(FromHex("01000000 6400 00000000 12000000 24000000 02000000 6400 00000000 24000000 24000000"
                              "03000000 6400 00000000 36000000 12000000"))
                  .faults,
              "overlap@18>36-0 cycle@36>18-0 ");
}

/// Appends a scalar to the level behind the marker, with whatever stands behind it.
void Grow(CFile& file, unsigned long marker, unsigned long id) {
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 1);
    archive >> KxNullTag(marker);
    int value = static_cast<int>(id);
    KxTagArchive(&file, 0) << KxTTag<int>(id, value);
}

TEST(TagInspector, LevelsGrowBehindTheirNeighbours) {
    for (TagFormat format : {TagFormat32, TagFormat64}) {
        FormatScope const scope(format);
        CMemFile file;
        KxTArray<KxVec3d> points(2);
        KxTagArchive archive(&file, 0);
        for (unsigned long marker : {1UL, 2UL}) {
            archive << KxNullTag(marker);
            archive.LevelDown();
            archive << KxVec3dArrayTag(marker * 10,
                                       points);  // ends where the other level goes on, or a neighbour begins
            archive.LevelUp();
        }
        archive << KxVec3dArrayTag(3, points);
        for (auto [marker, id] : {std::pair{1UL, 11UL}, {2UL, 21UL}, {1UL, 12UL}, {2UL, 22UL}}) Grow(file, marker, id);
        std::string const levels =
            "1:marker:0 10:array of KxVec3d:1 11:scalar:1 12:scalar:1 "
            "2:marker:0 20:array of KxVec3d:1 21:scalar:1 22:scalar:1 3:array of KxVec3d:0 ";
        Findings const grown = Inspect(BytesOf(file));
        EXPECT_EQ(grown.state, TagFileWhole) << grown.faults;
        EXPECT_EQ(grown.records, levels);
        CMemFile copy;
        EXPECT_EQ(KxTagCopier(&file).Convert(copy, TagFormat64), TagFileWhole);
        EXPECT_EQ(Inspect(BytesOf(copy)).records, levels);
        EXPECT_EQ(KxTagCopier(&file).Repair(copy), TagFileWhole);
        EXPECT_EQ(Inspect(BytesOf(copy)).records, levels);
    }
}

/// Writes the collection and a text behind it, and loses the link between them.
template <class Tag, class Collection>
std::vector<BYTE> Unlinked(Collection& collection, std::size_t& behind) {
    CMemFile file;
    KxString text(L"plate");
    KxTagArchive archive(&file, 0);
    archive << Tag(230, collection);
    behind = static_cast<std::size_t>(file.GetLength());
    archive << KxStringTag(2, text);
    std::vector<BYTE> bytes = BytesOf(file);
    bool const isLong = GetGlobalTagFormat() == TagFormat64;
    std::fill_n(bytes.begin() + (isLong ? 22 : 14), isLong ? 8 : 4, BYTE{0});
    return bytes;
}

// What a failed append leaves behind a collection, from its first byte on, takes no element from it.
TEST(TagInspector, CollectionsEndByTheirCountWhereNoLinkTells) {
    for (TagFormat format : {TagFormat32, TagFormat64}) {
        FormatScope const scope(format);
        KxTArray<KxVec2s> pixels(9);
        KxTArray<KxVec3f> floats(9), none;
        KxTArray<KxVec3d> doubles(9);
        KxTArray<KxVec3i> ints(9);
        KxT2dArray<KxVec3f> grid(3, 3);
        KxT2dArray<KxVec3d> wide(3, 3);
        for (int i = 0; i < 9; ++i) {
            pixels[i] = KxVec2s(static_cast<short>(i), static_cast<short>(-i));
            ints[i] = KxVec3i(i, -i, 7);
            doubles[i] = wide.Data()[i] = KxVec3d(i + 0.1, -2.5 * i, 20.7);
            floats[i] = grid.Data()[i] = KxVec3f(static_cast<float>(i) + 0.1F, -2.5F, 20.7F);
        }
        struct {
            TagPayloadKind kind;
            std::size_t behind;
            std::vector<BYTE> bytes;
        } cases[] = {{PayloadVec2sArray, 0, {}}, {PayloadVec3iArray, 0, {}},   {PayloadVec3fArray, 0, {}},
                     {PayloadVec3dArray, 0, {}}, {PayloadVec3f2dArray, 0, {}}, {PayloadVec3d2dArray, 0, {}},
                     {PayloadEmptyArray, 0, {}}};
        cases[0].bytes = Unlinked<KxVec2sArrayTag>(pixels, cases[0].behind);
        cases[1].bytes = Unlinked<KxVec3iArrayTag>(ints, cases[1].behind);
        cases[2].bytes = Unlinked<KxVec3fArrayTag>(floats, cases[2].behind);
        cases[3].bytes = Unlinked<KxVec3dArrayTag>(doubles, cases[3].behind);
        cases[4].bytes = Unlinked<KxVec3f2dArrayTag>(grid, cases[4].behind);
        cases[5].bytes = Unlinked<KxVec3d2dArrayTag>(wide, cases[5].behind);
        cases[6].bytes = Unlinked<KxVec3fArrayTag>(none, cases[6].behind);
        for (auto const& c : cases)
            for (std::size_t length = c.behind + 1; length <= c.bytes.size(); ++length) {
                auto const file = FileOf({c.bytes.begin(), c.bytes.begin() + static_cast<std::ptrdiff_t>(length)});
                KxTagInspector inspector(file.get());
                EXPECT_EQ(inspector.Inspect(), TagFileDamaged);
                SxTagRecord const& record = inspector.Records()[0];
                EXPECT_TRUE(record.kind == c.kind && record.count == (c.kind == PayloadEmptyArray ? 0 : 9))
                    << format << ' ' << c.kind << " cut to " << length << " of " << c.bytes.size() << ": "
                    << record.kind;
                EXPECT_FALSE(record.isDamaged);
                if (length < c.bytes.size()) continue;
                EXPECT_EQ(inspector.Records().Size(), 2);
                EXPECT_EQ(inspector.Faults()[0].kind, FaultUnlinked);
            }
    }
}

TEST(TagInspector, ShorterCollectionsInThePlaceOfLongerOnesAreWhole) {
    CMemFile file;
    auto const write = [&](int count, bool isReplaced) {
        KxTArray<KxVec3d> points(count);
        for (int i = 0; i < count; ++i) points[i] = KxVec3d(i + 0.1, -2.5 * i, 20.7);
        KxTArray<KxVec3f> floats(count);
        for (KxVec3f& point : floats) point = KxVec3f(1.5F, 2.7F, -3.1F);
        file.Seek(0, CFile::begin);
        KxTagArchive archive(&file, 0);
        if (isReplaced) archive.SetReplaceMode();
        archive << KxVec3dArrayTag(1, points) << KxVec3fArrayTag(2, floats);
    };
    write(9, false);
    write(4, true);
    auto const copy = FileOf(BytesOf(file));
    KxTagInspector inspector(copy.get());
    EXPECT_EQ(inspector.Inspect(), TagFileWhole);
    SxTagRecord const &first = inspector.Records()[0], &last = inspector.Records()[1];
    EXPECT_TRUE(first.kind == PayloadVec3dArray && first.count == 4 && first.extent == 4 + 9 * 24U);
    EXPECT_TRUE(last.kind == PayloadVec3fArray && last.count == 4);
}

// By hand. Records behind others that end their level, in a level and behind it; a level below a number is one.
TEST(TagInspector, ARecordWithoutALinkIsToldFromALevel) {
    std::string const text = "02000000 6400 03000000 12000000 00000000 416200 ", marker = "01000000 6400 00000000 ";
    struct {
        char const* what;
        std::string bytes;
        char const* faults;
        int remarks;
        char const* records;
    } const cases[] = {
        {"behind a text", text + "03000000 6400 00000000 27000000 00000000", "record without a link@21>0-18 ", 0,
         "2:text:0 3:marker:0 "},
        {"behind a level at the end",
         marker + "12000000 00000000 02000000 6400 03000000 24000000 00000000 416200 03000000 6400 00000000 39000000 "
                  "00000000",
         "record without a link@39>18-18 ", 0, "1:marker:0 2:text:1 3:marker:0 "},
        {"behind a text in a level at the end",
         marker + "12000000 00000000 02000000 6400 03000000 24000000 00000000 416200 03000000 6400 02000000 39000000 "
                  "00000000 0500",
         "record without a link@39>18-20 ", 0, "1:marker:0 2:text:1 3:scalar:1 "},
        {"the same, with the id of the marker",
         marker + "12000000 00000000 02000000 6400 03000000 24000000 00000000 416200 01000000 6400 02000000 39000000 "
                  "00000000 0500",
         "record without a link@39>18-20 ", 0, "1:marker:0 2:text:1 1:scalar:0 "},
        {"within a level",
         marker + "12000000 39000000 02000000 6400 03000000 24000000 00000000 416200 03000000 6400 00000000 39000000 "
                  "00000000 04000000 6400 00000000 4b000000 00000000",
         "record without a link@39>18-18 ", 0, "1:marker:0 2:text:1 3:marker:1 4:marker:0 "},
        {"below a number", "02000000 6400 04000000 12000000 00000000 07000000 03000000 6400 00000000 28000000 00000000",
         "", 1, "2:scalar:0 3:marker:1 "},
        {"behind a float", "02000000 6400 04000000 12000000 00000000 0000803f 03000000 6400 00000000 28000000 00000000",
         "record without a link@22>0-18 ", 0, "2:scalar:0 3:marker:0 "},
        {"below the second of two numbers, as below the first",
         "02000000 6400 04000000 12000000 28000000 07000000 03000000 6400 00000000 28000000 00000000"
         "02000000 6400 04000000 3a000000 00000000 08000000 03000000 6400 00000000 50000000 00000000",
         "", 0, "2:scalar:0 3:marker:1 2:scalar:0 3:marker:1 "},
        {"behind the second of two numbers, neither of which has a level",
         "02000000 6400 04000000 12000000 16000000 07000000 02000000 6400 04000000 28000000 00000000 08000000"
         "03000000 6400 00000000 3e000000 00000000",
         "record without a link@44>22-18 ", 0, "2:scalar:0 2:scalar:0 3:marker:0 "},
        {"zeros in the place of a head", text.substr(0, 31) + "15000000 416200" + std::string(60, '0'),
         "link to no record@0>21-30 ", 0, "2:text:0 "},
    };
    for (auto const& c : cases) {
        Findings const findings = Inspect(FromHex(c.bytes));
        EXPECT_EQ(findings.faults, c.faults) << c.what;
        EXPECT_EQ(findings.records, c.records) << c.what;
        EXPECT_EQ(findings.numRemarks, c.remarks) << c.what;
    }
}

TEST(TagInspector, EveryCutIsSeenAndEveryFlippedBitIsSurvived) {
    std::vector<BYTE> const bytes = SampleFile();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        Findings const findings = Inspect({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)});
        EXPECT_EQ(findings.state, TagFileDamaged) << length << ' ' << findings.records;
    }
    for (std::size_t i = 0; i < bytes.size() * 8; ++i) {
        std::vector<BYTE> flipped = bytes;
        flipped[i / 8] = static_cast<BYTE>(flipped[i / 8] ^ (1U << (i % 8)));
        Findings const findings = Inspect(flipped);
        EXPECT_LE(findings.records.size(), bytes.size() * 40);
    }
}

TEST(TagInspector, NestingBeyondTheLimitIsAFault) {
    // Markers nested by their address alone: each is the first record of the payload of the one before.
    std::vector<BYTE> bytes;
    for (std::uint32_t level = 0; level < 10000; ++level) {
        std::uint32_t const head[] = {1, 0, 0, 0};
        BYTE record[18] = {};
        std::memcpy(record, head, 4);
        record[4] = 100;
        std::uint32_t const address = (level + 1) * 18;
        std::memcpy(record + 10, &address, sizeof address);
        bytes.insert(bytes.end(), record, record + sizeof record);
    }
    Findings const findings = Inspect(bytes);
    EXPECT_EQ(findings.state, TagFileDamaged);
    EXPECT_EQ(findings.faults.substr(0, 15), "nested too deep");
}
