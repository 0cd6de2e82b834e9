// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syThread.h"

#include "hbtools/base/syEncryption.h"
#include "hbtools/base/sySafeFile.h"
#include "hbtools/base/syWnd.h"

#include "Support.h"

#define HBTOOLS_ALLOCATIONS_ELSEWHERE
#include "Allocations.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace KxN;
using test::Await;

constexpr unsigned long failure = 0xFFFFFFFF;

/// A thread that is not deleted by itself, and is over when the test is.
class Worker {
public:
    explicit Worker(ThreadProc proc, void* parameter = nullptr, unsigned long flags = 0) {
        thread = AfxBeginThread(proc, parameter, THREAD_PRIORITY_NORMAL, 0, CREATE_SUSPENDED);
        thread->SetAutoDelete(0);
        if (!(flags & CREATE_SUSPENDED)) thread->ResumeThread();
    }
    ~Worker() {
        if (!thread->WaitForEnd(0)) thread->TerminateThread(0);
        delete thread;
    }
    CWinThread* thread;
};

/// The same, running a lambda that lives as long.
template <class Body>
class Running : public Worker {
public:
    explicit Running(Body& body)
        : Worker(
              [](void* p) -> UINT {
                  test::Leaking const leaking;
                  (*static_cast<Body*>(p))();
                  return 0;
              },
              &body) {}
};

[[noreturn]] void LoopForEver() {
    for (unsigned i = 0;; ++i) asm volatile("" : "+r"(i));
}

TEST(Thread, RunsItsFunctionAndEnds) {
    struct Seen {
        std::atomic<CWinThread*> thread = nullptr;
        std::atomic<unsigned long> id = 0;
        std::atomic<int> unwound = 0;
    } seen;
    Worker worker(
        [](void* p) -> UINT {
            auto& s = *static_cast<Seen*>(p);
            s.thread = AfxGetThread();
            s.id = static_cast<unsigned long>(::gettid());
            return 7;
        },
        &seen);
    EXPECT_TRUE(worker.thread->WaitForEnd());
    EXPECT_EQ(seen.thread, worker.thread);
    EXPECT_EQ(seen.id, worker.thread->GetThreadId());
    EXPECT_EQ(worker.thread->GetExitCode(), 7u);
    EXPECT_EQ(worker.thread->SuspendThread(), failure);
    EXPECT_EQ(worker.thread->ResumeThread(), failure);
    EXPECT_EQ(worker.thread->SetThreadPriority(THREAD_PRIORITY_NORMAL), 0);
    EXPECT_EQ(worker.thread->TerminateThread(1), 0);
    EXPECT_EQ(worker.thread->CreateThread(), 0);  // once
    EXPECT_EQ(worker.thread->PostThreadMessage(1, 0, 0), 0);

    Worker ended(
        [](void* p) -> UINT {
            struct Unwound {
                std::atomic<int>& count;
                ~Unwound() { ++count; }
            } const unwound{static_cast<Seen*>(p)->unwound};
            AfxEndThread(9);
        },
        &seen);
    EXPECT_TRUE(ended.thread->WaitForEnd());
    EXPECT_EQ(ended.thread->GetExitCode(), 9u);
    EXPECT_EQ(seen.unwound, 1);
    CWinThread kept([](void*) -> UINT { AfxEndThread(5, 0); });  // which would delete itself
    EXPECT_TRUE(kept.CreateThread() && kept.WaitForEnd());
    EXPECT_EQ(kept.GetExitCode(), 5u);
    std::atomic<int> reached = 0;
    std::thread([&] {
        ++reached;
        AfxEndThread(0);  // a thread without an object
    }).join();
    EXPECT_EQ(reached, 1);
    CWinThread unstarted;
    EXPECT_EQ(unstarted.SuspendThread() & unstarted.ResumeThread(), failure);
    EXPECT_TRUE(unstarted.GetSuspendCount() == 0 && !unstarted.WaitForEnd(0) && !unstarted.TerminateThread(0));

    if (isThreadSanitized) return;  // to which it never ends
    Worker suicidal([](void*) -> UINT { return static_cast<UINT>(AfxGetThread()->TerminateThread(3)); });
    EXPECT_TRUE(suicidal.thread->WaitForEnd(60000));
    EXPECT_EQ(suicidal.thread->GetExitCode(), 3u);
}

