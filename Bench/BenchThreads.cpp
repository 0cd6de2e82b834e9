// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Threads. "thread-start" starts a worker and waits for its end; "thread-wake" is one round of ping and pong between two
// threads, so two wakings, n = 1 on one processor, n = 2 on two; "thread-check" is one check for termination, of a worker
// that knows its object (n = 0) or finds it (n = 1), beside one of std::stop_token; "message" goes to n receivers, and the peer
// copies a vector of pointers under a mutex; "post-call" posts a call and dispatches it, n at a time.
#include "hbtools/base/syWinApp.h"
#include "hbtools/threads/syKxThread.h"
#include "hbtools/threads/syMsgCommunicator.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>
#include <sched.h>

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

using namespace KxN;

namespace {

struct Counter {
    void Count() { ++calls; }
    std::atomic<long> calls = 0;
};

void StartOurs(benchmark::State& state) {
    Counter counter;
    KxThread thread(L"bench");
    for (auto _ : state) {
        thread.Run(KxxMakeLink(&counter, &Counter::Count));
        thread.AttemptTermination(INFINITE);
    }
    if (counter.calls != static_cast<long>(state.iterations())) state.SkipWithError("threads are missing");
}
BENCHMARK(StartOurs)->Name("thread-start/hbtools/1")->UseRealTime();

void StartStandard(benchmark::State& state) {
    Counter counter;
    for (auto _ : state) std::thread(&Counter::Count, &counter).join();
    if (counter.calls != static_cast<long>(state.iterations())) state.SkipWithError("threads are missing");
}
BENCHMARK(StartStandard)->Name("thread-start/std::thread/1")->UseRealTime();

/// Puts the calling thread on one processor, counted among those that the process may use.
void StayOn(std::size_t index) {
    static cpu_set_t const allowed = [] {
        cpu_set_t set;
        ::sched_getaffinity(0, sizeof set, &set);
        return set;
    }();
    for (std::size_t cpu = 0, seen = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (!CPU_ISSET(cpu, &allowed) || seen++ != index) continue;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(cpu, &one);
        ::sched_setaffinity(0, sizeof one, &one);
        return;
    }
}

struct Events {
    explicit Events(std::size_t there) : cpu(there) {}
    void Answer() {
        StayOn(cpu);
        for (;;)
            if (KxxThreadGetOwner()->WaitFor(INFINITE, ping)) pong.SetEvent();
    }
    std::size_t cpu;
    CEvent ping, pong;
};

// On a thread of its own, since the processor is chosen for good.
void WakeOurs(benchmark::State& state) {
    std::thread([&] {
        StayOn(0);
        Events events(static_cast<std::size_t>(state.range(0) - 1));
        KxThread thread;
        thread.Run(KxxMakeLink(&events, &Events::Answer));
        for (auto _ : state) {
            events.ping.SetEvent();
            events.pong.Lock();
        }
    }).join();
}
BENCHMARK(WakeOurs)->Name("thread-wake/hbtools")->Arg(1)->Arg(2)->UseRealTime();

/// An event of the standard library, which clears itself.
struct Flag {
    void Set() {
        {
            std::lock_guard const lock(mutex);
            isSet = true;
        }
        changed.notify_one();
    }
    bool Wait(std::stop_token const& stop) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return isSet || stop.stop_requested(); });
        return std::exchange(isSet, false);
    }
    std::mutex mutex;
    std::condition_variable changed;
    bool isSet = false;
};

void WakeStandard(benchmark::State& state) {
    std::thread([&] {
        StayOn(0);
        Flag ping, pong;
        std::stop_source stop;
        std::thread thread([&, token = stop.get_token()] {
            StayOn(static_cast<std::size_t>(state.range(0) - 1));
            while (ping.Wait(token)) pong.Set();
        });
        for (auto _ : state) {
            ping.Set();
            pong.Wait({});
        }
        stop.request_stop();
        { std::lock_guard const lock(ping.mutex); }
        ping.changed.notify_one();
        thread.join();
    }).join();
}
BENCHMARK(WakeStandard)->Name("thread-wake/condition_variable")->Arg(1)->Arg(2)->UseRealTime();

struct Checks {
    void Run() {
        if (state.range(0) == 0) {
            KxThread& owner = *KxxThreadGetOwner();
            for (auto _ : state) owner.CheckForTermination();
        } else {
            long asked = 0;
            for (auto _ : state) asked += KxxThreadHasToTerminate();
            if (asked != 0) state.SkipWithError("nobody asked");
        }
    }
    benchmark::State& state;
};

