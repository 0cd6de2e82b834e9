// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Scan.h"

#include <hbtools/math/syMath.h>

#include <cmath>

namespace ScanLab {

using namespace KxN;

void Scan::Add(KxVec3d const& point) {
    if (std::isfinite(point[0]) && std::isfinite(point[1]) && std::isfinite(point[2]))
        points.Add(point);
    else
        notFinite.Add(point);
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

}  // namespace ScanLab
