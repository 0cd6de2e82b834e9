// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxGuid: a 128-bit identifier. New ones differ from all others in the world; the default is the nil identifier, all zero.
// As text it has 36 characters, "11223344-5566-7788-99aa-bbccddeeff00", in files 16 bytes, the numbers lowest byte first. A
// plain value of 16 bytes without padding.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/core/syArray.h"

#include <cstdint>

namespace KxN {

struct GUID {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;
    std::uint8_t Data4[8] = {};

    friend bool operator==(GUID const&, GUID const&) = default;
};
static_assert(sizeof(GUID) == 16);

class KX_API KxGuid {
public:
    constexpr KxGuid() = default;
    constexpr KxGuid(GUID const& guid) : m_guid(guid) {}
    constexpr KxGuid(std::uint32_t data1, std::uint16_t data2, std::uint16_t data3, std::uint8_t b0, std::uint8_t b1,
                     std::uint8_t b2, std::uint8_t b3, std::uint8_t b4, std::uint8_t b5, std::uint8_t b6,
                     std::uint8_t b7)
        : m_guid{data1, data2, data3, {b0, b1, b2, b3, b4, b5, b6, b7}} {}
    /// From the text form, in either case of letters. @throws KxException for any other text
    explicit KxGuid(KxString const& text);
    /// From the 16 bytes of a file. @throws KxException for any other count
    explicit KxGuid(KxTArray<unsigned char> const& bytes);

    /// A new identifier. Any thread.
    static KxGuid NewGuid();

    KxString ToString() const;  ///< With small letters.
    KxTArray<unsigned char> ToByteArray() const;
    constexpr GUID const& Guid() const { return m_guid; }

    friend bool operator==(KxGuid const&, KxGuid const&) = default;

private:
    GUID m_guid;
};
static_assert(sizeof(KxGuid) == 16);

}  // namespace KxN
