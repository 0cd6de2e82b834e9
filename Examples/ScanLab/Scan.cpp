// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Scan.h"

#include <hbtools/math/syMath.h>

#include <algorithm>
#include <bit>
#include <cstdint>

namespace ScanLab {

using namespace KxN;

namespace {

/// By its bits: a comparison of a signalling NaN traps.
bool IsFinite(double value) {
    constexpr std::uint64_t exponent = 0x7ff0000000000000;
    return (std::bit_cast<std::uint64_t>(value) & exponent) != exponent;
}

}  // namespace

void Scan::Add(KxVec3d const& point) {
    if (IsFinite(point[0]) && IsFinite(point[1]) && IsFinite(point[2]))
        points.Edit().Add(point);
    else
        notFinite.Edit().Add(point);
}

Box BoxOf(Scan const& scan) {
    Box box{scan.points[0], scan.points[0]};
    for (KxVec3d const& point : scan.points) {
        for (int i = 0; i < 3; ++i) {
            box.low[i] = KxMath::Min(box.low[i], point[i]);
            box.high[i] = KxMath::Max(box.high[i], point[i]);
        }
    }
    return box;
}

Box CoreBoxOf(Scan const& scan) {
    constexpr int asked = 10000;
    constexpr int tails = 100;  // one of so many points at each end may be a stray
    Box const all = BoxOf(scan);
    Box bulk = all;
    int const step = std::max(1, scan.points->Size() / asked);
    KxTArray<double> values((scan.points->Size() + step - 1) / step);
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < values.Size(); ++k) values[k] = scan.points[k * step][i];
        std::sort(values.begin(), values.end());
        int const tail = values.Size() / tails;
        bulk.low[i] = values[tail];
        bulk.high[i] = values[values.Size() - 1 - tail];
    }
    double const margin = bulk.Diagonal() / 2;
    for (int i = 0; i < 3; ++i) {
        bulk.low[i] = KxMath::Max(bulk.low[i] - margin, all.low[i]);
        bulk.high[i] = KxMath::Min(bulk.high[i] + margin, all.high[i]);
    }
    return bulk;
}

bool Box::Contains(KxVec3d const& point) const {
    for (int i = 0; i < 3; ++i)
        if (!(low[i] <= point[i] && point[i] <= high[i])) return false;
    return true;
}

}  // namespace ScanLab
