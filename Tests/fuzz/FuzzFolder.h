// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Files for targets that need some.
#pragma once

#include "../base/OwnFolder.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syString.h"

#include "FuzzMemory.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A folder of this process, in memory where there is such a file system. Ends with the process.
class FuzzFolder {
public:
    FuzzFolder() {
        path = test::MakeOwnFolderInMemory();
        if (path.empty()) std::abort();
    }
    FuzzFolder(FuzzFolder const&) = delete;
    FuzzFolder& operator=(FuzzFolder const&) = delete;
    ~FuzzFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    KxN::KxString File(char const* name) const { return KxN::KxxFromSystemPath((path / name).string()); }
    void Write(char const* name, std::string const& bytes) const {
        memory::Safe const safe;
        std::ofstream(path / name, std::ios::binary | std::ios::trunc) << bytes;
    }
    std::string Read(char const* name) const {
        memory::Safe const safe;
        std::ifstream in(path / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    std::filesystem::path path;
};
