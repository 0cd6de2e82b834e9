// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>

namespace KxN::detail {

/// Lets a write beyond the file size limit fail instead of ending the process. The signal's default action is replaced
/// once, at the first write, by a handler that does nothing; a handler of the application stays, and programs that are
/// started get the default again. Holding the signal back around each write would cost half as much as the write.
inline void SurviveSizeSignal() {
    [[maybe_unused]] static bool const isDone = [] {
        struct sigaction present {};
        if (::sigaction(SIGXFSZ, nullptr, &present) != 0) return false;
        if ((present.sa_flags & SA_SIGINFO) || present.sa_handler != SIG_DFL) return true;
        struct sigaction nothing {};
        nothing.sa_handler = [](int) {};
        nothing.sa_flags = SA_RESTART;
        return ::sigaction(SIGXFSZ, &nothing, nullptr) == 0;
    }();
}

}  // namespace KxN::detail
