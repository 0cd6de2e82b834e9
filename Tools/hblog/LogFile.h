// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An exception log as the tool shows it: every entry that can be read, and what is wrong with the others.
#pragma once

#include <hbtools/base/syDateTime.h>
#include <hbtools/base/syException.h>

#include <string>
#include <vector>

namespace hblog {

enum class State { whole, damaged, foreign };

struct LogEntry {
    unsigned long number;
    KxN::KxDateTime moment;
    KxN::KxString group;
    KxN::ErrorLevel level;
    KxN::KxString message;  // lines end with a line feed
};

struct LogFile {
    State state = State::whole;
    KxN::KxDateTime saved;
    std::vector<LogEntry> entries;
    std::vector<std::string> faults;  // at most `mostFaults`, and a line that says how many more
};

constexpr std::size_t mostFaults = 100;

/// Reads a log file. Steps and memory are bounded by the size of the file, whatever it says of itself.
/// @throws KxFileException if it cannot be read
LogFile ReadLogFile(KxN::KxString const& path);

/// The level of a name such as EXCEPT_FATAL or fatal; EXCEPT_UNKNOWN for any other text.
KxN::ErrorLevel LevelOf(KxN::KxString const& name);
/// "FATAL" and so on.
char const* LevelText(KxN::ErrorLevel level);

}  // namespace hblog
