// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Faults.h"
#include "Real.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace iofaults {

namespace {

constinit Plan g_plan;
constinit std::atomic<int> g_calls = 0;  // of the plan
constinit std::atomic<bool> g_hasFailed = false;
constinit std::array<std::atomic<int>, numCalls> g_counts = {};

// Of the calls that failed.
using Path = std::array<char, 1024>;
constinit std::array<Path, kept> g_failed = {};
constinit int g_numFailed = 0;
constinit thread_local Path t_path = {};  // of the call that was looked at last

bool IsOurs(char const* path) {
    std::string_view const under = g_plan.under;
    std::string_view const text = path ? path : "";
    t_path[text.copy(t_path.data(), t_path.size() - 1)] = 0;
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
    ssize_t const length = REAL(readlink)(end, path.data(), path.size() - 1);
    if (length < 0) return false;
    path[static_cast<std::size_t>(length)] = 0;
    return IsOurs(path.data());
}

struct OfNoFile {};
bool IsOurs(OfNoFile) {
    t_path[0] = 0;
    return true;
}

/// Where a debugger stops to see whose call it is.
[[gnu::noinline]] void NoteFailure() {
    g_hasFailed = true;
    if (g_numFailed == 0 ||
        std::strcmp(g_failed[static_cast<std::size_t>(g_numFailed - 1)].data(), t_path.data()) != 0) {
        if (g_numFailed < kept) ++g_numFailed;
        g_failed[static_cast<std::size_t>(g_numFailed - 1)] = t_path;
    }
    if (g_plan.mark) {
        long const descriptor = ::syscall(SYS_openat, AT_FDCWD, g_plan.mark, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (descriptor >= 0) ::syscall(SYS_close, descriptor);
    }
    errno = g_plan.error;
}

/// True if this call has to fail.
template <class File>
bool IsHit(Call call, File file) {
    Plan const& plan = g_plan;
    if (plan.under.empty()) return false;
    int const keep = errno;
    bool const isOurs = IsOurs(file);
    errno = keep;
    if (!isOurs) return false;
    ++g_counts[call];
    if (names[call] != plan.call) return false;
    int const past = ++g_calls - plan.number;
    if (plan.number == 0 || past < 0 || (plan.times == "once" && past > 0) ||
        (plan.times == "alternating" && past % 2 != 0))
        return false;
    NoteFailure();
    return true;
}

/// Counts of one byte, once the fault is reached.
template <class Function>
ssize_t Move(Call name, int descriptor, std::size_t count, Function call) {
    if (count > 0 && IsHit(name, descriptor)) {
        if (g_plan.error != 0) return -1;
        count = 1;
    }
    return call(count);
}

template <class Call>
int Opened(int, char const* path, int, Call call) {
    return IsHit(Open, path) ? -1 : call();
}

}  // namespace

void Follow(Plan const& plan) {
    g_plan = plan;
    if (plan.under.empty()) return;
    g_calls = 0;
    g_hasFailed = false;
    g_numFailed = 0;
}

int CountCalls(Call call) {
    return g_counts[call];
}

bool HasFailed() {
    return g_hasFailed;
}

char const* FailedPath(int number) {
    return number < g_numFailed ? g_failed[static_cast<std::size_t>(number)].data() : nullptr;
}

}  // namespace iofaults

using namespace iofaults;

extern "C" {

DEFINE_OPEN(open)
DEFINE_OPEN(open64)
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)

ssize_t read(int descriptor, void* buffer, std::size_t count) {
    return Move(Read, descriptor, count, [&](std::size_t part) { return REAL(read)(descriptor, buffer, part); });
}
ssize_t write(int descriptor, void const* buffer, std::size_t count) {
    return Move(Write, descriptor, count, [&](std::size_t part) { return REAL(write)(descriptor, buffer, part); });
}
#define DEFINE_AT(name, call, buffer_type)                                                           \
    ssize_t name(int descriptor, buffer_type buffer, std::size_t count, off_t offset) {              \
        return Move(call, descriptor, count,                                                         \
                    [&](std::size_t part) { return REAL(name)(descriptor, buffer, part, offset); }); \
    }
DEFINE_AT(pread, Read, void*)
DEFINE_AT(pread64, Read, void*)
DEFINE_AT(pwrite, Write, void const*)
DEFINE_AT(pwrite64, Write, void const*)

ssize_t copy_file_range(int from, off_t* fromOffset, int to, off_t* toOffset, std::size_t count, unsigned flags) {
    return Move(Copy, to, count,
                [&](std::size_t part) { return REAL(copy_file_range)(from, fromOffset, to, toOffset, part, flags); });
}

