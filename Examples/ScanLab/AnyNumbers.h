// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// As long as one lives, numbers of its thread come and go as they stand: no floating-point operation traps, whatever bits a
// file or a caller has. For reading, writing and comparing, not for computing: there a trap tells that a result is none.
#pragma once

#include <hbtools/base/syFault.h>

namespace ScanLab {

class AnyNumbers {
public:
    AnyNumbers() { KxN::KxxControlFloat(KxN::FLOAT_ALL, KxN::FLOAT_ALL); }
    AnyNumbers(AnyNumbers const&) = delete;
    AnyNumbers& operator=(AnyNumbers const&) = delete;
    ~AnyNumbers() {
        KxN::KxxClearFloatStatus();  // what happened meanwhile is nobody's fault
        KxN::KxxControlFloat(m_former, KxN::FLOAT_ALL);
    }

private:
    unsigned int m_former = KxN::KxxControlFloat(0, 0);
};

}  // namespace ScanLab
