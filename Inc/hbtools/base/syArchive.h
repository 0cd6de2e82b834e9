// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// CArchive reads or writes little-endian numbers, texts and blocks through a buffer of its own on a CFile that
// it does not own. In load mode it reads ahead; Close, Flush and the destructor give back what it did not use,
// so that the file stands just behind the last byte taken. Large blocks bypass the buffer. `long` is 4 bytes,
// `wchar_t` 2 bytes in the stream. Failures are CArchiveException (direction, end of file) and CFileException.
// An archive belongs to one thread.
#pragma once

#include "hbtools/base/syFile.h"

#include <cstring>
#include <memory>
#include <string>

namespace KxN {

class CArchive;

/// Reads the length prefix of a text; charSize becomes 2 for wide text and 1 for narrow text.
KX_API ULONGLONG AfxReadStringLength(CArchive& archive, int& charSize);
/// Writes it: the mark FF FFFE for wide text; one byte below 255; FF and a word below FFFE; FF FFFF and 32 bits
/// from FFFE on; FF FFFF FFFFFFFF and 64 bits from FFFFFFFF on.
KX_API void AfxWriteStringLength(CArchive& archive, ULONGLONG length, bool wide);

class KX_API CArchive {
public:
    enum Mode : UINT { store = 0, load = 1, bNoFlushOnDelete = 2, bNoByteSwap = 4 };

    /// A given `buffer` is used and stays the caller's, else one of `bufferSize` bytes is made. No file: as closed.
    CArchive(CFile* file, UINT mode, int bufferSize = 4096, void* buffer = nullptr);
    CArchive(CArchive const&) = delete;
    CArchive& operator=(CArchive const&) = delete;
    /// Closes as Close does unless bNoFlushOnDelete was given or Abort called. Never throws.
    ~CArchive();

    bool IsLoading() const { return (m_mode & load) != 0; }
    bool IsStoring() const { return !IsLoading(); }
    CFile* GetFile() const { return m_file; }

    /// Reads up to `count` bytes; returns the bytes read, fewer only at the end of the file.
    /// @throws CArchiveException cause writeOnly in store mode
    UINT Read(void* buffer, UINT count);
    /// @throws CArchiveException cause readOnly in load mode
    void Write(void const* buffer, UINT count);
    /// The same for blocks of any size; ReadBlock throws CArchiveException, cause endOfFile, when bytes are missing.
    void ReadBlock(void* buffer, ULONGLONG count);
    void WriteBlock(void const* buffer, ULONGLONG count);
    /// Bytes that can still be read, in buffer and file together.
    ULONGLONG GetRemaining() const;

    /// Store: writes the buffer out. Load: gives unread bytes back to the file.
    void Flush();
    /// Flushes and lets go of the file, which stays open. If that throws, the archive is as before. Afterwards every
    /// operation throws CArchiveException, cause genericException.
    void Close();
    void Abort() noexcept;  ///< Lets go of the file; what was not flushed is lost.
    /// Load: makes sure that `count` more bytes stand in the buffer, endOfFile otherwise. `count` is at most its size.
    void FillBuffer(UINT count);

    /// Load: what was read ahead and not used yet, `count` bytes of it, until the next operation; the second takes some.
    BYTE const* GetReadAhead(std::size_t& count) const {
        count = IsLoading() ? static_cast<std::size_t>(m_limit - m_current) : 0;
        return m_current;
    }
    void TakeReadAhead(std::size_t count) { m_current += count; }
    /// Load: the bytes of the wide text that comes next, its length in front, if it has less than 255 characters and was read
    /// ahead as a whole; otherwise none.
    std::string_view PeekShortText() const;

    /// A count of elements: a word, or FFFF and 32 bits from 65535 on, or FFFF FFFFFFFF and 64 bits.
    ULONGLONG ReadCount();
    void WriteCount(ULONGLONG count);

