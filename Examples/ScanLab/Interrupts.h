// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Requests to end from outside, Ctrl-C (SIGINT) and SIGTERM: the first one is kept for the work to look at, the second one
// does what it would do in any program. They are ours only while an Interrupts lives; otherwise they end the program.
#pragma once

namespace ScanLab {

/// Takes requests for as long as it lives. They nest; the outermost begins without a request. A signal that the program was
/// started with as ignored stays ignored. The main thread only.
class Interrupts {
public:
    Interrupts();
    Interrupts(Interrupts const&) = delete;
    Interrupts& operator=(Interrupts const&) = delete;
    ~Interrupts();

    /// True once a request has come, until the outermost one goes. Any thread; costs no more than reading a variable.
    static bool IsPending();
    /// The same as the first Ctrl-C. Any thread.
    static void Request();
};

}  // namespace ScanLab
