// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Faults that are not translated end the process by their signal, at once, or reach the handler that was there before.
#include "FaultTest.h"

#include "hbtools/base/syWinApp.h"

#include <cstdlib>
#include <cstring>
#include <thread>
#include <ucontext.h>
#include <unistd.h>

using namespace KxN;
using namespace test;

namespace {

HB_UNSEEN int Overflow(int depth) {
    char volatile room[512];
    room[0] = static_cast<char>(depth);
    return depth < 0 ? 0 : Overflow(depth + 1) + room[0];
}

struct FaultsAtTheEnd {
    ~FaultsAtTheEnd() { ReadInt(Null()); }
};

void FaultyTranslator(unsigned int, EXCEPTION_POINTERS*) {
    asm volatile("ud2");
}

void Quietly(void (*body)()) {
    try {
        body();
    } catch (KxException* exception) {
        exception->Delete();
        std::_Exit(77);  // it was translated
    }
}

struct DeathCase {
    char const* name;
    int signal;
    void (*body)();
};

DeathCase const deathCases[] = {
    {"no guard", SIGSEGV, [] { ReadInt(Null()); }},
    {"after the guard", SIGSEGV,
     [] {
         { KxSEHandler const guard(FLOAT_ALL); }
         ReadInt(Null());
     }},
    {"another thread", SIGSEGV,
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         std::thread([] { Quietly([] { ReadInt(Null()); }); }).join();
     }},
    {"a code without a class", SIGILL,
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         asm volatile("ud2");
     }},
    {"a signal that was sent", SIGFPE,
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         ::raise(SIGFPE);
     }},
    {"stack overflow", SIGSEGV,
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         Overflow(0);
     }},
    {"stack overflow of a thread", SIGSEGV,
     [] {
         std::thread([] {
             KxSEHandler const guard(FLOAT_ALL);
             Quietly([] { Overflow(0); });
         }).join();
     }},
    {"in the translator", SIGILL,
     [] {
         KxSEHandler const guard(FaultyTranslator, FLOAT_ALL);
         ReadInt(Null());
     }},
    {"in a destructor", SIGABRT,
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         FaultsAtTheEnd const end;
     }},
    {"in a noexcept function", SIGABRT,
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         []() noexcept { ReadInt(Null()); }();
     }},
    {"through a function of C", SIGABRT,  // the compiler knows that it throws nothing
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         std::size_t volatile size = 77;
         static char to[100];
         FaultsAtTheEnd const end;
         std::memcpy(to, Null(), size);
     }},
#if !HB_SANITIZED  // their allocators tell what is wrong and exit
    {"within malloc", SIGSEGV,
     [] {
         KxSEHandler const guard(FLOAT_ALL);
         void* volatile pointer = Null() + 4;
         std::free(pointer);
     }},
#endif
};

TEST(FaultDeathTest, Table) {
    for (DeathCase const& c : deathCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EXIT(
            {
                PrepareDeath();
                Quietly(c.body);
                std::_Exit(0);
            },
            DiedOf{c.signal}, "");
    }
}

void SkipIllegal(int, siginfo_t*, void* native) {
    static_cast<ucontext_t*>(native)->uc_mcontext.gregs[REG_RIP] += 2;
}

// What was installed before the first guard gets the faults that are not translated, with the processor as it was.
TEST(FaultDeathTest, FormerHandlerGoesOn) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process without a guard so far
    EXPECT_EXIT(
        {
            struct sigaction action {};
            action.sa_sigaction = SkipIllegal;
            action.sa_flags = SA_SIGINFO;
            ::sigaction(SIGILL, &action, nullptr);
            KxSEHandler const guard;
            double wide = 1.5;
            long kept = 41;
            for (int i = 0; i < 3; ++i)
                asm volatile(
                    "fld1; movsd %0, %%xmm15; mov %1, %%r11; ud2; mov %%r11, %1; inc %1; movsd %%xmm15, %0; fstp "
                    "%%st(0)"
                    : "+x"(wide), "+r"(kept)::"r11", "xmm15", "cc");
            std::string const later = ClassThrown([] { ReadInt(Null()); });
            bool const isRight = wide == 1.5 && kept == 44 && KxxControlFloat(0, 0) == FLOAT_INEXACT &&
                                 later == "KxAccessViolationException";
            std::_Exit(isRight ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

class Application : public KxWinApp {
public:
    void Abort() override { std::_Exit(43); }
};

TEST(HandlerDeathTest, TerminateAndUnexpected) {
    struct {
        char const* name;
        void (*body)();
        int code;
    } const cases[] = {
        {"application",
         [] {
             Application const application;
             KxTerminateHandler const guard;
             std::terminate();
         },
         43},
        {"uncaught fault",
         [] {
             Application const application;
             KxTerminateHandler const guard;
             std::thread([] {
                 KxSEHandler const faults(FLOAT_ALL);
                 ReadInt(Null());
             }).join();
         },
         43},
        {"own",
         [] {
             KxTerminateHandler const guard([] { std::_Exit(44); });
             { KxTerminateHandler const inner; }
             std::terminate();
         },
         44},
        {"unexpected",
         [] {
             KxTerminateHandler const end([] { std::_Exit(45); });
             KxUnexpectedHandler const guard;
             KxxUnexpected();
         },
         45},
        {"own unexpected",
         [] {
             KxUnexpectedHandler const guard([] { std::_Exit(46); });
             { KxUnexpectedHandler const inner; }
             KxxUnexpected();
         },
         46},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EXIT(
            {
                PrepareDeath();
                c.body();
            },
            testing::ExitedWithCode(c.code), "");
    }
    EXPECT_EXIT(
        {
            PrepareDeath();
            KxTerminateHandler const guard;
            std::terminate();
        },
        DiedOf{SIGABRT}, "");
}

}  // namespace
