// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What waits for a thread: calls, messages to its windows and to itself, and its timers. Any thread puts something in, the
// thread itself takes it out.
#pragma once

#include "base/posix/syFutex.h"
#include "base/posix/syMutex.h"
#include "base/posix/syWakeDescriptor.h"
#include "hbtools/base/syLink.h"
#include "hbtools/base/syThread.h"

#include <deque>
#include <map>
#include <memory>
#include <vector>

namespace KxN {
class KxTimer;
}

namespace KxN::detail {

struct WindowState {
    std::atomic<CWnd*> window = nullptr;  // null once it is destroyed
    std::shared_ptr<MessageQueue> queue;
    unsigned long number = 0;
};

/// The state of the window of that number; null if it is destroyed. A number is never used again.
std::shared_ptr<WindowState> FindWindow(unsigned long number);

/// The answer to a message that was sent, done once it is handled or dropped; or whether one that was posted still waits,
/// done once it leaves the queue.
struct Answer {
    std::shared_ptr<MessageQueue> sender;  // null for a posted one
    std::atomic<int> isDone = 0;
    LRESULT result = 0;
};

class MessageQueue {
public:
    struct Entry {
        KxTools::Link call;  // with its argument in lParam; empty for a message
        UINT message = 0;
        WPARAM wParam = 0;
        LPARAM lParam = 0;
        std::shared_ptr<WindowState> window;  // null: for the thread
        std::shared_ptr<Answer> answer;
        unsigned long long number = 0;
    };

    MessageQueue() = default;
    MessageQueue(MessageQueue const&) = delete;
    MessageQueue& operator=(MessageQueue const&) = delete;
    ~MessageQueue();

    /// The queue of the calling thread; made when it is first asked for.
    static std::shared_ptr<MessageQueue> const& OfThisThread();
    /// Becomes the queue of the calling thread, until null takes its place. It stays the caller's.
    static void Adopt(std::shared_ptr<MessageQueue> const* queue);

    /// False if the thread has ended or if too much waits already.
    bool Post(Entry entry);
    /// Puts it in front of all that was posted, and waits for the answer.
    static LRESULT Send(MessageQueue& to, Entry entry);
    void Signal();
    /// Of a message to this queue; if it was sent, with its result set.
    void GiveAnswer(Answer& answer);

    // For the thread itself:
    bool HasDue();
    /// Runs what is due at this moment; what that posts waits for the next time.
    void DispatchDue();
    /// Waits for one thing and runs it. False when the loop is to end.
    bool DispatchNext();
    /// Waits until something is due.
    void AwaitNext();
    void Quit(int exitCode);
    int GetExitCode() const { return m_exitCode; }
    void StartTimer(KxTimer& timer, unsigned long timeout);
    void StopTimer(KxTimer& timer);
    /// A descriptor that can be read from whenever something is due.
    int GetDescriptor();
    void DropCalls();
    /// The thread ends, or was killed; also by who killed it.
    void Close();

private:
    using Timers = std::multimap<Clock::time_point, KxTimer*>;

    bool Put(std::deque<Entry>& queue, Entry&& entry);
    void Run(Entry& entry);
    bool RunSent(unsigned long long end);
    bool RunPosted(unsigned long long end);
    bool RunTimer(Clock::time_point due);
    void SleepUntil(Deadline deadline);
    void Rest();

    Mutex m_mutex;  // guards what follows, up to the word
    std::deque<Entry> m_sent;
    std::deque<Entry> m_posted;
    std::vector<std::shared_ptr<Answer>> m_answering;  // to sent messages that are being handled
    unsigned long long m_numPosted = 0;                // in all; numbers the entries
    bool m_isClosed = false;
    std::unique_ptr<WakeDescriptor> m_descriptor;
    std::atomic<int> m_word = 0;  // 1 when something came
    std::atomic<bool> m_isAsleep = false;

    Timers m_timers;  // for the thread itself
    bool m_isQuitting = false;
    int m_exitCode = 0;
};

}  // namespace KxN::detail
