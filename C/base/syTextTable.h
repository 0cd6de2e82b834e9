// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The texts of a satellite as they are looked up: checked once, widened once, then never changed and never freed.
#pragma once

#include "hbtools/base/syTypes.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KxN::detail {

/// What tells one file from all others, whatever its name.
struct FileIdentity {
    unsigned long long device = 0, number = 0;
    bool operator==(FileIdentity const&) const = default;
};

class TextTable {
public:
    struct Entry {
        unsigned short id;
        unsigned int offset, length;          // in the bytes
        unsigned int wideOffset, wideLength;  // in the wide characters
    };

    /// Why bytes are no table.
    enum class Fault { none, damaged, tooLarge, unknownFormat };
    /// Reads the bytes of a section (Doc/formats/satellites.md), which may be hostile. `entry` is where a fault was found.
    static Fault Read(std::string bytes, std::unique_ptr<TextTable const>& table, std::size_t& entry);

    /// Null if there is no such text.
    Entry const* Find(unsigned short id) const;
    std::string_view Text(Entry const& entry) const {
        return std::string_view(m_bytes).substr(entry.offset, entry.length);
    }
    std::wstring_view WideText(Entry const& entry) const {
        return std::wstring_view(m_wide).substr(entry.wideOffset, entry.wideLength);
    }
    std::string const& GetBytes() const { return m_bytes; }
    std::vector<Entry> const& GetEntries() const { return m_entries; }

private:
    TextTable() = default;

    std::string m_bytes;
    std::wstring m_wide;
    std::vector<Entry> m_entries;  // ordered by id
};

}  // namespace KxN::detail
