// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Alignment.h"
#include "Deviations.h"
#include "HistogramPicture.h"
#include "Neighbours.h"
#include "Operators/TextIds.h"
#include "SyntheticPlate.h"

#include "hbtools/base/syException.h"

#include "../base/Support.h"

#include <random>
#include <set>

using namespace KxN;
using namespace ScanLab;

namespace {

TEST(Neighbours, FindsExactlyWhatIsNear) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> number(-3, 3);
    KxTArray<KxVec3d> points(500);
    for (KxVec3d& point : points) point = KxVec3d(number(random), number(random), number(random));
    for (double const cell : {0.1, 0.7, 10.0}) {
        Neighbours const neighbours(points, cell);
        for (int i = 0; i < 100; ++i) {
            KxVec3d const place(2 * number(random), number(random), number(random));
            std::set<int> expected, found;
            int nearest = -1;
            for (int k = 0; k < points.Size(); ++k) {
                if (points[k].Distance(place) > cell) continue;
                expected.insert(k);
                if (nearest < 0 || points[k].Distance(place) < points[nearest].Distance(place)) nearest = k;
            }
            neighbours.Near(place, [&](int k, double) { EXPECT_TRUE(found.insert(k).second); });
            EXPECT_EQ(found, expected);
            EXPECT_EQ(neighbours.Nearest(place), nearest);
        }
    }
    // So many that they are sorted in parts; the parts are put together, the last of them alone.
    KxTArray<KxVec3d> many(5 << (isThreadSanitized ? 12 : 18));  // one part where each access takes ten times as long
    for (int i = 0; i < many.Size(); ++i) many[i] = KxVec3d((i * 977) % many.Size(), 0, 0);
    Neighbours const row(many, 0.5);
    for (int i = 0; i < many.Size(); i += 101) ASSERT_EQ(row.Nearest(KxVec3d(i + 0.25, 0, 0)) * 977LL % many.Size(), i);
    EXPECT_EQ(Neighbours(KxTArray<KxVec3d>(), 1).Nearest(KxVec3d::Zero), -1);
}

TEST(Alignment, FindsAKnownMotion) {
    Scan const plate = MakeSyntheticPlate(40000);
    KxVec3d const far(1000, -2000, 500);
    for (double const turn : {0.0, 0.5, -1.0}) {
        KxMatrix4 const motion = KxMatrix4::ATranslation(KxVec3d(0.8, -0.6, 0.4)) * KxMatrix4::ATranslation(far) *
                                 KxMatrix4::ARotation(KxVec3d(1, -1, 2), turn * KxMath::DegToRad);
        Alignment const alignment = Align(HalfOf(plate, 1, motion), HalfOf(plate, 0, KxMatrix4::ATranslation(far)));
        // Noise of 3 um: the whole is found ten times better than its points.
        for (KxVec3d const& corner : {KxVec3d(0, 0, 0), KxVec3d(160, 0, 0), KxVec3d(160, 100, 0)}) {
            KxVec3d expected(corner);
            expected += far;
            EXPECT_LT((alignment.motion * (motion * corner)).Distance(expected), 0.01) << turn;
        }
        EXPECT_GT(alignment.deviations.Count(), 15000);
    }
}

TEST(Alignment, RefusesWhatCannotBeAligned) {
    UseTexts();
    Scan const plate = MakeSyntheticPlate(4000), few = MakeSyntheticPlate(fewestPoints - 1);
    for (bool const isFixed : {false, true})
        EXPECT_EQ(test::Thrown<KxException>([&] { Align(isFixed ? plate : few, isFixed ? few : plate); }),
                  "Ausrichten braucht 200 Punkte von jedem Datensatz");
    Scan const away = HalfOf(plate, 0, KxMatrix4::ATranslation(KxVec3d(1000, 0, 0)));
    EXPECT_EQ(test::Thrown<KxException>([&] { Align(away, plate); }),
              "Die beiden Datens\u00e4tze haben keine gemeinsame Fl\u00e4che");
    Scan spot;
    for (int i = 0; i < 300; ++i) spot.Add(KxVec3d(1, 2, 3));
    EXPECT_EQ(test::Thrown<KxException>([&] { Align(spot, spot); }), "Der feste Datensatz hat keine Ausdehnung");
    Scan const touching = HalfOf(plate, 0, KxMatrix4::ATranslation(KxVec3d(157, 0, 0)));  // a strip of 3 mm out of 160
    EXPECT_EQ(test::Thrown<KxException>([&] { Align(touching, plate); }),
              "Die beiden Datens\u00e4tze haben keine gemeinsame Fl\u00e4che");
    Scan flat;  // nothing holds it in its plane: it stays where it is
    for (int i = 0; i < 50; ++i)
        for (int j = 0; j < 50; ++j) flat.Add(KxVec3d(j, i, 0));
    Alignment const slid = Align(flat, flat);
    EXPECT_LT((slid.motion * KxVec3d(25, 25, 0)).Distance(KxVec3d(25, 25, 0)), 1e-6);
}

