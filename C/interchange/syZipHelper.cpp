// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syZipHelper.h"

#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/sySafeFile.h"
#include "interchange/syZipArchive.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <vector>

namespace KxN {

namespace {

using namespace detail;
namespace fs = std::filesystem;

constexpr std::size_t bufferSize = 0x10000;
constexpr std::size_t longestText = 65535;  // name or comment in an archive
constexpr unsigned long utf8Flag = 0x800, madeBy = 20;

template <class... Arguments>
[[noreturn]] void Throw(unsigned long line, wchar_t const* format, Arguments const&... arguments) {
    KxString text;
    text.SPrintf(format, arguments...);
    throw new KxException(L"syZipHelper", line, text);
}

/// Runs what may throw an exception of the file system, and tells it in the words of this class.
template <class Call>
auto OrThrow(unsigned long line, wchar_t const* format, KxString const& path, Call call) -> decltype(call()) {
    try {
        return call();
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        KxString const reason = CException::TextOf(*exception);
        exception->Delete();
        KxString text;
        text.SPrintf(format, path);
        throw new KxException(L"syZipHelper", line, text + L": " + reason);
    }
}

/// A text for an archive: in the thread's code page, or in UTF-8 if that lacks a character.
std::string Stored(std::wstring_view text, bool& isUtf8) {
    std::string narrow = KxxToNarrow(text);
    isUtf8 = KxxWidenNarrow(narrow) != text;
    return isUtf8 ? KxxToUtf8(text) : narrow;
}

KxString NameInZip(KxString const& sourceFile, KxString const& folderInZip) {
    std::wstring name(folderInZip.View());
    std::replace(name.begin(), name.end(), L'/', L'\\');
    if (!name.empty() && name.back() != L'\\') name += L'\\';
    return KxString(name + std::wstring(KxDirEntry(sourceFile).GetName().View()));
}

/// An archive that is being written. Unless it is closed it is let go.
class Zip {
public:
    Zip(ZipStream& stream, int append) {
        zlib_filefunc64_def functions = stream.Functions();
        m_zip = ::zipOpen2_64("", append, nullptr, &functions);
    }
    Zip(Zip const&) = delete;
    Zip& operator=(Zip const&) = delete;
    ~Zip() {
        if (m_zip) ::zipClose(m_zip, nullptr);
    }
    zipFile Get() const { return m_zip; }
    bool Close(std::string const& comment) {
        return ::zipClose(std::exchange(m_zip, nullptr), comment.c_str()) == ZIP_OK;
    }

private:
    zipFile m_zip = nullptr;
};

/// Tells how far a call is.
class Meter {
public:
    explicit Meter(KxZipHelper::Progress const& progress) : m_progress(progress) {}
    void Expect(ULONGLONG count) {
        if (__builtin_add_overflow(m_all, count, &m_all)) m_all = ~ULONGLONG{0};
    }
    /// So much more is done. Sizes may lie, and files may grow meanwhile.
    void Add(ULONGLONG count) {
        m_done = std::min(m_all, m_done + std::min(m_all - m_done, count));
        if (m_progress) m_progress(m_done, m_all);
    }

private:
    KxZipHelper::Progress const& m_progress;
    ULONGLONG m_done = 0;
    ULONGLONG m_all = 0;
};

/// Puts files into one archive.
class Packing {
public:
    Packing(KxString const& zipPath, KxZipHelper::Progress const& progress)
        : m_zipFile(zipPath), m_meter(progress), m_buffer(bufferSize) {}

