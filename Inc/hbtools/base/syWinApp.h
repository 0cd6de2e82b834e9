// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The application object. A program makes one KxWinApp, or a class derived from it, first of all in `main`; the
// thread that makes it is the main thread. GetpApp() gives it to everybody else, null before and after its life.
//
// Any thread may post a call; the main thread runs the calls in the order they were posted, whenever it lets its
// message loop run. An exception of a call reaches the caller of Reschedule; the calls behind it stay posted. Calls that
// are still posted when the object is destroyed are never run.
//
//     app.PostCallLink(KxxMakeLink(&view, &View::Refresh), nullptr);  // on any thread
//     while (!ready) GetpApp()->Reschedule();                         // on the main thread
#pragma once

#include "hbtools/base/syLink.h"
#include "hbtools/base/syObject.h"

#include <cstddef>
#include <deque>
#include <mutex>

namespace KxN {

/// A thread as an object.
class KX_API CWinThread : public CObject {
public:
    CWinThread(CWinThread const&) = delete;
    CWinThread& operator=(CWinThread const&) = delete;
    ~CWinThread() override;

    /// The number by which the system knows the thread.
    unsigned long GetThreadId() const { return m_threadId; }

protected:
    /// Stands for the calling thread from here on, until it is destroyed.
    CWinThread();

private:
    unsigned long m_threadId;
    CWinThread* m_former;
};

/// The object of the calling thread; null in a thread that has none.
KX_API CWinThread* AfxGetThread();

class KX_API KxWinApp : public CWinThread {
public:
    /// Becomes what GetpApp() gives. @throws KxException if there is an application object already
    KxWinApp();
    ~KxWinApp() override;

    /// Posts a call into the main thread. 1 if it is posted; 0 if the link is empty, or if
    /// KxLimits::postedCalls calls wait already. Any thread.
    int PostCallLink(KxTools::Link const& link, void* argument);

    /// Lets the message loop run once: runs the calls that are posted at this moment, in their order. Calls that they
    /// post wait for the next time. A call may itself reschedule, which runs what still waits behind it. Does nothing
    /// on any other than the main thread.
    void Reschedule();

    /// Ends the process at once, without any clean-up, with a core where the system writes one. An application may
    /// save what it can first; it must not return.
    virtual void Abort();

    /// The primary language of the user, without its region, as the low ten bits of a language id: 7 is German, 9
    /// English, 127 the language of an environment that names none.
    unsigned short GetPrimaryLanguage() const;

private:
    struct PostedCall {
        KxTools::Link link;
        void* argument;
        unsigned long long number;
    };
    std::mutex m_mutex;  // guards what follows
    std::deque<PostedCall> m_posted;
    unsigned long long m_numPosted = 0;  // in all; numbers the calls
};

/// The process's application object; null if there is none.
KX_API KxWinApp* GetpApp();

}  // namespace KxN
