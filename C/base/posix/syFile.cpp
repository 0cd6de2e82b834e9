// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// CFile on POSIX descriptors. One window of the file is held in memory. Everything that lies in it is read,
// written and sought without a system call; what was changed in it is one range that goes out when the window
// moves. Large blocks pass by the window.
#include "hbtools/base/syFile.h"

#include "base/posix/syDescriptor.h"
#include "hbtools/base/syEncoding.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace KxN {

namespace {

constexpr std::size_t windowCapacity = 256 * 1024;
constexpr std::size_t pageSize = 4096;          // what a read out of order fetches
constexpr std::size_t directSize = 128 * 1024;  // reads and writes from here on pass by the window
constexpr std::size_t keptSize = 8 * 1024;      // of a full window, when it moves on
constexpr ULONGLONG positionLimit = 1ULL << 63;
// From here on nothing is held in the window, so that no offset in it can leave the limit.
constexpr ULONGLONG windowLimit = positionLimit - windowCapacity;

// On a page, so that the kernel's copies into it run on whole cache lines.
constexpr std::align_val_t windowAlignment{pageSize};
struct WindowDeleter {
    void operator()(BYTE* window) const { ::operator delete(window, windowAlignment); }
};

// Copies past the caches: the target is larger than they are and nobody reads it soon.
void CopyStreaming(BYTE* target, BYTE const* source, std::size_t count) {
#ifdef __SSE2__
    std::size_t const head = std::min<std::size_t>(-reinterpret_cast<std::uintptr_t>(target) & 63, count);
    std::memcpy(target, source, head);
    std::size_t done = head;
    for (; count - done >= 64; done += 64) {
        for (std::size_t i = 0; i < 64; i += 16)
            _mm_stream_si128(reinterpret_cast<__m128i*>(target + done + i),
                             _mm_loadu_si128(reinterpret_cast<__m128i const*>(source + done + i)));
    }
    _mm_sfence();
    std::memcpy(target + done, source + done, count - done);
#else
    std::memcpy(target, source, count);
#endif
}

// The kernel copies two to five times slower where the target lies a few bytes behind the file offset within a page.
// Then two copies, the first into a window that stays in the processor's cache, are faster than one.
bool IsSlowTarget(BYTE const* target, ULONGLONG offset) {
    std::uintptr_t const behind = (reinterpret_cast<std::uintptr_t>(target) - offset) % pageSize;
    return behind > 0 && behind < 32;
}

template <class Word>
inline void CopyWord(BYTE*& target, BYTE const*& source) {
    Word word;
    std::memcpy(&word, source, sizeof word);
    std::memcpy(target, &word, sizeof word);
    target += sizeof word;
    source += sizeof word;
}

// Nearly all reads and writes are heads and scalars: a call for each would cost more than the bytes.
inline void CopyBytes(BYTE* target, BYTE const* source, std::size_t count) {
    if (count >= 32) {
        std::memcpy(target, source, count);
        return;
    }
    // In whole words from the front, as the callers put them together: the processor then passes them on unstored.
    if (count & 16) {
        CopyWord<std::uint64_t>(target, source);
        CopyWord<std::uint64_t>(target, source);
    }
    if (count & 8) CopyWord<std::uint64_t>(target, source);
    if (count & 4) CopyWord<std::uint32_t>(target, source);
    if (count & 2) CopyWord<std::uint16_t>(target, source);
    if (count & 1) CopyWord<std::uint8_t>(target, source);
}

}  // namespace

class __attribute__((visibility("hidden"))) CFile::Stream {
public:
    Stream(detail::Descriptor file, bool canRead, bool canWrite, CFile const& owner)
        : m_owner(owner), m_file(std::move(file)), m_canRead(canRead), m_canWrite(canWrite) {}
    Stream(Stream const&) = delete;
    Stream& operator=(Stream const&) = delete;

    [[noreturn]] void Fail(int osError) const {
        throw new CFileException(CFileException::CauseOfOsError(osError), osError, m_owner.m_filePath);
    }
    [[noreturn]] void FailWith(int cause) const { throw new CFileException(cause, -1, m_owner.m_filePath); }