    void Run(KxTDynArray<SxZipSource> const& sources, KxString const& globalComment, KxZipHelper::Mode mode) {
        Check(sources, globalComment, mode);
        std::optional<KxSafeFile> whole;
        std::optional<ZipStream> stream;
        std::optional<CFile> old;
        OrThrow(__LINE__, L"Failed to create zip file: %s", m_zipFile, [&] {
            whole.emplace(m_zipFile);
            stream.emplace(whole->GetTemporaryPath(), CFile::modeReadWrite);
            if (mode == KxZipHelper::Mode::replace || !KxDirEntry(m_zipFile).Exists(1)) return;
            old.emplace(m_zipFile, CFile::modeRead);
            std::string oldComment;
            if (IsEmptyArchive(*old, oldComment)) return old.reset();
            if (!HasEnd(*old)) Throw(__LINE__, L"no zip file");
            m_meter.Expect(old->GetLength());
            old->Seek(0, CFile::begin);
        });
        m_meter.Add(0);
        while (old) {
            UINT const count = OrThrow(__LINE__, L"Failed to create zip file: %s", m_zipFile, [&] {
                UINT const got = old->Read(m_buffer.data(), static_cast<UINT>(m_buffer.size()));
                stream->File().Write(m_buffer.data(), got);
                return got;
            });
            if (count == 0) break;
            m_meter.Add(count);
        }
        Zip zip(*stream, old ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE);
        if (!zip.Get()) Throw(__LINE__, L"Failed to create zip file: %s%s", m_zipFile, stream->Reason());
        for (SxZipSource const& source : sources) PutIn(zip.Get(), *stream, source);
        if (!zip.Close(m_comment))
            Throw(__LINE__, L"Failed to write to file in zip file: %s%s", m_zipFile, stream->Reason());
        OrThrow(__LINE__, L"Failed to write to file in zip file: %s", m_zipFile, [&] {
            // The directory and the comment that stood there before may have been longer.
            stream->File().SetLength(stream->File().GetPosition());
            stream->File().Close();
        });
        m_meter.Add(0);  // the last chance to end it
        OrThrow(__LINE__, L"Failed to write to file in zip file: %s", m_zipFile, [&] { whole->Commit(); });
    }

private:
    /// All that can be known before anything is written.
    void Check(KxTDynArray<SxZipSource> const& sources, KxString const& globalComment, KxZipHelper::Mode mode) {
        bool isUtf8 = false;
        m_comment = Stored(globalComment.View(), isUtf8);
        bool isTooLong = m_comment.size() > longestText || m_comment.find('\0') != m_comment.npos;
        ZipNames names;
        for (SxZipSource const& source : sources) {
            OrThrow(__LINE__, L"Failed to open file: %s", source.file,
                    [&] { m_meter.Expect(CFile(source.file, CFile::modeRead).GetLength()); });
            ZipEntry const entry{{}, NameInZip(source.file, source.folderInZip)};
            isTooLong = isTooLong || Stored(entry.name.View(), isUtf8).size() > longestText;
            if (mode == KxZipHelper::Mode::replace && names.Accept(entry).Len() == 0)
                Throw(__LINE__, L"Failed to accept name of current file %s in zip file: %s", entry.name, m_zipFile);
        }
        if (isTooLong) Throw(__LINE__, L"Failed to open new file in zip file: %s: name or comment too long", m_zipFile);
    }

    void PutIn(zipFile zip, ZipStream& stream, SxZipSource const& from) {
        CFile source;
        OrThrow(__LINE__, L"Failed to open file: %s", from.file,
                [&] { source.Open(from.file, CFile::modeRead), source.GetLength(); });
        bool isUtf8 = false;
        std::string const name = Stored(NameInZip(from.file, from.folderInZip).View(), isUtf8);
        zip_fileinfo info{};
        info.dosDate = DosTime(from.file);
        bool const isLarge = source.GetLength() >= 0xffffffffU - source.GetLength() / 1000;
        if (::zipOpenNewFileInZip4_64(zip, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                                      Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS, DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY, nullptr,
                                      0, madeBy, isUtf8 ? utf8Flag : 0, isLarge) != ZIP_OK)
            Throw(__LINE__, L"Failed to open new file in zip file: %s%s", m_zipFile, stream.Reason());
        for (;;) {
            UINT const count = OrThrow(__LINE__, L"Failed to read file: %s", from.file, [&] {
                return source.Read(m_buffer.data(), static_cast<UINT>(m_buffer.size()));
            });
            if (count == 0) break;
            if (::zipWriteInFileInZip(zip, m_buffer.data(), count) != ZIP_OK)
                Throw(__LINE__, L"Failed to write to file in zip file: %s%s", m_zipFile, stream.Reason());
            m_meter.Add(count);
        }
        if (::zipCloseFileInZip(zip) != ZIP_OK)
            Throw(__LINE__, L"Failed to write to file in zip file: %s%s", m_zipFile, stream.Reason());
    }

