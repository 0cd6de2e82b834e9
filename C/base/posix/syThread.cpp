// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "syThread.h"

#include <unistd.h>

namespace KxN::detail {

unsigned long CurrentThreadId() {
    return static_cast<unsigned long>(::gettid());
}

}  // namespace KxN::detail
