// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A measured scan: its points in the order of measuring, in the unit of the source (mm for the synthetic plate).
// Points with a coordinate that is no finite number stand apart, so that no computation meets them and none is lost. Copies
// share what is large.
#pragma once

#include "Shared.h"

#include <hbtools/base/syString.h>
#include <hbtools/core/syArray.h>
#include <hbtools/math/syVec3.h>
#include <hbtools/properties/syPropertyList.h>

namespace ScanLab {

struct Scan {
    KxN::KxString name;
    KxN::KxString source;  // "PLY, binary little-endian", ...
    KxN::KxString unit;    // of the coordinates, as it is written behind a number; empty if the source does not tell
    Shared<KxN::KxTDynArray<KxN::KxVec3d>> points;
    Shared<KxN::KxTDynArray<KxN::KxVec3d>> notFinite;
    Shared<KxN::KxPropertyList> conditions;  // of the measurement, see Conditions.h; empty if nothing is known

    /// Puts a point where it belongs.
    void Add(KxN::KxVec3d const& point);
};

/// The box around the points.
struct Box {
    KxN::KxVec3d low;
    KxN::KxVec3d high;

    KxN::KxVec3d Middle() const { return KxN::KxVec3d::Lerp(low, high, 0.5); }
    double Diagonal() const { return low.Distance(high); }
    bool Contains(KxN::KxVec3d const& point) const;
};
/// Of a scan with points.
Box BoxOf(Scan const& scan);
/// The same without strays: points that lie farther from the bulk than half of its size.
Box CoreBoxOf(Scan const& scan);

}  // namespace ScanLab