    KxString m_zipFile;
    std::string m_comment;
    Meter m_meter;
    std::vector<char> m_buffer;
};

}  // namespace

bool KxZipHelper::CompressFile(KxString const& sourceFile, KxString const& zipFile, KxString const& folderInZip,
                               KxString const& globalComment) {
    KxTDynArray<SxZipSource> sources;
    sources.Add({sourceFile, folderInZip});
    return CompressFiles(sources, zipFile, globalComment, Mode::add);
}

bool KxZipHelper::CompressFiles(KxTDynArray<SxZipSource> const& sources, KxString const& zipFile,
                                KxString const& globalComment, Mode mode, Progress const& progress) {
    Packing(zipFile, progress).Run(sources, globalComment, mode);
    return true;
}

namespace {

/// An archive to be read, which must not outlive its stream. Null for one of no files, whose comment it tells.
UnzipHandle Open(KxString const& zipFile, std::optional<ZipStream>& stream, std::string& comment) {
    bool const isEmpty = OrThrow(__LINE__, L"Failed to open zip file: %s", zipFile, [&] {
        stream.emplace(zipFile, CFile::modeRead);
        if (IsEmptyArchive(stream->File(), comment)) return true;
        if (!HasEnd(stream->File())) Throw(__LINE__, L"no zip file");
        return false;
    });
    if (isEmpty) return nullptr;
    zlib_filefunc64_def functions = stream->Functions();
    UnzipHandle archive(::unzOpen2_64("", &functions));
    if (!archive) Throw(__LINE__, L"Failed to open zip file: %s%s", zipFile, stream->Reason());
    return archive;
}

/// Takes the files of one archive out.
class Unpacking {
public:
    Unpacking(KxString const& zipPath, KxString const& targetFolder, KxTMap<KxString, KxString>& files,
              KxZipHelper::Progress const& progress)
        : m_zipFile(zipPath), m_folder(targetFolder), m_files(files), m_meter(progress), m_buffer(bufferSize) {}

    void Run() {
        std::optional<ZipStream> stream;
        std::string comment;
        UnzipHandle const archive = Open(m_zipFile, stream, comment);
        if (!archive) return;
        m_left = std::min<ULONGLONG>(KxxLimits().zipTotal,
                                     SaturatedProduct(stream->File().GetLength(), KxxLimits().zipRatio));
        if (::unzGoToFirstFile(archive.get()) != UNZ_OK)
            Throw(__LINE__, L"Failed to go to first file in zip file: %s%s", m_zipFile, stream->Reason());
        CheckNames(archive.get());
        if (::unzGoToFirstFile(archive.get()) != UNZ_OK)
            Throw(__LINE__, L"Failed to go to first file in zip file: %s", m_zipFile);
        m_meter.Add(0);
        if (!KxDirEntry(m_folder).Exists(1) && !KxDirEntry(m_folder).MakeDir(1))
            Throw(__LINE__, L"Failed to open temp file: %s", m_folder);
        ForEach(archive.get(), [&](ZipEntry const& entry, KxString const& path) {
            TakeOut(archive.get(), stream->File(), entry, path);
        });
        if (m_unreadable.Len() > 0)
            Throw(__LINE__, L"Failed to open current file %s in zip file: %s: encrypted, or compressed by method %lu",
                  m_unreadable, m_zipFile, m_unreadableMethod);
    }

private:
    static ULONGLONG SaturatedProduct(ULONGLONG a, ULONGLONG b) {
        ULONGLONG product = 0;
        return __builtin_mul_overflow(a, b, &product) ? ~ULONGLONG{0} : product;
    }

    template <class Visit>
    void ForEach(unzFile archive, Visit visit) {
        ZipNames names;
        ZipEntry entry;
        int result = UNZ_OK;
        for (; result == UNZ_OK; result = ::unzGoToNextFile(archive)) {
            if (!ReadEntry(archive, entry))
                Throw(__LINE__, L"Failed to get file info of current file %s in zip file: %s", entry.name, m_zipFile);
            KxString const path = names.Accept(entry);
            if (path.Len() == 0)
                Throw(__LINE__, L"Failed to accept name of current file %s in zip file: %s", entry.name, m_zipFile);
            visit(entry, path);
        }
        if (result != UNZ_END_OF_LIST_OF_FILE)
            Throw(__LINE__, L"Failed to get file info of current file %s in zip file: %s", KxString(L"?"), m_zipFile);
    }

    void CheckNames(unzFile archive) {
        ForEach(archive, [&](ZipEntry const& entry, KxString const&) {
            if (entry.IsReadable()) m_meter.Expect(entry.info.uncompressed_size);
        });
    }

    /// Makes the folders of a path below the target one by one. A link that stands there already must not lead out.
    void MakeFolder(fs::path const& inner) {
        fs::path folder = Root();
        for (fs::path const& part : inner) {
            folder /= part;
            std::error_code error;
            fs::create_directory(folder, error);  // what is there is looked at
            fs::file_status const status = fs::symlink_status(folder, error);
            if (!fs::is_directory(status))
                Throw(__LINE__, L"Failed to open temp file: %s", KxxFromSystemPath(folder.string()));
        }
    }
    fs::path Root() const { return KxxToSystemPath(m_folder.View()); }

