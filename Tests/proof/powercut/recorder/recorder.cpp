// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Preloaded into a program, this records what it does to the files below HBTOOLS_RECORD_UNDER into the file
// HBTOOLS_RECORD_TO. Calls that failed changed nothing and are left out. What the C library writes by itself, for streams
// of its own, passes by; whoever reads the record compares its end with the files.
#include "../../../faults/preload/Real.h"
#include "../Record.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using powercut::Call;
using powercut::Head;
using powercut::Made;

struct KeepError {
    int error = errno;
    ~KeepError() { errno = error; }
};

std::string_view Under() {
    static std::string const under = std::getenv("HBTOOLS_RECORD_UNDER") ? std::getenv("HBTOOLS_RECORD_UNDER") : "";
    return under;
}

bool IsOurs(std::string const& path) {
    return !Under().empty() && path.starts_with(Under()) &&
           (path.size() == Under().size() || path[Under().size()] == '/');
}

std::string PathOf(int descriptor) {
    std::array<char, 4096> path;
    ssize_t const length =
        ::readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path.data(), path.size());
    return length < 0 ? std::string() : std::string(path.data(), static_cast<std::size_t>(length));
}

std::string PathOf(int folder, char const* path) {
    if (path[0] == '/') return path;
    std::array<char, 4096> current;
    return (folder == AT_FDCWD ? std::string(::getcwd(current.data(), current.size()) ? current.data() : "")
                               : PathOf(folder)) +
           "/" + path;
}

void Note(Call call, std::string_view path, std::string_view other, std::uint64_t file, std::uint64_t offset,
          void const* bytes, std::size_t length) {
    static int const record = [] {
        char const* const name = std::getenv("HBTOOLS_RECORD_TO");
        return name ? static_cast<int>(
                          ::syscall(SYS_openat, AT_FDCWD, name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600))
                    : -1;
    }();
    Head const head{
        call,  static_cast<std::uint32_t>(path.size()), static_cast<std::uint32_t>(other.size()), 0, file, offset,
        length};
    std::string all(reinterpret_cast<char const*>(&head), sizeof head);
    all.append(path).append(other);
    if (length > 0) all.append(static_cast<char const*>(bytes), length);
    for (std::size_t done = 0; done < all.size();) {
        long const count = ::syscall(SYS_write, record, all.data() + done, all.size() - done);
        if (count <= 0) std::abort();  // a record with holes proves nothing
        done += static_cast<std::size_t>(count);
    }
}

std::uint64_t FileOf(int descriptor, bool* isFolder = nullptr) {
    struct stat status {};
    ::fstat(descriptor, &status);
    if (isFolder) *isFolder = S_ISDIR(status.st_mode);
    return status.st_ino;
}

void NoteFile(Call call, int descriptor, std::uint64_t offset = 0, void const* bytes = nullptr,
              std::size_t length = 0) {
    KeepError const keep;
    std::string const path = PathOf(descriptor);
    if (IsOurs(path)) Note(call, path, "", FileOf(descriptor), offset, bytes, length);
}

void NotePath(Call call, std::string const& path, std::string const& other = std::string()) {
    KeepError const keep;
    if (IsOurs(path) || IsOurs(other)) Note(call, path, other, 0, 0, nullptr, 0);
}

Made MadeOf(struct stat const& status) {
    return {status.st_mode, status.st_uid, status.st_gid};
}

void NoteCreated(int descriptor) {
    struct stat status {};
    ::fstat(descriptor, &status);
    Made const made = MadeOf(status);
    NoteFile(Call::create, descriptor, 0, &made, sizeof made);
}

/// Mode, owner and time as they are now, of what the call has changed.
void NoteTraits(Call call, std::string const& path, struct stat const& status) {
    if (!IsOurs(path)) return;
    std::uint64_t const value =
        call == Call::mode ? status.st_mode
        : call == Call::owner
            ? std::uint64_t{status.st_uid} << 32 | status.st_gid
            : static_cast<std::uint64_t>(status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec);
    Note(call, path, "", status.st_ino, value, nullptr, 0);
}
int NoteTraits(Call call, int descriptor, int result) {
    KeepError const keep;
    struct stat status {};
    if (result == 0 && ::fstat(descriptor, &status) == 0) NoteTraits(call, PathOf(descriptor), status);
    return result;
}
int NoteTraitsAt(Call call, std::string const& path, int result) {
    KeepError const keep;
    struct stat status {};
    if (result == 0 && ::stat(path.c_str(), &status) == 0) NoteTraits(call, path, status);
    return result;
}

