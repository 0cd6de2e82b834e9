// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tool's verbs print, as text for people and as JSON for scripts.
#pragma once

#include "../common/Output.h"
#include "Profile.h"

#include <optional>

namespace hblog {

struct Options {
    bool json = false;
    bool colour = false;
    KxN::ErrorLevel level = KxN::EXCEPT_UNKNOWN;  // and graver ones
    std::optional<KxN::KxString> group;           // without regard to case
    KxN::KxDateTime since, until;                 // both included; not valid: no bound
    std::optional<std::size_t> last;              // of what passes
};

void Print(tool::Output& output, Options const& options, KxN::KxString const& name, LogFile const& log);
void Print(tool::Output& output, Options const& options, KxN::KxString const& name, DebugFile const& file);
void Print(tool::Output& output, Options const& options, KxN::KxString const& name, Profile const& profile);

/// "2024-12-31", "2024-12-31 23:59:58" or the same with T; "31.12.2024" with or without a time. A date alone is its
/// beginning, or its end with `isUntil`. Not valid for anything else.
KxN::KxDateTime MomentOf(std::string const& text, bool isUntil);

}  // namespace hblog
