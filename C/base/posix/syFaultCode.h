// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// From a signal and the registers at the fault to the fault's code. Runs in a signal handler: reads the registers, the
// faulting instruction and what it read itself, takes no lock and allocates nothing.
#pragma once

#include "hbtools/base/syFault.h"

#include <csignal>
#include <ucontext.h>

// What runs in the signal handler looks at memory that the sanitizers hold for nobody's.
#define HB_PLAIN __attribute__((no_sanitize("address", "thread", "undefined")))

namespace KxN::detail {

/// Copies with one instruction: no call, and nothing that a sanitizer watches.
HB_PLAIN inline void CopyBytes(void* to, void const* from, std::size_t count) {
    asm volatile("rep movsb" : "+D"(to), "+S"(from), "+c"(count) : : "memory");
}

struct Fault {
    EXCEPTION_RECORD record;
    std::uintptr_t unwindFrom;  // an address within the instruction that is to blame
    bool isCall;                // into nowhere: the caller is to blame, its return address is on top of the stack
};

/// False for signals that no instruction of the thread caused, and for those that no code stands for.
bool DecodeFault(int signal, siginfo_t const& info, ucontext_t const& context, Fault& fault);

/// Whether a call instruction of a known function stands in front of the address. After a jump or a return to nowhere
/// the word on top of the stack may be anything.
bool IsReturnAddress(std::uintptr_t address);

}  // namespace KxN::detail
