// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What stands beneath the guards of hbtools/diagnostics/syHandlers.h, which programs use: the translator that a thread
// has for processor faults, the floating-point control word, and the handlers for exhausted memory.
//
// A fault in a thread with a translator runs that translator on the thread's own stack, as if the faulting instruction
// had called it; what it throws is caught where the fault happened. A translator that returns lets the fault take its
// course: it goes to the handler that the program had for the signal before, and ends the process if it had none.
// The same happens in a thread without a translator, for a fault in a translator, for a stack that is used up, on a
// stack that is not the thread's own, for a jump to nowhere, and within malloc and its kin. Code that faults must be
// compiled with -fnon-call-exceptions, which the CMake target hbtools::hbtools brings along. See Doc/faults.md.
//
// Translators and control words belong to the calling thread, the handlers for memory to the process.
#pragma once

#include "hbtools/base/syTypes.h"

#include <initializer_list>

namespace KxN {

/// The codes of faults. Logs hold them: do not renumber.
enum KxFaultCode : unsigned int {
    FAULT_DATA_MISALIGNMENT = 0x80000002,
    FAULT_BREAK_POINT = 0x80000003,
    FAULT_SINGLE_STEP = 0x80000004,
    FAULT_ACCESS_VIOLATION = 0xC0000005,  ///< Parameters: a KxFaultAccess, then the address, all ones if unknown.
    FAULT_ILLEGAL_INSTRUCTION = 0xC000001D,
    FAULT_NONCONTINUABLE = 0xC0000025,
    FAULT_ARRAY_BOUNDS = 0xC000008C,
    FAULT_FLOAT_DENORMAL_OPERAND = 0xC000008D,
    FAULT_FLOAT_DIVIDE_BY_ZERO = 0xC000008E,
    FAULT_FLOAT_INEXACT_RESULT = 0xC000008F,
    FAULT_FLOAT_INVALID_OPERATION = 0xC0000090,
    FAULT_FLOAT_OVERFLOW = 0xC0000091,
    FAULT_FLOAT_STACK_CHECK = 0xC0000092,
    FAULT_FLOAT_UNDERFLOW = 0xC0000093,
    FAULT_INT_DIVIDE_BY_ZERO = 0xC0000094,
    FAULT_INT_OVERFLOW = 0xC0000095,
    FAULT_PRIVILEGED_INSTRUCTION = 0xC0000096,
    FAULT_DELAY_LOAD_MODULE = 0xC06D007E,   ///< Parameter: the address of a KxDelayLoadRecord.
    FAULT_DELAY_LOAD_FUNCTION = 0xC06D007F  ///< The same.
};

/// What an access violation wanted to do.
enum KxFaultAccess : unsigned int { FAULT_READ = 0, FAULT_WRITE = 1, FAULT_EXECUTE = 8 };

/// One fault.
struct EXCEPTION_RECORD {
    unsigned int code;  ///< A KxFaultCode.
    void* address;      ///< The instruction; null for what no instruction raised.
    unsigned int parameterCount;
    std::uintptr_t parameters[4];
};

/// The processor when the fault happened.
struct CONTEXT {
    std::uintptr_t instructionPointer;
    std::uintptr_t stackPointer;
    unsigned int floatControl;  ///< The thread's control word, in KxFloatFlags.
    unsigned int floatStatus;   ///< What has happened since the status was cleared, in KxFloatFlags.
    void* native;               ///< The system's own record, here an mcontext_t.
};

/// What a translator is told. It lives until the translator returns or throws.
struct EXCEPTION_POINTERS {
    EXCEPTION_RECORD* record;
    CONTEXT* context;  ///< Null for what no instruction raised.
};

/// Why a module or a function that is loaded when it is needed could not be had.
struct KxDelayLoadRecord {
    wchar_t const* moduleName;
    unsigned long lastError;   ///< A system error number.
    bool isByName;             ///< Which of the two that follow is meant.
    char const* functionName;  ///< UTF-8; null if only the module was asked for.
    unsigned short ordinal;
    wchar_t const* reason = nullptr;  ///< The loader's own words; null if it said nothing.
};

/// Throws an exception, or returns to let the fault take its course. It runs with all floating-point traps masked;
/// when it is left, the control word of the thread is back, unless the translator has unmasked a trap, and the
/// floating-point status is clear.
using KxFaultTranslator = void (*)(unsigned int code, EXCEPTION_POINTERS* pointers);

/// Sets the translator of the calling thread, null for none, and returns the former one. The first one in the process
/// takes over SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGTRAP, for good. Never throws.
KX_API KxFaultTranslator KxxSetFaultTranslator(KxFaultTranslator translator) noexcept;

/// Raises a fault that no instruction raises: calls the translator of the thread, if there is one, with up to four
/// parameters. Returns if the translator does, and at once within a translator. @throws what the translator throws
KX_API void KxxRaiseFault(unsigned int code, std::initializer_list<std::uintptr_t> parameters = {});

/// Kinds of floating-point events. In a control word a set bit masks the trap, in a status it says that the event has
/// happened.
enum KxFloatFlags : unsigned int {
    FLOAT_INEXACT = 0x1,
    FLOAT_UNDERFLOW = 0x2,
    FLOAT_OVERFLOW = 0x4,
    FLOAT_ZERO_DIVIDE = 0x8,
    FLOAT_INVALID = 0x10,
    FLOAT_DENORMAL = 0x80000,
    FLOAT_ALL = 0x8001F
};

/// Sets those bits of the control word that are in `mask` and returns the whole word as it is then; with the mask 0 it
/// only tells. Both floating-point units of the thread get it, and the x87 unit forgets what has happened in it so far;
/// precision, rounding and flushing stay as they are.
KX_API unsigned int KxxControlFloat(unsigned int word, unsigned int mask) noexcept;
/// Forgets what has happened so far, traps that wait included; returns it.
KX_API unsigned int KxxClearFloatStatus() noexcept;

/// Called with the bytes of a request that failed. It throws, or returns 0 to give up or anything else to have the
/// request tried again.
using KxOutOfMemoryHandler = int (*)(unsigned long long size);

/// Sets the handler that operator new calls when there is no memory, null for the language's own (std::set_new_handler
/// and std::bad_alloc), and returns the former one. Any thread. An application with an operator new of its own gets
/// the call through std::get_new_handler, with size 0 since nobody knows it.
KX_API KxOutOfMemoryHandler KxxSetOutOfMemoryHandler(KxOutOfMemoryHandler handler) noexcept;

/// The language has no unexpected exceptions any more and never calls such a handler: it is there for boundaries that
/// keep that rule themselves and call KxxUnexpected. Sets the handler of the process, null for std::terminate, and
/// returns the former one. Any thread.
using KxUnexpectedFunction = void (*)();
KX_API KxUnexpectedFunction KxxSetUnexpectedHandler(KxUnexpectedFunction handler) noexcept;
/// Calls the handler; calls std::terminate if it returns. @throws what the handler throws
[[noreturn]] KX_API void KxxUnexpected();

}  // namespace KxN
