// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// From a signal and the registers at the fault to the fault's code. Runs in a signal handler: reads the registers, the
// faulting instruction and what it read itself, takes no lock and allocates nothing.
#pragma once

#include "hbtools/base/syFault.h"

#include <csignal>
#include <ucontext.h>

namespace KxN::detail {

struct Fault {
    EXCEPTION_RECORD record;
    std::uintptr_t unwindFrom;  // an address within the instruction that is to blame
    bool isCall;                // into nowhere: the caller is to blame, its return address is on top of the stack
};

/// False for signals that no instruction of the thread caused, and for those that no code stands for.
bool DecodeFault(int signal, siginfo_t const& info, ucontext_t const& context, Fault& fault);

}  // namespace KxN::detail
