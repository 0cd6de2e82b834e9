// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxValToString: numbers as binary and hexadecimal text of a fixed width, which the type sets; long has 32 bits. An object
// keeps a buffer and belongs to one thread at a time.
#pragma once

#include "hbtools/base/syString.h"

namespace KxN {

/// How a hexadecimal text is marked: 0A, 0x0A, 0Ah.
enum ENotation { NOTATION_PLAIN = 0, NOTATION_PREFIX = 1, NOTATION_SUFFIX = 2 };

class KX_API KxValToString {
public:
    /// All bits of the type, the most significant first.
    KxString Bin(unsigned char value) { return Text(value, 8, 1, NOTATION_PLAIN); }
    KxString Bin(unsigned short value) { return Text(value, 16, 1, NOTATION_PLAIN); }
    KxString Bin(unsigned int value) { return Text(value, 32, 1, NOTATION_PLAIN); }
    /// @throws CInvalidArgException for a value of more than 32 bits
    KxString Bin(unsigned long value) { return Text(value, 32, 1, NOTATION_PLAIN); }

    /// Two digits for each byte, in upper case.
    KxString Hex(unsigned char value, ENotation notation) { return Text(value, 8, 4, notation); }
    KxString Hex(unsigned short value, ENotation notation) { return Text(value, 16, 4, notation); }
    KxString Hex(unsigned int value, ENotation notation) { return Text(value, 32, 4, notation); }
    /// @throws CInvalidArgException for a value of more than 32 bits
    KxString Hex(unsigned long value, ENotation notation) { return Text(value, 32, 4, notation); }

private:
    KxString Text(unsigned long value, int bits, int bitsOfDigit, ENotation notation);

    KxString m_buffer;
    int m_position = 0;  // of the last digit written
};

}  // namespace KxN
