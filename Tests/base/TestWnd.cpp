// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWnd.h"

#include "hbtools/base/syLimits.h"
#include "hbtools/base/syTimer.h"
#include "hbtools/base/syWinApp.h"

#include "Support.h"

#include <atomic>
#include <csignal>
#include <optional>
#include <thread>
#include <vector>
#include <poll.h>
#include <unistd.h>

#if __has_include(<glib.h>)
#include <glib-unix.h>
#endif

namespace {

using namespace KxN;

class Window : public CWnd {
public:
    LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam) override {
        seen.push_back(static_cast<int>(message));
        if (message == 13) throw new KxException(KxString(L"failed"));
        if (message == 99) AfxPostQuitMessage(static_cast<int>(wParam));
        if (next) return next->SendMessage(message + 1, wParam, lParam) + 1;
        return static_cast<LRESULT>(wParam) * 10 + lParam;
    }
    std::vector<int> seen;
    CWnd* next = nullptr;
};

TEST(Wnd, PostedMessagesComeInOrder) {
    KxWinApp app;
    Window first;
    {
        Window second, gone;
        EXPECT_TRUE(first.PostMessage(1));
        EXPECT_TRUE(gone.PostMessage(2));
        std::thread([&] {
            EXPECT_TRUE(second.PostMessage(3));
            EXPECT_TRUE(first.PostMessage(4));
        }).join();
        EXPECT_TRUE(first.seen.empty());
        EXPECT_TRUE(app.PumpMessage());
        EXPECT_EQ(first.seen, (std::vector<int>{1}));
        app.Reschedule();
        EXPECT_EQ(gone.seen, (std::vector<int>{2}));
        EXPECT_EQ(second.seen, (std::vector<int>{3}));
        EXPECT_EQ(first.seen, (std::vector<int>{1, 4}));
        EXPECT_TRUE(gone.PostMessage(5));
    }
    EXPECT_TRUE(app.HasMessage());
    app.Reschedule();  // its window is gone
    EXPECT_FALSE(app.HasMessage());
    EXPECT_EQ(first.SendMessage(6, 4, 2), 42);

    first.PostMessage(99, 17);
    first.PostMessage(7);
    EXPECT_EQ(app.Run(), 17);  // what was posted before the end is done
    EXPECT_EQ(first.seen, (std::vector<int>{1, 4, 6, 99, 7}));

    std::size_t const former = std::exchange(KxxLimits().postedCalls, 1);
    int const posted = first.PostMessage(8) * 10 + first.PostMessage(9);
    KxxLimits().postedCalls = 0;
    LRESULT sent = -1;
    std::thread([&] { sent = first.SendMessage(8, 4, 2); }).join();
    KxxLimits().postedCalls = former;
    app.Reschedule();
    EXPECT_EQ(posted, 10);
    EXPECT_EQ(sent, 0);

    std::optional<Window> main(std::in_place);
    app.SetMainWnd(&*main);
    EXPECT_EQ(app.GetMainWnd(), &*main);
    main.reset();
    main.emplace();  // where it stood
    EXPECT_EQ(app.GetMainWnd(), nullptr);
    app.SetMainWnd(&*main);
    CWinThread heir([](void*) -> UINT { return 0; }), other([](void*) -> UINT { return 0; });
    other.SetMainWnd(&first);
    for (CWinThread* const thread : {&heir, &other}) {
        thread->SetAutoDelete(0);
        EXPECT_TRUE(thread->CreateThread() && thread->WaitForEnd());
    }
    EXPECT_TRUE(heir.GetMainWnd() == &*main && other.GetMainWnd() == &first);
    app.SetMainWnd(nullptr);
    EXPECT_EQ(app.GetMainWnd(), nullptr);
}

class WindowThread : public CWinThread {
public:
    WindowThread() {
        SetAutoDelete(0);
        CreateThread();
        ready.Lock();
    }
    ~WindowThread() override { WaitForEnd(); }
    int InitInstance() override {
        window.emplace();
        ready.SetEvent();
        return 1;
    }
    int ExitInstance() override {
        window.reset();
        return CWinThread::ExitInstance();
    }
    void OnThreadMessage(UINT message, WPARAM, LPARAM) override { ownMessages = static_cast<int>(message); }

