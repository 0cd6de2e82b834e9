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

/// Whether the bytes pass for a whole tag file, which those of a cut one must not.
bool IsWholeTagFile(std::string const& bytes);

}  // namespace proof
