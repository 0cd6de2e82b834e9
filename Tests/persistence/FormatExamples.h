// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The examples of a page of Doc/formats/. An example is an indented block of lines "offset  bytes  meaning", columns two
// blanks or more apart. GCC 12 warns about its own <regex> under sanitizers.
#pragma once
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "TagTest.h"

#include <fstream>
#include <regex>

namespace KxN {

/// The bytes of all examples as hexadecimal text, in the order of the page. A line whose offset is not where the bytes
/// before it end is a failure.
inline std::vector<std::string> Examples(std::string const& name) {
    std::ifstream page(HBTOOLS_SOURCE_DIR "/Doc/formats/" + name);
    EXPECT_TRUE(page.is_open());
    std::regex const line("    ([0-9A-F]{2})((?:  ?[0-9A-F]{2})+)(?:   +.*)?");
    std::vector<std::string> examples;
    bool isInside = false;
    for (std::string text; std::getline(page, text);) {
        std::smatch match;
        if (!std::regex_match(text, match, line)) {
            isInside = false;
            continue;
        }
        if (!isInside) examples.emplace_back();
        isInside = true;
        EXPECT_EQ(std::stoul(match[1], nullptr, 16), examples.back().size() / 2) << text;
        examples.back() += Plain(match[2].str());
    }
    return examples;
}

}  // namespace KxN
