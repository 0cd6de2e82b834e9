// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/threads.md on workers: one that ends when it is asked to, and a job whose end the window is told.
#include <atomic>
#include <cstdio>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

// clang-format off
class Reader {
public:
    void Work() {
        while (Next()) {
            KxxThreadSleep(1);                              // ends here when it is asked to
            if (KxxThreadWaitFor(60000, m_data)) ++m_read;  // or here; milliseconds
        }
    }
    void WorkWithHandler() {
        try {
            Work();
        }
        catch (KxException* exception) {
            if (exception->EndsThread()) throw;
            exception->Delete();
        }
    }
    std::atomic<int> m_read = 0;

private:
    bool Next() { return m_data.SetEvent() != 0; }
    CEvent m_data;
};

class Job : public KxThreadDoOnce {
    void Process() override {
        while (!ShouldBeAborted(1)) if (++m_done == 3) return;  // milliseconds
    }
    int m_done = 0;
};

struct View {
    void OnFinished(void*) { m_isFinished = true; }
    bool m_isFinished = false;
};

}  // namespace

int main() {
    KxWinApp app;
    Reader reader;
    {
        KxThread thread(L"reader");
        thread.Run(KxxMakeLink(&reader, &Reader::Work));
        thread.AttemptTermination(5000);
        std::printf(thread.IsRunning() ? "still running\n" : "the reader has ended\n");
        thread.Run(KxxMakeLink(&reader, &Reader::WorkWithHandler));
    }  // asks for the end and waits a second

    View view;
    Job job;
    KxThreadSignalWindow window;  // or a window of your own that calls KxThreadSignal::Deliver
    AfxGetThread()->SetMainWnd(&window);
    job.SignalFinished.Signal.Connect(&view, &View::OnFinished);  // runs on this thread
    job.Start();

    while (!view.m_isFinished) app.Reschedule();
    std::printf(job.WasSuccessful() ? "the job is done\n" : "the job was aborted\n");
    AfxGetThread()->SetMainWnd(nullptr);
}
