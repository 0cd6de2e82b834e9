// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWinApp.h"

#include "hbtools/base/syLimits.h"

#include "Support.h"

#include <thread>
#include <vector>
#include <sys/types.h>
#include <unistd.h>

namespace {

using namespace KxN;

struct Log {
    std::vector<long long> seen;
    KxWinApp* app = nullptr;

    void Note(void* argument) { seen.push_back(reinterpret_cast<std::intptr_t>(argument)); }
    void NoteAndPost(void* argument) {
        Note(argument);
        app->PostCallLink(KxxMakeLink(this, &Log::Note), reinterpret_cast<void*>(100));
    }
    void NoteAndReschedule(void* argument) {
        Note(argument);
        app->Reschedule();
        Note(reinterpret_cast<void*>(101));
    }
    void Fail(void*) { throw new KxException(KxString(L"failed")); }
};

void* Number(int n) {
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(n));
}

TEST(WinApp, StandsForTheProcessAndItsMainThread) {
    EXPECT_EQ(GetpApp(), nullptr);
    EXPECT_EQ(AfxGetThread(), nullptr);
    {
        KxWinApp app;
        EXPECT_EQ(GetpApp(), &app);
        EXPECT_EQ(AfxGetThread(), &app);
        EXPECT_EQ(app.GetThreadId(), static_cast<unsigned long>(::gettid()));
        EXPECT_EQ(app.CreateThread() + app.WaitForEnd(0) + app.TerminateThread(0), 0);  // it runs already
        EXPECT_TRUE(app.SetThreadPriority(THREAD_PRIORITY_NORMAL));
        EXPECT_EQ(app.GetThreadPriority(), THREAD_PRIORITY_NORMAL);
        EXPECT_EQ(test::Thrown<KxException>([] { KxWinApp second; }), "Es gibt schon ein Anwendungsobjekt");
        EXPECT_EQ(AfxGetThread(), &app);
        std::thread([] { EXPECT_EQ(AfxGetThread(), nullptr); }).join();
    }
    EXPECT_EQ(GetpApp(), nullptr);
    EXPECT_EQ(AfxGetThread(), nullptr);
}

TEST(WinApp, PostedCallsRunInOrderOnTheMainThread) {
    KxWinApp app;
    Log log;
    log.app = &app;
    app.PostCallLink(KxxMakeLink(&log, &Log::Note), Number(1));
    app.PostCallLink(KxxMakeLink(&log, &Log::NoteAndReschedule), Number(2));
    app.PostCallLink(KxxMakeLink(&log, &Log::NoteAndPost), Number(3));
    std::thread([&] {
        EXPECT_EQ(app.PostCallLink(KxxMakeLink(&log, &Log::Note), Number(4)), 1);
        app.Reschedule();  // not its loop
    }).join();
    EXPECT_EQ(app.PostCallLink(KxTools::Link(), nullptr), 0);
    EXPECT_TRUE(log.seen.empty());

    app.Reschedule();  // the second call runs what waits behind it, but neither loop what is posted meanwhile
    EXPECT_EQ(log.seen, (std::vector<long long>{1, 2, 3, 4, 101}));
    app.Reschedule();
    EXPECT_EQ(log.seen.back(), 100);

    log.seen.clear();
    app.PostCallLink(KxxMakeLink(&log, &Log::NoteAndPost), Number(5));
    app.Reschedule();
    EXPECT_EQ(log.seen, (std::vector<long long>{5}));  // what a call posts waits for the next time
    app.Reschedule();
    EXPECT_EQ(log.seen, (std::vector<long long>{5, 100}));
}

TEST(WinApp, AFailingCallLeavesTheOthersPosted) {
    KxWinApp app;
    Log log;
    app.PostCallLink(KxxMakeLink(&log, &Log::Fail), nullptr);
    app.PostCallLink(KxxMakeLink(&log, &Log::Note), Number(7));
    EXPECT_EQ(test::Thrown<KxException>([&] { app.Reschedule(); }), "failed");
    app.Reschedule();
    EXPECT_EQ(log.seen, (std::vector<long long>{7}));

    std::size_t const former = std::exchange(KxxLimits().postedCalls, 2);
    int const posted[] = {app.PostCallLink(KxxMakeLink(&log, &Log::Note), nullptr),
                          app.PostCallLink(KxxMakeLink(&log, &Log::Note), nullptr),
                          app.PostCallLink(KxxMakeLink(&log, &Log::Note), nullptr)};
    KxxLimits().postedCalls = former;
    EXPECT_EQ(posted[0] * 100 + posted[1] * 10 + posted[2], 110);
}

TEST(WinApp, PrimaryLanguageComesFromTheEnvironment) {
    // The locale is read once for a process, so each language is asked for in one of its own.
    struct Case {
        char const* locale;
        int language;
    };
    for (Case const& c : {Case{"de_AT.UTF-8", 7}, Case{"en_GB.UTF-8", 9}, Case{"C", 127}}) {
        EXPECT_EXIT(
            {
                ::setenv("LC_ALL", c.locale, 1);
                KxWinApp app;
                std::_Exit(app.GetPrimaryLanguage());
            },
            testing::ExitedWithCode(c.language), "")
            << c.locale;
    }
}

}  // namespace
