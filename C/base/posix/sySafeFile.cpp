// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/sySafeFile.h"

#include "base/posix/syDescriptor.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"

#include <cerrno>
#include <vector>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace KxN {

namespace {

/// Access lists and the like. What the file system does not know or we may not set is left out, but never a list.
int CopyAttributes(std::string const& from, int to) {
    std::vector<char> names(64 * 1024);
    ssize_t const length = ::listxattr(from.c_str(), names.data(), names.size());
    if (length < 0) return errno == ENOTSUP || errno == ENOSYS ? 0 : errno;
    std::vector<char> value(64 * 1024);
    for (char const* name = names.data(); name < names.data() + length; name += std::string_view(name).size() + 1) {
        ssize_t const size = ::getxattr(from.c_str(), name, value.data(), value.size());
        bool const copied = size >= 0 && ::fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0) == 0;
        if (!copied && std::string_view(name) == "system.posix_acl_access") return errno;
    }
    return 0;
}

/// Gives the new file the mode, owner and attributes of the target, if there is one.
int TakeOver(std::string const& target, int number) {
    struct stat old;
    if (::lstat(target.c_str(), &old) != 0) return errno == ENOENT ? 0 : errno;
    struct stat own;
    if (::fstat(number, &own) != 0) return errno;
    if ((own.st_uid != old.st_uid || own.st_gid != old.st_gid) && ::fchown(number, old.st_uid, old.st_gid) != 0)
        return errno;
    if (::fchmod(number, old.st_mode & 07777) != 0) return errno;
    return CopyAttributes(target, number);
}

}  // namespace

struct KxSafeFile::State {
    KxString path;
    detail::PartFile part;

    [[noreturn]] void Fail(int line, int error) {
        part.Discard();
        throw new KxDirEntryException(L"sySafeFile", static_cast<unsigned long>(line), path,
                                      static_cast<unsigned long>(error));
    }
};

KxSafeFile::KxSafeFile(KxString const& path) : m_state(std::make_unique<State>()) {
    m_state->path = path;
    std::string target;
    int error = detail::ResolveLinks(KxxToSystemPath(path.View()), target);
    if (error == 0) error = detail::CheckReplaceable(target);
    if (error == 0) error = m_state->part.Create(target);
    if (error == 0) error = TakeOver(target, m_state->part.GetFile().GetNumber());
    if (error != 0) m_state->Fail(__LINE__, error);
}

KxSafeFile::~KxSafeFile() = default;

KxString KxSafeFile::GetTemporaryPath() const {
    return KxxFromSystemPath(m_state->part.GetPath());
}

void KxSafeFile::Write(void const* data, std::size_t count) {
    int const error = m_state->part.GetFile().IsOpen() ? m_state->part.GetFile().Write(data, count) : EBADF;
    if (error != 0) m_state->Fail(__LINE__, error);
}

void KxSafeFile::Commit() {
    int const error = m_state->part.GetFile().IsOpen() ? m_state->part.PutInPlace(true) : EBADF;
    if (error != 0) m_state->Fail(__LINE__, error);
}

void KxSafeFile::Discard() noexcept {
    m_state->part.Discard();
}

void KxxSaveFile(KxString const& path, std::string_view bytes) {
    KxSafeFile file(path);
    file.Write(bytes.data(), bytes.size());
    file.Commit();
}

bool KxxIsTemporaryName(KxString const& fileName) {
    std::wstring_view const name = fileName.View();
    constexpr std::wstring_view mark = L".hbtmp-";
    constexpr std::size_t random = 8;
    return name.starts_with(L'.') && name.size() > mark.size() + random &&
           name.substr(name.size() - mark.size() - random, mark.size()) == mark &&
           name.substr(name.size() - random).find_first_not_of(L"abcdefghijklmnopqrstuvwxyz234567") == name.npos;
}

}  // namespace KxN
