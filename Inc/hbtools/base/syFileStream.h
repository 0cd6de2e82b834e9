// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxiFileStream and KxoFileStream, text and byte streams on files, derived from the standard wide streams. They
// depend on no locale: text is UTF-8 on output, numbers have a decimal point. Text input takes a byte order mark
// (UTF-8, UTF-16), else UTF-8 if the whole file is, else Windows-1252. Line ends pass as they are. In binary mode
// each byte is one character from 0 to 255, and ReadBytes and WriteBytes move bytes as they are.
//
// The streams report by their state and never throw of themselves; Proof turns a failure into an exception that
// names the file and the system's reason:
//
//     KxN::KxoFileStream file(path, KxN::KxFileModeOut);
//     file.Proof(KxN::ProofOpen);
//     file << L"Größe " << 12.5 << L'\n';
//     file.Proof(KxN::ProofWrite);  // also brings out what is pending, so a full disk shows here
//
// Only regular files are opened. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syString.h"

#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>

namespace KxN {

/// Open modes; the sum of what applies. Do not renumber.
enum KxFileMode {
    KxFileModeIn = 1,
    KxFileModeOut = 2,        ///< Empties the file unless In, AtEnd or Append is given as well.
    KxFileModeAtEnd = 4,      ///< Keeps what is there and starts behind it.
    KxFileModeAppend = 8,     ///< Keeps what is there; every write goes to the end.
    KxFileModeTruncate = 16,  ///< Empties the file.
    KxFileModeBinary = 32
};

/// What Proof looks at. Do not renumber.
enum ProofMode { ProofOpen = 0, ProofWrite = 1, ProofRead = 2 };

/// The buffer under both streams.
class KX_API KxFileBuffer : public std::wstreambuf {
public:
    enum Direction { Input, Output };

    explicit KxFileBuffer(Direction direction);
    KxFileBuffer(KxFileBuffer const&) = delete;
    KxFileBuffer& operator=(KxFileBuffer const&) = delete;
    /// Writes what is pending and closes. What cannot be written then is lost: call Proof before.
    ~KxFileBuffer() override;

    bool Open(wchar_t const* path, int mode);
    bool IsOpen() const;
    bool Close();
    /// Bytes read, fewer at the end of the file. Binary mode only.
    std::size_t ReadBytes(void* buffer, std::size_t count);
    bool WriteBytes(void const* data, std::size_t count);
    /// Writes all of the bytes or none: what was written of those that fail is cut off again. `isTorn` says that even
    /// this failed and a part of them stands at the end. For files that nobody else writes.
    bool WriteWhole(void const* data, std::size_t count, bool& isTorn);

    KxString const& GetPathName() const { return m_path; }
    /// The system error number of the first failure since the file was opened, 0 if there was none.
    int GetError() const { return m_error; }
    void ForgetError() { m_error = 0; }

protected:
    int_type underflow() override;
    int_type overflow(int_type character) override;
    int sync() override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

private:
    struct File;

    bool Fail(int error);
    bool WritePending();
    bool DetectEncoding();
    void DropRead();

    Direction m_direction;
    KxString m_path;
    int m_error = 0;
    std::unique_ptr<File> m_file;
};

class KX_API KxiFileStream : public std::wistream {
public:
    KxiFileStream();
    /// Opens the file; failbit if that fails. Reading is implied by the mode.
    explicit KxiFileStream(KxString const& path, int mode = KxFileModeIn);
    ~KxiFileStream() override;

    void open(wchar_t const* path, int mode = KxFileModeIn);
    void close();
    bool is_open() const { return m_buffer.IsOpen(); }
    /// Reads `count` bytes in binary mode; returns the bytes read. Fewer set failbit and eofbit.
    std::size_t ReadBytes(void* buffer, std::size_t count);
    /// @throws KxFileException if the stream has failed, which includes a read that found less than it needed
    void Proof(ProofMode mode);
    KxString GetPathName() const { return m_buffer.GetPathName(); }

private:
    KxFileBuffer m_buffer;
};

class KX_API KxoFileStream : public std::wostream {
public:
    KxoFileStream();
    /// Opens or makes the file; failbit if that fails. Writing is implied by the mode.
    explicit KxoFileStream(KxString const& path, int mode = KxFileModeOut);
    ~KxoFileStream() override;

    void open(wchar_t const* path, int mode = KxFileModeOut);
    /// Writes what is pending and closes; badbit if that fails.
    void close();
    bool is_open() const { return m_buffer.IsOpen(); }
    /// Writes bytes as they are, behind what was written before. badbit if that fails.
    void WriteBytes(void const* data, std::size_t count);
    /// Brings what is pending to the system first. @throws KxFileException if the stream has failed
    void Proof(ProofMode mode);
    KxString GetPathName() const { return m_buffer.GetPathName(); }

private:
    KxFileBuffer m_buffer;
};

/// Reads up to the next line feed, which is taken and not kept. False at the end of the file.
KX_API bool KxxGetLine(std::wistream& stream, KxString& line);

}  // namespace KxN

namespace KxTools {

KX_API std::wostream& operator<<(std::wostream& stream, String const& text);
/// Reads one word.
KX_API std::wistream& operator>>(std::wistream& stream, String& word);

}  // namespace KxTools
