// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What loading needs to know about the factories, to ask the right one at once for a class that it met before.
#pragma once

#include "hbtools/persistence/syDynamicObject.h"

namespace KxN::detail {

/// Changes whenever a factory comes or goes.
unsigned long long FactoryGeneration();

/// The factory that CreateObject would ask first for the name; null if there is none, or if a factory that must be asked
/// for every name is about.
KxAbstractFactory* FirstFactory(KxString const& className);

}  // namespace KxN::detail
