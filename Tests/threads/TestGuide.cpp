// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/threads.md: it stands here, so that it compiles, and does what is said there.
#include "hbtools/base/syWinApp.h"
#include "hbtools/threads/syKxThread.h"
#include "hbtools/threads/syProcess.h"
#include "hbtools/threads/syProgressAlgorithm.h"
#include "hbtools/threads/syThreadDoOnce.h"

#include "ThreadTest.h"

#include <algorithm>
#include <fstream>

namespace {

using namespace KxN;

struct View {
    void OnFinished(void*) { seen += 'f'; }
    void ShowProgress(void* process) {
        seen += std::to_string(static_cast<KxProgressProcess*>(static_cast<KxProcess*>(process))->GetPercentage());
    }
    void ShowError(void*) { seen += 'e'; }
    void On(int progress) { seen += " " + std::to_string(progress); }
    std::string seen;
};

class Job : public KxThreadDoOnce {
    void Process() override {}
};

class Fit : public KxProgressProcess {
    void Process() override {
        SetPercentage(80);
        throw new KxException(KxString(L"no plane"));
    }
};

class Step : public KxProgressAlgorithm {
public:
    void Run() override { SendProgress(50); }
};

// clang-format off
class Reader {
public:
    void Work() {
        while (Next()) {
            KxxThreadSleep(1);                              // ends here when it is asked to
            if (KxxThreadWaitFor(60000, m_data)) ++m_read;  // or here; milliseconds
        }
    }
    bool Next() {
        m_data.SetEvent();
        return true;
    }
    CEvent m_data;
    std::atomic<int> m_read = 0;
};

TEST(Guide, CodeOfTheDocumentation) {
    Reader reader;
    KxThread thread(L"reader");
    thread.Run(KxxMakeLink(&reader, &Reader::Work));
    test::Await([&] { return reader.m_read > 3; });
    thread.AttemptTermination(5000);
    EXPECT_EQ(thread.IsRunning(), 0);

    bool isPassed = false;
    try {
        try {
            thread.EndThread();
        }
        catch (KxException* exception) {
            if (exception->EndsThread()) throw;
        }
    } catch (KxThreadFinalizeException2* exception) {
        isPassed = true;
        exception->Delete();
    }
    EXPECT_TRUE(isPassed);

    KxWinApp app;
    View view;
    Job job;
    KxThreadSignalWindow window;  // or a window of your own that calls KxThreadSignal::Deliver
    AfxGetThread()->SetMainWnd(&window);
    job.SignalFinished.Signal.Connect(&view, &View::OnFinished);  // runs on this thread
    job.Start();
    test::Await([&] { return view.seen == "f"; }, [&] { app.Reschedule(); });

    Fit fit;
    fit.SetProgressHdl(KxxMakeLink(&view, &View::ShowProgress));
    fit.SetErrorOutputHdl(KxxMakeLink(&view, &View::ShowError));
    fit.ExecuteAndWaitUntilReady();  // Execute() returns at once, the body runs 100 ms later
    EXPECT_EQ(view.seen, "f80e");

    Step load, align;
    load.SetProgressRange(0, 30);    // its 0 to 100 is 0 to 30 of the whole
    align.SetProgressRange(30, 100);
    for (Step* step : {&load, &align}) {
        step->SignalProgress.Connect(&view, &View::On);
        step->Run();
    }
    EXPECT_EQ(view.seen, "f80e 15 65");
}
// clang-format on

TEST(GuideText, ShowsWhatStandsHere) {
    auto const read = [](char const* name) {
        std::ifstream in(HBTOOLS_SOURCE_DIR + std::string(name), std::ios::binary);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line.substr(std::min(line.find_first_not_of(' '), line.size())));
        return lines;
    };
    std::vector<std::string> const guide = read("/Doc/threads.md"), source = read("/Tests/threads/TestGuide.cpp");
    int shown = 0;
    bool isCode = false;
    auto place = source.begin();
    for (std::string const& line : guide) {
        if (line.starts_with("```")) {
            isCode = !isCode;
        } else if (isCode) {
            auto const found = std::find(place, source.end(), line);
            ASSERT_NE(found, source.end()) << line;
            place = found + 1;  // in the same order
            ++shown;
        }
    }
    EXPECT_EQ(shown, 22);
}

}  // namespace
