// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// One drag within the process, driven by whatever shows the windows: it tells where the pointer is, and what the user does.
//
//     KxDragSession session(view.GetDragDrop(), view.GetDragDrop(), &view, DROPEFFECT_COPY | DROPEFFECT_MOVE);
//     while (session.IsActive()) ... ShowCursor(session.MoveTo(windowBelow, keys, point)) ... session.Drop(keys, point)
//
// A target hears OnDragEnter, OnDragOver and OnDragLeave in turn, and OnDrop only for an effect that it has promised and the
// source allows. If a target or the source throws, whatever it is, or the source dies, the session ends without an
// effect, and the target is told that the pointer has left. Only what ends the thread passes through the operations,
// after the same; the destructor lets no exception out. Belongs to the thread of the windows.
//
// The window where the drag began hears everything that a target hears. What it does with its own data in OnDrop is done
// there: the source hears of no effect, and removes nothing that has just been put back.
#pragma once

#include "hbtools/interchange/syOleDragDrop.h"

namespace KxN {

class KX_API KxDragSession {
public:
    /// Asks the drop source, then begins. All three outlive the session, or the data source ends it.
    KxDragSession(COleDataSource& data, COleDropSource& source, CWnd* window, unsigned long allowedEffects);
    KxDragSession(KxDragSession const&) = delete;
    KxDragSession& operator=(KxDragSession const&) = delete;
    /// Cancels a session that is still active.
    ~KxDragSession();

    int IsActive() const { return m_isActive; }
    /// The pointer is over this window, null for none. Returns the effect that a drop would have here.
    unsigned long MoveTo(CWnd* window, unsigned long keyState, CPoint point);
    /// Drops where the pointer is, and ends. Returns what was done, for the source: after DROPEFFECT_MOVE it removes its data.
    /// Always DROPEFFECT_NONE over the window where the drag began.
    unsigned long Drop(unsigned long keyState, CPoint point);
    void Cancel();

    /// Why it ended by itself; empty if it did not.
    KxString const& GetFailure() const { return m_failure; }

private:
    template <class Call>
    unsigned long Guarded(Call call);
    void Leave();
    void LeaveQuietly();

    COleDataObject m_data;
    CWnd* m_begin;  // where it began
    unsigned long m_allowed;
    bool m_isActive = false;
    CWnd* m_window = nullptr;  // with a target below the pointer
    unsigned long m_effect = DROPEFFECT_NONE;
    KxString m_failure;
};

}  // namespace KxN
