// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syThreadDoOnce.h"

#include "base/posix/syMutex.h"
#include "base/syCaught.h"
#include "base/syMessageQueue.h"
#include "base/syThreadAccess.h"
#include "hbtools/base/syLink.h"
#include "hbtools/base/syResource.h"
#include "threads/syTextIds.h"
#include "threads/syThreadEntry.h"

#include <memory>
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
    detail::Mutex m_mutex;
    std::unordered_set<KxThreadSignal*> m_signals;
};

UINT ArrivedMessage() {
    detail::Hold const hold;  // nobody else comes past one who is stopped in it
    static UINT const message = RegisterWindowMessage(L"SIGNAL_ARRIVED");
    return message;
}

}  // namespace

KxThreadSignal::KxThreadSignal() {
    LivingSignals::Get().Enter(this);
}

KxThreadSignal::~KxThreadSignal() {
    LivingSignals::Get().Leave(this);
}

void KxThreadSignal::Post(void* argument) {
    Post(argument, nullptr);
}

void KxThreadSignal::PostUnlessWaiting(void* argument) {
    if (m_waiting) {
        Argument = argument;  // first, so that who takes the message after the look at it has this one
        if (!m_waiting->isDone) return;
    }
    m_waiting = std::make_shared<detail::Answer>();
    if (!Post(argument, m_waiting)) m_waiting.reset();
}

bool KxThreadSignal::Post(void* argument, std::shared_ptr<detail::Answer> answer) {
    CWinThread* const thread = AfxGetThread();
    std::shared_ptr<detail::WindowState> const window = thread ? detail::ThreadAccess::MainWindow(*thread) : nullptr;
    if (!window) return false;
    Argument = argument;
    Handled.ResetEvent();
    detail::MessageQueue::Entry entry;
    entry.message = ArrivedMessage();
    entry.lParam = reinterpret_cast<LPARAM>(this);
    entry.window = window;
    entry.answer = std::move(answer);
    ++m_numPosted;
    bool const isPosted = window->queue->Post(std::move(entry));
    if (!isPosted) --m_numPosted;
    return isPosted;
}

int KxThreadSignal::Deliver(LPARAM lParam) {
    auto* const signal = reinterpret_cast<KxThreadSignal*>(lParam);
    if (!LivingSignals::Get().Has(signal)) return 0;
    // One that stands where another one stood must not get that one's message.
    int count = signal->m_numPosted;
    while (count > 0 && !signal->m_numPosted.compare_exchange_weak(count, count - 1)) {}
    if (count == 0) return 0;
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
    struct Starting {  // memory may be at its end too
        KxThreadDoOnce* run;
        ~Starting() {
            if (!run) return;
            run->m_successful = 0;
            run->m_ready.SetEvent();
        }
    } starting{this};
    if (AfxBeginThread(&Main, this)) {
        starting.run = nullptr;
        return;
    }
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
        std::unique_ptr<CException, detail::ExceptionReleaser> owner(caught);
        m_successful = 0;
        if (auto* const exception = dynamic_cast<KxException*>(caught)) {
            m_exception = *exception;
        } else {
            KxException wrapper(*caught);
            m_exception = wrapper;
        }
        if (caught->EndsThread()) {
            PostFinished();
            static_cast<void>(owner.release());
            throw;  // Main sets the event
        }
    }
    PostFinished();
    m_ready.SetEvent();
}

void KxThreadDoOnce::PostFinished() {
    if (SignalFinished.Signal.NumSlots() > 0) SignalFinished.Post(reinterpret_cast<void*>(m_finishedArgument));
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
