// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxCRC64, a running checksum of 64 bits: the polynomial 0x42F0E1EBA9EA3693, most significant bit first, register and result
// inverted (known as CRC-64/WE). Numbers go in as files hold them: little-endian, long as 32 bits, wide characters as 16.
//
//     KxCRC64 checksum;
//     checksum << L"Plate 7" << 42;
//     checksum.Compute(points, count);     // adds, and returns the sum so far
//
// The same value on every machine, by the processor's carry-less multiplication where it has one. A plain value.
#pragma once

#include "hbtools/base/syTypes.h"

#include <cstring>

namespace KxN {

class KX_API KxCRC64 {
public:
    KxCRC64() = default;

    /// Adds `count` bytes, nothing below 1, and returns GetCRC().
    long long Compute(unsigned char const* bytes, long count) {
        CRC(bytes, count);
        return GetCRC();
    }
    /// The sum of all that was added; 0 of nothing. Adding may go on.
    long long GetCRC() const { return static_cast<long long>(~m_register); }

    /// UTF-16 units up to the end mark.
    KxCRC64& operator<<(wchar_t const* text);
    KxCRC64& operator<<(unsigned char const* text) {  ///< Bytes up to the end mark.
        CRC(text, static_cast<long>(std::strlen(reinterpret_cast<char const*>(text))));
        return *this;
    }
    KxCRC64& operator<<(unsigned char value) { return Add(value); }
    KxCRC64& operator<<(int value) { return Add(value); }
    KxCRC64& operator<<(unsigned int value) { return Add(value); }
    /// @throws CInvalidArgException for a value of more than 32 bits; nothing is added then
    KxCRC64& operator<<(long value);
    KxCRC64& operator<<(unsigned long value);
    KxCRC64& operator<<(long long value) { return Add(value); }
    KxCRC64& operator<<(double value) { return Add(value); }

protected:
    void CRC(unsigned char const* bytes, long count);

private:
    template <class T>
    KxCRC64& Add(T value) {
        unsigned char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        CRC(bytes, sizeof value);
        return *this;
    }

    ULONGLONG m_register = ~ULONGLONG{0};
};

}  // namespace KxN
