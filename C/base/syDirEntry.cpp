// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDirEntry.h"

#include <algorithm>

namespace KxTools {

namespace {

constexpr wchar_t separator = L'/';

/// Drops repeated separators and those at the end.
std::wstring Normal(std::wstring_view path) {
    std::wstring result;
    result.reserve(path.size());
    for (wchar_t const c : path)
        if (c != separator || !result.ends_with(separator)) result += c;
    if (result.size() > 1 && result.ends_with(separator)) result.pop_back();
    return result;
}

/// Position of the last component.
std::size_t NamePosition(std::wstring_view path) {
    return path.rfind(separator) + 1;  // 0 without a separator
}

/// Position of the extension's separator within a name; npos if there is none.
std::size_t ExtensionPosition(std::wstring_view name, wchar_t mark) {
    if (name == L"..") return name.npos;
    std::size_t const position = name.rfind(mark);
    return position == 0 ? name.npos : position;
}

}  // namespace

DirEntry::DirEntry(String const& path, FSysPathStyle style) {
    if (style == FSYS_STYLE_DOS) {
        std::wstring text(path.View());
        std::replace(text.begin(), text.end(), L'\\', separator);
        m_path = Normal(text);
    } else {
        m_path = Normal(path.View());
    }
}

unsigned char DirEntry::IsValid() const {
    return !m_path.empty() && m_path.find(L'\0') == std::wstring::npos;
}

unsigned char DirEntry::IsAbs() const {
    return m_path.starts_with(separator);
}

String DirEntry::GetFull(FSysPathStyle style, unsigned char addSeparator, int maxLen) const {
    std::wstring text = m_path;
    if (addSeparator && !text.empty() && !text.ends_with(separator)) text += separator;
    if (style == FSYS_STYLE_DOS) std::replace(text.begin(), text.end(), separator, L'\\');
    std::size_t const most = static_cast<std::size_t>(std::max(maxLen, 0));
    if (text.size() > most) {
        std::wstring const mark(std::min<std::size_t>(most, 3), L'.');
        text = mark + text.substr(text.size() - (most - mark.size()));
    }
    return text;
}

String DirEntry::GetName(FSysPathStyle) const {
    return m_path.substr(NamePosition(m_path));
}

String DirEntry::GetBase(wchar_t mark) const {
    std::wstring_view const name = std::wstring_view(m_path).substr(NamePosition(m_path));
    return name.substr(0, ExtensionPosition(name, mark));
}

String DirEntry::GetExtension(wchar_t mark) const {
    std::wstring_view const name = std::wstring_view(m_path).substr(NamePosition(m_path));
    std::size_t const position = ExtensionPosition(name, mark);
    return position == name.npos ? String() : String(name.substr(position + 1));
}

DirEntry DirEntry::GetPath() const {
    std::size_t const name = NamePosition(m_path);
    // A root stays a root: its separator is no end that could be dropped.
    return name == 0 ? DirEntry() : DirEntry(String(m_path.substr(0, name)));
}

String DirEntry::CutName(FSysPathStyle style) {
    String name = GetName(style);
    m_path = GetPath().m_path;
    return name;
}

void DirEntry::SetExtension(String const& extension, wchar_t mark) {
    std::size_t const first = NamePosition(m_path);
    std::wstring_view const name = std::wstring_view(m_path).substr(first);
    if (name.empty() || name == L"." || name == L"..") return;
    std::wstring_view added = extension.View();
    if (added.starts_with(mark)) added.remove_prefix(1);
    std::wstring path = m_path.substr(0, first).append(name.substr(0, ExtensionPosition(name, mark)));
    if (!added.empty()) path.append(1, mark).append(added);
    m_path = std::move(path);
}

DirEntry& DirEntry::operator+=(DirEntry const& other) {
    if (other.IsAbs() || m_path.empty())
        m_path = std::wstring(other.m_path);
    else if (!other.m_path.empty())
        m_path = Normal(m_path + separator + other.m_path);
    return *this;
}

DirEntry DirEntry::operator+(DirEntry const& other) const {
    DirEntry result = *this;
    result += other;
    return result;
}

}  // namespace KxTools
