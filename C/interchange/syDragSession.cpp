// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syDragSession.h"

#include "base/syCaught.h"
#include "hbtools/base/syClassName.h"
#include "hbtools/base/syObject.h"

#include <exception>
#include <utility>
#include <cxxabi.h>

namespace KxN {

namespace {

/// The one that is done, of several that were promised: copy before move before link.
unsigned long Single(unsigned long effects) {
    return effects & (~effects + 1);
}

}  // namespace

KxDragSession::KxDragSession(COleDataSource& data, COleDropSource& source, CWnd* window, unsigned long allowedEffects)
    : m_data(data), m_begin(window), m_allowed(allowedEffects) {
    m_isActive = true;
    Guarded([&]() -> unsigned long {
        m_isActive = source.OnBeginDrag(window) != 0;
        return 0;
    });
}

KxDragSession::~KxDragSession() {
    if (m_isActive) LeaveQuietly();
}

/// Calls what belongs to others. What they throw ends the session; the target is told once more at most. A forced unwinding
/// of the thread carries no object, which the check for null takes for a fault.
template <class Call>
__attribute__((no_sanitize("null"))) unsigned long KxDragSession::Guarded(Call call) {
    if (!m_isActive) return DROPEFFECT_NONE;
    try {
        if (m_data.IsAlive()) return call();
        Leave();
    } catch (abi::__forced_unwind&) {
        LeaveQuietly();
        throw;
    } catch (CException* exception) {
        if (exception->EndsThread()) {
            LeaveQuietly();
            throw;
        }
        m_failure = detail::TakeText(exception);
        Leave();
    } catch (CException& exception) {
        m_failure = CException::TextOf(exception);
        Leave();
    } catch (std::exception const& exception) {
        m_failure = KxString(exception.what());
        Leave();
    } catch (...) {  // whose kind is all that is known
        std::type_info const* const type = abi::__cxa_current_exception_type();
        m_failure = type ? KxxClassName(*type) : KxString(L"?");
        Leave();
    }
    return DROPEFFECT_NONE;
}

/// Only what ends the thread comes out.
__attribute__((no_sanitize("null"))) void KxDragSession::Leave() {
    m_isActive = false;
    m_effect = DROPEFFECT_NONE;
    CWnd* const window = std::exchange(m_window, nullptr);
    COleDropTarget* const target = window ? COleDropTarget::Of(window) : nullptr;
    if (!target) return;
    try {
        target->OnDragLeave(window);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        exception->Delete();
    } catch (...) {  // it has left all the same
    }
}

/// For where an exception is under way already, or none may come out.
void KxDragSession::LeaveQuietly() {
    try {
        Leave();
    } catch (CException* exception) {
        exception->Delete();
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
        int const isTaken = target->OnDrop(m_window, &m_data, m_effect, point);
        unsigned long const done = isTaken && m_window != m_begin ? m_effect : DROPEFFECT_NONE;
        m_isActive = false;
        m_window = nullptr;
        return done;
    });
}

void KxDragSession::Cancel() {
    if (m_isActive) Leave();
}

}  // namespace KxN
