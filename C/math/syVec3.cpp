// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syVec3.h"

#include "hbtools/math/syVec.h"

namespace KxN {

namespace {
constexpr float Marker = KxMath::Infinity;
}

constinit KxVec3i const KxVec3i::Zero(0, 0, 0);
constinit KxVec3f const KxVec3f::Zero(0, 0, 0);
constinit KxVec3f const KxVec3f::One(1, 1, 1);
constinit KxVec3f const KxVec3f::XUnit(1, 0, 0);
constinit KxVec3f const KxVec3f::YUnit(0, 1, 0);
constinit KxVec3f const KxVec3f::ZUnit(0, 0, 1);
constinit KxVec3f const KxVec3f::Invalid(Marker, Marker, Marker);
constinit KxVec3f const KxVec3f::Infinity(Marker, Marker, Marker);
constinit KxVec3d const KxVec3d::Zero(0, 0, 0);
constinit KxVec3d const KxVec3d::One(1, 1, 1);
constinit KxVec3d const KxVec3d::XUnit(1, 0, 0);
constinit KxVec3d const KxVec3d::YUnit(0, 1, 0);
constinit KxVec3d const KxVec3d::ZUnit(0, 0, 1);
constinit KxVec3d const KxVec3d::Invalid(Marker, Marker, Marker);
constinit KxVec3d const KxVec3d::Infinity(Marker, Marker, Marker);

KxVec3d::KxVec3d(KxVec const& vector) : KxVec3d(vector.Values()) {}

KxVec KxVec3d::ToVector() const {
    return KxVec(KxTArray<double>(m_values, 3));
}

}  // namespace KxN
