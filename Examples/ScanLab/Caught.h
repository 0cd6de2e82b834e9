// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An exception that was caught belongs to who caught it. Its text takes memory: if there is none, it must be destroyed too.
#pragma once

#include <hbtools/base/syException.h>

#include <memory>

namespace ScanLab {

struct ExceptionDeleter {
    void operator()(KxN::CException* exception) const { exception->Delete(); }
};
using CaughtException = std::unique_ptr<KxN::CException, ExceptionDeleter>;

/// The text of a caught exception, which is destroyed, also if bad_alloc is thrown.
inline KxN::KxString TakeText(KxN::CException* caught) {
    CaughtException const owner(caught);
    return KxN::CException::TextOf(*caught);
}

}  // namespace ScanLab
