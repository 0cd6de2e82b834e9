// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syThreadLauncher.h"

#include "base/posix/sySystemThread.h"
#include "base/syCaught.h"
#include "base/syThreadAccess.h"
#include "hbtools/base/syClassName.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/syWnd.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/threads/syKxThread.h"
#include "threads/syTextIds.h"
#include "threads/syThreadEntry.h"

#include <limits>
#include <memory>
#include <utility>
#include <cxxabi.h>

namespace KxN {

namespace detail {

namespace {

/// One step of a report: its failure must not keep the next from being taken. A forced unwinding carries no object, which
/// the check for null takes for a fault.
template <class Step>
__attribute__((no_sanitize("null"))) void Try(Step step) {
    try {
        step();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (CException* exception) {
        exception->Delete();
    } catch (...) {  // there is nobody left to tell
    }
}

/// `caught` null: nothing is known of it.
void Report(CException* caught) {
    KxString message;
    std::unique_ptr<KxException> wrapper;
    KxException* exception = nullptr;
    Try([&] {
        if (!caught) {
            message.SPrintf(KxString(KxResId(text::ThreadCaughtUnknown)), CurrentThreadId());
            return;
        }
        message.SPrintf(KxString(KxResId(text::ThreadCaught)), CurrentThreadId(), KxxClassName(typeid(*caught)));
        exception = dynamic_cast<KxException*>(caught);
        if (exception) return;
        wrapper = std::make_unique<KxException>(*caught);
        exception = wrapper.get();
    });
    Try([&] {
        if (pExceptionMgr) pExceptionMgr->WriteToDebugFile(message, 1, 1);
    });
    Try([&] {
        if (pExceptionMgr && exception) pExceptionMgr->WriteToDebugFile(*exception, 0);
    });
    Try([&] {
        if (exception) message += exception->GetMessage();
    });
    Try([&] { AfxMessageBox(message, MB_ICONERROR, 0); });
}

}  // namespace

__attribute__((no_sanitize("null"))) void CallGuarded(KxTools::Link const& link, void* argument) {
    try {
        link.Call(argument);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (KxThreadFinalizeException2* exception) {
        exception->Delete();
    } catch (CException* exception) {
        std::unique_ptr<CException, ExceptionReleaser> const owner(exception);
        Report(exception);
    } catch (...) {
        Report(nullptr);
    }
}

}  // namespace detail

namespace {

constexpr int sleeping = -1;  // the launcher, until the thread has started

}  // namespace

KxThreadLauncher::KxThreadLauncher(KxString const& name) : m_name(name) {}

KxThreadLauncher::KxThreadLauncher(KxThreadLauncher const& other) : KxThreadLauncher(other.m_name) {
    *this = other;
}

KxThreadLauncher& KxThreadLauncher::operator=(KxThreadLauncher const& other) {
    m_name = other.m_name;
    m_priority = other.m_priority;
    m_selfDestruction = other.m_selfDestruction;
    m_isCreatedSuspended = other.m_isCreatedSuspended;
    m_stackSize = other.m_stackSize;
    m_argument = other.m_argument;
    m_link = other.m_link;
    return *this;
}

KxThreadLauncher::~KxThreadLauncher() = default;

CWinThread* KxThreadLauncher::Launch(KxTools::Link const& link, void* argument) {
    m_link = link;
    m_argument = argument;
    m_isStarted = 0;
    KxModuleHold module(reinterpret_cast<void const*>(link.GetStub()));
    m_module = &module;
    bool const waits = m_isCreatedSuspended != 0;
    if (m_stackSize > std::numeric_limits<UINT>::max()) return nullptr;
    CWinThread* const thread = AfxBeginThread(&Starter, this, m_priority, static_cast<UINT>(m_stackSize));
    if (!thread) {  // nobody would ever set the flag
        m_module = nullptr;
        return nullptr;
    }
    AwaitStart();
    // It is about to suspend itself, and whoever resumes it from here on must not come before that.
    while (waits && thread->GetSuspendCount() == 0) Sleep(0);
    return thread;
}

/// Lets others run until the new thread has started, and soon sleeps: on a busy machine every turn of the others costs more
/// than being woken.
void KxThreadLauncher::AwaitStart() {
    for (int i = 0; i < 4 && m_isStarted == 0; ++i) Sleep(0);
    int waiting = 0;
    if (m_isStarted.compare_exchange_strong(waiting, sleeping))
        while (m_isStarted == sleeping) detail::SleepWhile(m_isStarted, sleeping, std::nullopt);
    m_isStarted = 0;
}

UINT KxThreadLauncher::Starter(void* launcher) {
    auto* const self = static_cast<KxThreadLauncher*>(launcher);
    bool const isSuspended = self->m_isCreatedSuspended != 0;
    KxTools::Link const link = self->m_link;
    void* const argument = self->m_argument;
    detail::SetThreadOwner(self->m_owner);
    AfxGetThread()->SetAutoDelete(self->m_selfDestruction);
    if (KxModuleHold* const module = std::exchange(self->m_module, nullptr))
        detail::ThreadAccess::System(*AfxGetThread())->Keep(std::move(*module));
    // From here on nothing of the launcher is touched; a sleeper is woken by the address alone.
    std::atomic<int>* const started = &self->m_isStarted;
    {
        detail::Hold const hold;
        if (started->exchange(1) == sleeping) detail::WakeOne(started);
    }
    if (isSuspended) AfxGetThread()->SuspendThread();
    detail::CallGuarded(link, argument);
    return 0;
}

}  // namespace KxN
