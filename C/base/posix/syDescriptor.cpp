// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/posix/syDescriptor.h"

#include "base/posix/sySizeSignal.h"
#include "base/posix/syStopPoint.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <span>
#include <utility>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace KxN::detail {

namespace {

// The kernel moves at most this much in one call.
constexpr std::size_t callLimit = 0x7ffff000;
constexpr std::size_t nameLimit = 255;  // bytes of a file name
constexpr unsigned long long lastOffset = ~0ULL >> 1;

template <class Call>
auto Repeat(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

/// Where a thread that only writes can be stopped and ended: between two calls it has nothing that others wait for.
void StopIfAwaited() noexcept {
    if (!t_isAwaited) [[likely]]
        return;
    int const error = errno;
    StopNow();
    errno = error;
}

/// Writes all of it; `put` is the system call for one part: it gets the part's begin and its length.
template <class Put>
int WriteParts(void const* data, std::size_t count, Put put) {
    SurviveSizeSignal();
    for (std::size_t done = 0; done < count;) {
        ssize_t const part =
            Repeat([&] { return put(static_cast<char const*>(data) + done, std::min(count - done, callLimit)); });
        StopIfAwaited();
        if (part < 0) return errno;
        if (part == 0) return EIO;
        done += static_cast<std::size_t>(part);
    }
    return 0;
}

constexpr std::string_view partAlphabet = "abcdefghijklmnopqrstuvwxyz234567";
constexpr std::string_view partMark = ".hbtmp-";
constexpr std::size_t partRandoms = 8;

/// ".name.hbtmp-"; a long name is cut, so that all fits into a file name.
std::string PartPrefix(std::string_view name) {
    return std::string(".").append(name.substr(0, nameLimit - 1 - partMark.size() - partRandoms)).append(partMark);
}

/// Bytes that differ from call to call and from process to process, though somebody might foresee them.
void FillDistinctly(std::span<unsigned char> bytes) {
    static std::atomic<std::uint64_t> count = 0;
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    auto const time = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<std::uint64_t>(now.tv_nsec);
    auto const mix = [](std::uint64_t number) {
        number = (number ^ number >> 30) * 0xBF58476D1CE4E5B9u;
        number = (number ^ number >> 27) * 0x94D049BB133111EBu;
        return number ^ number >> 31;
    };
    std::uint64_t mixed = mix(mix(mix(time) ^ static_cast<std::uint64_t>(::getpid())) ^ ++count);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(mixed);
        mixed >>= 8;
    }
}

/// The prefix and eight characters that nobody can foresee. Where the system gives no random numbers they are new at least;
/// that the file must be new, too, and is no link, is asked of the system when it is made.
std::string PartName(std::string_view name) {
    std::array<unsigned char, partRandoms> random{};
    ssize_t const got = Repeat([&] { return ::getrandom(random.data(), random.size(), 0); });
    if (got != static_cast<ssize_t>(random.size())) FillDistinctly(random);
    std::string part = PartPrefix(name);
    for (unsigned char const byte : random) part += partAlphabet[byte % partAlphabet.size()];
    return part;
}

/// True if the file is locked by us now: whoever makes a part file holds such a lock until it is in place or gone, also
/// when its process is killed.
bool Lock(int number) {
    return Repeat([&] { return ::flock(number, LOCK_EX | LOCK_NB); }) == 0;
}

/// Opens a file, never in the place of a standard stream. -1 and errno if that fails.
int OpenNumber(std::string const& path, int flags) {
    return AboveStandard(Repeat([&] { return ::open(path.c_str(), flags | O_CLOEXEC, 0666); }));
}

int OpenFolder(std::string const& path) {
    return OpenNumber(path, O_RDONLY | O_DIRECTORY);
}

/// Removes a part file that nobody holds any more. Anything but a regular file of that user or our own stays.
void RemoveIfLeft(std::string const& path, uid_t owner) {
    Descriptor const left(OpenNumber(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (!left.IsOpen() || ::fstat(left.GetNumber(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    if ((status.st_uid == owner || status.st_uid == ::geteuid()) && Lock(left.GetNumber())) ::unlink(path.c_str());
}

}  // namespace

int AboveStandard(int number) noexcept {
    if (number < 0 || number > STDERR_FILENO) return number;
    int const moved = ::fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    int const error = errno;
    ::close(number);
    errno = error;
    return moved;
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    int const number = other.Release();  // before our own is closed: it may be the same
    Close();
    m_number = number;
    return *this;
}

Descriptor::~Descriptor() {
    Close();
}

int Descriptor::Release() {
    int const number = m_number;
    m_number = -1;
    return number;
}

int Descriptor::Open(std::string const& path, unsigned flags) {
    Close();
    if (path.find('\0') != std::string::npos) return EINVAL;
    int system = O_NONBLOCK | O_NOCTTY;
    system |= (flags & write) == 0 ? O_RDONLY : (flags & read) != 0 ? O_RDWR : O_WRONLY;
    if (flags & create) system |= O_CREAT;
    if (flags & append) system |= O_APPEND;
    Descriptor opened(OpenNumber(path, system));
    if (!opened.IsOpen()) return errno;
    struct stat status;
    if (::fstat(opened.m_number, &status) != 0) return errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode)) return EINVAL;
    // Emptied only now that it is known to be a file.
    if ((flags & truncate) && status.st_size > 0) {
        if (int const error = opened.SetLength(0)) return error;
    }
    *this = std::move(opened);
    return 0;
}

int Descriptor::Read(void* buffer, std::size_t count, std::size_t& got) {
    got = 0;
    while (got < count) {
        ssize_t const part = Repeat(
            [&] { return ::read(m_number, static_cast<char*>(buffer) + got, std::min(count - got, callLimit)); });
        if (part < 0) return errno;
        if (part == 0) return 0;
        got += static_cast<std::size_t>(part);
    }
    return 0;
}

int Descriptor::Write(void const* data, std::size_t count) {
    return WriteParts(data, count,
                      [this](char const* part, std::size_t size) { return ::write(m_number, part, size); });
}

int Descriptor::WriteWhole(void const* data, std::size_t count, bool& isTorn) {
    std::size_t written = 0;
    int const error = WriteParts(data, count, [this, &written](char const* part, std::size_t size) {
        ssize_t const done = ::write(m_number, part, size);
        if (done > 0) written += static_cast<std::size_t>(done);
        return done;
    });
    isTorn = false;
    if (error == 0 || written == 0) return error;
    long long position = 0;
    isTorn = Seek(0, 1, position) != 0;
    position -= static_cast<long long>(written);
    isTorn = isTorn || SetLength(static_cast<unsigned long long>(position)) != 0 || Seek(position, 0, position) != 0;
    return error;
}

int Descriptor::ReadAt(void* buffer, std::size_t count, unsigned long long offset, std::size_t& got) const {
    got = 0;
    // The system calls a range that leaves its numbers an error, even where there is nothing to read.
    count = offset > lastOffset ? 0 : std::min<unsigned long long>(count, lastOffset - offset);
    while (got < count) {
        ssize_t const part = Repeat([&] {
            return ::pread(m_number, static_cast<char*>(buffer) + got, std::min(count - got, callLimit),
                           static_cast<off_t>(offset + got));
        });
        if (part < 0) return errno;
        if (part == 0) return 0;
        got += static_cast<std::size_t>(part);
    }
    return 0;
}

int Descriptor::WriteAt(void const* data, std::size_t count, unsigned long long offset) {
    return WriteParts(data, count, [this, &offset](char const* part, std::size_t size) {
        ssize_t const done = ::pwrite(m_number, part, size, static_cast<off_t>(offset));
        if (done > 0) offset += static_cast<unsigned long long>(done);
        return done;
    });
}

int Descriptor::Seek(long long offset, int from, long long& position) {
    off_t const result = ::lseek(m_number, offset, from == 0 ? SEEK_SET : from == 1 ? SEEK_CUR : SEEK_END);
    if (result < 0) return errno;
    position = result;
    return 0;
}

int Descriptor::GetLength(unsigned long long& length) const {
    struct stat status;
    if (::fstat(m_number, &status) != 0) return errno;
    length = static_cast<unsigned long long>(status.st_size);
    return 0;
}

int Descriptor::SetLength(unsigned long long length) {
    SurviveSizeSignal();
    if (Repeat([&] { return ::ftruncate(m_number, static_cast<off_t>(length)); }) == 0) return 0;
    return errno;
}

int Descriptor::Sync() {
    // Never again after a failure: the system reports a lost page once only.
    int const error = Repeat([&] { return ::fsync(m_number); }) == 0 ? 0 : errno;
    StopIfAwaited();
    return error;
}

namespace {

/// Of a call that not every file system knows: whether bytes were lost, which the system tells once only.
bool IsLoss(int error) {
    return error == EIO || error == ENOSPC || error == EDQUOT;
}

}  // namespace

int Descriptor::StartSync(unsigned long long offset, unsigned long long count) {
    auto const start = [&] {
        return ::sync_file_range(m_number, static_cast<off_t>(offset), static_cast<off_t>(count),
                                 SYNC_FILE_RANGE_WRITE);
    };
    return Repeat(start) != 0 && IsLoss(errno) ? errno : 0;
}

int Descriptor::SyncBytes() {
    unsigned const all = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    if (Repeat([&] { return ::sync_file_range(m_number, 0, 0, all); }) == 0) return 0;
    if (IsLoss(errno)) return errno;
    return Sync();  // this file system does not know it
}

int Descriptor::SyncFileSystem(bool& isDone) {
    // One in user space may answer and flush nothing.
    constexpr auto inUserSpace = 0x65735546;
    struct statfs status {};
    isDone = ::fstatfs(m_number, &status) == 0 && status.f_type != inUserSpace;
    if (!isDone || Repeat([&] { return ::syncfs(m_number); }) == 0) return 0;
    isDone = false;
    return errno == ENOSYS || errno == EPERM || errno == EINVAL ? 0 : errno;
}

int Descriptor::Close() {
    if (m_number < 0) return 0;
    // After EINTR the descriptor is gone all the same; a second call could close a stranger's.
    return ::close(Release()) == 0 || errno == EINTR ? 0 : errno;
}

FileStamp StampOf(std::string const& path) {
    FileStamp stamp;
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) return stamp;
    stamp.exists = true;
    stamp.device = status.st_dev;
    stamp.number = status.st_ino;
    stamp.size = status.st_size;
    stamp.modified = {status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
    stamp.changed = {status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    // File times move in steps of some milliseconds; where they have no fractions, of one or two seconds. A time that is
    // still to come, by another clock or by ours before it was set back, tells no age: reading again costs little.
    double const step = stamp.changed.nanoseconds == 0 ? 2 : 0.05;
    double const age = static_cast<double>(now.tv_sec) - static_cast<double>(stamp.changed.seconds) +
                       static_cast<double>(now.tv_nsec - stamp.changed.nanoseconds) / 1e9;
    stamp.isYoung = age < step;
    return stamp;
}

int ReadWholeFile(std::string const& path, std::size_t most, std::string& bytes) {
    bytes.clear();
    Descriptor file;
    if (int const error = file.Open(path, Descriptor::read)) return error;
    // What the system says is there already decides about a long one; some files have no length before they are read.
    unsigned long long length = 0;
    if (int const error = file.GetLength(length)) return error;
    if (length > most) return EFBIG;
    constexpr std::size_t step = 64 * 1024;
    for (std::size_t wanted = step;; wanted *= 2) {
        std::size_t const held = bytes.size();
        if (std::size_t const room = most - held; room < wanted)
            wanted = room + 1;  // enough to see that it is too long
        bytes.resize(held + wanted);
        std::size_t got = 0;
        int const error = file.Read(bytes.data() + held, wanted, got);
        bytes.resize(held + got);
        if (error) return error;
        if (bytes.size() > most) {
            bytes.clear();
            return EFBIG;
        }
        if (got < wanted) return 0;
    }
}

void LeftParts::RemoveFor(std::string const& target) {
    std::string const folder = DirectoryOf(target);
    auto const [known, isNew] = m_folders.try_emplace(folder);
    if (isNew) {
        std::unique_ptr<DIR, int (*)(DIR*)> const names(::opendir(folder.c_str()), &::closedir);
        while (dirent const* const entry = names ? ::readdir(names.get()) : nullptr) {  // none if it may not be read
            std::string_view const name(entry->d_name);
            if (name.size() <= partRandoms) continue;
            std::string_view const prefix = name.substr(0, name.size() - partRandoms);
            if (!prefix.starts_with('.') || !prefix.ends_with(partMark)) continue;
            if (name.substr(prefix.size()).find_first_not_of(partAlphabet) == name.npos)
                known->second.emplace(prefix, name);
        }
    }
    if (known->second.empty()) return;
    struct stat status;
    uid_t const owner = ::lstat(target.c_str(), &status) == 0 ? status.st_uid : ::geteuid();
    std::size_t const name = target.rfind('/') + 1;  // 0 without a separator
    auto const [first, last] = known->second.equal_range(PartPrefix(std::string_view(target).substr(name)));
    for (auto left = first; left != last; ++left) RemoveIfLeft(target.substr(0, name) + left->second, owner);
    known->second.erase(first, last);
}

int PartFile::Create(std::string const& target, LeftParts& left) {
    SurviveSizeSignal();  // whoever writes into the new file
    Discard();
    std::size_t const name = target.rfind('/') + 1;  // 0 without a separator
    if (name == target.size()) return target.empty() ? ENOENT : EISDIR;
    if (target.size() - name > nameLimit) return ENAMETOOLONG;
    left.RemoveFor(target);
    // A new file gets the mode of new files; one that takes another's place is ours alone until it gets that mode.
    struct stat old;
    mode_t const mode = ::lstat(target.c_str(), &old) == 0 ? 0600 : 0666;
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string path = target.substr(0, name) + PartName(std::string_view(target).substr(name));
        int const number =
            Repeat([&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode); });
        if (number < 0 && errno != EEXIST) return errno;
        if (number < 0) continue;
        m_file = Descriptor(AboveStandard(number));
        m_path = std::move(path);  // without memory, or the file would stay
        if (!m_file.IsOpen()) {
            int const error = errno;
            Discard();
            return error;
        }
        // Before it was locked, another save of this target may have taken it for one that was left. Where the file system
        // knows no locks, nobody gets one.
        bool const isLocked = Lock(m_file.GetNumber()) || errno != EWOULDBLOCK;
        struct stat status;
        if (isLocked && ::fstat(m_file.GetNumber(), &status) == 0 && status.st_nlink > 0) {
            m_target = target;
            return 0;
        }
        Discard();
    }
    return EEXIST;
}

int PartFile::PutInPlace(bool replace) {
    std::string const directory = DirectoryOf(m_target);  // nothing may throw behind the renaming
    // What others wrote by way of the path is the same file, so it is flushed as well.
    int error = m_file.Sync();
    if (error == 0) error = Place(replace);
    if (error == 0) return SyncDirectory(directory);
    Discard();
    return error;
}

int PartFile::Place(bool replace) {
    Descriptor const lock(::fcntl(m_file.GetNumber(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));  // until it is in place
    int error = m_file.Close();
    if (error == 0) {
        error = !replace ? RenameNew(m_path, m_target) : ::rename(m_path.c_str(), m_target.c_str()) == 0 ? 0 : errno;
    }
    if (error != 0) {
        Discard();
        return error;
    }
    m_path.clear();
    return 0;
}

void PartFile::Discard() noexcept {
    m_file.Close();
    if (!m_path.empty()) ::unlink(m_path.c_str());
    m_path.clear();
}

UpdateLock::UpdateLock(std::string const& target) {
    std::string file;
    std::string const folder = DirectoryOf(ResolveLinks(target, file) == 0 ? file : target);
    m_folder = Descriptor(OpenFolder(folder));
    constexpr int numTries = 1000;
    constexpr timespec pause{0, 2000000};
    for (int i = 1; m_folder.IsOpen() && !Lock(m_folder.GetNumber()) && errno == EWOULDBLOCK && i < numTries; ++i)
        ::nanosleep(&pause, nullptr);
}

int RenameNew(std::string const& from, std::string const& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) return errno;
    // This file system knows no such renaming; a second name is refused in the same way.
    if (::link(from.c_str(), to.c_str()) != 0) return errno;
    return ::unlink(from.c_str()) == 0 ? 0 : errno;
}

int ResolveLinks(std::string const& path, std::string& target) {
    if (path.empty()) return ENOENT;
    if (path.find('\0') != std::string::npos) return EINVAL;
    target = path;
    for (int links = 0; links < 40; ++links) {
        std::array<char, 4096> text;
        ssize_t const length = ::readlink(target.c_str(), text.data(), text.size());
        if (length < 0) return errno == EINVAL || errno == ENOENT ? 0 : errno;  // no link, or not there
        if (static_cast<std::size_t>(length) == text.size()) return ENAMETOOLONG;
        std::string const link(text.data(), static_cast<std::size_t>(length));
        target = link.starts_with('/') ? link : DirectoryOf(target).append("/").append(link);
    }
    return ELOOP;
}

int CheckReplaceable(std::string const& target) {
    struct stat status;
    if (::lstat(target.c_str(), &status) != 0) return errno == ENOENT ? 0 : errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode)) return EINVAL;
    if ((status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) return EACCES;
    return ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) == 0 ? 0 : errno;
}

void WriteToStandardError(std::string_view text) noexcept {
    // That nobody reads it any more is no reason to end: the signal that says so is held back and taken away.
    sigset_t pipe, former, waiting;
    ::sigemptyset(&pipe);
    ::sigaddset(&pipe, SIGPIPE);
    ::sigpending(&waiting);
    ::pthread_sigmask(SIG_BLOCK, &pipe, &former);
    Descriptor error(STDERR_FILENO);
    int const failure = error.Write(text.data(), text.size());
    error.Release();
    constexpr timespec now{};
    if (failure == EPIPE && ::sigismember(&waiting, SIGPIPE) == 0) ::sigtimedwait(&pipe, nullptr, &now);
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

int SyncDirectory(std::string const& path) {
    int const number = OpenFolder(path);
    if (number < 0) return errno == EACCES ? 0 : errno;  // one that may be written but not read cannot be flushed
    Descriptor directory(number);
    int const error = directory.Sync();
    return error == EINVAL ? 0 : error;  // this file system has nothing to flush
}

std::string DirectoryOf(std::string const& path) {
    std::size_t const slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace KxN::detail
