// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The lines of a configuration file, held as the bytes they are. What is not changed is written as it was read.
#pragma once

#include "base/syNameHash.h"
#include "hbtools/base/syTextEncoding.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KxN::detail {

/// The name of the member of KxLimits that a file of these bytes exceeds, so that KxConfig would refuse it; null if none.
wchar_t const* ExceededLimit(std::string_view bytes);

class ConfigDocument {
public:
    ConfigDocument() { Parse({}); }
    ConfigDocument(ConfigDocument const&) = delete;
    ConfigDocument& operator=(ConfigDocument const&) = delete;

    void Parse(std::string bytes);
    /// The bytes that were parsed.
    std::string_view GetParsedBytes() const { return m_bytes; }
    /// The bytes of the file; read again, they give the same texts.
    std::string GetBytes();
    std::size_t GetLineCount() const { return m_lineCount; }

    std::size_t GetGroupCount() const { return m_sections.size() - 1; }
    std::wstring_view GetGroupName(std::size_t index) const { return m_sections[index + 1]->name; }
    std::size_t GetKeyCount(std::wstring_view group) const;
    // These views hold until the next Parse or Write.
    std::optional<std::wstring_view> FindValue(std::wstring_view group, std::wstring_view key) const;
    std::optional<std::wstring_view> FindValue(std::wstring_view group, std::size_t index) const;
    std::optional<std::wstring_view> FindName(std::wstring_view group, std::size_t index) const;

    /// True if lines of this file can hold the three so that they are found again.
    bool CanHold(std::wstring_view group, std::wstring_view key, std::wstring_view value) const;
    /// Lines that writing that key would add: 0 to 2.
    std::size_t CountNewLines(std::wstring_view group, std::wstring_view key) const;
    /// Sets a value, adding key and group where they are missing. False if nothing changes by it. Where it throws, which
    /// it does only without memory, the document may be half changed: parse it anew.
    bool Write(std::wstring_view group, std::wstring_view key, std::wstring_view value);

private:
    enum Kind { Other, Blank, Group, Key };

    using Table = std::unordered_map<std::wstring_view, std::size_t, NameHash, NameEqual>;

    /// Views into the file as it was read, or into m_madeBytes and m_madeTexts for what changed since.
    struct Line {
        std::string_view bytes;  // with the line end, which only the last line of a file may lack
        Kind kind = Other;
        std::wstring_view name;
        std::wstring_view value;
    };

    struct Section {
        std::wstring_view name;
        std::vector<Line> lines;        // the group's own line first, except in the section in front of all groups
        std::vector<std::size_t> keys;  // places of the key lines
        mutable Table keysByName;       // to the first place; made when it is first asked
        mutable bool isIndexed = false;

        Table const& Index() const;
    };

    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::string Joined() const;
    std::size_t FindPlace(std::wstring_view group) const;
    Section const* FindSection(std::wstring_view group) const;
    Line const* FindKeyLine(std::wstring_view group, std::size_t index) const;
    static Line MakeLine(std::string_view bytes, std::wstring_view text);
    Line MakeLine(std::string bytes);
    bool ReadsBack(std::wstring_view text, Kind kind, std::wstring_view name) const;
    void Append(Section& section, Line line);
    Section& AddSection(std::wstring_view name);
    std::size_t LineLength(std::string_view bytes) const;
    std::wstring TextOf(Line const& line) const;
    void Encode(std::wstring_view text, std::string& bytes);
    void ConvertToUtf8();
    void EndLine(Line& line);
    bool ChangeValue(Line& line, std::wstring_view value);

    KxTextEncoding m_encoding = KxTextEncoding::Utf8;
    std::wstring m_lineEnd;
    std::string m_bytes;
    std::wstring m_text;
    std::deque<std::string> m_madeBytes;
    std::deque<std::wstring> m_madeTexts;
    std::vector<std::unique_ptr<Section>> m_sections;  // the first stands in front of all groups
    Table m_sectionsByName;
    std::size_t m_lineCount = 0;
    std::string m_tail;  // half a unit at the end of UTF-16
};

}  // namespace KxN::detail
