// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The inner loops of dense vectors and matrices, on plain arrays. A matrix is a pointer to its first element and the
// distance of two rows in elements.
#pragma once

namespace KxN::detail {

/// The sum of products.
double DenseDot(double const* a, double const* b, int size);

/// c = a * b, where a has `rows` rows of `inner` elements, b `inner` rows and c `rows` rows of `columns` elements. c must
/// not overlap the others.
void DenseProduct(double* c, int strideC, double const* a, int strideA, double const* b, int strideB, int rows,
                  int columns, int inner);

}  // namespace KxN::detail
