// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Images of many points under one matrix of sixteen doubles, row after row. Every form gives the same bits.
#pragma once

#include <cstddef>

namespace KxN::detail {

/// Points are three components one after the other. `out` is `in`, or does not overlap it.
void TransformPoints(double const* matrix, bool isAffine, double const* in, double* out, std::size_t count);
void TransformPoints(double const* matrix, bool isAffine, float const* in, float* out, std::size_t count);

/// The same without wide registers, for processors that lack them and for comparison.
void TransformPointsPlainly(double const* matrix, bool isAffine, double const* in, double* out, std::size_t count);
void TransformPointsPlainly(double const* matrix, bool isAffine, float const* in, float* out, std::size_t count);

}  // namespace KxN::detail