class OwnThread : public CWinThread {
public:
    explicit OwnThread(std::atomic<int>& ends) : m_ends(ends) {}
    ~OwnThread() override { ++m_ends; }
    int InitInstance() override { return 0; }
    int ExitInstance() override { return 3; }

private:
    std::atomic<int>& m_ends;
};

TEST(Thread, ObjectsDeleteThemselves) {
    std::atomic<int> ends = 0;
    constexpr int count = 200;
    for (int i = 0; i < count; ++i) ASSERT_TRUE((new OwnThread(ends))->CreateThread());
    Await([&] { return ends == count; });
}

TEST(Thread, SuspensionsAreCounted) {
    std::atomic<unsigned> steps = 0;
    std::atomic<bool> isEnough = false;
    auto count = [&] {
        for (; !isEnough; ++steps)
            if constexpr (isThreadSanitized) KxN::Sleep(1);  // it passes signals on in system calls only
    };
    Running worker(count);
    for (int i = 0; i < 100; ++i) {
        unsigned const before = steps;
        Await([&] { return steps != before; });
        ASSERT_EQ(worker.thread->SuspendThread(), 0u);
        ASSERT_EQ(worker.thread->SuspendThread(), 1u);
        unsigned const stopped = steps;
        ASSERT_EQ(worker.thread->ResumeThread(), 2u);
        std::this_thread::yield();
        if (!isThreadSanitized) {
            ASSERT_EQ(steps, stopped);
        }
        ASSERT_EQ(worker.thread->ResumeThread(), 1u);
    }
    isEnough = true;
    EXPECT_TRUE(worker.thread->WaitForEnd(60000));
}

/// What takes locks of the allocator or of this library, or works in the C library, again and again.
void Use(int kind, CWinThread* other) {
    switch (kind) {
        case 0:
            for (std::size_t size : {10u, 1000u, 100000u}) {
                std::vector<char> const block(size, 'x');
                asm volatile("" : : "r"(block.data()) : "memory");
            }
            break;
        case 1: RegisterWindowMessage(L"a name"); break;
        case 2:
            KxTools::SetEncryptionPassword(CStringA(std::to_string(std::rand() % 20)));  // which derives a key
            break;
        case 3: other->SuspendThread(), other->ResumeThread(); break;
        default: {
            static CMutex mutex;
            static CEvent event;
            CSingleLock const lock(&mutex, 1);
            event.SetEvent();
        }
    }
}

TEST(Thread, NeitherSuspensionNorDeathLeavesALockBehind) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    test::Leaking const leaking;
    auto work = [] {
        static std::vector<char> room(1 << 24);
        for (int i = 0;; ++i) std::memset(room.data(), i, room.size());
    };
    Running target(work);
    for (int kind = isSanitized ? 1 : 0; kind < 5; ++kind)  // whose allocator is another one
        for (int round = 0; round < (kind == 2 ? 3 : 20); ++round) {
            SCOPED_TRACE(kind);
            std::atomic<int> uses = 0;
            auto use = [&] {
                for (;; ++uses) Use(kind, target.thread);
            };
            Running worker(use);
            Await([&] { return uses > round % 5; });
            ASSERT_EQ(worker.thread->SuspendThread(), 0u);
            Use(kind == 4 ? 1 : kind, target.thread);  // a mutex the application's code does keep
            ASSERT_EQ(worker.thread->ResumeThread(), 1u);
            ASSERT_EQ(worker.thread->TerminateThread(0), 1);
            Use(kind, target.thread);
        }
    while (target.thread->ResumeThread() > 1) {}  // suspenders have died in between
    KxTools::SetEncryptionPassword(CStringA());
}

