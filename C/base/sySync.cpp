// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An object that can be waited for has a state with a queue of waiters. Who changes the state hands it to the
// first waiter that can take it, so that nobody is overtaken and a pulse reaches exactly those who wait.
#include "hbtools/base/sySync.h"

#include "base/posix/sySystemThread.h"
#include "base/syAbandoned.h"
#include "hbtools/base/syObject.h"

#include <array>
#include <atomic>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace KxN::detail {

/// One thread that waits, for one or more states, and sleeps on the word: 0, or 1 and the index of the state that was handed
/// over, or a negative number when it takes nothing any more.
struct Waiter {
    static constexpr int closed = -1;

    unsigned long long thread = 0;  // 0 unless it waits for a mutex
    std::atomic<int> word = 0;
};

/// The place of a waiter in the queue of one state, on the waiter's stack. Guarded by the state's mutex.
struct Place {
    Waiter* waiter = nullptr;
    int index = 0;
    bool isQueued = false;
    Place* previous = nullptr;
    Place* next = nullptr;
};

class SyncState {
public:
    explicit SyncState(bool hasOwner = false) : m_hasOwner(hasOwner) {}
    SyncState(SyncState const&) = delete;
    SyncState& operator=(SyncState const&) = delete;
    virtual ~SyncState() = default;

    // Under the mutex:
    virtual bool CanTake(unsigned long long thread) const = 0;
    virtual void Take(unsigned long long thread) = 0;

    void Enqueue(Place& place) {
        place.previous = m_last;
        (m_last ? m_last->next : m_first) = &place;
        m_last = &place;
        place.isQueued = true;
    }
    void Dequeue(Place& place) {
        if (!place.isQueued) return;
        (place.previous ? place.previous->next : m_first) = place.next;
        (place.next ? place.next->previous : m_last) = place.previous;
        place.isQueued = false;
    }

    class Woken;
    /// Hands the state to waiters as long as they can take it.
    void Serve(Woken& woken);

    bool const m_hasOwner;
    /// Read without the mutex: while it is false nobody can take the state.
    std::atomic<bool> m_isOpen = true;
    Mutex m_mutex;

private:
    Place* m_first = nullptr;
    Place* m_last = nullptr;
};

/// Wakes waiters that were served, at the end of its life: after the mutex is free again, which they need next.
class SyncState::Woken {
public:
    Woken() = default;
    Woken(Woken const&) = delete;
    Woken& operator=(Woken const&) = delete;
    ~Woken() {
        if (m_first) WakeOne(m_first);
        for (std::atomic<int>* const word : m_others) WakeOne(word);
    }
    /// Where there is no memory to remember it, it is woken at once.
    void Add(std::atomic<int>* word) noexcept {
        if (!m_first) {
            m_first = word;
            return;
        }
        try {
            m_others.push_back(word);
        } catch (...) {
            WakeOne(word);
        }
    }

private:
    std::atomic<int>* m_first = nullptr;
    std::vector<std::atomic<int>*> m_others;
};

void SyncState::Serve(Woken& woken) {
    for (Place* place = m_first; place;) {
        Place& current = *place;
        place = place->next;
        if (!CanTake(current.waiter->thread)) continue;
        unsigned long long const thread = current.waiter->thread;
        std::atomic<int>* const word = &current.waiter->word;
        // A waiter that has its word is soon gone, and its place with it.
        Dequeue(current);
        int waiting = 0;
        if (!word->compare_exchange_strong(waiting, current.index + 1)) continue;
        Take(thread);
        woken.Add(word);
    }
}

namespace {

class EventState : public SyncState {
public:
    EventState(bool isSet, bool isManual) : m_isManual(isManual) { m_isOpen = isSet; }
    bool CanTake(unsigned long long) const override { return m_isOpen; }
    void Take(unsigned long long) override { m_isOpen = m_isManual; }

private:
    bool const m_isManual;
};

class MutexState : public SyncState {
public:
    MutexState() : SyncState(true) {
        std::lock_guard const lock(s_mutex);
        All().insert(this);
    }
    ~MutexState() override {
        std::lock_guard const lock(s_mutex);
        All().erase(this);
    }
    static void AbandonAll(unsigned long long thread) {
        Hold const hold;
        std::lock_guard const all(s_mutex);
        for (MutexState* const state : All()) {
            Woken woken;  // of one mutex one waiter at most, so that it takes no memory
            std::lock_guard const lock(state->m_mutex);
            if (state->m_depth > 0 && state->m_owner == thread) state->Free(woken);
        }
    }
    void Free(Woken& woken) {
        m_depth = 0;
        m_owner = 0;
        Serve(woken);
    }

