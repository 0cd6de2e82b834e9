// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/syConfigDocument.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"

#include <algorithm>

namespace KxN::detail {

namespace {

constexpr std::wstring_view blanks = L" \t\r";

std::wstring_view Trimmed(std::wstring_view text) {
    std::size_t const first = std::min(text.find_first_not_of(blanks), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

bool IsUtf16(KxTextEncoding encoding) {
    return encoding == KxTextEncoding::Utf16LE || encoding == KxTextEncoding::Utf16BE;
}

}  // namespace

wchar_t const* ExceededLimit(std::string_view bytes) {
    if (bytes.size() > KxxLimits().textFileBytes) return L"textFileBytes";
    // Each line takes many times the byte that it may consist of.
    auto const lineFeeds = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    return lineFeeds > KxxLimits().configLines ? L"configLines" : nullptr;
}

void ConfigDocument::Parse(std::string read) {
    m_sections.clear();
    m_sectionsByName.clear();
    m_madeBytes.clear();
    m_madeTexts.clear();
    m_tail.clear();
    m_lineEnd.clear();
    m_lineCount = 0;
    m_bytes = std::move(read);
    std::string_view bytes = m_bytes;
    m_encoding = KxxDetectEncoding(bytes);
    bytes.remove_prefix(KxxMarkLength(m_encoding));
    if (IsUtf16(m_encoding) && bytes.size() % 2 != 0) {
        m_tail = bytes.back();
        bytes.remove_suffix(1);
    }
    // No encoding has a line feed within another character, so lines of bytes and lines of text go in step.
    m_text = KxxDecodeText(bytes, m_encoding);
    std::wstring_view text = m_text;
    Section* section = &AddSection({});
    while (!bytes.empty()) {
        std::size_t const length = LineLength(bytes);
        std::size_t const end = std::min(text.find(L'\n'), text.size() - 1) + 1;
        Line const line = MakeLine(bytes.substr(0, length), text.substr(0, end));
        if (m_lineEnd.empty() && text[end - 1] == L'\n')
            m_lineEnd = text.substr(0, end).ends_with(L"\r\n") ? L"\r\n" : L"\n";
        bytes.remove_prefix(length);
        text.remove_prefix(end);
        if (line.kind == Group) section = &AddSection(line.name);
        Append(*section, line);
    }
    if (m_lineEnd.empty()) m_lineEnd = L"\n";
}

std::string ConfigDocument::GetBytes() {
    std::string bytes = Joined();
    // Without the lines that told its encoding, a file could be taken for one in another.
    if (m_encoding == KxTextEncoding::Windows1252 && KxxDetectEncoding(bytes) != m_encoding) {
        ConvertToUtf8();
        bytes = Joined();
    }
    return bytes;
}

std::string ConfigDocument::Joined() const {
    std::string bytes(KxxMarkOf(m_encoding));
    for (auto const& section : m_sections)
        for (Line const& line : section->lines) bytes += line.bytes;
    return bytes + m_tail;
}

/// Bytes of the first line, its line feed included.
std::size_t ConfigDocument::LineLength(std::string_view bytes) const {
    if (!IsUtf16(m_encoding)) {
        std::size_t const end = bytes.find('\n');
        return end == bytes.npos ? bytes.size() : end + 1;
    }
    std::size_t const low = m_encoding == KxTextEncoding::Utf16LE ? 0 : 1;
    for (std::size_t i = 0; i < bytes.size(); i += 2)
        if (bytes[i + low] == '\n' && bytes[i + 1 - low] == '\0') return i + 2;
    return bytes.size();
}

std::wstring ConfigDocument::TextOf(Line const& line) const {
    return KxxDecodeText(line.bytes, m_encoding);
}

/// A line that is kept here.
ConfigDocument::Line ConfigDocument::MakeLine(std::string bytes) {
    std::string const& keptBytes = m_madeBytes.emplace_back(std::move(bytes));
    return MakeLine(keptBytes, m_madeTexts.emplace_back(KxxDecodeText(keptBytes, m_encoding)));
}

ConfigDocument::Line ConfigDocument::MakeLine(std::string_view bytes, std::wstring_view text) {
    Line line;
    line.bytes = bytes;
    if (text.ends_with(L'\n')) text.remove_suffix(1);
    text = Trimmed(text);
    std::size_t const equals = text.find(L'=');
    std::size_t const bracket = text.find(L']');
    if (text.empty()) {
        line.kind = Blank;
    } else if (text[0] == L'[') {
        if (bracket != text.npos) {
            line.kind = Group;
            line.name = text.substr(1, bracket - 1);
        }
    } else if (text[0] != L';' && equals != text.npos) {
        line.kind = Key;
        line.name = text.substr(0, equals);
        line.name = line.name.substr(0, line.name.find_last_not_of(L' ') + 1);
        line.value = text.substr(std::min(text.find_first_not_of(L' ', equals + 1), text.size()));
    }
    return line;
}

ConfigDocument::Section& ConfigDocument::AddSection(std::wstring_view name) {
    if (!m_sections.empty()) m_sectionsByName.try_emplace(name, m_sections.size());
    m_sections.push_back(std::make_unique<Section>());
    m_sections.back()->name = name;
    return *m_sections.back();
}

/// Most groups of a file are never asked for a name, so only those that are get a table.
ConfigDocument::Table const& ConfigDocument::Section::Index() const {
    if (isIndexed) return keysByName;
    keysByName.clear();
    keysByName.reserve(keys.size());
    for (std::size_t const place : keys) keysByName.try_emplace(lines[place].name, place);
    isIndexed = true;
    return keysByName;
}

/// Adds a line at the end of the section, which nobody has asked for a name yet.
void ConfigDocument::Append(Section& section, Line line) {
    if (line.kind == Key) section.keys.push_back(section.lines.size());
    section.lines.push_back(line);
    ++m_lineCount;
}

/// Place of the section of a group; none if there is none.
std::size_t ConfigDocument::FindPlace(std::wstring_view group) const {
    if (group.empty() && !m_sections[0]->keys.empty()) return 0;
    auto const found = m_sectionsByName.find(group);
    return found != m_sectionsByName.end() ? found->second : group.empty() ? 0 : none;
}

ConfigDocument::Section const* ConfigDocument::FindSection(std::wstring_view group) const {
    std::size_t const place = FindPlace(group);
    return place == none ? nullptr : m_sections[place].get();
}

std::size_t ConfigDocument::GetKeyCount(std::wstring_view group) const {
    Section const* const section = FindSection(group);
    return section ? section->keys.size() : 0;
}

std::optional<std::wstring_view> ConfigDocument::FindValue(std::wstring_view group, std::wstring_view key) const {
    Section const* const section = FindSection(group);
    if (!section) return {};
    auto const found = section->Index().find(key);
    if (found == section->keysByName.end()) return {};
    return section->lines[found->second].value;
}

ConfigDocument::Line const* ConfigDocument::FindKeyLine(std::wstring_view group, std::size_t index) const {
    Section const* const section = FindSection(group);
    return section && index < section->keys.size() ? &section->lines[section->keys[index]] : nullptr;
}

std::optional<std::wstring_view> ConfigDocument::FindValue(std::wstring_view group, std::size_t index) const {
    Line const* const line = FindKeyLine(group, index);
    return line ? std::optional(line->value) : std::nullopt;
}

std::optional<std::wstring_view> ConfigDocument::FindName(std::wstring_view group, std::size_t index) const {
    Line const* const line = FindKeyLine(group, index);
    return line ? std::optional(line->name) : std::nullopt;
}

/// True if the text, as a line of the file, is that line again when it is read.
bool ConfigDocument::ReadsBack(std::wstring_view text, Kind kind, std::wstring_view name) const {
    constexpr std::wstring_view lineEnds(L"\n\r\0", 3);
    Line const line = MakeLine(std::string_view(), text);
    if (line.kind != kind || line.name != name || text.find_first_of(lineEnds) != text.npos) return false;
    if (text.starts_with(L'\xFEFF')) return false;  // in front of a file that is a mark
    std::string bytes;
    if (KxxEncodeText(text, m_encoding, bytes)) return KxxDecodeText(bytes, m_encoding) == text;
    return KxxDecodeText(KxxToUtf8(text), KxTextEncoding::Utf8) == text;
}

bool ConfigDocument::CanHold(std::wstring_view group, std::wstring_view key, std::wstring_view value) const {
    return ReadsBack(std::wstring(key).append(L"=").append(value), Key, key) &&
           ReadsBack(L"[" + std::wstring(group) + L"]", Group, group);
}

std::size_t ConfigDocument::CountNewLines(std::wstring_view group, std::wstring_view key) const {
    return FindValue(group, key) ? 0 : FindPlace(group) == none ? 2 : 1;
}

/// Appends the text in the encoding of the file; a character that it lacks makes the whole file UTF-8.
void ConfigDocument::Encode(std::wstring_view text, std::string& bytes) {
    if (KxxEncodeText(text, m_encoding, bytes)) return;
    std::wstring const before = KxxDecodeText(bytes, m_encoding);
    ConvertToUtf8();
    bytes.clear();
    KxxEncodeText(before, m_encoding, bytes);
    KxxEncodeText(text, m_encoding, bytes);
}

void ConfigDocument::ConvertToUtf8() {
    for (auto const& section : m_sections)
        for (Line& line : section->lines) line.bytes = m_madeBytes.emplace_back(KxxToUtf8(TextOf(line)));
    m_encoding = KxTextEncoding::Utf8;
}

/// Gives the last line of a file the line end that it lacks.
void ConfigDocument::EndLine(Line& line) {
    if (TextOf(line).ends_with(L'\n')) return;
    std::string& bytes = m_madeBytes.emplace_back(line.bytes);
    KxxEncodeText(m_lineEnd, m_encoding, bytes);
    line.bytes = bytes;
}

bool ConfigDocument::Write(std::wstring_view group, std::wstring_view key, std::wstring_view value) {
    std::size_t const place = FindPlace(group);
    if (place != none) {
        auto const found = m_sections[place]->Index().find(key);
        if (found != m_sections[place]->keysByName.end())
            return ChangeValue(m_sections[place]->lines[found->second], value);
    }

    std::string bytes;
    if (place == none) {
        if (!m_sections.back()->lines.empty()) EndLine(m_sections.back()->lines.back());
        Encode(L"[" + std::wstring(group) + L"]" + m_lineEnd, bytes);
        Line const line = MakeLine(std::move(bytes));
        Append(AddSection(line.name), line);
        bytes.clear();
    }
    Section& section = *m_sections[place == none ? m_sections.size() - 1 : place];
    std::size_t at = section.lines.size();
    while (at > 0 && section.lines[at - 1].kind == Blank) --at;
    if (at > 0) EndLine(section.lines[at - 1]);
    Encode(std::wstring(key) + L"=" + std::wstring(value) + m_lineEnd, bytes);
    // What stands behind are blank lines, so no place in the tables moves.
    Line const line = MakeLine(std::move(bytes));
    if (section.isIndexed) section.keysByName.try_emplace(line.name, at);
    section.keys.push_back(at);
    section.lines.insert(section.lines.begin() + static_cast<std::ptrdiff_t>(at), line);
    ++m_lineCount;
    return true;
}

/// Puts another value in a line and leaves all that stands in front of it. False if it has that value.
bool ConfigDocument::ChangeValue(Line& line, std::wstring_view value) {
    std::wstring const text = TextOf(line);
    std::wstring_view const end = text.ends_with(L"\r\n") ? L"\r\n" : text.ends_with(L'\n') ? L"\n" : L"";
    std::size_t const begin = text.find_first_not_of(L' ', text.find(L'=') + 1);
    std::wstring changed = text.substr(0, std::min(begin, text.size() - end.size()));
    changed.append(value);
    std::wstring_view const stored = MakeLine(std::string_view(), changed).value;
    if (line.value == stored) return false;
    std::wstring_view const kept = m_madeTexts.emplace_back(stored);
    std::string bytes;
    Encode(changed.append(end), bytes);
    line.bytes = m_madeBytes.emplace_back(std::move(bytes));
    line.value = kept;
    return true;
}

}  // namespace KxN::detail