TEST(Thread, KilledThreadsLeaveTheProcessHealthy) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    struct Shared {
        CCriticalSection section;
        CMutex mutex;
        CEvent never;
        int pipe[2];
        std::atomic<int> ready = 0;
    } shared;
    ASSERT_EQ(::pipe(shared.pipe), 0);
    ThreadProc const procs[] = {[](void* p) -> UINT {
                                    ++static_cast<Shared*>(p)->ready;
                                    LoopForEver();
                                },
                                [](void* p) -> UINT {  // a read that blocks, with locks
                                    auto& s = *static_cast<Shared*>(p);
                                    s.section.Lock();
                                    s.section.Lock();
                                    s.mutex.Lock();
                                    ++s.ready;
                                    char c;
                                    return static_cast<UINT>(::read(s.pipe[0], &c, 1));
                                },
                                [](void* p) -> UINT {  // a wait in the queue of others' objects
                                    auto& s = *static_cast<Shared*>(p);
                                    CSyncObject* const objects[] = {&s.never, &s.mutex};
                                    ++s.ready;
                                    s.never.Lock();
                                    return static_cast<UINT>(KxxWaitForAny(objects, 2));
                                },
#ifndef __SANITIZE_ADDRESS__                           // whose allocator is another one
                                [](void* p) -> UINT {  // the allocator
                                    ++static_cast<Shared*>(p)->ready;
                                    for (;;) delete[] new char[3000];
                                },
#endif
                                [](void* p) -> UINT {  // a message loop
                                    ++static_cast<Shared*>(p)->ready;
                                    return static_cast<UINT>(AfxGetThread()->Run());
                                },
                                [](void* p) -> UINT {
                                    ++static_cast<Shared*>(p)->ready;
                                    KxN::Sleep(INFINITE);
                                    return 0;
                                }};
    constexpr int rounds = 20;
    for (int round = 0; round < rounds; ++round) {
        for (ThreadProc const proc : procs) {
            shared.ready = 0;
            Worker worker(proc, &shared);
            Await([&] { return shared.ready == 1; });
            ASSERT_EQ(worker.thread->TerminateThread(5), 1);
            ASSERT_TRUE(worker.thread->WaitForEnd(0));
            ASSERT_EQ(worker.thread->GetExitCode(), 5u);
            ASSERT_TRUE(shared.section.Lock(1000));
            shared.section.Unlock();
            ASSERT_TRUE(shared.mutex.Lock(1000));
            shared.mutex.Unlock();
            shared.never.SetEvent();
            ASSERT_TRUE(shared.never.Lock(0));
        }
    }
    ::close(shared.pipe[0]);
    ::close(shared.pipe[1]);
}

class KilledSave : public test::TempFolder {};

// The new file that it was about stays its thread's, locked, as long as the process is there; the next save behind that
// removes it.
TEST_F(KilledSave, LeavesAWholeFile) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    auto const content = [](int number) { return std::string(300000, static_cast<char>('a' + number % 26)); };
    KxxSaveFile(Path("scan"), content(0));
    auto const kill = [&] {
        test::Leaking const leaking;
        for (int round = 0; round < 6; ++round) {
            std::atomic<int> saves = 0;
            auto save = [&] {
                for (;; ++saves) KxxSaveFile(Path("scan"), content(saves));
            };
            {
                Running saver(save);
                Await([&] { return saves > 0; });
                std::this_thread::sleep_for(std::chrono::microseconds(370 * round));
                if (saver.thread->TerminateThread(0) != 1) std::_Exit(1);
            }
            std::string const found = Get("scan");
            if (found != content(found[0] - 'a')) std::_Exit(2);
            KxxSaveFile(Path("scan"), content(0));
        }
        std::_Exit(7);
    };
    EXPECT_EXIT(kill(), testing::ExitedWithCode(7), "");
    KxxSaveFile(Path("scan"), content(7));
    EXPECT_TRUE(Get("scan") == content(7));
    EXPECT_EQ(CountFiles(), 1u);
}