    bool ReadFromWindow(BYTE* target, std::size_t count);
    bool WriteToWindow(BYTE const* source, std::size_t count);
    [[gnu::noinline]] std::size_t ReadSlowly(BYTE* target, std::size_t count);
    [[gnu::noinline]] void WriteSlowly(BYTE const* source, std::size_t count);
    [[gnu::noinline]] ULONGLONG SeekFrom(LONGLONG offset, UINT from);
    ULONGLONG SeekBehindChanges() { return m_position = m_length; }
    BYTE* Touch(ULONGLONG position, std::size_t count);
    BYTE const* Peek(ULONGLONG position, std::size_t count) const;
    /// Writes the changes out; if that fails they stay pending, so that a later attempt can save them.
    int TryWriteOut();
    ULONGLONG Length() const;
    bool HasChanges() const { return m_hasChanges; }
    void SetLength(ULONGLONG newLength);
    void Sync();
    void Close();

    ULONGLONG m_position = 0;

private:
    std::size_t ReadAt(BYTE* target, std::size_t count, ULONGLONG offset) const;
    std::size_t ReadLarge(BYTE* target, std::size_t count, ULONGLONG position);
    void LoadWindow(ULONGLONG position, std::size_t count);
    void Check(int osError) const {
        if (osError != 0) Fail(osError);
    }
    void WriteOut() { Check(TryWriteOut()); }
    void Forget() { m_windowSize = 0; }
    void NeedWindow() {
        if (!m_window) m_window.reset(static_cast<BYTE*>(::operator new(windowCapacity, windowAlignment)));
    }
    /// True if nothing lies between the bytes and those that were written here.
    bool TouchesOwn(ULONGLONG position, std::size_t count) const {
        return position <= m_ownEnd && position + count >= m_ownBegin;
    }
    void AddToOwn(ULONGLONG position, std::size_t count);
    void Slide(std::size_t place);

    CFile const& m_owner;
    detail::Descriptor m_file;
    bool m_canRead;
    bool m_canWrite;
    std::unique_ptr<BYTE, WindowDeleter> m_window;
    ULONGLONG m_windowStart = 0;
    std::size_t m_windowSize = 0;
    bool m_hasChanges = false;
    std::size_t m_changedBegin = 0;  // range of the window that is not on disk yet, if there is one
    std::size_t m_changedEnd = 0;
    ULONGLONG m_length = 0;  // while there are changes: what is on disk and what is pending
    // Range of the file that was written here since the last Sync. The changes lie in it, and it alone is ever
    // written: what others change around it stays.
    ULONGLONG m_ownBegin = 0;
    ULONGLONG m_ownEnd = 0;
    std::size_t m_readAhead = pageSize;
    int m_syncError = 0;
};

// The way of nearly all calls: what is asked for lies in the window.
inline bool CFile::Stream::ReadFromWindow(BYTE* target, std::size_t count) {
    ULONGLONG const inWindow = m_position - m_windowStart;  // wraps to a large number in front of the window
    if (!m_canRead || inWindow >= m_windowSize || count > m_windowSize - inWindow) return false;
    CopyBytes(target, m_window.get() + inWindow, count);
    m_position += count;
    return true;
}

// The position moves only when all went well.
std::size_t CFile::Stream::ReadSlowly(BYTE* target, std::size_t count) {
    if (!m_canRead) FailWith(CFileException::accessDenied);
    std::size_t done = 0;
    while (done < count) {
        ULONGLONG const position = m_position + done;
        ULONGLONG const inWindow = position - m_windowStart;
        if (inWindow < m_windowSize) {
            std::size_t const part = std::min<std::size_t>(count - done, m_windowSize - inWindow);
            std::memcpy(target + done, m_window.get() + inWindow, part);
            done += part;
            continue;
        }
        if (position >= positionLimit) break;
        if (count - done >= directSize || position >= windowLimit) {
            done += ReadLarge(target + done, count - done, position);
            break;
        }
        LoadWindow(position, count - done);
        if (position - m_windowStart >= m_windowSize) break;  // end of the file
    }
    m_position += done;
    return done;
}

