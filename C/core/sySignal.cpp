// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/core/sySignal.h"

#include "hbtools/base/syObject.h"

#include <cxxabi.h>

namespace KxN::detail {

// A forced unwinding carries no object, which the check for null takes for a fault.
__attribute__((no_sanitize("null"))) void SlotFailure::Keep() {
    try {
        throw;
    } catch (abi::__forced_unwind&) {
        Release();
        throw;  // the thread is being ended; nothing else may run in it
    } catch (CException* exception) {
        if (exception->EndsThread()) {
            Release();
            throw;
        }
        if (m_first && exception != First()) exception->Delete();
    } catch (...) {  // values release themselves
    }
    if (!m_first) m_first = std::current_exception();
}

/// The first exception if it is one of the framework's.
CException* SlotFailure::First() const {
    if (!m_first) return nullptr;
    try {
        std::rethrow_exception(m_first);
    } catch (CException* exception) {
        return exception;
    } catch (...) {
        return nullptr;
    }
}

/// Forgets the first exception, which will not leave.
void SlotFailure::Release() {
    if (CException* const first = First()) first->Delete();
    m_first = nullptr;
}

}  // namespace KxN::detail