TEST(Thread, AMutexIsAbandonedByEveryEnd) {
    CMutex mutex;
    void (*const ends[])() = {[] {}, [] { AfxEndThread(0); }, [] { AfxGetThread()->TerminateThread(0); },
                              [] { LoopForEver(); }};
    for (auto const& end : ends) {
        bool const isKilled = &end - ends > 1;
        if (isThreadSanitized && isKilled) continue;
        std::atomic<int> isHeld = 0, isTaken = 0;
        auto hold = [&] {
            mutex.Lock();
            mutex.Lock();
            isHeld = 1;
            Await([&] { return isTaken > 0; });
            end();
        };
        auto take = [&] {
            ++isTaken;
            isTaken += mutex.Lock();
            mutex.Unlock();
        };
        Running holder(hold);
        Await([&] { return isHeld == 1; });
        Running taker(take);
        if (&end - ends == 3) holder.thread->TerminateThread(0);
        EXPECT_TRUE(taker.thread->WaitForEnd(60000));
        EXPECT_EQ(isTaken, 2);
        EXPECT_EQ(mutex.Lock(0) + mutex.Unlock() + mutex.Unlock(), 2);
    }
    std::thread([&] { mutex.Lock(); }).join();  // of any origin
    EXPECT_EQ(mutex.Lock(0), 1);
}

/// In the destructors of the thread's own objects, for as long as it is told.
std::atomic<int> g_lateness = 0;
struct Late {
    void Touch() {}
    ~Late() {
        if (g_lateness == 0) return;
        g_lateness = 2;
        while (g_lateness == 2) std::this_thread::yield();
        g_lateness = 4;
    }
};
thread_local Late t_late;

TEST(Thread, HasEndedBehindItsLastDestructor) {
    for (bool isKilled : {false, true}) {
        if (isThreadSanitized && isKilled) continue;
        g_lateness = 1;
        auto touch = [] { t_late.Touch(); };
        Running worker(touch);
        Await([] { return g_lateness == 2; });
        EXPECT_EQ(worker.thread->WaitForEnd(1), 0);
        if (isKilled)
            EXPECT_EQ(worker.thread->TerminateThread(0), 1);
        else
            g_lateness = 3;
        EXPECT_TRUE(worker.thread->WaitForEnd(60000));
        EXPECT_EQ(g_lateness, isKilled ? 2 : 4);
    }
    g_lateness = 0;
}

TEST(Thread, EndsWithoutMemory) {
    auto body = [] {
        AfxGetThread()->PostThreadMessage(0x400, 0, 0);  // which nobody takes
        test::g_allocationsLeft = 0;
    };
    Running worker(body);
    EXPECT_TRUE(worker.thread->WaitForEnd(60000));
}

TEST(Thread, WhoBlocksSignalsIsReachedOrTold) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    sigset_t all, former;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, &former);  // as a host that takes its signals elsewhere
    std::atomic<int> phase = 0;
    auto loop = [&] {
        phase = 1;
        LoopForEver();
    };
    {
        Running worker(loop);
        Await([&] { return phase == 1; });
        EXPECT_EQ(worker.thread->SuspendThread(), 0u);
        EXPECT_EQ(worker.thread->TerminateThread(0), 1);
    }
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    auto deaf = [&] {
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        phase = 2;
        while (phase == 2) std::this_thread::yield();
        ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
        LoopForEver();
    };
    Running worker(deaf);
    Await([&] { return phase == 2; });
    EXPECT_EQ(worker.thread->SuspendThread(), failure);
    EXPECT_EQ(worker.thread->GetSuspendCount(), 0u);
    EXPECT_EQ(worker.thread->TerminateThread(0), 0);
    phase = 3;  // it hears now
    EXPECT_TRUE(worker.thread->TerminateThread(0) || worker.thread->WaitForEnd(0));
}

TEST(Thread, ASentMessageIsAnsweredByDeathToo) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    test::Leaking const leaking;
    struct Hanging : CWnd {
        explicit Hanging(std::atomic<int>& in) : inside(in) {}
        LRESULT WindowProc(UINT, WPARAM, LPARAM) override {
            inside = 1;
            LoopForEver();
        }
        std::atomic<int>& inside;
    };
    std::atomic<CWnd*> window = nullptr;
    std::atomic<int> inside = 0;
    auto body = [&] {
        Hanging own(inside);
        window = &own;
        AfxGetThread()->Run();
    };
    Running worker(body);
    Await([&] { return window != nullptr; });
    LRESULT answer = -1;
    std::thread sender([&] {
        test::Leaking const alsoHere;
        answer = window.load()->SendMessage(5);
    });
    Await([&] { return inside == 1; });
    EXPECT_EQ(worker.thread->TerminateThread(0), 1);
    sender.join();
    EXPECT_EQ(answer, 0);
}

