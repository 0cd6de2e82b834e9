// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The lines of a configuration file in memory, under both fast classes. Lines are views into the bytes of the file and
// into its text, which is decoded once; only what changes is held line by line. A hash table over the names finds the
// first group and the first key of a name, so look-ups do not depend on the number of lines.
#pragma once

#include "base/syEncryptionState.h"
#include "hbtools/base/syString.h"
#include "hbtools/base/syTextEncoding.h"
#include "hbtools/core/syBlockHeap.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KxN {
class KxException;
}

namespace KxN::detail {

struct ConfigSection;

struct ConfigLine {
    enum Kind { Other = 0, Group = 1, Key = 2 };

    ConfigLine* previous = nullptr;
    ConfigLine* next = nullptr;
    ConfigSection* section = nullptr;
    ConfigLine* nextInBucket = nullptr;
    // Of the same name, in the order of the file; in front of the first stands the last.
    ConfigLine* previousSame = nullptr;
    ConfigLine* nextSame = nullptr;
    std::size_t position = 0;  // among the keys of its section, if they are numbered so far
    std::size_t hash = 0;      // of the name without regard to case
    std::string_view bytes;    // as in the file, with the line end, which only the last line may lack
    std::wstring_view name;
    std::wstring_view value;
    Kind kind = Other;
    bool isBlank = false;
    bool isIndexed = false;  // the first of its name
    bool isBound = false;    // the bytes hold the value encrypted for its group and key
    bool isSealed = false;   // and so does `value`, which is decrypted when it is asked for

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
    ConfigSection* previous = nullptr;
    ConfigSection* next = nullptr;
    std::size_t position = 0;  // among all sections, if they are numbered so far
    std::size_t keyCount = 0;
    // The keys by their index, as far as they were asked for by it; a change cuts what stands behind it. So neither
    // walks by index nor changes ever go through all keys.
    std::vector<ConfigLine*> numbered;
};

/// How a line is trimmed.
enum class ConfigTrim {
    Mixed,  // blanks, tabs and carriage returns at both ends, in any mix
    Passes  // leading blanks; trailing blanks, then carriage returns, then tabs
};

class ConfigLines {
public:
    static constexpr std::size_t longestLine = 4096;  // bytes without the line feed

    /// Reads the file. @throws KxEncryptionException for a name that cannot be decrypted
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
    std::size_t GetKeyCount() const { return m_current ? m_current->keyCount : 0; }
    std::size_t GetGroupCount() const { return m_sectionCount - 1; }
    std::wstring_view GetGroupName(std::size_t index) const;
    /// The value of a key, empty for null. @throws KxEncryptionException if it cannot be decrypted
    KxString ReadValue(ConfigLine* line) const { return line ? KxString(Value(*line)) : KxString(); }

    /// Both @throw KxFileException for what no line can hold, KxEncryptionException for what cannot be encrypted or not
    /// as the rest of the file is. Where an operation throws, nothing is changed.
    void Write(KxString const& key, KxString const& value);
    void Insert(KxString const& key, KxString const& value);
    /// Both tell if something was deleted. @throws KxEncryptionException for values that cannot follow their keys
    bool DeleteCurrent();
    bool DeleteGroup(KxString const& group);
    void Update(ConfigLines const& other);

    /// Saves the file. @throws KxFileException, KxDirEntryException
    void Flush();
    /// @throws KxFileException if the file could not be read
    void ProofRead() const;

protected:
    /// The line feed at the end of a line, and a carriage return in front of it.
    std::string_view EndOf(std::string_view bytes) const;
    std::wstring_view Value(ConfigLine& line) const;
    KxString ValueOrEmpty(ConfigLine& line) const;

private:
    using Own = std::unique_ptr<ConfigLine::Own>;

    void Parse();
    void ParseLine(std::string_view bytes, std::wstring_view text);
    std::size_t LineLength(std::string_view bytes) const;
    std::size_t LineEndLength(std::string_view bytes) const;
    std::wstring_view Trimmed(std::wstring_view text) const;
    void Classify(ConfigLine& line, std::wstring_view text) const;
    void DecryptName(ConfigLine& line, std::wstring_view group);

