// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A configuration file in the class that stores each value at once.
#include "hbtools/base/syConfig.h"

#include "ConfigFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzConfig<KxN::KxConfig>(data, size, [](auto&) {});
    return 0;
}
