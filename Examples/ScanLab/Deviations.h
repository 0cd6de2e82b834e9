// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Deviations of a scan from the plane z = a x + b y + c that fits it best in z, and their histogram.
#pragma once

#include "Scan.h"

#include <hbtools/math/syHistogram.h>
#include <hbtools/math/syRangeHistogram.h>

namespace ScanLab {

struct Plane {
    KxN::KxVec3d center;  // of the points
    double slopeX = 0;
    double slopeY = 0;

    /// Signed distance of a point along the normal, in the unit of the scan.
    double Distance(KxN::KxVec3d const& point) const;
};

/// Mean and sigma of the values that belong together, that is without those beyond 3 sigma.
struct Core {
    double mean;
    double sigma;
    int count;
};

/// Least squares about the centre, again and again without what lies beyond 3 sigma, so that bores and edges do not
/// tilt it. A scan that is a line or a spot gives a plane parallel to x and y.
Plane FitPlane(Scan const& scan);
KxN::KxHistogram DeviationsFrom(Plane const& plane, Scan const& scan);
/// `passes`: how often outliers are left out at most.
Core CoreOf(KxN::KxHistogram const& deviations, int passes = 8);
/// Counts over the core's mean +- 3 sigma, the ends taking what lies outside.
KxN::KxRangeHistogram Columns(KxN::KxHistogram const& deviations, Core const& core, int columns);

}  // namespace ScanLab
