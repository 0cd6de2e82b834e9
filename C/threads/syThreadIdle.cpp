// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/threads/syThreadIdle.h"

namespace KxN {

KxThreadIdle::KxThreadIdle() = default;

KxThreadIdle::~KxThreadIdle() {
    Abort();
    WaitUntilReady(INFINITE);  // the ticks use what is destroyed here
}

int KxThreadIdle::Wait() {
    constexpr unsigned long step = 100;  // milliseconds
    if (m_idleTime < step) return !ShouldBeAborted(0);
    for (unsigned long n = m_idleTime / step; n > 0; --n) {
        if (ShouldBeAborted(1)) return 0;
        Sleep(step);
    }
    return 1;
}

void KxThreadIdle::Process() {
    try {
        for (int cycle = 0; m_cycles == -1 || cycle < m_cycles; cycle += m_cycles != -1) {
            if (m_waitFirst && !Wait()) return;
            SignalTick.PostUnlessWaiting(reinterpret_cast<void*>(m_tickArgument));
            if (cycle == m_cycles - 1 && m_cycles != -1) return;
            if (!m_waitFirst && !Wait()) return;
        }
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        exception->Delete();
    }
}

}  // namespace KxN
