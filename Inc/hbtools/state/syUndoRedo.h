// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Undo and redo by snapshots. An application brackets a change and hands in a state of all that it is about to change:
//
//     undo.Begin(L"Filter");
//     undo.SaveState(new ScanState(scan));   // reads the scan as it is now
//     RemoveStrays(scan);
//     undo.End(L"");
//
// Undo and Redo swap the live data with the snapshot of the newest step. The last 20 steps are kept, and fewer where all
// snapshots, those for Redo included, take more memory than KxLimits::undoMemory: the one that is the most steps away goes
// first, whether for Undo or for Redo, and of two the one for Redo. Only the one that was just taken stays whatever its size.
// Signals run on the caller's thread, the one thread of the object.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/core/sySignal.h"
#include "hbtools/state/syState.h"

namespace KxN {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"  // nobody deletes a history through a base
class KX_API KxUndoRedo {
public:
    using States = KxTList<KxTSmartPointer<KxState>>;
    using Names = KxTList<CString>;

    KxUndoRedo() = default;
    /// Copies are told to the same slots and share the steps.
    KxUndoRedo(KxUndoRedo const& other);
    KxUndoRedo& operator=(KxUndoRedo const& other);
    ~KxUndoRedo() = default;

    /// Begins a step of that name. Brackets within it belong to it, and their names do not count.
    virtual void Begin(CString const& name);
    /// Reads the state and adds it to the step; it belongs to the step from here on. Before the change, for every part of it.
    /// @throws CInvalidArgException outside of a bracket or without a state; what its Read throws; KxException if the step
    /// alone takes more memory than may be kept. The state is not part of the step then, and is freed if nobody refers to
    /// it: the application leaves the change alone, or makes it and clears the history.
    virtual void SaveState(KxState* state);
    /// Ends a bracket, and with the outermost the step. A name that is not empty replaces the one of Begin. A step without
    /// states leaves no trace; any other ends the redo history. @throws CInvalidArgException without a bracket;
    /// std::bad_alloc, and the bracket is still open
    virtual void End(CString const& name);
    /// Ends a bracket in place of End, and the step that it belongs to is not kept: for changes that failed. The application
    /// puts back what it changed, or clears the history. Nothing without a bracket.
    void Drop() noexcept;
    /// Forgets all steps. A bracket that is open stays so.
    virtual void Clear();
    /// Only if there is a step: ask CanUndo, CanRedo first; otherwise nothing happens. If a state throws, the steps stay as
    /// they are at that moment: the step, and its twin on the other side. The next call tries again with the same twin if
    /// that holds the data of before, and forgets it if it could not read them.
    virtual void Undo();
    virtual void Redo();
    virtual bool CanUndo() const { return m_undoStates.Count() > 0; }
    virtual bool CanRedo() const { return m_redoStates.Count() > 0; }
    virtual States const& UndoStates() const { return m_undoStates; }  ///< The newest step at the tail.
    virtual States const& RedoStates() const { return m_redoStates; }  ///< The newest step at the head.
    virtual Names const& UndoNames() const { return m_undoNames; }
    virtual Names const& RedoNames() const { return m_redoNames; }

    /// The memory that all steps take, in bytes, as far as their states tell.
    ULONGLONG GetSize() const;

    KxTSignal<KxUndoRedo*> SignalChanged;  ///< The steps changed.
    KxTSignal<KxUndoRedo*> SignalUndone;   ///< After SignalChanged.
    KxTSignal<KxUndoRedo*> SignalRedone;   ///< After SignalChanged.

private:
    void Close() noexcept;
    void ForgetUnread();
    void KeepToLimit(bool isUndoNewest);

    int m_limit = 20;
    KxTSmartPointer<KxCompositeState> m_current;
    ULONGLONG m_currentSize = 0;  // of its states when they were saved
    int m_level = 0;
    bool m_isDropped = false;  // the step of the open bracket
    CString m_name;
    States m_undoStates, m_redoStates;
    Names m_undoNames, m_redoNames;
    KxTSmartPointer<KxState> m_left;  // the twin that an Undo or Redo which failed left on the other side
    bool m_isLeftRead = false;
};
#pragma GCC diagnostic pop

}  // namespace KxN
