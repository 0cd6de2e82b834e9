// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syKxThread.h"

#include "../diagnostics/ManagerTest.h"
#include "ThreadTest.h"

#include "../base/Allocations.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <pthread.h>
#include <unistd.h>

namespace {

using namespace KxN;
using test::Await;
using test::LinkTo;
using test::U;

struct Counted {
    std::atomic<int>& count;
    ~Counted() { ++count; }
};

TEST(ThreadLauncher, TakesWhatItNeedsBeforeLaunchReturns) {
    std::atomic<int> sum = 0;
    auto body = [&](void* argument) { sum += *static_cast<int*>(argument); };
    int numbers[1000];
    for (int& number : numbers) number = static_cast<int>(&number - numbers);
    {
        KxThreadLauncher first(L"adder");
        first.SetStackSize(100000);
        KxThreadLauncher launcher(first);
        EXPECT_EQ(U(launcher.GetName()), "adder");
        for (int& number : numbers) ASSERT_TRUE(launcher.Launch(LinkTo(body), &number));
    }
    Await([&] { return sum == 499500; });

    std::atomic<void*> seen = nullptr;
    auto self = [&](void* argument) { seen = argument; };
    KxThreadLauncher launcher;
    launcher.SetSelfDestruction(0);
    launcher.CreatedSuspended(1);
    launcher.SetPriority(THREAD_PRIORITY_LOWEST);
    std::unique_ptr<CWinThread> const thread(launcher.Launch(LinkTo(self)));
    EXPECT_EQ(thread->GetThreadPriority(), THREAD_PRIORITY_LOWEST);
    EXPECT_EQ(thread->GetAutoDelete(), 0);
    EXPECT_EQ(seen, nullptr);
    EXPECT_EQ(thread->ResumeThread(), 1u);
    EXPECT_TRUE(thread->WaitForEnd());
    EXPECT_EQ(seen, &launcher);
    EXPECT_EQ(thread->GetExitCode(), 0u);
}

TEST(KxThread, WithoutMemoryNoneIsLeftBehind) {
    std::atomic<int> running = 0;
    auto body = [&](void*) {
        struct Inside {
            std::atomic<int>& count;
            explicit Inside(std::atomic<int>& counted) : count(counted) { ++count; }
            ~Inside() { --count; }
        } const inside(running);
        while (true) KxxThreadSleep(1);
    };
    int const failures = test::FailEachAllocation(
        [&] {
            KxThread thread(L"reader");
            if (!thread.Run(LinkTo(body))) throw std::bad_alloc();
            test::g_allocationsLeft = -1;
            thread.AttemptTermination(10000);
        },
        [&] {
            ::usleep(2000);  // one that nobody has would run by now
            EXPECT_EQ(running, 0);
        });
    EXPECT_GE(failures, 3);
}

TEST(KxThread, EndsAtEveryPointThatListens) {
    test::Boxes boxes;
    CEvent never;
    CMutex taken(1);
    CCriticalSection section;
    struct Case {
        char const* name;
        std::function<void(KxThread&)> work;
        int notifications = 1;
    };
    Case const cases[] = {
        {"check", [](KxThread& t) { t.CheckForTermination(); }},
        {"sleep", [](KxThread& t) { t.Sleep(INFINITE); }},
        {"sleep 0", [](KxThread& t) { t.Sleep(0); }},
        {"wait", [&](KxThread& t) { t.WaitFor(INFINITE, never); }},
        {"wait for a mutex", [&](KxThread& t) { t.WaitFor(INFINITE, taken); }},
        {"free sleep", [](KxThread&) { KxxThreadSleep(INFINITE); }},
        {"free wait", [&](KxThread&) { KxxThreadWaitFor(INFINITE, never); }},
        {"free check",
         [](KxThread&) {
             if (KxxThreadHasToTerminate()) KxxThreadGetOwner()->EndThread();
         }},
        {"wait for what cannot be waited for", [&](KxThread& t) { t.WaitFor(INFINITE, section); }},
        {"first exception",
         [](KxThread& t) {
             if (t.HasToTerminate()) throw new KxThreadFinalizeException2(&t);
         },
         0},
        {"framework",
         [](KxThread& t) {
             if (t.HasToTerminate()) AfxEndThread(0);
         },
         0},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        std::atomic<int> unwound = 0, rounds = 0, notified = 0;
        KxThread thread(L"listener");
        auto work = [&](void* argument) {
            Counted const counted{unwound};
            for (;; ++rounds) {
                if (rounds == 0) ++rounds;
                c.work(*static_cast<KxThread*>(argument));
            }
        };
        auto notify = [&](void* argument) { notified += argument == &thread; };
        EXPECT_FALSE(thread.ChangeThreadEndNotifyHdl(LinkTo(notify)).IsSet());
        for (int run = 1; run <= 2; ++run) {  // it can run again
            rounds = 0;
            ASSERT_EQ(thread.Run(LinkTo(work)), 1);
            Await([&] { return rounds > 0; });
            EXPECT_EQ(thread.Run(LinkTo(work)), 0);
            EXPECT_EQ(thread.AttemptTermination(60000), 1);
            EXPECT_EQ(thread.IsRunning(), 0);
            EXPECT_EQ(unwound, run);
            EXPECT_EQ(notified, run * c.notifications);
        }
        EXPECT_EQ(thread.ChangeThreadEndNotifyHdl({}), LinkTo(notify));
    }
    EXPECT_TRUE(boxes.Get().empty());
}

TEST(KxThread, RequestsAndWaitsAnswerAsTold) {
    KxThread idle;
    EXPECT_EQ(idle.AttemptTermination(0), 1);
    EXPECT_EQ(idle.HasToTerminate(), 0);  // nobody was asked
    idle.GetTerminationEvent().SetEvent();
    EXPECT_EQ(idle.HasToTerminate() * 10 + idle.HasToTerminate(), 10);

    CEvent set(1), never;
    CCriticalSection section;
    EXPECT_EQ(KxxThreadGetOwner(), nullptr);
    EXPECT_EQ(KxxThreadHasToTerminate(), 0);
    EXPECT_EQ(KxxThreadWaitFor(0, set), 0);  // without an owner in every case
    EXPECT_EQ(set.Lock(0), 0);               // but it has waited
    KxxThreadSleep(0);

    int results[3] = {-1, -1, -1};
    std::string text;
    auto work = [&](void*) {
        set.SetEvent();
        results[0] = KxxThreadWaitFor(60000, set);
        results[1] = KxxThreadWaitFor(1, never);
        results[2] = KxxThreadWaitFor(60000, section);
        KxThreadFinalizeException exception;
        text = U(exception.GetMessage()) + (exception.EndsThread() ? " ends" : "");
        text += "|" + std::to_string(::gettid());
        KxThreadFinalizeException2 none(nullptr);
        text += "|" + U(none.GetMessage()) + (none.EndsThread() ? "ends" : "");
    };
    KxThread thread(L"Messkopf");
    thread.Run(LinkTo(work));
    Await([&] { return !thread.IsRunning(); });
    EXPECT_EQ(results[0] * 100 + results[1] * 10 + results[2], 100);
    std::string const id = text.substr(text.find('=') + 1, text.find('|') - text.find('=') - 1);
    EXPECT_EQ(text, "Messkopf, ID=" + id + "|" + id + "|ends");
    EXPECT_EQ(test::Thrown<KxThreadFinalizeException2>([&] { idle.EndThread(); }), "(no text)");
}

TEST(KxThread, TenThousandRunsLeaveNothing) {
    auto const count = [](char const* what) {  // threads, open files, pieces of memory
        std::ifstream maps("/proc/self/maps");
        return *what ? std::distance(std::filesystem::directory_iterator(what), {})
                     : std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
    };
    std::atomic<int> done = 0;
    auto work = [&](void*) { ++done; };
    int const runs = isSanitized ? 1000 : 10000;
    long before[3] = {};
    for (int run = 0; run < runs; ++run) {
        KxThread thread;
        ASSERT_EQ(thread.Run(LinkTo(work)), 1);
        if (run % 2) thread.AttemptTermination(60000);
        if (run == 100)
            for (char const* what : {"/proc/self/task", "/proc/self/fd", ""})
                before[*what ? what[11] == 't' : 2] = count(what);
    }
    EXPECT_EQ(done, runs);
    Await([&] { return count("/proc/self/task") <= before[1]; });
    EXPECT_LE(count("/proc/self/fd"), before[0]);
    EXPECT_LE(count(""), before[2] + 20);
}

TEST(KxThread, SuspensionsAreUndoneByTheEnd) {
    std::atomic<int> steps = 0;
    auto work = [&](void*) {
        for (;; ++steps) KxxThreadSleep(1);
    };
    KxThread thread;
    thread.Suspend();
    EXPECT_EQ(thread.IsSuspended(), 1);
    ASSERT_EQ(thread.Run(LinkTo(work)), 1);
    EXPECT_EQ(steps, 0);
    thread.Resume();  // however soon it comes
    EXPECT_EQ(thread.IsSuspended(), 0);
    Await([&] { return steps > 0; });
    for (int i = 0; i < 3; ++i) thread.Suspend();
    int const stopped = steps;
    thread.Resume();
    EXPECT_EQ(thread.IsSuspended(), 1);
    EXPECT_EQ(steps, stopped);
    EXPECT_EQ(thread.AttemptTermination(60000), 1);
    EXPECT_EQ(thread.IsSuspended(), 0);
    thread.Suspend();
    thread.Resume();
    EXPECT_EQ(thread.IsSuspended(), 0);

    std::atomic<int> phase = 0;
    auto stopping = [&](void*) {
        for (;; ++phase) {
            KxxThreadGetOwner()->Suspend();
            KxxThreadGetOwner()->CheckForTermination();
        }
    };
    ASSERT_EQ(thread.Run(LinkTo(stopping)), 1);
    for (int i = 0; i < 200; ++i) {
        Await([&] { return thread.IsSuspended() && phase == i; });
        thread.Resume();
    }
    thread.SetPriority(THREAD_PRIORITY_LOWEST);
    EXPECT_EQ(thread.GetPriority(), THREAD_PRIORITY_LOWEST);
    EXPECT_EQ(thread.AttemptTermination(60000), 1);
}

TEST(KxThread, ManyWorkersKnowTheirOwner) {
    constexpr int count = 32;
    std::atomic<int> wrong = 0, done = 0;
    auto work = [&](void* argument) {
        for (int i = 0; i < 200; ++i) wrong += KxxThreadGetOwner() != argument;
        ++done;
        KxxThreadSleep(INFINITE);
    };
    {
        std::vector<std::unique_ptr<KxThread>> threads;
        for (int i = 0; i < count; ++i) threads.emplace_back(new KxThread)->Run(LinkTo(work));
        Await([&] { return done == count; });
    }  // each waits in a sleep
    EXPECT_EQ(wrong, 0);
    auto launched = [&](void* argument) {
        wrong = KxxThreadGetOwner() != nullptr || argument == nullptr;
        --done;
    };
    KxThread plain;
    plain.Launch(LinkTo(launched));  // nobody's worker
    Await([&] { return done == count - 1; });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(plain.IsRunning(), 0);
}

TEST(KxThread, KillsAThousandWhoNeverListen) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late, and who is killed never ends in its sight";
    constexpr int rounds = 2, atOnce = 500;
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    struct Own {
        CMutex mutex;
        CCriticalSection section;
    };
    std::vector<std::unique_ptr<Own>> owns(atOnce);
    for (auto& own : owns) own = std::make_unique<Own>();
    std::atomic<int> ready = 0;
    auto loop = [&](void*) {
        ++ready;
        for (unsigned i = 0;; ++i) asm volatile("" : "+r"(i));
    };
    auto read = [&](void*) {
        ++ready;
        char c;
        while (::read(pipe[0], &c, 1) != 1) {}
    };
    std::atomic<std::size_t> held = 0;
    auto hold = [&](void*) {
        Own& own = *owns[held++];
        own.mutex.Lock();
        own.section.Lock();
        ++ready;
        KxN::Sleep(INFINITE);
    };
    auto show = [&](void*) {  // which nobody reads
        ++ready;
        for (;;) AfxMessageBox(L"zu heiß");
    };
    int const standardError = ::dup(STDERR_FILENO);
    int full[2];
    ASSERT_EQ(::pipe(full), 0);
    ::dup2(full[1], STDERR_FILENO);
    for (int round = 0; round < rounds; ++round) {
        ready = 0;
        held = 0;
        std::vector<std::unique_ptr<KxThread>> threads;
        for (int i = 0; i < atOnce; ++i) {
            auto& thread = *threads.emplace_back(new KxThread);
            KxTools::Link const links[] = {LinkTo(hold), LinkTo(read), LinkTo(hold),
                                           i < 12 ? LinkTo(loop) : LinkTo(show)};
            thread.Run(links[i % 4]);
        }
        Await([&] { return ready == atOnce; });
        std::vector<std::thread> destroying;
        auto const start = std::chrono::steady_clock::now();
        for (auto& thread : threads)
            destroying.emplace_back([&] {
                EXPECT_EQ(thread->AttemptTermination(0), 0);
                thread.reset();
            });
        for (std::thread& one : destroying) one.join();
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
        for (auto& own : owns) {
            ASSERT_TRUE(own->mutex.Lock(1000) && own->mutex.Unlock());
            ASSERT_TRUE(own->section.Lock(1000) && own->section.Unlock());
        }
    }
    ::dup2(standardError, STDERR_FILENO);
    AfxMessageBox(L"Noch da");
    for (int const descriptor : {pipe[0], pipe[1], full[0], full[1], standardError}) ::close(descriptor);
}

