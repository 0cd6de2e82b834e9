// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace powercut {

/// Savers as they should not be: each must be found, or nothing is proved.
inline constexpr char const* faultySavers[] = {"overwriting", "unsynced", "unnamed", "mending",
                                               "modeless",    "listless", "laggard", "littering"};
/// Returns 0 once it has saved.
int SaveFaultily(std::string const& saver, char const* target);

}  // namespace powercut
