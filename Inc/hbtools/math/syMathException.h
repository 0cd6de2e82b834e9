// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxMathMatrixNoSolutionException: for callers to throw where a matrix problem has no solution. The library's own solvers
// report by their results and never throw it.
#pragma once

#include "hbtools/base/syException.h"

namespace KxN {

class KX_API KxMathMatrixNoSolutionException : public KxException {
public:
    KxMathMatrixNoSolutionException();
    KxMathMatrixNoSolutionException(KxMathMatrixNoSolutionException& other) = default;
    KxMathMatrixNoSolutionException(KxString const& file, unsigned long line);
    KxMathMatrixNoSolutionException& operator=(KxMathMatrixNoSolutionException& other) = default;
};

}  // namespace KxN
