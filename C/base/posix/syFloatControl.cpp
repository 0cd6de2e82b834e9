// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/posix/syFloatControl.h"

namespace KxN {

using namespace detail;

unsigned int KxxControlFloat(unsigned int word, unsigned int mask) noexcept {
    unsigned int const mxcsr = ReadMxcsr();
    unsigned int const former = FloatFlagsFromUnit(mxcsr >> mxcsrMaskShift & unitFlags);
    unsigned int const wanted = ((former & ~mask) | (word & mask)) & FLOAT_ALL;
    if ((mask & FLOAT_ALL) == 0) return former;
    unsigned int const unit = FloatFlagsToUnit(wanted);
    WriteMxcsr((mxcsr & ~(unitFlags << mxcsrMaskShift)) | unit << mxcsrMaskShift);
    WriteX87Control(static_cast<unsigned short>((ReadX87Control() & ~unitFlags) | unit));
    return wanted;
}

unsigned int KxxClearFloatStatus() noexcept {
    unsigned short x87Status = 0;
    asm volatile("fnstsw %0\n\tfnclex" : "=m"(x87Status) : : "memory");
    unsigned int const mxcsr = ReadMxcsr();
    WriteMxcsr(mxcsr & ~unitFlags);
    return FloatFlagsFromUnit((mxcsr | x87Status) & unitFlags);
}

}  // namespace KxN