TEST(KxThread, ASuspenderLeavesNothingBehind) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    static std::vector<char> room(1 << 26);
    std::atomic<int> ready = 0;
    auto fill = [&](void*) {  // in the C library nearly all of the time
        for (++ready;; ++ready) std::memset(room.data(), ready, room.size());
    };
    test::Leaking const leaking;  // who is killed in a call has a share of what it is about
    KxThread worker;
    worker.Run(LinkTo(fill));
    Await([&] { return ready > 0; });
    std::atomic<int> turns = 0;
    auto suspend = [&](void*) {
        for (test::Leaking const alsoHere;; ++turns) {
            worker.Suspend();
            worker.Resume();
        }
    };
    for (int round = 0; round < 2; ++round) {
        turns = 0;
        KxThread suspender;
        suspender.Run(LinkTo(suspend));
        Await([&] { return turns > 10; });
        suspender.Suspend();
        worker.Resume();
        worker.Suspend();
        suspender.Resume();
    }  // it never listens
    while (worker.IsSuspended()) worker.Resume();
    int const before = ready;
    Await([&] { return ready > before; });
}

TEST(KxThread, AWorkerOutOfReachGoesOnWithoutIt) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    static std::atomic<int> phase;
    phase = 0;
    auto deaf = [](void*) {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        for (phase = 1; phase != 2;) std::this_thread::yield();
        KxxThreadSleep(0);
        phase = KxxThreadGetOwner() ? 4 : 3;
    };
    testing::internal::CaptureStderr();
    {
        KxThread thread(L"taub");
        thread.Run(LinkTo(deaf));
        Await([&] { return phase == 1; });
        thread.Suspend();
        EXPECT_EQ(thread.IsSuspended(), 0);
    }
    phase = 2;
    Await([] { return phase >= 3; });
    EXPECT_EQ(phase, 3);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("nicht erreichbar"), std::string::npos);
}

