// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Satellites made byte by byte, for tests and fuzz targets.
#pragma once

#include <string>

namespace test {

inline std::string LittleEndian(std::size_t value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(i < 8 ? value >> (8 * i) & 0xFF : 0);
    return text;
}

/// The smallest module around a table of texts: a header, the section, the names, the headers of three sections.
inline std::string SatelliteFile(std::string const& table) {
    std::string const names("\0.hbtools.texts\0", 16);
    auto const header = [](std::size_t name, std::size_t type, std::size_t offset, std::size_t size) {
        return LittleEndian(name, 4) + LittleEndian(type, 4) + LittleEndian(0, 16) + LittleEndian(offset, 8) +
               LittleEndian(size, 8) + LittleEndian(0, 24);
    };
    std::size_t const nameOffset = 64 + table.size(), headerOffset = nameOffset + names.size();
    std::string file(
        "\x7F"
        "ELF\x02\x01\x01",
        7);
    file.resize(16);
    file += LittleEndian(3, 2) + LittleEndian(62, 2) + LittleEndian(1, 4) + LittleEndian(0, 16) +
            LittleEndian(headerOffset, 8) + LittleEndian(0, 4) + LittleEndian(64, 2) + LittleEndian(0, 4) +
            LittleEndian(64, 2) + LittleEndian(3, 2) + LittleEndian(2, 2);
    return file + table + names + header(0, 0, 0, 0) + header(1, 1, 64, table.size()) +
           header(0, 3, nameOffset, names.size());
}

}  // namespace test
