// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The parameters of all operators in one configuration file, a group for each operator. Other groups of the file stay.
#pragma once

#include <hbtools/operators/syOperatorMgr.h>

namespace ScanLab {

/// All of them or none, in one safe step. @throws KxFileException if the file cannot be written
void SaveSettings(KxN::KxOperatorMgr const& manager, KxN::KxString const& path);
/// A key that is missing gives the default value. @throws KxReadKeywordException naming key, group and file for a
/// bad value; all parameters then have their former values
void LoadSettings(KxN::KxOperatorMgr const& manager, KxN::KxString const& path);

}  // namespace ScanLab
