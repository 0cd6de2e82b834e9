// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "diagnostics/syDebugFile.h"

#include "diagnostics/syLogText.h"
#include "diagnostics/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/sySafeFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string_view>
#include <type_traits>
#include <utility>

namespace KxN::detail {

namespace {

constexpr char separatorLine[] = "______________________________________________________________________\r\n";
constexpr char lineEnd[] = "\r\n";

/// Plain memory, so that destructors of static objects may still write an entry at the end of a thread.
struct Clock {
    std::time_t second = -1;
    std::size_t dateLength = 0, timeLength = 0;
    char date[24] = {}, time[24] = {};

    std::string_view Date() const { return {date, dateLength}; }
    std::string_view Time() const { return {time, timeLength}; }
};
static_assert(std::is_trivially_destructible_v<Clock>);

/// The texts of the present second. They are made once a second: making them costs more than writing an entry.
Clock const& Now() {
    thread_local Clock clock;
    std::time_t const second = std::time(nullptr);
    if (second != clock.second) {
        KxDateTime const now = KxDateTime::FromUnixTime(second);
        std::string const date = KxxToUtf8(now.GetDateText().View()), time = KxxToUtf8(now.GetTimeText().View());
        clock.dateLength = date.copy(clock.date, sizeof clock.date);
        clock.timeLength = time.copy(clock.time, sizeof clock.time);
        clock.second = second;
    }
    return clock;
}

KxString FailureText(KxString const& path, int error) {
    KxString message;
    message.SPrintf(KxString(KxResId(text::DebugFileFailed)), path + L": " + KxString(std::strerror(error)));
    return message;
}

/// What the call returns; what it throws is a lack of memory.
template <class Call>
int ErrorOf(Call call) {
    try {
        return call();
    } catch (CException* exception) {
        exception->Delete();
    } catch (std::exception const&) {}
    return ENOMEM;
}

}  // namespace

DebugFile::DebugFile() : m_prefixes(ReadPrefixes()) {}

std::shared_ptr<DebugFile::Prefixes const> DebugFile::ReadPrefixes() {
    unsigned short const ids[] = {text::DatePrefix, text::TimePrefix, text::FilePrefix, text::LinePrefix};
    auto prefixes = std::make_shared<Prefixes>();
    for (std::size_t i = 0; i < std::size(ids); ++i) (*prefixes)[i] = KxxToUtf8(KxString(KxResId(ids[i])).View());
    return prefixes;
}

void DebugFile::Open(KxString const& path, unsigned long maxEntries) {
    auto file = std::make_unique<KxFileBuffer>(KxFileBuffer::Output);
    if (!file->Open(path.GetStr(), KxFileModeOut))
        throw new KxException(L"syDebugFile", __LINE__, path + L": " + KxString(std::strerror(file->GetError())));
    auto prefixes = ReadPrefixes();  // in the present language
    KxString name = path;
    {
        std::lock_guard const lock(m_composeLock);
        m_prefixes.swap(prefixes);
    }
    {
        Holding const lock(m_lock);
        std::swap(m_path, name);
        m_file.swap(file);
        m_maxEntries = maxEntries;
        m_rewriteLimit = static_cast<unsigned long>(static_cast<double>(maxEntries) * 1.5);
        m_entries.clear();
        m_bytes.clear();
        m_dropped = m_droppedBytes = 0;
        m_sinceRewrite = 0;
        m_isTorn = m_isFailureTold = false;
    }
    if (file && file->IsOpen() && !file->Close()) Tell(file->GetError(), &name);
}

void DebugFile::SetInfo(KxString const& info) {
    std::string bytes = KxxToUtf8(info.View());
    std::lock_guard const lock(m_composeLock);
    m_info.swap(bytes);
}

std::string DebugFile::Compose(DebugEntry const& entry) {
    std::shared_ptr<Prefixes const> prefixes;
    {
        std::lock_guard const lock(m_composeLock);
        prefixes = m_prefixes;
    }
    std::string bytes;
    bytes.reserve(160 + static_cast<std::size_t>(entry.text.Len()));
    if (entry.hasSeparator) bytes += separatorLine;
    if (entry.hasDate) {
        Clock const& now = Now();
        bytes.append((*prefixes)[0]).append(now.Date()).append((*prefixes)[1]).append(now.Time()).append(lineEnd);
    }
    bytes.append(KxxToUtf8(entry.text.View())).append(lineEnd);
    if (entry.extendedInfo) bytes.append(KxxToUtf8(entry.extendedInfo->View())).append(lineEnd);
    if (entry.sourceFile) {
        bytes.append((*prefixes)[2]).append(KxxToUtf8(entry.sourceFile->View()));
        bytes.append((*prefixes)[3]).append(std::to_string(entry.line)).append(lineEnd);
    }
    return bytes;
}

void DebugFile::Write(DebugEntry const& entry) {
    if (m_isSuppressed) return;
    std::string bytes = Compose(entry);
    int error = 0;
    {
        Holding const lock(m_lock);
        if (m_isSuppressed) return;  // since then
        error = Keep(std::move(bytes));
    }
    Tell(error);
}

/// Takes in an entry, with the pending text at its end: what is not taken in leaves that to the next one. Returns a
/// failure that has to be told.
int DebugFile::Keep(std::string bytes) {
    {
        std::lock_guard const lock(m_composeLock);
        if (!m_info.empty()) bytes.append(m_info).append(lineEnd);
        // Both or none, before anything reaches the file.
        m_entries.push_back({bytes.size(), false});
        try {
            m_bytes += bytes;
        } catch (...) {
            m_entries.pop_back();
            throw;
        }
        m_info.clear();
    }
    int written = 0;
    if (!m_isDelayed) {
        written = ErrorOf([&] { return WriteBytes(bytes); });
        m_entries.back().isWritten = written == 0;
        if (written == 0) m_isFailureTold = false;
    }
    ++m_sinceRewrite;
    int const limited = LimitSize();
    int const error = written != 0 ? written : limited;
    return IsToTell(error) ? error : 0;
}

/// Hands bytes to the system in one call, all of them or none. Before the first Open there is nothing to write to.
int DebugFile::WriteBytes(std::string const& bytes) {
    if (!m_file) return 0;
    if (!m_file->IsOpen() && !m_file->Open(m_path.GetStr(), KxFileModeAppend)) return m_file->GetError();
    bool isTorn = false;
    if (m_isTorn && m_file->WriteWhole(lineEnd, sizeof lineEnd - 1, isTorn)) m_isTorn = false;
    bool const isWritten = !m_isTorn && m_file->WriteWhole(bytes.data(), bytes.size(), isTorn);
    m_isTorn |= isTorn;
    int const error = isWritten ? 0 : m_file->GetError();
    m_file->ForgetError();  // the next entry may find room again
    return error;
}

/// Whoever reports a failure must not get another one for it: it is told, once until writing succeeds again.
bool DebugFile::IsToTell(int error) {
    return error != 0 && !std::exchange(m_isFailureTold, true);
}

void DebugFile::Tell(int error, KxString const* path) noexcept {
    if (error == 0) return;
    // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): Guarded takes what comes
    Guarded([&] { throw new KxException(FailureText(path ? *path : GetPath(), error)); });
}

void DebugFile::ThrowIf(int error, int line) {
    if (error != 0)
        throw new KxException(L"syDebugFile", static_cast<unsigned long>(line), FailureText(GetPath(), error));
}

void DebugFile::CheckSize() {
    int error = 0;
    {
        Holding const lock(m_lock);
        error = LimitSize();
        if (!IsToTell(error)) error = 0;
    }
    Tell(error);
}

/// Never throws: the entry is kept, and a file that is too long does no harm.
int DebugFile::LimitSize() {
    if (m_entries.size() - m_dropped > m_maxEntries) m_droppedBytes += m_entries[m_dropped++].size;
    if (m_sinceRewrite <= m_rewriteLimit) return 0;
    m_sinceRewrite = m_maxEntries;
    if (m_isDelayed) {
        ForgetDropped();
        return 0;
    }
    return ErrorOf([this] { return Rewrite(); });
}

void DebugFile::ForgetDropped() {
    m_entries.erase(m_entries.begin(), m_entries.begin() + static_cast<std::ptrdiff_t>(m_dropped));
    m_bytes.erase(0, m_droppedBytes);
    m_dropped = m_droppedBytes = 0;
}

/// A close that fails may be the only word of an entry that was lost, so it is a failure even if the file opens again.
int DebugFile::Reopen(int mode) {
    bool const isClosed = !m_file->IsOpen() || m_file->Close();
    int const closing = isClosed ? 0 : m_file->GetError();
    bool const isOpen = m_file->Open(m_path.GetStr(), mode);
    if (isOpen && mode == KxFileModeTruncate) m_isTorn = false;
    return isOpen ? closing : m_file->GetError();
}

/// Makes the file hold the kept entries. A new file takes its place, so that nobody ever finds less in it, and a full
/// disk leaves the former one. Only where the directory may not be changed it is emptied and written again.
int DebugFile::Rewrite() {
    ForgetDropped();
    if (!m_file) return 0;
    if (m_bytes.empty()) return Reopen(KxFileModeTruncate);
    auto const mark = [this](bool isWritten) {
        for (Entry& entry : m_entries) entry.isWritten = isWritten;
    };
    try {
        KxxSaveFile(m_path, m_bytes);
        mark(true);
        m_isTorn = false;
        return Reopen(KxFileModeAppend);
    } catch (KxDirEntryException* exception) {
        auto const code = static_cast<int>(exception->GetCode());
        exception->Delete();
        if (code != EACCES && code != EPERM && code != EROFS) return code;
    }
    int const reopening = Reopen(KxFileModeTruncate);
    if (!m_file->IsOpen()) return reopening;
    mark(false);
    int const error = WriteBytes(m_bytes);
    mark(error == 0);
    return error != 0 ? error : reopening;
}

void DebugFile::Flush() {
    int error = 0;
    {
        Holding const lock(m_lock);
        error = Rewrite();
    }
    ThrowIf(error, __LINE__);
}

void DebugFile::Reset() {
    int error = 0;
    {
        Holding const lock(m_lock);
        if (m_file) error = Reopen(KxFileModeTruncate);
    }
    ThrowIf(error, __LINE__);
}

// What is switched off still gets its notice, and what is switched on again gets it first of all: switch and notice are
// one step for every other thread.
void DebugFile::Suppress(bool suppress) {
    if (suppress && m_isSuppressed) return;
    std::string notice = Compose({KxString(KxResId(suppress ? text::SuppressOn : text::SuppressOff))});
    int error = 0;
    {
        Holding const lock(m_lock);
        if (suppress && m_isSuppressed) return;
        error = Keep(std::move(notice));
        m_isSuppressed = suppress;
    }
    Tell(error);
}

void DebugFile::Delay(bool delay) {
    std::string notice = Compose({KxString(KxResId(delay ? text::DelayOn : text::DelayOff))});
    int error = 0;
    {
        Holding const lock(m_lock);
        if (!delay) m_isDelayed = false;
        if (!m_isSuppressed) error = Keep(std::move(notice));
        if (delay) m_isDelayed = true;
    }
    Tell(error);
}

KxString DebugFile::GetInfo() {
    Holding const lock(m_lock);
    std::string bytes;
    std::size_t position = 0;
    for (Entry const& entry : m_entries) {
        if (entry.isWritten) bytes.append(m_bytes, position, entry.size);
        position += entry.size;
    }
    return KxString(KxxWidenUtf8(bytes));
}

KxString DebugFile::GetPath() {
    Holding const lock(m_lock);
    return m_path;
}

}  // namespace KxN::detail
