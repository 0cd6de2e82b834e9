// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The sphere that fits a scan best.
#pragma once

#include "Progress.h"
#include "Scan.h"

#include <hbtools/math/syHistogram.h>

namespace ScanLab {

struct Sphere {
    KxN::KxVec3d center = KxN::KxVec3d::Zero;
    double radius = 0;  // in the unit of the scan

    /// Signed distance of a point from the surface, outside positive.
    double Distance(KxN::KxVec3d const& point) const { return point.Distance(center) - radius; }
};

/// Least squares of the distances, again and again without what lies beyond `sigmas`, at most `passes` times.
/// @throws KxException if the points do not tell a sphere: fewer than four, flat, or on a line
Sphere FitSphere(Scan const& scan, double sigmas = 3.0, int passes = 6, Progress progress = {});
KxN::KxHistogram DeviationsFrom(Sphere const& sphere, Scan const& scan, Progress progress = {});

}  // namespace ScanLab
