// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as the file of a module whose version is asked for. What is not read leaves nothing behind.
#include "hbtools/core/syFileVersionInfo.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

using namespace KxN;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static FuzzFolder const folder;
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    folder.Write("module", bytes);
    KxFileVersionInfo info;
    int const isRead = info.Create(folder.File("module"));
    if (!isRead && (info.GetFileVersion(0) || KxString(info.GetProductName()).Len() > 0)) Broken();
    return 0;
}
