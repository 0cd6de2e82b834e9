// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A guide of the documentation shows code that compiles: each block of it stands in a test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>

namespace test {

/// Paths from the folder of the sources on, with a slash in front. Only indents may differ.
inline void ExpectGuideShows(char const* guidePath, char const* sourcePath, int expectedBlocks) {
    auto const read = [](char const* name) {
        std::ifstream in(HBTOOLS_SOURCE_DIR + std::string(name), std::ios::binary);
        std::string lines;
        for (std::string line; std::getline(in, line);)
            lines += line.substr(std::min(line.find_first_not_of(' '), line.size())) + "\n";
        return lines;
    };
    std::string const guide = read(guidePath), source = read(sourcePath);
    int blocks = 0;
    for (std::size_t at = 0; (at = guide.find("```cpp\n", at)) != guide.npos; ++blocks) {
        at += 7;
        std::string const block = guide.substr(at, guide.find("```\n", at) - at);
        EXPECT_NE(source.find(block), source.npos) << block;
        at += block.size();
    }
    EXPECT_EQ(blocks, expectedBlocks);
}

}  // namespace test
