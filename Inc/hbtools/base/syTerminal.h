// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What programs with a terminal ask: whether somebody watches a standard stream, so that bars and colours go to people
// and never into files, and that a reader who goes away is a failure to write. Any thread.
#pragma once

#include "hbtools/base/syTypes.h"

namespace KxN {

enum KxStandardStream { StandardInput = 0, StandardOutput = 1, StandardError = 2 };

/// True if the stream is a terminal.
KX_API bool KxxIsTerminal(KxStandardStream stream);

/// From now on writing to a pipe that nobody reads fails like any other write, instead of ending the process. For the
/// beginning of main; programs that are started from this one inherit it.
KX_API void KxxSurviveClosedPipes() noexcept;

}  // namespace KxN
