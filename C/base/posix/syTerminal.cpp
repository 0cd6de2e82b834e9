// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syTerminal.h"

#include <csignal>
#include <unistd.h>

namespace KxN {

bool KxxIsTerminal(KxStandardStream stream) {
    return ::isatty(stream) == 1;
}

void KxxSurviveClosedPipes() noexcept {
    std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace KxN
