// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The lines of a configuration file in memory, under both fast classes. Lines are views into the bytes of the file and
// into its text, which is decoded once; only what changes is held line by line. A hash table over the names finds the
// first group and the first key of a name, so look-ups do not depend on the number of lines.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/base/syTextEncoding.h"
#include "hbtools/core/syBlockHeap.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KxN::detail {

struct ConfigSection;

struct ConfigLine {
    enum Kind { Other = 0, Group = 1, Key = 2 };

    ConfigLine* previous = nullptr;
    ConfigLine* next = nullptr;
    ConfigSection* section = nullptr;
    ConfigLine* nextInBucket = nullptr;
    std::size_t hash = 0;    // of the name without regard to case
    std::string_view bytes;  // as in the file, with the line end, which only the last line may lack
    std::wstring_view name;
    std::wstring_view value;
    Kind kind = Other;
    bool isBlank = false;
    bool isIndexed = false;  // the first of its name

    /// What does not stand in the text of the file: changed, new and decrypted lines.
    struct Own {
        std::string bytes;
        std::wstring name, value;
    };
    std::unique_ptr<Own> own;
};

/// A group line and what follows it up to the next one; the first section has no group line.
struct ConfigSection {
    ConfigLine* head = nullptr;
    ConfigLine* lastNotBlank = nullptr;
    std::vector<ConfigLine*> keys;
    std::size_t duplicates = 0;  // keys that are not the first of their name
};

/// How a line is trimmed.
enum class ConfigTrim {
    Mixed,  // blanks, tabs and carriage returns at both ends, in any mix
    Passes  // leading blanks; trailing blanks, then carriage returns, then tabs
};

class ConfigLines {
public:
    static constexpr std::size_t longestLine = 4096;  // bytes without the line feed

    /// Reads the file. @throws KxEncryptionException for a text that cannot be decrypted
    ConfigLines(KxString const& path, ConfigTrim trim);
    ConfigLines(ConfigLines const&) = delete;
    ConfigLines& operator=(ConfigLines const&) = delete;

    KxString const& GetPath() const { return m_path; }
    KxString const& GetGroup() const { return m_group; }
    bool IsChanged() const { return m_isChanged; }

    void SetGroup(KxString const& group);
    /// A key of the current group, on which the cursor then stands; null, and no cursor, if there is none.
    ConfigLine* Find(std::wstring_view key);
    ConfigLine* Find(std::size_t index);
    std::size_t GetKeyCount() const { return m_current ? m_current->keys.size() : 0; }
    std::size_t GetGroupCount() const { return m_sections.size() - 1; }
    std::wstring_view GetGroupName(std::size_t index) const { return m_sections[index + 1]->head->name; }

    /// Both @throw KxFileException for what no line can hold; nothing is changed then.
    void Write(KxString const& key, KxString const& value);
    void Insert(KxString const& key, KxString const& value);
    void DeleteCurrent();
    bool DeleteGroup(KxString const& group);
    void Update(ConfigLines const& other);

    /// Saves the file if something has changed. @throws KxFileException, KxDirEntryException
    void Flush();

private:
    using Own = std::unique_ptr<ConfigLine::Own>;

    void Parse();
    void ParseLine(std::string_view bytes, std::wstring_view text);
    std::size_t LineLength(std::string_view bytes) const;
    std::size_t LineEndLength(std::string_view bytes) const;
    std::wstring_view Trimmed(std::wstring_view text) const;
    void Classify(ConfigLine& line, std::wstring_view text) const;
    void Decrypt(ConfigLine& line, std::wstring_view group) const;

    Own Make(ConfigLine::Kind kind, std::wstring_view group, KxString const& name, KxString const& value,
             std::string_view lineEnd);
    void ConvertToUtf8();
    void EndLine(ConfigLine* line);
    std::string LineEnd() const;
    std::string Bytes() const;
    [[noreturn]] void ThrowNotStorable(std::wstring_view group, KxString const& key) const;

    void Link(ConfigLine* line, ConfigLine* behind);
    void Unlink(ConfigLine* line);
    void NeedCurrent();
    ConfigSection* AddSection(ConfigLine* head);
    ConfigSection* FindSection(std::wstring_view group) const;
    ConfigSection* SectionBefore(ConfigSection const* section) const;
    std::unique_ptr<ConfigSection> TakeSection(ConfigSection const* section);
    void InsertKey(ConfigSection* section, ConfigLine* behind, KxString const& key, KxString const& value);
    void AddKey(ConfigLine* line, std::size_t position);

    // The table of names: of groups with no scope, of keys with their section.
    ConfigLine* Lookup(ConfigSection const* scope, std::wstring_view name) const;
    std::size_t BucketOf(ConfigSection const* scope, std::size_t hash) const;
    void ReserveTable();
    void AddToTable(ConfigLine* line);
    void TakeFromTable(ConfigLine* line);
    void IndexGroup(ConfigLine* line);
    void UnindexGroup(ConfigLine* line);
    void UnindexKey(ConfigLine* line);
    void MakeTable(std::size_t count);

    KxString m_path;
    ConfigTrim m_trim;
    KxString m_group;
    int m_error = 0;  // why the file could not be read
    bool m_isChanged = false;

    KxTextEncoding m_encoding = KxTextEncoding::Utf8;
    std::string m_bytes;      // of the file as it was read
    std::wstring m_text;      // what of it was parsed
    std::string_view m_rest;  // what was not: from a line on that is too long, and half a unit of UTF-16
    std::string m_ownRest;
    std::wstring m_lineEnd;

    KxTBlockHeap<ConfigLine> m_heap;
    ConfigLine* m_first = nullptr;
    ConfigLine* m_last = nullptr;
    ConfigLine* m_cursor = nullptr;
    std::vector<std::unique_ptr<ConfigSection>> m_sections;
    ConfigSection* m_current = nullptr;
    std::size_t m_groupDuplicates = 0;
    std::vector<ConfigLine*> m_table;  // chains; the size is a power of two
    int m_tableShift = 0;
    std::size_t m_indexed = 0;
};

/// The lines with the items that a class shows of them.
template <class ITEM>
class ConfigFile : public ConfigLines {
public:
    using ConfigLines::ConfigLines;

    /// An item of that line, up to date; null for null. It stays until an item is deleted.
    ITEM* Show(ConfigLine const* line) {
        if (!line) return nullptr;
        ITEM& item = m_items[line];
        std::string_view bytes = line->bytes;
        while (bytes.ends_with('\n') || bytes.ends_with('\r')) bytes.remove_suffix(1);
        item.kind = line->kind;
        item.rawLine = bytes;
        item.name = KxString(line->name);
        item.value = KxString(line->value);
        return &item;
    }
    void Forget() { m_items.clear(); }

private:
    std::unordered_map<ConfigLine const*, ITEM> m_items;
};

/// What a value is bound to when it is encrypted: its group and key, without regard to case.
std::wstring ConfigContext(std::wstring_view group, std::wstring_view key);

KxString TextOrEmpty(ConfigLine const* line, std::wstring_view ConfigLine::*text);
unsigned short Counted(std::size_t count);

}  // namespace KxN::detail
