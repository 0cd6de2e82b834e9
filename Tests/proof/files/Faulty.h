// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include "Scenario.h"

namespace proof {

/// Savers as they should not be: each must be found, or nothing is proved.
std::vector<Kind> FaultyKinds();

}  // namespace proof
