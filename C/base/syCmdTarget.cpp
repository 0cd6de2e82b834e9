// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syCmdTarget.h"

#include "base/posix/syMutex.h"

#include <atomic>

namespace KxN {

namespace {

constinit std::atomic<WaitCursorHandler> g_waitCursor = nullptr;

class Waiting {
public:
    static Waiting& Get() {
        static auto& waiting = *new Waiting;  // lives on for late destructors
        return waiting;
    }
    void Begin() {
        detail::Holding const lock(m_lock);
        ++m_count;
        Tell();
    }
    void End() {
        detail::Holding const lock(m_lock);
        if (m_count == 0) return;
        --m_count;
        Tell();
    }

private:
    /// A handler that itself begins and ends waiting is not called from within, but again if that changed anything.
    void Tell() {
        if (m_isTelling) return;
        m_isTelling = true;
        try {
            while (m_isShown != (m_count > 0)) {
                m_isShown = m_count > 0;
                if (WaitCursorHandler const handler = g_waitCursor) handler(m_isShown ? 1 : 0);
            }
        } catch (...) {
            m_isTelling = false;
            throw;
        }
        m_isTelling = false;
    }

    CCriticalSection m_lock;  // held while the handler runs, so that the last word it hears is right
    unsigned long m_count = 0;
    bool m_isShown = false;
    bool m_isTelling = false;
};

}  // namespace

void CCmdTarget::BeginWaitCursor() {
    Waiting::Get().Begin();
}

void CCmdTarget::EndWaitCursor() {
    Waiting::Get().End();
}

WaitCursorHandler AfxSetWaitCursorHandler(WaitCursorHandler handler) {
    return g_waitCursor.exchange(handler);
}

}  // namespace KxN