    void TakeOut(unzFile archive, CFile& stream, ZipEntry const& entry, KxString const& path) {
        fs::path const inner = KxxToSystemPath(path.View());
        if (entry.IsFolder()) return MakeFolder(inner);
        if (!entry.IsReadable()) {
            if (m_unreadable.Len() == 0) {
                m_unreadable = entry.name;
                m_unreadableMethod = entry.info.compression_method;
            }
            return;
        }
        MakeFolder(inner.parent_path());
        auto const content = OrThrow(__LINE__, L"Failed to open zip file: %s", m_zipFile,
                                     [&] { return std::make_unique<ZipContent>(archive, stream, entry); });
        if (!content->IsOpen())
            Throw(__LINE__, L"Failed to open current file %s in zip file: %s", entry.name, m_zipFile);
        fs::path const full = Root() / inner;
        KxString const target = KxxFromSystemPath(full.string());
        std::error_code error;
        // What is written to a link goes to where that leads.
        if (fs::is_symlink(fs::symlink_status(full, error))) Throw(__LINE__, L"Failed to open temp file: %s", target);
        std::optional<KxSafeFile> file;
        OrThrow(__LINE__, L"Failed to open temp file: %s", target, [&] { file.emplace(target); });
        for (;;) {
            int const count = content->Read(m_buffer.data(), static_cast<unsigned>(m_buffer.size()));
            if (count == 0) break;
            if (count < 0) Throw(__LINE__, L"Failed to read current file %s in zip file: %s", entry.name, m_zipFile);
            if (static_cast<ULONGLONG>(count) > m_left)
                Throw(__LINE__, L"Failed to read current file %s in zip file: %s: more data than allowed", entry.name,
                      m_zipFile);
            m_left -= static_cast<ULONGLONG>(count);
            OrThrow(__LINE__, L"Failed to write file: %s", target,
                    [&] { file->Write(m_buffer.data(), static_cast<std::size_t>(count)); });
            m_meter.Add(static_cast<ULONGLONG>(count));
        }
        if (!content->IsRight())
            Throw(__LINE__, L"Failed to read current file %s in zip file: %s: wrong checksum", entry.name, m_zipFile);
        OrThrow(__LINE__, L"Failed to write file: %s", target, [&] { file->Commit(); });
        SetDosTime(target, entry.info.dosDate);
        m_files[entry.name] = target;
    }

    KxString m_zipFile;
    KxString m_folder;
    KxTMap<KxString, KxString>& m_files;
    Meter m_meter;
    std::vector<char> m_buffer;
    ULONGLONG m_left = 0;  // bytes that may still come out
    KxString m_unreadable;
    unsigned long m_unreadableMethod = 0;
};

}  // namespace

bool KxZipHelper::UncompressFiles(KxString const& zipFile, KxString const& targetFolder,
                                  KxTMap<KxString, KxString>& files) {
    return UncompressFiles(zipFile, targetFolder, files, {});
}

bool KxZipHelper::UncompressFiles(KxString const& zipFile, KxString const& targetFolder,
                                  KxTMap<KxString, KxString>& files, Progress const& progress) {
    Unpacking(zipFile, targetFolder, files, progress).Run();
    return true;
}

bool KxZipHelper::GetGlobalComment(KxString const& zipFile, KxString& comment) {
    if (!KxDirEntry(zipFile).Exists(1)) Throw(__LINE__, L"File does not exist: %s", zipFile);
    std::optional<ZipStream> stream;
    std::string bytes;
    if (UnzipHandle const archive = Open(zipFile, stream, bytes)) {
        unz_global_info64 info{};
        if (::unzGetGlobalInfo64(archive.get(), &info) != UNZ_OK)
            Throw(__LINE__, L"Failed to get global info from zip file: %s", zipFile);
        bytes.resize(info.size_comment);
        int const length = bytes.empty() ? 0 : ::unzGetGlobalComment(archive.get(), bytes.data(), bytes.size());
        bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    if (bytes.empty()) Throw(__LINE__, L"Failed to get global comment from zip file: %s", zipFile);
    comment = KxString(KxxIsUtf8(bytes) ? KxxWidenUtf8(bytes) : KxxWidenNarrow(bytes));
    return true;
}

}  // namespace KxN
