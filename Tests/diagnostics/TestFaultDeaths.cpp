// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Faults that are not translated end the process by their signal, at once, or reach the handler that was there before.
#include "FaultTest.h"
#include "ManagerTest.h"

#include "hbtools/base/syWinApp.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <pthread.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

using namespace KxN;
using namespace test;

namespace {

/// A process that ended by the signal. The run-time libraries of the sanitizers take the signal and exit instead.
struct DiedOf {
    int signal;
    bool operator()(int status) const {
        if (HB_SANITIZED && WIFEXITED(status)) return WEXITSTATUS(status) != 0;
        return WIFSIGNALED(status) && WTERMSIG(status) == signal;
    }
};

__attribute__((noinline)) int Overflow(int depth) {
    char volatile room[512];
    room[0] = static_cast<char>(depth);
    return depth < 0 ? 0 : Overflow(depth + 1) + room[0];
}

struct FaultsAtTheEnd {
    ~FaultsAtTheEnd() { ReadNull(); }
};

[[maybe_unused]] void CopyFromNull() {
    std::size_t volatile size = 77;
    static char to[100];
    std::string const hasDestructor(size, 'x');
    std::memcpy(to, Null(), size);
}
[[maybe_unused]] void FreeNothing() {
    void* volatile pointer = Null() + 4;
    std::free(pointer);
}

template <class Body>
void OnThread(Body body) {
    std::thread([body] { EXPECT_EQ(ClassThrown(body), "none"); }).join();
}

void OverflowSmallStack() {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, 65536);
    pthread_t thread{};
    auto const body = [](void*) -> void* {
        KxSEHandler const guard;
        Overflow(0);
        return nullptr;
    };
    ::pthread_create(&thread, &attributes, body, nullptr);
    ::pthread_join(thread, nullptr);
}

struct {
    char const* name;
    int signal;
    void (*body)();
    bool isGuarded = true;
    // clang-format off
} const deaths[] = {
    {"no guard", SIGSEGV, ReadNull, false},
    {"after the guard", SIGSEGV, [] { { KxSEHandler const guard; } ReadNull(); }, false},
    {"another thread", SIGSEGV, [] { OnThread(ReadNull); }},
    {"a code without a class", SIGILL, [] { asm volatile("ud2"); }},
    {"a signal that was sent", SIGFPE, [] { ::raise(SIGFPE); }},
    {"jump to nowhere", SIGSEGV, [] { asm volatile("push $5; xor %%eax, %%eax; jmp *%%rax" ::: "rax"); }},
    {"return to nowhere", SIGSEGV,
     [] { asm volatile("lea 1f(%%rip), %%rax; push %%rax; push $64; 1: ret" ::: "rax", "memory"); }},
    {"stack overflow", SIGSEGV, [] { Overflow(0); }},
    {"stack overflow of a thread", SIGSEGV, [] { OnThread([] { KxSEHandler const guard; Overflow(0); }); }},
    {"stack overflow of a thread with a small one", SIGSEGV, OverflowSmallStack},
    {"stack overflow in the translator", SIGSEGV,
     [] { KxSEHandler const guard([](unsigned int, EXCEPTION_POINTERS*) { Overflow(0); }, 0); ReadNull(); }},
    {"in the translator", SIGILL,
     [] { KxSEHandler const guard([](unsigned int, EXCEPTION_POINTERS*) { asm volatile("ud2"); }, 0); ReadNull(); }},
    {"in a destructor", SIGABRT, [] { FaultsAtTheEnd const end; }},
    {"in a noexcept function", SIGABRT, [] { []() noexcept { ReadNull(); }(); }},
#ifndef HBTOOLS_COVERAGE  // whose counters may throw there
    {"through a function of C", SIGABRT, CopyFromNull},  // the compiler knows that it throws nothing
#endif
#if !HB_SANITIZED  // their allocators jump on into themselves, which leaves no trace
    {"within malloc", SIGSEGV, FreeNothing},
#endif
};
// clang-format on

TEST(FaultDeathTest, Table) {
    for (auto const& c : deaths) {
        SCOPED_TRACE(c.name);
        auto const body = [&c] {
            PrepareDeath();
            KxSEHandler const guard(FLOAT_ALL);
            if (!c.isGuarded) KxxSetFaultTranslator(nullptr);
            ClassThrown(c.body);
            std::_Exit(0);  // nothing happened, or it was translated
        };
        EXPECT_EXIT(body(), DiedOf{c.signal}, "");
    }
}

// When nothing of the library is there yet, or any more. See program/faultends.cpp.
TEST(FaultDeathTest, BeforeMainAndBehindIt) {
    for (char const* when : {"before the library", "before main", "behind main", "behind the library"}) {
        int const status = std::system(("ulimit -c 0; HBTOOLS_FAULT='" + std::string(when) +
                                        "' exec '" HBTOOLS_BINARY_DIR "/bin/faultends' 2> /dev/null")
                                           .c_str());
        EXPECT_TRUE(DiedOf{SIGSEGV}(status)) << when << ' ' << status;
    }
}

