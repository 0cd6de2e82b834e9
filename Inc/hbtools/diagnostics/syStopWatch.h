// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxStopWatch measures time on a clock that nobody sets; KxSystemTicks is a watch that runs from its making. Plain
// values, a few words each; nothing throws. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syTypes.h"

#include <cstdint>

namespace KxN {

class KX_API KxStopWatch {
public:
    /// Stands at 0.
    KxStopWatch();

    /// Begins a new measurement, also while one runs.
    void Start();
    /// Ends the measurement; a watch that stands is left alone.
    void Stop();
    /// Back to 0; a running watch goes on from there.
    void Reset();

    /// The time measured, up to now while the watch runs, which it goes on doing.
    double GetSeconds();
    /// The smallest step of the clock, in seconds.
    double GetResolution() const { return 1.0 / static_cast<double>(m_frequency); }
    bool IsRunning() const { return m_isRunning != 0; }
    /// False where the clock counts milliseconds only.
    bool HasHighResolution() const { return m_hasHighResolution != 0; }

private:
    std::int64_t Now() const;

    std::int64_t m_frequency;  // ticks in a second
    std::int64_t m_start = 0;
    std::int64_t m_stop = 0;
    std::int64_t m_last = 0;  // as it was read last
    int m_isRunning = 0;
    int m_hasHighResolution;
};

class KX_API KxSystemTicks {
public:
    KxSystemTicks() { m_watch.Start(); }

    /// Seconds and whole milliseconds since it was made; a copy counts from the making of its source.
    double GetSeconds() { return m_watch.GetSeconds(); }
    std::uint64_t GetMilliseconds() { return static_cast<std::uint64_t>(m_watch.GetSeconds() * 1000); }
    KxStopWatch& GetWatch() { return m_watch; }

private:
    KxStopWatch m_watch;
};

}  // namespace KxN