void CheckOurs(benchmark::State& state) {
    Checks checks{state};
    KxThread thread;
    thread.Run(KxxMakeLink(&checks, &Checks::Run));
    while (thread.IsRunning()) Sleep(1);
}
BENCHMARK(CheckOurs)->Name("thread-check/hbtools")->Arg(0)->Arg(1)->UseRealTime();

void CheckStandard(benchmark::State& state) {
    std::stop_source source;
    std::stop_token const token = source.get_token();
    long asked = 0;
    for (auto _ : state) {
        asked += token.stop_requested();
        benchmark::ClobberMemory();
    }
    if (asked != 0) state.SkipWithError("nobody asked");
}
BENCHMARK(CheckStandard)->Name("thread-check/stop_token")->Arg(0)->Arg(1)->UseRealTime();

struct Number : KxBaseMsg {
    int value = 0;
};

// Of two classes, so that no compiler calls the one there is directly.
template <class Base, int kind>
class Receiver final : public Base {
public:
    explicit Receiver(long& sum) : m_sum(sum) {}
    void ReceiveMsg(KxBaseMsg* message) override { m_sum += static_cast<Number*>(message)->value; }

private:
    long& m_sum;
};

/// That many receivers, and in the sum what they have got.
template <class Base>
struct Receivers {
    explicit Receivers(long count) {
        for (long i = 0; i < count; ++i)
            if (i % 2)
                odd.emplace_back(sum), all.push_back(&odd.back());
            else
                even.emplace_back(sum), all.push_back(&even.back());
    }
    long sum = 0;
    std::deque<Receiver<Base, 0>> even;
    std::deque<Receiver<Base, 1>> odd;
    std::vector<Base*> all;
};

class Talker : public KxMsgCommunicator {
public:
    void Say(KxBaseMsg* message) { SendMsg(message); }
};

void MessageOurs(benchmark::State& state) {
    Receivers<KxMsgCommunicator> receivers(state.range(0));
    Talker sender;
    for (KxMsgCommunicator* receiver : receivers.all) sender.AddMsgReceiver(receiver);
    Number message;
    message.value = 3;
    for (auto _ : state) sender.Say(&message);
    if (receivers.sum != 3 * state.range(0) * static_cast<long>(state.iterations()))
        state.SkipWithError("messages are missing");
}
BENCHMARK(MessageOurs)->Name("message/hbtools")->Arg(10)->Arg(100)->UseRealTime();

class Listener {
public:
    virtual ~Listener() = default;
    virtual void ReceiveMsg(KxBaseMsg* message) = 0;
};

void MessagePlain(benchmark::State& state) {
    Receivers<Listener> receivers(state.range(0));
    std::mutex mutex;
    Number message;
    message.value = 3;
    for (auto _ : state) {
        std::unique_lock lock(mutex);
        std::vector<Listener*> const copy(receivers.all);
        lock.unlock();
        for (Listener* const listener : copy) listener->ReceiveMsg(&message);
    }
    if (receivers.sum != 3 * state.range(0) * static_cast<long>(state.iterations()))
        state.SkipWithError("messages are missing");
}
BENCHMARK(MessagePlain)->Name("message/vector")->Arg(10)->Arg(100)->UseRealTime();

void PostOurs(benchmark::State& state) {
    KxWinApp application;
    Counter counter;
    for (auto _ : state) {
        for (long i = 0; i < state.range(0); ++i)
            application.PostCallLink(KxxMakeLink(&counter, &Counter::Count), nullptr);
        application.Reschedule();
    }
    if (counter.calls != static_cast<long>(state.iterations()) * state.range(0))
        state.SkipWithError("calls are missing");
    state.SetItemsProcessed(counter.calls);
}
BENCHMARK(PostOurs)->Name("post-call/hbtools")->Arg(1)->Arg(100)->UseRealTime();

void PostStandard(benchmark::State& state) {
    std::deque<std::function<void()>> queue;
    std::mutex mutex;
    std::condition_variable changed;
    Counter counter;
    for (auto _ : state) {
        for (long i = 0; i < state.range(0); ++i) {
            {
                std::lock_guard const lock(mutex);
                queue.emplace_back([&counter] { counter.Count(); });
            }
            changed.notify_one();
        }
        for (;;) {
            std::unique_lock lock(mutex);
            if (queue.empty()) break;
            std::function<void()> const call = std::move(queue.front());
            queue.pop_front();
            lock.unlock();
            call();
        }
    }
    if (counter.calls != static_cast<long>(state.iterations()) * state.range(0))
        state.SkipWithError("calls are missing");
    state.SetItemsProcessed(counter.calls);
}
BENCHMARK(PostStandard)->Name("post-call/std::function")->Arg(1)->Arg(100)->UseRealTime();

}  // namespace
