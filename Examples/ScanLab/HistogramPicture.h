// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Deviations as a picture (SVG): columns over an axis with its unit, the normal distribution of the core, mean, one sigma to
// each side, and the limits at three.
#pragma once

#include <hbtools/base/syString.h>
#include <hbtools/math/syHistogram.h>

namespace ScanLab {

/// Writes the picture whole or not at all. `title` is any text; `unit` may be empty. Values that are no finite numbers are
/// counted below the picture and take no part otherwise.
/// @throws CFileException, KxException if there is no finite value
void SaveHistogramPicture(KxN::KxString const& path, KxN::KxHistogram const& deviations, KxN::KxString const& title,
                          KxN::KxString const& unit);

}  // namespace ScanLab
