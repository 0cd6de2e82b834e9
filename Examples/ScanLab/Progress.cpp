// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Progress.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syTerminal.h>

#include <cstdio>

namespace ScanLab {

Progress::Progress(KxN::KxString const& what) : m_what(what), m_isTerminal(KxN::KxxIsTerminal(KxN::StandardError)) {
    // What is over at once needs no bar.
    m_next += std::chrono::milliseconds(300);
}

Progress::~Progress() {
    if (m_isDrawn) std::fputs("\r\033[K", stderr);
}

void Progress::Show(unsigned long long done, unsigned long long all) {
    if (!m_isTerminal || all == 0) return;
    Clock::time_point const now = Clock::now();
    if (now < m_next) return;
    m_next = now + std::chrono::milliseconds(100);
    double const part = static_cast<double>(done) / static_cast<double>(all);
    double const seconds = std::chrono::duration<double>(now - m_start).count();
    int const filled = static_cast<int>(part * 30);
    KxN::KxString line;
    line.SPrintf(L"\r%s [%s%s] %3.0f %%, %.0f s left", m_what, std::wstring(static_cast<std::size_t>(filled), L'#'),
                 std::wstring(static_cast<std::size_t>(30 - filled), L'.'), part * 100,
                 part > 0 ? seconds / part - seconds : 0.0);
    std::fputs((KxN::KxxToUtf8(line.View()) + "\033[K").c_str(), stderr);
    m_isDrawn = true;
}

}  // namespace ScanLab
