// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxMsgCommunicator: objects that hand messages to each other by direct call. Each has a list of receivers, and SendMsg calls
// them one after the other, on the sender's thread, with no queue in between.
//
//     class Moved : public KxBaseMsg { ... };
//     class View : public KxMsgCommunicator { void ReceiveMsg(KxBaseMsg* message) override; };
//     scan.AddMsgReceiver(&view);
//
// Threads: any may change lists and send; no lock is held while receivers run. So a receiver that another thread removes may
// get one message more: it must live on until senders are done. Errors: an exception of a receiver reaches the sender, the
// receivers behind it get nothing. Receivers are not owned, and are not told when the list ends.
#pragma once

#include "hbtools/base/sySync.h"
#include "hbtools/core/sySVQueue.h"

namespace KxN {

/// The root of all messages.
class KX_API KxBaseMsg {
public:
    KxBaseMsg() = default;
    KxBaseMsg(KxBaseMsg const&) = default;
    KxBaseMsg& operator=(KxBaseMsg const&) = default;
    virtual ~KxBaseMsg();
};

// It is never deleted by a pointer to this class.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
class KX_API KxMsgCommunicator {
public:
    KxMsgCommunicator();
    KxMsgCommunicator(KxMsgCommunicator const&) = delete;
    KxMsgCommunicator& operator=(KxMsgCommunicator const&) = delete;
    ~KxMsgCommunicator();

    /// Adds it at the end; a receiver that stands in the list twice gets each message twice.
    void AddMsgReceiver(KxMsgCommunicator* receiver);
    /// Takes the first entry of it out, for which it looks at each, as those below do; none is fine too.
    void RemoveMsgReceiver(KxMsgCommunicator* receiver);
    /// Puts the new one in the place of the first entry of the old one; without one nothing changes.
    void ReplaceMsgReceiver(KxMsgCommunicator* oldReceiver, KxMsgCommunicator* newReceiver);
    int GetNumMsgReceivers() const;
    int IsMsgReceiver(KxMsgCommunicator* receiver) const;
    /// Counted from 0; null if there is none.
    KxMsgCommunicator* GetMsgReceiver(int index) const;

protected:
    /// Calls ReceiveMsg of those that are receivers at this moment. The message stays the caller's. A receiver may change
    /// any list, which counts from the next message on.
    virtual void SendMsg(KxBaseMsg* message) const;
    /// The default does nothing.
    virtual void ReceiveMsg(KxBaseMsg* message);

private:
    using Receivers = KxTSVQueue<KxMsgCommunicator*>;

    Receivers m_receivers{1024, 16, 16};
    mutable CCriticalSection m_lock;
};
#pragma GCC diagnostic pop

}  // namespace KxN
