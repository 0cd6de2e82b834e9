// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The main job from end to end: a scan goes into tag files of both forms, comes back, and is compared bit by bit.
#pragma once

#include <hbtools/base/syString.h>

namespace ScanLab {

/// `scanPath` empty: a synthetic plate of `points` points. The files go into `folder`, which is made if need be.
/// Prints a report; returns the exit code.
int RunDemo(KxN::KxString const& scanPath, KxN::KxString const& folder, int points);

}  // namespace ScanLab
