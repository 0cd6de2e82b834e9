// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Readers of each format, for bytes of any kind. Those of the fuzz targets are taken as they are; the others read whatever a
// golden file of their format holds. Each survives documented exceptions, gives everything back and ends the process if a
// promise is broken.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace proof {

struct Reader {
    char const* name;
    int (*read)(std::uint8_t const* bytes, std::size_t size);
};

std::vector<Reader> const& Readers();

/// Whether what is left of a tag file when it is cut passes for whole although records in front of the last one are gone, or
/// a part of the last one's head: that must be seen. What a shape does not tell cannot: the format has no checksum.
enum class CutTagFile { seen, cannotBeSeen, missed };
CutTagFile LookAtCut(std::string const& whole, std::size_t length);

}  // namespace proof
