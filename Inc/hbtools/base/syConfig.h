// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxConfig reads and writes a text file of groups and keys, one item to a line:
//
//     ; comment
//     [Scanner]
//     Port = COM1
//
// The file is read when it is first needed, and again whenever it may have changed on disk: when its size or a time of
// it differs, or while its last change is so young that another may have left the same time. A missing file is empty.
// Names compare without regard to case; of groups or keys with equal names the first counts. Lines are taken
// apart after blanks, tabs and carriage returns at both ends are dropped; then only blanks, not tabs, are dropped
// in front of the first '=' and behind it. So blanks around a value are lost.
//
// Writing changes that one value and nothing else: comments, blank and unknown lines, order, spelling, line ends
// and the encoding of the file stay (see syTextEncoding.h). Each WriteKey saves the whole file in one safe step
// (see sySafeFile.h), during which other threads and processes that do the same in that folder wait, for two seconds at
// most; between BeginUpdate and EndUpdate many keys share one such step. Where the file system knows no locks nobody
// waits, and of two that write at once one may lose keys of the other. A file that is there but cannot be read is empty
// to readers, and refuses to be written. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>

namespace KxTools {

/// The file under a KxConfig, with its current group.
class KX_API Config {
public:
    explicit Config(String const& path);
    Config(Config const&) = delete;
    Config& operator=(Config const&) = delete;
    virtual ~Config();

    /// Number of keys of the current group, at most 65535.
    unsigned short GetKeyCount() const;
    /// Stores a key of the current group. 0 when it could not be stored: the file is write-protected, the medium
    /// is full, the file would exceed KxLimits, or no line could give it back, as a value with a line feed or a lone
    /// surrogate. The file is then as it was, and so it is when this throws, which it does only without memory.
    unsigned char WriteKey(String const& key, String const& value);

    /// From here on keys are only noted; EndUpdate stores them all. Updates nest, the outermost counts. In between
    /// reads see the file as it was, with what was written.
    void BeginUpdate();
    /// Stores the noted keys; what others have written since BeginUpdate stays, but for those keys. 0 when the file
    /// could not be stored; nothing of the update is then in the file or seen by later reads.
    unsigned char EndUpdate();

protected:
    class Document;
    Document& Current() const;
    /// WriteKey with the reason why not: 0, a system error number, or -1 for what no line can hold.
    int Store(String const& key, String const& value);
    /// EndUpdate in the same way. `last` becomes the key that was noted last.
    struct Note {
        KxN::KxString group, key, value;
    };
    int EndStore(Note& last);

    KxN::KxString m_path;
    KxN::KxString m_group;

private:
    std::unique_ptr<Document> m_document;
};

}  // namespace KxTools

namespace KxN {

class KX_API KxConfig : public KxTools::Config {
public:
    /// Binds to a file; does not touch it.
    explicit KxConfig(KxString const& path) : Config(path) {}

    /// The current group; the empty one, which is the first, holds the keys in front of all groups.
    void SetGroup(KxString const& group) { m_group = group; }
    KxString GetGroup() const { return m_group; }

    /// The value of a key of the current group; empty, or the default, if the key is missing.
    KxString ReadKey(KxString const& key) const;
    KxString ReadKey(KxString const& key, KxString const& defaultValue) const;
    /// Value and name of the key of that index, counted from 0; empty if there is none.
    KxString ReadKey(unsigned short index) const;
    KxString GetKeyName(unsigned short index) const;
    /// Number and names of the groups in the order of the file, all of them even where names are equal.
    unsigned short GetGroupCount() const;
    KxString GetGroup(unsigned short index) const;

    /// Stores a key of the current group, made behind the last line of the group that is not blank if it is new;
    /// a new group is made at the end of the file. An equal value changes nothing.
    /// @throws KxFileException when it cannot be stored; Config::WriteKey tells by its result instead
    void WriteKey(KxString const& key, KxString const& value);
    /// As Config::EndUpdate. @throws KxFileException
    void EndUpdate();

    /// For those to whom a file that cannot be read is no empty one, to be called behind what they have read: it tells too
    /// of a failure in between, since ProofRead was called last. A missing file is fine.
    /// @throws KxFileException if the file is there but cannot be read, or could not be
    void ProofRead() const;

    KxString GetPathName() const { return m_path; }
};

}  // namespace KxN
