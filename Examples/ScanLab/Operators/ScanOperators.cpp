// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What changes scans or tells of them: Filter, Transform, Split, List, Remove.
#include "../Alignment.h"
#include "../Conditions.h"
#include "../Print.h"
#include "../ScanFilter.h"
#include "Command.h"
#include "Operators.h"

#include <limits>
#include <utility>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr double farthest = 1e9;  // of a coordinate in a parameter

class FilterCommand : public CommandOf<FilterCommand> {
public:
    enum : unsigned short { Which = 1, Kind, Distance, Neighbours, From, To = From + 3, Invert = To + 3 };

    explicit FilterCommand(Session& session) : CommandOf(FilterId, session) {
        AddScan(Which);
        AddChoice(Kind, {L"strays", L"box", L"thinning"});
        AddNumber(Distance, 1, 1e-6, farthest, 6);
        AddWhole(Neighbours, 3, 1, 1000);
        AddVector(From, KxVec3d(-farthest, -farthest, -farthest), farthest);
        AddVector(To, KxVec3d(farthest, farthest, farthest), farthest);
        AddSwitch(Invert, false);
    }

protected:
    OperatorReturnCode Run() override {
        Entry const& entry = ScanOf(Which);
        Scan const& scan = entry.stored.scan;
        unsigned char const kept = GetParameterBool(Invert) ? 0 : 1;
        KxTDynArray<KxVec3d> points = InWorker([&](Progress progress) {
            return KeptPoints(scan, MarksOf(scan, progress.Part(0, 0.95)), kept, progress.Part(0.95, 1));
        });
        int const left = points.Size(), gone = scan.points->Size() - left;
        if (left == 0) throw new KxException(L"ScanLab", __LINE__, FormatOf(Text::NothingLeft, entry.name));
        KxString const name = entry.name;
        if (gone > 0) {
            Content next = m_session.Now();
            StoredScan& stored = next.Edit(name).stored;
            stored.scan.points = std::move(points);
            stored.DropFit();
            Change(name, std::move(next));
        }
        Print(L"Filtered    %s by %s: %d points went, %d stay\n", name, GetParameterList(Kind), gone, left);
        return OPERATOR_OK;
    }

private:
    Marks MarksOf(Scan const& scan, Progress progress) {
        KxString const kind = GetParameterList(Kind);
        double const distance = GetParameterDouble(Distance);
        if (kind == L"strays")
            return NotAlone(scan, distance, static_cast<int>(GetParameterLong(Neighbours)), progress);
        if (kind == L"thinning") return OnePerCube(scan, distance, progress);
        Box const box{VectorOf(From), VectorOf(To)};
        for (unsigned short axis = 0; axis < 3; ++axis)
            if (box.low[axis] > box.high[axis])
                Refuse(static_cast<unsigned short>(From + axis), TextOf(Text::BoxUpsideDown));
        return InBox(scan, box, progress);
    }
};

class TransformCommand : public CommandOf<TransformCommand> {
public:
    enum : unsigned short { Which = 1, Measure, Shift, Axis = Shift + 3, Angle = Axis + 3, AboutMiddle };

    explicit TransformCommand(Session& session) : CommandOf(TransformId, session) {
        AddScan(Which);
        AddChoice(Measure, {L"absolute", L"relative"});
        AddVector(Shift, KxVec3d::Zero, farthest);
        AddVector(Axis, KxVec3d::ZUnit, farthest);
        AddNumber(Angle, 0, -360, 360, 6);
        AddSwitch(AboutMiddle, true);
    }

protected:
    OperatorReturnCode Run() override {
        Entry const& entry = ScanOf(Which);
        Scan const& scan = entry.stored.scan;
        if (scan.points->Size() == 0)
            throw new KxException(L"ScanLab", __LINE__, FormatOf(Text::TooFewPoints, entry.name));
        Box const box = BoxOf(scan);
        KxVec3d const axis = VectorOf(Axis);
        double const angle = GetParameterDouble(Angle) * KxMath::DegToRad;
        if (angle != 0 && !(axis.Length() > 0)) Refuse(Axis, TextOf(Text::NoAxis));
        KxVec3d const middle = GetParameterBool(AboutMiddle) ? box.Middle() : KxVec3d::Zero;
        KxVec3d shift = VectorOf(Shift), back(middle);
        if (GetParameterList(Measure) == L"relative") shift *= box.Diagonal();
        shift += middle;
        back.Negate();
        KxMatrix4 motion = KxMatrix4::ATranslation(shift);
        if (angle != 0) motion = motion * KxMatrix4::ARotation(axis, angle);
        motion = motion * KxMatrix4::ATranslation(back);
        KxTDynArray<KxVec3d> points =
            InWorker([&](Progress progress) { return Moved(scan.points, motion, progress.Stage(L"moving", 0, 1)); });
        Content next = m_session.Now();
        Entry& changed = next.Edit(entry.name);
        changed.stored.scan.points = std::move(points);
        changed.stored.DropFit();
        changed.moved = motion * changed.moved;
        changed.isMoved = true;
        Change(changed.name, std::move(next));
        Print(L"Moved       %s: its middle by %.3g in a size of %.3g\n", changed.name,
              (motion * box.Middle()).Distance(box.Middle()), box.Diagonal());
        return OPERATOR_OK;
    }
};

