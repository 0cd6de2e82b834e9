// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A scan with its deviations as a tag file, behind a header with the moment of writing:
//
//     1000 marker              a scan
//       1001 text              its name
//       1002 array of points   x, y, z in the unit of the scan
//       1005 text              unit of the coordinates; optional
//       1006 property list     conditions of the measurement, a tree; optional
//       1003 64-bit integer    number of points that were measured, finite or not
//       1004 array of points   those with a coordinate that is no finite number; optional
//       1010 marker            deviations from the plane of best fit; optional
//         1011 vector          a point of the plane
//         1012 vector          its normal
//         1014 histogram       the deviations in the order of the points; empty if they were not computed
//       1020 marker            the same from the sphere of best fit; optional
//         1021 vector          its centre
//         1022 number          its radius
//         1024 histogram       the deviations
#pragma once

#include "Deviations.h"
#include "Progress.h"
#include "Scan.h"
#include "Sphere.h"

#include <hbtools/persistence/syTag.h>

#include <functional>

namespace ScanLab {

enum class FitKind { none, plane, sphere };

/// A scan with the shape that was fitted to it.
struct StoredScan {
    Scan scan;
    FitKind fit = FitKind::none;
    Plane plane;
    Sphere sphere;
    Shared<KxN::KxHistogram> deviations{
        KxN::KxHistogram(4096)};  // from the one that `fit` says, in the order of the points; or empty

    /// Forgets the shape, which is none of the scan's any more.
    void DropFit();
};

/// Writes the file whole or not at all; a former one stays as it was if anything fails, or if `check`, which gets the path of
/// what is written before it takes its place, says no; false then.
/// @throws CFileException, KxException
bool Store(KxN::KxString const& path, StoredScan const& stored, KxN::TagFormat format, Progress progress = {},
           std::function<bool(KxN::KxString const&, Progress)> const& check = {});
/// Reads it by id, in another order than it was written. @throws CFileException, KxException
StoredScan Load(KxN::KxString const& path, Progress progress = {});
/// True if both hold the same bits.
bool IsSame(StoredScan const& a, StoredScan const& b);

}  // namespace ScanLab