    CEvent ready;
    std::optional<Window> window;
    std::atomic<int> ownMessages = 0;
};

TEST(Wnd, SentMessagesCrossThreadsAndComeBack) {
    KxWinApp app;
    Window here;
    {
        WindowThread there;
        EXPECT_EQ(there.window->SendMessage(20, 4, 3), 43);
        // The other side asks back while this one waits for it.
        there.window->next = &here;
        EXPECT_EQ(there.window->SendMessage(30, 5, 1), 52);
        EXPECT_EQ(here.seen, (std::vector<int>{31}));
        there.window->next = nullptr;
        EXPECT_TRUE(there.PostThreadMessage(77, 0, 0));
        EXPECT_EQ(there.window->SendMessage(21), 0);
        there.window->PostMessage(99, 5);
        EXPECT_TRUE(there.WaitForEnd());
        EXPECT_EQ(there.ownMessages, 77);
        EXPECT_EQ(there.GetExitCode(), 5u);
        EXPECT_FALSE(there.PostThreadMessage(1, 0, 0));
    }
    std::atomic<LRESULT> answer = -1;
    std::thread sender([&] { answer = here.SendMessage(13); });
    EXPECT_EQ(test::Thrown<KxException>([&] { app.PumpMessage(); }), "failed");
    sender.join();
    EXPECT_EQ(answer, 0);
}

TEST(Wnd, WhatNobodyTakesAnyMoreIsAnswered) {
    struct Shared {
        LRESULT answer = -1;
        std::thread sender;
        KxTimer timer;
    } shared;
    ThreadProc const leave = [](void* p) -> UINT {
        auto& s = *static_cast<Shared*>(p);
        Window here;
        s.timer.SetTimeout(INFINITE);
        s.timer.Start();
        s.sender = std::thread([&] { s.answer = here.SendMessage(1); });
        test::Await([] { return AfxGetThread()->HasMessage() != 0; });
        return 0;
    };
    CWinThread thread(leave, &shared);
    thread.SetAutoDelete(0);
    EXPECT_TRUE(thread.CreateThread() && thread.WaitForEnd());
    shared.sender.join();
    EXPECT_EQ(shared.answer, 0);
    EXPECT_FALSE(shared.timer.IsActive());
}

TEST(Wnd, SteadySendersDoNotKeepTheLoop) {
    KxWinApp app;
    struct Slow : CWnd {
        LRESULT WindowProc(UINT, WPARAM, LPARAM) override {
            if (++calls == 1) test::Await([] { return GetpApp()->HasMessage() != 0; });  // until the next one is there
            return 0;
        }
        std::atomic<int> calls = 0;
    } window;
    std::thread first([&] { window.SendMessage(1); }), second([&] {
        test::Await([&] { return window.calls == 1; });
        window.SendMessage(2);
    });
    test::Await([&] { return app.HasMessage() != 0; });
    app.Reschedule();
    EXPECT_EQ(window.calls, 1);
    app.Reschedule();
    EXPECT_EQ(window.calls, 2);
    first.join();
    second.join();
}

TEST(Wnd, ManySendersLoseNothing) {
    KxWinApp app;
    class Sum : public CWnd {
    public:
        LRESULT WindowProc(UINT, WPARAM wParam, LPARAM) override { return sum += static_cast<LRESULT>(wParam); }
        LRESULT sum = 0;
    } window;
    constexpr int threads = 4, messages = 500;
    std::atomic<int> running = threads;
    std::vector<std::thread> senders;
    for (int t = 0; t < threads; ++t)
        senders.emplace_back([&] {
            for (int i = 0; i < messages; ++i) {
                if (i % 3 == 0)
                    window.SendMessage(1, 1);
                else
                    window.PostMessage(1, 1);
            }
            if (--running == 0) app.PostThreadMessage(0, 0, 0);
        });
    while (running > 0) app.PumpMessage();
    for (std::thread& sender : senders) sender.join();
    app.Reschedule();
    EXPECT_EQ(window.sum, threads * messages);
}

