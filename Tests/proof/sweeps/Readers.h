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
    bool (*opens)(std::string const& bytes) = nullptr;  // whether it takes them for a whole file
};

std::vector<Reader> const& Readers();

}  // namespace proof
