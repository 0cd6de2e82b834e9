// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The order of locks is simple: there is one for each object, and who holds it waits for no worker. A killed worker may hold
// it; CCriticalSection passes on then.
#include "hbtools/threads/syKxThread.h"

#include "hbtools/base/syFormat.h"
#include "threads/syThreadEntry.h"

#include <utility>

namespace KxN {

namespace {

constexpr unsigned long patience = 1000;  // milliseconds a destructor gives the worker
constexpr unsigned long failure = 0xFFFFFFFF;

// A worker knows its owner by itself, rather than by a search for its number among all threads, whose lock every worker
// would need; a number that the system uses again finds nobody either.
constinit thread_local KxThread* t_owner = nullptr;

}  // namespace

void detail::SetThreadOwner(KxThread* owner) {
    t_owner = owner;
}

KxThread::KxThread(KxString const& name) : KxThreadLauncher(name) {}

KxThread::~KxThread() {
    if (AttemptTermination(patience)) return;
    CSingleLock const lock(&m_lock, 1);
    if (m_thread) m_thread->TerminateThread(0);
    m_thread.reset();
}

int KxThread::Run(KxTools::Link const& link) {
    CSingleLock const lock(&m_lock, 1);
    if (IsRunning()) return 0;
    m_terminationEvent.ResetEvent();
    CreatedSuspended(m_isSuspended);
    SetSelfDestruction(0);
    m_isStopping = 0;
    m_owner = this;
    struct Disowning {  // a plain Launch of this object is nobody's worker
        KxThread* thread;
        ~Disowning() { thread->m_owner = nullptr; }
    } const disowning{this};
    m_thread.reset(Launch(link, this));
    return m_thread != nullptr;
}

int KxThread::IsRunning() {
    CSingleLock const lock(&m_lock, 1);
    if (m_thread && !m_thread->WaitForEnd(0)) return 1;
    m_thread.reset();
    return 0;
}

bool KxThread::IsWorker() const {
    return t_owner == this;
}

void KxThread::Suspend() {
    if (IsWorker()) return SuspendWorker();
    CSingleLock const lock(&m_lock, 1);
    if (IsRunning() && m_thread->SuspendThread() == failure) return;
    m_isSuspended = 1;
}

/// The worker suspends itself. It must not take the lock along, nor stop behind the back of who asked it to end.
void KxThread::SuspendWorker() {
    CSingleLock lock(&m_lock, 1);
    bool const hasToEnd = HasToTerminate() != 0;
    if (!hasToEnd) m_isSuspended = m_isStopping = 1;
    lock.Unlock();
    if (hasToEnd) return OnThreadEnd();
    AfxGetThread()->SuspendThread();
    m_isStopping = 0;
}

/// Under the lock, with a thread. False if the thread has ended.
bool KxThread::ResumeOnce() {
    while (m_isStopping && m_thread->GetSuspendCount() == 0 && IsRunning()) KxN::Sleep(0);
    unsigned long const before = m_thread ? m_thread->ResumeThread() : failure;
    if (before == failure) return false;
    m_isSuspended = before > 1;
    return true;
}

void KxThread::Resume() {
    CSingleLock const lock(&m_lock, 1);
    if (IsRunning())
        ResumeOnce();
    else
        m_isSuspended = 0;
}

int KxThread::GetPriority() {
    CSingleLock const lock(&m_lock, 1);
    if (IsRunning()) {
        int const priority = m_thread->GetThreadPriority();
        if (priority != THREAD_PRIORITY_ERROR_RETURN) KxThreadLauncher::SetPriority(priority);
    }
    return KxThreadLauncher::GetPriority();
}

void KxThread::SetPriority(int priority) {
    CSingleLock const lock(&m_lock, 1);
    if (IsRunning()) m_thread->SetThreadPriority(priority);
    KxThreadLauncher::SetPriority(priority);
}

int KxThread::AttemptTermination(unsigned long timeout) {
    CSingleLock lock(&m_lock, 1);
    if (!IsRunning()) return 1;
    m_terminationEvent.SetEvent();
    while (m_isSuspended) {
        if (ResumeOnce()) continue;
        IsRunning();  // collects it
        m_isSuspended = 0;
    }
    if (!IsRunning()) return 1;
    std::shared_ptr<CWinThread> const thread = m_thread;  // another thread may collect it meanwhile
    KxN::Sleep(0);
    lock.Unlock();  // the worker may need it to finish
    thread->WaitForEnd(timeout);
    return !IsRunning();
}

int KxThread::HasToTerminate() const {
    return m_terminationEvent.Lock(0);
}

void KxThread::CheckForTermination() {
    if (m_terminationEvent.Lock(0)) OnThreadEnd();
}

void KxThread::EndThread() {
    OnThreadEnd();
}

void KxThread::Sleep(unsigned long timeout) {
    if (timeout == 0) KxN::Sleep(0);
    if (m_terminationEvent.Lock(timeout)) OnThreadEnd();
}

int KxThread::WaitFor(unsigned long timeout, CSyncObject& object) {
    CSyncObject* const objects[] = {&m_terminationEvent, &object};
    int taken = -1;
    try {
        taken = KxxWaitForAny(objects, 2, timeout);
    } catch (CInvalidArgException* exception) {
        exception->Delete();
    }
    if (taken == 0) OnThreadEnd();
    return taken == 1;
}

KxTools::Link KxThread::ChangeThreadEndNotifyHdl(KxTools::Link const& link) {
    CSingleLock const lock(&m_lock, 1);
    return std::exchange(m_endNotification, link);
}

void KxThread::OnThreadEnd() {
    CSingleLock lock(&m_lock, 1);
    KxTools::Link const link = m_endNotification;
    lock.Unlock();
    link.Call(this);
    throw new KxThreadFinalizeException2(this);
}

KxString KxThread::Describe() const {
    CSingleLock const lock(&m_lock, 1);
    return m_thread ? KxString(KxxFormat(L"%s, ID=%lu", GetName(), m_thread->GetThreadId())) : KxString();
}

KxThreadFinalizeException::KxThreadFinalizeException()
    : KxException(KxxThreadGetOwner() ? KxxThreadGetOwner()->Describe() : KxString()) {}

KxThreadFinalizeException2::KxThreadFinalizeException2(KxThread* thread)
    : KxException(thread ? thread->Describe() : KxString()) {}

bool KxThreadFinalizeException2::EndsThread() const {
    return true;
}

KxThread* KxxThreadGetOwner() {
    return t_owner;
}

int KxxThreadHasToTerminate() {
    return t_owner ? t_owner->HasToTerminate() : 0;
}

void KxxThreadPumpMessages() {
    CWinThread* const thread = AfxGetThread();
    if (thread && thread->HasMessage()) thread->PumpMessage();
}

void KxxThreadSleep(unsigned long timeout) {
    if (t_owner)
        t_owner->Sleep(timeout);
    else
        Sleep(timeout);
}

int KxxThreadWaitFor(unsigned long timeout, CSyncObject& object) {
    if (t_owner) return t_owner->WaitFor(timeout, object);
    object.Lock(timeout);
    return 0;
}

}  // namespace KxN
