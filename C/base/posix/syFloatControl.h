// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The two floating-point units and how their words map to the bits of KxFloatFlags. Both keep their flags in the same
// order; only the masks stand elsewhere.
#pragma once

#include "hbtools/base/syFault.h"

namespace KxN::detail {

inline constexpr unsigned int mxcsrMaskShift = 7;
inline constexpr unsigned int unitFlags = 0x3F;        // invalid, denormal, zero divide, overflow, underflow, inexact
inline constexpr unsigned short x87StackFault = 0x40;  // beside the flag of an invalid operation

/// From the order of the units to that of the control word, and back.
constexpr unsigned int FloatFlagsFromUnit(unsigned int flags) {
    return (flags & 0x20 ? FLOAT_INEXACT : 0U) | (flags & 0x10 ? FLOAT_UNDERFLOW : 0U) |
           (flags & 0x08 ? FLOAT_OVERFLOW : 0U) | (flags & 0x04 ? FLOAT_ZERO_DIVIDE : 0U) |
           (flags & 0x02 ? FLOAT_DENORMAL : 0U) | (flags & 0x01 ? FLOAT_INVALID : 0U);
}
constexpr unsigned int FloatFlagsToUnit(unsigned int flags) {
    return (flags & FLOAT_INEXACT ? 0x20U : 0U) | (flags & FLOAT_UNDERFLOW ? 0x10U : 0U) |
           (flags & FLOAT_OVERFLOW ? 0x08U : 0U) | (flags & FLOAT_ZERO_DIVIDE ? 0x04U : 0U) |
           (flags & FLOAT_DENORMAL ? 0x02U : 0U) | (flags & FLOAT_INVALID ? 0x01U : 0U);
}

inline unsigned int ReadMxcsr() {
    unsigned int value = 0;
    asm volatile("stmxcsr %0" : "=m"(value) : : "memory");
    return value;
}
inline void WriteMxcsr(unsigned int value) {
    asm volatile("ldmxcsr %0" : : "m"(value) : "memory");
}
inline unsigned short ReadX87Control() {
    unsigned short value = 0;
    asm volatile("fnstcw %0" : "=m"(value) : : "memory");
    return value;
}
/// Clears what has happened first: with a trap that waits this instruction would trap itself.
inline void WriteX87Control(unsigned short value) {
    asm volatile("fnclex\n\tfldcw %0" : : "m"(value) : "memory");
}

}  // namespace KxN::detail
