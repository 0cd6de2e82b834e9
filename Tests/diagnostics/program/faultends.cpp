// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A process that faults outside main, with and without what the library has made: it ends by the signal, at once.
#include "hbtools/diagnostics/syHandlers.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

bool IsTold(char const* when, char** environment = environ) {
    for (; *environment; ++environment)
        if (std::strncmp(*environment, "HBTOOLS_FAULT=", 14) == 0) return std::strcmp(*environment + 14, when) == 0;
    return false;
}

void Fault() {
    asm volatile("xor %%eax, %%eax; mov (%%rax), %%eax" ::: "rax");
}

/// Runs before the constructors of all libraries; what it registers runs behind their destructors.
void First(int, char**, char** environment) {
    ::alarm(20);
    if (IsTold("before the library", environment)) Fault();
    if (IsTold("behind the library", environment)) std::atexit(Fault);
}
__attribute__((section(".preinit_array"), used)) void (*const g_first)(int, char**, char**) = First;

struct Static {
    Static() {
        if (IsTold("before main")) Fault();
    }
    ~Static() {
        if (IsTold("behind main")) Fault();
    }
} const g_static;

}  // namespace

int main() {
    KxN::KxSEHandler const guard;  // is over when main is
    return 0;
}