TEST(Wnd, NamesHaveNumbers) {
    UINT const arrived = RegisterWindowMessage(L"SIGNAL_ARRIVED");
    EXPECT_GE(arrived, 0xC000u);
    EXPECT_EQ(RegisterWindowMessage(L"SIGNAL_ARRIVED"), arrived);
    EXPECT_NE(RegisterWindowMessage(L"SIGNAL_arrived"), arrived);
    EXPECT_EQ(RegisterWindowMessage(nullptr) + RegisterWindowMessage(L""), 0u);
    auto const useUp = [] {
        UINT last = 1, highest = 0;
        for (int i = 0; last != 0; ++i, highest = std::max(highest, last))
            last = RegisterWindowMessage(std::to_wstring(i).c_str());
        std::_Exit(highest == 0xFFFF && RegisterWindowMessage(L"0") >= 0xC000 ? 7 : 1);
    };
    EXPECT_EXIT(useUp(), testing::ExitedWithCode(7), "");
}

TEST(Wnd, WaitingIsCounted) {
    static std::vector<int> heard;
    heard.clear();
    WaitCursorHandler const handler = [](int isWaiting) {
        heard.push_back(isWaiting);
        CCmdTarget again;  // what the handler does counts too
        again.BeginWaitCursor();
        again.EndWaitCursor();
    };
    KxWinApp app;
    Window window;
    window.BeginWaitCursor();  // nobody shows it
    EXPECT_EQ(AfxSetWaitCursorHandler(handler), nullptr);
    window.EndWaitCursor();
    EXPECT_EQ(heard, (std::vector{0}));
    window.EndWaitCursor();
    std::jthread([&] { window.BeginWaitCursor(); }).join();
    app.BeginWaitCursor();
    EXPECT_EQ(heard, (std::vector{0, 1}));
    window.EndWaitCursor();
    window.EndWaitCursor();
    EXPECT_EQ(heard, (std::vector{0, 1, 0}));
    EXPECT_EQ(AfxSetWaitCursorHandler([](int) { throw 7; }), handler);
    EXPECT_THROW(window.BeginWaitCursor(), int);
    EXPECT_THROW(window.EndWaitCursor(), int);
    EXPECT_NE(AfxSetWaitCursorHandler(handler), nullptr);
    window.EndWaitCursor();
    EXPECT_EQ(heard.size(), 3U);
    AfxSetWaitCursorHandler(nullptr);
}

TEST(Wnd, MessageBoxesGoToTheHandler) {
    static std::wstring shown;
    MessageBoxHandler const handler = [](wchar_t const* text, unsigned int type, unsigned int helpId) {
        shown = text + std::to_wstring(type) + L"," + std::to_wstring(helpId);
        return 5;
    };
    EXPECT_EQ(AfxSetMessageBoxHandler(handler), nullptr);
    EXPECT_EQ(AfxMessageBox(L"Größe", MB_ICONERROR, 3), 5);
    EXPECT_EQ(shown, L"Größe16,3");
    AfxMessageBox(nullptr);
    EXPECT_EQ(shown, L"0,0");
    EXPECT_EQ(AfxSetMessageBoxHandler(nullptr), handler);
    testing::internal::CaptureStderr();
    EXPECT_EQ(AfxMessageBox(L"Größe"), IDOK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Größe\n");
    auto const show = [](bool isWaiting) {  // where nobody reads it; a signal that was there before stays
        int ends[2];
        if (::pipe(ends) != 0 || ::dup2(ends[1], 2) != 2 || ::close(ends[0]) != 0) std::_Exit(1);
        std::signal(SIGPIPE, SIG_DFL);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGPIPE);
        if (isWaiting) ::pthread_sigmask(SIG_BLOCK, &signals, nullptr), ::raise(SIGPIPE);
        AfxMessageBox(L"Größe");
        ::sigpending(&signals);
        std::_Exit(::sigismember(&signals, SIGPIPE) == (isWaiting ? 1 : 0) ? 7 : 2);
    };
    for (bool const isWaiting : {false, true}) EXPECT_EXIT(show(isWaiting), testing::ExitedWithCode(7), "");
}

