// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#pragma once

#include "hbtools/base/syException.h"

#include <memory>

namespace KxN::detail {

struct ExceptionReleaser {
    void operator()(CException* exception) const { exception->Delete(); }
};

/// The text of a caught exception, which is released whatever happens.
inline KxString TakeText(CException* caught) {
    std::unique_ptr<CException, ExceptionReleaser> const owner(caught);
    return CException::TextOf(*caught);
}

}  // namespace KxN::detail
