// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The framework's threads. A CWinThread stands for one thread: started with a function (AfxBeginThread) or with a class of
// one's own (InitInstance, Run, ExitInstance), with its queue of messages, its main window and its priority. An application
// that wants a thread it can ask to end takes KxThread of room threads.
//
// Suspending stops a thread between two of its instructions, killing ends it there: its stack is not unwound, what it owned
// leaks, CCriticalSection and CMutex that it held are given back. What is promised of the place:
// - Neither happens while it holds a lock of this library; whoever asks waits for that.
// - It is not suspended in code of the C and C++ libraries or of ICU, which have locks too (the allocator's), unless it
//   blocks there in one call of the system for some 15 ms. One that never leaves that code is not suspended at all.
// - It is killed there only if it blocks likewise, or did not leave that code while it ran for a second; a lock of the
//   C library that it then has is lost.
// - A thread that writes files by this library is stopped and killed between two writes.
// - Locks of the application's and of other libraries a suspended thread keeps, a killed one leaves locked.
// - Out of reach is a thread that keeps the signal SIGRTMIN + 3 from itself for a second, or gives no answer for ten
//   (a call of the system that nothing interrupts), and every thread while RLIMIT_SIGPENDING leaves no room for a signal.
// That signal belongs to this library once a thread was started; each thread unblocks it at its start. Its handler makes
// nanosleep, poll, select, epoll_wait, timed waits for semaphores and for sockets with a time limit return early with EINTR.
//
// A thread object belongs to whoever made it, or deletes itself at the end of its thread. Its operations may be called from
// any thread while it lives.
#pragma once

#include "hbtools/base/syCmdTarget.h"
#include "hbtools/base/sySync.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace KxN {

class CWnd;

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;

namespace detail {
class MessageQueue;
class SystemThread;
struct ThreadAccess;
}  // namespace detail

enum ThreadPriority {
    THREAD_PRIORITY_IDLE = -15,
    THREAD_PRIORITY_LOWEST = -2,
    THREAD_PRIORITY_BELOW_NORMAL = -1,
    THREAD_PRIORITY_NORMAL = 0,
    THREAD_PRIORITY_ABOVE_NORMAL = 1,
    THREAD_PRIORITY_HIGHEST = 2,
    THREAD_PRIORITY_TIME_CRITICAL = 15
};
/// What GetThreadPriority returns for a thread that does not run.
inline constexpr int THREAD_PRIORITY_ERROR_RETURN = 0x7FFFFFFF;
/// A creation flag: the thread waits for ResumeThread before its first step.
inline constexpr unsigned long CREATE_SUSPENDED = 4;

/// What a thread runs; its result is the exit code.
using ThreadProc = UINT (*)(void* parameter);

/// Ends the calling thread: its stack is unwound, its object deleted if it deletes itself and `deleteObject` is non-zero.
[[noreturn]] KX_API void AfxEndThread(UINT exitCode, int deleteObject = 1);

class KX_API CWinThread : public CCmdTarget {
public:
    /// A thread that is still to be started. `proc` null: Run is called.
    explicit CWinThread(ThreadProc proc = nullptr, void* parameter = nullptr);
    CWinThread(CWinThread const&) = delete;
    CWinThread& operator=(CWinThread const&) = delete;
    /// Waits for a thread that has run its last step. One that still runs must not use the object any more.
    ~CWinThread() override;

    /// Starts the thread, once. It gets the main window of the calling thread. `stackSize` in bytes, 0 for the system's
    /// usual one. 0 if the system gives no such thread.
    int CreateThread(unsigned long createFlags = 0, UINT stackSize = 0, SECURITY_ATTRIBUTES* attributes = nullptr);

    /// The number by which the system knows the thread; 0 before the start.
    unsigned long GetThreadId() const;
    UINT GetExitCode() const { return m_exitCode; }
    /// Whether the object deletes itself at the end of its thread; it does unless told otherwise before that.
    int GetAutoDelete() const { return m_autoDelete; }
    void SetAutoDelete(int autoDelete) { m_autoDelete = autoDelete; }

