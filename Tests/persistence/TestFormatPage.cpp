// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Doc/formats/tags.md is what others build readers from: its examples are whole files, and what the code beside them
// writes.
#include "FormatExamples.h"

#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/syTagInspector.h"

#include <functional>

using namespace KxN;

namespace {

void StoreNested(KxTagArchive& archive) {
    archive << KxNullTag(100);
    archive.LevelDown();
    int points = 42;
    archive << KxTTag<int>(101, points);
    archive.LevelUp();
    KxString name(L"Ab");
    archive << KxStringTag(102, name);
}

void StoreScalar(KxTagArchive& archive) {
    int points = 42;
    archive << KxTTag<int>(101, points);
}

void StoreInts(KxTagArchive& archive) {
    int const numbers[] = {1, -2};
    KxTArray<int> values(numbers, 2);
    archive << KxTBasicTypeArrayTag<int>(200, values);
}

void StorePoints(KxTagArchive& archive) {
    KxTArray<KxVec3f> points(1);
    points[0] = KxVec3f(1.0F, -2.0F, 0.5F);
    archive << KxVec3fArrayTag(201, points);
}

}  // namespace

TEST(FormatPage, ExamplesAreWhatTheLibraryWritesAndWhole) {
    struct Case {
        TagFormat format;
        std::function<void(KxTagArchive&)> store;
        char const* kinds;  // of the records, as the inspector names them
    };
    Case const cases[] = {{TagFormat32, StoreNested, "marker scalar text "},
                          {TagFormat64, StoreScalar, "scalar "},
                          {TagFormat32, StoreInts, "array of int "},
                          {TagFormat32, StorePoints, "array of KxVec3f "}};
    std::vector<std::string> const examples = Examples("tags.md");
    ASSERT_EQ(examples.size(), std::size(cases));
    for (std::size_t i = 0; i < examples.size(); ++i) {
        FormatScope const scope(cases[i].format);
        CMemFile written;
        KxTagArchive archive(&written, 0);
        cases[i].store(archive);
        EXPECT_EQ(HexOf(written), examples[i]) << i;

        auto const file = FileOf(FromHex(examples[i]));
        KxTagInspector inspector(file.get());
        EXPECT_EQ(inspector.Inspect(), TagFileWhole) << i;
        std::string kinds;
        for (SxTagRecord const& record : inspector.Records()) {
            for (wchar_t const c : std::wstring_view(KxxPayloadKindName(record.kind))) kinds += static_cast<char>(c);
            kinds += ' ';
        }
        EXPECT_EQ(kinds, cases[i].kinds) << i;
    }
}

// The statements of the page that no other test looks at.
TEST(FormatPage, DownsidesAreAsTold) {
    // A failed append of the first record of a level needs no link to be seen.
    auto const cut = FileOf(FromHex("65000000 6400 04000000 12000000 00000000 2a00"));
    int value = 7;
    EXPECT_EQ(Thrown([&] { KxTagArchive(cut.get(), 1) >> KxTTag<int>(101, value); }), "file 14");
    EXPECT_EQ(value, 7);

    // Replacing leaves the head: a longer text is cut where the old one ended when it is read, and the next record is
    // hit; a shorter one ends at its zero.
    CMemFile file;
    KxString text(L"abcd");
    KxTagArchive(&file, 0) << KxStringTag(1, text);
    file.Seek(0, CFile::begin);
    KxTagArchive archive(&file, 0);
    archive.SetReplaceMode();
    for (auto [replacement, expected] : {std::pair{L"x", L"x"}, std::pair{L"efghijk", L"efghi"}}) {
        text = replacement;
        archive << KxStringTag(1, text);
        file.Seek(0, CFile::begin);
        KxTagArchive(&file, 1) >> KxStringTag(1, text);
        EXPECT_TRUE(text == expected);
    }

    // A version that would make the record look like one of the other form.
    CMemFile target;
    EXPECT_EQ(Thrown([&] { KxTagArchive(&target, 0) << KxNullTag(1, KxVersion(0x8000)); }), "KxException");
    EXPECT_EQ(target.GetLength(), 0U);

    // A position from 2^63 on is refused by the file.
    auto const far = FileOf(FromHex("01000000 6480 0000000000000000 1e00000000000000 0000000000000080"));
    EXPECT_EQ(Thrown([&] { KxTagArchive(far.get(), 1) >> KxNullTag(2); }).substr(0, 4), "file");
}
