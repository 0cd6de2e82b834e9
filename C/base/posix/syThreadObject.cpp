// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/posix/syThreadObject.h"

#include <utility>
#include <pthread.h>

namespace KxN::detail {

namespace {

constinit thread_local ThreadEnd* t_last = nullptr;
pthread_key_t g_key;

bool HasKey() {
    static bool const has = ::pthread_key_create(&g_key, &ThreadEnd::DestroyAll) == 0;
    return has;
}

/// Nobody destroys what the first thread has under a key. Noted while the library is loaded, where memory that is missing
/// is told by the loader anyway.
struct FirstThread {
    bool isNoted = true;
    ~FirstThread() { ThreadEnd::DestroyAll(nullptr); }
};
thread_local FirstThread t_firstThread;
[[maybe_unused]] bool const g_isNoted = t_firstThread.isNoted;

}  // namespace

void ThreadEnd::DestroyAll(void*) noexcept {
    while (ThreadEnd* const end = t_last) {
        t_last = end->m_next;
        end->m_destroy(*end);
    }
}

void ThreadEnd::Note(void (*destroy)(ThreadEnd&)) {
    // The value need only be there. The system takes memory for it where the program has many keys.
    if (!HasKey() || ::pthread_setspecific(g_key, &g_key) != 0) throw std::bad_alloc();
    m_destroy = destroy;
    m_next = std::exchange(t_last, this);
}

}  // namespace KxN::detail
