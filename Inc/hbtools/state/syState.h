// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Snapshots of application data. A class derived from KxState knows what it captures: Read copies the live data into the
// state, Write puts it back, Clone makes a twin that captures the same data. KxCompositeState is a state made of states, the
// step that KxUndoRedo keeps.
//
// States live by their references: the Unref that takes the last one deletes the state, which therefore stands on the heap.
// A state belongs to one thread at a time. Read and Write may throw; whoever calls them passes that on.
#pragma once

#include "hbtools/core/syList.h"
#include "hbtools/core/sySmartPointer.h"

namespace KxN {

class KX_API KxState : public KxRefCounter {
public:
    KxState() = default;
    /// Copies take over the count of references too: a class whose copies are objects of their own, as in Clone, begins
    /// them with SetRefCounterValue(0).
    KxState(KxState const& other);
    KxState& operator=(KxState const& other);

    virtual void Read() = 0;
    virtual void Write() = 0;
    /// A new state without references, which captures the same data; whether it holds the snapshot too is its own affair.
    virtual KxState* Clone() = 0;
    /// The memory that the snapshot takes, in bytes, for the limit of KxUndoRedo; 0 for a state that does not tell.
    virtual ULONGLONG GetSize() const { return 0; }
};

class KX_API KxCompositeState : public KxState {
public:
    using Children = KxTList<KxTSmartPointer<KxState>>;

    KxCompositeState() = default;
    /// The same children, each with one more reference; no references to the copy.
    KxCompositeState(KxCompositeState const& other);
    /// Takes over the count of references and the children.
    KxCompositeState& operator=(KxCompositeState const& other) = default;

    /// Every child, from the first added to the last.
    void Read() override;
    /// Every child, from the last added to the first: later changes go back first.
    void Write() override;
    /// A composite of the clones of all children.
    KxState* Clone() override;
    /// Appends the state and takes a reference to it. Null is a child that has nothing to do.
    virtual void AddState(KxState* state);
    virtual int NumStates() const { return m_children.Count(); }
    ULONGLONG GetSize() const override;

private:
    Children m_children;
};

}  // namespace KxN