class SplitCommand : public CommandOf<SplitCommand> {
public:
    enum : unsigned short { Which = 1, First, Second };

    explicit SplitCommand(Session& session) : CommandOf(SplitId, session) {
        AddScan(Which);
        AddText(First, L"first");
        AddText(Second, L"second");
    }

protected:
    OperatorReturnCode Run() override {
        Entry const& entry = ScanOf(Which);
        KxString const names[] = {GetParameterString(First), GetParameterString(Second)};
        for (unsigned short i = 0; i < 2; ++i)
            if (names[i] == L"*") Refuse(static_cast<unsigned short>(First + i), FormatOf(Text::ScanUnknown, names[i]));
        if (names[0] == names[1]) Refuse(Second, TextOf(Text::SameScan));
        StoredScan halves[2];
        InWorker([&](Progress progress) {
            progress = progress.Stage(L"copying", 0, 1);
            for (int i = 0; i < 2; ++i)
                halves[i].scan =
                    HalfOf(entry.stored.scan, i, KxMatrix4::Identity, progress.Part(0.5 * i, 0.5 * i + 0.5));
        });
        for (StoredScan& half : halves) half.scan.conditions = entry.stored.scan.conditions;
        // The source stays the current scan; it may be replaced by one of its halves.
        Content next = m_session.Now();
        for (int i = 0; i < 2; ++i) next.AddBeside(names[i], std::move(halves[i]));
        Change(KxString(entry.name), std::move(next));
        Print(L"Split       into %s and %s\n", names[0], names[1]);
        return OPERATOR_OK;
    }
};

class ListCommand : public CommandOf<ListCommand> {
public:
    enum : unsigned short { Conditions = 1 };

    explicit ListCommand(Session& session) : CommandOf(ListId, session) { AddSwitch(Conditions, false); }

protected:
    OperatorReturnCode Run() override {
        for (auto const& entry : m_session.Entries()) {
            StoredScan const& stored = entry->stored;
            Print(L"%-11s %d points%s, %s, %s, %d deviations\n", entry->name, stored.scan.points->Size(),
                  stored.scan.unit.Len() > 0 ? L" in " + stored.scan.unit : KxString(), stored.scan.source,
                  stored.fit == FitKind::plane    ? L"plane"
                  : stored.fit == FitKind::sphere ? L"sphere"
                                                  : L"no fit",
                  stored.deviations->Count());
            if (GetParameterBool(Conditions)) Print(L"%s", ConditionsText(stored.scan));
        }
        return OPERATOR_OK;
    }
};

class RemoveCommand : public CommandOf<RemoveCommand> {
public:
    enum : unsigned short { Which = 1 };

    explicit RemoveCommand(Session& session) : CommandOf(RemoveId, session) { AddScan(Which); }

protected:
    OperatorReturnCode Run() override {
        KxString const name = ScanOf(Which).name;
        Content next = m_session.Now();
        next.Remove(name);
        Change(name, std::move(next));
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertScanOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new FilterCommand(session));
    manager.Insert(new TransformCommand(session));
    manager.Insert(new SplitCommand(session));
    manager.Insert(new ListCommand(session));
    manager.Insert(new RemoveCommand(session));
}

}  // namespace ScanLab
