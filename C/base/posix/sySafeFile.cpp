// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/sySafeFile.h"

#include "base/posix/syDescriptor.h"
#include "base/sySafeFiles.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syFile.h"

#include <cerrno>
#include <deque>
#include <map>
#include <set>
#include <utility>
#include <vector>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace KxN {

namespace {

bool IsOfTheMedium(int error) {
    return error == ENOSPC || error == EDQUOT || error == EIO || error == EROFS || error == ENOMEM;
}

/// Access lists and the like. What the file system does not know or we may not set is left out, but never a list, and
/// nothing that only a disk at its end keeps from being copied.
int CopyAttributes(std::string const& from, int to) {
    std::vector<char> names(64 * 1024);
    ssize_t const length = ::listxattr(from.c_str(), names.data(), names.size());
    if (length < 0) return errno == ENOTSUP || errno == ENOSYS ? 0 : errno;
    std::vector<char> value(64 * 1024);
    for (char const* name = names.data(); name < names.data() + length; name += std::string_view(name).size() + 1) {
        ssize_t const size = ::getxattr(from.c_str(), name, value.data(), value.size());
        bool const copied = size >= 0 && ::fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0) == 0;
        if (!copied && (IsOfTheMedium(errno) || std::string_view(name) == "system.posix_acl_access")) return errno;
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

/// Makes the new file beside the one that the path stands for, with what belongs to that.
int OpenPart(KxString const& path, detail::LeftParts& left, detail::PartFile& part) {
    std::string target;
    int error = detail::ResolveLinks(KxxToSystemPath(path.View()), target);
    if (error == 0) error = detail::CheckReplaceable(target);
    if (error == 0) error = part.Create(target, left);
    if (error == 0) error = TakeOver(target, part.GetFile().GetNumber());
    return error;
}

[[noreturn]] void Throw(int line, KxString const& path, int error) {
    throw new KxDirEntryException(L"sySafeFile", static_cast<unsigned long>(line), path,
                                  static_cast<unsigned long>(error));
}

}  // namespace

struct KxSafeFile::State {
    KxString path;
    detail::PartFile part;

    [[noreturn]] void Fail(int line, int error) {
        part.Discard();
        Throw(line, path, error);
    }
};

KxSafeFile::KxSafeFile(KxString const& path) : m_state(std::make_unique<State>()) {
    m_state->path = path;
    detail::LeftParts left;
    int const error = OpenPart(path, left, m_state->part);
    if (error != 0) m_state->Fail(__LINE__, error);
}

KxSafeFile::~KxSafeFile() = default;

void KxSafeFile::Open(CFile& file) const {
    CFileException failure;
    if (!file.Open(GetTemporaryPath(), CFile::modeReadWrite, &failure))
        throw new CFileException(failure.GetCause(), failure.GetOsError(), m_state->path);
    file.SetFilePath(m_state->path);
}

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

void KxxFlushFolder(KxString const& path) {
    if (int const error = detail::SyncDirectory(path.Len() == 0 ? "." : KxxToSystemPath(path.View())))
        Throw(__LINE__, path, error);
}

bool KxxIsTemporaryName(KxString const& fileName) {
    std::wstring_view const name = fileName.View();
    constexpr std::wstring_view mark = L".hbtmp-";
    constexpr std::size_t random = 8;
    return name.starts_with(L'.') && name.size() > mark.size() + random &&
           name.substr(name.size() - mark.size() - random, mark.size()) == mark &&
           name.substr(name.size() - random).find_first_not_of(L"abcdefghijklmnopqrstuvwxyz234567") == name.npos;
}

namespace detail {

namespace {

// A batch holds one descriptor for each file, and what it takes on the disk is there twice.
constexpr std::size_t batchFiles = 128;
constexpr ULONGLONG batchBytes = 64u << 20;
// Of a large file so much is handed to the medium at a time, while the rest is still being made.
constexpr ULONGLONG syncStep = 8u << 20;

}  // namespace

struct SafeFiles::State {
    struct Item {
        KxString path;
        PartFile part;
    };

    std::deque<Item> batch;  // the last one is being written while `isOpen`
    bool isOpen = false;
    ULONGLONG written = 0;  // of the last one
    ULONGLONG started = 0;  // of these, handed to the medium
    ULONGLONG bytes = 0;    // of the others
    std::size_t placed = 0;
    LeftParts left;
    std::set<std::string> folders;  // with names that were not flushed

