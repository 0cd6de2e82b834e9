// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxVersion, a version as one 16-bit number: hundreds are the main version, so 301 reads "3.01". A plain value
// that is passed by value, compares as its number and is stored in tags as 2 bytes.
#pragma once

#include "hbtools/base/syString.h"

#include <compare>

namespace KxN {

class KxVersion {
public:
    /// The version that stands where a caller gives none: 100.
    constexpr KxVersion(unsigned short number = 100) : m_number(number) {}

    constexpr unsigned short GetValue() const { return m_number; }
    constexpr explicit operator unsigned short() const { return m_number; }
    /// "3.01" for 301.
    KxString GetText() const { return KxxFormat(L"%d.%02d", m_number / 100, m_number % 100); }

    friend constexpr bool operator==(KxVersion a, KxVersion b) { return a.m_number == b.m_number; }
    friend constexpr auto operator<=>(KxVersion a, KxVersion b) { return a.m_number <=> b.m_number; }

private:
    unsigned short m_number;
};

/// The version of this library: 301.
inline constexpr KxVersion g_hbToolsVersion{301};

}  // namespace KxN
