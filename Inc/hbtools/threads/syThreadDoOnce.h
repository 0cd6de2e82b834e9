// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxThreadDoOnce runs the Process of a derived class once on a thread of its own, keeps what it failed of, and tells the
// application by a signal that is posted to the main window of the thread that started it:
//
//     class Loader : public KxThreadDoOnce { void Process() override { while (Next() && !ShouldBeAborted(0)) ...; } };
//     KxThreadSignalWindow window;  AfxGetThread()->SetMainWnd(&window);      // once, at start
//     loader.SignalFinished.Signal.Connect(&view, &View::OnLoaded);           // before Start
//     loader.Start();
//
// Errors: a CException of Process is kept, see GetException; one that EndsThread() then ends the thread silently. Anything
// else ends the run without success or signal and is reported as by a KxThreadLauncher. Threads: operations on the
// owner's thread but for those said to be the worker's; what describes a run is to be asked after WaitUntilReady.
// Lifetime: the destructor waits without limit for the end of Process; a derived class waits in its own destructor
// (Abort, WaitUntilReady), since Process uses it. Without a main window, or once it is destroyed, no signal is
// delivered.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/base/sySync.h"
#include "hbtools/base/syWnd.h"
#include "hbtools/core/sySignal.h"

#include <atomic>
#include <memory>

namespace KxN {

namespace detail {
struct Answer;
}

/// A signal that crosses threads. The message "SIGNAL_ARRIVED" carries its address in lParam; who receives it emits Signal
/// with Argument and sets Handled. A second post before that replaces the argument.
class KX_API KxThreadSignal {
public:
    KxThreadSignal();
    KxThreadSignal(KxThreadSignal const&) = delete;
    KxThreadSignal& operator=(KxThreadSignal const&) = delete;
    ~KxThreadSignal();

    /// Posts to the main window of the calling thread. Nothing happens, and nobody is told, if there is none or if
    /// `KxLimits::postedCalls` messages wait for its thread already.
    void Post(void* argument);
    /// For receivers: emits on the calling thread if that address is a signal that lives, and that was posted once more than
    /// it was delivered; answers whether it was.
    static int Deliver(LPARAM lParam);

    KxTSignal<void*> Signal;
    KxThreadSignal* Self = this;
    std::atomic<void*> Argument = nullptr;
    CEvent Handled;

private:
    friend class KxThreadIdle;

    bool Post(void* argument, std::shared_ptr<detail::Answer> answer);
    /// Only replaces the argument while the former message still waits in the queue.
    void PostUnlessWaiting(void* argument);

    std::atomic<int> m_numPosted = 0;           // messages under way
    std::shared_ptr<detail::Answer> m_waiting;  // the last message of PostUnlessWaiting; for the thread that posts
};

/// A main window for applications without another: delivers every KxThreadSignal on the thread that made it. It takes
/// addresses of signals only; one that is gone, or was none, is dropped. A signal must not be destroyed on another thread
/// while it is being delivered.
class KX_API KxThreadSignalWindow : public CWnd {
public:
    LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam) override;
};

class KX_API KxThreadDoOnce {
public:
    KxThreadDoOnce();
    KxThreadDoOnce(KxThreadDoOnce const&) = delete;
    KxThreadDoOnce& operator=(KxThreadDoOnce const&) = delete;
    /// Aborts, and waits for the end of Process.
    virtual ~KxThreadDoOnce();

    /// Starts a run. None may be under way. @throws KxException if the system gives no thread, std::bad_alloc without
    /// memory; it is ready then
    void Start();
    /// Asks Process to end; nothing else. Any thread.
    void Abort();
    /// Waits up to `timeout` milliseconds for the end of the run. Non-zero if none is under way. Any thread.
    int WaitUntilReady(unsigned long timeout);
    /// Non-zero if Process has noticed an abort, in any run.
    int WasAborted() const { return m_aborted; }
    /// Non-zero if the last run neither noticed an abort nor failed.
    int WasSuccessful() const { return m_aborted == 0 && m_successful != 0; }
    /// A copy of the last failure; an empty one if there was none.
    KxException GetException() { return KxException(m_exception); }
    /// What SignalFinished is emitted with, as a pointer; 0 unless set.
    void SetFinishedArgument(long long argument) { m_finishedArgument = argument; }

    KxThreadSignal SignalFinished;  ///< The run has ended.
    KxThreadSignal SignalReport;    ///< For reports of derived classes.

protected:
    /// The worker's: waits up to `timeout` milliseconds for an abort, and returns 1 if it came.
    int ShouldBeAborted(unsigned long timeout);
    /// The run: Process, its failure, the signal, and last of all the event for which others wait. An override calls it
    /// and touches nothing of the object behind that. Throws on what EndsThread(); the event comes behind that then.
    virtual void FrameProcess();

private:
    virtual void Process() = 0;

    static UINT Main(void* object);
    void PostFinished();

    std::atomic<int> m_aborted = 0;
    std::atomic<int> m_successful = 0;
    CEvent m_abort{0, 1};
    CEvent m_ready{1, 1};
    KxException m_exception;
    long long m_finishedArgument = 0;
};

}  // namespace KxN
