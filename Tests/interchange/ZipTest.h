// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Archives made by hand, and a folder to pack and unpack in.
#pragma once

#include "hbtools/interchange/syZipHelper.h"

#include "../base/Support.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace test {

using namespace KxN;

/// One file of an archive, stored as it is.
struct Entry {
    std::string name, data;
    unsigned flags = 0, method = 0, crcChange = 0;
    int sizeChange = 0;
    std::string extra = {};  // in the directory
};

inline std::string Little(std::uint64_t value, int bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value & 0xff);
    return text;
}

inline std::uint32_t Crc(std::string const& data) {
    std::uint32_t crc = ~0U;
    for (char const c : data) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0);
    }
    return ~crc;
}

inline std::string Archive(std::vector<Entry> const& entries, std::string const& comment = "") {
    constexpr unsigned date = 0x5A75, time = 0x6330;  // 2025-03-21 12:25:32
    std::string files, directory;
    for (Entry const& e : entries) {
        std::string const common = Little(e.flags, 2) + Little(e.method, 2) + Little(time, 2) + Little(date, 2) +
                                   Little(Crc(e.data) + e.crcChange, 4) + Little(e.data.size(), 4) +
                                   Little(e.data.size() + static_cast<unsigned>(e.sizeChange), 4) +
                                   Little(e.name.size(), 2);
        directory += "PK\1\2" + Little(20, 2) + Little(20, 2) + common + Little(e.extra.size(), 2) + Little(0, 10) +
                     Little(files.size(), 4) + e.name + e.extra;
        files += "PK\3\4" + Little(20, 2) + common + Little(0, 2) + e.name + e.data;
    }
    return files + directory + "PK\5\6" + Little(0, 4) + Little(entries.size(), 2) + Little(entries.size(), 2) +
           Little(directory.size(), 4) + Little(files.size(), 4) + Little(comment.size(), 2) + comment;
}

class Zip : public TempFolder {
protected:
    /// What comes out: name in the archive to content. The exception's text instead, if there is one.
    std::map<std::string, std::string> Unpacked(char const* archive, std::string* failure = nullptr) {
        KxTMap<KxString, KxString> files;
        std::map<std::string, std::string> contents;
        auto const unpack = [&] { KxZipHelper::UncompressFiles(Path(archive), Path("out"), files); };
        if (failure)
            *failure = Thrown<KxException>(unpack);
        else
            unpack();
        for (auto const& file : files) {
            std::string const path = U(file.value);
            EXPECT_TRUE(path.starts_with((m_folder / "out/").string())) << path;
            contents[U(file.key)] = Get(path.substr(m_folder.string().size() + 1));
        }
        return contents;
    }
    std::size_t CountOut() {
        std::size_t count = 0;
        if (std::filesystem::exists(File("out")))
            for (auto const& entry : std::filesystem::recursive_directory_iterator(File("out")))
                count += entry.is_regular_file();
        return count;
    }
    /// An archive in the form for large ones: so many zeros as they are, then a file behind them.
    void PutLarge(char const* archive, unsigned long long size, unsigned crcOfZeros) {
        auto const header = [](unsigned crc, unsigned length, std::string const& name, unsigned extra) {
            return Little(45, 2) + Little(0, 4) + Little(0, 4) + Little(crc, 4) + Little(length, 4) +
                   Little(length, 4) + Little(name.size(), 2) + Little(extra, 2);
        };
        auto const directory = [&](std::string const& common, std::string const& name, unsigned offset,
                                   std::string const& extra) {
            return "PK\1\2" + Little(45, 2) + common + Little(0, 10) + Little(offset, 4) + name + extra;
        };
        std::string const sizes = Little(1, 2) + Little(16, 2) + Little(size, 8) + Little(size, 8);
        Put(archive, "PK\3\4" + header(crcOfZeros, ~0U, "zeros", 20) + "zeros" + sizes);
        unsigned long long const second = std::filesystem::file_size(File(archive)) + size;
        std::filesystem::resize_file(File(archive), second);
        std::string const place = Little(1, 2) + Little(8, 2) + Little(second, 8);
        std::string const entries = directory(header(crcOfZeros, ~0U, "zeros", 20), "zeros", 0, sizes) +
                                    directory(header(Crc("tail"), 4, "tail", 12), "tail", ~0U, place);
        unsigned long long const at = second + 30 + 8;
        std::ofstream(File(archive), std::ios::binary | std::ios::app)
            << "PK\3\4" + header(Crc("tail"), 4, "tail", 0) + "tailtail" + entries + "PK\6\6" + Little(44, 8) +
                   Little(45, 2) + Little(45, 2) + Little(0, 8) + Little(2, 8) + Little(2, 8) +
                   Little(entries.size(), 8) + Little(at, 8) + "PK\6\7" + Little(0, 4) +
                   Little(at + entries.size(), 8) + Little(1, 4) + "PK\5\6" + Little(0, 4) + Little(2, 2) +
                   Little(2, 2) + Little(entries.size(), 4) + Little(~0U, 4) + Little(0, 2);
    }
    int Run(std::string const& command) {
        return std::system(("cd '" + m_folder.string() + "' && (" + command + ") >/dev/null 2>&1").c_str());
    }
};

}  // namespace test
