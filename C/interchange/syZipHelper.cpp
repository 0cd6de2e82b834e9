// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syZipHelper.h"

#include "base/syCaught.h"
#include "base/sySafeFiles.h"
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
constexpr unsigned utf8Flag = 0x800;

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
        KxString const reason = TakeText(exception);
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

/// A comment, which CommentOf turns back.
std::string StoredComment(KxString const& comment) {
    bool isUtf8 = false;
    std::string bytes = Stored(comment.View(), isUtf8);
    return CommentOf(bytes) == comment ? bytes : KxxToUtf8(comment.View());  // in the code page it may look like UTF-8
}

KxString NameInZip(KxString const& sourceFile, KxString const& folderInZip) {
    std::wstring name(folderInZip.View());
    std::replace(name.begin(), name.end(), L'/', L'\\');
    if (!name.empty() && name.back() != L'\\') name += L'\\';
    return KxString(name + std::wstring(KxDirEntry(sourceFile).GetName().View()));
}

void MakeBuffer(std::vector<char>& buffer, KxString const& zipFile) {
    try {
        buffer.resize(bufferSize);
    } catch (std::bad_alloc const&) {
        Throw(__LINE__, L"Failed to create buffer for zip file: %s", zipFile);
    }
}

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
    Packing(KxString const& zipPath, KxZipHelper::Progress const& progress) : m_zipFile(zipPath), m_meter(progress) {}

    void Run(KxTDynArray<SxZipSource> const& sources, KxString const& globalComment, KxZipHelper::Mode mode) {
        for (SxZipSource const& source : sources)
            OrThrow(__LINE__, L"Failed to open file: %s", source.file,
                    [&] { m_meter.Expect(CFile(source.file, CFile::modeRead).GetLength()); });
        ReadOld(mode);
        Check(sources, globalComment);
        MakeBuffer(m_buffer, m_zipFile);
        std::optional<KxSafeFile> whole;
        std::optional<ZipWriter> writer;
        OrThrow(__LINE__, L"Failed to create zip file: %s", m_zipFile, [&] {
            whole.emplace(m_zipFile);
            whole->Open(m_new);
            writer.emplace(m_new, m_directory ? m_directory->Front() : 0);
        });
        m_meter.Add(0);
        if (m_directory) CopyOld(0, m_directory->Begin());
        for (SxZipSource const& source : sources) PutIn(*writer, source);
        ULONGLONG const begin = m_new.GetPosition();
        if (m_directory) CopyOld(m_directory->Begin(), m_directory->End());
        OrThrow(__LINE__, L"Failed to write to file in zip file: %s", m_zipFile, [&] {
            writer->WriteDirectory(begin, m_directory ? m_directory->Entries().size() : 0, m_comment);
            m_new.Close();
        });
        m_meter.Add(m_directory ? m_oldLength - m_directory->End() : 0);  // the last chance to end it
        OrThrow(__LINE__, L"Failed to write to file in zip file: %s", m_zipFile, [&] { whole->Commit(); });
    }

