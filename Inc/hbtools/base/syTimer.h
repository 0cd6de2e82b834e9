// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A call after some time, once, from the message loop of the thread that started the timer. Start again for the next one.
// Destroying or stopping it takes the call back. Start, Stop and destruction on one thread. A copy has the same time and
// the same target, and is idle.
#pragma once

#include "hbtools/base/syLink.h"

#include <memory>

namespace KxN {

namespace detail {
class MessageQueue;
}

class KX_API KxTimer {
public:
    KxTimer() = default;
    KxTimer(KxTimer const& other) : m_timeout(other.m_timeout), m_link(other.m_link) {}
    KxTimer& operator=(KxTimer const& other);
    ~KxTimer() { Stop(); }

    void SetTimeout(unsigned long milliseconds) { m_timeout = milliseconds; }
    unsigned long GetTimeout() const { return m_timeout; }
    /// What is called, with the timer as its argument. An exception of it reaches who pumps.
    void SetTimeoutHdl(KxTools::Link const& link) { m_link = link; }
    KxTools::Link const& GetTimeoutHdl() const { return m_link; }

    /// Starts the time, from the beginning if it runs.
    void Start();
    void Stop();
    int IsActive() const { return m_queue != nullptr; }

private:
    friend class detail::MessageQueue;

    unsigned long m_timeout = 0;
    KxTools::Link m_link;
    std::shared_ptr<detail::MessageQueue> m_queue;  // where it runs; null if it does not
};

}  // namespace KxN