    bool CanTake(unsigned long long thread) const override { return m_depth == 0 || m_owner == thread; }
    void Take(unsigned long long thread) override {
        m_owner = thread;
        ++m_depth;
    }

    unsigned long long m_owner = 0;
    unsigned m_depth = 0;

private:
    static std::set<MutexState*>& All() {
        static auto& all = *new std::set<MutexState*>;  // lives on for late destructors
        return all;
    }

    constinit inline static Mutex s_mutex;
};

class SemaphoreState : public SyncState {
public:
    SemaphoreState(long count, long most) : m_count(count), m_most(most) {}
    bool CanTake(unsigned long long) const override { return m_count > 0; }
    void Take(unsigned long long) override { --m_count; }

    long m_count;
    long const m_most;
};

/// The states that have a name, as long as an object uses them.
class NamedStates {
public:
    /// The state of that name, by whatever kind of object it was made; `made` if there is none.
    std::shared_ptr<SyncState> Share(wchar_t const* name, std::shared_ptr<SyncState> made) {
        std::lock_guard const lock(m_mutex);
        std::erase_if(m_states, [](auto const& entry) { return entry.second.expired(); });
        std::weak_ptr<SyncState>& entry = m_states[name];
        std::shared_ptr<SyncState> state = entry.lock();
        if (!state) entry = state = std::move(made);
        return state;
    }
    static NamedStates& Get() {
        static NamedStates& states = *new NamedStates;  // lives on for late destructors
        return states;
    }

private:
    Mutex m_mutex;
    std::map<std::wstring, std::weak_ptr<SyncState>> m_states;
};

/// A new state, or that of the name. @throws CInvalidArgException if the name stands for another kind
template <class State, class... Arguments>
std::shared_ptr<SyncState> MakeState(wchar_t const* name, Arguments... arguments) {
    auto made = std::make_shared<State>(arguments...);
    if (!name || !*name) return made;
    std::shared_ptr<SyncState> state = NamedStates::Get().Share(name, std::move(made));
    if (!dynamic_cast<State*>(state.get())) AfxThrowInvalidArgException();
    return state;
}

/// Waits for one of the states. Returns its index or -1.
int WaitForAny(SyncState* const* states, int count, unsigned long timeout) {
    unsigned long long thread = 0;
    for (int i = 0; i < count; ++i) {
        if (states[i]->m_hasOwner) thread = ThreadIdentity();
        if (!states[i]->m_isOpen) continue;
        std::lock_guard const lock(states[i]->m_mutex);
        if (states[i]->CanTake(thread)) {
            states[i]->Take(thread);
            return i;
        }
    }
    if (timeout == 0) return -1;
    Deadline const deadline = DeadlineAfter(timeout);

    Waiter waiter{thread};
    std::array<Place, 4> few;
    std::unique_ptr<Place[]> const many(count > static_cast<int>(few.size()) ? new Place[static_cast<unsigned>(count)]
                                                                             : nullptr);
    Place* const places = many ? many.get() : few.data();
    SleepPlace const sleep(waiter.word);
    int queued = 0;
    // From here on nothing throws: a waiter that stays in a queue would be a trap for others.
    for (; queued < count && waiter.word == 0; ++queued) {
        SyncState& state = *states[queued];
        std::lock_guard const lock(state.m_mutex);
        if (state.CanTake(thread)) {  // it came free in between
            int waiting = 0;
            if (waiter.word.compare_exchange_strong(waiting, queued + 1)) state.Take(thread);
            break;
        }
        places[queued].waiter = &waiter;
        places[queued].index = queued;
        state.Enqueue(places[queued]);
    }
    while (waiter.word == 0 && SleepWhile(waiter.word, 0, deadline)) {}
    int result = 0;
    waiter.word.compare_exchange_strong(result, Waiter::closed);
    for (int i = 0; i < queued; ++i) {
        std::lock_guard const lock(states[i]->m_mutex);
        states[i]->Dequeue(places[i]);
    }
    if (result == SleepPlace::killed) SleepPlace::EndKilled();
    return result > 0 ? result - 1 : -1;
}

}  // namespace

void Abandon(unsigned long long threadIdentity) noexcept {
    MutexState::AbandonAll(threadIdentity);
}

