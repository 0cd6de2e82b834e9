// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the room needs of the system's threads.
#pragma once

namespace KxN::detail {

/// The system's number of the calling thread, unique among all threads that live.
unsigned long CurrentThreadId();

}  // namespace KxN::detail
