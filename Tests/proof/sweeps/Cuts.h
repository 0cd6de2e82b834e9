// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Formats that cannot tell of each cut, and why. What is not in the table must be told: by an exception, or by an exit code
// other than 0.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace proof {

struct Format {
    char const* extensions;  // " .x .y "
    char const* reason;      // why a cut may pass for whole
    bool (*mayPass)(std::string const& whole, std::size_t length);
    bool MayPass(std::string const& whole, std::size_t length) const { return mayPass && mayPass(whole, length); }
};
/// One that tells of every cut if there is none in the table.
Format const& FormatOf(std::filesystem::path const& file);

/// Where a file is cut in any case: at its ends, in its middle, and where something begins or ends in it.
std::vector<std::size_t> BordersOf(std::string const& whole);

}  // namespace proof
