// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the rotations of both matrix classes share.
#pragma once

#include "hbtools/math/syVec3.h"

namespace KxN::detail {

/// The axis is turned into z, about which the rotation is made, and back.
template <class Matrix>
Matrix RotationAbout(KxVec3d const& axis, double angle) {
    double const a = KxMath::ATan2(axis[1], axis[2]);
    double const b = KxMath::ATan2(axis[0], KxMath::Sqrt(axis[2] * axis[2] + axis[1] * axis[1]));
    return Matrix::AXRotation(-a) * Matrix::AYRotation(b) * Matrix::AZRotation(angle) * Matrix::AYRotation(-b) *
           Matrix::AXRotation(a);
}

/// The angle between two directions; false where there is nothing to turn.
inline bool TurningAngle(KxVec3d const& from, KxVec3d const& to, double& angle) {
    if (from == to) return false;
    double const product = from.SquaredLength() * to.SquaredLength();
    if (!(product > 1e-28)) return false;
    angle = KxMath::ACos(from.Dot(to) / KxMath::Sqrt(product));
    return angle > 1e-8;
}

}  // namespace KxN::detail