int fsync(int descriptor) {
    return IsHit(Fsync, descriptor) ? -1 : REAL(fsync)(descriptor);
}
int fdatasync(int descriptor) {
    return IsHit(Fsync, descriptor) ? -1 : REAL(fdatasync)(descriptor);
}
int sync_file_range(int descriptor, off_t offset, off_t count, unsigned flags) {
    return IsHit(Fsync, descriptor) ? -1 : REAL(sync_file_range)(descriptor, offset, count, flags);
}
int syncfs(int descriptor) noexcept {
    return IsHit(Fsync, descriptor) ? -1 : REAL(syncfs)(descriptor);
}
int close(int descriptor) {
    if (!IsHit(Close, descriptor)) return REAL(close)(descriptor);
    REAL(close)(descriptor);
    errno = g_plan.error;
    return -1;
}
int ftruncate(int descriptor, off_t length) noexcept {
    return IsHit(Truncate, descriptor) ? -1 : REAL(ftruncate)(descriptor, length);
}
int ftruncate64(int descriptor, off_t length) noexcept {
    return IsHit(Truncate, descriptor) ? -1 : REAL(ftruncate64)(descriptor, length);
}
int rename(char const* from, char const* to) noexcept {
    return IsHit(Rename, from) ? -1 : REAL(rename)(from, to);
}
int renameat(int fromFolder, char const* from, int toFolder, char const* to) noexcept {
    return IsHit(Rename, from) ? -1 : REAL(renameat)(fromFolder, from, toFolder, to);
}
int renameat2(int fromFolder, char const* from, int toFolder, char const* to, unsigned flags) noexcept {
    return IsHit(Rename, from) ? -1 : REAL(renameat2)(fromFolder, from, toFolder, to, flags);
}
int fchmod(int descriptor, mode_t mode) noexcept {
    return IsHit(Chmod, descriptor) ? -1 : REAL(fchmod)(descriptor, mode);
}
int mkdir(char const* path, mode_t mode) noexcept {
    return IsHit(Mkdir, path) ? -1 : REAL(mkdir)(path, mode);
}
#define DEFINE_PATH(name, call, parameters, arguments)        \
    int name parameters noexcept {                            \
        return IsHit(call, path) ? -1 : REAL(name) arguments; \
    }
#define DEFINE_NUMBER(name, call, parameters, arguments)        \
    int name parameters noexcept {                              \
        return IsHit(call, number) ? -1 : REAL(name) arguments; \
    }
DEFINE_NUMBER(fchown, Chmod, (int number, uid_t user, gid_t group), (number, user, group))
DEFINE_PATH(unlink, Unlink, (char const* path), (path))
DEFINE_PATH(remove, Unlink, (char const* path), (path))
DEFINE_PATH(link, Link, (char const* path, char const* other), (path, other))
DEFINE_PATH(stat, Stat, (char const* path, struct stat* status), (path, status))
DEFINE_PATH(lstat, Stat, (char const* path, struct stat* status), (path, status))
DEFINE_NUMBER(fstat, Stat, (int number, struct stat* status), (number, status))
DEFINE_PATH(faccessat, Stat, (int folder, char const* path, int mode, int flags), (folder, path, mode, flags))
DEFINE_NUMBER(flock, Lock, (int number, int operation), (number, operation))
DEFINE_NUMBER(futimens, Times, (int number, timespec const times[2]), (number, times))
DEFINE_PATH(utimensat, Times, (int folder, char const* path, timespec const times[2], int flags),
            (folder, path, times, flags))
ssize_t readlink(char const* path, char* text, std::size_t size) noexcept {
    return IsHit(Stat, path) ? -1 : REAL(readlink)(path, text, size);
}
DIR* opendir(char const* path) {
    return IsHit(List, path) ? nullptr : REAL(opendir)(path);
}
dirent* readdir(DIR* folder) {
    return IsHit(List, ::dirfd(folder)) ? nullptr : REAL(readdir)(folder);
}
int fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    bool const isDup = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
    return isDup && IsHit(Dup, descriptor) ? -1 : REAL(fcntl)(descriptor, command, argument);
}
int closedir(DIR* folder) {
    if (!IsHit(EndList, ::dirfd(folder))) return REAL(closedir)(folder);
    REAL(closedir)(folder);
    errno = g_plan.error;
    return -1;
}
off_t lseek(int descriptor, off_t offset, int from) noexcept {
    return IsHit(Seek, descriptor) ? -1 : REAL(lseek)(descriptor, offset, from);
}
off_t lseek64(int descriptor, off_t offset, int from) noexcept {
    return IsHit(Seek, descriptor) ? -1 : REAL(lseek64)(descriptor, offset, from);
}
#define DEFINE_ATTRIBUTE(name, call, file, parameters, arguments) \
    ssize_t name parameters noexcept {                            \
        return IsHit(call, file) ? -1 : REAL(name) arguments;     \
    }
DEFINE_ATTRIBUTE(getxattr, GetAttribute, path, (char const* path, char const* key, void* value, std::size_t size),
                 (path, key, value, size))
DEFINE_ATTRIBUTE(fgetxattr, GetAttribute, number, (int number, char const* key, void* value, std::size_t size),
                 (number, key, value, size))
DEFINE_ATTRIBUTE(listxattr, GetAttribute, path, (char const* path, char* keys, std::size_t size), (path, keys, size))
DEFINE_ATTRIBUTE(flistxattr, GetAttribute, number, (int number, char* keys, std::size_t size), (number, keys, size))
DEFINE_PATH(setxattr, SetAttribute, (char const* path, char const* key, void const* value, std::size_t size, int flags),
            (path, key, value, size, flags))
DEFINE_NUMBER(fsetxattr, SetAttribute, (int number, char const* key, void const* value, std::size_t size, int flags),
              (number, key, value, size, flags))
DEFINE_NUMBER(fstatfs, FileSystem, (int number, struct statfs* status), (number, status))
ssize_t getrandom(void* bytes, std::size_t count, unsigned flags) {
    return IsHit(Random, OfNoFile()) ? -1 : REAL(getrandom)(bytes, count, flags);
}
char* getcwd(char* path, std::size_t size) noexcept {
    return IsHit(Current, OfNoFile()) ? nullptr : REAL(getcwd)(path, size);
}
int mkdirat(int folder, char const* path, mode_t mode) noexcept {
    return IsHit(Mkdir, path) ? -1 : REAL(mkdirat)(folder, path, mode);
}

}  // extern "C"
