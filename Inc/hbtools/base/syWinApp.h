// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The application object. A program makes one KxWinApp, or a class derived from it, first of all in `main`; the
// thread that makes it is the main thread. GetpApp() gives it to everybody else, null before and after its life.
//
// Any thread may post a call; the main thread runs the calls in the order they were posted, whenever it lets its
// message loop run: Reschedule, Run, or the host's own loop. An exception of a call reaches the caller of Reschedule; the
// calls behind it stay posted. Calls that are still posted when the object is destroyed are never run.
//
//     app.PostCallLink(KxxMakeLink(&view, &View::Refresh), nullptr);  // on any thread
//     while (!ready) GetpApp()->Reschedule();                         // on the main thread
#pragma once

#include "hbtools/base/syLink.h"
#include "hbtools/base/syThread.h"

namespace KxN {

class KX_API KxWinApp : public CWinThread {
public:
    /// Becomes what GetpApp() gives. @throws KxException if there is an application object already
    KxWinApp();
    ~KxWinApp() override;

    /// Posts a call into the main thread. 1 if it is posted; 0 if the link is empty, or if
    /// KxLimits::postedCalls calls wait already. Any thread.
    int PostCallLink(KxTools::Link const& link, void* argument);

    /// Lets the message loop run once: runs the calls and messages that are posted at this moment, in their order, then the
    /// timers that are due. What they post waits for the next time. A call may itself reschedule, which runs what still
    /// waits behind it. Does nothing on any other than the main thread.
    void Reschedule();

    /// Ends the process at once, without any clean-up, with a core where the system writes one. An application may
    /// save what it can first; it must not return.
    virtual void Abort();

    /// The primary language of the user, without its region, as the low ten bits of a language id: 7 is German, 9
    /// English, 127 the language of an environment that names none.
    unsigned short GetPrimaryLanguage() const;

    /// For a host that has an event loop of its own: a descriptor to poll, readable whenever a call, a message or a timer of
    /// the main thread is due; the host then calls Reschedule. It stays the object's.
    /// @throws CFileException if the system gives no descriptors
    int GetLoopDescriptor();
};

/// The process's application object; null if there is none.
KX_API KxWinApp* GetpApp();

}  // namespace KxN
