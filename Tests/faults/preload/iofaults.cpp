// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Preloaded into a program, this lets one of its calls of the system fail. The environment says which:
//
//     HBTOOLS_IOFAULTS_UNDER   only files below this folder, and the folder itself, are touched
//     HBTOOLS_IOFAULTS_CALL    open, read, write, copy, fsync, rename, chmod, close, truncate or mkdir
//     HBTOOLS_IOFAULTS_NUMBER  which of these calls fails, counted from 1
//     HBTOOLS_IOFAULTS_ERROR   the system error number; 0: reads and writes move one byte instead
//     HBTOOLS_IOFAULTS_TIMES   once, lasting (that call and all later ones), alternating (that one, not the next, ...)
//     HBTOOLS_IOFAULTS_MARK    a file that is made when the fault has been reached
//
// A call that fails has done nothing, but for close, which has closed, as the system does it.
#include "Real.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::string_view Setting(char const* name) {
    char const* const text = std::getenv(name);
    return text ? text : "";
}

struct Plan {
    std::string_view under = Setting("HBTOOLS_IOFAULTS_UNDER");
    std::string_view call = Setting("HBTOOLS_IOFAULTS_CALL");
    std::string_view times = Setting("HBTOOLS_IOFAULTS_TIMES");
    char const* mark = std::getenv("HBTOOLS_IOFAULTS_MARK");
    int number = std::atoi(std::getenv("HBTOOLS_IOFAULTS_NUMBER") ? std::getenv("HBTOOLS_IOFAULTS_NUMBER") : "0");
    int error = std::atoi(std::getenv("HBTOOLS_IOFAULTS_ERROR") ? std::getenv("HBTOOLS_IOFAULTS_ERROR") : "0");
};

Plan const& ThePlan() {
    static Plan const plan;
    return plan;
}

bool IsOurs(char const* path) {
    std::string_view const under = ThePlan().under;
    std::string_view const text = path ? path : "";
    return !under.empty() && text.starts_with(under) && (text.size() == under.size() || text[under.size()] == '/');
}

bool IsOurs(int descriptor) {
    std::array<char, 64> link;
    std::array<char, 4096> path;
    char* end = link.data() + link.size() - 1;
    *end = 0;
    do *--end = static_cast<char>('0' + descriptor % 10);
    while ((descriptor /= 10) > 0);
    constexpr std::string_view folder = "/proc/self/fd/";
    end -= folder.size();
    std::memcpy(end, folder.data(), folder.size());
    ssize_t const length = ::readlink(end, path.data(), path.size() - 1);
    if (length < 0) return false;
    path[static_cast<std::size_t>(length)] = 0;
    return IsOurs(path.data());
}

