// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syDragSession.h"

#include "hbtools/base/syObject.h"

#include <exception>
#include <utility>

namespace KxN {

namespace {

/// The one that is done, of several that were promised: copy before move before link.
unsigned long Single(unsigned long effects) {
    return effects & (~effects + 1);
}

}  // namespace

KxDragSession::KxDragSession(COleDataSource& data, COleDropSource& source, CWnd* window, unsigned long allowedEffects)
    : m_data(data), m_allowed(allowedEffects) {
    m_isActive = true;
    Guarded([&]() -> unsigned long {
        m_isActive = source.OnBeginDrag(window) != 0;
        return 0;
    });
}

KxDragSession::~KxDragSession() {
    Cancel();
}

/// Calls what belongs to others. What they throw ends the session; the target is told once more at most.
template <class Call>
unsigned long KxDragSession::Guarded(Call call) {
    if (!m_isActive) return DROPEFFECT_NONE;
    try {
        if (m_data.IsAlive()) return call();
        Leave();
    } catch (CException* exception) {
        if (exception->EndsThread()) {
            Leave();
            throw;
        }
        m_failure = CException::TextOf(*exception);
        exception->Delete();
        Leave();
    } catch (std::exception const& exception) {
        m_failure = KxString(exception.what());
        Leave();
    }
    return DROPEFFECT_NONE;
}

void KxDragSession::Leave() noexcept {
    m_isActive = false;
    m_effect = DROPEFFECT_NONE;
    CWnd* const window = std::exchange(m_window, nullptr);
    COleDropTarget* const target = window ? COleDropTarget::Of(window) : nullptr;
    if (!target) return;
    try {
        target->OnDragLeave(window);
    } catch (CException* exception) {
        exception->Delete();
    } catch (std::exception const&) {  // it has left all the same
    }
}

unsigned long KxDragSession::MoveTo(CWnd* window, unsigned long keyState, CPoint point) {
    return Guarded([&]() -> unsigned long {
        if (m_window && m_window != window) {
            CWnd* const left = std::exchange(m_window, nullptr);
            m_effect = DROPEFFECT_NONE;
            if (COleDropTarget* const target = COleDropTarget::Of(left)) target->OnDragLeave(left);
        }
        COleDropTarget* const target = window ? COleDropTarget::Of(window) : nullptr;
        if (!target) {
            m_window = nullptr;
            return m_effect = DROPEFFECT_NONE;
        }
        bool const isNew = std::exchange(m_window, window) != window;
        unsigned long const promised = isNew ? target->OnDragEnter(window, &m_data, keyState, point)
                                             : target->OnDragOver(window, &m_data, keyState, point);
        return m_effect = Single(promised & m_allowed);
    });
}

unsigned long KxDragSession::Drop(unsigned long keyState, CPoint point) {
    return Guarded([&]() -> unsigned long {
        MoveTo(m_window, keyState, point);  // the keys may have changed
        COleDropTarget* const target = m_window ? COleDropTarget::Of(m_window) : nullptr;
        if (!m_isActive || !target || m_effect == DROPEFFECT_NONE) {
            Leave();
            return DROPEFFECT_NONE;
        }
        unsigned long const done = target->OnDrop(m_window, &m_data, m_effect, point) ? m_effect : DROPEFFECT_NONE;
        m_isActive = false;
        m_window = nullptr;
        return done;
    });
}

void KxDragSession::Cancel() {
    if (m_isActive) Leave();
}

}  // namespace KxN
