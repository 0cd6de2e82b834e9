// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Scenarios of programs: logs, macros, undo, languages, threads.
#include "Scenario.h"

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syModule.h"
#include "hbtools/base/syWinApp.h"
#include "hbtools/core/syBackupFile.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/localisation/syLocalizer.h"
#include "hbtools/operators/syMacro.h"
#include "hbtools/operators/syOperator.h"
#include "hbtools/operators/syOperatorMgr.h"
#include "hbtools/operators/syParamDouble.h"
#include "hbtools/operators/syParamString.h"
#include "hbtools/state/syUndoRedo.h"
#include "hbtools/threads/syKxThread.h"
#include "hbtools/threads/syThreadDoOnce.h"

#include <atomic>
#include <memory>

namespace proof {

namespace {

using namespace KxN;
namespace fs = std::filesystem;

Scenario Log(fs::path const& folder) {
    WriteFile(folder / "app.ini", "[Initialization]\nErrorCount=200\nBackupTiming=SAVE_ON_DEMAND\nFileName=" +
                                      (folder / "log.txt").string() +
                                      "\nDebugFileName=" + (folder / "debug.txt").string() + "\n");
    WriteFile(folder / "log.txt",
              "[General]\nFile=Quandelmeter Exceptions Log\nTotalCount=1\n[0]\nDate=20240101\nTime=1\nGroup=G\n"
              "Level=EXCEPT_USER\nMessage=m\n");
    struct State {
        std::unique_ptr<KxExceptionManager> manager = std::make_unique<KxExceptionManager>();
        bool isWritten = false;
        ~State() { manager->ChangeBackupTiming(static_cast<BackupTiming>(3)); }
    };
    auto const s = std::make_shared<State>();
    auto const add = [s] {
        KxExceptionManagerException entry(KxDateTime(2024, 12, 31, 23, 59, 58), L"Scanner", EXCEPT_FATAL,
                                          L"a text of an entry, beyond what a text holds without memory");
        s->manager->AddExceptionToLog(entry);
    };
    return {{
                [s, path = PathOf(folder / "app.ini")] { s->manager->Initialize(path); },
                add,
                [s] { s->manager->SaveExcGrpLst(); },
                add,
                [s] { std::unique_ptr<KxExceptionManager::Queue> const all(s->manager->ExtractAllExceptions()); },
                [s] {
                    if (!s->isWritten)
                        s->manager->WriteToDebugFile(L"a line of the debug file, beyond what a text holds", 0, 1);
                    s->isWritten = true;  // or waits until there is room for it
                    s->manager->Flush();
                },
                [s] { s->manager->SetMaxErrorCount(2); },
                [s] { s->manager->SaveExcGrpLst(); },
                [s] { s->manager->LoadExcGrpLst(); },
            },
            [s] {
                if (s->manager->GetBackupTiming() == 3) return std::string("not initialised");
                std::string text = std::to_string(s->manager->GetTotalCount()) + ": ";
                std::unique_ptr<KxExceptionManager::Queue> const all(s->manager->ExtractAllExceptions());
                for (KxException* entry : *all) text += U(entry->GetMessage()) + "; ";
                return text + U(s->manager->GetDebugInfo());
            },
            {},
            {},
            "not initialised",
            {},
            {},
            {{0, {"log.txt", "debug.txt", "app.ini"}}, {6, {"debug.txt"}}}};
}

constexpr SxStringResource operatorTexts[] = {{100, "Filter"}, {110, "Radius"}, {120, "Comment"}};
constinit CDynLinkLibrary g_operatorTexts{operatorTexts};

class Filter : public KxOperator {
public:
    enum Parameter : unsigned short { Radius = 1, Comment = 2 };

    explicit Filter(std::string& done) : KxOperator(100, KxResId(100, &g_operatorTexts)), m_done(done) {
        Take(std::make_unique<KxParameterDouble>(Radius, KxResId(110, &g_operatorTexts), 0.5, 0.5,
                                                 KxTFloatRange<double>(0.0, 50.0), 0.1, 3));
        Take(std::make_unique<KxParameterString>(Comment, KxResId(120, &g_operatorTexts), L"none", L"none"));
    }
    KxOperator* Clone() const override { return new Filter(m_done); }

protected:
    OperatorReturnCode DoExecute() override {
        m_done += std::to_string(GetParameterDouble(Radius)) + U(GetParameterString(Comment)) + ";";
        return OPERATOR_OK;
    }

private:
    /// What is refused stays with whoever inserts it.
    void Take(std::unique_ptr<KxParameter> parameter) {
        Insert(parameter.get());
        static_cast<void>(parameter.release());
    }