void NoteAttribute(std::string const& path, std::uint64_t file, char const* name, void const* value, std::size_t size) {
    KeepError const keep;
    if (IsOurs(path)) Note(Call::attribute, path, name, file, 0, value, size);
}

void NoteSync(int descriptor, Call ofFile) {
    KeepError const keep;
    bool isFolder = false;
    std::uint64_t const file = FileOf(descriptor, &isFolder);
    std::string const path = PathOf(descriptor);
    if (IsOurs(path)) Note(isFolder ? Call::syncFolder : ofFile, path, "", file, 0, nullptr, 0);
}

template <class Open>
int NotedOpen(std::string const& path, int flags, Open open) {
    struct stat before {};
    bool const isNew = (flags & O_CREAT) && ::stat(path.c_str(), &before) != 0;
    int const descriptor = open();
    if (descriptor < 0) return descriptor;
    if (isNew || (flags & O_TMPFILE) == O_TMPFILE)
        NoteCreated(descriptor);
    else if (flags & O_TRUNC)
        NoteFile(Call::truncate, descriptor);
    return descriptor;
}

template <class Call>
int Opened(int folder, char const* path, int flags, Call call) {
    return NotedOpen(PathOf(folder, path), flags, call);
}

ssize_t NotedWrite(int descriptor, void const* buffer, off_t offset, ssize_t written) {
    if (written > 0)
        NoteFile(Call::write, descriptor, static_cast<std::uint64_t>(offset), buffer,
                 static_cast<std::size_t>(written));
    return written;
}

off_t PositionOf(int descriptor) {
    KeepError const keep;
    struct stat status {};
    if (::fcntl(descriptor, F_GETFL) & O_APPEND) return ::fstat(descriptor, &status) == 0 ? status.st_size : 0;
    return ::lseek(descriptor, 0, SEEK_CUR);
}

}  // namespace

extern "C" {

DEFINE_OPEN(open)
DEFINE_OPEN(open64)
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)

ssize_t write(int descriptor, void const* buffer, std::size_t count) {
    off_t const offset = PositionOf(descriptor);
    return NotedWrite(descriptor, buffer, offset, REAL(write)(descriptor, buffer, count));
}
ssize_t pwrite(int descriptor, void const* buffer, std::size_t count, off_t offset) {
    return NotedWrite(descriptor, buffer, offset, REAL(pwrite)(descriptor, buffer, count, offset));
}
ssize_t pwrite64(int descriptor, void const* buffer, std::size_t count, off_t offset) {
    return NotedWrite(descriptor, buffer, offset, REAL(pwrite64)(descriptor, buffer, count, offset));
}
ssize_t copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, std::size_t count, unsigned flags) {
    off_t const offset = toOffset ? *toOffset : PositionOf(to);
    ssize_t const copied = REAL(copy_file_range)(from, fromOffset, to, toOffset, count, flags);
    if (copied <= 0) return copied;
    KeepError const keep;
    std::string bytes(static_cast<std::size_t>(copied), 0);
    int const again =
        ::open(("/proc/self/fd/" + std::to_string(to)).c_str(), O_RDONLY | O_CLOEXEC);  // which may write only
    if (again < 0 || ::pread(again, bytes.data(), bytes.size(), offset) != copied) std::abort();
    ::close(again);
    return NotedWrite(to, bytes.data(), offset, copied);
}
int ftruncate(int descriptor, off_t length) noexcept {
    int const result = REAL(ftruncate)(descriptor, length);
    if (result == 0) NoteFile(Call::truncate, descriptor, static_cast<std::uint64_t>(length));
    return result;
}
int ftruncate64(int descriptor, off_t length) noexcept {
    return ftruncate(descriptor, length);
}
int fsync(int descriptor) {
    int const result = REAL(fsync)(descriptor);
    if (result == 0) NoteSync(descriptor, Call::sync);
    return result;
}
int fdatasync(int descriptor) {
    int const result = REAL(fdatasync)(descriptor);
    if (result == 0) NoteSync(descriptor, Call::syncBytes);
    return result;
}
int syncfs(int descriptor) noexcept {
    int const result = REAL(syncfs)(descriptor);
    if (result == 0) NoteFile(Call::syncAll, descriptor);
    return result;
}
int renameat2(int fromFolder, char const* from, int toFolder, char const* to, unsigned flags) noexcept {
    int const result = REAL(renameat2)(fromFolder, from, toFolder, to, flags);
    if (result == 0) NotePath(Call::rename, PathOf(fromFolder, from), PathOf(toFolder, to));
    return result;
}
int renameat(int fromFolder, char const* from, int toFolder, char const* to) noexcept {
    return renameat2(fromFolder, from, toFolder, to, 0);
}
int rename(char const* from, char const* to) noexcept {
    return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}
