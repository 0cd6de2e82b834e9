// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The threads of the system under CWinThread: start, suspension with counts, priority, end and kill.
//
// Suspending and killing reach a thread by a real-time signal, wherever it is, with these exceptions. A thread that sleeps
// in a SleepPlace counts as suspended at once and stops when it leaves; to be killed it is woken, so that it can take itself
// out of the queues it stands in. A thread that holds a lock of this library (Hold) is asked again until it gives it back.
// One that runs code of this library, of ICU, of the C or the C++ library may hold their locks: it is asked again a little
// later, and one that blocks there in a call of the system is taken there; for a second of answers at most for a kill.
#pragma once

#include "syFutex.h"
#include "syMutex.h"

#include "hbtools/base/syModule.h"

#include <cstdint>
#include <memory>
#include <pthread.h>

namespace KxN::detail {

/// The system's number of the calling thread, unique among all threads that live.
unsigned long CurrentThreadId();
/// The system's number of this process.
unsigned long CurrentProcessId();
/// The calling thread for owners of locks: a number that no other thread ever gets. What it owns by it is abandoned when
/// the thread ends in any way.
unsigned long long ThreadIdentity();
/// Ends the calling thread, after its stack is unwound.
[[noreturn]] void ExitThread();
/// Lets others run.
void Yield();

class SystemThread {
public:
    static constexpr unsigned long failure = 0xFFFFFFFF;

    /// Starts a thread that runs body(argument); it stands at `place` before its first step. False if the system gives
    /// none. `stackSize` in bytes, 0 is the usual size. The module of `code` stays loaded until the thread has ended, as
    /// does that which its launcher gives it to keep.
    static bool Start(std::shared_ptr<SystemThread>& place, void (*body)(void*), void* argument, std::size_t stackSize,
                      bool suspended, void const* code);
    void Keep(KxModuleHold&& hold) { m_launched = std::move(hold); }
    SystemThread() = default;
    SystemThread(SystemThread const&) = delete;
    SystemThread& operator=(SystemThread const&) = delete;
    ~SystemThread();
    bool IsCurrent() const;

    /// The system's number; waits until the thread knows it.
    unsigned long Id();
    /// Both return the count before, `failure` for a thread that has ended or, to be suspended, cannot be reached.
    unsigned long Suspend();
    unsigned long Resume();
    /// The two halves of Suspend. A lock may be held over the first only: the second waits for the thread, and may itself be
    /// stopped or killed. What could not be halted is not suspended.
    unsigned long CountSuspension();
    bool Halt();
    unsigned long NumSuspensions() const { return static_cast<unsigned long>(m_suspensions.load()); }
    /// How far behind others the system lets a thread run, beside a thread of the process when that was started; the sum is
    /// limited to -20 to 19.
    static bool SetNice(unsigned long id, int nice);
    static bool GetNice(unsigned long id, int& nice);
    /// Whether the thread has ended, the destructors of its thread_local objects too, after `timeout` milliseconds at most.
    bool WaitForEnd(unsigned long timeout);
    /// Ends the thread where it stands; its stack is not unwound. Returns no more for the calling thread. False if it cannot
    /// be reached; should it hear later, it may end then.
    bool Kill();

private:
    friend class SleepPlace;
    friend struct ThreadSignal;
    friend void StopNow() noexcept;

    static void* Enter(void* argument);
    bool IsBusy(std::uintptr_t instruction, std::uintptr_t stack);
    bool IsReached(bool isKill) const;
    bool AwaitAnswer(bool isKill, int numAnswers) const;
    bool Reach(bool isKill);
    void StopHere();
    void Finish();
    void LetGo();
    [[noreturn]] void Die();

    pthread_t m_handle{};  // noted by the thread before its number
    void (*m_body)(void*) = nullptr;
    void* m_argument = nullptr;
    KxModuleHold m_module, m_launched;
    std::shared_ptr<SystemThread> m_self;  // held by the running thread
    Mutex m_mutex;                         // guards the counts
    std::atomic<int> m_id = 0;
    std::atomic<int> m_ended = 0;
    std::atomic<int> m_suspensions = 0;
    std::atomic<int> m_isDying = 0;
    std::atomic<int> m_isKilled = 0;
    std::atomic<int> m_isForced = 0;
    std::atomic<int> m_isStopped = 0;
    std::atomic<int> m_isHolding = 0;  // at the last answer
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
