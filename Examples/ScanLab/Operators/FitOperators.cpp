// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What is computed from scans: FitPlane, FitSphere, Align, Deviations.
#include "../Alignment.h"
#include "../HistogramPicture.h"
#include "../Print.h"
#include "Command.h"
#include "Operators.h"
#include "Watch.h"

#include <algorithm>
#include <utility>

namespace ScanLab {

using namespace KxN;

namespace {

/// The unit as it stands behind a number.
KxString BehindNumber(KxString const& unit) {
    return unit.Len() > 0 ? L" " + unit : KxString();
}

FitRecord RecordOf(Entry const& entry, std::wstring const& shape, KxHistogram const& deviations) {
    Core const core = CoreOf(deviations);
    return {entry.name, shape, core.mean, core.sigma, core.count, deviations.Count()};
}

/// A shape of best fit to one scan, without what lies farther off than so many sigmas.
class FitCommand : public Command {
protected:
    enum : unsigned short { Which = 1, Sigmas, Passes };

    FitCommand(OperatorId id, Session& session) : Command(id, session) {
        AddScan(Which);
        AddNumber(Sigmas, 3, 1, 100, 2);
        AddWhole(Passes, 6, 1, 100);
    }
};

class FitPlaneCommand : public CommandOf<FitPlaneCommand, FitCommand> {
public:
    explicit FitPlaneCommand(Session& session) : CommandOf(FitPlaneId, session) {}

protected:
    OperatorReturnCode Run() override {
        Entry& entry = ScanOf(Which);
        StoredScan& stored = entry.stored;
        stored.DropFit();
        stored.plane = FitPlane(stored.scan, GetParameterDouble(Sigmas), static_cast<int>(GetParameterLong(Passes)));
        stored.fit = FitKind::plane;
        KxVec3d const& n = stored.plane.normal;
        KxVec3d const& c = stored.plane.center;
        Print(L"\nPlane       of %s: normal %.6f, %.6f, %.6f\n", entry.name, n[0], n[1], n[2]);
        m_session.Add(RecordOf(entry,
                               KxxFormat(L"plane through %.4f, %.4f, %.4f%s, normal %.6f, %.6f, %.6f", c[0], c[1], c[2],
                                         BehindNumber(stored.scan.unit), n[0], n[1], n[2]),
                               DeviationsFrom(stored.plane, stored.scan)));
        return OPERATOR_OK;
    }
};

class FitSphereCommand : public CommandOf<FitSphereCommand, FitCommand> {
public:
    explicit FitSphereCommand(Session& session) : CommandOf(FitSphereId, session) {}

protected:
    OperatorReturnCode Run() override {
        Entry& entry = ScanOf(Which);
        StoredScan& stored = entry.stored;
        Sphere const sphere =
            FitSphere(stored.scan, GetParameterDouble(Sigmas), static_cast<int>(GetParameterLong(Passes)));
        stored.DropFit();
        stored.sphere = sphere;
        stored.fit = FitKind::sphere;
        KxString const unit = BehindNumber(stored.scan.unit);
        KxVec3d const& c = sphere.center;
        Print(L"\nSphere      of %s: centre %.6f, %.6f, %.6f, radius %.6f%s\n", entry.name, c[0], c[1], c[2],
              sphere.radius, unit);
        m_session.Add(RecordOf(
            entry, KxxFormat(L"sphere about %.4f, %.4f, %.4f, radius %.6f%s", c[0], c[1], c[2], sphere.radius, unit),
            DeviationsFrom(sphere, stored.scan)));
        return OPERATOR_OK;
    }
};

class DeviationsCommand : public CommandOf<DeviationsCommand> {
public:
    enum : unsigned short { Which = 1, NumColumns };

    explicit DeviationsCommand(Session& session) : CommandOf(DeviationsId, session) {
        AddScan(Which);
        AddWhole(NumColumns, 21, 3, 101);
    }

protected:
    OperatorReturnCode Run() override {
        Entry& entry = ScanOf(Which);
        StoredScan& stored = entry.stored;
        if (stored.fit == FitKind::none) Refuse(Which, FormatOf(Text::NoFit, entry.name));
        bool const isPlane = stored.fit == FitKind::plane;
        stored.deviations =
            isPlane ? DeviationsFrom(stored.plane, stored.scan) : DeviationsFrom(stored.sphere, stored.scan);
        wchar_t const* const shape = isPlane ? L"plane" : L"sphere";
        Print(L"\nDeviations of %s from the %s of best fit\n", entry.name, shape);
        PrintTable(stored.deviations);
        m_session.Add(DeviationSet(KxxFormat(L"%s: deviations from the %s of best fit", stored.scan.name, shape),
                                   stored.scan.unit, stored.deviations, stored.scan.points));
        return OPERATOR_OK;
    }

private:
    void PrintTable(KxHistogram const& deviations) const {
        constexpr int barLength = 48;
        if (!deviations.IsValid()) return;
        Core const core = CoreOf(deviations);
        Print(L"all         mean %.4g, sigma %.4g, from %.4g to %.4g\n", deviations.Mean(), deviations.StdDev(),
              deviations.Min(), deviations.Max());
        Print(L"core        mean %.4g, sigma %.4g, %.1f %% of the points\n\n", core.mean, core.sigma,
              100.0 * core.count / deviations.Count());
        KxRangeHistogram const counts = Columns(deviations, core, static_cast<int>(GetParameterLong(NumColumns)));
        int highest = 1;
        for (int i = 0; i < counts.NumColumns(); ++i) highest = std::max(highest, counts.NumColumnValues(i));
        for (int i = 0; i < counts.NumColumns(); ++i) {
            int const count = counts.NumColumnValues(i);
            std::wstring const bar(static_cast<std::size_t>(static_cast<double>(count) / highest * barLength), L'#');
            Print(L"%12.5f %9d %s\n", counts.ColumnCenter(i), count, bar);
        }
        Print(L"\n");
    }
};

class AlignCommand : public CommandOf<AlignCommand> {
public:
    enum : unsigned short { Moving = 1, Fixed, SkipSmall, Picture };