    /// Suspensions are counted. Both return the count before, 0xFFFFFFFF if the thread does not run or, to be suspended, is
    /// out of reach.
    unsigned long SuspendThread();
    unsigned long ResumeThread();
    /// How often it is suspended at this moment; 0 before the start.
    unsigned long GetSuspendCount() const;
    /// Beside THREAD_PRIORITY_NORMAL, which is that of the process when it was started. 0 if the system refuses, since raising a
    /// priority takes a privilege, and for a thread that does not run.
    int SetThreadPriority(int priority);
    /// One of ThreadPriority, as the system has it; THREAD_PRIORITY_ERROR_RETURN for a thread that does not run.
    int GetThreadPriority() const;
    /// Waits up to `timeout` milliseconds for the end of the thread, destructors of its thread_local objects included.
    /// Non-zero once it has ended.
    int WaitForEnd(unsigned long timeout = INFINITE) const;
    /// Ends the thread where it stands; does not return for the calling thread, whose object then does not delete itself. 0
    /// if it does not run or is out of reach: it may end when it can be reached again, and what it uses must stay until
    /// then.
    int TerminateThread(UINT exitCode);

    /// The window that signals and messages of this thread go to; null if there is none, or if it was destroyed. Owned by
    /// others: only on the window's own thread it is certain to live on.
    CWnd* GetMainWnd() const;
    void SetMainWnd(CWnd* window);
    /// Posts a message to the thread itself: PumpMessage hands it to OnThreadMessage. Before the start it waits for that. 0
    /// if the thread has ended, or if KxLimits::postedCalls messages wait already.
    int PostThreadMessage(UINT message, WPARAM wParam, LPARAM lParam);
    /// Whether something waits in the queue. On this thread only, as PumpMessage.
    int HasMessage() const;
    /// Waits for one message, call or timer and dispatches it. 0 when the thread was told to quit.
    virtual int PumpMessage();
    virtual void OnThreadMessage(UINT message, WPARAM wParam, LPARAM lParam);

    /// Before Run; 0 ends the thread.
    virtual int InitInstance();
    /// The message loop, until AfxPostQuitMessage.
    virtual int Run();
    /// Its result is the exit code.
    virtual int ExitInstance();

protected:
    /// Stands for the calling thread from here on, until it is destroyed.
    struct CallingThread {};
    explicit CWinThread(CallingThread);

    detail::MessageQueue& GetQueue() const { return *m_queue; }

private:
    friend void AfxEndThread(UINT exitCode, int deleteObject);
    friend struct detail::ThreadAccess;
    static void Main(void* object);
    void AtEnd();

    ThreadProc m_proc = nullptr;
    void* m_parameter = nullptr;
    std::atomic<unsigned long> m_mainWnd = 0;  // its number
    std::atomic<int> m_autoDelete = 1;
    std::atomic<UINT> m_exitCode = 0;
    std::shared_ptr<detail::MessageQueue> m_queue;
    std::shared_ptr<detail::SystemThread> m_thread;
    unsigned long m_threadId = 0;  // of a thread that was not started here
    CWinThread* m_former = nullptr;
};

/// The object of the calling thread; null in a thread that has none.
KX_API CWinThread* AfxGetThread();

/// Starts a thread that runs proc(parameter). The object deletes itself at the end unless it is told otherwise, which is
/// certain only for a thread that is created suspended. Null if the system gives no thread.
KX_API CWinThread* AfxBeginThread(ThreadProc proc, void* parameter, int priority = THREAD_PRIORITY_NORMAL,
                                  UINT stackSize = 0, unsigned long createFlags = 0,
                                  SECURITY_ATTRIBUTES* attributes = nullptr);

/// Ends the message loop of the calling thread once it has nothing else to do.
KX_API void AfxPostQuitMessage(int exitCode);

/// Suspends the calling thread for so many milliseconds, INFINITE and more for ever; 0 lets others run.
KX_API void Sleep(unsigned long milliseconds);

}  // namespace KxN
