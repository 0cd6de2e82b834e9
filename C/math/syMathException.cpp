// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syMathException.h"

#include "math/syTextIds.h"

namespace KxN {

KxMathMatrixNoSolutionException::KxMathMatrixNoSolutionException() : KxException(text::NoSolution) {}

KxMathMatrixNoSolutionException::KxMathMatrixNoSolutionException(KxString const& file, unsigned long line)
    : KxException(file, line, text::NoSolution) {}

}  // namespace KxN
