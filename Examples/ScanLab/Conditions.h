// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The conditions of a measurement as a tree of properties: they go into the file of the scan beside its points.
#pragma once

#include "Scan.h"

namespace ScanLab {

/// Who measured the synthetic plate, with what, how warm it was, how the device was calibrated and how its data was
/// filtered. The same every time.
KxN::KxPropertyList ConditionsOfPlate();
/// What a file tells of a scan that was read from it: its name, format, size and date.
KxN::KxPropertyList ConditionsOfFile(KxN::KxString const& path, Scan const& scan);
/// One line for each property, indented by its level, each with its line end. Hidden ones are left out.
KxN::KxString ConditionsText(Scan const& scan);

}  // namespace ScanLab
