// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Four guards that put handlers in force. A program makes them at its start; while one lives, its handler is in force,
// and its destructor puts back the handler that it replaced, so guards nest.
//
//     int main() {
//         KxN::KxSEHandler const faults;         // this thread; every other one that wants it makes its own
//         KxN::KxNewHandler const memory;        // the process, as the two that follow
//         KxN::KxTerminateHandler const end;
//         try { Measure(); } catch (KxN::KxException* exception) { Report(exception); exception->Delete(); }
//     }
//
// A guard is a value: assigning or copying it copies the handler that it will put back. A copy puts that back at its own
// end, whatever the other still guards. Making one never throws.
// What a fault must be like to become an exception is in Doc/faults.md.
#pragma once

#include "hbtools/base/syFault.h"

#include <exception>

namespace KxN {

/// Makes exceptions of the tree of processor faults and floating-point traps of the calling thread. It must be
/// destroyed on the thread that made it.
class KX_API KxSEHandler {
public:
    /// Unmasks every floating-point trap but that of an inexact result.
    KxSEHandler() : KxSEHandler(FLOAT_INEXACT) {}
    /// Clears the floating-point status, sets the control word (KxFloatFlags: a set bit masks the trap), then puts the
    /// library's translator in force.
    explicit KxSEHandler(unsigned int controlWord);
    /// Puts `translator` in force first, then clears the status and sets the control word.
    KxSEHandler(KxFaultTranslator translator, unsigned int controlWord);
    KxSEHandler(KxSEHandler const&) = default;
    KxSEHandler& operator=(KxSEHandler const&) = default;
    /// Puts back the former translator. The control word stays as it is.
    ~KxSEHandler();

    /// Clears the floating-point status of the calling thread and sets its control word.
    void SetFloatingPointControlWord(unsigned int controlWord);

private:
    KxFaultTranslator m_former;
};

/// Makes a KxMemoryException of every request of operator new that fails, but for those with std::nothrow, which give
/// null. Process-wide, any thread.
class KX_API KxNewHandler {
public:
    KxNewHandler();
    explicit KxNewHandler(KxOutOfMemoryHandler handler);
    KxNewHandler(KxNewHandler const&) = default;
    KxNewHandler& operator=(KxNewHandler const&) = default;
    ~KxNewHandler();

private:
    KxOutOfMemoryHandler m_former;
};

/// Brings the reason into the debug file and the log of pExceptionMgr, if there is one (KxExceptionManager::ReportEnd),
/// once in a process, and hands a process that cannot go on to KxWinApp::Abort; without an application object it aborts
/// as usual.
/// Process-wide, any thread.
class KX_API KxTerminateHandler {
public:
    KxTerminateHandler();
    explicit KxTerminateHandler(std::terminate_handler handler);
    KxTerminateHandler(KxTerminateHandler const&) = default;
    KxTerminateHandler& operator=(KxTerminateHandler const&) = default;
    ~KxTerminateHandler();

private:
    std::terminate_handler m_former;
};

/// What KxxUnexpected calls; the library's handler calls std::terminate. The language itself never calls it.
/// Process-wide, any thread.
class KX_API KxUnexpectedHandler {
public:
    KxUnexpectedHandler();
    explicit KxUnexpectedHandler(KxUnexpectedFunction handler);
    KxUnexpectedHandler(KxUnexpectedHandler const&) = default;
    KxUnexpectedHandler& operator=(KxUnexpectedHandler const&) = default;
    ~KxUnexpectedHandler();

private:
    KxUnexpectedFunction m_former;
};

}  // namespace KxN
