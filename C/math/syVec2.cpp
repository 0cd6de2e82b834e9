// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syVec2.h"

namespace KxN {

namespace {
constexpr double Marker = KxMath::Infinity;
}

constinit KxVec2s const KxVec2s::Zero(0, 0);
constinit KxVec2s const KxVec2s::Invalid(KxMath::SInfinity, KxMath::SInfinity);
constinit KxVec2i const KxVec2i::Zero(0, 0);
constinit KxVec2f const KxVec2f::Zero(0, 0);
constinit KxVec2f const KxVec2f::XUnit(1, 0);
constinit KxVec2f const KxVec2f::YUnit(0, 1);
constinit KxVec2d const KxVec2d::Zero(0, 0);
constinit KxVec2d const KxVec2d::Invalid(Marker, Marker);
constinit KxVec2d const KxVec2d::XUnit(1, 0);
constinit KxVec2d const KxVec2d::YUnit(0, 1);

}  // namespace KxN
