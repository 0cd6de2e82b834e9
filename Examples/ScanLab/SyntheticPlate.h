// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A scan of a machined plate as a line scanner would deliver it: 160 x 100 mm, four bores with countersinks of 90 degrees, a milled
// waviness of 4 um and measuring noise of 3 um (one sigma). The same count gives the same points, bit for bit.
#pragma once

#include "Progress.h"
#include "Scan.h"

namespace ScanLab {

Scan MakeSyntheticPlate(int count, Progress progress = {});
/// A ball about (40, -20, 15) mm as a touch probe would deliver it, the lower quarter hidden by its stand. Noise of 3 um.
/// `radius` in mm. The same count and radius give the same points.
Scan MakeSyntheticSphere(int count, double radius, Progress progress = {});

}  // namespace ScanLab
