// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A configuration file in both fast classes, and once more while encryption is on: then it is read, or refused with the
// documented exception, and what is written reads the same again.
#include "hbtools/base/syEncryption.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/config/syConfigFastMT.h"

#include "ConfigFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzConfig<KxN::KxConfigFast>(data, size, [](auto& config) { config.Flush(); });
    FuzzConfig<KxN::KxConfigFastMT>(data, size, [](auto& config) { config.Flush(); });
    static bool const hasPassword = (KxTools::SetEncryptionPassword("fuzz"), true);
    struct Encrypting {
        Encrypting() { KxTools::EncryptionOn(); }
        Encrypting(Encrypting const&) = delete;
        Encrypting& operator=(Encrypting const&) = delete;
        ~Encrypting() { KxTools::EncryptionOff(); }
    } const encrypting;
    if (hasPassword) Survive([&] { FuzzConfig<KxN::KxConfigFast>(data, size, [](auto& config) { config.Flush(); }); });
    return 0;
}
