// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The lock is a robust one of the system: of a thread that died with it the next thread takes it over.
#include "hbtools/base/sySync.h"

#include "hbtools/base/syObject.h"

#include <cerrno>
#include <ctime>
#include <pthread.h>

namespace KxN {

CCriticalSection::CCriticalSection() {
    // The standard library has no name for this kind.
    pthread_mutexattr_t attributes;
    if (::pthread_mutexattr_init(&attributes) != 0) AfxThrowMemoryException();
    ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    ::pthread_mutex_destroy(m_mutex.native_handle());
    int const result = ::pthread_mutex_init(m_mutex.native_handle(), &attributes);
    ::pthread_mutexattr_destroy(&attributes);
    if (result != 0) AfxThrowMemoryException();
}

int CCriticalSection::Lock(unsigned long timeout) {
    pthread_mutex_t* const mutex = m_mutex.native_handle();
    int result;
    if (timeout >= INFINITE) {
        result = ::pthread_mutex_lock(mutex);
    } else {
        timespec until{};
        ::clock_gettime(CLOCK_MONOTONIC, &until);
        until.tv_sec += static_cast<time_t>(timeout / 1000);
        until.tv_nsec += static_cast<long>(timeout % 1000) * 1000000;
        if (until.tv_nsec >= 1000000000) {
            ++until.tv_sec;
            until.tv_nsec -= 1000000000;
        }
#ifdef __SANITIZE_THREAD__
        // The thread sanitizer does not see the timed lock of the system, so under it the lock is tried again and again.
        timespec now{}, moment{0, 1000000};
        while ((result = ::pthread_mutex_trylock(mutex)) == EBUSY) {
            ::clock_gettime(CLOCK_MONOTONIC, &now);
            if (now.tv_sec > until.tv_sec || (now.tv_sec == until.tv_sec && now.tv_nsec >= until.tv_nsec)) break;
            ::nanosleep(&moment, nullptr);
        }
#else
        result = ::pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &until);
#endif
    }
    if (result == EOWNERDEAD) result = ::pthread_mutex_consistent(mutex);
    return result == 0;
}

int CCriticalSection::Unlock() {
    return ::pthread_mutex_unlock(m_mutex.native_handle()) == 0;
}

}  // namespace KxN
