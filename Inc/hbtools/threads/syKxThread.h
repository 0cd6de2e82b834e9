// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxThread: a thread object that can run again and again, and whose worker ends when it is asked to. The worker looks at
// CheckForTermination, Sleep or WaitFor; once somebody called AttemptTermination they end it, by an exception that passes
// through the worker's code to the entry of the thread. Code that does not know its thread object uses the free functions.
//
//     KxThread thread(L"reader");
//     thread.Run(KxxMakeLink(&reader, &Reader::Work));
//     void Reader::Work() { while (Next()) KxxThreadSleep(10); }   // on the thread
//     thread.AttemptTermination(5000);                             // milliseconds
//
// A handler of KxException* or CException* in the worker's code lets pass on what answers EndsThread(). Errors: as in
// syThreadLauncher.h. Lifetime: the destructor ends the worker, after one second by force, which leaves behind what the
// worker owned; one that is out of reach (syThread.h) goes on without an owner, which standard error is told, and its
// CWinThread stays. A derived class calls AttemptTermination in its own destructor, while its part still stands. Any thread may
// call the operations, but for those that are said to be the worker's; the destructor is not for the worker itself.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/threads/syThreadLauncher.h"

#include <memory>

namespace KxN {

class KX_API KxThread : public KxThreadLauncher {
public:
    KxThread(KxString const& name = KxString());
    KxThread(KxThread const&) = delete;
    KxThread& operator=(KxThread const&) = delete;
    /// AttemptTermination(1000); a worker that does not hear is killed where it stands.
    ~KxThread() override;

    /// Starts a worker that calls the link with this object. 0 if one is running, which goes on undisturbed, or if the
    /// system gives no thread.
    int Run(KxTools::Link const& link);
    int IsRunning();
    /// Non-zero if the worker is suspended, or will be when it starts.
    int IsSuspended() const { return m_isSuspended; }
    /// Suspensions are counted while a worker runs. Without one the next starts suspended. See syThread.h for where a
    /// thread is suspended, and for those that are out of reach: nothing changes then. A worker may suspend itself; one that
    /// was asked to end ends instead.
    void Suspend();
    void Resume();
    /// Of the worker as the system has it, else that of the next. Raising it takes a privilege.
    int GetPriority();
    void SetPriority(int priority);

    /// Asks the worker to end, resumes it as often as it is suspended, and waits up to `timeout` milliseconds for its end.
    /// 1 if that worker no longer runs; 0 if it still does: the request stands.
    int AttemptTermination(unsigned long timeout);
    /// 1 if the worker was asked to end. That takes the request back: a worker that asks so must end at the first 1.
    int HasToTerminate() const;
    /// The worker's: ends it here if it was asked to.
    void CheckForTermination();
    /// The worker's: ends it here.
    void EndThread();
    /// The worker's: sleeps for `timeout` milliseconds, and ends as soon as it is asked to; 0 lets others run first.
    void Sleep(unsigned long timeout);
    /// The worker's: waits up to `timeout` milliseconds for the object, and ends as soon as it is asked to. 1 if it got the
    /// object, 0 if the time is over, and at once if the object cannot be waited for together with others
    /// (CCriticalSection).
    int WaitFor(unsigned long timeout, CSyncObject& object);
    /// Set by a request to end; cleared by whom it lets pass.
    CEvent& GetTerminationEvent() { return m_terminationEvent; }
    /// What OnThreadEnd calls with the KxThread; returns the former one.
    KxTools::Link ChangeThreadEndNotifyHdl(KxTools::Link const& link);

protected:
    /// On the worker, when it ends for having been asked to. Calls the handler, then throws
    /// KxThreadFinalizeException2*. An override that returns lets the worker go on.
    virtual void OnThreadEnd();

private:
    friend class KxThreadFinalizeException;
    friend class KxThreadFinalizeException2;

    KxString Describe() const;
    bool IsAlive() const;
    std::shared_ptr<CWinThread> Collect();
    bool ResumeOnce();

    std::unique_ptr<std::atomic<KxThread*>> m_self;  // what the worker knows its owner by
    std::shared_ptr<CWinThread> m_thread;            // null if there is none
    mutable CEvent m_terminationEvent;
    mutable CCriticalSection m_lock;  // guards m_thread, the priority and the handler
    std::atomic<int> m_isSuspended = 0;
    KxTools::Link m_endNotification;
};

/// For an application's own use; its text names the calling KxThread. If it reaches the entry of a thread it is reported
/// as any other.
class KX_API KxThreadFinalizeException : public KxException {
public:
    KxThreadFinalizeException();
};

/// The signal that ends a worker. Who catches it must throw it on: EndsThread() is true.
class KX_API KxThreadFinalizeException2 : public KxException {
public:
    /// The text is name and number of the thread; empty for null.
    explicit KxThreadFinalizeException2(KxThread* thread);
    bool EndsThread() const override;
};

/// The object whose worker the calling thread is; null in any other thread, and once the object is destroyed. Costs no lock.
KX_API KxThread* KxxThreadGetOwner();
/// KxThread::HasToTerminate of the owner; 0 without one.
KX_API int KxxThreadHasToTerminate();
/// Dispatches one message of the calling thread's queue, if one waits.
KX_API void KxxThreadPumpMessages();
/// KxThread::Sleep of the owner; without one the system's Sleep.
KX_API void KxxThreadSleep(unsigned long timeout);
/// KxThread::WaitFor of the owner. Without one it waits for the object alone and returns 0 in every case: the result has a
/// meaning only in a worker.
KX_API int KxxThreadWaitFor(unsigned long timeout, CSyncObject& object);

}  // namespace KxN
