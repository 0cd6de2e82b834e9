// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "config/syConfigLines.h"

#include "base/posix/syDescriptor.h"
#include "base/syCaught.h"
#include "base/syTextIds.h"
#include "config/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/sySafeFile.h"

#include <algorithm>
#include <cerrno>
#include <exception>

namespace KxN::detail {

KxString NameOrEmpty(ConfigLine const* line) {
    return line ? KxString(line->name) : KxString();
}

unsigned short Counted(std::size_t count) {
    return static_cast<unsigned short>(std::min<std::size_t>(count, 65535));
}

// Groups and keys.

void ConfigLines::SetGroup(KxString const& group) {
    KxString name = group;
    ConfigSection* section = FindSection(name.View());
    try {
        if (!section) section = MakeGroup(name);
    } catch (KxFileException* exception) {  // what cannot be in the file is empty to readers; Write tells why
        exception->Delete();
    } catch (KxEncryptionException* exception) {
        exception->Delete();
    }
    m_group = std::move(name);
    m_current = section;
    m_cursor = section ? section->head : nullptr;
}

/// Adds a group at the end.
ConfigSection* ConfigLines::MakeGroup(KxString const& group) {
    NeedRoom(group.View(), KxString());
    Made made = Make(ConfigLine::Group, {}, group, KxString(), LineEnd());
    ConfigSection* const section = m_sectionHeap.Alloc();
    ConfigLine* line = nullptr;
    try {
        line = NewLine(ConfigLine::Group, made, m_last);
    } catch (...) {
        m_sectionHeap.Free(section);
        throw;
    }
    AddSection(section, line);
    line->section = section;
    section->lastNotBlank = line;
    Link(line, m_last);
    return section;
}

ConfigLine* ConfigLines::Find(std::wstring_view key) {
    return m_cursor = m_current ? Lookup(m_current, key) : nullptr;
}

ConfigLine* ConfigLines::Find(std::size_t index) {
    if (index >= GetKeyCount()) return m_cursor = nullptr;
    std::vector<ConfigLine*>& keys = m_current->numbered;
    ConfigLine* line = !keys.empty() ? keys.back()->next : m_current->head ? m_current->head : m_first;
    for (; keys.size() <= index; line = line->next) {
        if (line->kind != ConfigLine::Key) continue;
        line->position = keys.size();
        keys.push_back(line);
    }
    return m_cursor = keys[index];
}

std::wstring_view ConfigLines::GetGroupName(std::size_t index) const {
    ConfigSection* section = m_numbered.empty() ? m_front->next : m_numbered.back()->next;
    for (; m_numbered.size() <= index; section = section->next) {
        section->position = m_numbered.size();
        m_numbered.push_back(section);
    }
    return m_numbered[index]->head->name;
}

void ConfigLines::Write(KxString const& key, KxString const& value) {
    if (!m_current) return WriteInNewGroup(key, value);
    ConfigLine* const line = Find(key.View());
    if (!line) return InsertKey(m_current, m_current->lastNotBlank, key, value);
    if (line->isSealed) {
        try {
            static_cast<void>(Value(*line));
        } catch (KxEncryptionException* exception) {  // the new value takes its place
            exception->Delete();
        }
    }
    if (!line->isSealed && line->value == value.View()) return;
    Made made = Make(ConfigLine::Key, m_group.View(), KxString(line->name), value, EndOf(line->bytes));
    if (!line->isSealed && line->value == made.own->value) return;  // but for blanks that no file keeps
    Commit(made);
    Take(*line, made);
    m_isChanged = true;
}

/// Makes the current group, which is not there, with one key.
void ConfigLines::WriteInNewGroup(KxString const& key, KxString const& value) {
    ConfigSection* const section = MakeGroup(m_group);
    try {
        InsertKey(section, section->head, key, value);
    } catch (...) {
        RemoveName(section->head);
        Unlink(section->head);
        RemoveSection(section);
        throw;
    }
}

void ConfigLines::Insert(KxString const& key, KxString const& value) {
    if (m_cursor) return InsertKey(m_cursor->section, m_cursor, key, value);
    if (!m_current) return WriteInNewGroup(key, value);
    InsertKey(m_current, m_current->lastNotBlank, key, value);
}

/// Makes a key of the section behind a line of it, or at the very front of the file.
void ConfigLines::InsertKey(ConfigSection* section, ConfigLine* behind, KxString const& key, KxString const& value) {
    std::wstring_view const group = section->head ? section->head->name : std::wstring_view();
    NeedRoom(group, key);
    Made made = Make(ConfigLine::Key, group, key, value, LineEnd());
    ConfigLine* const line = NewLine(ConfigLine::Key, made, behind);
    line->section = section;
    ConfigLine* solid = behind;
    while (solid && solid->section == section && solid->isBlank) solid = solid->previous;
    if (solid && solid->section != section) solid = nullptr;
    bool const isLast = solid == section->lastNotBlank;
    Link(line, behind);
    AddName(line, isLast);
    ++section->keyCount;
    if (isLast) {
        section->lastNotBlank = line;
    } else {
        ConfigLine const* next = line->next;
        while (next && next->section == section && next->kind != ConfigLine::Key) next = next->next;
        if (next && next->section == section) Cut(section->numbered, next);
    }
    m_current = FindSection(m_group.View());
    m_cursor = line;
    m_isChanged = true;
}

bool ConfigLines::DeleteCurrent() {
    ConfigLine* const line = m_cursor;
    if (!line) return false;
    ConfigSection* const section = line->section;
    ConfigSection* const before = line->kind == ConfigLine::Group ? section->previous : nullptr;
    std::vector<Made> made;
    if (before) made = MakeMoved(section, before);  // nothing throws after this
    if (line->kind == ConfigLine::Key) {
        Cut(section->numbered, line);
        --section->keyCount;
        RemoveName(line);
    }
    if (section->lastNotBlank == line) {
        ConfigLine* last = line->previous;
        while (last && last->section == section && last->isBlank) last = last->previous;
        section->lastNotBlank = last && last->section == section ? last : nullptr;
    }
    if (before) {
        MoveKeys(section, before, made);
        RemoveName(line);
        RemoveSection(section);
    }
    m_cursor = line->previous;
    Unlink(line);
    m_current = FindSection(m_group.View());
    m_isChanged = true;
    return true;
}

/// The keys of a section as they will be in the one before: values are bound to their group, so they are made anew.
std::vector<ConfigLines::Made> ConfigLines::MakeMoved(ConfigSection* section, ConfigSection const* before) const {
    std::vector<Made> made;
    std::wstring_view const group = before->head ? before->head->name : std::wstring_view();
    bool const isSame = ConfigContext(group, {}) == ConfigContext(section->head->name, {});
    for (ConfigLine* key = section->head->next; key && key->section == section; key = key->next) {
        if (!key->isBound || isSame) continue;
        if (!m_encryption.isOn) ThrowReadOtherwise();
        made.push_back(Make(ConfigLine::Key, group, KxString(key->name), KxString(Value(*key)), EndOf(key->bytes)));
    }
    return made;
}

void ConfigLines::MoveKeys(ConfigSection* section, ConfigSection* before, std::vector<Made>& made) {
    auto next = made.begin();
    for (ConfigLine* line = section->head->next; line && line->section == section; line = line->next) {
        if (line->isIndexed) TakeFromTable(line);
        if (line->isBound && next != made.end()) Take(*line, *next++);
    }
    for (ConfigLine* line = section->head->next; line && line->section == section; line = line->next) {
        line->section = before;
        if (line->kind == ConfigLine::Key) AddName(line, true);
    }
    before->keyCount += section->keyCount;
    if (section->lastNotBlank) before->lastNotBlank = section->lastNotBlank;
}

bool ConfigLines::DeleteGroup(KxString const& group) {
    ConfigLine* const head = Lookup(nullptr, group.View());
    if (!head) return false;
    ConfigSection* const section = head->section;
    RemoveName(head);
    for (ConfigLine* line = head; line && line->section == section;) {
        ConfigLine* const next = line->next;
        if (line->isIndexed) TakeFromTable(line);
        Unlink(line);
        line = next;
    }
    if (m_group.ICompare(group) == 0) m_group = KxString();
    RemoveSection(section);
    m_current = FindSection(m_group.View());
    m_cursor = nullptr;
    m_isChanged = true;
    return true;
}

void ConfigLines::Update(ConfigLines const& other) {
    if (&other == this) return;
    for (ConfigSection* section = other.m_front; section; section = section->next) {
        // What a look-up in the other does not find is not merged.
        std::wstring_view const name = section->head ? section->head->name : std::wstring_view();
        if (other.FindSection(name) != section || (!section->head && section->keyCount == 0)) continue;
        SetGroup(KxString(name));
        ConfigLine* line = section->head ? section->head->next : other.m_first;
        for (; line && line->section == section; line = line->next)
            if (line->isIndexed) Write(KxString(line->name), other.ReadValue(line));
    }
}

// Lines.

KxString ConfigLines::NotStored(std::wstring_view group, KxString const& key, KxString const& reason) const {
    return KxString().SPrintf(KxString(KxResId(text::KeyNotStored)), key, KxString(group), m_path, reason);
}

void ConfigLines::ThrowNotStorable(std::wstring_view group, KxString const& key, unsigned short reasonId) const {
    throw new KxFileException(L"syConfigLines", __LINE__, NotStored(group, key, KxString(KxResId(reasonId))));
}

void ConfigLines::ThrowReadOtherwise() const {
    throw new KxEncryptionException(L"syConfigLines", __LINE__,
                                    KxString().SPrintf(KxString(KxResId(text::ReadOtherwise)), m_path));
}

/// One more line must be among those that are read again.
void ConfigLines::NeedRoom(std::wstring_view group, KxString const& key) const {
    if (m_lineCount >= KxxLimits().configLines) ThrowNotStorable(group, key, text::TooManyLines);
}

/// The bytes, name and value of a line that gives just them when it is read again.
ConfigLines::Made ConfigLines::Make(ConfigLine::Kind kind, std::wstring_view group, KxString const& name,
                                    KxString const& value, std::string_view lineEnd) const {
    Made made{std::make_unique<ConfigLine::Own>(), false, CurrentEncryption()};
    if (m_holdsEncrypted && !(made.encryption == m_encryption)) ThrowReadOtherwise();
    KxString const key = kind == ConfigLine::Key ? name : KxString();
    KxString const groupName = kind == ConfigLine::Key ? KxString(group) : name;
    KxString storedName;
    std::wstring text;
    try {
        storedName = made.encryption.EncryptName(name);
        text = storedName.View();
        if (kind == ConfigLine::Group)
            text = L"[" + text + L"]";
        else
            text.append(L"=").append(made.encryption.EncryptValue(value, ConfigContext(group, name.View())).View());
    } catch (KxEncryptionException* exception) {
        std::unique_ptr<CException, ExceptionReleaser> const owner(exception);
        KxString const reason = exception->GetMessage();
        throw new KxEncryptionException(L"syConfigLines", __LINE__, NotStored(groupName.View(), key, reason));
    }

    // A carriage return of the line end may keep a blank in front of it, so it takes part.
    std::wstring const whole = lineEnd.size() > LineEndLength(lineEnd) ? text + L"\r" : text;
    ConfigLine parsed;
    Classify(parsed, whole);
    constexpr std::wstring_view lineEnds(L"\n\r\0", 3);
    if (parsed.kind != kind || parsed.name != storedName.View() || text.find_first_of(lineEnds) != text.npos ||
        text.starts_with(L'\xFEFF'))
        ThrowNotStorable(groupName.View(), key, text::KeyNotStorable);

    ConfigLine::Own& own = *made.own;
    made.needsUtf8 = !KxxEncodeText(text, m_encoding, own.bytes);
    if (made.needsUtf8) own.bytes = KxxToUtf8(text);
    KxTextEncoding const encoding = made.needsUtf8 ? KxTextEncoding::Utf8 : m_encoding;
    if (own.bytes.size() + lineEnd.size() - LineEndLength(lineEnd) > longestLine ||
        KxxDecodeText(own.bytes, encoding) != text)
        ThrowNotStorable(groupName.View(), key, text::KeyNotStorable);
    own.bytes += lineEnd;
    own.name = name.View();
    own.value = made.encryption.isOn ? value.View() : parsed.value;  // only blanks of a plain value are lost
    return made;
}

/// Makes the file ready for what was made; after it nothing of a change may throw.
void ConfigLines::Commit(Made& made) {
    if (made.needsUtf8) ConvertToUtf8();
    if (m_holdsEncrypted) return;
    m_holdsEncrypted = made.encryption.isOn;
    m_encryption = std::move(made.encryption);
}

void ConfigLines::Take(ConfigLine& line, Made& made) {
    line.own = std::move(made.own);
    line.bytes = line.own->bytes;
    line.name = line.own->name;
    line.value = line.own->value;
    line.isBound = line.kind == ConfigLine::Key && made.encryption.isOn;
    line.isSealed = false;
}

/// A line of what was made, to be linked behind another.
ConfigLine* ConfigLines::NewLine(ConfigLine::Kind kind, Made& made, ConfigLine* behind) {
    ReserveTable();
    ConfigLine* const line = m_heap.Alloc();
    try {
        if (behind) EndLine(behind);
        Commit(made);
    } catch (...) {
        m_heap.Free(line);
        throw;
    }
    line->kind = kind;
    Take(*line, made);
    return line;
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
    std::string bytes = std::string(line->bytes) + end;
    if (!line->own) line->own = std::make_unique<ConfigLine::Own>();
    line->own->bytes = std::move(bytes);
    line->bytes = line->own->bytes;
}

/// @throws KxFileException when a line would become too long to be read again
void ConfigLines::ConvertToUtf8() {
    std::vector<std::string> converted;
    for (ConfigLine* line = m_first; line; line = line->next) {
        if (!line->own) line->own = std::make_unique<ConfigLine::Own>();
        converted.push_back(KxxToUtf8(KxxDecodeText(line->bytes, m_encoding)));
        std::string const& bytes = converted.back();
        if (bytes.size() - LineEndLength(bytes) > longestLine)
            ThrowNotStorable({}, KxString(line->name), text::KeyNotStorable);
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

void ConfigLines::ProofRead() const {
    if (m_error != 0)
        throw new KxDirEntryException(L"syConfigLines", __LINE__, m_path, static_cast<unsigned long>(m_error));
}

void ConfigLines::Flush() {
    ProofRead();  // writing would replace what could not be read
    std::string bytes = Bytes();
    // Without the lines that told its encoding, a file could be taken for one in another.
    if (KxxDetectEncoding(bytes) != m_encoding) {
        if (m_encoding == KxTextEncoding::Windows1252)
            ConvertToUtf8();
        else if (m_encoding == KxTextEncoding::Utf8)
            m_encoding = KxTextEncoding::Utf8WithMark;
        bytes = Bytes();
    }
    if (bytes.size() > KxxLimits().textFileBytes)
        throw new KxDirEntryException(L"syConfigLines", __LINE__, m_path, EFBIG);
    KxxSaveFile(m_path, bytes);
    m_isChanged = false;
}

void ReportLoss(KxString const& path) noexcept {
    try {
        std::string reason;
        try {
            throw;
        } catch (CException* exception) {
            reason = KxxToUtf8(TakeText(exception).View());
        } catch (std::exception const& exception) {
            reason = exception.what();
        }
        std::string line = "hbTools: " + KxxToUtf8(path.View()) + ": " + reason;
        std::replace(line.begin(), line.end(), '\n', ' ');
        WriteToStandardError(line + "\n");
    } catch (...) {
        WriteToStandardError("hbTools: a configuration file was not saved\n");
    }
}

void ConfigLines::Link(ConfigLine* line, ConfigLine* behind) {
    line->previous = behind;
    line->next = behind ? behind->next : m_first;
    (line->previous ? line->previous->next : m_first) = line;
    (line->next ? line->next->previous : m_last) = line;
    ++m_lineCount;
}

void ConfigLines::Unlink(ConfigLine* line) {
    (line->previous ? line->previous->next : m_first) = line->next;
    (line->next ? line->next->previous : m_last) = line->previous;
    m_heap.Free(line);
    --m_lineCount;
}

/// Adds a section at the end.
void ConfigLines::AddSection(ConfigSection* section, ConfigLine* head) {
    section->head = head;
    section->previous = m_lastSection;
    (m_lastSection ? m_lastSection->next : m_front) = section;
    m_lastSection = section;
    ++m_sectionCount;
    if (head) AddName(head, true);
}

void ConfigLines::RemoveSection(ConfigSection* section) {
    Cut(m_numbered, section);
    section->previous->next = section->next;  // the first stays
    (section->next ? section->next->previous : m_lastSection) = section->previous;
    --m_sectionCount;
    m_sectionHeap.Free(section);
}

/// The section of a group. The empty name is that of the keys in front of all groups, or, if there are none, of a
/// group without a name.
ConfigSection* ConfigLines::FindSection(std::wstring_view group) const {
    if (group.empty() && m_front->keyCount > 0) return m_front;
    if (ConfigLine const* const head = Lookup(nullptr, group)) return head->section;
    return group.empty() ? m_front : nullptr;
}

}  // namespace KxN::detail
