// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Taking points out of a scan. Each call says which points stay; KeepPoints then drops the others.
#pragma once

#include "Scan.h"

namespace ScanLab {

/// One mark for each point, in their order: 1 stays, 0 goes.
using Marks = KxN::KxTArray<unsigned char>;

/// Points in the box, its faces included.
Marks InBox(Scan const& scan, Box const& box);
/// Points with at least `neighbours` others that are not farther than `distance`, which is above 0.
Marks NotAlone(Scan const& scan, double distance, int neighbours);
/// The first point in each cube of that edge, which is above 0. @throws KxException if there were too many cubes
Marks OnePerCube(Scan const& scan, double edge);

/// Drops the points whose mark is not `kept`. Those that are not finite stay. Returns how many went.
int KeepPoints(Scan& scan, Marks const& marks, unsigned char kept = 1);

}  // namespace ScanLab
