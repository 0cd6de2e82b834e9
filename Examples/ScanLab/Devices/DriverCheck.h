// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Tries a driver out, step by step, in a program of its own, so that one that crashes, ends the program or never comes back
// is told from one that works. The device is made and asked for its settings; nothing is measured.
#pragma once

#include <hbtools/base/syString.h>

namespace ScanLab {

/// Prints in plain words what is wrong with it, or that nothing is. 0 if it works, 2 if not. `seconds`: how long a driver may
/// take for all; `language`: of the other program.
int CheckDriver(KxN::KxString const& path, int seconds, KxN::KxString const& language);
/// What runs in the other program: each step is told on standard output before it is taken.
int TryDriver(KxN::KxString const& path);

}  // namespace ScanLab
