// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "config/syConfigLines.h"

#include "base/syTextIds.h"
#include "config/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/sySafeFile.h"

#include <algorithm>

namespace KxN::detail {

KxString TextOrEmpty(ConfigLine const* line, std::wstring_view ConfigLine::*text) {
    return line ? KxString(line->*text) : KxString();
}

unsigned short Counted(std::size_t count) {
    return static_cast<unsigned short>(std::min<std::size_t>(count, 65535));
}

// Groups and keys.

void ConfigLines::SetGroup(KxString const& group) {
    ConfigSection* section = FindSection(group.View());
    if (!section) {
        Own own;
        try {
            own = Make(ConfigLine::Group, {}, group, KxString(), LineEnd());
        } catch (KxException* exception) {  // what cannot be in the file is empty to readers; Write tells why
            exception->Delete();
            m_group = group;
            m_current = nullptr;
            m_cursor = nullptr;
            return;
        }
        if (m_last) EndLine(m_last);
        ConfigLine* const line = m_heap.Alloc();
        line->kind = ConfigLine::Group;
        line->own = std::move(own);
        line->bytes = line->own->bytes;
        line->name = line->own->name;
        section = AddSection(line);
        line->section = section;
        section->lastNotBlank = line;
        Link(line, m_last);
    }
    m_group = group;
    m_current = section;
    m_cursor = section->head;
}

ConfigLine* ConfigLines::Find(std::wstring_view key) {
    return m_cursor = m_current ? Lookup(m_current, key) : nullptr;
}

ConfigLine* ConfigLines::Find(std::size_t index) {
    return m_cursor = index < GetKeyCount() ? m_current->keys[index] : nullptr;
}

void ConfigLines::Write(KxString const& key, KxString const& value) {
    NeedCurrent();
    ConfigLine* const line = Find(key.View());
    if (!line) return InsertKey(m_current, m_current->lastNotBlank, key, value);
    if (line->value == value.View()) return;
    std::string const lineEnd(line->bytes.substr(line->bytes.size() - LineEndLength(line->bytes)));
    bool const hasReturn = KxxDecodeText(line->bytes, m_encoding).ends_with(L"\r\n");
    std::string end;
    if (hasReturn) KxxEncodeText(L"\r", m_encoding, end);
    Own own = Make(ConfigLine::Key, m_group.View(), KxString(line->name), value, end + lineEnd);
    if (line->value == own->value) return;  // but for blanks that no file keeps
    line->own = std::move(own);
    line->bytes = line->own->bytes;
    line->name = line->own->name;
    line->value = line->own->value;
    m_isChanged = true;
}

/// Makes the current group if it is not there. @throws what keeps it from being made
void ConfigLines::NeedCurrent() {
    if (!m_current) SetGroup(m_group);
    if (!m_current) Make(ConfigLine::Group, m_group.View(), m_group, KxString(), {});
}

void ConfigLines::Insert(KxString const& key, KxString const& value) {
    if (m_cursor) return InsertKey(m_cursor->section, m_cursor, key, value);
    NeedCurrent();
    InsertKey(m_current, m_current->lastNotBlank, key, value);
}

/// Makes a key of the section behind a line of it, or at the very front of the file.
void ConfigLines::InsertKey(ConfigSection* section, ConfigLine* behind, KxString const& key, KxString const& value) {
    std::wstring_view const group = section->head ? section->head->name : std::wstring_view();
    Own own = Make(ConfigLine::Key, group, key, value, LineEnd());
    if (behind) EndLine(behind);
    ConfigLine* const line = m_heap.Alloc();
    line->kind = ConfigLine::Key;
    line->own = std::move(own);
    line->bytes = line->own->bytes;
    line->name = line->own->name;
    line->value = line->own->value;
    line->section = section;
    std::size_t position = section->keys.size();
    ConfigLine* solid = behind;
    while (solid && solid->section == section && solid->isBlank) solid = solid->previous;
    if (solid && solid->section != section) solid = nullptr;
    bool const isLast = solid == section->lastNotBlank;
    if (!isLast) {  // keys from here on follow the new one
        ConfigLine const* before = behind;
        while (before && before->section == section && before->kind == ConfigLine::Other) before = before->previous;
        bool const isFirst = !before || before->section != section || before->kind != ConfigLine::Key;
        auto const found = std::find(section->keys.begin(), section->keys.end(), before);
        position = isFirst ? 0 : static_cast<std::size_t>(found - section->keys.begin()) + 1;
    }
    AddKey(line, position);
    Link(line, behind);
    if (isLast) section->lastNotBlank = line;
    m_current = FindSection(m_group.View());
    m_cursor = line;
    m_isChanged = true;
}

void ConfigLines::DeleteCurrent() {
    ConfigLine* const line = m_cursor;
    if (!line) return;
    ConfigSection* const section = line->section;
    ConfigSection* const before = line->kind == ConfigLine::Group ? SectionBefore(section) : nullptr;
    if (before) {  // nothing throws after this
        before->keys.reserve(before->keys.size() + section->keys.size());
        ReserveTable();
    }
    if (line->kind == ConfigLine::Key) {
        section->keys.erase(std::find(section->keys.begin(), section->keys.end(), line));
        UnindexKey(line);
    }
    if (section->lastNotBlank == line) {
        ConfigLine* last = line->previous;
        while (last && last->section == section && last->isBlank) last = last->previous;
        section->lastNotBlank = last && last->section == section ? last : nullptr;
    }
    if (before) {  // its lines belong to the group before now
        for (ConfigLine* const key : section->keys)
            if (key->isIndexed) TakeFromTable(key);
        for (ConfigLine* other = line->next; other && other->section == section; other = other->next)
            other->section = before;
        if (section->lastNotBlank) before->lastNotBlank = section->lastNotBlank;
        for (ConfigLine* const key : section->keys) AddKey(key, before->keys.size());
        std::unique_ptr<ConfigSection> const taken = TakeSection(section);
        UnindexGroup(line);
    }
    m_cursor = line->previous;
    Unlink(line);
    m_current = FindSection(m_group.View());
    m_isChanged = true;
}

bool ConfigLines::DeleteGroup(KxString const& group) {
    ConfigLine* const head = Lookup(nullptr, group.View());
    if (!head) return false;
    std::unique_ptr<ConfigSection> const section = TakeSection(head->section);
    for (ConfigLine* const key : section->keys)
        if (key->isIndexed) TakeFromTable(key);
    UnindexGroup(head);
    for (ConfigLine* line = head; line && line->section == section.get();) {
        ConfigLine* const next = line->next;
        Unlink(line);
        line = next;
    }
    if (m_group.ICompare(group) == 0) m_group = KxString();
    m_current = FindSection(m_group.View());
    m_cursor = nullptr;
    m_isChanged = true;
    return true;
}

void ConfigLines::Update(ConfigLines const& other) {
    if (&other == this) return;
    for (auto const& section : other.m_sections) {
        // What a look-up in the other does not find is not merged.
        if (section->head ? !section->head->isIndexed : section->keys.empty()) continue;
        SetGroup(section->head ? KxString(section->head->name) : KxString());
        for (ConfigLine const* const key : section->keys)
            if (key->isIndexed) Write(KxString(key->name), KxString(key->value));
    }
}

// Lines.

void ConfigLines::ThrowNotStorable(std::wstring_view group, KxString const& key) const {
    KxString message;
    message.SPrintf(KxString(KxResId(text::KeyNotStored)), key, KxString(group), m_path,
                    KxString(KxResId(text::KeyNotStorable)));
    throw new KxFileException(L"syConfigLines", __LINE__, message);
}

/// The bytes, name and value of a line that gives just them when it is read again; may make the file UTF-8.
ConfigLines::Own ConfigLines::Make(ConfigLine::Kind kind, std::wstring_view group, KxString const& name,
                                   KxString const& value, std::string_view lineEnd) {
    using namespace KxTools;
    CStringA const password = GetEncryptedEncryptionPassword();
    KxString const key = kind == ConfigLine::Key ? name : KxString();
    KxString const storedName = KxxEncryptString(password, name, 1);
    std::wstring text(storedName.View());
    if (kind == ConfigLine::Group)
        text = L"[" + text + L"]";
    else
        text.append(L"=").append(KxxEncryptString(password, value, 0, ConfigContext(group, name.View())).View());

    // A carriage return of the line end may keep a blank in front of it, so it takes part.
    std::wstring const whole = lineEnd.size() > LineEndLength(lineEnd) ? text + L"\r" : text;
    ConfigLine parsed;
    Classify(parsed, whole);
    constexpr std::wstring_view lineEnds(L"\n\r\0", 3);
    if (parsed.kind != kind || parsed.name != storedName.View() || text.find_first_of(lineEnds) != text.npos ||
        text.starts_with(L'\xFEFF'))
        ThrowNotStorable(group, key);

    auto own = std::make_unique<ConfigLine::Own>();
    bool const fits = KxxEncodeText(text, m_encoding, own->bytes);
    if (!fits) own->bytes = KxxToUtf8(text);
    KxTextEncoding const encoding = fits ? m_encoding : KxTextEncoding::Utf8;
    if (own->bytes.size() + lineEnd.size() - LineEndLength(lineEnd) > longestLine ||
        KxxDecodeText(own->bytes, encoding) != text)
        ThrowNotStorable(group, key);
    if (!fits) ConvertToUtf8();
    own->bytes += lineEnd;
    own->name = name.View();
    own->value = storedName == name ? parsed.value : value.View();  // only blanks of a plain value are lost
    return own;
}

std::string ConfigLines::LineEnd() const {
    std::string bytes;
    KxxEncodeText(m_lineEnd, m_encoding, bytes);
    return bytes;
}

/// Gives the last line of a file the line end that it lacks.
void ConfigLines::EndLine(ConfigLine* line) {
    if (LineEndLength(line->bytes) > 0) return;
    std::string end = LineEnd();
    std::wstring const text = KxxDecodeText(line->bytes, m_encoding);
    bool const isTooLong = line->bytes.size() + end.size() - LineEndLength(end) > longestLine;
    // A carriage return must not change what the line is.
    if (isTooLong || Trimmed(text) != Trimmed(text + L"\r")) end.erase(0, end.size() - LineEndLength(end));
    if (!line->own) line->own = std::make_unique<ConfigLine::Own>();
    line->own->bytes = std::string(line->bytes) + end;
    line->bytes = line->own->bytes;
}

/// @throws KxFileException when a line would become too long to be read again
void ConfigLines::ConvertToUtf8() {
    std::vector<std::string> converted;
    for (ConfigLine* line = m_first; line; line = line->next) {
        if (!line->own) line->own = std::make_unique<ConfigLine::Own>();
        converted.push_back(KxxToUtf8(KxxDecodeText(line->bytes, m_encoding)));
        std::string const& bytes = converted.back();
        if (bytes.size() - LineEndLength(bytes) > longestLine) ThrowNotStorable({}, KxString(line->name));
    }
    m_ownRest = KxxToUtf8(KxxDecodeText(m_rest, m_encoding));
    m_rest = m_ownRest;
    auto bytes = converted.begin();
    for (ConfigLine* line = m_first; line; line = line->next) {
        line->own->bytes = std::move(*bytes++);
        line->bytes = line->own->bytes;
    }
    m_encoding = KxTextEncoding::Utf8;
}

std::string ConfigLines::Bytes() const {
    std::size_t size = m_rest.size() + 4;
    for (ConfigLine const* line = m_first; line; line = line->next) size += line->bytes.size();
    std::string bytes(KxxMarkOf(m_encoding));
    bytes.reserve(size);
    for (ConfigLine const* line = m_first; line; line = line->next) bytes += line->bytes;
    return bytes += m_rest;
}

void ConfigLines::Flush() {
    if (!m_isChanged) return;
    // Writing would replace what could not be read.
    if (m_error != 0)
        throw new KxDirEntryException(L"syConfigLines", __LINE__, m_path, static_cast<unsigned long>(m_error));
    std::string bytes = Bytes();
    // Without the lines that told its encoding, a file could be taken for one in another.
    if (KxxDetectEncoding(bytes) != m_encoding) {
        if (m_encoding == KxTextEncoding::Windows1252)
            ConvertToUtf8();
        else if (m_encoding == KxTextEncoding::Utf8)
            m_encoding = KxTextEncoding::Utf8WithMark;
        bytes = Bytes();
    }
    KxxSaveFile(m_path, bytes);
    m_isChanged = false;
}

void ConfigLines::Link(ConfigLine* line, ConfigLine* behind) {
    line->previous = behind;
    line->next = behind ? behind->next : m_first;
    (line->previous ? line->previous->next : m_first) = line;
    (line->next ? line->next->previous : m_last) = line;
}

void ConfigLines::Unlink(ConfigLine* line) {
    (line->previous ? line->previous->next : m_first) = line->next;
    (line->next ? line->next->previous : m_last) = line->previous;
    m_heap.Free(line);
}

ConfigSection* ConfigLines::AddSection(ConfigLine* head) {
    ReserveTable();
    m_sections.push_back(std::make_unique<ConfigSection>());
    m_sections.back()->head = head;
    if (head) IndexGroup(head);
    return m_sections.back().get();
}

/// The section of a group. The empty name is that of the keys in front of all groups, or, if there are none, of a
/// group without a name.
ConfigSection* ConfigLines::FindSection(std::wstring_view group) const {
    ConfigSection* const front = m_sections[0].get();
    if (group.empty() && !front->keys.empty()) return front;
    if (ConfigLine const* const head = Lookup(nullptr, group)) return head->section;
    return group.empty() ? front : nullptr;
}

ConfigSection* ConfigLines::SectionBefore(ConfigSection const* section) const {
    auto const found =
        std::find_if(m_sections.begin(), m_sections.end(), [&](auto const& s) { return s.get() == section; });
    return (found - 1)->get();
}

std::unique_ptr<ConfigSection> ConfigLines::TakeSection(ConfigSection const* section) {
    auto const found =
        std::find_if(m_sections.begin(), m_sections.end(), [&](auto const& s) { return s.get() == section; });
    std::unique_ptr<ConfigSection> taken = std::move(*found);
    m_sections.erase(found);
    return taken;
}

}  // namespace KxN::detail
