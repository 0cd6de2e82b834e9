// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/sySync.h"

#include "hbtools/base/syTimer.h"
#include "hbtools/base/syWinApp.h"

#include "Clock.h"
#include "Support.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace KxN;
using Clock = std::chrono::steady_clock;

int OnAnotherThread(auto call) {
    int result = -1;
    std::thread([&] { result = call(); }).join();
    return result;
}

TEST(Sync, LocksExcludeAndMayBeTakenAgain) {
    CCriticalSection section;
    CMutex mutex;
    CSyncObject* const locks[] = {&section, &mutex};
    for (CSyncObject* const lock : locks) {
        long counter = 0;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                for (int i = 0; i < 2000; ++i) {
                    CSingleLock outer(lock, 1);
                    CSingleLock inner(lock);
                    EXPECT_TRUE(!inner.IsLocked() && inner.Lock(10999) && inner.IsLocked());
                    ++counter;
                }
            });
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(counter, 8000);

        CSingleLock held(lock, 1);
        EXPECT_EQ(held.Lock(), 1);
        EXPECT_EQ(OnAnotherThread([&] { return CSingleLock(lock).Lock(0) + CSingleLock(lock).Lock(20); }), 0);
        EXPECT_EQ(held.Unlock(), 1);
        EXPECT_EQ(held.Unlock(), 0);
        EXPECT_EQ(OnAnotherThread([&] { return CSingleLock(lock).Lock(0); }), 1);
    }
    EXPECT_EQ(mutex.Unlock(), 0);  // not ours
    CMutex owned(1);
    EXPECT_EQ(OnAnotherThread([&] { return owned.Unlock() + owned.Lock(0); }), 0);
    test::Thrown<CInvalidArgException>([] { CSingleLock none(nullptr); });
}

TEST(Sync, EventsAutoAndManual) {
    CEvent automatic, manual(0, 1), set(1, 0);
    EXPECT_EQ(set.Lock(0) * 10 + set.Lock(0), 10);
    manual.SetEvent();
    EXPECT_EQ(manual.Lock(0) + manual.Lock(0), 2);
    manual.ResetEvent();
    auto const start = Clock::now();
    EXPECT_EQ(manual.Lock(30), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
    automatic.PulseEvent();  // nobody waits: without effect
    EXPECT_EQ(automatic.Lock(0), 0);

    // Each set lets exactly one waiter pass. A pulse of a manual event reaches all who wait; waiting can't be seen
    // from outside, so it is repeated.
    std::atomic<int> passed{0}, pulsed{0};
    std::vector<std::jthread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] { passed += automatic.Lock(); });
        threads.emplace_back([&] { pulsed += manual.Lock(); });
    }
    for (int expected = 1; expected <= 3; ++expected) {
        automatic.SetEvent();
        while (passed < expected) std::this_thread::yield();
        EXPECT_EQ(automatic.Lock(0), 0);
    }
    while (pulsed < 3) manual.PulseEvent();
    threads.clear();
    EXPECT_EQ(manual.Lock(0), 0);

    // More than for ever is for ever: it lasts until a pulse comes.
    for (unsigned long timeout : {1ul << 32, 1ul << 63, ~0ul}) {
        std::atomic<int> result{-1};
        std::jthread const waiter([&] { result = automatic.Lock(timeout); });
        while (result < 0) automatic.PulseEvent();
        EXPECT_EQ(result, 1);
    }
}

TEST(Sync, SemaphoresCount) {
    CSemaphore semaphore(2, 3);
    long previous = -1;
    EXPECT_EQ(semaphore.Lock(0) + semaphore.Lock(0) + semaphore.Lock(0), 2);
    EXPECT_EQ(semaphore.Unlock(4) + semaphore.Unlock(0), 0);
    EXPECT_EQ(semaphore.Unlock(3, &previous), 1);
    EXPECT_EQ(previous + semaphore.Unlock(), 0);
    test::Thrown<CInvalidArgException>([] { CSemaphore(2, 1); });
    test::Thrown<CInvalidArgException>([] { CSemaphore(0, 0); });
    test::Thrown<CInvalidArgException>([] { CSemaphore(-1, 1); });
    // Who gives up takes nothing from those in front of it.
    CSemaphore none(0, 1);
    std::atomic<int> got = 0;
    std::jthread first([&] { got = none.Lock(); });
    for (int i = 0; i < 3; ++i) EXPECT_EQ(none.Lock(20), 0);
    EXPECT_EQ(none.Unlock(), 1);
    first.join();
    EXPECT_EQ(got, 1);
}

