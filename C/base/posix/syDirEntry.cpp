// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syDirEntry.h"

#include "base/posix/syDescriptor.h"
#include "hbtools/base/syEncoding.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace KxTools {

namespace {

using KxN::detail::Descriptor;
using KxN::detail::PartFile;

bool Status(DirEntry const& path, bool followLinks, struct stat& status) {
    if (!path.IsValid()) return false;
    std::string const system = KxN::KxxToSystemPath(path.GetFull().View());
    return (followLinks ? ::stat(system.c_str(), &status) : ::lstat(system.c_str(), &status)) == 0;
}

/// Makes one directory. True if there is one afterwards, also by someone else's doing. Its name is flushed: files that are
/// saved in it must not go with it when the power fails.
bool MakeOne(std::string const& path) {
    if (::mkdir(path.c_str(), 0777) == 0) {
        KxN::detail::SyncDirectory(KxN::detail::DirectoryOf(path));
        return true;
    }
    struct stat status;
    return errno == EEXIST && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

int CopyBytes(Descriptor& from, Descriptor& to) {
    // The kernel copies without a detour where both files allow it, and shares the blocks where it can.
    constexpr std::size_t part = 1 << 30;
    bool begun = false;
    for (;;) {
        ssize_t const copied = ::copy_file_range(from.GetNumber(), nullptr, to.GetNumber(), nullptr, part, 0);
        if (copied < 0 && errno == EINTR) continue;
        if (copied < 0 && !begun) break;
        if (copied < 0) return errno;
        if (copied == 0) break;  // at the end, unless it is a file whose size the system does not know
        begun = true;
    }
    constexpr std::size_t size = 256 * 1024;
    auto const buffer = std::make_unique_for_overwrite<char[]>(size);
    for (;;) {
        std::size_t got = 0;
        if (int const error = from.Read(buffer.get(), size, got)) return error;
        if (int const error = to.Write(buffer.get(), got)) return error;
        if (got < size) return 0;
    }
}

int CopyFile(std::string const& source, std::string const& path, bool overwrite) {
    Descriptor from;
    if (int const error = from.Open(source, Descriptor::read)) return error;
    struct stat sourceStatus;
    if (::fstat(from.GetNumber(), &sourceStatus) != 0) return errno;

    std::string target;
    if (int const error = KxN::detail::ResolveLinks(path, target)) return error;
    struct stat targetStatus;
    if (::lstat(target.c_str(), &targetStatus) == 0) {
        bool const same = targetStatus.st_dev == sourceStatus.st_dev && targetStatus.st_ino == sourceStatus.st_ino;
        if (same) return EINVAL;  // a copy onto itself is none
        if (!overwrite) return EEXIST;
    }
    if (int const error = KxN::detail::CheckReplaceable(target)) return error;
    PartFile part;
    if (int const error = part.Create(target)) return error;
    if (int const error = CopyBytes(from, part.GetFile())) return error;
    int const number = part.GetFile().GetNumber();
    timespec const times[2] = {sourceStatus.st_atim, sourceStatus.st_mtim};
    if (::fchmod(number, sourceStatus.st_mode & 0777) != 0 || ::futimens(number, times) != 0) return errno;
    return part.PutInPlace(overwrite);
}

}  // namespace

unsigned char DirEntry::Exists(unsigned char followLinks) const {
    struct stat status;
    if (!IsValid()) return 0;
    if (Status(*this, followLinks != 0, status)) return 1;
    return errno != ENOENT && errno != ENOTDIR && errno != ENAMETOOLONG && errno != ELOOP;
}

unsigned char DirEntry::MakeDir(unsigned char parents) const {
    if (!IsValid()) return 0;
    std::string const path = KxN::KxxToSystemPath(m_path);
    if (parents)
        for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
            if (!MakeOne(path.substr(0, end))) return 0;
    return MakeOne(path);
}

unsigned char DirEntry::ToAbs() {
    if (!IsValid()) return 0;
    std::wstring path = m_path;
    if (!IsAbs()) {
        std::unique_ptr<char, decltype(&std::free)> const current(::getcwd(nullptr, 0), &std::free);
        if (!current || current.get()[0] != '/') return 0;  // the directory may be gone
        path = KxN::KxxFromSystemPath(current.get()) + L'/' + path;
    }
    std::wstring result;
    for (std::size_t first = 0; first < path.size();) {
        std::size_t const end = std::min(path.find(L'/', first), path.size());
        std::wstring_view const component = std::wstring_view(path).substr(first, end - first);
        if (!component.empty() && component != L".") result.append(1, L'/').append(component);
        first = end + 1;
    }
    m_path = result.empty() ? L"/" : std::move(result);
    return 1;
}

unsigned long DirEntry::CopyTo(DirEntry const& target, int overwrite) const {
    return static_cast<unsigned long>(
        CopyFile(KxN::KxxToSystemPath(m_path), KxN::KxxToSystemPath(target.m_path), overwrite != 0));
}

unsigned long DirEntry::Kill() const {
    if (!IsValid()) return m_path.empty() ? ENOENT : EINVAL;
    return std::remove(KxN::KxxToSystemPath(m_path).c_str()) == 0 ? 0 : static_cast<unsigned long>(errno);
}

FileStat::FileStat(DirEntry const& path, unsigned char followLinks) {
    struct stat status;
    if (!Status(path, followLinks != 0, status)) return;
    m_exists = true;
    m_isFile = S_ISREG(status.st_mode);
    m_isDirectory = S_ISDIR(status.st_mode);
    m_size = m_isFile ? static_cast<unsigned long long>(status.st_size) : 0;
    m_modified = KxN::KxDateTime::FromUnixTime(status.st_mtim.tv_sec);
}

}  // namespace KxTools
