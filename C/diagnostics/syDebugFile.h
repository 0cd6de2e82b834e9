// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The debug file with its last entries. They are held one behind the other as the bytes that they are in the file, a
// quarter of what wide text would take, so that keeping an entry costs no allocation and rewriting the file is one
// write of what is kept. Any thread may call any operation; the lock is held for the file and the entries only, never
// while an entry is composed.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/base/syFileStream.h"
#include "hbtools/base/sySync.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace KxN::detail {

/// One entry to be.
struct DebugEntry {
    KxString const& text;
    bool hasDate = true;
    bool hasSeparator = true;
    KxString const* extendedInfo = nullptr;
    KxString const* sourceFile = nullptr;  // null: no location
    unsigned long line = 0;
};

class DebugFile {
public:
    DebugFile();

    /// Opens, and so empties, a file in place of the present one, which stays if that fails.
    /// @throws KxException
    void Open(KxString const& path, unsigned long maxEntries);
    void Write(DebugEntry const& entry);
    void SetInfo(KxString const& info);
    void Suppress(bool suppress);
    void Delay(bool delay);
    bool IsDelayed() const { return m_isDelayed; }
    void Reset();  ///< @throws KxException
    void Flush();  ///< @throws KxException
    void CheckSize();
    KxString GetInfo();
    KxString GetPath();
    unsigned long GetMaxEntries() const { return m_maxEntries; }
    KxString const& GetPrefix(int index) const { return m_prefixes[index]; }

private:
    struct Entry {
        std::size_t size;
        bool isWritten;  // else it waits for Flush
    };

    std::string Compose(DebugEntry const& entry);
    std::string TakeInfo();
    void WriteBytes(std::string const& bytes);
    void Reopen(int mode);
    void LimitSize();
    void ForgetDropped();
    void Rewrite();
    void TellFailure(CException* exception) noexcept;

    CCriticalSection m_lock;
    std::unique_ptr<KxoFileStream> m_stream;
    KxString m_path;
    KxString m_prefixes[4];  // date, time, file, line
    std::string m_prefixBytes[4];
    std::deque<Entry> m_entries;  // since the file was last rewritten
    std::string m_bytes;          // of all of them
    std::size_t m_dropped = 0;    // the first entries, which are kept no longer, and the size of their bytes
    std::size_t m_droppedBytes = 0;
    std::atomic<unsigned long> m_maxEntries = 0;
    unsigned long m_rewriteLimit = 0;
    unsigned long m_sinceRewrite = 0;
    bool m_isFailureTold = false;
    std::atomic<bool> m_isSuppressed = false;
    std::atomic<bool> m_isDelayed = false;
    std::mutex m_infoLock;
    std::string m_info;  // pending
    std::atomic<bool> m_hasInfo = false;
};

}  // namespace KxN::detail