TEST(Sync, WaitsAndTimersIgnoreThatTheClockIsSet) {
    KxWinApp app;
    CEvent never, neither;
    CSemaphore none(0, 1);
    CMutex mutex(1);
    CCriticalSection section;
    CSingleLock const held(&section, 1);
    CSyncObject* const objects[] = {&never, &neither};
    auto const tick = [](void* ticks, void*) -> long long { return ++*static_cast<int*>(ticks); };
    int ticks = 0;
    KxTimer timer;
    timer.SetTimeoutHdl(KxTools::Link(&ticks, tick));
    timer.SetTimeout(20);
    test::g_clockJumps = 1;
    auto const start = Clock::now();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(never.Lock(20) + none.Lock(20), 0);
        EXPECT_EQ(OnAnotherThread([&] { return mutex.Lock(20) + CSingleLock(&section).Lock(20); }), 0);
        EXPECT_LT(static_cast<int>(KxxWaitForAny(objects, 2, 20)), 0);
        KxN::Sleep(20);
        timer.Start();
        while (ticks <= i) app.PumpMessage();
    }
    auto const time = Clock::now() - start;
    bool const hasJumped = KxDateTime::Now().IsValid() && test::g_clockJumps > 1;
    test::g_clockJumps = 0;
    EXPECT_TRUE(hasJumped);
    EXPECT_GE(time, std::chrono::milliseconds(2 * 7 * 20));
    EXPECT_LT(time, std::chrono::seconds(60));
}

TEST(Sync, WaitingForSeveral) {
    CEvent first, second;
    CMutex mutex;
    CSyncObject* const objects[] = {&first, &second, &mutex};
    EXPECT_EQ(KxxWaitForAny(objects, 2, 0), -1);
    EXPECT_EQ(KxxWaitForAny(objects, 2, 10), -1);
    EXPECT_EQ(KxxWaitForAny(objects, 3, 0), 2);
    second.SetEvent();
    first.SetEvent();
    EXPECT_EQ(KxxWaitForAny(objects, 3, INFINITE), 0);
    EXPECT_EQ(KxxWaitForAny(objects, 3, INFINITE), 1);
    CCriticalSection section;
    CSyncObject* const mixed[] = {&first, &section};
    test::Thrown<CInvalidArgException>([&] { KxxWaitForAny(mixed, 2, 0); });
    test::Thrown<CInvalidArgException>([&] { KxxWaitForAny(mixed, 0); });
    CSyncObject* const nothing[] = {&first, nullptr};
    test::Thrown<CInvalidArgException>([&] { KxxWaitForAny(nothing, 2, 0); });
    CEvent a, b, c;
    CSyncObject* const five[] = {&a, &b, &c, &first, &second};
    EXPECT_EQ(KxxWaitForAny(five, 5, 10), -1);
    second.SetEvent();
    EXPECT_EQ(KxxWaitForAny(five, 5, 10), 4);

    // No signal is lost or doubled while waiters come, give up and go.
    std::atomic<long> taken{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    CSemaphore third(0, 1000000), fourth(0, 1000000);
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&, t] {
            CSyncObject* const both[] = {t % 2 ? &third : &fourth, t % 2 ? &fourth : &third};
            while (!stop)
                if (KxxWaitForAny(both, 2, static_cast<unsigned long>(t)) >= 0) ++taken;
        });
    for (int i = 0; i < 5000; ++i) (i % 3 ? third : fourth).Unlock();
    while (taken < 5000) std::this_thread::yield();
    stop = true;
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(taken, 5000);
    EXPECT_EQ(third.Lock(0) + fourth.Lock(0), 0);
}

TEST(Sync, NamesShare) {
    CEvent named(0, 1, L"hbtools-test"), same(1, 0, L"hbtools-test"), other(0, 1, L"hbtools-other"), none(0, 1, L"");
    named.SetEvent();
    EXPECT_EQ(same.Lock(0) + same.Lock(0), 2);  // manual, as the first one was made
    EXPECT_EQ(other.Lock(0) + none.Lock(0), 0);
    test::Thrown<CInvalidArgException>([] { CMutex(0, L"hbtools-test"); });
    EXPECT_EQ(same.Lock(0), 1);
}

}  // namespace
