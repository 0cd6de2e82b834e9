// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the library's other rooms may know of a CWinThread.
#pragma once

#include "hbtools/base/syThread.h"

#include <memory>

namespace KxN::detail {

struct WindowState;

struct ThreadAccess {
    /// Null if it has none, or if that is destroyed.
    static std::shared_ptr<WindowState> MainWindow(CWinThread const& thread);
    /// Null before the start.
    static std::shared_ptr<SystemThread> const& System(CWinThread const& thread);
};

}  // namespace KxN::detail
