// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxThreadLauncher starts a thread that calls a link. When Launch returns, the new thread has taken what it needs: the
// launcher may launch the next one, be changed, or go. One that the application wants to end again is a KxThread.
//
//     KxThreadLauncher(L"reader").Launch(KxxMakeLink(&reader, &Reader::Run), &job);
//
// Errors: no exception leaves the thread. What reaches its entry is written to the debug file and shown with
// AfxMessageBox, and the thread ends; AfxEndThread and pthread_exit end it silently. A launcher belongs to one thread at
// a time.
#pragma once

#include "hbtools/base/syLink.h"
#include "hbtools/base/syString.h"
#include "hbtools/base/syThread.h"

#include <atomic>

namespace KxN {

class KxModuleHold;
class KxThread;

class KX_API KxThreadLauncher {
public:
    KxThreadLauncher(KxString const& name = KxString());
    KxThreadLauncher(KxThreadLauncher const& other);
    KxThreadLauncher& operator=(KxThreadLauncher const& other);
    virtual ~KxThreadLauncher();

    KxString GetName() const { return m_name; }
    /// The priority of threads to come, one of ThreadPriority; THREAD_PRIORITY_NORMAL unless set.
    int GetPriority() const { return m_priority; }
    void SetPriority(int priority) { m_priority = priority; }
    /// Non-zero: threads to come are suspended before their callback, until CWinThread::ResumeThread.
    int IsCreatedSuspended() const { return m_isCreatedSuspended; }
    void CreatedSuspended(int isSuspended) { m_isCreatedSuspended = isSuspended; }
    /// In bytes; 0, as it is at the start, for the system's usual size. 4 GB and more no thread gets.
    unsigned long GetStackSize() const { return m_stackSize; }
    void SetStackSize(unsigned long size) { m_stackSize = size; }
    /// Non-zero, as it is at the start: the CWinThread deletes itself at the end of its thread. Otherwise whoever
    /// launched it deletes it.
    int HasToSelfDestruct() const { return m_selfDestruction; }
    void SetSelfDestruction(int selfDestruction) { m_selfDestruction = selfDestruction; }

    /// Starts a thread that calls the link with the argument, and ends with exit code 0 when the link returns. The module
    /// whose code the link calls stays loaded until the thread has ended. Returns
    /// the thread, which may be gone already if it destroys itself; a thread that is created suspended has stopped by
    /// then. Null if the system gives no thread.
    CWinThread* Launch(KxTools::Link const& link, void* argument);
    /// The argument is the launcher itself.
    CWinThread* Launch(KxTools::Link const& link) { return Launch(link, this); }

protected:
    /// The entry of the thread; `launcher` is a KxThreadLauncher. Returns the exit code.
    static UINT Starter(void* launcher);

private:
    friend class KxThread;

    void AwaitStart();

    KxString m_name;
    int m_priority = THREAD_PRIORITY_NORMAL;
    int m_selfDestruction = 1;
    int m_isCreatedSuspended = 0;
    unsigned long m_stackSize = 0;
    std::atomic<int> m_isStarted = 0;
    void* m_argument = nullptr;
    KxTools::Link m_link;
    std::atomic<KxThread*>* m_owner = nullptr;  // of the thread that is being launched
    KxModuleHold* m_module = nullptr;           // of what it calls, for it to keep
};

}  // namespace KxN
