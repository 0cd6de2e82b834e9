// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What happens to the locks of a thread that was killed.
#pragma once

#include <thread>

namespace KxN::detail {

/// Gives back every CMutex that the thread, which is gone, has held.
void Abandon(std::thread::id thread);

}  // namespace KxN::detail