int linkat(int fromFolder, char const* from, int toFolder, char const* to, int flags) noexcept {
    int const result = REAL(linkat)(fromFolder, from, toFolder, to, flags);
    if (result == 0) NotePath(Call::link, PathOf(fromFolder, from), PathOf(toFolder, to));
    return result;
}
int link(char const* from, char const* to) noexcept {
    return linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}
int unlinkat(int folder, char const* path, int flags) noexcept {
    int const result = REAL(unlinkat)(folder, path, flags);
    if (result == 0) NotePath(flags & AT_REMOVEDIR ? Call::removeFolder : Call::unlink, PathOf(folder, path));
    return result;
}
int unlink(char const* path) noexcept {
    return unlinkat(AT_FDCWD, path, 0);
}
int rmdir(char const* path) noexcept {
    return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}
int remove(char const* path) noexcept {
    return unlink(path) == 0 || (errno == EISDIR && rmdir(path) == 0) ? 0 : -1;
}
int mkdirat(int folder, char const* path, mode_t mode) noexcept {
    int const result = REAL(mkdirat)(folder, path, mode);
    KeepError const keep;
    std::string const made = PathOf(folder, path);
    struct stat status {};
    if (result != 0 || ::stat(made.c_str(), &status) != 0 || !IsOurs(made)) return result;
    Made const with = MadeOf(status);
    Note(Call::makeFolder, made, "", 0, 0, &with, sizeof with);
    return result;
}
int mkdir(char const* path, mode_t mode) noexcept {
    return mkdirat(AT_FDCWD, path, mode);
}

int fchmod(int descriptor, mode_t mode) noexcept {
    return NoteTraits(Call::mode, descriptor, REAL(fchmod)(descriptor, mode));
}
int chmod(char const* path, mode_t mode) noexcept {
    return NoteTraitsAt(Call::mode, PathOf(AT_FDCWD, path), REAL(chmod)(path, mode));
}
int fchown(int descriptor, uid_t user, gid_t group) noexcept {
    return NoteTraits(Call::owner, descriptor, REAL(fchown)(descriptor, user, group));
}
int futimens(int descriptor, timespec const times[2]) noexcept {
    return NoteTraits(Call::time, descriptor, REAL(futimens)(descriptor, times));
}
int utimensat(int folder, char const* path, timespec const times[2], int flags) noexcept {
    return NoteTraitsAt(Call::time, PathOf(folder, path), REAL(utimensat)(folder, path, times, flags));
}
int fsetxattr(int descriptor, char const* name, void const* value, std::size_t size, int flags) noexcept {
    int const result = REAL(fsetxattr)(descriptor, name, value, size, flags);
    if (result == 0) NoteAttribute(PathOf(descriptor), FileOf(descriptor), name, value, size);
    return result;
}
int setxattr(char const* path, char const* name, void const* value, std::size_t size, int flags) noexcept {
    int const result = REAL(setxattr)(path, name, value, size, flags);
    struct stat status {};
    if (result == 0 && ::stat(path, &status) == 0)
        NoteAttribute(PathOf(AT_FDCWD, path), status.st_ino, name, value, size);
    return result;
}

}  // extern "C"
