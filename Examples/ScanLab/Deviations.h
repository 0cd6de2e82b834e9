// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Deviations of a scan from the plane that fits it best, and their histogram.
#pragma once

#include "Progress.h"
#include "Scan.h"

#include <hbtools/math/syHistogram.h>
#include <hbtools/math/syRangeHistogram.h>

namespace ScanLab {

struct Plane {
    KxN::KxVec3d center = KxN::KxVec3d::Zero;  // of the points
    KxN::KxVec3d normal = KxN::KxVec3d::ZUnit;

    /// Signed distance of a point along the normal, in the unit of the scan.
    double Distance(KxN::KxVec3d const& point) const;
};

/// The sums from which planes are made: add points, then ask.
class PlaneSums {
public:
    void Add(KxN::KxVec3d const& point);
    int Count() const { return m_count; }
    /// The plane with the least sum of squared distances. Its normal points up, or along y or x if it lies flat. Points on
    /// a line give the plane through it that is nearest to level; a spot, or nothing, the level plane.
    Plane Fit() const;

private:
    int m_count = 0;
    KxN::KxVec3d m_center = KxN::KxVec3d::Zero;
    double m_products[3][3] = {};  // of the distances from the centre; upper triangle
};

/// Mean and sigma of the values that belong together, that is without those beyond 3 sigma.
struct Core {
    double mean;
    double sigma;
    int count;
};

/// Least squares of the distances, again and again without what lies beyond `sigmas`, so that bores and edges do not
/// tilt it; at most `passes` times.
Plane FitPlane(Scan const& scan, double sigmas = 3.0, int passes = 6, Progress progress = {});
KxN::KxHistogram DeviationsFrom(Plane const& plane, Scan const& scan, Progress progress = {});
/// `passes`: how often outliers are left out at most.
Core CoreOf(KxN::KxHistogram const& deviations, int passes = 8, Progress progress = {});
/// Counts over the core's mean +- 3 sigma, the ends taking what lies outside.
KxN::KxRangeHistogram Columns(KxN::KxHistogram const& deviations, Core const& core, int columns);

}  // namespace ScanLab
