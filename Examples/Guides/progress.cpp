// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/threads.md on progress: a process of the main thread made of two parts.
#include <cstdio>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

// clang-format off
class Step : public KxProgressAlgorithm {
public:
    void Run() override {
        for (int percent = 0; percent <= 100; percent += 50) SendProgress(percent);
    }
};

class Fit : public KxProgressProcess {
    void Process() override {
        Step load, align;
        load.SetProgressRange(0, 30);    // its 0 to 100 is 0 to 30 of the whole
        align.SetProgressRange(30, 100);

        for (Step* const step : {&load, &align}) {
            step->SignalProgress.Connect(this, &Fit::OnProgress);
            step->Run();
        }
        throw new KxException(L"the points lie on a line");
    }
    void OnProgress(int percent) {
        SetPercentage(static_cast<unsigned short>(percent));
        GetpApp()->Reschedule();  // lets the user in, who may abort
    }
};

struct View {
    void ShowProgress(void* process) {
        std::printf("%d %%\n", static_cast<KxProgressProcess*>(static_cast<KxProcess*>(process))->GetPercentage());
    }
    void ShowError(void* process) {
        std::printf("%ls\n", static_cast<KxProcess*>(process)->GetException().GetMessage().GetStr());
    }
};

}  // namespace

int main() {
    KxWinApp app;
    View view;
    Fit fit;
    fit.SetProgressHdl(KxxMakeLink(&view, &View::ShowProgress));
    fit.SetErrorOutputHdl(KxxMakeLink(&view, &View::ShowError));
    fit.ExecuteAndWaitUntilReady();  // Execute() returns at once, the body runs 100 ms later
}
