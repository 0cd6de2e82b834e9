// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Stands in for the fuzzing engine where there is none: feeds the empty input and then every regular file of the
// folders given to LLVMFuzzerTestOneInput. A folder that does not exist is empty. The name of the current file is
// printed first, so that a crash names its cause.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

int main(int argc, char** argv) {
    LLVMFuzzerTestOneInput(nullptr, 0);
    std::size_t count = 1;
    for (int i = 1; i < argc; ++i) {
        std::filesystem::path const folder = argv[i];
        if (!std::filesystem::exists(folder)) continue;
        std::vector<std::filesystem::path> files;
        for (auto const& entry : std::filesystem::recursive_directory_iterator(folder))
            if (entry.is_regular_file()) files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        for (auto const& file : files) {
            std::printf("%s\n", file.c_str());
            std::fflush(stdout);
            std::ifstream stream(file, std::ios::binary);
            std::vector<char> const bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
            if (!stream) {
                std::printf("cannot be read\n");
                return 1;
            }
            LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return 0;
}
