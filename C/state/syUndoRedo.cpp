// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/state/syUndoRedo.h"

#include "hbtools/base/syException.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "state/syTextIds.h"

#include <utility>

namespace KxN {

namespace {

using States = KxUndoRedo::States;
using Names = KxUndoRedo::Names;

/// Adds a step at the given end of both lists, or to none.
template <void (States::*addState)(KxTSmartPointer<KxState> const&), void (Names::*addName)(CString const&),
          KxTSmartPointer<KxState> (States::*removeState)()>
void Add(States& states, Names& names, KxTSmartPointer<KxState> const& state, CString const& name) {
    (states.*addState)(state);
    try {
        (names.*addName)(name);
    } catch (...) {
        (states.*removeState)();
        throw;
    }
}

void AddTail(States& states, Names& names, KxTSmartPointer<KxState> const& state, CString const& name) {
    Add<&States::AddTail, &Names::AddTail, &States::RemoveTail>(states, names, state, name);
}

void AddHead(States& states, Names& names, KxTSmartPointer<KxState> const& state, CString const& name) {
    Add<&States::AddHead, &Names::AddHead, &States::RemoveHead>(states, names, state, name);
}

ULONGLONG SizeOf(States const& states) {
    ULONGLONG size = 0;
    for (KxTSmartPointer<KxState> const& state : states) size += state->GetSize();
    return size;
}

}  // namespace

KxUndoRedo::KxUndoRedo(KxUndoRedo const& other)
    : m_limit(other.m_limit),
      m_current(other.m_current),
      m_level(other.m_level),
      m_name(other.m_name),
      m_undoStates(other.m_undoStates),
      m_redoStates(other.m_redoStates),
      m_undoNames(other.m_undoNames),
      m_redoNames(other.m_redoNames) {
    SignalChanged.ConnectAsIn(other.SignalChanged);
    SignalUndone.ConnectAsIn(other.SignalUndone);
    SignalRedone.ConnectAsIn(other.SignalRedone);
}

KxUndoRedo& KxUndoRedo::operator=(KxUndoRedo const& other) {
    if (this == &other) return *this;
    KxUndoRedo copy(other);
    SignalChanged.ConnectAsIn(copy.SignalChanged);
    SignalUndone.ConnectAsIn(copy.SignalUndone);
    SignalRedone.ConnectAsIn(copy.SignalRedone);
    m_limit = copy.m_limit;
    std::swap(m_current, copy.m_current);
    m_level = copy.m_level;
    std::swap(m_name, copy.m_name);
    std::swap(m_undoStates, copy.m_undoStates);
    std::swap(m_redoStates, copy.m_redoStates);
    std::swap(m_undoNames, copy.m_undoNames);
    std::swap(m_redoNames, copy.m_redoNames);
    return *this;
}

void KxUndoRedo::Begin(CString const& name) {
    if (m_level == 0) {
        CString copy(name);
        m_current = new KxCompositeState;
        m_name = std::move(copy);
        m_currentSize = 0;
    }
    ++m_level;
}

void KxUndoRedo::SaveState(KxState* state) {
    KxTSmartPointer<KxState> const kept(state);
    if (!m_current || !state) AfxThrowInvalidArgException();
    state->Read();
    ULONGLONG const size = m_currentSize + state->GetSize();
    if (size > KxxLimits().undoMemory) {
        KxString text;
        text.SPrintf(KxString(KxResId(text::StepTooLarge)), KxString(m_name), KxxLimits().undoMemory);
        throw new KxException(L"syUndoRedo", __LINE__, text);
    }
    m_current->AddState(state);
    m_currentSize = size;
}

void KxUndoRedo::End(CString const& name) {
    if (m_level == 0) AfxThrowInvalidArgException();
    if (m_level > 1) {
        --m_level;
        return;
    }
    bool const isEmpty = m_current->NumStates() == 0;
    if (!isEmpty) {
        AddTail(m_undoStates, m_undoNames, KxTSmartPointer<KxState>(m_current.Get()), name.IsEmpty() ? m_name : name);
        m_redoStates.RemoveAll();
        m_redoNames.RemoveAll();
        ULONGLONG size = SizeOf(m_undoStates);
        while (m_undoStates.Count() > m_limit || (m_undoStates.Count() > 1 && size > KxxLimits().undoMemory)) {
            size -= m_undoStates.Head()->GetSize();
            m_undoStates.RemoveHead();
            m_undoNames.RemoveHead();
        }
    }
    m_level = 0;
    m_current = nullptr;
    m_name = CString();
    if (!isEmpty) SignalChanged.Emit(this);
}

void KxUndoRedo::Clear() {
    m_undoStates.RemoveAll();
    m_undoNames.RemoveAll();
    m_redoStates.RemoveAll();
    m_redoNames.RemoveAll();
    SignalChanged.Emit(this);
}

void KxUndoRedo::Undo() {
    if (m_undoStates.Count() == 0) return;
    KxTSmartPointer<KxState> const step = m_undoStates.Tail();
    KxTSmartPointer<KxState> const present(step->Clone());
    AddHead(m_redoStates, m_redoNames, present, m_undoNames.Tail());
    present->Read();
    step->Write();
    if (m_undoStates.Count() > 0 && m_undoStates.Tail() == step) {  // the application may have changed the history
        m_undoStates.RemoveTail();
        m_undoNames.RemoveTail();
    }
    SignalChanged.Emit(this);
    SignalUndone.Emit(this);
}

void KxUndoRedo::Redo() {
    if (m_redoStates.Count() == 0) return;
    KxTSmartPointer<KxState> const step = m_redoStates.Head();
    KxTSmartPointer<KxState> const present(step->Clone());
    AddTail(m_undoStates, m_undoNames, present, m_redoNames.Head());
    present->Read();
    step->Write();
    if (m_redoStates.Count() > 0 && m_redoStates.Head() == step) {
        m_redoStates.RemoveHead();
        m_redoNames.RemoveHead();
    }
    SignalChanged.Emit(this);
    SignalRedone.Emit(this);
}

ULONGLONG KxUndoRedo::GetSize() const {
    return SizeOf(m_undoStates) + SizeOf(m_redoStates) + (m_current ? m_current->GetSize() : 0);
}

}  // namespace KxN
