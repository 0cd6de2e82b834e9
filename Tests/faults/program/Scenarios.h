// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What an application does with its files, for the tests that let the system, the memory or the power fail.
#pragma once

#include "hbtools/base/syFile.h"

#include <string>

namespace faults {

/// A scan of a few lines, which crosses the buffer of a file in small steps and has a block that passes by it.
void StoreScan(KxN::CFile& file, KxN::KxString const& name);
/// Whether the file holds that scan.
bool LoadScan(KxN::CFile& file, KxN::KxString const& name);

/// Runs one scenario on the file. 0 if all went well, 3 after a refusal that is told by a result and was printed, 4 if
/// what was read is not what was stored, 5 for an unknown scenario. Throws what the library throws.
int RunScenario(std::string const& scenario, KxN::KxString const& path);

}  // namespace faults