TEST(Thread, PrioritiesAreTheSystems) {
    // The same again in a process that has less of the processor from its start.
    char const* const isChild = std::getenv("HBTOOLS_TEST_NICE");
    int const base = isChild ? 7 : ::getpriority(PRIO_PROCESS, 0);
    CEvent enough;
    auto wait = [&] { enough.Lock(); };
    Running worker(wait);
    struct Case {
        int priority, nice;
    };
    for (Case const& c : {Case{THREAD_PRIORITY_NORMAL, 0}, Case{THREAD_PRIORITY_BELOW_NORMAL, 5},
                          Case{THREAD_PRIORITY_LOWEST, 10}, Case{THREAD_PRIORITY_IDLE, 19}}) {
        EXPECT_TRUE(worker.thread->SetThreadPriority(c.priority));
        EXPECT_TRUE(worker.thread->GetThreadPriority() == c.priority || base + c.nice > 19);
        EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(worker.thread->GetThreadId())),
                  std::min(base + c.nice, 19));
    }
    EXPECT_FALSE(worker.thread->SetThreadPriority(77));
    enough.SetEvent();
    EXPECT_TRUE(worker.thread->WaitForEnd(60000));
    EXPECT_EQ(worker.thread->GetThreadPriority(), THREAD_PRIORITY_ERROR_RETURN);
    CWinThread const unstarted;
    EXPECT_EQ(unstarted.GetThreadPriority(), THREAD_PRIORITY_ERROR_RETURN);
    EXPECT_EQ(CWinThread().SetThreadPriority(THREAD_PRIORITY_LOWEST), 0);
    EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())), base);
    if (isChild || base != 0) return;
    std::string const self = std::filesystem::read_symlink("/proc/self/exe").string();
    EXPECT_EQ(std::system(("HBTOOLS_TEST_NICE=1 nice -n 7 '" + self +
                           "' --gtest_filter=Thread.Priorities* --gtest_output="
                           ">/dev/null 2>&1")
                              .c_str()),
              0);
}

TEST(Thread, WithoutThreadsThereIsNone) {
    if (isSanitized) GTEST_SKIP() << "needs the memory itself";
    // In processes of their own, one whose memory ends before the stack of a thread, one of a user who has no thread left. The
    // second hands out an address before it fails.
    ThreadProc const nothing = [](void*) -> UINT { return 0; };
    struct Case {
        char const* name;
        __rlimit_resource resource;
        rlim_t most;
        UINT stackSize;
    };
    for (Case const& c : {Case{"memory", RLIMIT_AS, 1 << 26, 1u << 30},
                          {"processes", RLIMIT_NPROC, 1, 0},
                          {"big", RLIMIT_NPROC, 1, 100u << 20}}) {
        SCOPED_TRACE(c.name);
        if (c.resource == RLIMIT_NPROC && ::getuid() != 0) continue;  // who may become somebody else
        EXPECT_EXIT(
            {
                if (c.resource == RLIMIT_NPROC && (::setgid(54321) != 0 || ::setuid(54321) != 0)) std::_Exit(3);
                rlimit former;
                ::getrlimit(c.resource, &former);
                rlimit little = former;
                little.rlim_cur = c.most;
                ::setrlimit(c.resource, &little);
                for (int i = 0; i < 3; ++i)
                    if (AfxBeginThread(nothing, nullptr, THREAD_PRIORITY_NORMAL, c.stackSize)) std::_Exit(1);
                ::setrlimit(c.resource, &former);  // and then there are some again
                std::_Exit(AfxBeginThread(nothing, nullptr, THREAD_PRIORITY_NORMAL, c.stackSize) ? 0 : 2);
            },
            testing::ExitedWithCode(0), "");
    }
}

}  // namespace
