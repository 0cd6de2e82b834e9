// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The run-time text of a class, such as "class KxN::KxTTag<int>". It is stored in files and shown in messages:
// its form never changes. Made once for each type and kept; any thread.
#pragma once

#include "hbtools/base/syString.h"

#include <typeinfo>

namespace KxN {

/// "class " and the qualified name. The reference stays valid until the process ends.
KX_API KxString const& KxxClassName(std::type_info const& type);

}  // namespace KxN
