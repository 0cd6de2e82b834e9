// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Windows and messages without a toolkit. A CWnd receives messages on the thread that made it: posted ones when that thread
// pumps its queue, in the order of posting, sent ones before them. Whatever draws the user interface hangs its own window
// behind WindowProc. A window is destroyed on its own thread; messages that still wait for it are dropped, and it is no
// thread's main window any more.
//
//     class View : public CWnd { LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam) override; };
//     view.PostMessage(RegisterWindowMessage(L"SCAN_READY"), 0, reinterpret_cast<LPARAM>(scan));   // on any thread
#pragma once

#include "hbtools/base/syThread.h"

#include <memory>

namespace KxN {

namespace detail {
struct WindowState;
}

class KX_API CWnd : public CCmdTarget {
public:
    CWnd();
    CWnd(CWnd const&) = delete;
    CWnd& operator=(CWnd const&) = delete;
    ~CWnd() override;

    /// Puts a message in the queue of the window's thread. Any thread. 0 if the thread has ended, or if
    /// KxLimits::postedCalls messages wait already.
    int PostMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
    /// Calls WindowProc on the window's thread and returns its result. A thread that waits here answers what others send to
    /// its own windows meanwhile. 0 if the window's thread ends or is killed first, if KxLimits::postedCalls sent
    /// messages wait there already, or if WindowProc throws there: the exception goes to who pumps that thread.
    LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0);

    /// Receives every message of the window. The default returns 0.
    virtual LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam);

private:
    friend class CWinThread;

    std::shared_ptr<detail::WindowState> m_state;
};

/// The number that stands for a name in this process, 0xC000 or above; always the same for one name. 0 if there are no
/// more, and for no name.
KX_API UINT RegisterWindowMessage(wchar_t const* name);

/// Shows a text to the user. `type` is what the caller wants shown with it, such as MB_ICONERROR.
using MessageBoxHandler = int (*)(wchar_t const* text, unsigned int type, unsigned int helpId);

inline constexpr unsigned int MB_OK = 0;
inline constexpr unsigned int MB_ICONERROR = 0x10;
inline constexpr unsigned int MB_ICONWARNING = 0x30;
inline constexpr unsigned int MB_ICONINFORMATION = 0x40;
inline constexpr int IDOK = 1;

/// Calls the handler; without one the text goes to standard error, and the result is IDOK. Any thread.
KX_API int AfxMessageBox(wchar_t const* text, unsigned int type = MB_OK, unsigned int helpId = 0);
/// Null: back to the default. Returns the former handler.
KX_API MessageBoxHandler AfxSetMessageBoxHandler(MessageBoxHandler handler);

}  // namespace KxN
