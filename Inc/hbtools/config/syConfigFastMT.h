// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxConfigFastMT is KxConfigFast for worker threads: readers are const, and Flush makes missing directories. It shares
// nothing with other objects, so that each thread may have its own on the same file; one object belongs to one thread
// at a time, since reading moves the cursor too. All that syConfigFast.h says holds, but for the trimming of lines:
// leading blanks, then trailing blanks, then trailing carriage returns, then trailing tabs, each once. So
// a tab in front of a name belongs to it, and a blank in front of a carriage return to the value: "n=12 \r\n" is the
// text "12 ", which is no number.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>

namespace KxN {

namespace detail {
template <class ITEM>
class ConfigFile;
}

class KX_API KxConfigFastMT {
public:
    /// One line as it stands in memory, for reading.
    struct SConfigItem {
        int kind = 0;      ///< 0 other, 1 group, 2 key.
        CStringA rawLine;  ///< The bytes of the line without its line end: LF or CR LF.
        KxString name;     ///< Of a group or a key, decrypted.
        KxString value;    ///< Of a key, decrypted; empty if it cannot be.
    };

    /// Reads the file. @throws KxEncryptionException for a name that cannot be decrypted, naming file, group and key
    explicit KxConfigFastMT(KxString const& path);
    KxConfigFastMT(KxConfigFastMT const&) = delete;
    KxConfigFastMT& operator=(KxConfigFastMT const&) = delete;
    /// Flushes what has changed. What cannot be written is lost with a line on standard error that names the file and the
    /// reason: call Flush where it matters.
    virtual ~KxConfigFastMT();

    // All as in KxConfigFast.
    KxString GetPathName() const;
    KxString GetGroup() const;
    void SetGroup(KxString const& group);
    KxString ReadKey(KxString const& key) const;
    KxString ReadKey(KxString const& key, KxString const& defaultValue) const;
    KxString ReadKey(unsigned short index) const;
    KxString GetKeyName(unsigned short index) const;
    unsigned short GetKeyCount() const;
    unsigned short GetGroupCount() const;
    KxString GetGroup(unsigned short index) const;

    /// The result is 1.
    int WriteKey(KxString const& key, KxString const& value);
    void InsertKey(KxString const& key, KxString const& value);
    void DeleteGroup(KxString const& group);
    void Update(KxConfigFastMT& other);

    /// Writes the file, changed or not; makes its directory if that is missing. @throws KxFileException
    void Flush();
    /// For those to whom a file that cannot be read is no empty one. A missing file is fine.
    /// @throws KxFileException if the file was there but could not be read by the constructor
    void ProofRead() const;

protected:
    SConfigItem* FindKey(KxString const& key) const;
    SConfigItem* FindKey(unsigned short index) const;
    void DeleteCurItem();

private:
    std::unique_ptr<detail::ConfigFile<SConfigItem>> m_file;
};

}  // namespace KxN