    [[noreturn]] void Fail(int line, int error) {
        KxString const path = batch.back().path;
        batch.pop_back();
        isOpen = false;
        Throw(line, path, error);
    }
    void PlaceBatch();
};

void SafeFiles::State::PlaceBatch() {
    int error = 0;
    KxString atFault;
    auto const cutOff = [&](std::size_t from, int cause) {  // the files from there on are given up
        if (cause == 0) return;
        error = cause;
        atFault = batch[from].path;
        while (batch.size() > from) batch.pop_back();
    };
    // Flushing one file costs the medium nearly as much as flushing all that it holds: so their bytes are written file by
    // file, which tells whose were lost, and flushed together.
    bool const isAlone = batch.size() == 1;
    for (std::size_t i = 0; i < batch.size(); ++i) cutOff(i, batch[i].part.GetFile().StartSync(0, 0));
    for (std::size_t i = 0; i < batch.size(); ++i) {
        Descriptor& file = batch[i].part.GetFile();
        cutOff(i, isAlone ? file.Sync() : file.SyncBytes());
    }
    std::map<unsigned long long, bool> devices;  // whether such a one was flushed as a whole, or does so file by file
    for (std::size_t i = 0; i < batch.size() && !isAlone; ++i) {
        Descriptor& file = batch[i].part.GetFile();
        auto const [device, isNew] = devices.try_emplace(StampOf(batch[i].part.GetPath()).device);
        int cause = isNew ? file.SyncFileSystem(device->second) : 0;
        if (cause == 0 && !device->second) cause = file.Sync();
        cutOff(i, cause);
    }
    while (!batch.empty()) {
        folders.insert(DirectoryOf(batch.front().part.GetPath()));
        int const cause = batch.front().part.Place(true);
        cutOff(0, cause);
        if (cause != 0) break;
        batch.pop_front();
        ++placed;
    }
    bytes = 0;
    if (error != 0) Throw(__LINE__, atFault, error);
}

SafeFiles::SafeFiles() : m_state(std::make_unique<State>()) {}

SafeFiles::~SafeFiles() = default;

void SafeFiles::Begin(KxString const& path) {
    Drop();
    State& state = *m_state;
    int error = 0;
    do {
        if (error != 0) state.PlaceBatch();  // which makes room for another descriptor
        state.batch.emplace_back();
        state.isOpen = true;
        state.batch.back().path = path;
        state.written = state.started = 0;
        error = OpenPart(path, state.left, state.batch.back().part);
        if (error != 0 && (error != EMFILE || state.batch.size() == 1)) state.Fail(__LINE__, error);
        if (error != 0) Drop();
    } while (error != 0);
}

void SafeFiles::Write(void const* data, std::size_t count) {
    State& state = *m_state;
    Descriptor& file = state.batch.back().part.GetFile();
    if (int const error = file.Write(data, count)) state.Fail(__LINE__, error);
    state.written += count;
    if (state.written - state.started < syncStep) return;
    if (int const error = file.StartSync(state.started, state.written - state.started)) state.Fail(__LINE__, error);
    state.started = state.written;
}

void SafeFiles::End() {
    State& state = *m_state;
    state.isOpen = false;
    state.bytes += state.written;
    if (state.batch.size() >= batchFiles || state.bytes >= batchBytes) state.PlaceBatch();
}

void SafeFiles::Drop() noexcept {
    if (m_state->isOpen) m_state->batch.pop_back();
    m_state->isOpen = false;
}

void SafeFiles::AddFolder(KxString const& path) {
    m_state->folders.insert(KxxToSystemPath(path.View()));
}

void SafeFiles::Commit() {
    Drop();
    m_state->PlaceBatch();
    std::string atFault;
    int error = 0;
    for (std::set<std::string> folders = std::exchange(m_state->folders, {}); !folders.empty();) {
        auto const folder = folders.extract(folders.begin());  // once, whatever comes of it
        int const cause = SyncDirectory(folder.value());
        if (cause == 0 || error != 0) continue;
        error = cause;
        atFault = folder.value();
    }
    if (error != 0) Throw(__LINE__, KxxFromSystemPath(atFault), error);
}

KxString SafeFiles::GetTemporaryPath() const {
    return KxxFromSystemPath(m_state->batch.back().part.GetPath());
}

std::size_t SafeFiles::CountPlaced() const {
    return m_state->placed;
}

}  // namespace detail

}  // namespace KxN
