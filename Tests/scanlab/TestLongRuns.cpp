// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Long operators that are told to end, at every place where they can.
#include "Interrupts.h"
#include "Lab.h"

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <thread>

using namespace KxN;
using namespace ScanLab;

namespace {

class LongRuns : public Lab {
protected:
    /// Everything that an operator could change: session and files.
    std::string Image() {
        auto const bytes = [](KxTDynArray<KxVec3d> const& points) {
            return std::string_view(reinterpret_cast<char const*>(points.Data()), 24u * unsigned(points.Size()));
        };
        std::ostringstream image;
        for (auto const& entry : session.Entries())
            image << test::U(entry->name) << ' ' << std::hash<std::string_view>()(bytes(entry->stored.scan.points))
                  << ' ' << int(entry->stored.fit) << ' ' << entry->stored.deviations->Count() << ' ' << entry->isMoved
                  << '\n';
        image << test::U(session.Find(L"*").name) << '\n';
        for (auto const& set : session.Deviations()) image << test::U(set->title) << set->values->Count() << '\n';
        image << session.Fits().size() << '\n';
        for (auto const& file : std::filesystem::recursive_directory_iterator(m_folder))
            if (file.is_directory())
                image << file.path() << '\n';
            else
                image << file.path() << std::hash<std::string>()(Get(file.path().lexically_relative(m_folder))) << '\n';
        return image.str();
    }
};

TEST_F(LongRuns, AnAbortAtAnyReportLeavesAllAsItWas) {
    // Fewer where each access takes ten times as long.
    std::string const many = isThreadSanitized ? "9000" : "80000", fewer = isThreadSanitized ? "8000" : "70000";
    for (std::string const& line : std::vector<std::string>{
             "Synthesize plate FALSE " + many + ";", "FitPlane;", "Deviations;", "Split * first second;",
             "Export out.ply first;", "Export out.csv first;", "Save saved;"})
        ASSERT_EQ(Run(line).find('['), std::string::npos) << line;
    for (char const* name : {"out/new.ply", "out/new.csv", "out/new.tag", "out/new.svg", "out/new.html", "out/new.zip"})
        Put(name, "former");
    auto const fileLine = [this](char const* head, char const* name) {
        return head + (" \"" + File(name).string() + "\" plate;");
    };
    for (std::string const& line : std::vector<std::string>{"Synthesize sphere FALSE " + fewer + " plate;",
                                                            "FitSphere;",
                                                            "Deviations;",
                                                            fileLine("Import", "out/out.ply"),
                                                            fileLine("Import", "out/out.csv"),
                                                            "FitPlane;",
                                                            "Filter * strays 1 3;",
                                                            "Filter * thinning 0.5;",
                                                            "Synthesize plate FALSE " + fewer + " plate;",
                                                            "Filter * box 1 3 0 0 -9 99 99 9;",
                                                            "Transform * absolute 1;",
                                                            "Split first plate third;",
                                                            "Align second first FALSE new.svg;",
                                                            fileLine("Load", "out/saved.tag"),
                                                            "Deviations;",
                                                            "Export new.ply;",
                                                            "Export new.csv;",
                                                            "Save new * 64 TRUE;",
                                                            "Save new * 32 FALSE;",
                                                            "Histogram new.svg;",
                                                            "Report new.html;",
                                                            "Pack new.zip out.*;",
                                                            fileLine("Unpack", "out/new.zip")}) {
        // Every one of the first reports, then ever fewer, until one is behind the last.
        long at = 1;
        for (bool isDone = false; !isDone; at += 1 + at / 2) {
            std::string const before = Image();
            long reports = 0;
            session.progress.onReport = [&] {
                if (++reports == at) Interrupts::Request();
            };
            testing::internal::CaptureStderr();
            std::string const outcome = Run(line);
            std::string const said = testing::internal::GetCapturedStderr();
            isDone = reports < at;
            EXPECT_EQ(outcome == "[3]", !isDone) << line << at << '\n' << outcome;
            if (isDone) continue;
            EXPECT_NE(said.find("wurde abgebrochen; nichts hat sich"), std::string::npos) << said;
            ASSERT_EQ(Image(), before) << line << at;
            EXPECT_LE(reports, at + 1) << line << ": went on";  // an archive may write a last time
        }
        EXPECT_GT(at, 2) << line << ": no report";
        session.progress.onReport = nullptr;
    }
    for (char const* name : {"out/new.ply", "out/new.csv", "out/new.tag", "out/new.svg", "out/new.html", "out/new.zip"})
        EXPECT_NE(Get(name), "former") << name;
}

TEST_F(LongRuns, AreProcessesThatHandlersWatchAndAbort) {
    struct Watcher {
        int most = 0;
        int abortFrom = 1000;
        long long OnProgress(void* process) {
            auto* const run = static_cast<KxProgressProcess*>(static_cast<KxProcess*>(process));
            most = run->GetPercentage();
            if (most >= abortFrom) run->Abort();
            return 0;
        }
    } watcher;
    ProgressSettings const settings;
    LongRun run(L"test", settings);
    run.SetProgressHdl(KxxMakeLink(&watcher, &Watcher::OnProgress));
    run.Do([](Progress progress) {
        progress.Show(0, 0);  // of nothing
        progress.Part(0, 0.5).Part(0.2, 0.4).Show(1, 2);
    });
    EXPECT_TRUE(watcher.most == 100 && run.WasSuccessful());

    watcher.abortFrom = 15;  // half of 0.2 to 0.4 of the first half
    auto const endless = [](Progress progress) {
        for (Progress const part = progress.Part(0, 0.5).Stage(L"stage", 0.2, 0.4);;) part.Show(1, 2);
    };
    EXPECT_THROW(run.Do(endless), Cancelled);
    EXPECT_TRUE(watcher.most == 15 && run.IsAborted() && !run.WasSuccessful() && run.GetMessageW() == L"stage");

    LongRun other(L"test", settings);
    EXPECT_THROW(other.Do([](Progress) { throw std::runtime_error("any"); }), std::runtime_error);
    EXPECT_EQ(test::Thrown<KxException>([&] { other.Do([](Progress) { throw new KxException(L"own"); }); }), "own");
    other.Do([](Progress progress) { progress.Done(); });  // and again
    EXPECT_TRUE(other.WasSuccessful());
}

/// Ends its thread.
class End : public KxException {
public:
    End() : KxException(KxString(L"end")) {}
    bool EndsThread() const override { return true; }
};

TEST_F(LongRuns, LetThroughWhatEndsTheirThread) {
    Run("Synthesize plate FALSE 3000;");
    Put("fit.mac", "FitPlane;\n");
    for (std::string const& line :
         {std::string("FitPlane;"), "Macro \"" + File("fit.mac").string() + "\";", std::string("Save kept * 64 TRUE;")})
        for (int at = 1, reports = at; reports >= at; at += 1 + at / 4) {
            reports = 0;
            session.progress.onReport = [&] {
                if (++reports == at) throw new End;
            };
            std::string const outcome = Run(line);
            EXPECT_TRUE(outcome == "end" || reports < at) << line << at << outcome;
        }
    EXPECT_EQ(session.Find(L"plate").stored.fit, FitKind::none);
}

TEST_F(LongRuns, ShowABarAfterAWhile) {
    ProgressSettings settings;
    settings.form = ProgressSettings::bar;
    LongRun run(L"test", settings);
    std::wstring const longest(90, L's');
    testing::internal::CaptureStderr();
    run.Do([&](Progress progress) {
        progress.Show(0, 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(450));
        progress.Stage(longest.c_str(), 0, 1).Show(1, 2);
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    });
    std::string const said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("\rtest ["), std::string::npos) << said;
    EXPECT_NE(said.find("]   0 %\033[K"), std::string::npos) << said;
    EXPECT_NE(said.find("\rtest: sssss"), std::string::npos) << said;
    EXPECT_NE(said.find("]  50 %, "), std::string::npos) << said;
    EXPECT_EQ(said.find(std::string(79, 's')), std::string::npos) << said;  // one line of a terminal
    EXPECT_TRUE(said.ends_with("\r\033[K")) << said;
}

TEST_F(LongRuns, MacrosEndAtTheLineThatIsCancelled) {
    Put("inner.mac", "Synthesize plate FALSE 300;\nFitPlane;\n");
    Put("outer.mac", "Macro \"" + File("inner.mac").string() + "\";\nRemove plate;\n");
    int reports = 0;
    session.progress.onReport = [&] {
        if (session.Entries().size() == 1 && ++reports == 1) Interrupts::Request();  // in FitPlane
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ(Run("Macro \"" + File("outer.mac").string() + "\";").ends_with("[3]"), true);
    std::string const said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(said.starts_with("scanlab: Der Operator \"FitPlane\"") && said.find('\n') + 1 == said.size()) << said;
    EXPECT_EQ(session.Find(L"plate").stored.fit, FitKind::none);
    EXPECT_EQ(Run("FitPlane;").find('['), std::string::npos);  // nothing is left of it
}

}  // namespace
