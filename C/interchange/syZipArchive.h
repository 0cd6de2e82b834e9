// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Archives beneath KxZipHelper. Content is packed and unpacked by zlib; the records of an archive are written and read here,
// over a CFile: every failure of the medium is seen, and the directory of what comes from anywhere is believed in nothing.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syString.h"

#include <zlib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KxN::detail {

/// One file or folder, as the directory of an archive tells it.
struct ZipEntry {
    unsigned flags = 0, method = 0;
    unsigned long time = 0;  // date in the upper and time in the lower word, in two seconds
    unsigned long crc = 0;
    ULONGLONG packed = 0;  // bytes
    ULONGLONG size = 0;    // bytes that come out
    ULONGLONG begin = 0;   // in the file
    ULONGLONG end = 0;     // where the next one begins
    KxString name;         // with backslashes

    bool IsFolder() const { return name.View().ends_with(L'\\'); }
    /// Neither encrypted, nor packed in a way that is not known here, nor a folder with content.
    bool IsReadable() const;
};

/// The directory of an archive. Its end record is what looks like one and is nearest to the end of the file. It should fit
/// there exactly; up to 64 KiB of other bytes behind it are passed over, if no other record fits. The one with large numbers
/// ends at the locator directly before it.
class ZipDirectory {
public:
    /// Looks for the directory. @throws KxException with the reason, CFileException
    explicit ZipDirectory(CFile& file);
    /// Reads it, in the order of the directory. False if it is damaged behind the entries that are there then.
    bool Read();

    std::vector<ZipEntry> const& Entries() const { return m_entries; }
    std::string const& Comment() const { return m_comment; }
    /// Where it begins and ends in the file.
    ULONGLONG Begin() const { return m_begin; }
    ULONGLONG End() const { return m_begin + m_size; }
    /// How many bytes stand in front of the archive.
    ULONGLONG Front() const { return m_begin - m_offset; }
    /// Whether there is anything behind the archive.
    bool HasMore() const { return m_hasMore; }

private:
    bool TakeLargeEnd(ULONGLONG& end);
    bool ReadEntry(ULONGLONG& position);
    bool SetEnds();

    CFile& m_file;
    ULONGLONG m_count = 0;
    ULONGLONG m_size = 0;
    ULONGLONG m_offset = 0;  // as it is written: less than m_begin if something stands before the archive
    ULONGLONG m_begin = 0;
    bool m_isLarge = false, m_hasMore = false;
    std::string m_comment;
    std::vector<ZipEntry> m_entries;
};

/// Adds entries, one after the other, and then the directory of an archive. What fails leaves the file unfinished.
class ZipWriter {
public:
    /// Writes where the file stands, which outlives it and has so many bytes in front of the archive. @throws std::bad_alloc
    ZipWriter(CFile& file, ULONGLONG front);
    ZipWriter(ZipWriter const&) = delete;
    ZipWriter& operator=(ZipWriter const&) = delete;
    ~ZipWriter();

    /// Begins an entry of about so many bytes. The name has at most 65535 bytes. @throws CFileException, std::bad_alloc
    void Open(std::string name, unsigned flags, unsigned long time, ULONGLONG expected);
    /// @throws CFileException
    void Write(char const* data, unsigned size);
    /// Ends it. @throws KxException if it became larger than was expected, and than 4 GiB; CFileException, std::bad_alloc
    void Close();
    /// Ends the directory, which has its `former` records from `begin` to here. @throws CFileException, std::bad_alloc
    void WriteDirectory(ULONGLONG begin, ULONGLONG former, std::string const& comment);

private:
    std::string Record(bool isInDirectory) const;
    void Deflate(int flush);
    void Put(std::string_view bytes);

    CFile& m_file;
    ULONGLONG m_front;
    std::string m_directory;  // of the new entries
    ULONGLONG m_count = 0;
    // The current entry:
    std::string m_name;
    unsigned m_flags = 0;
    unsigned long m_time = 0, m_crc = 0;
    ULONGLONG m_begin = 0, m_size = 0, m_packedSize = 0;
    bool m_isLarge = false;
    std::vector<unsigned char> m_packed;
    z_stream m_stream{};
};

/// What entries hold, one after the other.
class ZipContent {
public:
    explicit ZipContent(CFile& file);
    ZipContent(ZipContent const&) = delete;
    ZipContent& operator=(ZipContent const&) = delete;
    ~ZipContent();

    /// Begins one, which is readable and outlives the reading. False if it is not there. @throws CFileException
    bool Open(ZipEntry const& entry);
    /// Bytes that came out; 0 at the end, -1 if the archive is damaged. @throws CFileException
    int Read(char* buffer, unsigned size);
    /// At the end: whether size and checksum are those of the directory.
    bool IsRight() const { return m_size == m_entry->size && m_crc == m_entry->crc; }

private:
    bool Refill();

    CFile& m_file;
    ZipEntry const* m_entry = nullptr;
    bool m_isAtEnd = false;
    ULONGLONG m_left = 0;  // packed bytes that were not read yet
    ULONGLONG m_size = 0;  // that came out
    unsigned long m_crc = 0;
    std::vector<unsigned char> m_packed;
    z_stream m_stream{};
};

/// Names that are to stand beside each other in folders.
class ZipNames {
public:
    static constexpr std::size_t none = ~std::size_t{0};

    /// The name of an entry as a path below a folder, with slashes; null text for a name that must not be, see KxZipHelper.
    /// `folder` is how many bytes the folder takes.
    static KxString PathOf(KxString const& name, std::size_t folder = 0);

    /// The next one; they have the numbers 0, 1, ...
    void Add(KxString const& path, bool isFolder);
    /// The number of a name, from `first` on, that another one has too but for the case of letters, or a file that is a folder
    /// of another; or `none`. The very same name may stand there again for files, but not twice from `once` on.
    std::size_t Clash(std::size_t first, std::size_t once);
    /// Behind Clash: which files have a later one of the same name.
    std::vector<bool> Overtaken() const;

private:
    struct Name {
        std::string key;  // in upper case
        std::string path;
        std::size_t number;
        bool isFolder;
    };
    std::vector<Name> m_names;
    std::size_t m_count = 0;
};

/// A comment as an archive holds it, which says nothing of its code page: what is no UTF-8 is in the thread's.
KxString CommentOf(std::string const& bytes);

/// @throws KxDirEntryException if the system cannot tell it
unsigned long DosTime(KxString const& path);
void SetDosTime(KxString const& path, unsigned long time);

}  // namespace KxN::detail
