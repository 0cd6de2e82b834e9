// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Conditions.h"
#include "Operators/TextIds.h"
#include "ScanFile.h"
#include "ScanReader.h"
#include "ScanWriter.h"
#include "SyntheticPlate.h"

#include "hbtools/base/syException.h"
#include "hbtools/base/syFault.h"
#include "hbtools/base/sySafeFile.h"
#include "hbtools/diagnostics/syHandlers.h"
#include "hbtools/persistence/syBinFileHeader.h"

#include "../base/Support.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <filesystem>
#include <limits>
#include <vector>
#include <unistd.h>

using namespace KxN;
using namespace ScanLab;

namespace {

StoredScan Sample(int points = 3000) {
    StoredScan stored;
    stored.scan = MakeSyntheticPlate(points);
    stored.scan.Add(KxVec3d(std::bit_cast<double>(0x7ff8dead0000beefULL), 1.0, 2.0));
    stored.scan.Add(KxVec3d(0.0, -std::numeric_limits<double>::infinity(), 2.0));
    stored.fit = FitKind::plane;
    stored.plane = FitPlane(stored.scan);
    stored.deviations = DeviationsFrom(stored.plane, stored.scan);
    return stored;
}

}  // namespace

TEST(ScanFile, EveryBitComesBackInBothForms) {
    std::string const path =
        (std::filesystem::temp_directory_path() / ("hbtools-" + std::to_string(::getpid()) + ".tag")).string();
    StoredScan stored = Sample(180000);  // which are read in parts
    ASSERT_EQ(stored.scan.notFinite->Size(), 2);
    for (TagFormat format : {TagFormat32, TagFormat64}) {
        KxDateTime before = KxDateTime::Now();
        before.SetTime(before.GetHour(), before.GetMinute(), before.GetSecond());  // the file has no milliseconds
        Store(KxString(path.c_str()), stored, format);
        StoredScan loaded = Load(KxString(path.c_str()));
        EXPECT_TRUE(IsSame(stored, loaded));
        KxBinHeader header(512);
        header.Read(KxString(path.c_str()));
        EXPECT_TRUE(before <= header.GetDateTime() && header.GetDateTime() <= KxDateTime::Now());
        EXPECT_EQ(GetGlobalTagFormat(), TagFormat32);
        // The comparison sees one bit.
        loaded.scan.points.Edit()[7][1] = std::nextafter(loaded.scan.points[7][1], 1e9);
        EXPECT_FALSE(IsSame(stored, loaded));
        loaded = Load(KxString(path.c_str()));
        auto* const filter = loaded.scan.conditions.Edit().GetProperty(L"Filter")->GetList();
        filter->GetProperty(L"Spikes")->GetList()->GetProperty(L"Neighbours")->SetHidden();
        EXPECT_FALSE(IsSame(stored, loaded));
        EXPECT_EQ(ConditionsText(loaded.scan).View().find(L"Neighbours"), std::wstring_view::npos);
    }
    StoredScan const whole = Sample();
    void (*const changes[])(StoredScan&) = {[](StoredScan& s) { s.scan.name = L"?"; },
                                            [](StoredScan& s) { s.scan.unit = L"m"; },
                                            [](StoredScan& s) { s.scan.conditions.Edit().RemoveAll(); },
                                            [](StoredScan& s) { s.scan.Add(KxVec3d(1, 2, 3)); },
                                            [](StoredScan& s) { s.scan.notFinite.Edit()[0][1] = 2; },
                                            [](StoredScan& s) { s.fit = FitKind::sphere; },
                                            [](StoredScan& s) { s.plane.normal[0] = -s.plane.normal[0]; },
                                            [](StoredScan& s) { s.sphere.radius = std::nextafter(s.sphere.radius, 2); },
                                            [](StoredScan& s) { s.deviations.Edit().Add(1); },
                                            [](StoredScan& s) {
                                                StoredScan const former = s;
                                                s.deviations.Edit() = KxHistogram();
                                                for (double const value : former.deviations->Values())
                                                    s.deviations.Edit().Add(-value);
                                            }};
    for (auto const change : changes) {
        StoredScan changed = Sample();
        change(changed);
        EXPECT_FALSE(IsSame(whole, changed) || IsSame(changed, whole)) << &change - changes;
    }
    // The head of another length is that of another program.
    UseTexts();
    KxBinHeader(1024).Write(KxString(path.c_str()));
    EXPECT_EQ(test::Thrown<KxFileException>([&] { Load(KxString(path.c_str())); }),
              path + " ist keine Datei mit einem Datensatz");
    AfxSetResourceModule(nullptr);
    std::filesystem::remove(path);
}

