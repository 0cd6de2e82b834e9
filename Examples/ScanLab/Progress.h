// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A bar on standard error while something takes long; nothing where that is no terminal.
#pragma once

#include <hbtools/base/syString.h>

#include <chrono>

namespace ScanLab {

class Progress {
public:
    explicit Progress(KxN::KxString const& what);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    /// Wipes the bar.
    ~Progress();
    /// Shows `done` of `all`. Cheap: draws ten times a second at most.
    void Show(unsigned long long done, unsigned long long all);

private:
    using Clock = std::chrono::steady_clock;

    KxN::KxString m_what;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_next = m_start;
    bool m_isTerminal;
    bool m_isDrawn = false;
};

}  // namespace ScanLab
