// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Deviations.h"

#include <hbtools/math/syMatrix3.h>

#include <limits>
#include <vector>

namespace ScanLab {

using namespace KxN;

namespace {
constexpr int histogramBlock = 4096;
constexpr double coreWidth = 3.0;  // sigmas to each side
}  // namespace

double Plane::Distance(KxVec3d const& point) const {
    KxVec3d offset(point);
    offset -= center;
    return normal.Dot(offset);
}

// Centre and products are kept up to date point by point, so that the place of the scan in space costs no digits.
void PlaneSums::Add(KxVec3d const& point) {
    ++m_count;
    KxVec3d before(point);
    before -= m_center;
    for (int i = 0; i < 3; ++i) m_center[i] += before[i] / m_count;
    KxVec3d after(point);
    after -= m_center;
    for (int i = 0; i < 3; ++i)
        for (int j = i; j < 3; ++j) m_products[i][j] += before[i] * after[j];
}

Plane PlaneSums::Fit() const {
    constexpr double thin = 1e-12;  // second axis of a line in its first
    Plane plane{m_center, KxVec3d::ZUnit};
    double const trace = m_products[0][0] + m_products[1][1] + m_products[2][2];
    if (!(trace > 0)) return plane;
    double p[3][3];  // as of a part of size 1, whatever the unit
    for (int i = 0; i < 3; ++i)
        for (int j = i; j < 3; ++j) p[i][j] = m_products[i][j] / trace;
    KxMatrix3 const products(p[0][0], p[0][1], p[0][2], p[0][1], p[1][1], p[1][2], p[0][2], p[1][2], p[2][2]);
    double extents[3];
    KxVec3d components[3];  // [i][j]: component i of axis j
    products.Jacobi(extents, components);
    int least = 0, most = 0;
    for (int j = 1; j < 3; ++j) {
        if (extents[j] < extents[least]) least = j;
        if (extents[j] > extents[most]) most = j;
    }
    if (!(extents[most] > 0) || least == most) return plane;  // as far in all directions, or no numbers
    auto const axis = [&components](int j) { return KxVec3d(components[0][j], components[1][j], components[2][j]); };
    if (extents[3 - least - most] > thin * extents[most]) {
        plane.normal = axis(least);
    } else {
        KxVec3d along = axis(most);
        along *= along[2];
        plane.normal -= along;
        if (plane.normal.Length() < 1e-6) plane.normal = KxVec3d::YUnit;  // the line stands upright
    }
    plane.normal.Normalize();
    int upward = 2;
    while (upward > 0 && KxMath::Abs(plane.normal[upward]) < thin) --upward;
    if (plane.normal[upward] < 0) plane.normal.Negate();
    return plane;
}

Plane FitPlane(Scan const& scan, double sigmas, int passes, Progress progress) {
    Plane plane;
    double limit = std::numeric_limits<double>::infinity();
    progress = progress.Stage(L"plane", 0, 1);
    for (int pass = 0; pass < passes; ++pass) {
        Progress const part = progress.Part(double(pass) / passes, double(pass + 1) / passes);
        PlaneSums sums;
        InBlocks(part.Part(0, 0.5), scan.points->Size(), [&](int begin, int end) {
            // On copies, which no other name stands for: they stay in registers. The same below.
            PlaneSums mine = sums;
            Plane const former = plane;
            double const most = limit;
            for (KxVec3d const *point = scan.points->Data() + begin, *last = scan.points->Data() + end; point != last;
                 ++point)
                if (KxMath::Abs(former.Distance(*point)) <= most) mine.Add(*point);
            sums = mine;
        });
        plane = sums.Fit();
        KxHistogram const deviations = DeviationsFrom(plane, scan, part.Part(0.5, 0.8));
        Core const core = CoreOf(deviations, 1, part.Part(0.8, 1));
        if (!(core.sigma > 0)) break;
        limit = sigmas * core.sigma;
    }
    return plane;
}

Core CoreOf(KxHistogram const& deviations, int passes, Progress progress) {
    Core core{deviations.Mean(), deviations.StdDev(), deviations.Count()};
    std::vector<double> const values(deviations.Values().begin(), deviations.Values().end());
    for (int pass = 0; pass < passes; ++pass) {
        Progress const part = progress.Part(double(pass) / passes, double(pass + 1) / passes);
        double const former = core.mean, limit = coreWidth * core.sigma;
        double sum = 0;  // of the distances from the former mean, which are small
        int count = 0;
        part.Show(
            0,
            2);  // a pass takes some hundredths of a second for 10 million; loops over blocks took half as long again
        for (double const value : values)
            if (KxMath::Abs(value - former) <= limit) {
                sum += value - former;
                ++count;
            }
        if (count == 0 || count == core.count) break;
        double const mean = former + sum / count;
        double squares = 0;
        part.Show(1, 2);
        for (double const value : values)
            if (KxMath::Abs(value - former) <= limit) squares += KxMath::Sqr(value - mean);
        core = {mean, KxMath::Sqrt(squares / count), count};
    }
    return core;
}

KxHistogram DeviationsFrom(Plane const& plane, Scan const& scan, Progress progress) {
    KxHistogram deviations(histogramBlock);
    InBlocks(progress, scan.points->Size(), [&](int begin, int end) {
        Plane const mine = plane;
        for (KxVec3d const *point = scan.points->Data() + begin, *last = scan.points->Data() + end; point != last;
             ++point)
            deviations.Add(mine.Distance(*point));
    });
    return deviations;
}

KxRangeHistogram Columns(KxHistogram const& deviations, Core const& core, int columns) {
    double const half = core.sigma > 0 ? coreWidth * core.sigma : 1.0;
    KxRangeHistogram counts(core.mean - half, core.mean + half, columns);
    for (double value : deviations.Values()) counts.AddValue(value, 1);
    return counts;
}

}  // namespace ScanLab
