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
    bool objects = true;              // with the payloads; a page has them outside its JSON
    std::optional<unsigned long> id;  // only records of this id
    int records = -1;                 // listed in JSON; negative for all
    long long values = 8;             // shown of each payload; negative for all
};

/// Deeper levels are numbered: lines stay readable, and output linear.
constexpr int deepestIndent = 40;

struct Stream;

/// Prints a file that was inspected.
void Print(Output& output, Options const& options, KxN::KxString const& name, KxN::KxTagInspector& inspector,
           KxN::TagFileState state);
/// Prints a file that holds images of objects and no records.
void PrintStream(Output& output, Options const& options, KxN::KxString const& name, KxN::KxTagInspector& inspector,
                 Stream const& stream);

}  // namespace hbtag
