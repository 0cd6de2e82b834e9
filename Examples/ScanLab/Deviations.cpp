// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Deviations.h"

#include <hbtools/math/syMath.h>

#include <limits>

namespace ScanLab {

using namespace KxN;

namespace {
constexpr int histogramBlock = 4096;
constexpr double coreWidth = 3.0;  // sigmas to each side
constexpr int fitPasses = 6;
}  // namespace

double Plane::Distance(KxVec3d const& point) const {
    double const height = point[2] - center[2] - slopeX * (point[0] - center[0]) - slopeY * (point[1] - center[1]);
    return height / KxMath::Sqrt(1.0 + slopeX * slopeX + slopeY * slopeY);
}

namespace {

// The plane of the points that lie within `limit` of the former plane.
Plane FitOnce(Scan const& scan, Plane const& former, double limit) {
    Plane plane;
    plane.center = KxVec3d::Zero;
    double n = 0;
    for (KxVec3d const& point : scan.points) {
        if (KxMath::Abs(former.Distance(point)) > limit) continue;
        n += 1.0;
        for (int i = 0; i < 3; ++i) plane.center[i] += (point[i] - plane.center[i]) / n;
    }
    double xx = 0, xy = 0, yy = 0, xz = 0, yz = 0;
    for (KxVec3d const& point : scan.points) {
        if (KxMath::Abs(former.Distance(point)) > limit) continue;
        double const x = point[0] - plane.center[0];
        double const y = point[1] - plane.center[1];
        double const z = point[2] - plane.center[2];
        xx += x * x;
        xy += x * y;
        yy += y * y;
        xz += x * z;
        yz += y * z;
    }
    double const determinant = xx * yy - xy * xy;
    if (determinant > 1e-12 * xx * yy) {
        plane.slopeX = (xz * yy - yz * xy) / determinant;
        plane.slopeY = (yz * xx - xz * xy) / determinant;
    }
    return plane;
}

}  // namespace

Plane FitPlane(Scan const& scan) {
    Plane plane{KxVec3d::Zero, 0, 0};
    double limit = std::numeric_limits<double>::infinity();
    for (int pass = 0; pass < fitPasses; ++pass) {
        plane = FitOnce(scan, plane, limit);
        Core const core = CoreOf(DeviationsFrom(plane, scan), 1);
        if (!(core.sigma > 0)) break;
        limit = coreWidth * core.sigma;
    }
    return plane;
}

Core CoreOf(KxHistogram const& deviations, int passes) {
    Core core{deviations.Mean(), deviations.StdDev(), deviations.Count()};
    for (; passes > 0; --passes) {
        KxHistogram inside(histogramBlock);
        for (double value : deviations.Values())
            if (KxMath::Abs(value - core.mean) <= coreWidth * core.sigma) inside.Add(value);
        if (!inside.IsValid() || inside.Count() == core.count) break;
        core = {inside.Mean(), inside.StdDev(), inside.Count()};
    }
    return core;
}

KxHistogram DeviationsFrom(Plane const& plane, Scan const& scan) {
    KxHistogram deviations(histogramBlock);
    for (KxVec3d const& point : scan.points) deviations.Add(plane.Distance(point));
    return deviations;
}

KxRangeHistogram Columns(KxHistogram const& deviations, Core const& core, int columns) {
    double const half = core.sigma > 0 ? coreWidth * core.sigma : 1.0;
    KxRangeHistogram counts(core.mean - half, core.mean + half, columns);
    for (double value : deviations.Values()) counts.AddValue(value, 1);
    return counts;
}

}  // namespace ScanLab
