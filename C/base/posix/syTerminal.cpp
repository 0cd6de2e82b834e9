// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syTerminal.h"

#include <unistd.h>

namespace KxN {

bool KxxIsTerminal(KxStandardStream stream) {
    return ::isatty(stream) == 1;
}

}  // namespace KxN
