// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxProcess: a piece of work on the main thread, with callbacks for the user interface around it. It is no thread: the body
// runs from the application's posted calls, so the application stays as it is until the body ends or lets it reschedule.
//
//     class Fit : public KxProgressProcess {
//         void Process() override { for (...) { SetPercentage(done); GetpApp()->Reschedule(); if (IsAborted()) return; } }
//     };
//     fit.SetProgressHdl(KxxMakeLink(&bar, &Bar::Show));   // called with the KxProcess*
//     fit.Execute();
//
// Errors: a CException of the body is kept and the error output handler called; without one it goes on to who pumps the
// messages. Threads: the application's main thread only. Lifetime: a started process lives until its body has run; a copy
// shares the kept exception, which lives as long as one of them.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/base/syLink.h"
#include "hbtools/base/syTimer.h"

#include <memory>

namespace KxN {

class KX_API KxProcess {
public:
    KxProcess(int abortable = 1);
    KxProcess(KxProcess const& other);
    KxProcess& operator=(KxProcess const& other);

    /// What the timer calls: posts the run. Returns 1. If the queue is full then, the run has failed as FrameProcess tells.
    virtual long long StartHdl(void* argument);
    /// The run: the body, its failure, the end process handler, after a CException the error output handler. Returns 1.
    /// @throws what the body throws, unless it is a CException that does not EndsThread() and there is an error output
    /// handler; and what a handler throws, in its place. The process is ready before a CException leaves
    virtual long long FrameProcess(void* argument);

protected:
    /// The body. It tests IsAborted() where it can stop.
    virtual void Process() = 0;

public:
    virtual ~KxProcess();

    /// Calls the process handler, arranges for the run in `delay` milliseconds, and calls the screen output handler. The
    /// run begins in the message loop, also for a delay of 0.
    /// @throws KxException without an application, before anything else; or if its queue is full for a delay of 0
    void Start(unsigned long delay);
    void Execute() { Start(100); }
    /// Start(0) and WaitUntilReady().
    void ExecuteAndWaitUntilReady();
    /// Runs the message loop until the body has ended; for ever if it was not started.
    /// @throws KxException without an application
    void WaitUntilReady() const;

    /// Asks the body to end, whatever IsAbortable says.
    void Abort() { m_aborted = 1; }
    int IsAborted() const { return m_aborted; }
    void SetAbortable() { m_abortable = 1; }
    void SetNotAbortable() { m_abortable = 0; }
    /// What the user interface may offer.
    int IsAbortable() const { return m_abortable; }
    /// 1 if the last run raised nothing and no abort was asked for.
    int WasSuccessful() const { return m_aborted == 0 && m_successful == 1; }

    // Each handler is called with the KxProcess*; an empty one is skipped.
    KxTools::Link GetProcessHdl() const { return m_processHdl; }  ///< At the very start.
    void SetProcessHdl(KxTools::Link const& link) { m_processHdl = link; }
    KxTools::Link GetScreenOutputHdl() const { return m_screenOutputHdl; }  ///< When the run is arranged for.
    void SetScreenOutputHdl(KxTools::Link const& link) { m_screenOutputHdl = link; }
    KxTools::Link GetEndProcessHdl() const { return m_endProcessHdl; }  ///< When the body has ended.
    void SetEndProcessHdl(KxTools::Link const& link) { m_endProcessHdl = link; }
    KxTools::Link GetErrorOutputHdl() const { return m_errorOutputHdl; }  ///< When the body has failed.
    void SetErrorOutputHdl(KxTools::Link const& link) { m_errorOutputHdl = link; }

    /// A text for the handlers.
    void SetMessage(KxString message) { m_message = std::move(message); }
    KxString GetMessageW() const { return m_message; }
    /// Keeps a copy.
    void SetException(KxException& exception);
    /// A copy of the last failure, also of an earlier run; an empty one if there was none.
    KxException GetException() const;

    /// StartHdl and FrameProcess as targets of a KxTools::Link; `object` is a KxProcess.
    static long long LinkStubStartHdl(void* object, void* argument);
    static long long LinkStubFrameProcess(void* object, void* argument);

protected:
    void EndProcessHdl() { m_endProcessHdl.Call(this); }
    void ErrorOutputHdl() { m_errorOutputHdl.Call(this); }

private:
    void PostRun();
    void Fail(CException* caught);

    int m_aborted = 0;
    int m_ready = 0;
    int m_successful = 1;
    int m_abortable;
    KxTools::Link m_processHdl, m_screenOutputHdl, m_endProcessHdl, m_errorOutputHdl;
    KxString m_message;
    std::shared_ptr<KxException> m_exception;
    KxTimer m_timer;
};

class KX_API KxProgressProcess : public KxProcess {
public:
    KxProgressProcess(int abortable = 1);
    KxProgressProcess(KxProgressProcess const& other);
    KxProgressProcess& operator=(KxProgressProcess const& other);
    ~KxProgressProcess() override;

    unsigned short GetPercentage() const { return m_percentage; }
    /// Stores it, above 100 too, and calls the progress handler on the calling thread.
    void SetPercentage(unsigned short percentage);
    KxTools::Link GetProgressHdl() const { return m_progressHdl; }
    void SetProgressHdl(KxTools::Link const& link) { m_progressHdl = link; }

protected:
    void ShowProgressHdl() { m_progressHdl.Call(static_cast<KxProcess*>(this)); }

private:
    unsigned short m_percentage = 0;
    KxTools::Link m_progressHdl;
};

/// About the process of the system that runs this program.
class KX_API KxProcessInfo {
public:
    KxProcessInfo() = default;
    KxProcessInfo(KxProcessInfo const&) = default;
    KxProcessInfo& operator=(KxProcessInfo const&) { return *this; }
    static unsigned long GetProcessID();
};

}  // namespace KxN
