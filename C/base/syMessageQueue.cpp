// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/syMessageQueue.h"

#include "base/posix/sySystemThread.h"
#include "base/posix/syThreadObject.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syTimer.h"
#include "hbtools/base/syWnd.h"

#include <algorithm>
#include <utility>

namespace KxN::detail {

namespace {

struct Holder {
    std::shared_ptr<MessageQueue> queue = std::make_shared<MessageQueue>();
    ~Holder() { queue->Close(); }
};
constinit thread_local ThreadObject<Holder> t_holder;
// The queue of the thread's own object. Without a destructor, so that a killed thread leaves nothing behind.
constinit thread_local std::shared_ptr<MessageQueue> const* t_adopted = nullptr;

/// Answers a sent message, whatever becomes of it.
class Answering {
public:
    Answering(MessageQueue& queue, std::shared_ptr<Answer> answer) : m_queue(queue), m_answer(std::move(answer)) {}
    Answering(Answering const&) = delete;
    Answering& operator=(Answering const&) = delete;
    ~Answering() {
        if (m_answer) m_queue.GiveAnswer(*m_answer);
    }
    void SetResult(LRESULT result) {
        if (m_answer) m_answer->result = result;
    }

private:
    MessageQueue& m_queue;
    std::shared_ptr<Answer> m_answer;
};

}  // namespace

MessageQueue::~MessageQueue() {
    Close();
}

std::shared_ptr<MessageQueue> const& MessageQueue::OfThisThread() {
    if (t_adopted) return *t_adopted;
    return t_holder.Get().queue;
}

void MessageQueue::Adopt(std::shared_ptr<MessageQueue> const* queue) {
    t_adopted = queue;
}

void MessageQueue::GiveAnswer(Answer& answer) {
    Hold const hold;
    if (answer.sender) {
        std::lock_guard const lock(m_mutex);
        std::erase_if(m_answering, [&](auto const& one) { return one.get() == &answer; });
    }
    answer.isDone = 1;
    if (answer.sender) answer.sender->Signal();
}

void MessageQueue::Signal() {
    m_word = 1;
    if (m_isAsleep) WakeOne(&m_word);
}

bool MessageQueue::Put(std::deque<Entry>& queue, Entry&& entry) {
    Hold const hold;  // what was put in is told too
    {
        std::lock_guard const lock(m_mutex);
        if (m_isClosed || queue.size() >= KxxLimits().postedCalls) return false;
        entry.number = m_numPosted;
        queue.push_back(std::move(entry));
        ++m_numPosted;
        if (m_descriptor) m_descriptor->Signal();
    }
    Signal();
    return true;
}

bool MessageQueue::Post(Entry entry) {
    return Put(m_posted, std::move(entry));
}

LRESULT MessageQueue::Send(MessageQueue& to, Entry entry) {
    auto const answer = std::make_shared<Answer>();
    answer->sender = OfThisThread();
    MessageQueue& own = *answer->sender;
    entry.answer = answer;
    if (!to.Put(to.m_sent, std::move(entry))) return 0;
    while (!answer->isDone) {
        own.m_word = 0;
        if (own.RunSent(~0ULL) || answer->isDone) continue;
        own.SleepUntil(std::nullopt);
    }
    own.m_word = 1;  // what came meanwhile is still to be looked at
    return answer->result;
}

/// Sleeps until something comes, unless something came since the word was cleared.
void MessageQueue::SleepUntil(Deadline deadline) {
    int word;
    {
        SleepPlace const sleep(m_word);
        m_isAsleep = true;
        SleepWhile(m_word, 0, deadline);
        m_isAsleep = false;
        word = m_word;
    }
    if (word == SleepPlace::killed) SleepPlace::EndKilled();
}

bool MessageQueue::HasDue() {
    std::lock_guard const lock(m_mutex);
    return !m_sent.empty() || !m_posted.empty() || (!m_timers.empty() && m_timers.begin()->first <= Clock::now());
}

void MessageQueue::Run(Entry& entry) {
    Answering answering(*this, std::move(entry.answer));
    if (entry.call.IsSet()) {
        entry.call.Call(reinterpret_cast<void*>(entry.lParam));
    } else if (!entry.window) {
        if (CWinThread* const thread = AfxGetThread())
            thread->OnThreadMessage(entry.message, entry.wParam, entry.lParam);
    } else if (CWnd* const window = entry.window->window) {
        answering.SetResult(window->WindowProc(entry.message, entry.wParam, entry.lParam));
    }
}

bool MessageQueue::RunSent(unsigned long long end) {
    std::unique_lock lock(m_mutex);
    if (m_sent.empty() || m_sent.front().number >= end) return false;
    m_answering.push_back(m_sent.front().answer);
    Entry entry = std::move(m_sent.front());
    m_sent.pop_front();
    lock.unlock();
    Run(entry);
    return true;
}

bool MessageQueue::RunPosted(unsigned long long end) {
    std::unique_lock lock(m_mutex);
    if (m_posted.empty() || m_posted.front().number >= end) return false;
    Entry entry = std::move(m_posted.front());
    m_posted.pop_front();
    lock.unlock();
    if (auto const answer = std::move(entry.answer)) GiveAnswer(*answer);  // it waits no more
    Run(entry);
    return true;
}

bool MessageQueue::RunTimer(Clock::time_point due) {
    if (m_timers.empty() || m_timers.begin()->first > due) return false;
    KxTimer* const timer = m_timers.begin()->second;
    m_timers.erase(m_timers.begin());
    auto const self = std::exchange(timer->m_queue, nullptr);
    KxTools::Link const link = timer->m_link;
    link.Call(timer);
    return true;
}

void MessageQueue::DispatchDue() {
    unsigned long long end;
    {
        std::lock_guard const lock(m_mutex);
        end = m_numPosted;
    }
    Clock::time_point const now = m_timers.empty() ? Clock::time_point::min() : Clock::now();
    while (RunSent(end) || RunPosted(end)) {}
    while (RunTimer(now)) {}
    Rest();
}

bool MessageQueue::DispatchNext() {
    for (;;) {
        m_word = 0;
        bool const isDone = RunSent(~0ULL) || RunPosted(~0ULL) || (!m_timers.empty() && RunTimer(Clock::now()));
        Rest();
        if (isDone) return true;
        if (std::exchange(m_isQuitting, false)) return false;
        SleepUntil(m_timers.empty() ? Deadline() : m_timers.begin()->first);
    }
}

void MessageQueue::AwaitNext() {
    m_word = 0;
    if (!HasDue()) SleepUntil(m_timers.empty() ? Deadline() : m_timers.begin()->first);
    m_word = 1;  // what came is still to be looked at
}

void MessageQueue::Quit(int exitCode) {
    m_isQuitting = true;
    m_exitCode = exitCode;
}

void MessageQueue::StartTimer(KxTimer& timer, unsigned long timeout) {
    m_timers.emplace(Clock::now() + std::chrono::milliseconds(std::min(timeout, INFINITE)), &timer);
    Rest();
}

void MessageQueue::StopTimer(KxTimer& timer) {
    for (auto entry = m_timers.begin(); entry != m_timers.end(); ++entry) {
        if (entry->second != &timer) continue;
        m_timers.erase(entry);
        break;
    }
}

int MessageQueue::GetDescriptor() {
    std::unique_lock lock(m_mutex);
    if (!m_descriptor) {
        m_descriptor = std::make_unique<WakeDescriptor>();
        m_descriptor->Signal();
        lock.unlock();
        Rest();
    }
    return m_descriptor->Get();
}

/// Takes the signal of the descriptor back if nothing waits, and sets it to the next timer.
void MessageQueue::Rest() {
    std::lock_guard const lock(m_mutex);
    if (m_descriptor && m_sent.empty() && m_posted.empty())
        m_descriptor->Rest(m_timers.empty() ? Deadline() : m_timers.begin()->first);
}

void MessageQueue::DropCalls() {
    std::lock_guard const lock(m_mutex);
    std::erase_if(m_posted, [](Entry const& entry) { return entry.call.IsSet(); });
}

void MessageQueue::Close() {
    Hold const hold;
    // One by one: another deque would take memory, which the end of a thread must do without.
    for (bool isEmpty = false; !isEmpty;) {
        Entry entry;
        {
            std::lock_guard const lock(m_mutex);
            m_isClosed = true;
            if (!m_answering.empty()) {
                entry.answer = std::move(m_answering.back());
                m_answering.pop_back();
            } else if (std::deque<Entry>& queue = m_sent.empty() ? m_posted : m_sent; !queue.empty()) {
                entry = std::move(queue.front());
                queue.pop_front();
            } else {
                isEmpty = true;
            }
        }
        if (entry.answer) GiveAnswer(*entry.answer);
    }
    for (auto const& [time, timer] : std::exchange(m_timers, {})) timer->m_queue.reset();
}

}  // namespace KxN::detail

namespace KxN {

using detail::MessageQueue;

KxTimer& KxTimer::operator=(KxTimer const& other) {
    if (this == &other) return *this;
    Stop();
    m_timeout = other.m_timeout;
    m_link = other.m_link;
    return *this;
}

void KxTimer::Start() {
    Stop();
    std::shared_ptr<MessageQueue> const& queue = MessageQueue::OfThisThread();
    queue->StartTimer(*this, m_timeout);
    m_queue = queue;
}

void KxTimer::Stop() {
    if (auto const queue = std::exchange(m_queue, nullptr)) queue->StopTimer(*this);
}

}  // namespace KxN
