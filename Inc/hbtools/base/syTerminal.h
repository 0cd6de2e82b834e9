// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What programs with a terminal ask: whether somebody watches a standard stream, so that bars and colours go to people
// and never into files. Any thread.
#pragma once

#include "hbtools/base/syTypes.h"

namespace KxN {

enum KxStandardStream { StandardInput = 0, StandardOutput = 1, StandardError = 2 };

/// True if the stream is a terminal.
KX_API bool KxxIsTerminal(KxStandardStream stream);

}  // namespace KxN
