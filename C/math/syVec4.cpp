// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syVec4.h"

namespace KxN {

// An array of vectors is a flat array of numbers, for files, for drivers and for moves in whole blocks.
template <class Vector, class Scalar, std::size_t Components>
constexpr bool IsExactly =
    sizeof(Vector) == Components * sizeof(Scalar) && alignof(Vector) == alignof(Scalar) &&
    std::is_trivially_copyable_v<Vector>&& std::is_standard_layout_v<Vector>&& std::is_trivially_destructible_v<Vector>;

static_assert(IsExactly<KxVec2s, short, 2> && IsExactly<KxVec2i, int, 2>);
static_assert(IsExactly<KxVec2f, float, 2> && IsExactly<KxVec2d, double, 2>);
static_assert(IsExactly<KxVec3i, int, 3> && IsExactly<KxVec3f, float, 3> && IsExactly<KxVec3d, double, 3>);
static_assert(IsExactly<KxVec4i, int, 4> && IsExactly<KxVec4f, float, 4> && IsExactly<KxVec4d, double, 4>);

constinit KxVec4i const KxVec4i::Zero(0, 0, 0, 0);

}  // namespace KxN
