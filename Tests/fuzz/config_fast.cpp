// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A configuration file in both fast classes.
#include "hbtools/config/syConfigFast.h"
#include "hbtools/config/syConfigFastMT.h"

#include "ConfigFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzConfig<KxN::KxConfigFast>(data, size, [](auto& config) { config.Flush(); });
    FuzzConfig<KxN::KxConfigFastMT>(data, size, [](auto& config) { config.Flush(); });
    return 0;
}
