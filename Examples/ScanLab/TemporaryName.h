// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What is written under another name first fails under that name, which nobody has heard of.
#pragma once

#include "Caught.h"

#include <hbtools/base/syString.h>

namespace ScanLab {

/// Returns work(). What it throws tells `known` wherever it told `temporary`. @throws what the work throws; KxException in
/// place of an exception that named the temporary file
template <class Work>
auto UnderName(KxN::KxString const& known, KxN::KxString const& temporary, Work work) {
    try {
        return work();
    } catch (KxN::CException* exception) {
        if (exception->EndsThread()) throw;
        CaughtException owner(exception);
        KxN::KxString text = KxN::CException::TextOf(*exception);
        if (text.SearchAndReplace(temporary, known, 0) == 0) {
            static_cast<void>(owner.release());
            throw;
        }
        throw new KxN::KxException(L"ScanLab", __LINE__, text);
    }
}

}  // namespace ScanLab
