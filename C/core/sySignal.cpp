// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/core/sySignal.h"

#include "hbtools/base/syObject.h"

#include <cxxabi.h>

namespace KxN::detail {

void SlotFailure::Keep() {
    if (!m_first) m_first = std::current_exception();
    try {
        throw;
    } catch (abi::__forced_unwind&) {
        throw;  // the thread is being ended; nothing else may run in it
    } catch (CException* exception) {
        bool isFirst = false;
        try {
            std::rethrow_exception(m_first);
        } catch (CException* first) {
            isFirst = first == exception;
        } catch (...) {  // the first was of another kind
        }
        if (!isFirst) exception->Delete();
    } catch (...) {  // values release themselves
    }
}

}  // namespace KxN::detail
