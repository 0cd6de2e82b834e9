// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The debug file with its last entries. They are held one behind the other as the bytes that they are in the file, a
// quarter of what wide text would take, so that keeping an entry costs no allocation and rewriting the file is one
// write of what is kept. Any thread may call any operation; the lock is held for the file and the entries only, never
// while an entry or the text of a failure is composed.
#pragma once

#include "base/posix/syMutex.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syFileStream.h"

#include <array>
#include <atomic>
#include <deque>
#include <memory>
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
    /// Throws for lack of memory only; nothing is kept or written then.
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

private:
    struct Entry {
        std::size_t size;
        bool isWritten;  // else it waits for Flush
    };
    /// Date, time, file and line in UTF-8, in the language of the last Open.
    using Prefixes = std::array<std::string, 4>;

    static std::shared_ptr<Prefixes const> ReadPrefixes();
    std::string Compose(DebugEntry const& entry);
    // With the lock held; they tell failures by their system error number, 0 if there was none.
    int Keep(std::string bytes);
    int WriteBytes(std::string const& bytes);
    int Reopen(int mode);
    int LimitSize();
    int Rewrite();
    void ForgetDropped();
    bool IsToTell(int error);
    // Without the lock.
    void Tell(int error, KxString const* path = nullptr) noexcept;
    void ThrowIf(int error, int line);

    CCriticalSection m_lock;
    std::unique_ptr<KxFileBuffer> m_file;
    KxString m_path;
    std::deque<Entry> m_entries;  // since the file was last rewritten
    std::string m_bytes;          // of all of them
    std::size_t m_dropped = 0;    // the first entries, which are kept no longer, and the size of their bytes
    std::size_t m_droppedBytes = 0;
    std::atomic<unsigned long> m_maxEntries = 0;
    unsigned long m_rewriteLimit = 0;
    unsigned long m_sinceRewrite = 0;
    bool m_isTorn = false;  // the file ends within an entry
    bool m_isFailureTold = false;
    std::atomic<bool> m_isSuppressed = false;
    std::atomic<bool> m_isDelayed = false;
    Mutex m_composeLock;  // guards the two below; may be taken with m_lock held, never the other way round
    std::shared_ptr<Prefixes const> m_prefixes;
    std::string m_info;  // pending
};

}  // namespace KxN::detail