std::size_t CFile::Stream::ReadAt(BYTE* target, std::size_t count, ULONGLONG offset) const {
    std::size_t got = 0;
    Check(m_file.ReadAt(target, count, offset, got));
    return got;
}

std::size_t CFile::Stream::ReadLarge(BYTE* target, std::size_t count, ULONGLONG position) {
    WriteOut();
    if (!IsSlowTarget(target, position)) return ReadAt(target, count, position);
    NeedWindow();
    Forget();
    std::size_t done = 0;
    while (done < count) {
        std::size_t const skew = static_cast<std::size_t>((position + done) % pageSize);
        std::size_t const wanted = std::min(count - done, windowCapacity - skew);
        std::size_t const got = ReadAt(m_window.get() + skew, wanted, position + done);
        CopyStreaming(target + done, m_window.get() + skew, got);
        done += got;
        if (got < wanted) break;
    }
    return done;
}

// Brings the window to the position with at least one page, in order of reading with more each time.
void CFile::Stream::LoadWindow(ULONGLONG position, std::size_t count) {
    WriteOut();
    NeedWindow();
    bool const inOrder = m_windowSize > 0 && position == m_windowStart + m_windowSize;
    m_readAhead = inOrder ? std::min(m_readAhead * 2, windowCapacity) : pageSize;
    ULONGLONG const start = position - position % pageSize;
    std::size_t const needed = static_cast<std::size_t>(position - start) + count;
    std::size_t const wanted =
        std::min(std::max((needed + pageSize - 1) / pageSize * pageSize, m_readAhead), windowCapacity);
    Forget();
    std::size_t const got = ReadAt(m_window.get(), wanted, start);
    m_windowStart = start;
    m_windowSize = got;
}

void CFile::Stream::AddToOwn(ULONGLONG position, std::size_t count) {
    bool const touches = TouchesOwn(position, count) && m_ownEnd > 0;
    m_ownBegin = touches ? std::min(m_ownBegin, position) : position;
    m_ownEnd = touches ? std::max(m_ownEnd, position + count) : position + count;
}

// The same for writing: what is changed is one range, so that it goes out in one call.
inline bool CFile::Stream::WriteToWindow(BYTE const* source, std::size_t count) {
    ULONGLONG const inWindow = m_position - m_windowStart;
    if (!HasChanges() || inWindow > m_windowSize || count > windowCapacity - inWindow || !TouchesOwn(m_position, count))
        return false;
    std::size_t const first = static_cast<std::size_t>(inWindow);
    std::size_t const last = first + count;
    CopyBytes(m_window.get() + first, source, count);
    m_changedBegin = std::min(m_changedBegin, first);
    m_changedEnd = std::max(m_changedEnd, last);
    m_windowSize = std::max(m_windowSize, last);
    m_ownBegin = std::min(m_ownBegin, m_position);
    m_position += count;
    m_ownEnd = std::max(m_ownEnd, m_position);
    m_length = std::max(m_length, m_position);
    return true;
}

inline BYTE const* CFile::Stream::Peek(ULONGLONG position, std::size_t count) const {
    ULONGLONG const inWindow = position - m_windowStart;
    if (!m_canRead || inWindow >= m_windowSize || count > m_windowSize - inWindow) return nullptr;
    return m_window.get() + inWindow;
}

inline BYTE* CFile::Stream::Touch(ULONGLONG position, std::size_t count) {
    ULONGLONG const inWindow = position - m_windowStart;
    if (!HasChanges() || !m_canRead || inWindow >= m_windowSize || count > m_windowSize - inWindow ||
        !TouchesOwn(position, count))
        return nullptr;
    m_changedBegin = std::min<std::size_t>(m_changedBegin, inWindow);
    m_changedEnd = std::max<std::size_t>(m_changedEnd, inWindow + count);
    AddToOwn(position, count);
    return m_window.get() + inWindow;
}

// Lets the window begin a little before the place. Whoever appends records often goes back to the last one.
void CFile::Stream::Slide(std::size_t place) {
    std::size_t const kept = std::min(place, keptSize);
    std::memmove(m_window.get(), m_window.get() + place - kept, kept);
    m_windowStart += place - kept;
    m_windowSize = kept;
}

