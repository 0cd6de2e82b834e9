// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/syTextTable.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"

#include "base/syLittleEndian.h"

#include <algorithm>

namespace KxN::detail {

namespace {

constexpr std::string_view magic("hbTexts\0", 8);
constexpr std::size_t headerSize = 24, entrySize = 8;
constexpr unsigned int format = 1;

unsigned int Number(std::string_view bytes, std::size_t offset) {
    return static_cast<unsigned int>(LittleEndian(bytes.substr(offset, 4)));
}

}  // namespace

TextTable::Fault TextTable::Read(std::string bytes, std::unique_ptr<TextTable const>& table, std::size_t& entry) {
    entry = 0;
    if (bytes.size() > KxxLimits().satelliteBytes) return Fault::tooLarge;
    if (bytes.size() < headerSize || !bytes.starts_with(magic)) return Fault::damaged;
    if (Number(bytes, 8) != format) return Fault::unknownFormat;
    std::size_t const count = Number(bytes, 12);
    if (Number(bytes, 16) != bytes.size() || count > (bytes.size() - headerSize) / entrySize) return Fault::damaged;

    std::unique_ptr<TextTable> made(new TextTable);
    made->m_bytes = std::move(bytes);
    std::string_view const all = made->m_bytes;
    made->m_entries.reserve(count);
    std::size_t position = headerSize + count * entrySize;  // the texts follow each other without gaps
    unsigned int last = 0;
    for (; entry < count; ++entry) {
        unsigned int const id = Number(all, headerSize + entry * entrySize);
        unsigned int const offset = Number(all, headerSize + entry * entrySize + 4);
        if (id <= last || id > 65535 || offset != position) return Fault::damaged;
        std::size_t const end = all.find('\0', position);
        if (end == all.npos) return Fault::damaged;
        std::string_view const text = all.substr(position, end - position);
        if (text.size() > KxxLimits().resourceTextBytes) return Fault::tooLarge;
        if (!KxxIsUtf8(text)) return Fault::damaged;
        std::wstring const wide = KxxWidenUtf8(text);
        made->m_entries.push_back({static_cast<unsigned short>(id), offset, static_cast<unsigned int>(text.size()),
                                   static_cast<unsigned int>(made->m_wide.size()),
                                   static_cast<unsigned int>(wide.size())});
        made->m_wide += wide;
        position = end + 1;
        last = id;
    }
    if (position != all.size()) return Fault::damaged;
    made->m_wide.shrink_to_fit();
    table = std::move(made);
    return Fault::none;
}

TextTable::Entry const* TextTable::Find(unsigned short id) const {
    auto const found = std::lower_bound(m_entries.begin(), m_entries.end(), id,
                                        [](Entry const& a, unsigned short b) { return a.id < b; });
    return found != m_entries.end() && found->id == id ? &*found : nullptr;
}

}  // namespace KxN::detail
