// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syProcess.h"

#include "base/posix/sySystemThread.h"
#include "base/syMessageQueue.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/syWinApp.h"
#include "threads/syTextIds.h"

namespace KxN {

namespace {

[[noreturn]] void Throw(unsigned short textId, unsigned long line) {
    throw new KxException(KxString(L"syProcess"), line, KxString(KxResId(textId)));
}

KxWinApp& Application(unsigned long line) {
    KxWinApp* const application = GetpApp();
    if (!application) Throw(text::NoApplication, line);
    return *application;
}

struct Releaser {
    void operator()(KxException* kept) const {
        if (isOwner) kept->Delete();
    }
    bool isOwner = true;
};

std::shared_ptr<KxException> Share(KxException* exception) {
    return {exception, Releaser()};
}

}  // namespace

KxProcess::KxProcess(int abortable) : m_abortable(abortable) {}
KxProcess::KxProcess(KxProcess const& other) = default;
KxProcess& KxProcess::operator=(KxProcess const& other) = default;
KxProcess::~KxProcess() = default;

void KxProcess::Start(unsigned long delay) {
    Application(__LINE__);
    m_processHdl.Call(this);
    m_ready = 0;
    m_aborted = 0;
    if (delay == 0) {
        PostRun();
    } else {
        m_timer.SetTimeoutHdl(KxTools::Link(this, &LinkStubStartHdl));
        m_timer.SetTimeout(delay);
        m_timer.Start();
    }
    m_screenOutputHdl.Call(this);
}

void KxProcess::PostRun() {
    if (!Application(__LINE__).PostCallLink(KxTools::Link(this, &LinkStubFrameProcess), this))
        Throw(text::CallNotPosted, __LINE__);
}

void KxProcess::ExecuteAndWaitUntilReady() {
    Start(0);
    WaitUntilReady();
}

void KxProcess::WaitUntilReady() const {
    while (!m_ready) {
        KxWinApp& application = Application(__LINE__);
        application.Reschedule();
        if (m_ready) return;
        if (AfxGetThread() == &application)
            detail::MessageQueue::OfThisThread()->AwaitNext();
        else
            Sleep(1);  // another thread runs the loop
    }
}

long long KxProcess::StartHdl(void*) {
    PostRun();
    return 1;
}

long long KxProcess::FrameProcess(void*) {
    m_successful = 1;
    try {
        Process();
    } catch (CException* caught) {
        m_successful = 0;
        m_ready = 1;
        auto* failure = dynamic_cast<KxException*>(caught);
        bool const isOwn = failure != nullptr;
        if (!isOwn) {
            failure = std::make_unique<KxException>(*caught).release();
            caught->Delete();
        }
        // What is thrown on becomes the catcher's, so the process then keeps a copy.
        bool const isKept = m_errorOutputHdl.IsSet() && !failure->EndsThread();
        std::shared_ptr<KxException> const owned = Share(failure);  // a handler may throw too
        m_exception = isKept ? owned : Share(new KxException(*failure));
        EndProcessHdl();
        ErrorOutputHdl();
        if (isKept) return 1;
        std::get_deleter<Releaser>(owned)->isOwner = false;
        if (isOwn) throw;  // as what it was thrown
        throw failure;
    }
    m_ready = 1;
    EndProcessHdl();
    return 1;
}

void KxProcess::SetException(KxException& exception) {
    m_exception = Share(new KxException(exception));
}

KxException KxProcess::GetException() const {
    return m_exception ? KxException(*m_exception) : KxException();
}

long long KxProcess::LinkStubStartHdl(void* object, void* argument) {
    return static_cast<KxProcess*>(object)->StartHdl(argument);
}

long long KxProcess::LinkStubFrameProcess(void* object, void* argument) {
    return static_cast<KxProcess*>(object)->FrameProcess(argument);
}

KxProgressProcess::KxProgressProcess(int abortable) : KxProcess(abortable) {}
KxProgressProcess::KxProgressProcess(KxProgressProcess const& other) = default;
KxProgressProcess& KxProgressProcess::operator=(KxProgressProcess const& other) = default;
KxProgressProcess::~KxProgressProcess() = default;

void KxProgressProcess::SetPercentage(unsigned short percentage) {
    m_percentage = percentage;
    ShowProgressHdl();
}

unsigned long KxProcessInfo::GetProcessID() {
    return detail::CurrentProcessId();
}

}  // namespace KxN
