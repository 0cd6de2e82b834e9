// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The kept entries: one queue for each group, in the order in which the groups came. A log may hold as many groups as
// entries, and each new entry looks for its group and may push out the oldest one, so the names of the groups and the
// heads of their queues are kept sorted: every step is logarithmic in the groups. The order is a parameter so that a
// test can count the comparisons.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/core/sySVQueue.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace KxN::detail {

template <class LESS = std::less<>>
class GroupQueues {
public:
    using Queue = KxTSVQueue<KxException*>;

    GroupQueues() = default;
    GroupQueues(GroupQueues const&) = delete;
    GroupQueues& operator=(GroupQueues const&) = delete;
    ~GroupQueues() { Clear(); }

    unsigned long GetCount() const { return m_count; }

    /// Puts an entry at the end of its group's queue. If it throws, nothing has changed.
    template <class EXCEPTION>
    void Append(std::unique_ptr<EXCEPTION> entry, KxString const& group) {
        std::wstring const name = Folded(group);
        if (auto const known = m_numbers.find(name); known != m_numbers.end()) {
            m_groups.find(known->second)->second.queue.Append(entry.get());
        } else {
            Group& fresh = m_groups.try_emplace(m_next).first->second;
            try {
                fresh.queue.Append(entry.get());
                fresh.name = m_numbers.emplace(name, m_next).first;
                fresh.head = m_heads.emplace(entry->GetDateTime(), m_next).first;
            } catch (...) {
                m_numbers.erase(name);
                m_groups.erase(m_next);
                throw;
            }
            ++m_next;
        }
        static_cast<void>(entry.release());
        ++m_count;
    }

    /// Removes the entry with the earliest date of those that stand first; of equal ones that of the older group.
    void RemoveOldest() {
        if (!m_heads.empty()) RemoveFirst(m_groups.find(m_heads.begin()->second));
    }

    /// Removes the first entry of that queue; nothing if it is no queue of these.
    void RemoveFirstOf(Queue const* queue) {
        for (auto place = m_groups.begin(); place != m_groups.end(); ++place)
            if (&place->second.queue == queue) return RemoveFirst(place);
    }

    /// Removes the entries for which the test holds.
    template <class Test>
    void Purge(Test test) {
        for (auto next = m_groups.begin(); next != m_groups.end();) {
            auto const place = next++;
            Queue& queue = place->second.queue;
            Queue kept;
            std::vector<KxException*> removed;
            for (KxException* entry : queue) {
                if (test(*entry))
                    removed.push_back(entry);
                else
                    kept.Append(entry);
            }
            if (removed.empty()) continue;
            queue.Swap(kept);
            m_count -= static_cast<unsigned long>(removed.size());
            for (KxException* entry : removed) entry->Delete();
            HeadChanged(place);
        }
    }

    void Clear() {
        ForEach([](KxException* entry) { entry->Delete(); });
        m_heads.clear();
        m_numbers.clear();
        m_groups.clear();
        m_count = 0;
    }

    /// Calls with each entry, group by group.
    template <class Call>
    void ForEach(Call call) const {
        for (auto const& [number, group] : m_groups)
            for (KxException* entry : group.queue) call(entry);
    }

private:
    using Number = unsigned long long;  // of a group, upward in the order in which they came
    struct Group {
        Queue queue;
        typename std::map<std::wstring, Number, LESS>::iterator name;
        typename std::set<std::pair<KxDateTime, Number>, LESS>::iterator head;
    };
    using Place = typename std::map<Number, Group>::iterator;

    /// The name as it is compared: without regard to case.
    static std::wstring Folded(KxString const& name) {
        std::wstring folded(name.View());
        for (wchar_t& c : folded) c = KxxToUpper(c);
        return folded;
    }

    void RemoveFirst(Place place) {
        place->second.queue.Remove(0)->Delete();
        --m_count;
        HeadChanged(place);
    }

    void HeadChanged(Place place) {
        Group& group = place->second;
        auto node = m_heads.extract(group.head);
        if (!group.queue.IsEmpty()) {
            node.value().first = group.queue[0]->GetDateTime();
            group.head = m_heads.insert(std::move(node)).position;
        } else {
            m_numbers.erase(group.name);
            m_groups.erase(place);
        }
    }

    std::map<Number, Group> m_groups;
    std::map<std::wstring, Number, LESS> m_numbers;
    std::set<std::pair<KxDateTime, Number>, LESS> m_heads;
    Number m_next = 0;
    unsigned long m_count = 0;
};

/// The queues of the manager, and which thread is at them.
class LogQueues : public GroupQueues<> {
public:
    std::atomic<void const*> user = nullptr;  // stands for a thread
    std::atomic<bool> isEnding = false;
};

/// Marks the queues as used by the calling thread. The order among threads is the caller's, so this waits for nobody,
/// but for a report of the end of the process: that one comes without being asked for, leaves the queues alone if
/// another thread is at them, and must find them alone itself.
class LogUse {
public:
    enum Purpose { ForTheCaller, ForTheEnd };

    explicit LogUse(LogQueues& queues, Purpose purpose = ForTheCaller) : m_queues(queues), m_purpose(purpose) {
        static thread_local char here;
        if (purpose == ForTheEnd) queues.isEnding = true;
        void const* present = nullptr;
        while (!(m_isOwner = queues.user.compare_exchange_strong(present, &here))) {
            m_isMine = present == &here;
            if (m_isMine || purpose == ForTheEnd || !queues.isEnding) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            present = nullptr;
        }
        m_isMine = true;
    }
    LogUse(LogUse const&) = delete;
    LogUse& operator=(LogUse const&) = delete;
    ~LogUse() {
        if (m_isOwner) m_queues.user = nullptr;
        if (m_purpose == ForTheEnd) m_queues.isEnding = false;
    }

    /// False if another thread is at the queues.
    bool IsMine() const { return m_isMine; }

private:
    LogQueues& m_queues;
    Purpose m_purpose;
    bool m_isOwner = false;
    bool m_isMine = false;
};

}  // namespace KxN::detail
