// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Rigid alignment of two scans of one object: the motion that brings one onto the other, by least squares of the distances
// from the planes through the nearest points (iterative closest point), from coarse to fine.
#pragma once

#include "Progress.h"
#include "Scan.h"

#include <hbtools/math/syHistogram.h>
#include <hbtools/math/syMatrix4.h>

namespace ScanLab {

struct Alignment {
    KxN::KxMatrix4 motion;                  // brings the moving scan onto the fixed one
    KxN::KxHistogram deviations{4096};      // signed distances of the moved points from the fixed surface
    KxN::KxTDynArray<KxN::KxVec3d> places;  // of the moved points that have a deviation, in the same order
    int compared = 0;                       // points of the moving scan that were looked at
    int steps = 0;
};

/// What a scan needs at least to be aligned.
constexpr int fewestPoints = 200;

/// Strays, points far from nearly all others of their scan, take no part.
/// @throws KxException if a scan has too few points, or if less than a tenth of the moving scan finds the fixed surface
Alignment Align(Scan const& moving, Scan const& fixed, Progress progress = {});

/// Half of the points of a scan, every second one from `first` (0 or 1) on, moved.
Scan HalfOf(Scan const& scan, int first, KxN::KxMatrix4 const& motion, Progress progress = {});
/// The points, moved.
KxN::KxTDynArray<KxN::KxVec3d> Moved(KxN::KxTDynArray<KxN::KxVec3d> const& points, KxN::KxMatrix4 const& motion,
                                     Progress progress = {});

}  // namespace ScanLab
