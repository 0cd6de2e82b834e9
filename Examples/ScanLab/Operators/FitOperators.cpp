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

FitRecord RecordOf(Entry const& entry, std::wstring const& shape, Core const& core) {
    return {entry.name, shape, core.mean, core.sigma, core.count, entry.stored.scan.points->Size()};
}

/// Of the deviations from a shape.
template <class Shape>
Core CoreFrom(Shape const& shape, Scan const& scan, Progress progress) {
    progress = progress.Stage(L"deviations", 0, 1);
    return CoreOf(DeviationsFrom(shape, scan, progress.Part(0, 0.3)), 8, progress.Part(0.3, 1));
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
        Entry const& entry = ScanOf(Which);
        StoredScan const& stored = entry.stored;
        auto const [plane, core] = InWorker([&](Progress progress) {
            Plane const best = FitPlane(stored.scan, GetParameterDouble(Sigmas),
                                        static_cast<int>(GetParameterLong(Passes)), progress.Part(0, 0.8));
            return std::pair(best, CoreFrom(best, stored.scan, progress.Part(0.8, 1)));
        });
        KxVec3d const& n = plane.normal;
        KxVec3d const& c = plane.center;
        Content next = m_session.Now();
        Entry& changed = next.Edit(entry.name);
        changed.stored.DropFit();
        changed.stored.plane = plane;
        changed.stored.fit = FitKind::plane;
        next.Add(RecordOf(changed,
                          KxxFormat(L"plane through %.4f, %.4f, %.4f%s, normal %.6f, %.6f, %.6f", c[0], c[1], c[2],
                                    BehindNumber(stored.scan.unit), n[0], n[1], n[2]),
                          core));
        Change(changed.name, std::move(next));
        Print(L"\nPlane       of %s: normal %.6f, %.6f, %.6f\n", changed.name, n[0], n[1], n[2]);
        return OPERATOR_OK;
    }
};

class FitSphereCommand : public CommandOf<FitSphereCommand, FitCommand> {
public:
    explicit FitSphereCommand(Session& session) : CommandOf(FitSphereId, session) {}

protected:
    OperatorReturnCode Run() override {
        Entry const& entry = ScanOf(Which);
        StoredScan const& stored = entry.stored;
        auto const [sphere, core] = InWorker([&](Progress progress) {
            Sphere const best = FitSphere(stored.scan, GetParameterDouble(Sigmas),
                                          static_cast<int>(GetParameterLong(Passes)), progress.Part(0, 0.9));
            return std::pair(best, CoreFrom(best, stored.scan, progress.Part(0.9, 1)));
        });
        KxString const unit = BehindNumber(stored.scan.unit);
        KxVec3d const& c = sphere.center;
        Content next = m_session.Now();
        Entry& changed = next.Edit(entry.name);
        changed.stored.DropFit();
        changed.stored.sphere = sphere;
        changed.stored.fit = FitKind::sphere;
        next.Add(RecordOf(
            changed, KxxFormat(L"sphere about %.4f, %.4f, %.4f, radius %.6f%s", c[0], c[1], c[2], sphere.radius, unit),
            core));
        Change(changed.name, std::move(next));
        Print(L"\nSphere      of %s: centre %.6f, %.6f, %.6f, radius %.6f%s\n", changed.name, c[0], c[1], c[2],
              sphere.radius, unit);
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
        Entry const& entry = ScanOf(Which);
        StoredScan const& stored = entry.stored;
        if (stored.fit == FitKind::none) Refuse(Which, FormatOf(Text::NoFit, entry.name));
        bool const isPlane = stored.fit == FitKind::plane;
        wchar_t const* const shape = isPlane ? L"plane" : L"sphere";
        Found found = InWorker([&](Progress progress) {
            progress = progress.Stage(L"deviations", 0, 1);
            Progress const first = progress.Part(0, 0.3);
            Shared<KxHistogram> const values = isPlane ? DeviationsFrom(stored.plane, stored.scan, first)
                                                       : DeviationsFrom(stored.sphere, stored.scan, first);
            KxString const title = KxxFormat(L"%s: deviations from the %s of best fit", stored.scan.name, shape);
            return Found{DeviationSet(title, stored.scan.unit, values, stored.scan.points),
                         CoreOf(values, 8, progress.Part(0.4, 1))};
        });
        Content next = m_session.Now();
        Entry& changed = next.Edit(entry.name);
        changed.stored.deviations = found.set.values;
        next.Add(std::move(found.set));
        Change(changed.name, std::move(next));
        Print(L"\nDeviations of %s from the %s of best fit\n", changed.name, shape);
        PrintTable(changed.stored.deviations, found.core);
        return OPERATOR_OK;
    }

private:
    struct Found {
        DeviationSet set;
        Core core;
    };

    void PrintTable(KxHistogram const& deviations, Core const& core) const {
        constexpr int barLength = 48;
        if (!deviations.IsValid()) return;
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
        Entry const& moving = ScanOf(Moving);
        Entry const& fixed = ScanOf(Fixed);
        if (&moving == &fixed) Refuse(Fixed, TextOf(Text::SameScan));
        Scan const& scan = moving.stored.scan;
        if (GetParameterBool(SkipSmall) &&
            std::min(scan.points->Size(), fixed.stored.scan.points->Size()) < fewestPoints) {
            Print(L"Alignment   skipped: a scan has too few points\n");
            return OPERATOR_OK;
        }
        bool const hasPicture = GetParameterFile(Picture).Len() > 0;
        KxString const picture = hasPicture ? OutputOf(Picture) : KxString();
        RunningWatch watch;
        KxString const title = scan.name + L": " + moving.name + L" against " + fixed.name;
        double seconds = 0;
        Found found = InWorker([&](Progress progress) {
            Alignment alignment = Align(scan, fixed.stored.scan, progress.Part(0, 0.9));
            seconds = watch.Seconds();
            DeviationSet set(title, scan.unit, alignment.deviations, alignment.places);
            KxTDynArray<KxVec3d> moved = Moved(scan.points, alignment.motion, progress.Stage(L"moving", 0.9, 0.95));
            Box const before = BoxOf(scan);
            if (hasPicture) SaveHistogramPicture(picture, set.values, title, scan.unit, {}, progress.Part(0.95, 1));
            return Found{std::move(alignment), std::move(moved), before, std::move(set)};
        });
        KxMatrix4 const& motion = found.alignment.motion;
        Content next = m_session.Now();
        Entry& changed = next.Edit(moving.name);
        changed.stored.scan.points = std::move(found.moved);
        changed.moved = motion * changed.moved;
        changed.stored.DropFit();
        next.Add(std::move(found.set));
        Change(changed.name, std::move(next));
        PrintAlignment(found.alignment, changed.stored.scan.unit, seconds);
        if (changed.isMoved) PrintOff(changed, fixed, found.before, motion);
        if (hasPicture) Print(L"%s\n", picture);
        return OPERATOR_OK;
    }

private:
    struct Found {
        Alignment alignment;
        KxTDynArray<KxVec3d> moved;
        Box before;
        DeviationSet set;
    };

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