// What was installed before the first guard gets the faults that are not translated, with the processor as it was.
TEST(FaultDeathTest, FormerHandlerGoesOn) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process without a guard so far
    auto const body = [] {
        struct sigaction action {};
        action.sa_flags = SA_SIGINFO;
        action.sa_sigaction = [](int, siginfo_t*, void* context) {
            static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP] += 2;  // behind the ud2
        };
        ::sigaction(SIGILL, &action, nullptr);
        KxSEHandler const guard;
        double wide = 1.5;
        long kept = 41;
        for (int i = 0; i < 3; ++i)
            asm volatile(
                "fld1; movsd %0, %%xmm15; mov %1, %%r11; ud2; lea 1(%%r11), %1; movsd %%xmm15, %0; fstp %%st(0)"
                : "+x"(wide), "+r"(kept)::"r11", "xmm15");
        bool const isSame = wide == 1.5 && kept == 44 && KxxControlFloat(0, 0) == FLOAT_INEXACT;
        std::_Exit(isSame && ClassThrown(ReadNull) == "KxAccessViolationException" ? 42 : 1);
    };
    EXPECT_EXIT(body(), testing::ExitedWithCode(42), "");
}

// The system tells the stack of the first thread only to those who may open a file.
TEST(FaultDeathTest, WithoutDescriptors) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const body = [] {
        rlimit former{};
        ::getrlimit(RLIMIT_NOFILE, &former);
        rlimit const none = {0, former.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        KxSEHandler const guard;
        ::setrlimit(RLIMIT_NOFILE, &former);
        std::_Exit(ClassThrown(ReadNull) == "KxAccessViolationException" ? 42 : 1);
    };
    EXPECT_EXIT(body(), testing::ExitedWithCode(42), "");
}

class Application : public KxWinApp {
public:
    void Abort() override { std::_Exit(43); }
};

[[noreturn]] void Exit44() {
    std::_Exit(44);
}

TEST(HandlerDeathTest, TerminateAndUnexpected) {
    // clang-format off
    struct {
        int code;
        void (*body)();
    } const cases[] = {
        {43, [] { Application const application; KxTerminateHandler const guard; std::terminate(); }},
        {43, [] { Application const application; KxTerminateHandler const guard;
                  std::thread([] { KxSEHandler const faults; ReadNull(); }).join(); }},
        {44, [] { KxTerminateHandler const guard(Exit44); { KxTerminateHandler const inner; } std::terminate(); }},
        {44, [] { KxTerminateHandler const end(Exit44); KxUnexpectedHandler const guard; KxxUnexpected(); }},
        {44, [] { KxUnexpectedHandler const guard(Exit44); { KxUnexpectedHandler const inner; } KxxUnexpected(); }},
    };
    // clang-format on
    for (auto const& c : cases) EXPECT_EXIT((PrepareDeath(), c.body()), testing::ExitedWithCode(c.code), "");
    KxTerminateHandler const guard;
    EXPECT_EXIT((PrepareDeath(), std::terminate()), DiedOf{SIGABRT}, "");
}

using TerminateReportDeathTest = test::ManagerTest;

TEST_F(TerminateReportDeathTest, LogAndDebugFileTellWhatEndedTheProcess) {
    struct {
        char const* timing;
        bool isDelayed, isLogged;
        void (*end)();
        char const* told;
    } const cases[] = {
        {"SAVE_AFTER_FATAL", false, true, [] { throw new KxException(L"zu weit"); },
         "zu weit (class KxN::KxException)"},
        {"SAVE_ON_DEMAND", true, true, [] { throw std::runtime_error("zu eng"); }, "zu eng"},
        {"SAVE_ALL_CHANGES", true, true, [] { throw 7; }, "?"},
        {"none", false, false, [] { throw new KxException(L"zu weit"); }, "zu weit (class KxN::KxException)"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.timing);
        std::string const text =
            std::string("Das Programm wird beendet; niemand hat diese Ausnahme gefangen: ") + c.told;
        std::filesystem::remove(File("syexcmgr.bas"));
        EXPECT_EXIT(
            {
                PrepareDeath();
                KxExceptionManager manager;
                Initialize(manager, std::string("ErrorCount=10\nBackupTiming=") + c.timing + "\n");
                pExceptionMgr = &manager;
                manager.DelayedWritingToDebugFile(c.isDelayed);
                KxTerminateHandler const guard;
                std::thread(c.end).join();
            },
            DiedOf{SIGABRT}, "");
        bool const isLogged =
            Get("syexcmgr.bas").find("Group=Programmende\nLevel=EXCEPT_FATAL\nMessage=" + text + "\n") !=
            std::string::npos;
        EXPECT_EQ(isLogged, c.isLogged) << Get("syexcmgr.bas");
        EXPECT_NE(Debug().find("DATUM: D, ZEIT: T\r\n" + text + "\r\n"), std::string::npos) << Debug();
    }
}

/// Its text takes for ever.
class Endless : public KxException {
protected:
    void BuildMessage() override {
        isAsked = true;
        for (;;) ::pause();
    }

public:
    static inline std::atomic<bool> isAsked = false;
};

// A thread is in the middle of the log: that is left alone.
TEST_F(TerminateReportDeathTest, LeavesTheLogToAnotherThread) {
    EXPECT_EXIT(
        {
            PrepareDeath();
            KxExceptionManager manager;
            Initialize(manager, "ErrorCount=10\nBackupTiming=SAVE_ALL_CHANGES\n");
            Add(manager, L"G", EXCEPT_USER, L"former");
            pExceptionMgr = &manager;
            KxTerminateHandler const guard;
            std::thread busy([&] {
                Endless exception;
                manager.AddExceptionToLog(exception);
            });
            while (!Endless::isAsked) std::this_thread::yield();
            std::terminate();
        },
        DiedOf{SIGABRT}, "");
    EXPECT_NE(Get("syexcmgr.bas").find("TotalCount=1\n"), std::string::npos);
    EXPECT_NE(Debug().find("Das Programm wird beendet, ohne"), std::string::npos) << Debug();
}

}  // namespace