    explicit AlignCommand(Session& session) : CommandOf(AlignId, session) {
        AddText(Moving, L"second");
        AddText(Fixed, L"first");
        AddSwitch(SkipSmall, false);
        AddFile(Picture, {L"svg"}, false);
    }

protected:
    OperatorReturnCode Run() override {
        Entry& moving = ScanOf(Moving);
        Entry const& fixed = ScanOf(Fixed);
        if (&moving == &fixed) Refuse(Fixed, TextOf(Text::SameScan));
        Scan& scan = moving.stored.scan;
        if (GetParameterBool(SkipSmall) &&
            std::min(scan.points.Size(), fixed.stored.scan.points.Size()) < fewestPoints) {
            Print(L"Alignment   skipped: a scan has too few points\n");
            return OPERATOR_OK;
        }
        bool const hasPicture = GetParameterFile(Picture).Len() > 0;
        KxString const picture = hasPicture ? OutputOf(Picture) : KxString();
        RunningWatch watch;
        Alignment const alignment = Align(scan, fixed.stored.scan);
        PrintAlignment(alignment, scan.unit, watch.Seconds());
        KxString const title = scan.name + L": " + moving.name + L" against " + fixed.name;
        DeviationSet set(title, scan.unit, alignment.deviations, alignment.places);
        Box const before = BoxOf(scan);
        for (KxVec3d& point : scan.points) point = alignment.motion * point;
        moving.moved = alignment.motion * moving.moved;
        moving.stored.DropFit();
        if (moving.isMoved) PrintOff(moving, fixed, before, alignment.motion);
        if (hasPicture) {
            SaveHistogramPicture(picture, set.values, title, set.unit);
            Print(L"%s\n", picture);
        }
        m_session.Add(std::move(set));
        return OPERATOR_OK;
    }

private:
    static void PrintAlignment(Alignment const& alignment, KxString const& unit, double seconds) {
        Core const core = CoreOf(alignment.deviations);
        KxMatrix4 U, R, F;
        KxVec3d K, T;
        alignment.motion.Decompose(U, K, R, T, F);
        double const angle = KxMath::ACos((R[0][0] + R[1][1] + R[2][2] - 1.0) / 2.0) * KxMath::RadToDeg;
        Print(L"Aligned     %d points in %d steps and %.2f s\n", alignment.compared, alignment.steps, seconds);
        Print(L"motion      turn %.5f degrees, shift %.5f, %.5f, %.5f %s\n", angle, T[0], T[1], T[2], unit);
        for (int r = 0; r < 4; ++r)
            Print(L"%18.12f %18.12f %18.12f %18.9f\n", alignment.motion[r][0], alignment.motion[r][1],
                  alignment.motion[r][2], alignment.motion[r][3]);
        Print(L"residuals   mean %.4g, sigma %.4g, %.1f %% of the points\n", core.mean, core.sigma,
              100.0 * core.count / alignment.compared);
    }

    /// How far a scan that was moved on purpose is from where it was, seen from the other.
    static void PrintOff(Entry const& moving, Entry const& fixed, Box const& before, KxMatrix4 const& motion) {
        KxMatrix4 const home = moving.moved.Inverse() * motion;  // of the box before the alignment
        KxMatrix4 const off = fixed.moved.Inverse() * moving.moved * home;
        auto const offAt = [&](KxVec3d const& place) { return (off * place).Distance(home * place); };
        Print(L"off         %.3g at the middle, %.3g at the corners %s\n", offAt(before.Middle()),
              KxMath::Max(offAt(before.low), offAt(before.high)), moving.stored.scan.unit);
    }
};

}  // namespace

void InsertFitOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new FitPlaneCommand(session));
    manager.Insert(new FitSphereCommand(session));
    manager.Insert(new AlignCommand(session));
    manager.Insert(new DeviationsCommand(session));
}

}  // namespace ScanLab