namespace {

/// The state as the kind that the object is.
template <class State>
State& As(std::shared_ptr<SyncState> const& state) {
    return static_cast<State&>(*state);
}

}  // namespace

}  // namespace KxN::detail

namespace KxN {

using namespace detail;

CSyncObject::CSyncObject(std::shared_ptr<SyncState> state) : m_state(std::move(state)) {}

CSyncObject::~CSyncObject() = default;

int CSyncObject::Lock(unsigned long timeout) {
    SyncState* const state = m_state.get();
    return WaitForAny(&state, 1, timeout) == 0;
}

int KxxWaitForAny(CSyncObject* const* objects, int count, unsigned long timeout) {
    if (count < 1) AfxThrowInvalidArgException();
    std::array<SyncState*, 4> few;
    std::vector<SyncState*> many;
    if (count > static_cast<int>(few.size())) many.resize(static_cast<std::size_t>(count));
    SyncState** const states = many.empty() ? few.data() : many.data();
    for (int i = 0; i < count; ++i) {
        states[i] = objects[i] ? objects[i]->m_state.get() : nullptr;
        if (!states[i]) AfxThrowInvalidArgException();
    }
    return WaitForAny(states, count, timeout);
}

CMutex::CMutex(int initiallyOwned, wchar_t const* name, SECURITY_ATTRIBUTES*)
    : CSyncObject(MakeState<MutexState>(name)) {
    // Of a mutex that is there already the first owner stays.
    if (initiallyOwned) CSyncObject::Lock(0);
}

int CMutex::Unlock() {
    auto& state = As<MutexState>(m_state);
    Hold const hold;  // whoever is served is woken too
    SyncState::Woken woken;
    std::lock_guard const lock(state.m_mutex);
    if (state.m_depth == 0 || state.m_owner != ThreadIdentity()) return 0;
    if (--state.m_depth == 0) state.Free(woken);
    return 1;
}

CSemaphore::CSemaphore(long initialCount, long maxCount, wchar_t const* name, SECURITY_ATTRIBUTES*) {
    if (initialCount < 0 || maxCount < 1 || initialCount > maxCount) AfxThrowInvalidArgException();
    m_state = MakeState<SemaphoreState>(name, initialCount, maxCount);
}

int CSemaphore::Unlock() {
    return Unlock(1);
}

int CSemaphore::Unlock(long count, long* previous) {
    auto& state = As<SemaphoreState>(m_state);
    Hold const hold;
    SyncState::Woken woken;
    std::lock_guard const lock(state.m_mutex);
    if (count < 1 || count > state.m_most - state.m_count) return 0;
    if (previous) *previous = state.m_count;
    state.m_count += count;
    state.Serve(woken);
    return 1;
}

CEvent::CEvent(int initiallyOwned, int manualReset, wchar_t const* name, SECURITY_ATTRIBUTES*)
    : CSyncObject(MakeState<EventState>(name, initiallyOwned != 0, manualReset != 0)) {}

int CEvent::SetEvent() {
    auto& state = As<EventState>(m_state);
    Hold const hold;
    SyncState::Woken woken;
    std::lock_guard const lock(state.m_mutex);
    state.m_isOpen = true;
    state.Serve(woken);
    return 1;
}

int CEvent::ResetEvent() {
    auto& state = As<EventState>(m_state);
    std::lock_guard const lock(state.m_mutex);
    state.m_isOpen = false;
    return 1;
}

int CEvent::PulseEvent() {
    auto& state = As<EventState>(m_state);
    Hold const hold;
    SyncState::Woken woken;
    std::lock_guard const lock(state.m_mutex);
    state.m_isOpen = true;
    state.Serve(woken);
    state.m_isOpen = false;
    return 1;
}

int CEvent::Unlock() {
    return 1;
}

CSingleLock::CSingleLock(CSyncObject* object, int lockNow) : m_object(object) {
    if (!object) AfxThrowInvalidArgException();
    if (lockNow) Lock();
}

CSingleLock::~CSingleLock() {
    Unlock();
}

int CSingleLock::Lock(unsigned long timeout) {
    if (!m_isLocked) m_isLocked = m_object->Lock(timeout) != 0;
    return m_isLocked;
}

int CSingleLock::Unlock() {
    if (!m_isLocked) return 0;
    m_isLocked = false;
    return m_object->Unlock();
}

}  // namespace KxN
