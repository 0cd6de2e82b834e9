// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syMsgCommunicator.h"

#include "base/posix/syMutex.h"

#include <algorithm>
#include <array>

namespace KxN {

KxBaseMsg::~KxBaseMsg() = default;

KxMsgCommunicator::KxMsgCommunicator() = default;
KxMsgCommunicator::~KxMsgCommunicator() = default;

void KxMsgCommunicator::AddMsgReceiver(KxMsgCommunicator* receiver) {
    detail::Holding const lock(m_lock);
    m_receivers.Append(receiver);
}

void KxMsgCommunicator::RemoveMsgReceiver(KxMsgCommunicator* receiver) {
    detail::Holding const lock(m_lock);
    int const index = m_receivers.Find(receiver);
    if (index >= 0) m_receivers.Remove(index);
}

void KxMsgCommunicator::ReplaceMsgReceiver(KxMsgCommunicator* oldReceiver, KxMsgCommunicator* newReceiver) {
    detail::Holding const lock(m_lock);
    int const index = m_receivers.Find(oldReceiver);
    if (index >= 0) m_receivers[index] = newReceiver;
}

int KxMsgCommunicator::GetNumMsgReceivers() const {
    detail::Holding const lock(m_lock);
    return m_receivers.Count();
}

int KxMsgCommunicator::IsMsgReceiver(KxMsgCommunicator* receiver) const {
    detail::Holding const lock(m_lock);
    return m_receivers.Find(receiver) >= 0;
}

KxMsgCommunicator* KxMsgCommunicator::GetMsgReceiver(int index) const {
    detail::Holding const lock(m_lock);
    return index >= 0 && index < GetNumMsgReceivers() ? m_receivers[index] : nullptr;
}

void KxMsgCommunicator::SendMsg(KxBaseMsg* message) const {
    // Few receivers are copied to the stack: a message takes no memory.
    std::array<KxMsgCommunicator*, 32> few;
    Receivers many(1024, 16, 16);
    detail::Holding lock(m_lock);
    int const count = m_receivers.Count();
    bool const areFew = count <= static_cast<int>(few.size());
    if (areFew)
        std::copy(m_receivers.begin(), m_receivers.end(), few.begin());
    else
        many = m_receivers;
    lock.Unlock();
    if (areFew)
        std::for_each_n(few.begin(), count, [&](KxMsgCommunicator* receiver) { receiver->ReceiveMsg(message); });
    else
        for (KxMsgCommunicator* const receiver : many) receiver->ReceiveMsg(message);
}

void KxMsgCommunicator::ReceiveMsg(KxBaseMsg*) {}

}  // namespace KxN
