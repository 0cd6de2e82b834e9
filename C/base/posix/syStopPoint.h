// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Where a thread that is to stop or to die, and was found inside the allocator, does so: on its way out of it.
#pragma once

namespace KxN::detail {

/// Somebody waits for the calling thread to stop. Set by its signal handler.
[[gnu::tls_model("initial-exec"), gnu::visibility("hidden")]] extern constinit thread_local int t_isAwaited;

/// Stops or ends here, unless the caller at that address may hold locks itself.
[[gnu::cold, gnu::noinline]] void StopPoint(void const* caller) noexcept;

}  // namespace KxN::detail
