// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxColor: a colour as one 32-bit word, red in the lowest byte, green in the next, blue in the next, the top byte
// zero. A plain value; black unless something else is said.
#pragma once

#include <cstdint>

namespace KxN {

class KxColor {
public:
    constexpr KxColor() = default;
    constexpr KxColor(std::uint8_t red, std::uint8_t green, std::uint8_t blue)
        : m_value(static_cast<std::uint32_t>(red | green << 8 | blue << 16)) {}

    constexpr std::uint8_t GetRed() const { return static_cast<std::uint8_t>(m_value); }
    constexpr std::uint8_t GetGreen() const { return static_cast<std::uint8_t>(m_value >> 8); }
    constexpr std::uint8_t GetBlue() const { return static_cast<std::uint8_t>(m_value >> 16); }
    constexpr std::uint32_t GetValue() const { return m_value; }  ///< The whole word.

    friend constexpr bool operator==(KxColor const&, KxColor const&) = default;

private:
    std::uint32_t m_value = 0;
};
static_assert(sizeof(KxColor) == 4);

}  // namespace KxN
