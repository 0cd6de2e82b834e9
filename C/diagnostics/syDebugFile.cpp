// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "diagnostics/syDebugFile.h"

#include "diagnostics/syLogText.h"
#include "diagnostics/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/sySafeFile.h"

#include <cerrno>
#include <ctime>
#include <utility>

namespace KxN::detail {

namespace {

constexpr char separatorLine[] = "______________________________________________________________________\r\n";
constexpr char lineEnd[] = "\r\n";

struct Clock {
    std::time_t second = -1;
    std::string date, time;
};

/// The texts of the present second. They are made once a second: making them costs more than writing an entry.
Clock const& Now() {
    thread_local Clock clock;
    std::time_t const second = std::time(nullptr);
    if (second != clock.second) {
        KxDateTime const now = KxDateTime::FromUnixTime(second);
        clock.date = KxxToUtf8(now.GetDateText().View());
        clock.time = KxxToUtf8(now.GetTimeText().View());
        clock.second = second;
    }
    return clock;
}

/// In a handler: the exception with its text, as the root of the tree.
[[noreturn]] void ThrowWrapped(CException* exception) {
    auto wrapped = std::make_unique<KxException>(*exception);
    exception->Delete();
    throw wrapped.release();
}

}  // namespace

DebugFile::DebugFile() {
    unsigned short const ids[] = {text::DatePrefix, text::TimePrefix, text::FilePrefix, text::LinePrefix};
    for (int i = 0; i < 4; ++i) {
        m_prefixes[i] = KxString(KxResId(ids[i]));
        m_prefixBytes[i] = KxxToUtf8(m_prefixes[i].View());
    }
}

void DebugFile::Open(KxString const& path, unsigned long maxEntries) {
    auto stream = std::make_unique<KxoFileStream>(path, KxFileModeOut);
    try {
        stream->Proof(ProofOpen);
    } catch (CException* exception) {
        ThrowWrapped(exception);
    }
    DebugFile const fresh;  // with the texts of the present language
    CSingleLock const lock(&m_lock, 1);
    for (int i = 0; i < 4; ++i) {
        m_prefixes[i] = fresh.m_prefixes[i];
        m_prefixBytes[i] = fresh.m_prefixBytes[i];
    }
    m_path = path;
    m_stream = std::move(stream);
    m_maxEntries = maxEntries;
    m_rewriteLimit = static_cast<unsigned long>(static_cast<double>(maxEntries) * 1.5);
    m_entries.clear();
    m_bytes.clear();
    m_dropped = m_droppedBytes = 0;
    m_sinceRewrite = 0;
    m_isFailureTold = false;
}

std::string DebugFile::TakeInfo() {
    std::lock_guard const lock(m_infoLock);
    m_hasInfo = false;
    return std::exchange(m_info, {});
}

void DebugFile::SetInfo(KxString const& info) {
    std::string bytes = KxxToUtf8(info.View());
    std::lock_guard const lock(m_infoLock);
    m_hasInfo = !bytes.empty();
    m_info = std::move(bytes);
}

std::string DebugFile::Compose(DebugEntry const& entry) {
    std::string bytes;
    bytes.reserve(160 + static_cast<std::size_t>(entry.text.Len()));
    if (entry.hasSeparator) bytes += separatorLine;
    if (entry.hasDate) {
        Clock const& now = Now();
        bytes.append(m_prefixBytes[0]).append(now.date).append(m_prefixBytes[1]).append(now.time).append(lineEnd);
    }
    bytes.append(KxxToUtf8(entry.text.View())).append(lineEnd);
    if (entry.extendedInfo) bytes.append(KxxToUtf8(entry.extendedInfo->View())).append(lineEnd);
    if (entry.sourceFile) {
        bytes.append(m_prefixBytes[2]).append(KxxToUtf8(entry.sourceFile->View()));
        bytes.append(m_prefixBytes[3]).append(std::to_string(entry.line)).append(lineEnd);
    }
    if (m_hasInfo) {
        std::string const info = TakeInfo();
        if (!info.empty()) bytes.append(info).append(lineEnd);
    }
    return bytes;
}

void DebugFile::Write(DebugEntry const& entry) {
    if (m_isSuppressed) return;
    std::string const bytes = Compose(entry);
    CSingleLock const lock(&m_lock, 1);
    bool const isWritten = !m_isDelayed;
    if (isWritten) WriteBytes(bytes);
    m_bytes += bytes;
    m_entries.push_back({bytes.size(), isWritten});
    ++m_sinceRewrite;
    LimitSize();
}

/// Hands bytes to the system in one call. Whoever reports a failure must not get another one for it.
void DebugFile::WriteBytes(std::string const& bytes) {
    if (!m_stream) return;
    if (!m_stream->is_open()) m_stream->open(m_path, KxFileModeAppend);
    m_stream->WriteBytes(bytes.data(), bytes.size());
    if (m_stream->good()) [[likely]] {
        m_isFailureTold = false;
        return;
    }
    try {
        m_stream->Proof(ProofWrite);
    } catch (CException* exception) {
        TellFailure(exception);
    }
    m_stream->clear();  // the next entry may find room again
}

/// Once until writing succeeds again.
void DebugFile::TellFailure(CException* exception) noexcept {
    if (std::exchange(m_isFailureTold, true))
        exception->Delete();
    else
        TellOnStandardError(exception);
}

void DebugFile::CheckSize() {
    CSingleLock const lock(&m_lock, 1);
    LimitSize();
}

void DebugFile::LimitSize() {
    if (m_entries.size() - m_dropped > m_maxEntries) m_droppedBytes += m_entries[m_dropped++].size;
    if (m_sinceRewrite <= m_rewriteLimit) return;
    m_sinceRewrite = m_maxEntries;
    if (m_isDelayed) return ForgetDropped();
    try {
        Rewrite();
    } catch (CException* exception) {
        TellFailure(exception);
    }
}

void DebugFile::ForgetDropped() {
    m_entries.erase(m_entries.begin(), m_entries.begin() + static_cast<std::ptrdiff_t>(m_dropped));
    m_bytes.erase(0, m_droppedBytes);
    m_dropped = m_droppedBytes = 0;
}

void DebugFile::Reopen(int mode) {
    if (m_stream->is_open()) m_stream->close();
    m_stream->clear();
    m_stream->open(m_path, mode);
    try {
        m_stream->Proof(ProofOpen);
    } catch (CException* exception) {
        m_stream->clear();
        ThrowWrapped(exception);
    }
}

/// Makes the file hold the kept entries. A new file takes its place, so that nobody ever finds less in it, and a full
/// disk leaves the former one. Only where the directory may not be changed it is emptied and written again.
void DebugFile::Rewrite() {
    ForgetDropped();
    if (!m_stream) return;
    if (m_bytes.empty()) return Reopen(KxFileModeTruncate);
    try {
        KxxSaveFile(m_path, m_bytes);
        Reopen(KxFileModeAppend);
    } catch (KxDirEntryException* exception) {
        unsigned long const code = exception->GetCode();
        if (code != EACCES && code != EPERM && code != EROFS) ThrowWrapped(exception);
        exception->Delete();
        Reopen(KxFileModeTruncate);
        m_stream->WriteBytes(m_bytes.data(), m_bytes.size());
        try {
            m_stream->Proof(ProofWrite);
        } catch (CException* failure) {
            m_stream->clear();
            ThrowWrapped(failure);
        }
    }
    for (Entry& entry : m_entries) entry.isWritten = true;
}

void DebugFile::Flush() {
    CSingleLock const lock(&m_lock, 1);
    Rewrite();
}

void DebugFile::Reset() {
    CSingleLock const lock(&m_lock, 1);
    if (m_stream) Reopen(KxFileModeTruncate);
}

// What is switched off still gets its notice, and what is switched on again gets it first of all.
void DebugFile::Suppress(bool suppress) {
    if (!suppress) m_isSuppressed = false;
    Write({KxString(KxResId(suppress ? text::SuppressOn : text::SuppressOff))});
    if (suppress) m_isSuppressed = true;
}

void DebugFile::Delay(bool delay) {
    if (!delay) m_isDelayed = false;
    Write({KxString(KxResId(delay ? text::DelayOn : text::DelayOff))});
    if (delay) m_isDelayed = true;
}

KxString DebugFile::GetInfo() {
    CSingleLock const lock(&m_lock, 1);
    std::string bytes;
    std::size_t position = 0;
    for (Entry const& entry : m_entries) {
        if (entry.isWritten) bytes.append(m_bytes, position, entry.size);
        position += entry.size;
    }
    return KxString(KxxWidenUtf8(bytes));
}

KxString DebugFile::GetPath() {
    CSingleLock const lock(&m_lock, 1);
    return m_path;
}

}  // namespace KxN::detail