private:
    /// The archive that is added to, if there is one with anything in it.
    void ReadOld(KxZipHelper::Mode mode) {
        if (mode == KxZipHelper::Mode::replace || !KxDirEntry(m_zipFile).Exists(1)) return;
        OrThrow(__LINE__, L"Failed to create zip file: %s", m_zipFile, [&] {
            m_old.emplace(m_zipFile, CFile::modeRead);
            m_oldLength = m_old->GetLength();
            m_directory.emplace(*m_old);
            if (!m_directory->Read()) Throw(__LINE__, L"damaged directory");
            if (m_directory->HasMore()) Throw(__LINE__, L"something stands behind its end");
        });
        m_meter.Expect(m_oldLength);
    }

    /// Before anything is written: what cannot come out, also because of what is there already, does not go in.
    void Check(KxTDynArray<SxZipSource> const& sources, KxString const& globalComment) {
        m_comment = StoredComment(globalComment);
        if (m_comment.size() > longestText || m_comment.find('\0') != m_comment.npos ||
            m_comment.find("PK\5\6") != m_comment.npos)
            Throw(__LINE__, L"Failed to create zip file: %s: comment too long, or with characters that end it",
                  m_zipFile);
        ZipNames names;
        if (m_directory) {
            for (ZipEntry const& entry : m_directory->Entries())
                names.Add(ZipNames::PathOf(entry.name), entry.IsFolder());  // without a name where it has none here
        }
        std::size_t const first = m_directory ? m_directory->Entries().size() : 0;
        for (SxZipSource const& source : sources) {
            KxString const name = NameInZip(source.file, source.folderInZip), path = ZipNames::PathOf(name);
            if (path.Len() == 0) Refuse(name);
            names.Add(path, false);
        }
        std::size_t const clash = names.Clash(first, first);
        if (clash == ZipNames::none) return;
        SxZipSource const& source = sources[static_cast<int>(clash - first)];
        Refuse(NameInZip(source.file, source.folderInZip));
    }
    [[noreturn]] void Refuse(KxString const& name) {
        Throw(__LINE__, L"Failed to accept name of current file %s in zip file: %s", name, m_zipFile);
    }

    /// Entries of the archive, or its directory, as they are.
    void CopyOld(ULONGLONG begin, ULONGLONG end) {
        OrThrow(__LINE__, L"Failed to create zip file: %s", m_zipFile,
                [&] { m_old->Seek(static_cast<LONGLONG>(begin), CFile::begin); });
        while (begin < end) {
            UINT const count = OrThrow(__LINE__, L"Failed to create zip file: %s", m_zipFile, [&] {
                UINT const got =
                    m_old->Read(m_buffer.data(), static_cast<UINT>(std::min<ULONGLONG>(end - begin, m_buffer.size())));
                if (got == 0) Throw(__LINE__, L"it became shorter");
                m_new.Write(m_buffer.data(), got);
                return got;
            });
            begin += count;
            m_meter.Add(count);
        }
    }

    void PutIn(ZipWriter& writer, SxZipSource const& from) {
        CFile source;
        ULONGLONG const size = OrThrow(__LINE__, L"Failed to open file: %s", from.file, [&] {
            source.Open(from.file, CFile::modeRead);
            return source.GetLength();
        });
        auto const time = OrThrow(__LINE__, L"Failed to open file: %s", from.file, [&] { return DosTime(from.file); });
        bool isUtf8 = false;
        std::string name = Stored(NameInZip(from.file, from.folderInZip).View(), isUtf8);
        OrThrow(__LINE__, L"Failed to open new file in zip file: %s", m_zipFile,
                [&] { writer.Open(std::move(name), isUtf8 ? utf8Flag : 0, time, size); });
        for (;;) {
            UINT const count = OrThrow(__LINE__, L"Failed to read file: %s", from.file, [&] {
                return source.Read(m_buffer.data(), static_cast<UINT>(m_buffer.size()));
            });
            if (count == 0) break;
            OrThrow(__LINE__, L"Failed to write to file in zip file: %s", m_zipFile,
                    [&] { writer.Write(m_buffer.data(), count); });
            m_meter.Add(count);
        }
        OrThrow(__LINE__, L"Failed to write to file in zip file: %s", m_zipFile, [&] { writer.Close(); });
    }

    KxString m_zipFile;
    std::string m_comment;
    Meter m_meter;
    std::vector<char> m_buffer;
    std::optional<CFile> m_old;
    ULONGLONG m_oldLength = 0;
    std::optional<ZipDirectory> m_directory;  // of the old one
    CFile m_new;
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

/// Takes the files of one archive out.
class Unpacking {
public:
    Unpacking(KxString const& zipPath, KxString const& targetFolder, KxTMap<KxString, KxString>& files,
              KxZipHelper::Progress const& progress)
        : m_zipFile(zipPath), m_root(KxxToSystemPath(targetFolder.View())), m_files(files), m_meter(progress) {}