    CArchive& operator<<(bool value) { return Put(static_cast<BYTE>(value)); }
    CArchive& operator<<(char value) { return Put(value); }
    CArchive& operator<<(signed char value) { return Put(value); }
    CArchive& operator<<(unsigned char value) { return Put(value); }
    CArchive& operator<<(wchar_t value);  ///< One UTF-16 unit. @throws CArchiveException above the BMP
    CArchive& operator<<(short value) { return Put(value); }
    CArchive& operator<<(unsigned short value) { return Put(value); }
    CArchive& operator<<(int value) { return Put(value); }
    CArchive& operator<<(unsigned int value) { return Put(value); }
    CArchive& operator<<(long value);           ///< 4 bytes. @throws CArchiveException if it does not fit
    CArchive& operator<<(unsigned long value);  ///< 4 bytes. @throws CArchiveException if it does not fit
    CArchive& operator<<(long long value) { return Put(value); }
    CArchive& operator<<(unsigned long long value) { return Put(value); }
    CArchive& operator<<(float value) { return Put(value); }
    CArchive& operator<<(double value) { return Put(value); }
    /// Wide text: mark FF FFFE, length in UTF-16 units, units.
    CArchive& operator<<(KxTools::String const& text);
    CArchive& operator<<(CString const& text);
    /// Narrow text: length in bytes, bytes.
    CArchive& operator<<(CStringA const& text);
    /// A pointer is no value; without this it would be stored as a bool.
    template <class T>
    CArchive& operator<<(T const* pointer) = delete;

    CArchive& operator>>(bool& value);
    CArchive& operator>>(char& value) { return Get(value); }
    CArchive& operator>>(signed char& value) { return Get(value); }
    CArchive& operator>>(unsigned char& value) { return Get(value); }
    CArchive& operator>>(wchar_t& value);
    CArchive& operator>>(short& value) { return Get(value); }
    CArchive& operator>>(unsigned short& value) { return Get(value); }
    CArchive& operator>>(int& value) { return Get(value); }
    CArchive& operator>>(unsigned int& value) { return Get(value); }
    CArchive& operator>>(long& value);
    CArchive& operator>>(unsigned long& value);
    CArchive& operator>>(long long& value) { return Get(value); }
    CArchive& operator>>(unsigned long long& value) { return Get(value); }
    CArchive& operator>>(float& value) { return Get(value); }
    CArchive& operator>>(double& value) { return Get(value); }
    /// Wide or narrow text, whichever stands there; narrow text into CStringA byte by byte.
    /// @throws CArchiveException cause endOfFile, before anything is allocated, if the length promises more than there is
    CArchive& operator>>(KxString& text);
    CArchive& operator>>(CString& text);
    CArchive& operator>>(CStringA& text);

private:
    template <class T>
    CArchive& Put(T value) {
        if (IsStoring() && static_cast<std::size_t>(m_limit - m_current) >= sizeof(T)) {
            std::memcpy(m_current, &value, sizeof(T));
            m_current += sizeof(T);
        } else {
            Write(&value, sizeof(T));
        }
        return *this;
    }
    template <class T>
    CArchive& Get(T& value) {
        if (IsLoading() && static_cast<std::size_t>(m_limit - m_current) >= sizeof(T)) {
            std::memcpy(&value, m_current, sizeof(T));
            m_current += sizeof(T);
        } else {
            ReadBlock(&value, sizeof(T));
        }
        return *this;
    }
    template <class T>
    CArchive& PutNarrowed(T value);
    template <class T>
    CArchive& GetWidened(T& value);
    template <class C>
    std::basic_string<C> ReadUnits(ULONGLONG length);
    ULONGLONG ReadTextLength(int& charSize);
    std::wstring ReadText();
    /// Throws with the name of the file, or with cause genericException after Close.
    [[noreturn]] void Fail(int cause) const;
    friend KX_API ULONGLONG AfxReadStringLength(CArchive& archive, int& charSize);

    CFile* m_file;
    UINT m_mode;
    UINT m_bufferSize;
    BYTE* m_buffer;   // start of the buffer
    BYTE* m_current;  // next byte to take or to fill
    BYTE* m_limit;    // load: end of the bytes read ahead; store: end of the buffer
    std::unique_ptr<BYTE[]> m_ownBuffer;
};

}  // namespace KxN
