// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Standard output of a tool: gathered in blocks, and a failure to write is an error. Whatever comes from a file is
// escaped, so that a hostile name cannot steer a terminal or break a JSON text.
#pragma once

#include <hbtools/base/syException.h>
#include <hbtools/base/syString.h>

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

namespace tool {

/// Exit codes of every tool.
enum ExitCode { exitWhole = 0, exitUsage = 1, exitDamaged = 2, exitForeign = 3 };

class Output {
public:
    enum Target { standardOutput, held };
    /// `program` begins the line on standard error. What is held is not written but taken.
    explicit Output(char const* program, Target target = standardOutput) : m_program(program), m_target(target) {}
    template <class... Arguments>
    void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        fmt::format_to(std::back_inserter(m_text), format, std::forward<Arguments>(arguments)...);
        if (m_text.size() > blockSize && m_target == standardOutput) Write();
    }
    /// Writes what is left. False if anything could not be written; a line on standard error says so.
    bool Finish();
    std::string Take() { return std::exchange(m_text, {}); }

private:
    static constexpr std::size_t blockSize = 1 << 16;
    void Write();

    char const* m_program;
    Target m_target;
    std::string m_text;
    int m_error = 0;  // of the system, the first one
};

/// A line on standard error. Where nobody can read that either, nothing more is to be done.
template <class... Arguments>
void Complain(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    std::fputs(fmt::format(format, std::forward<Arguments>(arguments)...).c_str(), stderr);
}

/// UTF-8 of a text for a terminal: control characters, also those that turn the direction of writing, as \n, \x1b or
/// \u202e; a backslash as \\.
std::string Escaped(KxN::KxString const& text);
/// UTF-8 of a text as a JSON string, with its quotes.
std::string Quoted(KxN::KxString const& text);
/// The text of a caught exception, escaped; the exception is destroyed.
std::string Reason(KxN::CException* caught);
/// A number for JSON; what is no number there (nan, inf) as a string, and a negative zero so that readers keep its sign.
std::string JsonNumber(std::string_view digits);

}  // namespace tool
