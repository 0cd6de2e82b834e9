// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// There is one lock for each object. Who holds it waits for no worker and ends none: a thread that was seen to have ended is
// dropped behind the lock.
#include "hbtools/threads/syKxThread.h"

#include "base/posix/syDescriptor.h"
#include "base/posix/sySystemThread.h"
#include "base/syThreadAccess.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syFormat.h"
#include "hbtools/base/syResource.h"
#include "threads/syTextIds.h"
#include "threads/syThreadEntry.h"

#include <utility>
#include <vector>

namespace KxN {

using detail::Holding;

namespace {

constexpr unsigned long patience = 1000;  // milliseconds a destructor gives the worker
constexpr unsigned long failure = 0xFFFFFFFF;

// A worker knows its owner by itself, rather than by a search for its number among all threads, whose lock every worker
// would need; a number that the system uses again finds nobody either.
constinit thread_local std::atomic<KxThread*>* t_owner = nullptr;

/// What a thread out of reach still uses, for good.
void Keep(std::shared_ptr<CWinThread> thread, std::unique_ptr<std::atomic<KxThread*>> owner) {
    static detail::Mutex mutex;
    static auto& kept =
        *new std::vector<std::pair<std::shared_ptr<CWinThread>, std::unique_ptr<std::atomic<KxThread*>>>>;
    KxString message;
    message.SPrintf(KxString(KxResId(text::ThreadOutOfReach)), thread->GetThreadId());
    detail::WriteToStandardError(KxxToUtf8(message.View()) + "\n");
    std::lock_guard const lock(mutex);
    kept.emplace_back(std::move(thread), std::move(owner));
}

}  // namespace

void detail::SetThreadOwner(std::atomic<KxThread*>* owner) {
    t_owner = owner;
}

KxThread::KxThread(KxString const& name)
    : KxThreadLauncher(name), m_self(std::make_unique<std::atomic<KxThread*>>(this)) {}

KxThread::~KxThread() {
    if (AttemptTermination(patience)) return;
    std::shared_ptr<CWinThread> thread;
    {
        Holding const lock(m_lock);
        thread.swap(m_thread);
    }
    if (!thread || thread->TerminateThread(0) || thread->WaitForEnd(0)) return;
    *m_self = nullptr;
    Keep(std::move(thread), std::move(m_self));
}

/// Under the lock.
bool KxThread::IsAlive() const {
    return m_thread && !m_thread->WaitForEnd(0);
}

/// Under the lock. Returns what is to be dropped behind it: a thread that has ended.
std::shared_ptr<CWinThread> KxThread::Collect() {
    return IsAlive() ? nullptr : std::exchange(m_thread, nullptr);
}

int KxThread::Run(KxTools::Link const& link) {
    std::shared_ptr<CWinThread> ended;
    Holding const lock(m_lock);
    ended = Collect();
    if (m_thread) return 0;
    m_terminationEvent.ResetEvent();
    CreatedSuspended(m_isSuspended);
    SetSelfDestruction(0);
    m_owner = m_self.get();
    struct Disowning {  // a plain Launch of this object is nobody's worker
        KxThread* thread;
        ~Disowning() { thread->m_owner = nullptr; }
    } const disowning{this};
    // Once the thread runs there is no way back: what it takes to own it is there before.
    auto const owner = std::make_shared<std::unique_ptr<CWinThread>>();
    owner->reset(Launch(link, this));
    if (*owner) m_thread = std::shared_ptr<CWinThread>(owner, owner->get());
    return m_thread != nullptr;
}

int KxThread::IsRunning() {
    std::shared_ptr<CWinThread> ended;
    Holding const lock(m_lock);
    ended = Collect();
    return m_thread != nullptr;
}

void KxThread::Suspend() {
    std::shared_ptr<CWinThread> thread;  // another thread may collect it meanwhile
    {
        Holding lock(m_lock);
        bool const isWorker = KxxThreadGetOwner() == this;
        if (isWorker && HasToTerminate()) {  // it must not stop behind the back of who asked it to end
            lock.Unlock();
            return OnThreadEnd();
        }
        if (IsAlive()) {
            if (detail::ThreadAccess::System(*m_thread)->CountSuspension() == failure) return;
            thread = m_thread;
        }
        m_isSuspended = 1;
    }
    if (!thread || detail::ThreadAccess::System(*thread)->Halt()) return;
    Holding const lock(m_lock);
    if (m_thread == thread) m_isSuspended = IsAlive() && thread->GetSuspendCount() > 0;
}

/// Under the lock, with a thread. False if the thread has ended.
bool KxThread::ResumeOnce() {
    unsigned long const before = m_thread ? m_thread->ResumeThread() : failure;
    if (before == failure) return false;
    m_isSuspended = before > 1;
    return true;
}

void KxThread::Resume() {
    Holding const lock(m_lock);
    if (IsAlive())
        ResumeOnce();
    else
        m_isSuspended = 0;
}

int KxThread::GetPriority() {
    Holding const lock(m_lock);
    if (IsAlive()) {
        int const priority = m_thread->GetThreadPriority();
        if (priority != THREAD_PRIORITY_ERROR_RETURN) KxThreadLauncher::SetPriority(priority);
    }
    return KxThreadLauncher::GetPriority();
}

void KxThread::SetPriority(int priority) {
    Holding const lock(m_lock);
    if (IsAlive()) m_thread->SetThreadPriority(priority);
    KxThreadLauncher::SetPriority(priority);
}

int KxThread::AttemptTermination(unsigned long timeout) {
    std::shared_ptr<CWinThread> thread;
    {
        Holding const lock(m_lock);
        thread = Collect();
        if (!m_thread) return 1;
        m_terminationEvent.SetEvent();
        while (m_isSuspended)
            if (!ResumeOnce()) m_isSuspended = 0;  // it has ended
        thread = m_thread;                         // another thread may collect it, and run the next
    }
    KxN::Sleep(0);
    if (!thread->WaitForEnd(timeout)) return 0;
    std::shared_ptr<CWinThread> ended;
    Holding const lock(m_lock);
    if (m_thread == thread) ended.swap(m_thread);
    return 1;
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
        CheckForTermination();  // a worker that asks again and again must hear all the same
    }
    if (taken == 0) OnThreadEnd();
    return taken == 1;
}

KxTools::Link KxThread::ChangeThreadEndNotifyHdl(KxTools::Link const& link) {
    Holding const lock(m_lock);
    return std::exchange(m_endNotification, link);
}

void KxThread::OnThreadEnd() {
    Holding lock(m_lock);
    KxTools::Link const link = m_endNotification;
    lock.Unlock();
    link.Call(this);
    throw new KxThreadFinalizeException2(this);
}

KxString KxThread::Describe() const {
    Holding const lock(m_lock);
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
    return t_owner ? t_owner->load() : nullptr;
}

int KxxThreadHasToTerminate() {
    KxThread* const owner = KxxThreadGetOwner();
    return owner ? owner->HasToTerminate() : 0;
}

void KxxThreadPumpMessages() {
    CWinThread* const thread = AfxGetThread();
    if (thread && thread->HasMessage()) thread->PumpMessage();
}

void KxxThreadSleep(unsigned long timeout) {
    if (KxThread* const owner = KxxThreadGetOwner())
        owner->Sleep(timeout);
    else
        Sleep(timeout);
}

int KxxThreadWaitFor(unsigned long timeout, CSyncObject& object) {
    if (KxThread* const owner = KxxThreadGetOwner()) return owner->WaitFor(timeout, object);
    object.Lock(timeout);
    return 0;
}

}  // namespace KxN
