// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What could stand at the place of a command line where somebody asks for it.
#pragma once

#include "../Operators/Session.h"

#include <hbtools/operators/syOperatorMgr.h>

#include <string_view>
#include <vector>

namespace ScanLab {

struct Completion {
    std::size_t begin = 0;                  // of the word that each candidate would replace, up to the place
    std::vector<KxN::KxString> candidates;  // whole words, between quotes where they need them
    KxN::KxString hint;                     // what the parameter is; empty if there is none
};

/// For the end of `line`: names of operators and commands first, then what the parameter takes: entries, TRUE and FALSE,
/// scans of the session, names of files. Cases are taken as equal, but for files.
Completion Complete(KxN::KxOperatorMgr const& manager, Session const& session, std::wstring_view line);

/// The longest text that all candidates begin with, cases taken as equal; that of the first.
KxN::KxString CommonBegin(std::vector<KxN::KxString> const& candidates);

}  // namespace ScanLab
