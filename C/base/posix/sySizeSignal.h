// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace KxN::detail {

/// Keeps a write beyond the file size limit from ending the process: the signal is held back and, once the write
/// has reported that limit, taken, also from a thread that holds it back itself and would meet it later.
class SizeSignalGuard {
public:
    SizeSignalGuard() {
        sigemptyset(&m_signal);
        sigaddset(&m_signal, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &m_signal, &m_former);
    }
    SizeSignalGuard(SizeSignalGuard const&) = delete;
    SizeSignalGuard& operator=(SizeSignalGuard const&) = delete;
    ~SizeSignalGuard() {
        int const keep = errno;
        if (m_take) {
            timespec const now = {0, 0};
            while (sigtimedwait(&m_signal, nullptr, &now) < 0 && errno == EINTR) {}
        }
        pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
        errno = keep;
    }
    void TakePending() { m_take = true; }

private:
    sigset_t m_signal;
    sigset_t m_former;
    bool m_take = false;
};

}  // namespace KxN::detail