TEST(KxThread, AnswersForTheWorkerThatWasAsked) {
    auto work = [](void*) {
        for (;;) KxxThreadSleep(1);
    };
    KxThread thread;
    thread.Run(LinkTo(work));
    for (int i = 0; i < 100; ++i) {
        int answer = -1;
        std::thread asking([&] { answer = thread.AttemptTermination(60000); });
        Await([&] { return !thread.IsRunning(); });
        thread.Run(LinkTo(work));  // the next, maybe before the answer
        asking.join();
        ASSERT_EQ(answer, 1);
    }
}

class OwnException : public CException {
public:
    static inline std::atomic<int> alive = 0;
    OwnException() { ++alive; }
    ~OwnException() override { --alive; }

protected:
    KxString ComposeText() override { return KxString(L"Laser aus"); }
};

class KxThreadFailures : public test::ManagerTest {};

TEST_F(KxThreadFailures, AreWrittenAndShownAndGoNoFurther) {
    KxExceptionManager manager;
    Initialize(manager, "ErrorCount=5\nDebugFile=Debug.log\n");
    pExceptionMgr = &manager;
    std::string const caught = "Thread N hat eine unbehandelte Exception des Typs 'class ",
                      unknown =
                          "Thread N hat eine unbehandelte Exception gefangen! Der Typ der Exception ist unbekannt";
    struct Case {
        char const* name;
        std::function<void()> fail;
        std::string box;
        std::string text;
    };
    Case const cases[] = {
        {"pointer", [] { throw new KxException(KxString(L"Messung weg")); }, caught + "KxN::KxException' gefangen: \n",
         "Messung weg"},
        {"own", [] { throw new OwnException; }, caught + "(anonymous namespace)::OwnException' gefangen: \n",
         "Laser aus"},
        {"first", [] { throw new KxThreadFinalizeException; }, caught + "KxN::KxThreadFinalizeException' gefangen: \n",
         "T, ID=N"},
        {"value", [] { throw OwnException(); }, unknown, ""},
        {"int", [] { throw 7; }, unknown, ""},
        {"standard", [] { throw std::runtime_error("x"); }, unknown, ""},
        {"end", [] { throw new KxThreadFinalizeException2(nullptr); }, "", ""},
        {"exit", [] { ::pthread_exit(nullptr); }, "", ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        manager.ResetDebugFile();
        test::Boxes boxes;
        KxThread thread(L"T");
        auto work = [&](void*) { c.fail(); };
        ASSERT_EQ(thread.Run(LinkTo(work)), 1);
        Await([&] { return !thread.IsRunning(); });
        std::string shown;
        for (std::string const& box : boxes.Get()) shown += box;
        EXPECT_EQ(Masked(shown), c.box.empty() ? "" : "N " + c.box + c.text);
        EXPECT_EQ(shown.empty() || shown.starts_with("16 "), true);
        std::string const debug = Masked(Debug());
        EXPECT_EQ(debug.find(c.box) != debug.npos && debug.find(c.text, debug.find(c.box) + c.box.size()) != debug.npos,
                  true)
            << debug;
        EXPECT_EQ(debug.empty(), c.box.empty()) << debug;
    }
    pExceptionMgr = nullptr;
    EXPECT_EQ(OwnException::alive, 0);

    AfxSetMessageBoxHandler([](wchar_t const*, unsigned, unsigned) -> int { throw 5; });  // nor what that throws
    KxThread thread;
    auto work = [&](void*) { throw 7; };
    thread.Run(LinkTo(work));
    Await([&] { return !thread.IsRunning(); });
    AfxSetMessageBoxHandler(nullptr);
}

TEST(KxThread, WithoutThreadsThereIsNone) {
    auto work = [](void*) {};
    KxThread thread;
    thread.SetStackSize(1ul << 46);
    EXPECT_FALSE(thread.Launch(LinkTo(work)));
    EXPECT_EQ(thread.Run(LinkTo(work)) + thread.IsRunning(), 0);
    thread.SetPriority(THREAD_PRIORITY_LOWEST);  // of the next one
    EXPECT_EQ(thread.GetPriority(), THREAD_PRIORITY_LOWEST);
    thread.SetStackSize(0);
    EXPECT_EQ(thread.Run(LinkTo(work)), 1);
    EXPECT_EQ(thread.AttemptTermination(60000), 1);
}

TEST(KxThread, PumpsOneMessage) {
    struct Window : CWnd {
        LRESULT WindowProc(UINT, WPARAM, LPARAM) override { return ++seen; }
        int seen = 0;
    };
    auto work = [](void* argument) {
        Window window;
        KxxThreadPumpMessages();  // returns
        window.PostMessage(1);
        window.PostMessage(2);
        KxxThreadPumpMessages();
        EXPECT_EQ(window.seen, 1);
        static_cast<KxThread*>(argument)->EndThread();
    };
    KxThread thread;
    thread.Run(LinkTo(work));
    EXPECT_EQ(thread.AttemptTermination(60000), 1);
    KxxThreadPumpMessages();  // nothing in a thread of no object
}

}  // namespace
