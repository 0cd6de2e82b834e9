// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxGuid: the value of a 128-bit identifier, in its four fields. A plain value of 16 bytes without padding; a
// default-constructed one is the nil identifier.
#pragma once

#include <cstdint>

namespace KxN {

struct KxGuid {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;
    std::uint8_t Data4[8] = {};

    friend bool operator==(KxGuid const&, KxGuid const&) = default;
};
static_assert(sizeof(KxGuid) == 16);

}  // namespace KxN
