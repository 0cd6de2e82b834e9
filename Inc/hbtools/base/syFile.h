// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// CFile, the byte stream of all persistence: a file with a buffer inside, so that small reads and writes and
// seeks among them cost no system call, in any mix. CMemFile is the same in memory, CSharedFile one whose
// memory can be handed on. Files of any length; offsets are bytes. Every failure of the medium raises
// CFileException with cause, system code and path, also from Flush and Close; a short read is no failure but
// the end of the file. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syObject.h"

#include <memory>

namespace KxN {

class KX_API CFile : public CObject {
public:
    enum OpenFlags : UINT {
        modeRead = 0,
        modeWrite = 1,
        modeReadWrite = 2,
        modeCreate = 0x1000,     ///< Make the file if it is missing; empty one that is there and may be written.
        modeNoTruncate = 0x2000  ///< With modeCreate: keep what is there.
    };
    enum SeekPosition : UINT { begin = 0, current = 1, end = 2 };

    CFile();  ///< Not open.
    /// Opens `path`. Anything but a regular file is refused without waiting for it.
    /// @throws CFileException
    CFile(wchar_t const* path, UINT openFlags);
    CFile(CFile const&) = delete;
    CFile& operator=(CFile const&) = delete;
    /// Closes the file if it is open. Never throws: what could not be written then is lost, so call Close.
    ~CFile() override;

    /// As the constructor; a file that is open is closed first. Returns non-zero on success; on failure 0, *error
    /// tells why if it is given, and the object is closed.
    virtual int Open(wchar_t const* path, UINT openFlags, CFileException* error = nullptr);
    /// Writes what is pending and closes. The file is closed also if this throws.
    virtual void Close();
    /// Closes without writing what is pending and without throwing.
    virtual void Abort() noexcept;

    virtual ULONGLONG GetPosition() const;
    /// Moves to `offset` bytes from the beginning, the position or the end; returns the new offset. A target
    /// below 0 or at or above 2^63 raises CFileException, cause badSeek. Seeking itself changes no file.
    virtual ULONGLONG Seek(LONGLONG offset, UINT from);
    virtual ULONGLONG GetLength() const;
    /// Cuts or extends the file with zero bytes. The position stays. Cutting frees space of the medium before
    /// anything that is pending is written.
    virtual void SetLength(ULONGLONG newLength);
    /// Reads up to `count` bytes; returns the bytes read. Fewer than asked means the end of the file. After an
    /// exception the position is as it was.
    virtual UINT Read(void* buffer, UINT count);
    /// Writes all of `count` bytes or throws. What waits in the buffer stays there when the medium refuses it, and
    /// is tried again. Bytes of the file that were not written here are never written over.
    virtual void Write(void const* buffer, UINT count);
    /// The `count` bytes at `position` for reading and changing in place, where they stand in a buffer that will be
    /// written anyway; null otherwise, and the caller seeks, reads and writes. The position stays. The pointer is
    /// valid until the next call of any other operation.
    virtual BYTE* Touch(ULONGLONG position, UINT count);
    /// The same for reading only: the bytes where they stand in a buffer, or null.
    virtual BYTE const* Peek(ULONGLONG position, UINT count);
    /// Brings everything to the medium, and forgets what was read ahead, so that later reads see what others wrote.
    /// After the medium refused once, the file stays failed: no later Flush reports success.
    virtual void Flush();

    /// The file's name without its directories; GetFilePath has them. Both empty while no path was set.
    virtual CString GetFileName() const;
    virtual CString GetFilePath() const;
    /// Sets the path that messages show; does not move the file. A null name throws CInvalidArgException.
    virtual void SetFilePath(wchar_t const* path);
    virtual bool IsOpen() const;

    /// Deletes, renames (replacing no existing file). A null name throws CInvalidArgException. @throws CFileException
    static void Remove(wchar_t const* path);
    static void Rename(wchar_t const* oldPath, wchar_t const* newPath);

protected:
    CString m_filePath;

private:
    class Stream;
    Stream& Opened() const;
    std::unique_ptr<Stream> m_stream;
};

/// A file in memory. Reading stops at its length, writing extends it; Alloc, Realloc, Free and GrowFile are the
/// seams for other growth rules. The memory belongs to the object until Detach. A class with a Free of its own
/// calls Close in its destructor. A write that finds no memory throws CMemoryException and changes nothing.
class KX_API CMemFile : public CFile {
public:
    explicit CMemFile(UINT growBytes = 1024);
    /// Reads and writes the caller's memory, which it never frees or moves. With growBytes 0 it refuses to grow
    /// beyond that; otherwise it goes on in a copy of its own.
    CMemFile(BYTE* buffer, UINT size, UINT growBytes = 0);
    ~CMemFile() override;

    /// Gives the memory (made by Alloc, to be freed by std::free) to the caller; the file is empty afterwards.
    BYTE* Detach();

    /// Empties the file; there is no path to open. Returns non-zero.
    int Open(wchar_t const* path, UINT openFlags, CFileException* error = nullptr) override;
    void Close() override;           ///< Frees the memory, if it is the file's own.
    void Abort() noexcept override;  ///< The same.
    bool IsOpen() const override;
    ULONGLONG GetPosition() const override;
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetLength() const override;
    void SetLength(ULONGLONG newLength) override;
    UINT Read(void* buffer, UINT count) override;
    void Write(void const* buffer, UINT count) override;
    BYTE* Touch(ULONGLONG position, UINT count) override;
    BYTE const* Peek(ULONGLONG position, UINT count) override;
    void Flush() override;

protected:
    virtual BYTE* Alloc(ULONGLONG size);
    virtual BYTE* Realloc(BYTE* memory, ULONGLONG size);
    virtual void Free(BYTE* memory);
    /// Makes room for `newLength` bytes: the next multiple of the grow value. @throws CMemoryException
    virtual void GrowFile(ULONGLONG newLength);

    UINT m_growBytes;
    ULONGLONG m_bufferSize = 0;
    ULONGLONG m_position = 0;
    ULONGLONG m_fileSize = 0;
    BYTE* m_buffer = nullptr;
    bool m_ownsBuffer = true;

private:
    void MakeRoom(ULONGLONG length);
};

/// A memory file whose memory is handed on as a global handle (a pointer to be freed by std::free).
class KX_API CSharedFile : public CMemFile {
public:
    explicit CSharedFile(UINT allocFlags = 0x2002, UINT growBytes = 4096);
    UINT GetAllocFlags() const { return m_allocFlags; }
    /// The memory, now the caller's; null if nothing was ever written.
    void* Detach();

private:
    UINT m_allocFlags;
};

}  // namespace KxN
