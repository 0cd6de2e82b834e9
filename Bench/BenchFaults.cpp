// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What faults and guards cost. A translated fault stands beside a plain throw of the same exception, a loop under a
// guard beside the same loop without one, operator new beside that of the language's own library.
#include "hbtools/base/syException.h"
#include "hbtools/diagnostics/syHandlers.h"

#include <benchmark/benchmark.h>

#include <csignal>
#include <vector>
#include <dlfcn.h>
#include <ucontext.h>

using namespace KxN;

namespace {

__attribute__((noinline)) int Read(int const volatile* from) {
    return *from;
}
__attribute__((noinline)) int Throw() {
    throw new KxAccessViolationException();
}

template <class Call>
void Catch(benchmark::State& state, Call call) {
    for (auto _ : state) {
        try {
            benchmark::DoNotOptimize(call());
            state.SkipWithError("nothing was thrown");
        } catch (KxAccessViolationException* exception) {
            exception->Delete();
        }
    }
}

void Fault(benchmark::State& state) {
    KxSEHandler const guard(FLOAT_ALL);
    int const* volatile null = nullptr;
    Catch(state, [&] { return Read(null); });
}
void PlainThrow(benchmark::State& state) {
    Catch(state, Throw);
}
/// What the system alone takes to deliver the signal and to return from it: nothing of ours can be faster.
void SignalAlone(benchmark::State& state) {
    struct sigaction action {
    }, former{};
    action.sa_flags = SA_SIGINFO;
    action.sa_sigaction = [](int, siginfo_t*, void* context) {
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP] += 2;
    };
    ::sigaction(SIGSEGV, &action, &former);
    for (auto _ : state) asm volatile("xor %%ecx, %%ecx; mov (%%rcx), %%eax" ::: "rax", "rcx", "cc");  // two bytes long
    ::sigaction(SIGSEGV, &former, nullptr);
}

void Guard(benchmark::State& state) {
    for (auto _ : state) {
        KxSEHandler const guard(FLOAT_ALL);
        benchmark::ClobberMemory();
    }
}

/// Distances of points from the origin, with the guard outside as in an application.
void Loop(benchmark::State& state) {
    std::vector<double> const points(static_cast<std::size_t>(state.range(0)), 1.25);
    for (auto _ : state) {
        double sum = 0;
        for (std::size_t i = 0; i + 2 < points.size(); i += 3)
            sum += points[i] * points[i] + points[i + 1] * points[i + 1] + points[i + 2] * points[i + 2];
        benchmark::DoNotOptimize(sum);
    }
}
void GuardedLoop(benchmark::State& state) {
    {
        KxSEHandler const guard;
        Loop(state);
    }
    KxxControlFloat(FLOAT_ALL, FLOAT_ALL);
}

template <class Take, class Give>
void Request(benchmark::State& state, Take take, Give give) {
    for (auto _ : state) {
        void* memory = take(static_cast<std::size_t>(state.range(0)));
        benchmark::DoNotOptimize(memory);
        give(memory);
    }
}
void New(benchmark::State& state) {
    Request(
        state, [](std::size_t size) { return ::operator new(size); }, [](void* memory) { ::operator delete(memory); });
}
/// What the operators would be without the library.
void NewOfLanguage(benchmark::State& state) {
    void* const library = ::dlopen("libstdc++.so.6", RTLD_NOW);
    auto const take = reinterpret_cast<void* (*)(std::size_t)>(::dlsym(library, "_Znwm"));
    auto const give = reinterpret_cast<void (*)(void*)>(::dlsym(library, "_ZdlPv"));
    if (!take || !give) return state.SkipWithError("not found");
    Request(state, take, give);
}

BENCHMARK(Fault)->Name("fault/hbtools");
BENCHMARK(PlainThrow)->Name("fault/throw");
BENCHMARK(SignalAlone)->Name("fault/signal alone");
BENCHMARK(Guard)->Name("guard/hbtools");
BENCHMARK(GuardedLoop)->Name("guarded loop/hbtools")->Arg(30000);
BENCHMARK(Loop)->Name("guarded loop/no guard")->Arg(30000);
BENCHMARK(New)->Name("new/hbtools")->Arg(48);
BENCHMARK(NewOfLanguage)->Name("new/libstdc++")->Arg(48);

}  // namespace
