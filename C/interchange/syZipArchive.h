// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Archives beneath KxZipHelper: the library's calls over a CFile, so that every failure of the medium is seen, and names as
// they come out of an archive that nobody vouches for.
#pragma once

#include "hbtools/base/syFile.h"
#include "hbtools/base/syString.h"

#include <minizip/unzip.h>
#include <minizip/zip.h>

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace KxN::detail {

/// A file that the zip library reads or writes. Its exceptions do not pass through the library; they are kept.
class ZipStream {
public:
    /// @throws CFileException
    ZipStream(KxString const& path, UINT openFlags) : m_file(path, openFlags) {}

    CFile& File() { return m_file; }
    /// Why something failed, ": " in front; empty if the medium is not to blame.
    KxString const& Reason() const { return m_reason; }
    zlib_filefunc64_def Functions();

private:
    template <class Call>
    auto Guarded(decltype(std::declval<Call>()()) failure, Call call) noexcept -> decltype(call());

    CFile m_file;
    KxString m_reason;
};

/// Whether the file ends as an archive does: what looks like its end record and is nearest to the end fits exactly. So nothing
/// in a comment is taken for it.
bool HasEnd(CFile& file);
/// An archive of no files, which the zip library does not know: 22 bytes and a comment.
bool IsEmptyArchive(CFile& file, std::string& comment);

struct ZipCloser {
    void operator()(void* archive) const { ::unzClose(archive); }
};
using UnzipHandle = std::unique_ptr<void, ZipCloser>;

/// One entry, as the directory of the archive tells it.
struct ZipEntry {
    static constexpr ULONGLONG unknown = ~ULONGLONG{0};

    unz_file_info64 info;
    KxString name;               // with backslashes
    ULONGLONG offset = unknown;  // in the archive, if it is beyond 4 GiB

    bool IsFolder() const { return name.View().ends_with(L'\\'); }
    bool IsReadable() const;  // neither encrypted nor packed in a way that is not known here
};
/// The current one. False if the archive is damaged there.
bool ReadEntry(unzFile archive, ZipEntry& entry);

/// What the current entry holds. The library stops at 4 GiB, and does not find what begins behind them.
class ZipContent {
public:
    /// The entry is readable, and both outlive this.
    ZipContent(unzFile archive, CFile& file, ZipEntry const& entry);
    ZipContent(ZipContent const&) = delete;
    ZipContent& operator=(ZipContent const&) = delete;
    ~ZipContent();

    bool IsOpen() const { return m_isOpen; }
    /// Bytes that came out; 0 at the end, -1 if the archive is damaged or cannot be read.
    int Read(char* buffer, unsigned size) noexcept;
    /// At the end: whether size and checksum are those of the directory.
    bool IsRight() const { return m_size == m_entry.info.uncompressed_size && m_crc == m_entry.info.crc; }

private:
    bool Refill();

    CFile& m_file;
    ZipEntry const& m_entry;
    bool m_isOpen = false;
    bool m_isAtEnd = false;
    ULONGLONG m_left;      // packed bytes that were not read yet
    ULONGLONG m_size = 0;  // that came out
    unsigned long m_crc = 0;
    std::vector<unsigned char> m_packed;
    z_stream m_stream{};
};

/// The names that have come so far.
class ZipNames {
public:
    /// The name as a path below a folder, with slashes; null text for a name that must not be. See KxZipHelper.
    KxString Accept(ZipEntry const& entry);

private:
    std::set<std::wstring> m_files;    // in upper case
    std::set<std::wstring> m_folders;  // of files and of their own
};

/// Date in the upper and time in the lower word, in two seconds.
unsigned long DosTime(KxString const& path);
void SetDosTime(KxString const& path, unsigned long time);

}  // namespace KxN::detail
