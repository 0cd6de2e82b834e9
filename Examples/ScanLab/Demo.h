// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The main job from end to end: a plane is fitted to a scan, the scan is aligned with a second measurement, goes into tag
// files of both forms, comes back, and is compared bit by bit. Pictures of the deviations stand beside the files.
#pragma once

#include "Application.h"

#include <hbtools/base/syString.h>

namespace ScanLab {

/// `scanPath` empty: a synthetic plate with as many points as the settings say. The files go into `folder`, which is made if need be.
/// Prints a report; returns the exit code.
int RunDemo(KxN::KxString const& scanPath, KxN::KxString const& folder, Settings const& settings);

/// Brings the moving scan onto the fixed one and saves a picture of what is left over. Returns the exit code.
int RunAlign(KxN::KxString const& fixedPath, KxN::KxString const& movingPath, KxN::KxString const& folder);

}  // namespace ScanLab
