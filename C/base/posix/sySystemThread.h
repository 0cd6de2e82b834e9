// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The threads of the system under CWinThread: start, suspension with counts, priority, end and kill.
//
// Suspending and killing reach a thread by a real-time signal, wherever it is, with three exceptions. A thread that sleeps
// in a SleepPlace counts as suspended at once and stops when it leaves; to be killed it is woken, so that it can take itself
// out of the queues it stands in. A thread that runs code of this library, of the C or the C++ library may hold their
// locks: it is asked again a little later, and only one that blocks there in a call of the system is taken there.
#pragma once

#include "syFutex.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <pthread.h>

namespace KxN::detail {

/// The system's number of the calling thread, unique among all threads that live.
unsigned long CurrentThreadId();
/// The system's number of this process.
unsigned long CurrentProcessId();
/// Ends the calling thread, after its stack is unwound.
[[noreturn]] void ExitThread();
/// Lets others run.
void Yield();

class SystemThread {
public:
    static constexpr unsigned long failure = 0xFFFFFFFF;

    /// Starts a thread that runs body(argument); it stands at `place` before its first step. False if the system gives
    /// none. `stackSize` in bytes, 0 is the usual size.
    static bool Start(std::shared_ptr<SystemThread>& place, void (*body)(void*), void* argument, std::size_t stackSize,
                      bool suspended);
    SystemThread() = default;
    SystemThread(SystemThread const&) = delete;
    SystemThread& operator=(SystemThread const&) = delete;
    ~SystemThread();
    /// Of the calling thread; null if it was not started here.
    static std::shared_ptr<SystemThread> Current();

    /// The system's number; waits until the thread knows it.
    unsigned long Id();
    /// Both return the count before, `failure` for a thread that has ended.
    unsigned long Suspend();
    unsigned long Resume();
    unsigned long NumSuspensions() const { return static_cast<unsigned long>(m_suspensions.load()); }
    /// The number by which the system orders threads that are ready, -20 (first) to 19.
    static bool SetNice(unsigned long id, int nice);
    static bool GetNice(unsigned long id, int& nice);
    /// Whether the thread has ended, after `timeout` milliseconds at most.
    bool WaitForEnd(unsigned long timeout);
    /// Ends the thread where it stands. Its stack is not unwound. False if it cannot be reached.
    bool Kill();

private:
    friend class SleepPlace;
    friend struct ThreadSignal;
    friend void StopPoint(void const* caller) noexcept;

    static void* Enter(void* argument);
    static void End(void* argument);
    bool IsBusy(std::uintptr_t instruction, std::uintptr_t stack);
    bool IsHalted() const;
    bool Halt();
    void StopHere();
    void Finish();

    pthread_t m_handle{};
    void (*m_body)(void*) = nullptr;
    void* m_argument = nullptr;
    std::shared_ptr<SystemThread> m_self;  // held by the running thread
    std::mutex m_mutex;                    // one operation at a time
    std::atomic<int> m_id = 0;
    std::atomic<int> m_ended = 0;
    std::atomic<int> m_suspensions = 0;
    std::atomic<int> m_isDying = 0;
    std::atomic<int> m_isKilled = 0;
    std::atomic<int> m_isForced = 0;
    std::atomic<int> m_isStopped = 0;
    std::atomic<int> m_numAnswers = 0;
    std::atomic<std::atomic<int>*> m_sleepWord = nullptr;
    // Where the signal last found it; for its handler.
    std::uintptr_t m_instruction = 0;
    std::uintptr_t m_stack = 0;
    int m_numSame = 0;
};

/// While it exists the calling thread sleeps on the word, which is 0 until there is a reason to wake. A kill makes it
/// `killed`: the thread takes back what it has left with others, then calls EndKilled.
class SleepPlace {
public:
    static constexpr int killed = -2;

    explicit SleepPlace(std::atomic<int>& word);
    SleepPlace(SleepPlace const&) = delete;
    SleepPlace& operator=(SleepPlace const&) = delete;
    ~SleepPlace();

    [[noreturn]] static void EndKilled();

private:
    SystemThread* m_thread;
};

}  // namespace KxN::detail
