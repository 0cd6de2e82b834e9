// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Where scans come from: Import, Synthesize, Load.
#include "../Conditions.h"
#include "../Print.h"
#include "../ScanReader.h"
#include "../SyntheticPlate.h"
#include "Command.h"
#include "Operators.h"
#include "Watch.h"

#include <hbtools/base/syDirEntry.h>

#include <utility>

namespace ScanLab {

using namespace KxN;

namespace {

void PrintScan(Entry const& entry, double seconds) {
    Scan const& scan = entry.stored.scan;
    Print(L"Scan        %s: %s (%s)\n", entry.name, scan.name, scan.source);
    Print(L"Points      %d, in %.2f s (%.1f million a second)\n", scan.points->Size(), seconds,
          scan.points->Size() / seconds / 1e6);
    if (scan.notFinite->Size() > 0) Print(L"Not finite  %d points, kept apart\n", scan.notFinite->Size());
    if (scan.points->Size() > 0) {
        Box const box = BoxOf(scan);
        for (int i = 0; i < 3; ++i) Print(L"%c           %12.4f to %12.4f\n", L"xyz"[i], box.low[i], box.high[i]);
    }
    Print(L"\n%s", ConditionsText(scan));
}

class ImportCommand : public CommandOf<ImportCommand> {
public:
    enum : unsigned short { File = 1, Name, Unit };

    explicit ImportCommand(Session& session) : CommandOf(ImportId, session) {
        AddFile(File, {L"*"}, true);
        AddText(Name, L"*");
        AddChoice(Unit, {L"none", L"mm", L"m", L"in"});
    }

protected:
    OperatorReturnCode Run() override {
        RunningWatch watch;
        StoredScan stored;
        KxString const path = InputOf(File);
        stored.scan = InWorker([&](Progress progress) { return ReadScan(path, progress); });
        if (stored.scan.unit.Len() == 0 && GetParameterList(Unit) != L"none") {
            stored.scan.unit = GetParameterList(Unit);
            stored.scan.conditions = ConditionsOfFile(path, stored.scan);
        }
        KxString const natural = stored.scan.name;
        Content next = m_session.Now();
        Entry const& entry = next.Add(GetParameterString(Name), natural, std::move(stored));
        Change(entry.name, std::move(next));
        PrintScan(entry, watch.Seconds());
        return OPERATOR_OK;
    }
};

class SynthesizeCommand : public CommandOf<SynthesizeCommand> {
public:
    enum : unsigned short { Shape = 1, OnlyIfNone, Points, Name, Radius };

    explicit SynthesizeCommand(Session& session) : CommandOf(SynthesizeId, session) {
        AddChoice(Shape, {L"plate", L"sphere"});
        AddSwitch(OnlyIfNone, false);
        AddWhole(Points, 1000000, 1, 80000000);
        AddText(Name, L"*");
        AddNumber(Radius, 25, 0.1, 1000, 3);
    }

protected:
    OperatorReturnCode Run() override {
        if (GetParameterBool(OnlyIfNone) && !m_session.Entries().empty()) return OPERATOR_OK;
        RunningWatch watch;
        StoredScan stored;
        int const points = static_cast<int>(GetParameterLong(Points));
        KxString const shape = GetParameterList(Shape);
        stored.scan = InWorker([&](Progress progress) {
            return shape == L"plate" ? MakeSyntheticPlate(points, progress)
                                     : MakeSyntheticSphere(points, GetParameterDouble(Radius), progress);
        });
        Content next = m_session.Now();
        Entry const& entry = next.Add(GetParameterString(Name), shape, std::move(stored));
        Change(entry.name, std::move(next));
        PrintScan(entry, watch.Seconds());
        return OPERATOR_OK;
    }
};

class LoadCommand : public CommandOf<LoadCommand> {
public:
    enum : unsigned short { File = 1, Name };

    explicit LoadCommand(Session& session) : CommandOf(LoadId, session) {
        AddFile(File, {L"tag"}, true);
        AddText(Name, L"*");
    }

protected:
    OperatorReturnCode Run() override {
        RunningWatch watch;
        KxString const path = InputOf(File);
        StoredScan stored = InWorker([&](Progress progress) { return ScanLab::Load(path, progress); });
        Content next = m_session.Now();
        Entry const& entry =
            next.Add(GetParameterString(Name), KxString(KxDirEntry(path).GetBase()), std::move(stored));
        Change(entry.name, std::move(next));
        PrintScan(entry, watch.Seconds());
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertInputOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new ImportCommand(session));
    manager.Insert(new SynthesizeCommand(session));
    manager.Insert(new LoadCommand(session));
}

}  // namespace ScanLab
