// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/diagnostics/syHandlers.h"

#include "diagnostics/syTextIds.h"
#include "hbtools/base/syClassName.h"
#include "hbtools/base/syDelayLoad.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/syWinApp.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include <atomic>
#include <cstdlib>

namespace KxN {

namespace {

template <class EXCEPTION>
[[noreturn]] void Throw() {
    throw new EXCEPTION();
}

/// The status is cleared first, so that whoever makes and handles the exception may calculate.
template <class EXCEPTION>
[[noreturn]] void ThrowFloat() {
    KxxClearFloatStatus();
    throw new EXCEPTION();
}

KxDelayLoadRecord const* DelayLoadRecord(EXCEPTION_POINTERS const* pointers) {
    if (!pointers || !pointers->record || pointers->record->parameterCount == 0) return nullptr;
    return reinterpret_cast<KxDelayLoadRecord const*>(pointers->record->parameters[0]);
}

/// Returns for codes that stand for no exception, and for a module that nobody named.
void Translate(unsigned int code, EXCEPTION_POINTERS* pointers) {
    switch (code) {
        case FAULT_ACCESS_VIOLATION: Throw<KxAccessViolationException>();
        case FAULT_DATA_MISALIGNMENT: Throw<KxDataMisalignmentException>();
        case FAULT_BREAK_POINT: Throw<KxBreakPointException>();
        case FAULT_SINGLE_STEP: Throw<KxSingleStepException>();
        case FAULT_NONCONTINUABLE: Throw<KxNoncontinuableException>();
        case FAULT_ARRAY_BOUNDS: Throw<KxArrayBoundsException>();
        case FAULT_FLOAT_DENORMAL_OPERAND: ThrowFloat<KxFloatDenormalOperandException>();
        case FAULT_FLOAT_DIVIDE_BY_ZERO: ThrowFloat<KxFloatDivideByZeroException>();
        case FAULT_FLOAT_INEXACT_RESULT: ThrowFloat<KxFloatInexactResException>();
        case FAULT_FLOAT_INVALID_OPERATION: ThrowFloat<KxFloatInvalidOpException>();
        case FAULT_FLOAT_OVERFLOW: ThrowFloat<KxFloatOverflowException>();
        case FAULT_FLOAT_STACK_CHECK: ThrowFloat<KxFloatStackCheckException>();
        case FAULT_FLOAT_UNDERFLOW: ThrowFloat<KxFloatUnderflowException>();
        case FAULT_INT_DIVIDE_BY_ZERO: Throw<KxIntDivideByZeroException>();
        case FAULT_INT_OVERFLOW: Throw<KxIntOverflowException>();
        case FAULT_PRIVILEGED_INSTRUCTION: Throw<KxPrivateInstructionException>();
        case FAULT_DELAY_LOAD_MODULE:
            if (auto const* record = DelayLoadRecord(pointers))
                throw new KxDllLoadException(record->moduleName, record->lastError, record->reason);
            return;
        case FAULT_DELAY_LOAD_FUNCTION:
            if (auto const* record = DelayLoadRecord(pointers))
                throw new KxDllProcAddrException(record->moduleName, KxxDelayLoadFunctionName(*record),
                                                 record->lastError);
            return;
        default: return;
    }
}

int OutOfMemory(unsigned long long size) {
    throw new KxMemoryException(static_cast<unsigned long>(size));
}

/// What is on its way while the process ends, or empty.
KxString TextInFlight() {
    std::exception_ptr const inFlight = std::current_exception();
    if (!inFlight) return KxString(KxResId(text::Terminated));
    KxString what;
    try {
        std::rethrow_exception(inFlight);
    } catch (CException* exception) {  // it stays whoever threw it; there is nobody left to need it
        what = CException::TextOf(*exception) + L" (" + KxxClassName(typeid(*exception)) + L")";
    } catch (std::exception const& exception) {
        what = KxString(exception.what());
    } catch (...) {
        what = KxString(L"?");
    }
    KxString message;
    message.SPrintf(KxString(KxResId(text::TerminatedBy)), what);
    return message;
}

/// Brings the reason into log and debug file while that is still possible. Once: a failure in here ends at once.
void ReportEnd() noexcept {
    static std::atomic_flag isReported;
    if (!pExceptionMgr || isReported.test_and_set()) return;
    try {
        KxException end(TextInFlight());
        end.SetErrorLevel(EXCEPT_FATAL);
        end.SetExceptionGroup(KxString(KxResId(text::TerminatedGroup)));
        pExceptionMgr->ReportEnd(end);
    } catch (...) {  // nobody is left to hear of it
    }
}

void Terminate() {
    ReportEnd();
    if (KxWinApp* const application = GetpApp()) {
        application->GetPrimaryLanguage();  // a leftover; nobody needs the result
        application->Abort();
    }
    std::abort();
}

void Unexpected() {
    std::terminate();
}

}  // namespace

KxSEHandler::KxSEHandler(unsigned int controlWord) {
    SetFloatingPointControlWord(controlWord);
    m_former = KxxSetFaultTranslator(Translate);
}

KxSEHandler::KxSEHandler(KxFaultTranslator translator, unsigned int controlWord)
    : m_former(KxxSetFaultTranslator(translator)) {
    SetFloatingPointControlWord(controlWord);
}

KxSEHandler::~KxSEHandler() {
    KxxSetFaultTranslator(m_former);
}

void KxSEHandler::SetFloatingPointControlWord(unsigned int controlWord) {
    KxxClearFloatStatus();
    KxxControlFloat(controlWord, FLOAT_ALL);
}

KxNewHandler::KxNewHandler() : KxNewHandler(OutOfMemory) {}
KxNewHandler::KxNewHandler(KxOutOfMemoryHandler handler) : m_former(KxxSetOutOfMemoryHandler(handler)) {}
KxNewHandler::~KxNewHandler() {
    KxxSetOutOfMemoryHandler(m_former);
}

KxTerminateHandler::KxTerminateHandler() : KxTerminateHandler(Terminate) {}
KxTerminateHandler::KxTerminateHandler(std::terminate_handler handler) : m_former(std::set_terminate(handler)) {}
KxTerminateHandler::~KxTerminateHandler() {
    std::set_terminate(m_former);
}

KxUnexpectedHandler::KxUnexpectedHandler() : KxUnexpectedHandler(Unexpected) {}
KxUnexpectedHandler::KxUnexpectedHandler(KxUnexpectedFunction handler) : m_former(KxxSetUnexpectedHandler(handler)) {}
KxUnexpectedHandler::~KxUnexpectedHandler() {
    KxxSetUnexpectedHandler(m_former);
}

}  // namespace KxN