    void Run() {
        std::optional<CFile> file;
        std::optional<ZipDirectory> directory;
        bool const isWhole = OrThrow(__LINE__, L"Failed to open zip file: %s", m_zipFile, [&] {
            file.emplace(m_zipFile, CFile::modeRead);
            directory.emplace(*file);
            m_left =
                std::min<ULONGLONG>(KxxLimits().zipTotal, SaturatedProduct(file->GetLength(), KxxLimits().zipRatio));
            return directory->Read();
        });
        std::vector<ZipEntry> const& entries = directory->Entries();
        if (!isWhole && entries.empty()) Throw(__LINE__, L"Failed to go to first file in zip file: %s", m_zipFile);
        if (!isWhole) {
            KxString number;
            number.SPrintf(L"no. %llu", static_cast<ULONGLONG>(entries.size() + 1));
            Throw(__LINE__, L"Failed to get file info of current file %s in zip file: %s: damaged, or entries overlap",
                  number, m_zipFile);
        }
        CheckNames(entries);
        MakeBuffer(m_buffer, m_zipFile);
        m_meter.Add(0);
        KxString const folder = KxxFromSystemPath(m_root.string());
        for (fs::path made = m_root; !made.empty() && made != made.parent_path() && !IsThere(made);
             made = made.parent_path())
            m_safe.AddFolder(KxxFromSystemPath(made.has_parent_path() ? made.parent_path().string() : "."));
        std::error_code error;
        fs::create_directories(m_root, error);
        if (!m_root.empty() && !IsThere(m_root)) Throw(__LINE__, L"Failed to open temp file: %s", folder);
        ZipContent content(*file);
        try {
            for (std::size_t i = 0; i < entries.size(); ++i)
                if (!m_overtaken[i]) TakeOut(content, entries[i]);
            Place([&] { m_safe.Commit(); });
        } catch (...) {
            KeepWhole();
            throw;
        }
        if (m_unreadable)
            Throw(__LINE__, L"Failed to open current file %s in zip file: %s: encrypted, or compressed by method %u%s",
                  m_unreadable->name, m_zipFile, m_unreadable->method,
                  KxString(m_unreadable->IsFolder() ? L", or a folder with content" : L""));
    }

private:
    static ULONGLONG SaturatedProduct(ULONGLONG a, ULONGLONG b) {
        ULONGLONG product = 0;
        return __builtin_mul_overflow(a, b, &product) ? ~ULONGLONG{0} : product;
    }

    void CheckNames(std::vector<ZipEntry> const& entries) {
        ZipNames names;
        auto const refuse = [&](ZipEntry const& entry) {
            Throw(__LINE__, L"Failed to accept name of current file %s in zip file: %s", entry.name, m_zipFile);
        };
        for (ZipEntry const& entry : entries) {
            KxString const path = ZipNames::PathOf(entry.name, m_root.native().size());
            if (path.Len() == 0) refuse(entry);
            names.Add(path, entry.IsFolder());
        }
        std::size_t const clash = names.Clash(0, ZipNames::none);
        if (clash != ZipNames::none) refuse(entries[clash]);
        m_overtaken = names.Overtaken();
        for (std::size_t i = 0; i < entries.size(); ++i)
            if (!m_overtaken[i] && entries[i].IsReadable()) m_meter.Expect(entries[i].size);
    }

    static bool IsThere(fs::path const& path) {
        std::error_code error;
        return fs::exists(path, error);
    }

    /// Makes the folders of a path below the target one by one. A link that stands there already must not lead out.
    void MakeFolder(fs::path const& inner) {
        if (inner == m_lastFolder) return;
        fs::path folder = m_root;
        for (fs::path const& part : inner) {
            folder /= part;
            std::error_code error;
            if (fs::create_directory(folder, error))  // what is there is looked at
                m_safe.AddFolder(KxxFromSystemPath(folder.has_parent_path() ? folder.parent_path().string() : "."));
            fs::file_status const status = fs::symlink_status(folder, error);
            if (!fs::is_directory(status))
                Throw(__LINE__, L"Failed to open temp file: %s", KxxFromSystemPath(folder.string()));
        }
        m_lastFolder = inner;
    }

