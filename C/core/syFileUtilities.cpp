// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/posix/syFolderNames.h"
#include "base/syNameHash.h"
#include "core/syTextIds.h"
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/syResource.h"
#include "hbtools/core/syBackupFile.h"
#include "hbtools/core/syFileSpec.h"
#include "hbtools/core/syMemFiles.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>

namespace KxN {

void KxBackupFile::Create() {
    KxDirEntry const source(m_fileName);
    KxDirEntry target(source);
    target.SetExtension(m_extension, L'.');
    target.ToAbs();
    if (unsigned long const code = source.CopyTo(target, 1))
        throw new KxDirEntryException(L"syBackupFile", __LINE__, m_fileName, code);
    m_backupName = target.GetFull();
}

ULONGLONG KxDynMemFile::GetNewBufferSize(ULONGLONG present, ULONGLONG wanted) const {
    ULONGLONG const factor = std::max(2U, m_factor);
    ULONGLONG size = std::max(m_minSize, present);
    if (size == 0) return wanted;
    while (size < wanted) {
        if (size > std::numeric_limits<ULONGLONG>::max() / factor) return wanted;
        size *= factor;
    }
    return size;
}

void KxDynMemFile::GrowFile(ULONGLONG newLength) {
    if (newLength <= m_bufferSize) return;
    ULONGLONG const size = GetNewBufferSize(m_bufferSize, newLength);
    BYTE* const buffer = m_buffer ? Realloc(m_buffer, size) : Alloc(size);
    if (!buffer) AfxThrowMemoryException();
    m_buffer = buffer;
    m_bufferSize = size;
}

void* KxSharedFile::Detach() {
    void* const memory = CSharedFile::Detach();
    if (!memory) throw new KxSharedFileException(L"sySharedFile", __LINE__);
    return memory;
}

void KxSharedFileException::BuildMessage() {
    m_message = KxString(KxResId(text::BadSharedHandle));
    KxRuntimeException::BuildMessage();
}

namespace {

/// Whether the name matches a pattern in upper case; in time bounded by the product of the lengths, without recursion.
bool Matches(std::wstring_view name, std::wstring_view pattern) {
    if (pattern == L"*.*") return true;
    std::size_t n = 0, p = 0, star = pattern.npos, afterStar = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            afterStar = n;
        } else if (p < pattern.size() && (pattern[p] == L'?' || pattern[p] == detail::UpperOfName(name[n]))) {
            ++n;
            ++p;
        } else if (star != pattern.npos) {
            p = star + 1;
            n = ++afterStar;
        } else {
            return false;
        }
    }
    return std::all_of(pattern.begin() + static_cast<std::ptrdiff_t>(p), pattern.end(),
                       [](wchar_t c) { return c == L'*'; });
}

}  // namespace

struct KxFileSpec::SSearch {
    explicit SSearch(std::string const& path) : names(path.empty() ? "." : path.c_str()), folder(path) {}

    detail::FolderNames names;
    char const* name = nullptr;  // that is looked at
    std::filesystem::path folder;
    std::wstring pattern;
};

KxFileSpec::KxFileSpec() = default;
KxFileSpec::~KxFileSpec() = default;

int KxFileSpec::First(KxString const& pattern) {
    m_search.reset();
    KxDirEntry folder(pattern);
    KxString const name(folder.CutName());
    auto search = std::make_unique<SSearch>(KxxToSystemPath(KxString(folder.GetFull()).View()));
    search->pattern = name.Upper().View();
    if (!search->names.IsOpen()) return 0;
    m_search = std::move(search);
    return Next();
}

int KxFileSpec::Next() {
    if (!m_search) return 0;
    // A name that memory was missing for is the next one again.
    for (char const*& entry = m_search->name; entry || (entry = m_search->names.Next()); entry = nullptr) {
        KxString name(KxxFromSystemPath(entry));
        if (!Matches(name.View(), m_search->pattern)) continue;
        std::filesystem::path const path = m_search->folder / entry;
        std::error_code error;
        m_name = std::move(name);
        m_isDirectory = std::filesystem::is_directory(path, error);
        std::uintmax_t const size = m_isDirectory ? 0 : std::filesystem::file_size(path, error);
        m_size = error ? 0 : size;
        entry = nullptr;
        return 1;
    }
    return 0;
}

}  // namespace KxN
