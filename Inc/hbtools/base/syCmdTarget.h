// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// CCmdTarget: what windows, threads and the application have in common. While something takes long they ask for the
// cursor that says so; whatever draws the user interface shows it:
//
//     AfxSetWaitCursorHandler([](int isWaiting) { toolkit::ShowBusy(isWaiting != 0); });
//     GetpApp()->BeginWaitCursor();
//     Register(clouds);
//     GetpApp()->EndWaitCursor();
#pragma once

#include "hbtools/base/syObject.h"

namespace KxN {

class KX_API CCmdTarget : public CObject {
public:
    /// Asks for the wait cursor until EndWaitCursor was called as often, on whatever object: the process has one count. The
    /// handler hears of the first that begins and of the last that ends. Any thread; calls are served one after the other.
    void BeginWaitCursor();
    /// Nothing without a BeginWaitCursor before it.
    void EndWaitCursor();
};

/// Shows the wait cursor, or with 0 the usual one. Runs on the thread that begins or ends waiting, and must not wait for
/// another one. What it throws reaches that caller, whose call counts all the same.
using WaitCursorHandler = void (*)(int isWaiting);

/// Null: back to the default, which does nothing. Hears of the next change, not of what holds already. Returns the former
/// handler. Any thread.
KX_API WaitCursorHandler AfxSetWaitCursorHandler(WaitCursorHandler handler);

}  // namespace KxN
