// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Deviations.h"

#include <hbtools/math/syMath.h>

namespace ScanLab {

using namespace KxN;

namespace {
constexpr int histogramBlock = 4096;
}

double Plane::Distance(KxVec3d const& point) const {
    double const height = point[2] - center[2] - slopeX * (point[0] - center[0]) - slopeY * (point[1] - center[1]);
    return height / KxMath::Sqrt(1.0 + slopeX * slopeX + slopeY * slopeY);
}

Plane FitPlane(Scan const& scan) {
    Plane plane;
    plane.center = KxVec3d::Zero;
    double n = 0;
    for (KxVec3d const& point : scan.points) {
        n += 1.0;
        for (int i = 0; i < 3; ++i) plane.center[i] += (point[i] - plane.center[i]) / n;
    }
    double xx = 0, xy = 0, yy = 0, xz = 0, yz = 0;
    for (KxVec3d const& point : scan.points) {
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

KxHistogram DeviationsFrom(Plane const& plane, Scan const& scan) {
    KxHistogram deviations(histogramBlock);
    for (KxVec3d const& point : scan.points) deviations.Add(plane.Distance(point));
    return deviations;
}

KxRangeHistogram Columns(KxHistogram const& deviations, int columns) {
    double const mean = deviations.Mean();
    double const spread = deviations.StdDev(mean);
    double const half = spread > 0 ? 3.0 * spread : 1.0;
    KxRangeHistogram counts(mean - half, mean + half, columns);
    for (double value : deviations.Values()) counts.AddValue(value, 1);
    return counts;
}

}  // namespace ScanLab
