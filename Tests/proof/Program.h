// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the programs that prove something have in common: their options, and a folder of their own.
#pragma once

#include "../base/OwnFolder.h"

#include <filesystem>
#include <string>
#include <vector>

namespace proof {

struct Options {
    std::vector<std::string> arguments;
    bool isLong, isSelfCheck;
    std::string only;  // the first argument: a case, or none for all

    Options(int argc, char** argv)
        : arguments(argv + 1, argv + argc),
          isLong(std::erase(arguments, "--long") > 0),
          isSelfCheck(std::erase(arguments, "--self-check") > 0),
          only(arguments.empty() ? "" : arguments[0]) {}
};

/// A new folder, in memory where the system has that; empty if there is none. Whoever makes it removes it.
inline std::filesystem::path MakeFolder() {
    return test::MakeOwnFolderInMemory();
}

}  // namespace proof