/// True if this call has to fail.
template <class FILE>
bool IsHit(std::string_view call, FILE file) {
    static std::atomic<int> calls = 0;
    Plan const& plan = ThePlan();
    if (call != plan.call) return false;
    int const keep = errno;
    bool const isOurs = IsOurs(file);
    errno = keep;
    if (!isOurs) return false;
    int const past = ++calls - plan.number;
    if (past < 0 || (plan.times == "once" && past > 0) || (plan.times == "alternating" && past % 2 != 0)) return false;
    if (plan.mark) {
        long const descriptor = ::syscall(SYS_openat, AT_FDCWD, plan.mark, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (descriptor >= 0) ::syscall(SYS_close, descriptor);
    }
    errno = plan.error;
    return true;
}

bool IsShort() {
    return ThePlan().error == 0;
}

/// Counts of one byte, once the fault is reached.
template <class Call>
ssize_t Move(std::string_view name, int descriptor, std::size_t count, Call call) {
    if (count > 0 && IsHit(name, descriptor)) {
        if (!IsShort()) return -1;
        count = 1;
    }
    return call(count);
}

mode_t ModeOf(int flags, va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

#define DEFINE_OPEN(name)                                                \
    int name(char const* path, int flags, ...) {                         \
        va_list arguments;                                               \
        va_start(arguments, flags);                                      \
        mode_t const mode = ModeOf(flags, arguments);                    \
        va_end(arguments);                                               \
        return IsHit("open", path) ? -1 : REAL(name)(path, flags, mode); \
    }
#define DEFINE_OPENAT(name)                                                      \
    int name(int folder, char const* path, int flags, ...) {                     \
        va_list arguments;                                                       \
        va_start(arguments, flags);                                              \
        mode_t const mode = ModeOf(flags, arguments);                            \
        va_end(arguments);                                                       \
        return IsHit("open", path) ? -1 : REAL(name)(folder, path, flags, mode); \
    }
DEFINE_OPEN(open)
DEFINE_OPEN(open64)
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)

ssize_t read(int descriptor, void* buffer, std::size_t count) {
    return Move("read", descriptor, count, [&](std::size_t part) { return REAL(read)(descriptor, buffer, part); });
}
ssize_t write(int descriptor, void const* buffer, std::size_t count) {
    return Move("write", descriptor, count, [&](std::size_t part) { return REAL(write)(descriptor, buffer, part); });
}
#define DEFINE_AT(name, call, buffer_type)                                                           \
    ssize_t name(int descriptor, buffer_type buffer, std::size_t count, off_t offset) {              \
        return Move(call, descriptor, count,                                                         \
                    [&](std::size_t part) { return REAL(name)(descriptor, buffer, part, offset); }); \
    }
DEFINE_AT(pread, "read", void*)
DEFINE_AT(pread64, "read", void*)
DEFINE_AT(pwrite, "write", void const*)
DEFINE_AT(pwrite64, "write", void const*)

ssize_t copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, std::size_t count, unsigned flags) {
    return Move("copy", to, count,
                [&](std::size_t part) { return REAL(copy_file_range)(from, fromOffset, to, toOffset, part, flags); });
}

int fsync(int descriptor) {
    return IsHit("fsync", descriptor) ? -1 : REAL(fsync)(descriptor);
}
int fdatasync(int descriptor) {
    return IsHit("fsync", descriptor) ? -1 : REAL(fdatasync)(descriptor);
}
int sync_file_range(int descriptor, off_t offset, off_t count, unsigned flags) {
    return IsHit("fsync", descriptor) ? -1 : REAL(sync_file_range)(descriptor, offset, count, flags);
}
int syncfs(int descriptor) noexcept {
    return IsHit("fsync", descriptor) ? -1 : REAL(syncfs)(descriptor);
}
int close(int descriptor) {
    if (!IsHit("close", descriptor)) return REAL(close)(descriptor);
    REAL(close)(descriptor);
    errno = ThePlan().error;
    return -1;
}
int ftruncate(int descriptor, off_t length) noexcept {
    return IsHit("truncate", descriptor) ? -1 : REAL(ftruncate)(descriptor, length);
}
int ftruncate64(int descriptor, off_t length) noexcept {
    return IsHit("truncate", descriptor) ? -1 : REAL(ftruncate64)(descriptor, length);
}
int rename(char const* from, char const* to) noexcept {
    return IsHit("rename", from) ? -1 : REAL(rename)(from, to);
}
int renameat(int fromFolder, char const* from, int toFolder, char const* to) noexcept {
    return IsHit("rename", from) ? -1 : REAL(renameat)(fromFolder, from, toFolder, to);
}
int renameat2(int fromFolder, char const* from, int toFolder, char const* to, unsigned flags) noexcept {
    return IsHit("rename", from) ? -1 : REAL(renameat2)(fromFolder, from, toFolder, to, flags);
}
int fchmod(int descriptor, mode_t mode) noexcept {
    return IsHit("chmod", descriptor) ? -1 : REAL(fchmod)(descriptor, mode);
}
int mkdir(char const* path, mode_t mode) noexcept {
    return IsHit("mkdir", path) ? -1 : REAL(mkdir)(path, mode);
}
int mkdirat(int folder, char const* path, mode_t mode) noexcept {
    return IsHit("mkdir", path) ? -1 : REAL(mkdirat)(folder, path, mode);
}

}  // extern "C"
