// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syMsgCommunicator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace {

using namespace KxN;

struct Text : KxBaseMsg {
    std::string trace;
};

class Station final : public KxMsgCommunicator {
public:
    explicit Station(char name = 0) : m_name(name) {}
    void Say(KxBaseMsg* message) { SendMsg(message); }
    std::function<void(KxBaseMsg*)> then;
    std::atomic<int> received = 0;

protected:
    void ReceiveMsg(KxBaseMsg* message) override {
        ++received;
        if (m_name) static_cast<Text*>(message)->trace += m_name;
        if (then) then(message);
    }

private:
    char m_name;
};

TEST(MsgCommunicator, ReachesReceiversInTheirOrder) {
    Station a('a'), b('b'), c('c');
    KxMsgCommunicator silent;  // receives, and does nothing
    auto const sent = [](Station& sender) {
        Text text;
        sender.Say(&text);
        return text.trace;
    };
    EXPECT_EQ(sent(a), "");
    for (KxMsgCommunicator* receiver : {static_cast<KxMsgCommunicator*>(&b), static_cast<KxMsgCommunicator*>(&c),
                                        static_cast<KxMsgCommunicator*>(&b), &silent})
        a.AddMsgReceiver(receiver);
    EXPECT_EQ(sent(a), "bcb");
    EXPECT_EQ(a.GetMsgReceiver(1), &c);
    EXPECT_EQ(a.GetMsgReceiver(4), nullptr);
    EXPECT_EQ(a.GetMsgReceiver(-1), nullptr);
    a.RemoveMsgReceiver(&b);
    a.RemoveMsgReceiver(&a);
    EXPECT_EQ(sent(a), "cb");
    a.ReplaceMsgReceiver(&c, &a);
    a.ReplaceMsgReceiver(&c, &b);
    EXPECT_EQ(sent(a), "ab");
    EXPECT_EQ(a.IsMsgReceiver(&a) * 10 + a.IsMsgReceiver(&c), 10);

    // What a receiver changes counts from the next message on.
    a.ReplaceMsgReceiver(&a, &c);
    c.then = [&](KxBaseMsg*) {
        a.RemoveMsgReceiver(&c);
        a.AddMsgReceiver(&a);
    };
    EXPECT_EQ(sent(a), "cb");
    EXPECT_EQ(sent(a), "ba");
    b.then = [](KxBaseMsg*) { throw 7; };
    Text text;
    EXPECT_THROW(a.Say(&text), int);
    EXPECT_EQ(text.trace, "b");  // the others get nothing
    b.then = [&](KxBaseMsg* message) { b.Say(message); };
    b.AddMsgReceiver(&c);
    EXPECT_EQ(sent(a), "bca");  // passed on

    Station sender;
    std::deque<Station> many(3000);  // more than a block of the list
    for (Station& station : many) sender.AddMsgReceiver(&station);
    sender.Say(&text);
    for (Station const& station : many) ASSERT_EQ(station.received, 1);
    EXPECT_EQ(sender.GetNumMsgReceivers(), 3000);
}

TEST(MsgCommunicator, ManySendAndChangeAtATime) {
    Station sender, fixed, coming, other;
    sender.AddMsgReceiver(&fixed);
    constexpr int senders = 3, messages = 2000;
    std::vector<std::thread> threads;
    std::atomic<int> running = senders;
    for (int t = 0; t < senders; ++t)
        threads.emplace_back([&] {
            KxBaseMsg message;
            for (int i = 0; i < messages; ++i) sender.Say(&message);
            --running;
        });
    while (running > 0) {
        sender.AddMsgReceiver(&coming);
        sender.ReplaceMsgReceiver(&coming, &other);
        EXPECT_EQ(sender.IsMsgReceiver(&other), 1);
        sender.RemoveMsgReceiver(&other);
        EXPECT_EQ(sender.GetMsgReceiver(1), nullptr);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(fixed.received, senders * messages);
    EXPECT_EQ(sender.GetNumMsgReceivers(), 1);
}

}  // namespace
