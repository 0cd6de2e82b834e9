// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The page of a tag file opens in a browser without an error, whatever the file holds.
#include "Programs.h"

#include <hbtools/math/syHistogram.h>
#include <hbtools/persistence/syBinFileHeader.h>
#include <hbtools/persistence/syGeometryTags.h>
#include <hbtools/persistence/sySimpleTags.h>
#include <hbtools/persistence/syTagArchive.h>
#include <hbtools/properties/syPropertyList.h>
#include <hbtools/properties/syPropertyTag.h>

#include <cmath>
#include <sstream>

namespace {

using namespace KxN;

/// Exceptions, and whatever else the browser finds wrong, but for what it says about its own drawing.
std::string ConsoleMessages(std::string const& output) {
    std::string found, line;
    for (std::istringstream lines(output); std::getline(lines, line);)
        if (line.find(":CONSOLE:") != std::string::npos && line.find("[.WebGL-") == std::string::npos)
            found += line + '\n';
    return found;
}

class HbtagPages : public Programs {
protected:
    KxString FileName(char const* name) const { return KxString((folder / name).wstring()); }

    /// A header; points with gaps, one that no float reaches, and deviations of which one is unknown; an array whose
    /// version nobody reads; points that are all gaps.
    void WriteScan(char const* name) const {
        KxBinHeader(512).Write(FileName(name));
        CFile file(FileName(name), CFile::modeReadWrite);
        file.Seek(512, CFile::begin);
        KxTArray<KxVec3d> points(7), gaps(2);
        KxTArray<KxVec3f> floats(3);
        KxHistogram deviations;
        for (int i = 0; i < points.Size(); ++i) {
            points[i] = KxVec3d(i, 10, 20);
            deviations.Add(i == 2 ? std::nan("") : 0.5 * i);
        }
        points[1].Invalidate();
        points[5][1] = points[6][2] = 1.7e308;
        for (KxVec3d& gap : gaps) gap.Invalidate();
        for (KxVec3f& point : floats) point = KxVec3f(1, 2, 3);
        KxVec3fArrayTag newer(3, floats);
        newer.SetVersion(200);
        KxTagArchive(&file, 0) << KxVec3dArrayTag(1, points) << KxHistogramTag(2, deviations) << newer
                               << KxVec3dArrayTag(4, gaps);
    }
    /// Levels within one another.
    void WriteDeep(char const* name, int depth) const {
        CFile file(FileName(name), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive archive(&file, 0);
        for (int i = 0; i < depth; ++i) {
            archive << KxNullTag(1);
            archive.LevelDown();
        }
        int value = 5;
        archive << KxTTag<int>(2, value);
    }
    void WriteMany(char const* name, int count) const {
        CFile file(FileName(name), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive archive(&file, 0);
        for (int i = 0; i < count; ++i) archive << KxTTag<int>(2, i);
        KxPropertyList tree(L"tree", L"", 0);
        KxPropertyList* list = &tree;
        archive << KxPropertyListTag(3, list);
    }

    /// Points of each kind, more than are drawn; arrays of a version that nobody reads, more than are named.
    void WriteKinds(char const* name) const {
        CFile file(FileName(name), CFile::modeCreate | CFile::modeReadWrite);
        KxTArray<KxVec3i> ints(2);
        KxT2dArray<KxVec3f> floats(2, 3);
        KxT2dArray<KxVec3d> doubles(3, 3);
        for (KxVec3i& point : ints) point = KxVec3i(1, 2, 3);
        for (KxVec3f& point : floats) point = KxVec3f(1, 2, 3);
        for (KxVec3d& point : doubles) point = KxVec3d(1, 2, 3);
        KxTagArchive archive(&file, 0);
        KxHistogram deviations;
        for (int i = 0; i < 2; ++i) deviations.Add(i);
        KxVec3d2dArrayTag newerGrid(9, doubles);
        KxHistogramTag newerDeviations(9, deviations);
        newerGrid.SetVersion(200);
        newerDeviations.SetVersion(200);
        archive << newerGrid << newerDeviations;
        for (int i = 0; i < 100; ++i) {
            KxVec3iArrayTag newer(9, ints);
            newer.SetVersion(200);
            archive << newer;
        }
        for (int i = 0; i < 11; ++i)
            archive << KxVec3iArrayTag(1, ints) << KxVec3f2dArrayTag(2, floats) << KxVec3d2dArrayTag(3, doubles);
    }
};

TEST_F(HbtagPages, OpenWithoutAnErrorWhateverIsInTheFile) {
    WriteScan("scan.tag");
    WriteDeep("deep.tag", 1000);
    WriteMany("many.tag", 50003);
    WriteMany("none.tag", 1);
    WriteKinds("kinds.tag");
    struct Case {
        char const* file;
        char const* option;              // of the browser; none: only the text of the page is looked at
        std::vector<std::string> parts;  // of the page, as the browser makes it
    };
    char const *const drawn = "--enable-unsafe-swiftshader", *const plain = "--disable-3d-apis";
    std::vector<std::string> const scan = {
        "<td>version 100, ",    "<div class=\"fault\">record 3 at ", ">4 points, 3 gaps</span>",
        "<span id=\"least\">-", "<option value=\"deviation\">",      "\"center\": [2, 10, 20]"};
    Case const cases[] = {
        {"scan.tag", drawn, scan},
        {"scan.tag", plain, scan},
        {"deep.tag", drawn, {"level 999: <span class=\"id\">", "no points in this file"}},
        {"many.tag",
         nullptr,
         {"<div class=\"fault\">4 records more are left out</div>", "\"recordCount\": 50004,",
          "1 more trees of objects"}},
        {"kinds.tag",
         nullptr,
         {"\"count\": 2,", "\"count\": 6,", "\"count\": 9,", "further records cannot be shown", "left out"}},
        {"none.tag", drawn, {"<td>whole</td>", "no points in this file"}},
    };
    std::string const page = (folder / "page.html").string();
    bool const hasBrowser = HasBrowser();
    for (Case const& c : cases) {
        ASSERT_EQ(Call("./hbtag tree --html " + Path(c.file) + " > '" + page + "'").code, 0) << c.file;
        std::ifstream in(page, std::ios::binary);
        std::string text(std::istreambuf_iterator<char>(in), {});
        for (char const* word : {": inf", "[inf", " inf,", ": nan", ", nan"})
            EXPECT_EQ(text.find(word), std::string::npos) << c.file << word;
        if (c.option) {
            if (!hasBrowser) continue;
            text = InBrowser(page, std::string("--enable-logging=stderr ") + c.option);
            EXPECT_EQ(ConsoleMessages(text), "") << c.file;
        }
        for (std::string const& part : c.parts)
            EXPECT_NE(text.find(part), std::string::npos) << c.file << " lacks " << part;
    }
    if (!hasBrowser) GTEST_SKIP() << "no chromium here";
}

TEST_F(HbtagPages, ListingsGrowNoFasterThanFiles) {
    WriteDeep("deep.tag", 1000);
    Outcome const listed = Call("./hbtag ls " + Path("deep.tag"));
    EXPECT_LT(listed.output.size(), 1000U * 200);
    EXPECT_NE(listed.output.find("  (level 1000) scalar\n"), std::string::npos);
    // Arrays of which nothing is drawn are all looked at: time in proportion to them, and no more output than for a few.
    {
        CFile file(FileName("gaps.tag"), CFile::modeCreate | CFile::modeReadWrite);
        KxTArray<KxVec3d> gap(1);
        gap[0].Invalidate();
        KxTagArchive archive(&file, 0);
        for (int i = 0; i < 100000; ++i) archive << KxVec3dArrayTag(1, gap);
    }
    Outcome const page = Call("ulimit -t 10; ./hbtag tree --html " + Path("gaps.tag"));
    EXPECT_EQ(page.code, 0);
    EXPECT_NE(page.output.find("50000 records more are left out"), std::string::npos);
}

}  // namespace
