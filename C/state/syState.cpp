// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/state/syState.h"

#include <memory>

namespace KxN {

KxState::KxState(KxState const& other) : KxRefCounter(other) {
    SetRefCounterValue(other.GetRefCounterValue());
}

KxState& KxState::operator=(KxState const& other) {
    SetRefCounterValue(other.GetRefCounterValue());
    return *this;
}

KxCompositeState::KxCompositeState(KxCompositeState const& other) : KxState(other), m_children(other.m_children) {
    SetRefCounterValue(0);
}

void KxCompositeState::Read() {
    for (KxTSmartPointer<KxState> const& child : m_children)
        if (child) child->Read();
}

void KxCompositeState::Write() {
    for (int i = m_children.Count(); i-- > 0;)
        if (KxTSmartPointer<KxState> const child = m_children[i]) child->Write();
}

KxState* KxCompositeState::Clone() {
    auto clone = std::make_unique<KxCompositeState>();
    for (KxTSmartPointer<KxState> const& child : m_children) clone->AddState(child ? child->Clone() : nullptr);
    return clone.release();
}

void KxCompositeState::AddState(KxState* state) {
    // Whatever happens, a state that nobody else refers to does not get lost.
    KxTSmartPointer<KxState> const child(state);
    m_children.AddTail(child);
}

ULONGLONG KxCompositeState::GetSize() const {
    ULONGLONG size = 0;
    for (KxTSmartPointer<KxState> const& child : m_children)
        if (child) size += child->GetSize();
    return size;
}

}  // namespace KxN
