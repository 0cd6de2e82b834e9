// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syOperatorMgr.h"

#include "hbtools/base/syObject.h"
#include "hbtools/operators/syOperator.h"
#include "operators/syOperatorParts.h"

namespace KxN {

KxOperatorMgr* pOperatorMgr = nullptr;

namespace {

[[noreturn]] void Throw(unsigned long line, KxString const& operatorName, unsigned short textId) {
    throw new KxOperatorMgrException(L"syOperatorMgr", line, operatorName, detail::TextOf(textId));
}

}  // namespace

KxOperatorMgr::KxOperatorMgr(KxOperatorMgr const& other) : m_operators(other.m_operators) {
    for (KxOperator* listed : m_operators) ++listed->m_managers;
}

KxOperatorMgr& KxOperatorMgr::operator=(KxOperatorMgr const& other) {
    KxOperatorMgr copy(other);
    m_operators.Swap(copy.m_operators);
    return *this;
}

KxOperatorMgr::~KxOperatorMgr() {
    while (!m_operators.IsEmpty()) RemoveAt(0);
}

void KxOperatorMgr::RemoveAt(int index) {
    KxOperator* const removed = m_operators.Remove(index);
    if (--removed->m_managers == 0) delete removed;
}

KxOperator* KxOperatorMgr::Find(unsigned short id) const {
    for (KxOperator* listed : m_operators)
        if (listed->GetId() == id) return listed;
    return nullptr;
}

KxOperator* KxOperatorMgr::Find(KxString const& fixName) const {
    for (KxOperator* listed : m_operators)
        if (listed->GetFixName() == fixName) return listed;
    return nullptr;
}

void KxOperatorMgr::Insert(KxOperator* newOperator) {
    if (!newOperator) AfxThrowInvalidArgException();
    if (Find(newOperator->GetId())) Throw(__LINE__, newOperator->GetFixName(), text::OperatorKnown);
    m_operators.Append(newOperator);
    ++newOperator->m_managers;
}

void KxOperatorMgr::Remove(KxOperator* oldOperator) {
    if (!oldOperator) AfxThrowInvalidArgException();
    int const index = m_operators.Find(oldOperator);
    if (index < 0) Throw(__LINE__, oldOperator->GetFixName(), text::OperatorUnknown);
    RemoveAt(index);
}

void KxOperatorMgr::Remove(unsigned short id) {
    KxOperator* const found = Find(id);
    if (!found) Throw(__LINE__, detail::TextOf(id), text::OperatorUnknown);
    RemoveAt(m_operators.Find(found));
}

KxOperator* KxOperatorMgr::GetOperator(unsigned short id) const {
    KxOperator* const found = Find(id);
    if (!found) Throw(__LINE__, detail::TextOf(id), text::OperatorUnknown);
    return found;
}

KxOperator* KxOperatorMgr::GetOperator(KxString const& fixName) const {
    KxOperator* const found = Find(fixName);
    if (!found) Throw(__LINE__, fixName, text::OperatorUnknown);
    return found;
}

KxOperator* KxOperatorMgr::GetOperatorIndexed(unsigned long index) const {
    return index < static_cast<unsigned long>(m_operators.Count()) ? m_operators[static_cast<int>(index)] : nullptr;
}

int KxOperatorMgr::Exists(unsigned short id) const {
    return Find(id) != nullptr;
}

int KxOperatorMgr::Exists(KxString const& fixName) const {
    return Find(fixName) != nullptr;
}

void KxOperatorMgr::GetAllOperatorNames(KxTMem<KxString>& names) const {
    unsigned long index = 0;
    for (KxOperator const* listed : m_operators) {
        if (index == names.Size()) return;
        names[index++] = listed->GetFixName();
    }
}

KxOperatorMgrException::KxOperatorMgrException(KxString const& sourceFile, unsigned long line,
                                               KxString const& operatorName, KxString const& specificMessage)
    : KxRuntimeException(sourceFile, line), m_operatorName(operatorName), m_specificMessage(specificMessage) {}

void KxOperatorMgrException::BuildMessage() {
    m_message = detail::FormatOf(text::OperatorFault, m_operatorName) + m_specificMessage;
    KxRuntimeException::BuildMessage();
}

}  // namespace KxN
