// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of faults share. Faults are written as instructions, so that neither the optimiser nor a sanitizer
// sees anything to complain about.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/diagnostics/syHandlers.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <sys/resource.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HB_SANITIZED 1
#else
#define HB_SANITIZED 0
#endif

namespace test {

/// The class of the exception that the call throws, without its name space; "none" if it throws none.
template <class Call>
std::string ClassThrown(Call call) {
    try {
        call();
    } catch (KxN::KxException* exception) {
        std::string const name = KxN::KxxToUtf8(exception->GetExtendedInfo().View());
        exception->Delete();
        return name.substr(sizeof "class KxN::" - 1);
    }
    return "none";
}

/// Death tests leave no core, and end if they hang.
inline void PrepareDeath() {
    rlimit const none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::alarm(20);
}

/// Null, but nobody knows.
inline int* Null() {
    int* volatile null = nullptr;
    return null;
}
inline void ReadNull() {
    asm volatile("mov (%0), %%eax" ::"r"(Null()) : "rax");
}

}  // namespace test
