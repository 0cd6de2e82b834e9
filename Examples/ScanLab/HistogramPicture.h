// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Deviations as a picture (SVG): columns over an axis with its unit, the normal distribution of the core, mean, one sigma to
// each side, and the limits at three.
#pragma once

#include "Progress.h"

#include <hbtools/base/syString.h>
#include <hbtools/core/syColor.h>
#include <hbtools/math/syHistogram.h>

#include <string>

namespace ScanLab {

/// Of the columns within the limits and beyond them.
struct HistogramColors {
    KxN::KxColor inner{0x4a, 0x7e, 0xbb};
    KxN::KxColor outer{0xc0, 0x50, 0x4d};
};

/// The picture as an SVG element. `title` is any text; `unit` may be empty. Values that are no finite numbers are
/// counted below the picture and take no part otherwise. @throws KxException if there is no finite value
std::wstring HistogramPicture(KxN::KxHistogram const& deviations, KxN::KxString const& title, KxN::KxString const& unit,
                              HistogramColors const& colors = {}, Progress progress = {});
/// Writes it as a file, whole or not at all. @throws KxDirEntryException, and as above
void SaveHistogramPicture(KxN::KxString const& path, KxN::KxHistogram const& deviations, KxN::KxString const& title,
                          KxN::KxString const& unit, HistogramColors const& colors = {}, Progress progress = {});

}  // namespace ScanLab
