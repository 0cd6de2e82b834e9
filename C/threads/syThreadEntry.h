// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The last line of a thread's life, for all entries of this room.
#pragma once

#include "hbtools/base/syLink.h"

#include <atomic>

namespace KxN {

class KxThread;

namespace detail {

/// Calls the link. What it throws is reported to the debug file and to the user, and goes no further; the internal signal
/// of the end of a thread goes no further either. Only the forced unwinding of the thread passes.
void CallGuarded(KxTools::Link const& link, void* argument);

/// Tells whose thread the calling one is. What is pointed to becomes null when the owner is gone.
void SetThreadOwner(std::atomic<KxThread*>* owner);

}  // namespace detail
}  // namespace KxN
