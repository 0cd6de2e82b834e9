// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWinApp.h"
#include "hbtools/threads/syKxThread.h"
#include "hbtools/threads/syThreadIdle.h"

#include "ThreadTest.h"

#include <functional>
#include <memory>
#include <optional>
#include <pthread.h>
#include <sys/resource.h>

namespace {

using namespace KxN;
using test::Await;
using test::U;

class Once : public KxThreadDoOnce {
public:
    explicit Once(std::function<void(Once&)> body) : m_body(std::move(body)) {}
    ~Once() override {
        Abort();
        WaitUntilReady(INFINITE);
    }
    using KxThreadDoOnce::ShouldBeAborted;

private:
    void Process() override { m_body(*this); }
    std::function<void(Once&)> m_body;
};

/// What arrives, with the thread that it arrives on.
struct Slots {
    void On(void* argument) { arrived.emplace_back(argument, std::this_thread::get_id()); }
    std::vector<std::pair<void*, std::thread::id>> arrived;
};

class Posted : public testing::Test {
protected:
    Posted() { app.SetMainWnd(&window); }
    void Pump(std::function<bool()> const& until) {
        Await(until, [&] { app.Reschedule(); });
    }
    KxWinApp app;
    KxThreadSignalWindow window;
    Slots slots;
};

TEST_F(Posted, RunsEndAndSaySo) {
    test::Boxes boxes;
    struct Case {
        char const* name;
        std::function<void(Once&)> body;
        int isSuccessful;
        int arrivals;
        char const* text;
        std::size_t numBoxes;
    };
    Case const cases[] = {
        {"good", [](Once&) {}, 1, 1, "", 0},
        {"exception", [](Once&) { throw new KxException(KxString(L"kein Strahl")); }, 0, 1, "kein Strahl", 0},
        {"framework's", [](Once&) { AfxThrowFileException(CFileException::diskFull, -1, L"a.xyz"); }, 0, 1, "a.xyz", 0},
        {"number", [](Once&) { throw 7; }, 0, 0, "", 1},
        {"exit", [](Once&) { ::pthread_exit(nullptr); }, 0, 0, "", 1},
        {"end", [](Once&) { throw new KxThreadFinalizeException2(nullptr); }, 0, 1, "", 1},
        {"abort", [](Once& once) { EXPECT_EQ(once.ShouldBeAborted(60000), 1); }, 0, 1, "", 1},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Once once(c.body);
        EXPECT_NE(once.WaitUntilReady(0), 0);
        once.SignalFinished.Signal.Connect(&slots, &Slots::On);
        once.SetFinishedArgument(42);
        slots.arrived.clear();
        once.Start();
        if (c.name == std::string("abort")) once.Abort();
        ASSERT_NE(once.WaitUntilReady(60000), 0);
        Pump([&] { return slots.arrived.size() == static_cast<std::size_t>(c.arrivals); });
        EXPECT_EQ(once.WasSuccessful(), c.isSuccessful);
        EXPECT_EQ(once.WasAborted(), c.name == std::string("abort"));
        EXPECT_NE(U(once.GetException().GetMessage()).find(c.text), std::string::npos);
        EXPECT_EQ(boxes.Get().size(), c.numBoxes);
        for (auto const& [argument, thread] : slots.arrived) {
            EXPECT_EQ(reinterpret_cast<LPARAM>(argument), 42);
            EXPECT_EQ(thread, std::this_thread::get_id());
            EXPECT_NE(once.SignalFinished.Handled.Lock(0), 0);
        }
    }
    EXPECT_NE(boxes.Get().at(0).find("gefangen! Der Typ"), std::string::npos);
}

TEST_F(Posted, AnAbortIsRememberedAndARunMayFollow) {
    std::atomic<int> runs = 0;
    Once once([&](Once& self) {
        if (++runs == 1) self.ShouldBeAborted(60000);
        EXPECT_EQ(self.ShouldBeAborted(0), runs == 1);
    });
    once.Start();
    once.Abort();
    ASSERT_NE(once.WaitUntilReady(60000), 0);
    once.Start();  // the event is reset, the flag stays
    ASSERT_NE(once.WaitUntilReady(60000), 0);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(once.WasAborted(), 1);
    EXPECT_EQ(once.WasSuccessful(), 0);
    Once waiting([](Once& self) { self.ShouldBeAborted(INFINITE); });
    waiting.Start();  // the destructor aborts it
}

TEST_F(Posted, SignalsThatAreGoneAreDropped) {
    UINT const arrived = RegisterWindowMessage(L"SIGNAL_ARRIVED");
    std::optional<KxThreadSignal> signal(std::in_place);
    signal->Signal.Connect(&slots, &Slots::On);
    signal->Post(&slots);
    signal->Post(&app);  // replaces the argument
    app.Reschedule();
    ASSERT_EQ(slots.arrived.size(), 2u);
    EXPECT_EQ(slots.arrived[0].first, &app);
    signal->Post(nullptr);
    signal.reset();
    signal.emplace();  // where it stood
    signal->Signal.Connect(&slots, &Slots::On);
    window.PostMessage(arrived, 0, 1);
    app.Reschedule();
    EXPECT_EQ(slots.arrived.size(), 2u);

    // A slot may throw or destroy the signal.
    signal.emplace();
    auto fail = +[](void*) { throw 7; };
    signal->Signal.Connect(fail);
    signal->Post(nullptr);
    EXPECT_THROW(app.Reschedule(), int);
    EXPECT_NE(signal->Handled.Lock(0), 0);
    auto destroy = +[](void* place) { static_cast<std::optional<KxThreadSignal>*>(place)->reset(); };
    signal->Signal.Disconnect(fail);
    signal->Signal.Connect(destroy);
    signal->Post(&signal);
    app.Reschedule();
    EXPECT_FALSE(signal);
}

TEST(DoOnce, WithoutMainWindowOrThreads) {
    Slots slots;
    {
        Once once([](Once&) {});
        once.SignalFinished.Signal.Connect(&slots, &Slots::On);
        once.Start();
        ASSERT_NE(once.WaitUntilReady(60000), 0);
        EXPECT_EQ(once.WasSuccessful(), 1);
        once.SignalReport.Post(nullptr);
    }
    EXPECT_TRUE(slots.arrived.empty());
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which needs the memory itself
    EXPECT_EXIT(
        {
            rlimit none;
            none.rlim_cur = none.rlim_max = 1 << 20;
            ::setrlimit(RLIMIT_AS, &none);
            std::string text;
            int isReady = 0;
            for (int i = 0; i < 200 && text.empty(); ++i) {  // until the stacks of ended threads are used up
                auto* const once = new Once([](Once& self) { self.ShouldBeAborted(INFINITE); });
                try {
                    once->Start();
                } catch (KxException* exception) {
                    text = U(exception->GetMessage());
                    isReady = once->WaitUntilReady(0);
                }
            }
            // Nor is there memory for one.
            Once starved([](Once&) {});
            bool isTold = false;
            void* hoard = nullptr;
            for (std::size_t size = 1 << 16; size >= 16; size /= 2)
                while (void* const block = std::malloc(size)) hoard = *static_cast<void**>(block) = block;
            try {
                starved.Start();
            } catch (std::bad_alloc const&) {
                isTold = starved.WaitUntilReady(0) && !starved.WasSuccessful();
            }
            if (!hoard || !isTold) std::_Exit(2);
            std::_Exit(isReady && text == "Das System stellt keinen weiteren Thread zur Verfügung" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
#endif
}

TEST_F(Posted, IdleTicksAndPauses) {
    struct Case {
        unsigned long idleTime;
        int cycles, waitFirst;
        int isAborted;  // after that many ticks have come
        std::size_t ticks;
        int leastTime;  // ms
        bool isPumped = true;
    };
    Case const cases[] = {
        {99, 5000, 0, 0, 1, 0, false},  // no pause, and of ticks that wait there is one
        {50, -1, 1, 1, 5, 0},           // no pause at all: more than five come
        {100, 0, 1, 0, 0, 0},           //
        {99999, 1, 0, 0, 1, 0},         // none behind the last
        {100, 3, 0, 0, 3, 200},         // tick, wait, tick, wait, tick
        {100, 3, 1, 0, 3, 300},         // wait, tick, wait, tick, wait, tick
        {99999, -1, 0, 1, 1, 0},        //
        {99999, -1, 1, 1, 0, 0},        //
        {299, 2, 1, 0, 2, 400},         // whole steps of 100
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(&c - cases);
        slots.arrived.clear();
        KxThreadIdle idle;
        idle.SignalTick.Signal.Connect(&slots, &Slots::On);
        idle.SetTickArgument(9);
        idle.SetIdleTime(c.idleTime);
        idle.SetNumCycles(c.cycles);
        idle.WaitUntilFirstSignal(c.waitFirst);
        auto const start = std::chrono::steady_clock::now();
        idle.Start();
        if (c.isAborted) {
            Pump([&] { return slots.arrived.size() >= c.ticks; });
            idle.Abort();
        }
        if (c.isPumped)
            Pump([&] { return idle.WaitUntilReady(0) != 0; });
        else
            ASSERT_NE(idle.WaitUntilReady(60000), 0);
        auto const time = std::chrono::steady_clock::now() - start;
        EXPECT_GE(time, std::chrono::milliseconds(c.leastTime));
        app.Reschedule();
        if (c.idleTime < 100 && c.isAborted)
            EXPECT_GE(slots.arrived.size(), c.ticks);
        else
            EXPECT_EQ(slots.arrived.size(), c.ticks);
        for (auto const& arrival : slots.arrived) EXPECT_EQ(reinterpret_cast<LPARAM>(arrival.first), 9);
        EXPECT_EQ(idle.WasAborted(), c.isAborted);
        EXPECT_EQ(idle.WasSuccessful(), !c.isAborted);
    }
}

TEST_F(Posted, ATickThatIsBeingHandledWaitsNoMore) {
    struct Slot {
        void On(void*) {
            if (++arrivals == 1) first();
        }
        std::function<void()> first;
        int arrivals = 0;
    };
    for (bool const isPumping : {false, true}) {
        SCOPED_TRACE(isPumping);
        int before = 0;
        Slot slot;
        KxThreadIdle idle;
        slot.first = [&] {
            if (isPumping) Pump([&] { return slot.arrivals > 1; });
            Await([&] { return app.HasMessage() != 0; });
            idle.Abort();
            EXPECT_NE(idle.WaitUntilReady(60000), 0);
            before = slot.arrivals;
        };
        idle.SignalTick.Signal.Connect(&slot, &Slot::On);
        idle.SetIdleTime(0);
        idle.SetNumCycles(-1);
        idle.Start();
        Pump([&] { return before > 0; });
        app.Reschedule();
        EXPECT_EQ(slot.arrivals, before + 1);  // all that came meanwhile are one
    }
}

TEST_F(Posted, AWindowMayGoBeforeItsWorkers) {
    std::optional<KxThreadSignalWindow> own(std::in_place);
    app.SetMainWnd(&*own);
    std::atomic<int> phase = 0;
    Once once([&](Once& self) {
        self.SignalReport.Post(nullptr);
        phase = 1;
        Await([&] { return phase == 2; });
    });
    once.SignalReport.Signal.Connect(&slots, &Slots::On);
    once.SignalFinished.Signal.Connect(&slots, &Slots::On);
    once.Start();
    Await([&] { return phase == 1; });
    own.reset();
    phase = 2;
    ASSERT_NE(once.WaitUntilReady(60000), 0);
    app.Reschedule();
    EXPECT_TRUE(slots.arrived.empty());
}

}  // namespace