// A thread that traps all but inexact results reads and writes them as any other.
class OddNumbers : public test::TempFolder {};
TEST_F(OddNumbers, ComeAndGoBitForBit) {
    struct Format {
        char const* what;
        std::string head;
        std::vector<std::string> numbers;         // three for each point
        std::vector<std::uint64_t> doubles = {};  // that are read of them, where they are others
    };
    auto const bytes = [](auto value) { return std::string(reinterpret_cast<char const*>(&value), sizeof value); };
    auto const ply = [](char const* form, int count, std::string const& type) {
        std::string head = "ply\nformat " + std::string(form) + " 1.0\nelement vertex " + std::to_string(count) + "\n";
        for (char const axis : {'x', 'y', 'z'}) head += "property " + type + " " + axis + "\n";
        return head + "end_header\n";
    };
    std::vector<std::uint64_t> const odd = {0x0000000000000001, 0x8000000000000000, 0x000fffffffffffff,   // least, -0
                                            0x7ff0000000000abc, 0x3ff0000000000000, 0xfff8000000000001,   // no numbers
                                            0x7fefffffffffffff, 0x8000000000000001, 0x0010000000000000};  // largest
    std::vector<std::string> doubles, floats;
    for (std::uint64_t const number : odd) doubles.push_back(bytes(number));
    for (std::uint32_t const number : {0x00000001U, 0x80000000U, 0x807fffffU, 0x7f800abcU, 0xffc00001U, 0x3f800000U})
        floats.push_back(bytes(number));
    std::vector<std::uint64_t> const widened = {0x36a0000000000000, 0x8000000000000000, 0xb80fffffc0000000,
                                                0x7ff0015780000000, 0xfff8000020000000, 0x3ff0000000000000};
    std::vector<std::string> const texts = {"5e-324 ", "-0 ", "1e-310\n", "1 ", "-nan ", "inf\n"};
    std::vector<std::uint64_t> const fromTexts = {0x0000000000000001, 0x8000000000000000, 0x000012688b70e62b,
                                                  0x3ff0000000000000, 0xfff8000000000000, 0x7ff0000000000000};
    std::string const pcd = "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\nPOINTS 2\nDATA binary\n";
    KxSEHandler const traps;
    for (Format const& format : {Format{"PLY of doubles", ply("binary_little_endian", 3, "double"), doubles, odd},
                                 Format{"PLY of floats", ply("binary_little_endian", 2, "float"), floats, widened},
                                 Format{"PLY text", ply("ascii", 2, "double"), texts, fromTexts},
                                 Format{"PCD", pcd, floats, widened}, Format{"XYZ", "", texts, fromTexts}}) {
        SCOPED_TRACE(format.what);
        KxString const path = Path("scan"), tags = Path("scan.tag"), out = Path("out.ply");
        std::string content = format.head;
        for (std::string const& number : format.numbers) content += number;
        KxxSaveFile(path, content);
        StoredScan stored;
        stored.scan = ReadScan(path);
        EXPECT_GE(stored.scan.notFinite->Size(), 1);
        Store(tags, stored, TagFormat64);
        StoredScan const loaded = Load(tags);
        EXPECT_TRUE(IsSame(stored, loaded));
        WritePly(out, loaded);
        std::string expected;  // the finite ones first
        for (bool const isFinite : {true, false})
            for (std::size_t i = 0; i < format.doubles.size(); i += 3) {
                bool all = true;
                for (std::size_t k = i; k < i + 3; ++k) all = all && (~format.doubles[k] & 0x7ff0000000000000) != 0;
                for (std::size_t k = i; k < i + 3 && all == isFinite; ++k) expected += bytes(format.doubles[k]);
            }
        EXPECT_TRUE(Get("out.ply").ends_with("end_header\n" + expected));
        WriteCsv(out, loaded);
        EXPECT_EQ(KxxControlFloat(0, 0), FLOAT_INEXACT);  // as it was
    }
    KxxControlFloat(FLOAT_ALL, FLOAT_ALL);
}