    /// What a line is to be.
    struct Made {
        Own own;
        bool needsUtf8 = false;  // the file has to become UTF-8
        EncryptionState encryption;
    };
    Made Make(ConfigLine::Kind kind, std::wstring_view group, KxString const& name, KxString const& value,
              std::string_view lineEnd) const;
    void Commit(Made& made);
    static void Take(ConfigLine& line, Made& made);
    ConfigLine* NewLine(ConfigLine::Kind kind, Made& made, ConfigLine* behind);
    void NeedRoom(std::wstring_view group, KxString const& key) const;
    void ConvertToUtf8();
    void EndLine(ConfigLine* line);
    std::string LineEnd() const;
    std::string Bytes() const;
    KxString NotStored(std::wstring_view group, KxString const& key, KxString const& reason) const;
    [[noreturn]] void ThrowNotStorable(std::wstring_view group, KxString const& key, unsigned short reasonId) const;
    [[noreturn]] void ThrowNotDecrypted(KxException* reason, std::wstring_view group, std::wstring_view key) const;
    [[noreturn]] void ThrowReadOtherwise() const;

    void Link(ConfigLine* line, ConfigLine* behind);
    void Unlink(ConfigLine* line);
    void WriteInNewGroup(KxString const& key, KxString const& value);
    ConfigSection* MakeGroup(KxString const& group);
    void AddSection(ConfigSection* section, ConfigLine* head);
    void RemoveSection(ConfigSection* section);
    ConfigSection* FindSection(std::wstring_view group) const;
    void InsertKey(ConfigSection* section, ConfigLine* behind, KxString const& key, KxString const& value);
    void MoveKeys(ConfigSection* section, ConfigSection* before, std::vector<Made>& made);
    std::vector<Made> MakeMoved(ConfigSection* section, ConfigSection const* before) const;

    // The table of names: of groups with no scope, of keys with their section.
    ConfigLine* Lookup(ConfigSection const* scope, std::wstring_view name) const;
    ConfigLine* Lookup(ConfigSection const* scope, std::wstring_view name, std::size_t hash) const;
    std::size_t BucketOf(ConfigSection const* scope, std::size_t hash) const;
    void ReserveTable();
    void AddToTable(ConfigLine* line);
    void TakeFromTable(ConfigLine* line);
    void AddName(ConfigLine* line, bool isLast);
    void RemoveName(ConfigLine* line);
    void MakeTable(std::size_t count);

    KxString m_path;
    ConfigTrim m_trim;
    KxString m_group;
    int m_error = 0;  // why the file could not be read
    bool m_isChanged = false;

    EncryptionState m_encryption;   // under which the lines were read
    bool m_holdsEncrypted = false;  // or written; then all others must be written under it too

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
    std::size_t m_lineCount = 0;
    KxTBlockHeap<ConfigSection> m_sectionHeap;
    ConfigSection* m_front = nullptr;  // in front of all groups
    ConfigSection* m_lastSection = nullptr;
    std::size_t m_sectionCount = 0;
    mutable std::vector<ConfigSection*> m_numbered;  // as the keys of a section
    ConfigSection* m_current = nullptr;
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
    ITEM* Show(ConfigLine* line) {
        if (!line) return nullptr;
        ITEM& item = m_items[line];
        item.kind = line->kind;
        item.rawLine = line->bytes.substr(0, line->bytes.size() - EndOf(line->bytes).size());
        item.name = KxString(line->name);
        item.value = ValueOrEmpty(*line);
        return &item;
    }
    void Forget() { m_items.clear(); }

private:
    std::unordered_map<ConfigLine const*, ITEM> m_items;
};

/// What a value is bound to when it is encrypted: its group and key, without regard to case.
std::wstring ConfigContext(std::wstring_view group, std::wstring_view key);

KxString NameOrEmpty(ConfigLine const* line);
unsigned short Counted(std::size_t count);

/// In a handler of any exception: says on standard error, in one line, that the file was not saved and why.
void ReportLoss(KxString const& path) noexcept;

/// Cuts a numbering where the element stands in it.
template <class T>
void Cut(std::vector<T*>& numbered, T const* element) {
    std::size_t const position = element->position;
    if (position < numbered.size() && numbered[position] == element) numbered.resize(position);
}

}  // namespace KxN::detail