void CFile::Stream::WriteSlowly(BYTE const* source, std::size_t count) {
    if (!m_canWrite) FailWith(CFileException::accessDenied);
    if (count == 0) return;
    if (count > positionLimit - 1 - m_position) FailWith(CFileException::badSeek);
    bool const isLengthKnown = HasChanges();
    WriteOut();
    if (count >= directSize || m_position >= windowLimit) {
        Forget();
        Check(m_file.WriteAt(source, count, m_position));
        AddToOwn(m_position, count);
        m_position += count;
        return;
    }
    NeedWindow();
    if (!isLengthKnown) m_length = Length();  // others may have written since
    ULONGLONG const inWindow = m_position - m_windowStart;
    if (m_windowSize == 0 || inWindow > m_windowSize) {
        Forget();
        m_windowStart = m_position;
    } else if (count > windowCapacity - inWindow) {
        Slide(static_cast<std::size_t>(inWindow));
    }
    m_changedBegin = m_changedEnd = static_cast<std::size_t>(m_position - m_windowStart);
    m_hasChanges = true;
    AddToOwn(m_position, count);
    WriteToWindow(source, count);
}

ULONGLONG CFile::Stream::SeekFrom(LONGLONG offset, UINT from) {
    ULONGLONG const base = from == begin ? 0 : from == current ? m_position : Length();
    // Unsigned arithmetic: whatever falls below 0 or reaches 2^63 has the upper bit set.
    ULONGLONG const target = base + static_cast<ULONGLONG>(offset);
    if (target >= positionLimit || from > end) FailWith(CFileException::badSeek);
    return m_position = target;
}

int CFile::Stream::TryWriteOut() {
    if (!HasChanges()) return 0;
    int const error =
        m_file.WriteAt(m_window.get() + m_changedBegin, m_changedEnd - m_changedBegin, m_windowStart + m_changedBegin);
    if (error == 0) m_hasChanges = false;
    return error;
}

ULONGLONG CFile::Stream::Length() const {
    if (HasChanges()) return m_length;
    ULONGLONG length = 0;
    Check(m_file.GetLength(length));
    return length;
}

// Cuts first and drops what is pending behind the new end: a full disk must not keep anyone from freeing it.
void CFile::Stream::SetLength(ULONGLONG newLength) {
    if (!m_canWrite) FailWith(CFileException::accessDenied);
    if (newLength >= positionLimit) FailWith(CFileException::badSeek);
    Check(m_file.SetLength(newLength));
    ULONGLONG const held = newLength > m_windowStart ? newLength - m_windowStart : 0;
    m_windowSize = static_cast<std::size_t>(std::min<ULONGLONG>(m_windowSize, held));
    m_changedEnd = std::min(m_changedEnd, m_windowSize);
    m_hasChanges = m_hasChanges && m_changedBegin < m_changedEnd;
    m_length = newLength;
    m_ownEnd = std::min(m_ownEnd, newLength);
    m_ownBegin = std::min(m_ownBegin, m_ownEnd);
}

void CFile::Stream::Sync() {
    WriteOut();
    Forget();
    m_ownBegin = m_ownEnd = 0;
    if (!m_canWrite) return;
    // The system reports a lost page once only; whoever asks again must not be told that all is well.
    if (m_syncError == 0) m_syncError = m_file.Sync();
    Check(m_syncError);
}

void CFile::Stream::Close() {
    WriteOut();
    Check(m_file.Close());
}

CFile::CFile() = default;

CFile::CFile(wchar_t const* path, UINT openFlags) {
    CFileException error(CFileException::none);
    if (!CFile::Open(path, openFlags, &error))
        throw new CFileException(error.GetCause(), error.GetOsError(), error.GetFileName());
}

CFile::~CFile() {
    if (m_stream) m_stream->TryWriteOut();
}

