// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include "hbtools/base/syTypes.h"

#include <string>
#include <string_view>

namespace KxN::detail {

/// The number that up to 8 bytes of a file hold, the lowest first.
constexpr ULONGLONG LittleEndian(std::string_view bytes) {
    ULONGLONG number = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
}

inline void AppendLittleEndian(std::string& bytes, ULONGLONG number, int count) {
    for (; count > 0; --count, number >>= 8) bytes += static_cast<char>(number & 0xff);
}

}  // namespace KxN::detail
