// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "core/syVersionBlock.h"

#include "base/syLittleEndian.h"
#include "base/sySection.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syFile.h"

#include <algorithm>

namespace KxN::detail {

namespace {

constexpr std::size_t longestBlock = 0xffff;  // what the size of its first node can tell

std::size_t Aligned(std::size_t offset) {
    return (offset + 3) & ~std::size_t{3};
}

std::string_view From(std::string_view bytes, std::size_t offset) {
    return bytes.substr(std::min(offset, bytes.size()));
}

/// The tables of a program or library of Windows. Each step goes to a place that a number in the file names: it is looked at
/// whether all of it is there, and the way down has three steps whatever the tables say.
class PeFile {
public:
    explicit PeFile(KxString const& path) : m_file(path, CFile::modeRead), m_length(m_file.GetLength()) {}

    bool ReadVersion(std::string& block) {
        std::string header, sections;
        if (!Read(0, dosHeader, header) || !header.starts_with("MZ")) return false;
        ULONGLONG const begin = NumberAt(header, 60, 4);
        if (!Read(begin, 24 + 2, header) || !header.starts_with(std::string_view("PE\0\0", 4))) return false;
        std::size_t const sectionCount = NumberAt(header, 6, 2), optionalSize = NumberAt(header, 20, 2);
        // Where the table of directories begins depends on the width of addresses.
        bool const isWide = NumberAt(header, 24, 2) == 0x20b;
        if (!isWide && NumberAt(header, 24, 2) != 0x10b) return false;
        std::size_t const directories = isWide ? 112 : 96, resources = directories + 2 * directorySize;
        if (optionalSize < resources + directorySize || !Read(begin + 24, optionalSize, header)) return false;
        if (NumberAt(header, directories - 4, 4) < 3) return false;
        if (!Read(begin + 24 + optionalSize, sectionCount * sectionSize, m_sections)) return false;
        ULONGLONG root = 0;
        if (!Place(NumberAt(header, resources, 4), root)) return false;

        constexpr std::uint32_t isFolder = 0x80000000, versionType = 16;
        std::uint32_t entry = isFolder;
        for (std::uint32_t const wanted : {versionType, any, any}) {
            if (!(entry & isFolder) || !FindEntry(root + (entry & ~isFolder), wanted, entry)) return false;
        }
        std::string data;
        ULONGLONG place = 0;
        if ((entry & isFolder) || !Read(root + entry, 16, data) || !Place(NumberAt(data, 0, 4), place)) return false;
        return Read(place, std::min<std::size_t>(NumberAt(data, 4, 4), longestBlock), block);
    }

private:
    static constexpr std::size_t dosHeader = 64, directorySize = 8, sectionSize = 40, entrySize = 8;
    static constexpr std::uint32_t any = 0xffffffff;

    bool Read(ULONGLONG offset, std::size_t size, std::string& bytes) {
        if (offset > m_length || size > m_length - offset) return false;
        bytes.resize(size);
        m_file.Seek(static_cast<LONGLONG>(offset), CFile::begin);
        return m_file.Read(bytes.data(), static_cast<UINT>(size)) == size;
    }

    /// Where in the file what will stand at that address in memory is.
    bool Place(std::uint32_t address, ULONGLONG& offset) const {
        for (std::string_view rest = m_sections; !rest.empty(); rest.remove_prefix(sectionSize)) {
            std::uint32_t const start = NumberAt(rest, 12, 4), size = NumberAt(rest, 16, 4);
            if (address < start || address - start >= size) continue;
            offset = ULONGLONG{NumberAt(rest, 20, 4)} + (address - start);
            return true;
        }
        return false;
    }

    /// An entry of a table of resources, by its number, or the first one.
    bool FindEntry(ULONGLONG offset, std::uint32_t wanted, std::uint32_t& entry) {
        std::string table;
        if (!Read(offset, 16, table)) return false;
        std::size_t const count = std::size_t{NumberAt(table, 12, 2)} + NumberAt(table, 14, 2);
        if (!Read(offset + 16, count * entrySize, table)) return false;
        for (std::string_view rest = table; !rest.empty(); rest.remove_prefix(entrySize)) {
            if (wanted != any && NumberAt(rest, 0, 4) != wanted) continue;
            entry = NumberAt(rest, 4, 4);
            return true;
        }
        return false;
    }

    CFile m_file;
    ULONGLONG m_length;
    std::string m_sections;
};

}  // namespace

std::uint32_t NumberAt(std::string_view bytes, std::size_t at, std::size_t size) {
    if (at > bytes.size() || size > bytes.size() - at) return 0;
    return static_cast<std::uint32_t>(LittleEndian(bytes.substr(at, size)));
}

bool ReadVersionBlock(KxString const& path, std::string& block) {
    if (ReadModuleSection(path, ".hbtools.version", longestBlock, block)) return true;
    try {
        return PeFile(path).ReadVersion(block);
    } catch (CException* exception) {  // of the file system
        if (exception->EndsThread()) throw;
        exception->Delete();
        return false;
    }
}

VersionNode::VersionNode(std::string_view bytes) {
    constexpr std::size_t headerSize = 6;
    m_size = NumberAt(bytes, 0, 2);
    if (m_size < headerSize || m_size > bytes.size()) {
        m_size = 0;
        return;
    }
    bytes = bytes.substr(0, m_size);
    std::size_t at = headerSize;
    std::u16string name;
    for (;; at += 2) {
        if (at + 2 > bytes.size()) return;  // no end of the name: no node, but its size may lead on
        if (NumberAt(bytes, at, 2) == 0) break;
        name += static_cast<char16_t>(NumberAt(bytes, at, 2));
    }
    std::string_view const rest = From(bytes, Aligned(at + 2));
    // The size of a text counts characters; some compilers count bytes.
    bool const isText = NumberAt(bytes, 4, 2) == 1;
    std::size_t const size = std::min(NumberAt(bytes, 2, 2) * (isText ? std::size_t{2} : std::size_t{1}), rest.size());
    m_name = std::move(name);
    m_value = rest.substr(0, size);
    m_inner = From(bytes, Aligned(at + 2) + Aligned(size));
}

std::wstring VersionNode::Text() const {
    std::u16string text;
    for (std::size_t at = 0; NumberAt(m_value, at, 2) != 0; at += 2)
        text += static_cast<char16_t>(NumberAt(m_value, at, 2));
    return KxxWidenUtf16(text);
}

VersionNode VersionNode::Find(std::u16string_view name) const {
    std::wstring const wanted = KxxWidenUtf16(name);
    for (std::string_view rest = m_inner; !rest.empty();) {
        VersionNode node(rest);
        if (node.m_size == 0) break;
        if (node && (name.empty() || KxString(KxxWidenUtf16(node.m_name)).Upper() == KxString(wanted).Upper()))
            return node;
        rest = From(rest, Aligned(node.m_size));
    }
    return {};
}

}  // namespace KxN::detail
