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

void RemoveTail(States& states, Names& names) {
    states.RemoveTail();
    names.RemoveTail();
}

void RemoveHead(States& states, Names& names) {
    states.RemoveHead();
    names.RemoveHead();
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
      m_currentSize(other.m_currentSize),
      m_level(other.m_level),
      m_isDropped(other.m_isDropped),
      m_name(other.m_name),
      m_undoStates(other.m_undoStates),
      m_redoStates(other.m_redoStates),
      m_undoNames(other.m_undoNames),
      m_redoNames(other.m_redoNames),
      m_left(other.m_left),
      m_isLeftRead(other.m_isLeftRead) {
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
    m_currentSize = copy.m_currentSize;
    m_level = copy.m_level;
    m_isDropped = copy.m_isDropped;
    std::swap(m_name, copy.m_name);
    std::swap(m_undoStates, copy.m_undoStates);
    std::swap(m_redoStates, copy.m_redoStates);
    std::swap(m_undoNames, copy.m_undoNames);
    std::swap(m_redoNames, copy.m_redoNames);
    std::swap(m_left, copy.m_left);
    m_isLeftRead = copy.m_isLeftRead;
    return *this;
}

void KxUndoRedo::Begin(CString const& name) {
    if (m_level == 0) {
        CString copy(name);
        m_current = new KxCompositeState;
        m_name = std::move(copy);
        m_currentSize = 0;
        m_isDropped = false;
    }
    ++m_level;
}

void KxUndoRedo::SaveState(KxState* state) {
    KxTSmartPointer<KxState> const kept(state);
    if (!m_current || !state) AfxThrowInvalidArgException();
    if (m_isDropped) return;
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
    bool const isKept = !m_isDropped && m_current->NumStates() > 0;
    if (isKept) {
        ForgetUnread();
        AddTail(m_undoStates, m_undoNames, KxTSmartPointer<KxState>(m_current.Get()), name.IsEmpty() ? m_name : name);
        m_redoStates.RemoveAll();
        m_redoNames.RemoveAll();
        m_left = nullptr;
        while (m_undoStates.Count() > m_limit) RemoveHead(m_undoStates, m_undoNames);
        KeepToLimit(true);
    }
    Close();
    if (isKept) SignalChanged.Emit(this);
}

void KxUndoRedo::Drop() noexcept {
    if (m_level == 0) return;
    m_isDropped = true;
    if (m_level == 1)
        Close();
    else
        --m_level;
}

void KxUndoRedo::Close() noexcept {
    m_level = 0;
    m_current = nullptr;
    m_name = CString();
}

void KxUndoRedo::Clear() {
    m_undoStates.RemoveAll();
    m_undoNames.RemoveAll();
    m_redoStates.RemoveAll();
    m_redoNames.RemoveAll();
    m_left = nullptr;
    SignalChanged.Emit(this);
}

void KxUndoRedo::Undo() {
    ForgetUnread();
    if (m_undoStates.Count() == 0) return;
    KxTSmartPointer<KxState> const step = m_undoStates.Tail();
    if (!m_left || m_redoStates.Count() == 0 || m_redoStates.Head() != m_left) {
        m_left = step->Clone();
        m_isLeftRead = false;
        AddHead(m_redoStates, m_redoNames, m_left, m_undoNames.Tail());
        m_left->Read();
        m_isLeftRead = true;
    }
    step->Write();
    m_left = nullptr;
    if (m_undoStates.Count() > 0 && m_undoStates.Tail() == step)  // the application may have changed the history
        RemoveTail(m_undoStates, m_undoNames);
    KeepToLimit(false);
    SignalChanged.Emit(this);
    SignalUndone.Emit(this);
}

void KxUndoRedo::Redo() {
    ForgetUnread();
    if (m_redoStates.Count() == 0) return;
    KxTSmartPointer<KxState> const step = m_redoStates.Head();
    if (!m_left || m_undoStates.Count() == 0 || m_undoStates.Tail() != m_left) {
        m_left = step->Clone();
        m_isLeftRead = false;
        AddTail(m_undoStates, m_undoNames, m_left, m_redoNames.Head());
        m_left->Read();
        m_isLeftRead = true;
    }
    step->Write();
    m_left = nullptr;
    if (m_redoStates.Count() > 0 && m_redoStates.Head() == step) RemoveHead(m_redoStates, m_redoNames);
    KeepToLimit(true);
    SignalChanged.Emit(this);
    SignalRedone.Emit(this);
}

// A snapshot that could not be taken has nothing to give back.
void KxUndoRedo::ForgetUnread() {
    if (!m_left || m_isLeftRead) return;
    if (m_redoStates.Count() > 0 && m_redoStates.Head() == m_left)
        RemoveHead(m_redoStates, m_redoNames);
    else if (m_undoStates.Count() > 0 && m_undoStates.Tail() == m_left)
        RemoveTail(m_undoStates, m_undoNames);
    m_left = nullptr;
}

// What is farthest from the present goes first, on whichever side it is, and of two the one for Redo. The snapshot that was
// just taken stays.
void KxUndoRedo::KeepToLimit(bool isUndoNewest) {
    ULONGLONG size = SizeOf(m_undoStates) + SizeOf(m_redoStates);
    while (size > KxxLimits().undoMemory && m_undoStates.Count() + m_redoStates.Count() > 1) {
        int const undoable = m_undoStates.Count() - isUndoNewest, redoable = m_redoStates.Count() - !isUndoNewest;
        bool const isRedo = undoable == 0 || (redoable > 0 && m_redoStates.Count() >= m_undoStates.Count());
        size -= (isRedo ? m_redoStates.Tail() : m_undoStates.Head())->GetSize();
        isRedo ? RemoveTail(m_redoStates, m_redoNames) : RemoveHead(m_undoStates, m_undoNames);
    }
}

ULONGLONG KxUndoRedo::GetSize() const {
    return SizeOf(m_undoStates) + SizeOf(m_redoStates) + (m_current ? m_current->GetSize() : 0);
}

}  // namespace KxN