TEST(Alignment, StandsWhatScansAreLike) {
    Scan const plate = MakeSyntheticPlate(40000);
    KxMatrix4 const motion = KxMatrix4::ATranslation(KxVec3d(0.4, -0.3, 0.2)) *
                             KxMatrix4::ARotation(KxVec3d(1, -1, 2), 0.3 * KxMath::DegToRad);
    enum { strays, duplicates, part, small, kinds };
    for (int kind = 0; kind < kinds; ++kind) {
        double const scale = kind == small ? 1e-9 : 1;
        KxMatrix4 const unit = KxMatrix4::AScale(KxVec3d(scale, scale, scale));
        Scan fixed = HalfOf(plate, 0, unit), moving;
        for (KxVec3d const& point : HalfOf(plate, 1, unit * motion).points) {
            if (kind == part && point[0] > 100) continue;
            moving.Add(point);
            if (kind == duplicates) moving.Add(point);
        }
        if (kind == duplicates)
            for (int i = 0; i < 20000; ++i) fixed.Add(KxVec3d(fixed.points[i]));
        if (kind == strays) {
            for (int i = 0; i < 20; ++i) {
                fixed.Add(KxVec3d(1e7 * i, -3e8, 1e9));
                moving.Add(KxVec3d(-1e9, 1e6 * i, 5));
            }
        }
        Alignment const alignment = Align(moving, fixed);
        for (KxVec3d const& corner : {KxVec3d(0, 0, 0), KxVec3d(100, 100, 0)}) {
            KxVec3d const expected = unit * corner;
            double const allowed = kind == part ? 0.02 : 0.01;  // two of the four bores hold it less firmly
            EXPECT_LT((alignment.motion * (unit * motion * corner)).Distance(expected), allowed * scale) << kind;
        }
    }
}

TEST(PlaneFit, HoldsForEveryUnitAndShape) {
    struct Case {
        KxVec3d along, across, normal;
    } const cases[] = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                       {{1, 0, 1}, {0, 1, 0}, {-1, 0, 1}},
                       {{0, 0, 1}, {0, 0, 0}, {0, 1, 0}},   // on an upright line
                       {{1, 0, 1}, {0, 0, 0}, {-1, 0, 1}},  // on a sloping one
                       {{0, 0, 0}, {0, 0, 0}, {0, 0, 1}}};
    for (Case const& c : cases) {
        for (double const scale : {1e-150, 1e-9, 1.0, 1e6, 1e150}) {
            PlaneSums sums;
            for (int i = 0; i < 10; ++i)
                for (int j = 0; j < 10; ++j)
                    sums.Add(KxVec3d(scale * (i * c.along[0] + j * c.across[0]),
                                     scale * (i * c.along[1] + j * c.across[1]),
                                     scale * (i * c.along[2] + j * c.across[2])));
            EXPECT_NEAR(sums.Fit().normal.Dot(c.normal) / c.normal.Length(), 1, 1e-9) << &c - cases << " " << scale;
        }
    }
    PlaneSums beyond;  // what overflows has no plane of its own
    for (double const x : {1e200, -1e200}) beyond.Add(KxVec3d(x, 1, 0));
    EXPECT_EQ(beyond.Fit().normal, KxVec3d::ZUnit);
}

class Picture : public test::TempFolder {
protected:
    Picture() { UseTexts(); }
};

TEST_F(Picture, ShowsAxisUnitsMeanSigmaAndLimits) {
    KxHistogram deviations;
    for (int i = -50; i <= 50; ++i)
        for (int k = 0; k < 51 - std::abs(i); ++k) deviations.Add(i * 0.001 + 0.25);
    SaveHistogramPicture(Path("a.svg"), deviations, L"A < B & \"C\"\x07\xd800\xffff", L"mm");
    std::string const text = Get("a.svg");
    // Triangle of half width 51: sigma^2 = (51^2 - 1) / 6 = 433.3 steps
    for (char const* part :
         {"A &lt; B &amp; &quot;C&quot;?\?\?<", "2601 points; mean 0.25 mm, \u03c3 0.02082 mm", "deviation [mm]",
          ">mean<", "limit 0.1876 mm", "limit 0.3124 mm", "from 0.2 to 0.3 mm", ">0.24<"})
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    EXPECT_EQ(text.find("#c0504d"), std::string::npos);  // nothing beyond the limits
    KxHistogram same, far;
    for (int i = 0; i < 100; ++i) far.Add(i % 7 == 0 ? std::nextafter(3.0, 4.0) : 3.0);
    SaveHistogramPicture(Path("a.svg"), far, L"", L"");  // ticks closer than numbers can be
    same.Add(1);
    SaveHistogramPicture(Path("a.svg"), same, L"", L"");
    EXPECT_NE(Get("a.svg").find("deviation [unit of the scan]"), std::string::npos);
    EXPECT_EQ(Get("a.svg").find("nan"), std::string::npos);
    KxHistogram fine;
    for (int i = 0; i < 1000; ++i) fine.Add(1000 + (i % 11 - 5) * 1e-4);
    fine.Add(std::numeric_limits<double>::quiet_NaN());
    SaveHistogramPicture(Path("a.svg"), fine, L"", L"");
    for (char const* part : {"from 999.9995 to 1000.0005", ">1000.001<", "1 values are no finite numbers"})
        EXPECT_NE(Get("a.svg").find(part), std::string::npos) << part << "\n" << Get("a.svg");
    EXPECT_EQ(test::Thrown<KxException>([&] { SaveHistogramPicture(Path("b.svg"), KxHistogram(), L"", L""); }),
              "Es gibt keine Abweichungen zu zeichnen");
    EXPECT_EQ(CountFiles(), 1u);
}

}  // namespace
