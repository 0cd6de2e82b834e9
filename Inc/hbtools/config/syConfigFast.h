// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxConfigFast holds a configuration file in memory: it is read once, by the constructor, and written by Flush, or by the
// destructor if something has changed. A look-up or a deletion takes the same time in small and large files.
//
//     KxConfigFast config(path);
//     config.SetGroup(L"Scanner");
//     config.WriteKey(L"Port", L"COM2");
//     config.Flush();
//
// Each line is one item: a group "[name]", a key "name=value", or another, such as a comment after ';'. Lines are
// trimmed of blanks, tabs and carriage returns at both ends, then of blanks around the first '='. Names compare without
// regard to case, and of equal names the first counts. The empty group is that of the keys in front of all groups. What
// is not changed is written as it was read: comments, order, line ends and encoding (see syTextEncoding.h). A line of
// more than 4096 bytes, or behind KxLimits::configLines, ends the reading; from there on the file is kept as it is.
//
// A file that is missing or cannot be read is empty; the latter is never written. Flush replaces the whole file in one
// safe step (see sySafeFile.h); of two objects on one file the last to flush wins. Names and values are encrypted
// while EncryptionOn holds (see syEncryption.h): names are decrypted by the constructor, values when they are read. An
// object that holds encrypted lines takes changes only under the state and password that it was made under. Where an
// operation throws, nothing is changed, but for Update. One thread at a time: reading moves the cursor too.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>

namespace KxN {

namespace detail {
template <class ITEM>
class ConfigFile;
}

class KX_API KxConfigFast {
public:
    /// One line as it stands in memory, for reading.
    struct SConfigItem {
        int kind = 0;      ///< 0 other, 1 group, 2 key.
        CStringA rawLine;  ///< The bytes of the line without its line end: LF or CR LF.
        KxString name;     ///< Of a group or a key, decrypted.
        KxString value;    ///< Of a key, decrypted; empty if it cannot be.
    };

    /// Reads the file. @throws KxEncryptionException for a name that cannot be decrypted, naming file, group and key
    explicit KxConfigFast(KxString const& path);
    KxConfigFast(KxConfigFast const&) = delete;
    KxConfigFast& operator=(KxConfigFast const&) = delete;
    /// Flushes what has changed. What cannot be written is lost with a line on standard error that names the file and the
    /// reason: call Flush where it matters.
    ~KxConfigFast();

    KxString GetPathName() const;
    KxString GetGroup() const;
    /// Selects a group and puts the cursor on it. One that does not exist is made at the end of the list; it reaches
    /// the file with Flush, or with the next change. One that cannot be made, as its name fits in no line, is empty.
    void SetGroup(KxString const& group);

    /// The value of a key of the current group; empty, or the default, if the key is missing. Each form of ReadKey
    /// @throws KxEncryptionException for a value that cannot be decrypted, naming file, group and key; it stays in the file
    KxString ReadKey(KxString const& key);
    KxString ReadKey(KxString const& key, KxString const& defaultValue);
    /// Value and name of the key of that index in the current group, counted from 0; empty if there is none.
    KxString ReadKey(unsigned short index);
    KxString GetKeyName(unsigned short index);
    unsigned short GetKeyCount();  ///< Of the current group, at most 65535.
    unsigned short GetGroupCount();
    /// Name of the group of that index in the order of the file, all of them even where names are equal.
    KxString GetGroup(unsigned short index);

    /// The item of a key of the current group, on which the cursor then stands; null, and no cursor, if there is none.
    /// It belongs to the object, stays until an item is deleted, and shows what was there when it was asked for.
    SConfigItem* FindKey(KxString const& key);
    SConfigItem* FindKey(unsigned short index);

    /// Sets a value, or adds the key behind the last line of its group that is not blank. An equal value changes nothing.
    /// The name keeps the spelling that it has in the file; blanks around a value are lost.
    /// @throws KxFileException for what no line can hold, such as a line feed or 4096 bytes, and for one line more than
    /// are read again; KxEncryptionException while encryption is on without a password, or not as the lines were read
    void WriteKey(KxString const& key, KxString const& value);
    /// Adds a key behind the cursor, where a look-up may or may not find it first; without a cursor as WriteKey would.
    /// @throws KxFileException, KxEncryptionException as WriteKey
    void InsertKey(KxString const& key, KxString const& value);
    /// Deletes the item under the cursor, which goes to the one in front. The keys of a deleted group line belong to
    /// the group before. Without a cursor nothing happens. @throws KxEncryptionException when values of such keys
    /// cannot be encrypted for their new group; nothing is deleted then
    void DeleteCurItem();
    /// Deletes the group and all behind it up to the next one. If it was the current one, the current group is empty.
    void DeleteGroup(KxString const& group);
    /// Merges another object: for each of its groups SetGroup, for each of its keys WriteKey, as far as look-ups in it
    /// find them: the first of equal names. @throws what these and ReadKey do; what was merged before stays
    void Update(KxConfigFast& other);

    /// Writes the file, changed or not. @throws KxFileException, also for a file that could not be read; the file is as
    /// it was, and changes are kept
    void Flush();
    /// For those to whom a file that cannot be read is no empty one. A missing file is fine.
    /// @throws KxFileException if the file was there but could not be read by the constructor
    void ProofRead() const;

private:
    std::unique_ptr<detail::ConfigFile<SConfigItem>> m_file;
};

}  // namespace KxN
