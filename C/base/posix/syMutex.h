// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The locks of the library's own. A thread that has one, or waits for one, is not suspended or killed by others before it
// gives it back: no thread leaves such a lock behind.
#pragma once

#include "hbtools/base/sySync.h"
#include "syStopPoint.h"

#include <mutex>
#include <utility>

namespace KxN::detail {

/// For std::lock_guard and its kin.
class Mutex {
public:
    void lock() {
        Hold::Begin();
        m_mutex.lock();
    }
    void unlock() {
        m_mutex.unlock();
        Hold::End();
    }

private:
    std::mutex m_mutex;
};

/// A critical section of the library's own, taken for the length of a block.
class Holding {
public:
    explicit Holding(CCriticalSection& section) : m_section(&section) {
        Hold::Begin();
        section.Lock();
    }
    Holding(Holding const&) = delete;
    Holding& operator=(Holding const&) = delete;
    ~Holding() { Unlock(); }
    void Unlock() {
        if (CCriticalSection* const section = std::exchange(m_section, nullptr)) {
            section->Unlock();
            Hold::End();
        }
    }

private:
    CCriticalSection* m_section;
};

}  // namespace KxN::detail
