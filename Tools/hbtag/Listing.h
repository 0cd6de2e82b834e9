// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tool's verbs print, as text for people and as JSON for scripts.
#pragma once

#include "../common/Output.h"

#include <hbtools/persistence/syTagInspector.h>

#include <optional>

namespace hbtag {

using tool::Output;

struct Options {
    bool json = false;
    bool payloads = false;            // dump
    bool faultsOnly = false;          // verify
    bool page = false;                // tree --html
    std::optional<unsigned long> id;  // only records of this id
    long long values = 8;             // shown of each payload; negative for all
};

/// Prints a file that was inspected.
void Print(Output& output, Options const& options, KxN::KxString const& name, KxN::KxTagInspector& inspector,
           KxN::TagFileState state);

}  // namespace hbtag
