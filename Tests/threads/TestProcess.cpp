// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syWinApp.h"
#include "hbtools/threads/syKxThread.h"
#include "hbtools/threads/syProcess.h"
#include "hbtools/threads/syProgressAlgorithm.h"

#define HBTOOLS_ALLOCATIONS_ELSEWHERE
#include "../base/Allocations.h"
#include "ThreadTest.h"

#include <fstream>
#include <functional>
#include <limits>
#include <utility>

namespace {

using namespace KxN;
using test::U;

/// Writes down what is called: S start, O output, B body, E end, F failure, and each percentage.
class Work : public KxProgressProcess {
public:
    explicit Work(std::function<void(Work&)> body = {}) : m_body(std::move(body)) {
        SetProcessHdl(KxTools::Link(this, &Note<'S'>));
        SetScreenOutputHdl(KxTools::Link(this, &Note<'O'>));
        SetEndProcessHdl(KxTools::Link(this, &Note<'E'>));
        SetProgressHdl(KxTools::Link(this, [](void* self, void* process) -> long long {
            auto* const work = static_cast<Work*>(static_cast<KxProcess*>(process));
            work->notes += self == work ? std::to_string(work->GetPercentage()) : "?";
            return 0;
        }));
    }
    void ShowFailures() { SetErrorOutputHdl(KxTools::Link(this, &Note<'F'>)); }
    using KxProgressProcess::ShowProgressHdl;
    std::string notes;

private:
    template <char note>
    static long long Note(void* self, void* process) {
        auto* const work = static_cast<Work*>(self);
        work->notes += process == static_cast<KxProcess*>(work) ? note : '?';
        return 0;
    }
    void Process() override {
        notes += 'B';
        if (m_body) m_body(*this);
    }
    std::function<void(Work&)> m_body;
};

TEST(Process, CallsItsHandlersInOrder) {
    KxWinApp app;
    Work work([](Work& self) {
        self.SetPercentage(50);
        self.SetPercentage(120);
        self.ShowProgressHdl();
    });
    work.Start(0);
    EXPECT_EQ(work.notes, "SO");  // the body waits for the loop
    work.WaitUntilReady();
    EXPECT_EQ(work.notes, "SOB50120120E");
    work.notes.clear();
    work.Execute();
    EXPECT_EQ(work.notes, "SO");
    app.Reschedule();
    EXPECT_EQ(work.notes, "SO");  // in 100 ms
    work.WaitUntilReady();
    work.ExecuteAndWaitUntilReady();
    EXPECT_EQ(work.notes, "SOB50120120ESOB50120120E");
    EXPECT_EQ(work.WasSuccessful(), 1);
    EXPECT_EQ(work.StartHdl(nullptr) + KxProcess::LinkStubStartHdl(static_cast<KxProcess*>(&work), nullptr), 2);
    work.notes.clear();
    app.Reschedule();
    EXPECT_EQ(work.notes, "B50120120EB50120120E");
}

long long Fail(void*, void*) {
    throw 8;
}

TEST(Process, FailuresAreKeptOrThrownOn) {
    KxWinApp app;
    struct Case {
        char const* name;
        std::function<void(Work&)> body;
        bool isShown;
        char const* notes;
        char const* text;    // kept
        char const* thrown;  // on to who pumps
    };
    Case const cases[] = {
        {"shown", [](Work&) { throw new KxException(KxString(L"zu heiß")); }, true, "SOBEF", "zu heiß", ""},
        {"framework's", [](Work&) { AfxThrowMemoryException(); }, true, "SOBEF", "", ""},
        {"thrown", [](Work&) { throw new KxException(KxString(L"zu heiß")); }, false, "SOBE", "zu heiß", "zu heiß"},
        {"end", [](Work&) { throw new KxThreadFinalizeException2(nullptr); }, true, "SOBEF", "", "ends"},
        {"handler's",
         [](Work& self) {
             self.SetEndProcessHdl(KxTools::Link(nullptr, &Fail));
             throw new KxException(KxString(L"zu heiß"));
         },
         true, "SOB", "zu heiß", "8"},
        {"number", [](Work&) { throw 7; }, true, "SOB", "", "7"},
        {"abort", [](Work& self) { self.Abort(); }, true, "SOBE", "", ""},
        {"nested",
         [](Work&) {
             Work inner;
             inner.ExecuteAndWaitUntilReady();
         },
         true, "SOBE", "", ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Work work(c.body);
        if (c.isShown) work.ShowFailures();
        std::string thrown;
        try {
            work.ExecuteAndWaitUntilReady();
        } catch (KxThreadFinalizeException2* exception) {
            thrown = "ends";
            exception->Delete();
        } catch (KxException* exception) {
            thrown = U(exception->GetMessage());
            exception->Delete();
        } catch (int number) {
            thrown = std::to_string(number);
        }
        EXPECT_EQ(thrown, c.thrown);
        EXPECT_EQ(work.notes, c.notes);
        Work copy(work);
        if (*c.text) {
            EXPECT_EQ(U(work.GetException().GetMessage()), c.text);
            EXPECT_EQ(U(copy.GetException().GetMessage()), c.text);
        }
        EXPECT_EQ(work.WasSuccessful(), c.name == std::string("nested") || c.name == std::string("number"));
        EXPECT_EQ(work.IsAborted(), c.name == std::string("abort"));
    }
    // Ready before the exception leaves, and what is kept outlives the next good run.
    bool fails = true;
    Work work([&](Work&) {
        if (fails) throw new KxException(KxString(L"einmal"));
    });
    EXPECT_EQ(test::Thrown<KxException>([&] { work.ExecuteAndWaitUntilReady(); }), "einmal");
    work.WaitUntilReady();
    EXPECT_EQ(work.WasSuccessful(), 0);
    fails = false;
    work.ExecuteAndWaitUntilReady();
    EXPECT_EQ(work.WasSuccessful(), 1);
    EXPECT_EQ(U(work.GetException().GetMessage()), "einmal");
    KxException set(KxString(L"gesetzt"));
    work.SetException(set);
    EXPECT_EQ(U(work.GetException().GetMessage()), "gesetzt");
}

// What a process cannot keep it destroys, and whoever waits hears of it.
TEST(Process, FailuresOfOthersAreNotLostWithoutMemory) {
    KxWinApp app;
    static int alive = 0;
    struct Foreign : CException {
        Foreign() { ++alive; }
        ~Foreign() override { --alive; }
    };
    bool isKept = false;
    int const failures = test::FailEachAllocation(
        [&] {
            int const n = std::exchange(test::g_allocationsLeft, -1);
            Work failing([n](Work&) {
                auto* const exception = new Foreign;
                test::g_allocationsLeft = n;
                throw exception;
            });
            failing.ShowFailures();
            failing.ExecuteAndWaitUntilReady();
            isKept = failing.notes == "SOBEF";
        },
        [] { EXPECT_EQ(alive, 0); });
    EXPECT_GT(failures, 1);
    EXPECT_TRUE(isKept);
    EXPECT_EQ(alive, 0);
}

TEST(Process, WithoutApplicationOrRoomItDoesNotStart) {
    Work work;
    EXPECT_EQ(test::Thrown<KxException>([&] { work.Execute(); }), "Das Programm hat kein Applikationsobjekt");
    EXPECT_EQ(work.notes, "");
    KxWinApp app;
    std::size_t const former = std::exchange(KxxLimits().postedCalls, 0);
    EXPECT_NE(test::Thrown<KxException>([&] { work.Start(0); }).find("eingereiht"), std::string::npos);
    EXPECT_EQ(work.notes, "S");
    // When the time has come there is no room: the run has failed, and nobody waits for it.
    Work late;
    late.Start(1);
    EXPECT_NE(test::Thrown<KxException>([&] { late.WaitUntilReady(); }).find("eingereiht"), std::string::npos);
    late.WaitUntilReady();
    late.ShowFailures();
    late.Start(1);
    late.WaitUntilReady();
    KxxLimits().postedCalls = former;
    EXPECT_EQ(late.notes, "SOESOEF");
    EXPECT_EQ(late.WasSuccessful(), 0);
    EXPECT_NE(U(late.GetException().GetMessage()).find("eingereiht"), std::string::npos);

    EXPECT_EQ(Work().IsAbortable(), 1);
    work.SetNotAbortable();
    work.SetMessage(KxString(L"Schritt 1"));
    work.SetPercentage(7);
    Work other;
    other = work;
    EXPECT_EQ(other.IsAbortable() * 10 + other.GetPercentage(), 7);
    EXPECT_EQ(U(other.GetMessageW()), "Schritt 1");
    other.Abort();  // whatever the flag says
    EXPECT_EQ(other.IsAborted() * 10 + other.WasSuccessful(), 10);

    unsigned long id = 0;
    std::ifstream("/proc/self/stat") >> id;
    EXPECT_EQ(KxProcessInfo::GetProcessID(), id);
}

class Steps : public KxProgressAlgorithm {
public:
    void Run() override {
        SendProgress(progress);
        if (inner) inner->Run();
    }
    int progress = 0;
    Steps* inner = nullptr;
};

TEST(ProgressAlgorithm, MapsToItsRange) {
    struct Case {
        int from, to, progress, expected;
    };
    constexpr int most = std::numeric_limits<int>::max();
    Case const cases[] = {{0, 100, 50, 50},   {0, 100, 250, 250}, {20, 40, 50, 30}, {20, 40, 0, 20},
                          {10, 0, 50, 5},     {10, 0, 33, 7},     {0, 10, 99, 9},   {0, 10, -15, -1},
                          {0, 10, 1000, 100}, {5, 5, 70, 5},      {0, most, 2, 0},  {-50, 50, 25, -25}};
    for (Case const& c : cases) {
        SCOPED_TRACE(&c - cases);
        Steps outer, inner;
        struct Seen {
            void On(int value) { values.push_back(value); }
            std::vector<int> values;
        } seen;
        inner.SignalProgress.Connect(&seen, &Seen::On);
        inner.SetProgressRange(c.from, c.to);
        inner.progress = c.progress;
        outer = inner;  // reports to the same slot, in the same range
        outer.progress = 0;
        outer.inner = &inner;
        Steps copy(outer);
        copy.Run();
        EXPECT_EQ(seen.values, (std::vector<int>{c.from, c.expected}));
    }
}

}  // namespace
