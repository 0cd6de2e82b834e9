// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What happens to the locks of a thread that has ended.
#pragma once

namespace KxN::detail {

/// Gives back every CMutex that the thread holds. Takes no memory: it is called at places where a thread was killed.
void Abandon(unsigned long long threadIdentity) noexcept;

}  // namespace KxN::detail
