// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Writing scans for other programs. Every coordinate comes back bit by bit: PLY has doubles in binary, CSV the shortest
// decimals that tell them. Points that are not finite stand at the end. A column with the deviations follows if there
// are any.
#pragma once

#include "Progress.h"
#include "ScanFile.h"

namespace ScanLab {

/// Binary little-endian PLY. Appears whole or not at all. @throws KxDirEntryException
void WritePly(KxN::KxString const& path, StoredScan const& stored, Progress progress = {});
/// Comma-separated, with a header line. Appears whole or not at all. @throws KxDirEntryException
void WriteCsv(KxN::KxString const& path, StoredScan const& stored, Progress progress = {});

}  // namespace ScanLab
