// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxThreadIdle emits a signal again and again on the thread of the main window, from a thread that waits meanwhile:
//
//     KxThreadIdle idle;
//     idle.SignalTick.Signal.Connect(&view, &View::OnTick);
//     idle.SetIdleTime(1000);
//     idle.SetNumCycles(-1);
//     idle.Start();
//
// A tick that comes while the former one still waits in the queue is one with it: whoever pumps slowly gets fewer, never a
// queue full of them. One that is being handled waits no more: what comes meanwhile is the next tick, which a slot that
// pumps gets within itself. Errors, threads and lifetime as in syThreadDoOnce.h; an exception within ends the ticks without a
// report, unless it EndsThread(). Settings are made before Start. The destructor takes up to 100 ms while ticks are under
// way.
#pragma once

#include "hbtools/threads/syThreadDoOnce.h"

namespace KxN {

class KX_API KxThreadIdle : public KxThreadDoOnce {
public:
    KxThreadIdle();
    ~KxThreadIdle() override;

    /// Milliseconds between ticks, in steps of 100, rounded down: below 100 there is no pause. 5000 unless set. Abort ends
    /// the ticks there too, before the next one.
    void SetIdleTime(unsigned long milliseconds) { m_idleTime = milliseconds; }
    /// The number of ticks; -1 for no end. 0 unless set.
    void SetNumCycles(int cycles) { m_cycles = cycles; }
    /// Non-zero: the pause stands before each tick, not between two.
    void WaitUntilFirstSignal(int wait) { m_waitFirst = wait; }
    /// What SignalTick is emitted with, as a pointer; 0 unless set.
    void SetTickArgument(long long argument) { m_tickArgument = argument; }

    KxThreadSignal SignalTick;

private:
    void Process() override;
    int Wait();

    unsigned long m_idleTime = 5000;
    long long m_tickArgument = 0;
    int m_cycles = 0;
    int m_waitFirst = 0;
};

}  // namespace KxN
