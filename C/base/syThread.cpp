// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syThread.h"

#include "base/posix/sySystemThread.h"
#include "base/syMessageQueue.h"
#include "base/syThreadAccess.h"
#include "hbtools/base/syWnd.h"

#include <algorithm>
#include <cstdlib>
#include <typeinfo>
#include <utility>

namespace KxN {

using namespace detail;

namespace {

constinit thread_local CWinThread* t_thread = nullptr;

struct SPriority {
    int priority;
    int nice;
};
constexpr SPriority priorities[] = {{THREAD_PRIORITY_NORMAL, 0},         {THREAD_PRIORITY_BELOW_NORMAL, 5},
                                    {THREAD_PRIORITY_LOWEST, 10},        {THREAD_PRIORITY_IDLE, 19},
                                    {THREAD_PRIORITY_ABOVE_NORMAL, -5},  {THREAD_PRIORITY_HIGHEST, -10},
                                    {THREAD_PRIORITY_TIME_CRITICAL, -20}};

}  // namespace

CWinThread::CWinThread(ThreadProc proc, void* parameter)
    : m_proc(proc), m_parameter(parameter), m_queue(std::make_shared<MessageQueue>()) {}

CWinThread::CWinThread(CallingThread)
    : m_autoDelete(0), m_queue(MessageQueue::OfThisThread()), m_threadId(CurrentThreadId()), m_former(t_thread) {
    t_thread = this;
}

CWinThread::~CWinThread() {
    if (t_thread == this) t_thread = m_former;
}

// The main window is kept by its number: it may be destroyed before threads that have it.
CWnd* CWinThread::GetMainWnd() const {
    auto const window = FindWindow(m_mainWnd);
    return window ? window->window.load() : nullptr;
}

void CWinThread::SetMainWnd(CWnd* window) {
    m_mainWnd = window ? window->m_state->number : 0;
}

std::shared_ptr<WindowState> ThreadAccess::MainWindow(CWinThread const& thread) {
    return FindWindow(thread.m_mainWnd);
}

std::shared_ptr<SystemThread> const& ThreadAccess::System(CWinThread const& thread) {
    return thread.m_thread;
}

CWinThread* AfxGetThread() {
    return t_thread;
}

int CWinThread::CreateThread(unsigned long createFlags, UINT stackSize, SECURITY_ATTRIBUTES*) {
    if (m_thread || m_threadId != 0) return 0;
    if (t_thread && m_mainWnd == 0) m_mainWnd = t_thread->m_mainWnd.load();
    void const* const code = m_proc ? reinterpret_cast<void const*>(m_proc) : &typeid(*this);
    // Once it runs it may delete this object.
    return SystemThread::Start(m_thread, &Main, this, stackSize, (createFlags & CREATE_SUSPENDED) != 0, code);
}

void CWinThread::Main(void* object) {
    auto* const self = static_cast<CWinThread*>(object);
    t_thread = self;
    MessageQueue::Adopt(&self->m_queue);
    struct SAtEnd {  // also when the thread is unwound
        CWinThread* thread;
        ~SAtEnd() { thread->AtEnd(); }
    } const atEnd{self};
    if (self->m_proc)
        self->m_exitCode = self->m_proc(self->m_parameter);
    else
        self->m_exitCode = static_cast<UINT>(self->InitInstance() ? self->Run() : self->ExitInstance());
}

void CWinThread::AtEnd() {
    t_thread = nullptr;
    m_queue->Close();
    MessageQueue::Adopt(nullptr);
    if (m_autoDelete) delete this;
}

unsigned long CWinThread::GetThreadId() const {
    return m_thread ? m_thread->Id() : m_threadId;
}

unsigned long CWinThread::SuspendThread() {
    return m_thread ? m_thread->Suspend() : SystemThread::failure;
}

unsigned long CWinThread::ResumeThread() {
    // A thread that goes on may delete the object.
    std::shared_ptr<SystemThread> const thread = m_thread;
    return thread ? thread->Resume() : SystemThread::failure;
}

unsigned long CWinThread::GetSuspendCount() const {
    return m_thread ? m_thread->NumSuspensions() : 0;
}

int CWinThread::SetThreadPriority(int priority) {
    auto const entry = std::find_if(std::begin(priorities), std::end(priorities),
                                    [&](SPriority const& p) { return p.priority == priority; });
    unsigned long const id = GetThreadId();
    if (entry == std::end(priorities) || id == 0 || (m_thread && m_thread->WaitForEnd(0))) return 0;
    return SystemThread::SetNice(id, entry->nice);
}

int CWinThread::GetThreadPriority() const {
    int nice = 0;
    unsigned long const id = GetThreadId();
    if (id == 0 || (m_thread && m_thread->WaitForEnd(0)) || !SystemThread::GetNice(id, nice))
        return THREAD_PRIORITY_ERROR_RETURN;
    return std::min_element(std::begin(priorities), std::end(priorities),
                            [&](SPriority const& a, SPriority const& b) {
                                return std::abs(a.nice - nice) < std::abs(b.nice - nice);
                            })
        ->priority;
}

int CWinThread::WaitForEnd(unsigned long timeout) const {
    return m_thread && m_thread->WaitForEnd(timeout);
}

int CWinThread::TerminateThread(UINT exitCode) {
    if (!m_thread || m_thread->WaitForEnd(0)) return 0;
    if (m_thread->IsCurrent()) {  // does not come back
        m_exitCode = exitCode;
        m_queue->Close();
    }
    if (!m_thread->Kill()) return 0;
    m_exitCode = exitCode;
    m_queue->Close();
    return 1;
}

int CWinThread::PostThreadMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    MessageQueue::Entry entry;
    entry.message = message;
    entry.wParam = wParam;
    entry.lParam = lParam;
    return m_queue->Post(std::move(entry));
}

