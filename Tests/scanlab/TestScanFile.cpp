// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Conditions.h"
#include "ScanFile.h"
#include "SyntheticPlate.h"

#include "hbtools/base/syException.h"

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

StoredScan Sample() {
    StoredScan stored;
    stored.scan = MakeSyntheticPlate(3000);
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
    StoredScan stored = Sample();
    ASSERT_EQ(stored.scan.notFinite->Size(), 2);
    for (TagFormat format : {TagFormat32, TagFormat64}) {
        Store(KxString(path.c_str()), stored, format);
        StoredScan loaded = Load(KxString(path.c_str()));
        EXPECT_TRUE(IsSame(stored, loaded));
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
    std::filesystem::remove(path);
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