    void TakeOut(ZipContent& content, ZipEntry const& entry) {
        fs::path const inner = KxxToSystemPath(ZipNames::PathOf(entry.name).View());
        if (entry.IsFolder()) MakeFolder(inner);
        if (!entry.IsReadable()) {
            if (!m_unreadable) m_unreadable = &entry;
            return;
        }
        if (entry.IsFolder()) return;
        MakeFolder(inner.parent_path());
        if (!OrThrow(__LINE__, L"Failed to open zip file: %s", m_zipFile, [&] { return content.Open(entry); }))
            Throw(__LINE__, L"Failed to open current file %s in zip file: %s", entry.name, m_zipFile);
        fs::path const full = m_root / inner;
        KxString const target = KxxFromSystemPath(full.string());
        std::error_code error;
        // What is written to a link goes to where that leads.
        if (fs::is_symlink(fs::symlink_status(full, error))) Throw(__LINE__, L"Failed to open temp file: %s", target);
        OrThrow(__LINE__, L"Failed to open temp file: %s", target, [&] { m_safe.Begin(target); });
        for (;;) {
            int const count = OrThrow(__LINE__, L"Failed to open zip file: %s", m_zipFile, [&] {
                return content.Read(m_buffer.data(), static_cast<unsigned>(m_buffer.size()));
            });
            if (count == 0) break;
            if (count < 0) Throw(__LINE__, L"Failed to read current file %s in zip file: %s", entry.name, m_zipFile);
            if (static_cast<ULONGLONG>(count) > m_left)
                Throw(__LINE__, L"Failed to read current file %s in zip file: %s: more data than allowed", entry.name,
                      m_zipFile);
            m_left -= static_cast<ULONGLONG>(count);
            OrThrow(__LINE__, L"Failed to write file: %s", target,
                    [&] { m_safe.Write(m_buffer.data(), static_cast<std::size_t>(count)); });
            m_meter.Add(static_cast<ULONGLONG>(count));
        }
        if (!content.IsRight())
            Throw(__LINE__, L"Failed to read current file %s in zip file: %s: wrong checksum", entry.name, m_zipFile);
        SetDosTime(m_safe.GetTemporaryPath(), entry.time);
        m_ended.push_back({entry.name, target});
        Place([&] { m_safe.End(); });
    }

    /// Enters the files that have their names by now.
    void Tell() {
        for (; m_told < m_safe.CountPlaced(); ++m_told) m_files[m_ended[m_told].name] = m_ended[m_told].path;
    }
    template <class Call>
    void Place(Call call) {
        KxString atFault = KxxFromSystemPath(m_root.string());
        OrThrow(__LINE__, L"Failed to write file: %s", atFault, [&] {
            try {
                call();
            } catch (KxDirEntryException* exception) {
                atFault = exception->GetPath();
                throw;
            }
        });
        Tell();
    }
    /// The failure that ends it all is told, not what comes on top.
    void KeepWhole() noexcept {
        try {
            m_safe.Commit();
        } catch (CException* exception) {
            exception->Delete();
        } catch (std::bad_alloc const&) {}
        try {
            Tell();
        } catch (std::bad_alloc const&) {}
    }

    struct Ended {
        KxString name, path;
    };
    KxString m_zipFile;
    fs::path m_root;
    KxTMap<KxString, KxString>& m_files;
    Meter m_meter;
    std::vector<char> m_buffer;
    std::vector<bool> m_overtaken;  // by a later entry of the same name
    SafeFiles m_safe;
    std::vector<Ended> m_ended;
    std::size_t m_told = 0;  // of these
    fs::path m_lastFolder;
    ULONGLONG m_left = 0;  // bytes that may still come out
    ZipEntry const* m_unreadable = nullptr;
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
    std::string const bytes = OrThrow(__LINE__, L"Failed to open zip file: %s", zipFile, [&] {
        CFile file(zipFile, CFile::modeRead);
        return ZipDirectory(file).Comment();
    });
    if (bytes.empty()) Throw(__LINE__, L"Failed to get global comment from zip file: %s", zipFile);
    comment = CommentOf(bytes);
    return true;
}

}  // namespace KxN