int CWinThread::HasMessage() const {
    return m_queue->HasDue();
}

int CWinThread::PumpMessage() {
    return m_queue->DispatchNext();
}

void CWinThread::OnThreadMessage(UINT, WPARAM, LPARAM) {}

int CWinThread::InitInstance() {
    return 1;
}

int CWinThread::Run() {
    while (PumpMessage()) {}
    return ExitInstance();
}

int CWinThread::ExitInstance() {
    return m_queue->GetExitCode();
}

CWinThread* AfxBeginThread(ThreadProc proc, void* parameter, int priority, UINT stackSize, unsigned long createFlags,
                           SECURITY_ATTRIBUTES* attributes) {
    auto thread = std::make_unique<CWinThread>(proc, parameter);
    bool const waits = priority != THREAD_PRIORITY_NORMAL;  // until it has it
    if (!thread->CreateThread(waits ? createFlags | CREATE_SUSPENDED : createFlags, stackSize, attributes))
        return nullptr;
    CWinThread* const started = thread.release();
    if (!waits) return started;
    started->SetThreadPriority(priority);
    if (!(createFlags & CREATE_SUSPENDED)) started->ResumeThread();
    return started;
}

void AfxEndThread(UINT exitCode, int deleteObject) {
    if (CWinThread* const thread = t_thread) {
        thread->m_exitCode = exitCode;
        if (!deleteObject) thread->m_autoDelete = 0;
    }
    ExitThread();
}

void AfxPostQuitMessage(int exitCode) {
    MessageQueue::OfThisThread()->Quit(exitCode);
}

void Sleep(unsigned long milliseconds) {
    if (milliseconds == 0) return Yield();
    Deadline const deadline = DeadlineAfter(milliseconds);
    std::atomic<int> word = 0;
    {
        SleepPlace const sleep(word);
        while (word == 0 && SleepWhile(word, 0, deadline)) {}
    }
    if (word == SleepPlace::killed) SleepPlace::EndKilled();
}

}  // namespace KxN
