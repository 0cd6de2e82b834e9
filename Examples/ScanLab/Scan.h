// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A measured scan: its points in the order of measuring, in the unit of the source (mm for the synthetic plate).
// Points with a coordinate that is no finite number stand apart, so that no computation meets them and none is lost.
#pragma once

#include <hbtools/base/syString.h>
#include <hbtools/core/syArray.h>
#include <hbtools/math/syVec3.h>

namespace ScanLab {

struct Scan {
    KxN::KxString name;
    KxN::KxString source;  // "PLY, binary little-endian", ...
    KxN::KxTDynArray<KxN::KxVec3d> points;
    KxN::KxTDynArray<KxN::KxVec3d> notFinite;

    /// Puts a point where it belongs.
    void Add(KxN::KxVec3d const& point);
};

}  // namespace ScanLab
