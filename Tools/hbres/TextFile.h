// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A text file of string resources. It is UTF-8. Each line is blank, a comment behind # or ;, or an id (1 to 65535) and a
// text in double quotes, in which \n \r \t \" and \\ stand for what they stand for in C. The comment "# fix" behind a text
// says that it is the same in every language, such as a name that files and macros hold. Every mistake is reported as
// file:line on the standard error stream.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

class TextFile {
public:
    struct Entry {
        std::string text;
        std::size_t line;
        bool isFix;
    };

    explicit TextFile(std::string fileName) : m_fileName(std::move(fileName)) {}

    /// Reads the file; false if there was a mistake.
    bool Read();

    std::string const& GetFileName() const { return m_fileName; }
    std::map<unsigned, Entry> const& GetEntries() const { return m_entries; }

private:
    bool Parse(std::string_view content);
    void ParseLine(std::string_view line);
    bool ReadText(std::string_view& line, std::string& text);
    void Error(std::string const& message);

    std::string m_fileName;
    std::size_t m_line = 0;
    std::size_t m_errors = 0;
    std::map<unsigned, Entry> m_entries;
};

/// The text in double quotes, as it stands in such a file.
std::string Quoted(std::string_view text);
