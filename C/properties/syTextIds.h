// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the texts of properties in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum PropertyId : unsigned short { PropertyFault = 6090, PropertyNotFound = 6091, PropertyExists = 6092 };

}  // namespace KxN::text
