// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syThreadDoOnce.h"

#include "hbtools/base/syLink.h"
#include "hbtools/base/syResource.h"
#include "threads/syTextIds.h"
#include "threads/syThreadEntry.h"

#include <memory>
#include <mutex>
#include <unordered_set>

namespace KxN {

namespace {

/// The signals that live: a message may arrive behind the end of the one that posted it.
class LivingSignals {
public:
    void Enter(KxThreadSignal* signal) {
        std::lock_guard const lock(m_mutex);
        m_signals.insert(signal);
    }
    void Leave(KxThreadSignal* signal) {
        std::lock_guard const lock(m_mutex);
        m_signals.erase(signal);
    }
    bool Has(KxThreadSignal* signal) {
        std::lock_guard const lock(m_mutex);
        return m_signals.contains(signal);
    }
    static LivingSignals& Get() {
        static auto& signals = *new LivingSignals;  // lives on for late destructors
        return signals;
    }

private:
    std::mutex m_mutex;
    std::unordered_set<KxThreadSignal*> m_signals;
};

UINT ArrivedMessage() {
    static UINT const message = RegisterWindowMessage(L"SIGNAL_ARRIVED");
    return message;
}

struct Releaser {
    void operator()(CException* exception) const { exception->Delete(); }
};

}  // namespace

KxThreadSignal::KxThreadSignal() {
    LivingSignals::Get().Enter(this);
}

KxThreadSignal::~KxThreadSignal() {
    LivingSignals::Get().Leave(this);
}

void KxThreadSignal::Post(void* argument) {
    CWinThread* const thread = AfxGetThread();
    CWnd* const window = thread ? thread->GetMainWnd() : nullptr;
    if (!window) return;
    Argument = argument;
    Handled.ResetEvent();
    window->PostMessage(ArrivedMessage(), 0, reinterpret_cast<LPARAM>(this));
}

int KxThreadSignal::Deliver(LPARAM lParam) {
    auto* const signal = reinterpret_cast<KxThreadSignal*>(lParam);
    if (!LivingSignals::Get().Has(signal)) return 0;
    struct Handling {  // a slot may throw, or destroy the signal
        KxThreadSignal* signal;
        ~Handling() {
            if (LivingSignals::Get().Has(signal)) signal->Handled.SetEvent();
        }
    } const handling{signal};
    signal->Signal.Emit(signal->Argument);
    return 1;
}

LRESULT KxThreadSignalWindow::WindowProc(UINT message, WPARAM wParam, LPARAM lParam) {
    return message == ArrivedMessage() ? KxThreadSignal::Deliver(lParam) : CWnd::WindowProc(message, wParam, lParam);
}

KxThreadDoOnce::KxThreadDoOnce() = default;

KxThreadDoOnce::~KxThreadDoOnce() {
    Abort();
    WaitUntilReady(INFINITE);
}

void KxThreadDoOnce::Start() {
    m_ready.ResetEvent();
    m_abort.ResetEvent();
    if (AfxBeginThread(&Main, this)) return;
    m_successful = 0;
    m_ready.SetEvent();
    throw new KxException(KxString(L"syThreadDoOnce"), __LINE__, KxString(KxResId(text::NoThread)));
}

void KxThreadDoOnce::Abort() {
    m_abort.SetEvent();
}

int KxThreadDoOnce::WaitUntilReady(unsigned long timeout) {
    return m_ready.Lock(timeout);
}

int KxThreadDoOnce::ShouldBeAborted(unsigned long timeout) {
    if (!m_abort.Lock(timeout)) return 0;
    m_aborted = 1;
    return 1;
}

void KxThreadDoOnce::FrameProcess() {
    m_successful = 1;
    try {
        Process();
    } catch (CException* caught) {
        if (caught->EndsThread()) throw;
        std::unique_ptr<CException, Releaser> const owner(caught);
        m_successful = 0;
        if (auto* const exception = dynamic_cast<KxException*>(caught)) {
            m_exception = *exception;
        } else {
            KxException wrapper(*caught);
            m_exception = wrapper;
        }
    }
    if (SignalFinished.Signal.NumSlots() > 0) SignalFinished.Post(reinterpret_cast<void*>(m_finishedArgument));
    m_ready.SetEvent();
}

/// Whatever leaves the run, nobody must wait for ever; but the run is over only when it is reported.
UINT KxThreadDoOnce::Main(void* object) {
    struct Frame {
        void Run() {
            run->FrameProcess();
            run = nullptr;  // it may be gone
        }
        ~Frame() {
            if (!run) return;
            run->m_successful = 0;
            run->m_ready.SetEvent();
        }
        KxThreadDoOnce* run;
    } frame{static_cast<KxThreadDoOnce*>(object)};
    detail::CallGuarded(KxxMakeLink(&frame, &Frame::Run), nullptr);
    return 0;
}

}  // namespace KxN