struct Ticks {
    std::vector<KxTimer*> seen;
    void Tick(void* timer) { seen.push_back(static_cast<KxTimer*>(timer)); }
};

TEST(Timer, CallsOnceFromTheLoop) {
    KxWinApp app;
    Ticks ticks;
    KxTimer soon, later, stopped;
    soon.SetTimeoutHdl(KxxMakeLink(&ticks, &Ticks::Tick));
    soon.SetTimeout(1);
    later = soon;
    later.SetTimeout(3);
    stopped = later;
    later.Start();
    stopped.Start();
    soon.Start();
    {
        KxTimer gone(soon);
        gone.Start();
    }
    stopped.Stop();
    EXPECT_TRUE(soon.IsActive());
    while (ticks.seen.size() < 2) app.PumpMessage();
    EXPECT_EQ(ticks.seen, (std::vector<KxTimer*>{&soon, &later}));
    EXPECT_FALSE(soon.IsActive());
    EXPECT_FALSE(app.HasMessage());
    soon.SetTimeout(0);
    KxTimer const& same = soon;
    soon.Start();
    soon = same;
    EXPECT_TRUE(soon.IsActive() && app.HasMessage());
    later.SetTimeout(~0ul);
    later.Start();
    app.Reschedule();
    EXPECT_EQ(ticks.seen.size(), 3u);
}

TEST(WinApp, AHostsLoopDrivesIt) {
    KxWinApp app;
    Ticks ticks;
    app.PostCallLink(KxxMakeLink(&ticks, &Ticks::Tick), nullptr);
    pollfd loop{app.GetLoopDescriptor(), POLLIN, 0};
    auto const isDue = [&](int timeout) { return ::poll(&loop, 1, timeout) == 1; };
    EXPECT_EQ(app.GetLoopDescriptor(), loop.fd);
    EXPECT_TRUE(isDue(0));  // what was posted before
    app.Reschedule();
    EXPECT_FALSE(isDue(0));
    std::thread([&] { app.PostCallLink(KxxMakeLink(&ticks, &Ticks::Tick), nullptr); }).join();
    EXPECT_TRUE(isDue(0));
    app.Reschedule();
    KxTimer timer;
    timer.SetTimeoutHdl(KxxMakeLink(&ticks, &Ticks::Tick));
    timer.SetTimeout(2);
    timer.Start();
    EXPECT_TRUE(isDue(-1));
    app.Reschedule();
    EXPECT_EQ(ticks.seen.size(), 3u);
    EXPECT_FALSE(isDue(0));
}

#if __has_include(<glib.h>)
TEST(WinApp, AGlibLoopDrivesIt) {
    KxWinApp app;
    struct Host {
        GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
        Ticks ticks;
    } host;
    auto const dispatch = [](gint, GIOCondition, gpointer data) -> gboolean {
        GetpApp()->Reschedule();
        auto* const h = static_cast<Host*>(data);
        if (h->ticks.seen.size() == 101) g_main_loop_quit(h->loop);
        return G_SOURCE_CONTINUE;
    };
    guint const source = g_unix_fd_add(app.GetLoopDescriptor(), G_IO_IN, dispatch, &host);
    KxTimer timer;
    timer.SetTimeoutHdl(KxxMakeLink(&host.ticks, &Ticks::Tick));
    timer.SetTimeout(2);
    timer.Start();
    std::thread poster([&] {
        for (int i = 0; i < 100; ++i) app.PostCallLink(KxxMakeLink(&host.ticks, &Ticks::Tick), nullptr);
    });
    g_main_loop_run(host.loop);
    poster.join();
    EXPECT_EQ(host.ticks.seen.size(), 101u);
    g_source_remove(source);
    g_main_loop_unref(host.loop);
}
#endif

}  // namespace