int CFile::Open(wchar_t const* path, UINT openFlags, CFileException* error) {
    auto const refuse = [&](int cause, long osError) {
        if (error) *error = CFileException(cause, osError, path);
        return 0;
    };
    try {
        if (m_stream) Close();
    } catch (CFileException* failed) {
        if (error) *error = *failed;
        failed->Delete();
        return 0;
    }
    UINT const access = openFlags & 3;
    if (!path || !*path || access == 3) return refuse(CFileException::badPath, -1);
    unsigned flags = access == modeRead    ? detail::Descriptor::read
                     : access == modeWrite ? detail::Descriptor::write
                                           : detail::Descriptor::read | detail::Descriptor::write;
    if (openFlags & modeCreate) {
        flags |= detail::Descriptor::create;
        if (access != modeRead && !(openFlags & modeNoTruncate)) flags |= detail::Descriptor::truncate;
    }
    detail::Descriptor file;
    int const osError = file.Open(KxxToSystemPath(path), flags);
    // A device, a pipe or another thing that has no length.
    if (osError == EINVAL) return refuse(CFileException::invalidFile, osError);
    if (osError != 0) return refuse(CFileException::CauseOfOsError(osError), osError);
    CString name(path);
    m_stream = std::make_unique<Stream>(std::move(file), access != modeWrite, access != modeRead, *this);
    m_filePath = std::move(name);
    return 1;
}

void CFile::Close() {
    if (!m_stream) return;
    std::unique_ptr<Stream> const stream = std::move(m_stream);
    stream->Close();
}

void CFile::Abort() noexcept {
    m_stream.reset();
}

bool CFile::IsOpen() const {
    return m_stream != nullptr;
}

ULONGLONG CFile::GetPosition() const {
    return Opened().m_position;
}

ULONGLONG CFile::Seek(LONGLONG offset, UINT from) {
    // Records are appended one by one: the end is known while there is something to write out.
    if (m_stream) [[likely]] {
        if (from == begin && offset >= 0) return m_stream->m_position = static_cast<ULONGLONG>(offset);
        if (from == end && offset == 0 && m_stream->HasChanges()) return m_stream->SeekBehindChanges();
    }
    return Opened().SeekFrom(offset, from);
}

ULONGLONG CFile::GetLength() const {
    return Opened().Length();
}

void CFile::SetLength(ULONGLONG newLength) {
    Opened().SetLength(newLength);
}

UINT CFile::Read(void* buffer, UINT count) {
    if (m_stream && m_stream->ReadFromWindow(static_cast<BYTE*>(buffer), count)) [[likely]]
        return count;
    return static_cast<UINT>(Opened().ReadSlowly(static_cast<BYTE*>(buffer), count));
}

void CFile::Write(void const* buffer, UINT count) {
    if (m_stream && m_stream->WriteToWindow(static_cast<BYTE const*>(buffer), count)) [[likely]]
        return;
    Opened().WriteSlowly(static_cast<BYTE const*>(buffer), count);
}

BYTE* CFile::Touch(ULONGLONG position, UINT count) {
    return m_stream ? m_stream->Touch(position, count) : nullptr;
}

BYTE const* CFile::Peek(ULONGLONG position, UINT count) {
    return m_stream ? m_stream->Peek(position, count) : nullptr;
}

void CFile::Flush() {
    Opened().Sync();
}

CFile::Stream& CFile::Opened() const {
    if (!m_stream) [[unlikely]]
        throw new CFileException(CFileException::invalidFile, -1, m_filePath);
    return *m_stream;
}

CString CFile::GetFileName() const {
    return m_filePath.Mid(m_filePath.ReverseFind(L'/') + 1);
}

CString CFile::GetFilePath() const {
    return m_filePath;
}

void CFile::SetFilePath(wchar_t const* path) {
    if (!path) AfxThrowInvalidArgException();
    m_filePath = path;
}

void CFile::Remove(wchar_t const* path) {
    if (!path) AfxThrowInvalidArgException();
    if (::unlink(KxxToSystemPath(path).c_str()) != 0)
        AfxThrowFileException(CFileException::CauseOfOsError(errno), errno, path);
}

void CFile::Rename(wchar_t const* oldPath, wchar_t const* newPath) {
    if (!oldPath || !newPath) AfxThrowInvalidArgException();
    if (int const error = detail::RenameNew(KxxToSystemPath(oldPath), KxxToSystemPath(newPath)))
        AfxThrowFileException(CFileException::CauseOfOsError(error), error, error == EEXIST ? newPath : oldPath);
}

}  // namespace KxN