TEST(ScanFile, AScanMayHaveNoConditions) {
    std::string const path =
        (std::filesystem::temp_directory_path() / ("hbtools-" + std::to_string(::getpid()) + ".tag")).string();
    StoredScan stored = Sample();
    stored.scan.conditions.Edit().RemoveAll();
    Store(KxString(path.c_str()), stored, TagFormat32);
    StoredScan const loaded = Load(KxString(path.c_str()));
    EXPECT_TRUE(IsSame(stored, loaded) && loaded.scan.conditions->GetCount() == 0);
    stored.scan.conditions = ConditionsOfFile(KxString(path.c_str()), stored.scan);
    std::wstring const text(ConditionsText(stored.scan).View());
    for (wchar_t const* part :
         {L"    Imported from\n        File         hbtools-", L"\n        Format       synthetic\n",
          L"\n        Unit         mm\n", L"\n        Date         "})
        EXPECT_NE(text.find(part), std::wstring::npos) << part;
    std::filesystem::remove(path);
    stored.scan.conditions = ConditionsOfFile(KxString(path.c_str()), stored.scan);  // of a file that has no date
    EXPECT_EQ(ConditionsText(stored.scan).View().find(L"Date"), std::wstring_view::npos);
}

TEST(ScanFile, ThePlaneIgnoresTheBores) {
    Scan scan = MakeSyntheticPlate(20000);
    for (KxVec3d& point : scan.points.Edit()) point[2] += 0.01 * point[0] - 0.02 * point[1] + 5.0;
    Plane const plane = FitPlane(scan);
    KxVec3d truth(-0.01, 0.02, 1.0);
    truth.Normalize();
    EXPECT_LT(plane.normal.Distance(truth), 1e-5);
    Core const core = CoreOf(DeviationsFrom(plane, scan));
    EXPECT_NEAR(core.sigma, 0.0041, 0.0003);  // noise and waviness, 3 um and 4 um / sqrt(2)
    EXPECT_GT(core.count, 18000);
}

TEST(ScanFile, EveryScanHasAPlane) {
    struct Case {
        std::vector<KxVec3d> points;
        KxVec3d normal;
    };
    for (Case const& c : {
             Case{{{1, 2, 3}}, {0, 0, 1}},                                                           // a spot
             Case{{{1, 2, 3}, {1, 2, 3}}, {0, 0, 1}},                                                // twice
             Case{{{0, 0, 0}, {1, 0, 1}, {2, 0, 2}}, {-0.7071067811865476, 0, 0.7071067811865476}},  // a slanting line
             Case{{{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}}, {0, 0, 1}},
             Case{{{5, 5, 0}, {5, 5, 9}}, {0, 1, 0}},                        // an upright line
             Case{{{0, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1}}, {1, 0, 0}},  // an upright plane
             Case{{{1e8, 0, 0}, {1e8 + 1, 0, 1}, {1e8, 1, 0}, {1e8 + 1, 1, 1}},
                  {-0.7071067811865476, 0, 0.7071067811865476}},
         }) {
        Scan scan;
        for (KxVec3d const& point : c.points) scan.Add(point);
        Plane const plane = FitPlane(scan);
        EXPECT_LT(plane.normal.Distance(c.normal), 1e-7);
        for (KxVec3d const& point : c.points)
            EXPECT_LT(std::fabs(plane.Distance(point)), c.points.size() == 6 ? 1.1 : 1e-7);
        KxHistogram const deviations = DeviationsFrom(plane, scan);
        EXPECT_EQ(CoreOf(deviations).count, deviations.Count());
    }
}