    std::string& m_done;
};

Scenario Macro(fs::path const& folder) {
    WriteFile(folder / "a.macro", "// straighten\nFilter 2.5 \"two words, and some more beyond a short text\";\n");
    struct State {
        State() { pOperatorMgr = &manager; }
        ~State() { pOperatorMgr = nullptr; }
        std::string done;
        KxOperatorMgr manager;
    };
    auto const s = std::make_shared<State>();
    return {{
                [s] {
                    auto filter = std::make_unique<Filter>(s->done);
                    s->manager.Insert(filter.get());
                    static_cast<void>(filter.release());
                },
                [s, path = PathOf(folder / "a.macro")] {
                    s->done.clear();
                    Require(KxMacro(nullptr).Start(path) == OPERATOR_OK, "ended early");
                },
                [s, path = PathOf(folder / "filter.ini")] { s->manager.GetOperator(L"Filter")->Save(path); },
                [s, path = PathOf(folder / "filter.ini")] { s->manager.GetOperator(L"Filter")->Load(path); },
            },
            [s] { return std::to_string(s->manager.GetNumOperators()) + s->done; },
            {"KxN::KxException"},  // a macro wraps whatever comes from its lines
            {},
            "nothing else",
            {},
            {},
            {{2, {"a.macro"}}, {0, {"filter.ini"}}}};
}

class NumberState : public KxState {
public:
    explicit NumberState(std::vector<int>& live) : m_live(live) {}
    void Read() override { m_kept = m_live; }
    void Write() override { m_live = m_kept; }
    KxState* Clone() override { return new NumberState(m_live); }
    ULONGLONG GetSize() const override { return m_kept.size() * sizeof(int); }

private:
    std::vector<int>& m_live;
    std::vector<int> m_kept;
};

Scenario Undo(fs::path const&) {
    struct State {
        std::vector<int> live = {1, 2, 3};
        KxUndoRedo history;
        KxString name;
    };
    auto const s = std::make_shared<State>();
    auto const change = [s](int number) {
        return [s, number] {
            s->history.Begin(L"A step of a name that takes memory of its own");
            try {
                s->history.SaveState(new NumberState(s->live));
                std::vector<int> changed = s->live;
                changed.push_back(number);
                s->history.End(L"");
                s->live.swap(changed);
            } catch (...) {
                s->history.Drop();
                throw;
            }
        };
    };
    return {
        {change(4), change(5), [s] { s->history.Undo(); }, [s] { s->history.Undo(); }, [s] { s->history.Redo(); },
         change(6), [s] { Require(!s->history.CanRedo() && s->history.UndoStates().Count() == 2, "another history"); }},
        [s] {
            std::string text;
            for (int const number : s->live) text += std::to_string(number) + " ";
            // A step that failed midway has its twin on the other side, until it is tried again.
            bool const isEven = s->history.UndoStates().Count() == s->history.UndoNames().Count();
            return text + (isEven ? "" : "uneven");
        }};
}

Scenario Language(fs::path const& folder) {
    WriteFile(folder / "languages.ini", "[Languages]\nFrench=0x0C;1\nSwiss=7;2\n");
    // Always the same files: what a pack has brought is kept for ever.
    fs::path const kept = folder.parent_path() / "packs";
    if (!fs::exists(kept)) fs::copy(HBTOOLS_LANGUAGE_PACKS, kept, fs::copy_options::recursive);
    fs::copy(kept, folder / "packs", fs::copy_options::recursive | fs::copy_options::create_hard_links);
    struct State {
        KxGlobalLocalizer localizer;
        KxString german = KxString(KxResId(2001));
    };
    auto const s = std::make_shared<std::unique_ptr<State>>();
    auto const english = [s] {
        (*s)->localizer.DoLocalization(1);
        if (KxString(KxResId(2001)) == (*s)->german)
            Require(KxxGetModuleError().code != 0, "no English, and no reason");
    };
    return {{
                [s] { *s = std::make_unique<State>(); },
                [s, folder] {
                    (*s)->localizer.Init(PathOf(folder / "languages.ini"), L"Languages");
                    (*s)->localizer.SetResourceDLLPathConvention(PathOf(folder / "packs" / "%L%"));
                },
                [s] { Require((*s)->localizer.SetActiveLanguage(L"English"), "no English"); },
                english,
                [s] { Require((*s)->localizer.SetActiveLanguage(L"German"), "no German"); },
                [s] { (*s)->localizer.DoLocalization(1); },
                [s] { Require(KxString(KxResId(2001)) == (*s)->german, "other German"); },
                [s] { Require((*s)->localizer.SetActiveLanguage(L"English"), "no English"); },
                english,
                [s] { (*s).reset(); },
            },
            [] { return U(KxString(KxResId(2001))); },
            {},
            {},
            "nothing else",
            {},
            {},
            {{2, {"languages.ini"}}}};
}

Scenario Copies(fs::path const& folder) {
    WriteFile(folder / "scan.dat", std::string(300'000, 's'));
    WriteFile(folder / "other.dat", "old");
    WriteFile(folder / "cut.dat", "longer");
    KxDirEntry const scan(PathOf(folder / "scan.dat")), other(PathOf(folder / "other.dat"));
    KxDirEntry const fresh(PathOf(folder / "fresh.dat")), deep(PathOf(folder / "a" / "b"));
    return {
        {
            [=] { Require(scan.CopyTo(fresh, 0) == 0, "not copied"); },
            [=] { Require(scan.CopyTo(other, 1) == 0, "not copied"); },
            [path = PathOf(folder / "scan.dat")] { KxBackupFile(path).Create(); },
            [=] { Require(deep.MakeDir(1) != 0, "no folder"); },
            [=] { Require(scan.CopyTo(KxDirEntry(deep + KxDirEntry(L"scan.dat")), 0) == 0, "not copied"); },
            [=] { Require(fresh.Kill() == 0, "not removed"); },
            [] { Require(KxDirEntry(L"scan.dat").ToAbs() != 0, "no folder"); },
            [path = PathOf(folder / "cut.dat")] {
                CFile file(path, CFile::modeReadWrite);
                file.SetLength(3);
                file.Close();
            },
        },
        [] { return ""; },
        {"proof::Refused no folder"},  // without memory for the current one
        {4},
        "nothing else",
        {"proof::Refused not copied", "proof::Refused no folder", "proof::Refused not removed"},
        {{"fresh.dat", "scan.dat"}, {"other.dat", "scan.dat"}, {"scan.BAK", "scan.dat"}, {"a/b/scan.dat", "scan.dat"}},
        {{3, {"scan.dat"}}, {8, {"cut.dat"}}}};
}

Scenario Threads(fs::path const&) {
    struct Worker {
        void Work() {
            started = true;
            while (true) KxxThreadSleep(1);
        }
        std::atomic<bool> started = false;
    };
    struct Job : KxThreadDoOnce {
        ~Job() override { WaitUntilReady(10000); }
        void Process() override { done = true; }
        std::atomic<bool> done = false;
    };
    return {{
                [] {
                    Worker worker;
                    KxThread thread(L"reader");
                    Require(thread.Run(KxxMakeLink(&worker, &Worker::Work)), "no thread");
                    thread.AttemptTermination(10000);
                    Require(!thread.IsRunning(), "still running");
                },
                [] {
                    Job job;
                    job.Start();
                    job.WaitUntilReady(10000);
                    Require(job.done, "not done");
                },
            },
            [] { return ""; },
            {"proof::Refused no thread", "proof::Refused not done", "KxN::KxException"}};
}

Scenario Start(fs::path const& folder) {
    WriteFile(folder / "app.ini", "[Initialization]\nErrorCount=20\nFileName=log.txt\n");
    return {{
                [path = PathOf(folder / "app.ini")] {
                    KxWinApp app;
                    KxGlobalLocalizer localizer;
                    localizer.SetActiveLanguage(L"English");
                    localizer.DoLocalization(1);
                    KxExceptionManager manager;
                    manager.Initialize(path);
                    Require(KxString(KxResId(2001)).Len() > 0, "no text");
                },
            },
            [] { return ""; },
            {},
            {},
            "nothing else",
            {},
            {},
            {{0, {"app.ini", "log.txt"}}}};
}

}  // namespace

std::vector<Kind> ProgramKinds() {
    return {{"log", Log},       {"macro", Macro},           {"undo", Undo},  {"language", Language},
            {"copies", Copies}, {"threads", Threads, true}, {"start", Start}};
}

}  // namespace proof
