// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as the header of a binary data file: read by itself, where a refusal leaves all but byte order and length as it was
// and what was read comes back, and through an archive into blocks of other lengths than the file says.
#include "hbtools/base/syException.h"
#include "hbtools/persistence/syBinFileHeader.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

#include <algorithm>
#include <cstring>

using namespace KxN;

namespace {

constexpr std::size_t length = 512;

std::string ImageOf(KxBinHeader& header) {
    return std::string(reinterpret_cast<char const*>(static_cast<unsigned char*>(header)), length);
}

void ReadAlone(FuzzFolder const& folder, std::string const& bytes) {
    folder.Write("header", bytes);
    KxBinHeader header(length);
    header.SetVersion(7);
    bool isRead = false;
    Survive([&] {
        header.Read(folder.File("header"));
        isRead = true;
    });
    bool const isWhole =
        bytes.size() >= length && bytes.starts_with("II") && bytes.substr(4, 2) == std::string("\0\2", 2);
    if (isRead != isWhole) Broken();
    if (!isRead) {
        if (header.GetVersion() != 7 || ImageOf(header) != std::string(length, '\0')) Broken();
        return;
    }
    if (ImageOf(header) != bytes.substr(0, length)) Broken();
    header.Write(folder.File("copy"));
    std::string const copy = folder.Read("copy");
    // All but the company behind a zero, a time of day that is none, and the record form stays.
    auto const isSame = [&](std::size_t from, std::size_t to) {
        return copy.compare(from, to - from, bytes, from, to - from) == 0;
    };
    if (copy.size() != length || !isSame(0, 6) || !isSame(8, 18) || !isSame(26, 30) || !isSame(32, length)) Broken();
    header.Read(folder.File("copy"));
    header.Write(folder.File("copy"));
    if (folder.Read("copy") != copy) Broken();
}

void ReadThroughArchive(FuzzInput& file, unsigned short len) {
    KxBinHeader header(len);
    ULONGLONG begin = 0;
    file.Seek(0, CFile::begin);
    Survive([&] {
        KxTagArchive archive(&file, 1);
        for (int i = 0; i < 2; ++i) {
            begin += header.GetLen();
            archive >> header;  // the second one is as long as the first one says
            if (file.GetPosition() != std::min(begin, file.GetLength())) Broken();
        }
        int number = 0;
        archive.SetOptionalTagsMode();
        archive >> KxTTag<int>(1, number);
    });
    CMemFile copy;
    Survive([&] {
        KxTagArchive archive(&copy, 0);
        archive << header;
        if (copy.GetLength() != header.GetLen()) Broken();
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static FuzzFolder const folder;
    ReadAlone(folder, std::string(reinterpret_cast<char const*>(data), size));
    FuzzInput file(data, size);
    for (int const len : {0, 5, 129, 512, 600}) ReadThroughArchive(file, static_cast<unsigned short>(len));
    return 0;
}
