// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syLimits.h"

namespace KxN {

namespace {
constinit KxLimits g_limits;
}

KxLimits& KxxLimits() {
    return g_limits;
}

}  // namespace KxN
