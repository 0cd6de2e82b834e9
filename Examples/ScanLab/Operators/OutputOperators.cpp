// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What goes into files: Histogram, Report, Save, Export.
#include "../HistogramPicture.h"
#include "../Print.h"
#include "../Report.h"
#include "../ScanWriter.h"
#include "Command.h"
#include "Operators.h"
#include "Watch.h"

#include <hbtools/base/syDirEntry.h>

namespace ScanLab {

using namespace KxN;

namespace {

class HistogramCommand : public CommandOf<HistogramCommand> {
public:
    enum : unsigned short { File = 1, Title, InnerColor, OuterColor };

    explicit HistogramCommand(Session& session) : CommandOf(HistogramId, session) {
        HistogramColors const colors;
        AddFile(File, {L"svg"}, false, L"deviations.svg");
        AddText(Title, L"*");
        AddColor(InnerColor, colors.inner);
        AddColor(OuterColor, colors.outer);
    }

protected:
    OperatorReturnCode Run() override {
        DeviationSet const& set = m_session.CurrentDeviations();
        KxString const title = GetParameterString(Title);
        KxString const path = OutputOf(File);
        HistogramColors const colors{ColorOf(InnerColor), ColorOf(OuterColor)};
        InWorker([&](Progress progress) {
            SaveHistogramPicture(path, set.values, title == L"*" ? set.title : title, set.unit, colors, progress);
        });
        Print(L"%s\n", path);
        return OPERATOR_OK;
    }
};

class ReportCommand : public CommandOf<ReportCommand> {
public:
    enum : unsigned short { File = 1, Title, Points, Limit, LowColor, MiddleColor, HighColor, Conditions };

    explicit ReportCommand(Session& session) : CommandOf(ReportId, session) {
        ReportStyle const style;
        AddFile(File, {L"html"}, false, L"report.html");
        AddText(Title, L"ScanLab");
        AddWhole(Points, style.points, 1, DeviationSet::mostSamples);
        AddNumber(Limit, 0, 0, 1e9, 6);
        AddColor(LowColor, style.low);
        AddColor(MiddleColor, style.middle);
        AddColor(HighColor, style.high);
        AddSwitch(Conditions, true);
    }

protected:
    OperatorReturnCode Run() override {
        ReportStyle style;
        style.title = GetParameterString(Title);
        style.points = static_cast<int>(GetParameterLong(Points));
        style.limit = GetParameterDouble(Limit);
        style.low = ColorOf(LowColor);
        style.middle = ColorOf(MiddleColor);
        style.high = ColorOf(HighColor);
        style.hasConditions = GetParameterBool(Conditions) != 0;
        KxString const path = OutputOf(File);
        InWorker([&](Progress progress) { SaveReport(path, m_session, style, progress); });
        Print(L"%s\n", path);
        return OPERATOR_OK;
    }
};

class SaveCommand : public CommandOf<SaveCommand> {
public:
    enum : unsigned short { File = 1, Which, Form, Verify };

    explicit SaveCommand(Session& session) : CommandOf(SaveId, session) {
        AddFile(File, {L"tag"}, false);
        AddScan(Which);
        AddChoice(Form, {L"64", L"32"});
        AddSwitch(Verify, false);
    }

protected:
    OperatorReturnCode Run() override {
        StoredScan const& stored = ScanOf(Which).stored;
        KxString const path = OutputOf(File);
        TagFormat const form = GetParameterList(Form) == L"32" ? TagFormat32 : TagFormat64;
        bool const isToVerify = GetParameterBool(Verify);
        double megabytes = 0, loadSeconds = 0, checkSeconds = 0;
        auto const check = [&](KxString const& written, Progress progress) {
            RunningWatch checking, loading;
            megabytes = MegabytesOf(written);
            StoredScan const loaded = ScanLab::Load(written, progress);
            loadSeconds = loading.Seconds();
            bool const isSame = IsSame(stored, loaded);
            checkSeconds = checking.Seconds();
            return isSame;
        };
        RunningWatch watch;
        bool const isSame = InWorker([&](Progress progress) {
            if (isToVerify) return Store(path, stored, form, progress, check);
            return Store(path, stored, form, progress);
        });
        double const storeSeconds = KxMath::Max(1e-9, watch.Seconds() - checkSeconds);
        if (!isToVerify) megabytes = MegabytesOf(path);
        Print(L"%s  %7.1f MB, stored %6.0f MB/s", path, megabytes, megabytes / storeSeconds);
        if (isToVerify)
            Print(L", loaded %6.0f MB/s, %s", megabytes / loadSeconds,
                  isSame ? L"every bit the same" : L"NOT THE SAME; the file stays as it was");
        Print(L"\n");
        return isSame ? OPERATOR_OK : OPERATOR_FAILED;
    }

private:
    static double MegabytesOf(KxString const& path) {
        return static_cast<double>(KxTools::FileStat(KxDirEntry(path)).GetSize()) / 1e6;
    }
};

class ExportCommand : public CommandOf<ExportCommand> {
public:
    enum : unsigned short { File = 1, Which, Format };

    explicit ExportCommand(Session& session) : CommandOf(ExportId, session) {
        AddFile(File, {L"*"}, false);
        AddScan(Which);
        AddChoice(Format, {L"by name", L"PLY", L"CSV"});
    }

protected:
    OperatorReturnCode Run() override {
        StoredScan const& stored = ScanOf(Which).stored;
        KxString format = GetParameterList(Format);
        KxDirEntry path(OutputOf(File));
        if (format == L"by name") {
            format = KxString(path.GetExtension()).Upper();
            if (format != L"PLY" && format != L"CSV") Refuse(File, FormatOf(Text::NoFormat, GetParameterFile(File)));
        } else if (path.GetExtension().Len() == 0) {
            path.SetExtension(format == L"PLY" ? L"ply" : L"csv");
        }
        InWorker([&](Progress progress) {
            (format == L"PLY" ? WritePly : WriteCsv)(KxString(path.GetFull()), stored, progress);
        });
        Print(L"%s  %d points\n", path.GetFull(), stored.scan.points->Size() + stored.scan.notFinite->Size());
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertOutputOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new HistogramCommand(session));
    manager.Insert(new ReportCommand(session));
    manager.Insert(new SaveCommand(session));
    manager.Insert(new ExportCommand(session));
}

}  // namespace ScanLab
