// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Taking points out of a scan. Each call says which points stay; KeptPoints is what is left.
#pragma once

#include "Progress.h"
#include "Scan.h"

namespace ScanLab {

/// One mark for each point, in their order: 1 stays, 0 goes.
using Marks = KxN::KxTArray<unsigned char>;

/// Points in the box, its faces included.
Marks InBox(Scan const& scan, Box const& box, Progress progress = {});
/// Points with at least `neighbours` others that are not farther than `distance`, which is above 0.
Marks NotAlone(Scan const& scan, double distance, int neighbours, Progress progress = {});
/// The first point in each cube of that edge, which is above 0. @throws KxException if there were too many cubes
Marks OnePerCube(Scan const& scan, double edge, Progress progress = {});

/// The points whose mark is `kept`.
KxN::KxTDynArray<KxN::KxVec3d> KeptPoints(Scan const& scan, Marks const& marks, unsigned char kept,
                                          Progress progress = {});

}  // namespace ScanLab
