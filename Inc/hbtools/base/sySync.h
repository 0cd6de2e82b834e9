// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Synchronisation objects of the framework. Lock waits for an object and takes it, for at most so many
// milliseconds on a clock that nobody sets; it returns non-zero when it got it. Unlock gives it back. Waiters are
// served in the order in which they came, and KxxWaitForAny waits for several objects at once. All operations may
// be called from any thread; nobody may wait for an object while it is destroyed.
//
//     KxN::CCriticalSection section;
//     KxN::CSingleLock lock(&section, 1);  // given back at the end of the block
#pragma once

#include "hbtools/base/syTypes.h"

#include <memory>
#include <mutex>

namespace KxN {

/// A timeout that never ends; whatever is longer is this one.
inline constexpr unsigned long INFINITE = 0xFFFFFFFF;

/// Access rights of an object. Objects here belong to one process, so it says nothing yet.
struct SECURITY_ATTRIBUTES {};

namespace detail {
class SyncState;
}

class KX_API CSyncObject {
public:
    CSyncObject(CSyncObject const&) = delete;
    CSyncObject& operator=(CSyncObject const&) = delete;
    virtual ~CSyncObject();

    /// Waits up to `timeout` milliseconds. Non-zero when the object was taken.
    virtual int Lock(unsigned long timeout = INFINITE);
    /// Gives the object back. Non-zero when it was held.
    virtual int Unlock() = 0;

protected:
    CSyncObject() = default;
    explicit CSyncObject(std::shared_ptr<detail::SyncState> state);

    std::shared_ptr<detail::SyncState> m_state;  // shared by objects of one name; none in a critical section

    friend KX_API int KxxWaitForAny(CSyncObject* const* objects, int count, unsigned long timeout);
};

/// Waits until one of the objects can be taken and takes that one, the first of several. Returns its index, or -1
/// after `timeout` milliseconds. @throws CInvalidArgException for a critical section, which cannot be waited for so, and for
/// no objects
KX_API int KxxWaitForAny(CSyncObject* const* objects, int count, unsigned long timeout = INFINITE);

/// The fast lock within a process. The thread that holds it may take it again. Not served in order. Of a thread that is
/// killed, or ends, with it the next one takes it over: what it guards may be half changed then.
class KX_API CCriticalSection : public CSyncObject {
public:
    /// @throws CMemoryException if the system has none
    CCriticalSection();
    int Lock(unsigned long timeout = INFINITE) override;
    /// The caller must hold it.
    int Unlock() override;

private:
    std::recursive_timed_mutex m_mutex;
};

/// A lock that can be waited for together with other objects. The thread that holds it may take it again; one that ends in
/// any way gives it back.
/// Objects with the same name, which is not empty, are one within the process.
class KX_API CMutex : public CSyncObject {
public:
    explicit CMutex(int initiallyOwned = 0, wchar_t const* name = nullptr, SECURITY_ATTRIBUTES* = nullptr);
    int Unlock() override;
};

/// A count of resources. Lock takes one, Unlock gives back.
class KX_API CSemaphore : public CSyncObject {
public:
    /// @throws CInvalidArgException unless 0 <= initialCount <= maxCount and 1 <= maxCount
    explicit CSemaphore(long initialCount = 1, long maxCount = 1, wchar_t const* name = nullptr,
                        SECURITY_ATTRIBUTES* = nullptr);
    int Unlock() override;
    /// Gives back `count`, or nothing and 0 if that would exceed the maximum. *previous gets the count before.
    int Unlock(long count, long* previous = nullptr);
};

/// A flag to wait for. Lock waits until it is set; an event without manual reset is cleared by whom it lets pass.
class KX_API CEvent : public CSyncObject {
public:
    explicit CEvent(int initiallyOwned = 0, int manualReset = 0, wchar_t const* name = nullptr,
                    SECURITY_ATTRIBUTES* = nullptr);
    int SetEvent();
    int ResetEvent();
    /// Lets pass those who wait at this moment (one of them without manual reset) and leaves the event cleared.
    int PulseEvent();
    /// Nothing to give back: 1.
    int Unlock() override;
};

/// Holds a synchronisation object for the length of a block.
class KX_API CSingleLock {
public:
    /// @throws CInvalidArgException without an object
    explicit CSingleLock(CSyncObject* object, int lockNow = 0);
    CSingleLock(CSingleLock const&) = delete;
    CSingleLock& operator=(CSingleLock const&) = delete;
    ~CSingleLock();

    /// Takes the object unless this lock holds it already.
    int Lock(unsigned long timeout = INFINITE);
    /// 0 if this lock does not hold the object.
    int Unlock();
    int IsLocked() const { return m_isLocked ? 1 : 0; }

private:
    CSyncObject* m_object;
    bool m_isLocked = false;
};

}  // namespace KxN
