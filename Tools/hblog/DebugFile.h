// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A debug file taken apart into its entries. Its prefixes stand in the language of the process that wrote it, so an
// entry is known by its form: a line of underscores, or a line of a date and a time with any words in front of them.
// What stands between has no form; a text without either belongs to the entry before it. Lines end in CR LF, which tells
// a debug file without dates from other texts.
#pragma once

#include "LogFile.h"

#include <string_view>

namespace hblog {

struct DebugEntry {
    unsigned long line;      // in the file, counted from 1
    KxN::KxDateTime moment;  // not set without a date line
    KxN::KxString text;      // lines end with a line feed, but for the last
    KxN::KxString sourceFile;
    unsigned long sourceLine = 0;
};

struct DebugFile {
    State state = State::whole;  // damaged: the last line is cut; foreign: text, but no entry
    std::vector<DebugEntry> entries;
};

DebugFile ParseDebugFile(std::wstring_view text);
/// Takes three numbers in a form such as "00.00.0000" from the beginning of the text. False if it does not begin so.
bool TakeNumbers(std::wstring_view& text, std::wstring_view form, int (&numbers)[3]);
/// The whole text of a file, in whatever encoding it is.
/// @throws CFileException; KxFileException if it is longer than KxLimits allows
std::wstring ReadText(KxN::KxString const& path);

}  // namespace hblog
