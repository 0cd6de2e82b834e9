// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syProcess.h"

#include "base/posix/sySystemThread.h"
#include "base/syCaught.h"
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
        Application(__LINE__).Reschedule();
        if (!m_ready) detail::MessageQueue::OfThisThread()->AwaitNext();
    }
}

long long KxProcess::StartHdl(void*) {
    try {
        PostRun();
    } catch (CException* caught) {  // or who waits would wait for ever
        Fail(caught);
    }
    return 1;
}

long long KxProcess::FrameProcess(void*) {
    m_successful = 1;
    try {
        Process();
    } catch (CException* caught) {
        Fail(caught);
        return 1;
    }
    m_ready = 1;
    EndProcessHdl();
    return 1;
}

/// The end of a run of which that came, which is being handled: it is kept, or thrown on.
void KxProcess::Fail(CException* caught) {
    m_successful = 0;
    m_ready = 1;
    auto* failure = dynamic_cast<KxException*>(caught);
    bool const isOwn = failure != nullptr;
    if (!isOwn) {
        std::unique_ptr<CException, detail::ExceptionReleaser> const owner(caught);
        failure = std::make_unique<KxException>(*caught).release();
    }
    // What is thrown on becomes the catcher's, so the process then keeps a copy.
    bool const isKept = m_errorOutputHdl.IsSet() && !failure->EndsThread();
    std::shared_ptr<KxException> const owned = Share(failure);  // a handler may throw too
    m_exception = isKept ? owned : Share(new KxException(*failure));
    EndProcessHdl();
    ErrorOutputHdl();
    if (isKept) return;
    std::get_deleter<Releaser>(owned)->isOwner = false;
    if (isOwn) throw;  // as what it was thrown
    throw failure;
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
