// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Drag and drop for a window: the window's class implements KxOleDragDropUser and holds one KxOleDragDrop, which is data
// source, drop source and drop target in one. The toolkit that draws the windows drives a KxDragSession (syDragSession.h).
//
//     class View : public CWnd, KxOleDragDropUser { KxOleDragDrop m_dragDrop; ... };
//     m_dragDrop.Init(this);
//     m_dragDrop.EnableDrop(this);
//
// Everything belongs to the thread of the windows. Nothing throws but what the user's operations throw.
#pragma once

#include "hbtools/interchange/syOleData.h"

namespace KxN {

struct CPoint {
    int x = 0;
    int y = 0;
};

/// What becomes of dragged data; effects are bits.
enum DropEffect : unsigned long { DROPEFFECT_NONE = 0, DROPEFFECT_COPY = 1, DROPEFFECT_MOVE = 2, DROPEFFECT_LINK = 4 };

/// Decides about the begin of a drag.
class KX_API COleDropSource {
public:
    virtual ~COleDropSource();
    /// Non-zero if a drag may begin from the window; the default always agrees.
    virtual int OnBeginDrag(CWnd* window);
};

/// Takes what is dropped on a window. A window has one target at most, and outlives its registration.
class KX_API COleDropTarget {
public:
    COleDropTarget() = default;
    COleDropTarget(COleDropTarget const&) = delete;
    COleDropTarget& operator=(COleDropTarget const&) = delete;
    virtual ~COleDropTarget();

    /// Non-zero if this is the target of the window now, or was before. 0 without a window, for a window that has another
    /// target, and if this is the target of another window.
    int Register(CWnd* window);
    void Revoke();
    /// The target of a window; null if it has none.
    static COleDropTarget* Of(CWnd const* window);

    // Each returns the effect that a drop would have; the defaults DROPEFFECT_NONE.
    virtual unsigned long OnDragEnter(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point);
    virtual unsigned long OnDragOver(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point);
    virtual void OnDragLeave(CWnd* window);
    /// Non-zero if the data were taken.
    virtual int OnDrop(CWnd* window, COleDataObject* data, unsigned long dropEffect, CPoint point);

private:
    CWnd* m_window = nullptr;
};

/// What a window does about drag and drop.
class KX_API KxOleDragDropUser {
public:
    KxOleDragDropUser() {}
    KxOleDragDropUser(KxOleDragDropUser const&) {}
    KxOleDragDropUser& operator=(KxOleDragDropUser const&) {
        return *this;
    }  // NOLINT(bugprone-unhandled-self-assignment)

    virtual unsigned long OnDragEnter(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point) = 0;
    virtual unsigned long OnDragOver(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point) = 0;
    virtual void OnDragLeave(CWnd* window) = 0;
    virtual int OnDrop(CWnd* window, COleDataObject* data, unsigned long dropEffect, CPoint point) = 0;
    /// Fills the data source of its KxOleDragDrop. 0 if nothing is to be dragged.
    virtual int OnBeginDrag(CWnd* window) = 0;
    virtual ~KxOleDragDropUser();
};

class KX_API KxOleDragDrop : public COleDataSource, public COleDropSource, public COleDropTarget {
public:
    KxOleDragDrop() = default;

    /// The user stays the caller's and outlives this object. Without one nothing is dragged and nothing taken.
    void Init(KxOleDragDropUser* user) { m_user = user; }

    /// Null switches off. One registration of the window serves both; it ends when both are off.
    void EnableDrag(CWnd* window) { Enable(window, m_isDragEnabled, m_isDropEnabled); }
    void EnableDrop(CWnd* window) { Enable(window, m_isDropEnabled, m_isDragEnabled); }
    int IsEnabledDrag() const { return m_isDragEnabled; }
    int IsEnabledDrop() const { return m_isDropEnabled; }

    unsigned long OnDragEnter(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point) override;
    unsigned long OnDragOver(CWnd* window, COleDataObject* data, unsigned long keyState, CPoint point) override;
    void OnDragLeave(CWnd* window) override;
    /// 0 unless dropping is enabled.
    int OnDrop(CWnd* window, COleDataObject* data, unsigned long dropEffect, CPoint point) override;
    /// The user may refuse; then the drop source decides.
    int OnBeginDrag(CWnd* window) override;

private:
    void Enable(CWnd* window, int& flag, int const& other);

    int m_isDragEnabled = 0;
    int m_isDropEnabled = 0;
    KxOleDragDropUser* m_user = nullptr;
};

}  // namespace KxN
