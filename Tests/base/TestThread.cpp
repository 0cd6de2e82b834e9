// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syThread.h"

#include "hbtools/base/syDateTime.h"
#include "hbtools/base/sySync.h"

#include "Support.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>
#include <sys/resource.h>
#include <unistd.h>

#if defined(__SANITIZE_THREAD__)
constexpr bool isThreadSanitized = true;
#else
constexpr bool isThreadSanitized = false;
#endif

namespace {

using namespace KxN;

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

void Await(auto condition) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        std::this_thread::yield();
    }
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
    EXPECT_EQ(worker.thread->SuspendThread(), 0xFFFFFFFF);
    EXPECT_EQ(worker.thread->TerminateThread(1), 0);
    EXPECT_EQ(worker.thread->CreateThread(), 0);  // once

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
    static std::atomic<bool> isEnough;
    isEnough = false;
    static ThreadProc const count = [](void* p) -> UINT {
        auto& s = *static_cast<std::atomic<unsigned>*>(p);
        for (;;) {
            ++s;
            if (isEnough) return 0;
            if constexpr (isThreadSanitized) KxN::Sleep(1);  // it passes signals on in system calls only
        }
    };
    Worker worker(count, &steps, CREATE_SUSPENDED);
    EXPECT_EQ(steps, 0u);
    EXPECT_EQ(worker.thread->SuspendThread(), 1u);
    EXPECT_EQ(worker.thread->ResumeThread(), 2u);
    EXPECT_EQ(steps, 0u);
    EXPECT_EQ(worker.thread->ResumeThread(), 1u);
    EXPECT_EQ(worker.thread->ResumeThread(), 0u);
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

TEST(Thread, IsNotStoppedWithTheAllocatorLocked) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    static std::atomic<bool> isEnough;
    isEnough = false;
    Worker worker([](void*) -> UINT {
        for (std::size_t size = 1; !isEnough; size = size * 7 % 4093 + 1) {
            std::vector<char*> blocks;
            for (int i = 0; i < 50; ++i) blocks.push_back(new char[size]);
            for (char* const block : blocks) delete[] block;
        }
        return 0;
    });
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(worker.thread->SuspendThread(), 0u);
        for (std::size_t size : {10u, 1000u, 100000u}) {
            std::vector<char> const block(size, 'x');
            EXPECT_EQ(block[size / 2], 'x');
        }
        worker.thread->ResumeThread();
    }
    isEnough = true;
    EXPECT_TRUE(worker.thread->WaitForEnd(60000));
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
    ThreadProc const procs[] = {[](void* p) -> UINT {  // a tight loop
                                    ++static_cast<Shared*>(p)->ready;
                                    for (unsigned i = 0;; ++i) asm volatile("" : "+r"(i));
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

TEST(Thread, AnAbandonedMutexGoesToWhoWaits) {
    if (isThreadSanitized) GTEST_SKIP() << "signals come late";
    static CMutex mutex;
    static CEvent locked;
    Worker holder([](void*) -> UINT {
        mutex.Lock();
        locked.SetEvent();
        KxN::Sleep(INFINITE);
        return 0;
    });
    locked.Lock();
    Worker waiter([](void*) -> UINT {
        locked.SetEvent();
        return static_cast<UINT>(mutex.Lock() + mutex.Unlock());
    });
    locked.Lock();
    holder.thread->TerminateThread(0);
    EXPECT_TRUE(waiter.thread->WaitForEnd(10000));
    EXPECT_EQ(waiter.thread->GetExitCode(), 2u);
}

TEST(Thread, PrioritiesAreTheSystems) {
    static CEvent enough;
    Worker worker([](void*) -> UINT { return static_cast<UINT>(enough.Lock()); });
    struct Case {
        int priority, nice;
    };
    for (Case const& c : {Case{THREAD_PRIORITY_NORMAL, 0}, Case{THREAD_PRIORITY_BELOW_NORMAL, 5},
                          Case{THREAD_PRIORITY_LOWEST, 10}, Case{THREAD_PRIORITY_IDLE, 19}}) {
        EXPECT_TRUE(worker.thread->SetThreadPriority(c.priority));
        EXPECT_EQ(worker.thread->GetThreadPriority(), c.priority);
        EXPECT_EQ(::getpriority(PRIO_PROCESS, static_cast<id_t>(worker.thread->GetThreadId())), c.nice);
    }
    EXPECT_FALSE(worker.thread->SetThreadPriority(77));
    enough.SetEvent();
    EXPECT_TRUE(worker.thread->WaitForEnd(60000));
    EXPECT_EQ(worker.thread->GetThreadPriority(), THREAD_PRIORITY_ERROR_RETURN);
}

TEST(Thread, WithoutThreadsThereIsNone) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "needs the memory itself";
#endif
    // In a process of its own, whose memory ends before the stack of a thread.
    EXPECT_EXIT(
        {
            rlimit little;
            little.rlim_cur = little.rlim_max = 1 << 26;
            ::setrlimit(RLIMIT_AS, &little);
            CWinThread* const thread =
                AfxBeginThread([](void*) -> UINT { return 0; }, nullptr, THREAD_PRIORITY_NORMAL, 1u << 30);
            std::_Exit(thread ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
