// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Emitting a signal beside a loop over a vector of std::function, the least that calling unknown slots can cost, and
// beside Boost.Signals2.
#include "hbtools/core/sySignal.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <vector>

#ifdef HBTOOLS_BENCH_SIGNALS2
#include <boost/signals2/signal.hpp>
#endif

namespace {

struct Receiver {
    void On(int value) { sum += value; }
    long long sum = 0;
};

template <class Emit>
void Measure(benchmark::State& state, std::vector<Receiver>& receivers, Emit emit) {
    emit(3);
    for (Receiver const& receiver : receivers)
        if (receiver.sum != 3) state.SkipWithError("a slot was not called once");
    for (auto _ : state) {
        emit(1);
        benchmark::ClobberMemory();
    }
}

void EmitOurs(benchmark::State& state) {
    std::vector<Receiver> receivers(static_cast<std::size_t>(state.range(0)));
    KxN::KxTSignal<int> signal;
    for (Receiver& receiver : receivers) signal.Connect(&receiver, &Receiver::On);
    Measure(state, receivers, [&](int value) { signal.Emit(value); });
}
BENCHMARK(EmitOurs)->Name("emit/hbtools")->Arg(1)->Arg(10);

void EmitFunctions(benchmark::State& state) {
    std::vector<Receiver> receivers(static_cast<std::size_t>(state.range(0)));
    std::vector<std::function<void(int)>> slots;
    slots.reserve(receivers.size());
    for (Receiver& receiver : receivers) slots.emplace_back([&receiver](int value) { receiver.On(value); });
    benchmark::DoNotOptimize(slots.data());
    Measure(state, receivers, [&](int value) {
        for (auto const& slot : slots) slot(value);
    });
}
BENCHMARK(EmitFunctions)->Name("emit/std::function")->Arg(1)->Arg(10);

#ifdef HBTOOLS_BENCH_SIGNALS2
void EmitBoost(benchmark::State& state) {
    std::vector<Receiver> receivers(static_cast<std::size_t>(state.range(0)));
    boost::signals2::signal<void(int)> signal;
    for (Receiver& receiver : receivers) signal.connect([&receiver](int value) { receiver.On(value); });
    Measure(state, receivers, [&](int value) { signal(value); });
}
BENCHMARK(EmitBoost)->Name("emit/Boost.Signals2")->Arg(1)->Arg(10);
#endif

}  // namespace
