// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of faults share. Faults are written as instructions, so that neither the optimiser nor a sanitizer
// sees anything to complain about; a few are plain code, which the sanitizers leave alone.
#pragma once

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/diagnostics/syHandlers.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>

#define HB_UNSEEN __attribute__((noinline, no_sanitize("address", "undefined", "thread")))

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

/// A process that ended by the signal. The run-time libraries of the sanitizers take the signal and exit instead.
struct DiedOf {
    int signal;
    bool operator()(int status) const {
        if (HB_SANITIZED && WIFEXITED(status)) return WEXITSTATUS(status) != 0;
        return WIFSIGNALED(status) && WTERMSIG(status) == signal;
    }
};

/// Death tests leave no core, and end if they hang.
inline void PrepareDeath() {
    rlimit const none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::alarm(20);
}

inline HB_UNSEEN int ReadInt(int const volatile* from) {
    return *from;
}
inline HB_UNSEEN void WriteInt(int volatile* to) {
    *to = 1;
}
/// Null, but nobody knows.
inline int* Null() {
    int* volatile null = nullptr;
    return null;
}

}  // namespace test
