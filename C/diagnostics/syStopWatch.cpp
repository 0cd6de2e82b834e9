// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/diagnostics/syStopWatch.h"

#include <chrono>

namespace KxN {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::int64_t ticksPerSecond = Clock::period::den / Clock::period::num;
constexpr std::int64_t coarse = 1000;

}  // namespace

KxStopWatch::KxStopWatch() : m_frequency(ticksPerSecond), m_hasHighResolution(ticksPerSecond > coarse) {}

std::int64_t KxStopWatch::Now() const {
    return Clock::now().time_since_epoch().count();
}

void KxStopWatch::Start() {
    m_isRunning = 1;
    m_start = m_stop = m_last = Now();
}

void KxStopWatch::Stop() {
    if (!m_isRunning) return;
    m_stop = m_last = Now();
    m_isRunning = 0;
}

void KxStopWatch::Reset() {
    m_start = m_stop = m_last = m_isRunning ? Now() : 0;
}

double KxStopWatch::GetSeconds() {
    if (m_isRunning) m_last = Now();
    return static_cast<double>((m_isRunning ? m_last : m_stop) - m_start) / static_cast<double>(m_frequency);
}

}  // namespace KxN
