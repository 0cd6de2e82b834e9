// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Conditions of a measurement as XML, see Doc/formats/conditions.md: for people and other programs to read, to change and to
// make. What is written comes back bit by bit. Reading is strict: whatever is not understood is refused, since a condition
// that got lost could be the one that matters.
#pragma once

#include <hbtools/properties/syPropertyList.h>

namespace ScanLab {

/// Writes the file whole or not at all. @throws KxException naming a condition that XML cannot hold, KxFileException
void SaveConditions(KxN::KxString const& path, KxN::KxPropertyList const& conditions);
/// @throws KxException with the file, the line and the element at fault
KxN::KxPropertyList LoadConditions(KxN::KxString const& path);

}  // namespace ScanLab
