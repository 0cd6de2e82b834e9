// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syFileStream.h"

#include "base/posix/syDescriptor.h"
#include "base/syTextIds.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/syTextEncoding.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <locale>

namespace KxN {

namespace {

constexpr std::size_t chunk = 16 * 1024;

/// Length of the part of the bytes that ends with a whole character; all of it if no character is cut at the end.
std::size_t WholeCharacters(std::string_view bytes, KxTextEncoding encoding) {
    if (encoding == KxTextEncoding::Windows1252) return bytes.size();
    if (encoding == KxTextEncoding::Utf16LE || encoding == KxTextEncoding::Utf16BE) {
        std::size_t const even = bytes.size() - bytes.size() % 2;
        if (even == 0) return 0;
        unsigned const high = static_cast<unsigned char>(bytes[even - (encoding == KxTextEncoding::Utf16LE ? 1 : 2)]);
        return high >= 0xD8 && high <= 0xDB ? even - 2 : even;  // half of a pair waits for the other
    }
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, bytes.size()); ++back) {
        unsigned const byte = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if ((byte & 0xC0) == 0x80) continue;
        std::size_t const length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return length > back ? bytes.size() - back : bytes.size();
    }
    return bytes.size();
}

KxString Reason(int error, ProofMode mode) {
    if (error != 0) return KxString(std::strerror(error));
    return KxString(KxResId(mode == ProofRead ? text::StreamEnd : text::StreamFailed));
}

/// Both streams' Proof.
void ThrowIfFailed(std::wios const& stream, KxFileBuffer const& buffer, ProofMode mode) {
    if (!stream.fail()) return;
    unsigned short const id = mode == ProofOpen    ? text::OpenFailed
                              : mode == ProofWrite ? text::WriteFailed
                                                   : text::ReadFailed;
    KxString message;
    message.SPrintf(KxString(KxResId(id)), buffer.GetPathName(), Reason(buffer.GetError(), mode));
    throw new KxFileException(L"syFileStream", __LINE__, message);
}

}  // namespace

struct KxFileBuffer::File {
    detail::Descriptor descriptor;
    bool isBinary = false;
    bool isEncodingKnown = false;
    KxTextEncoding encoding = KxTextEncoding::Utf8;
    std::string held;                    // bytes read that are not whole characters yet
    std::wstring decoded;                // what stands in the get area
    std::array<wchar_t, chunk> pending;  // the put area
};

KxFileBuffer::KxFileBuffer(Direction direction) : m_direction(direction) {}

KxFileBuffer::~KxFileBuffer() {
    Close();
}

bool KxFileBuffer::Fail(int error) {
    if (m_error == 0) m_error = error;
    return false;
}

bool KxFileBuffer::Open(wchar_t const* path, int mode) {
    Close();
    m_error = 0;
    m_path = path;
    auto file = std::make_unique<File>();
    using detail::Descriptor;
    unsigned flags = Descriptor::read;
    if (m_direction == Output) {
        bool const keeps = (mode & (KxFileModeIn | KxFileModeAtEnd | KxFileModeAppend)) != 0;
        flags = Descriptor::write | Descriptor::create;
        if (mode & KxFileModeAppend) flags |= Descriptor::append;
        if (!keeps || (mode & KxFileModeTruncate)) flags |= Descriptor::truncate;
    }
    if (int const error = file->descriptor.Open(KxxToSystemPath(m_path.View()), flags)) return Fail(error);
    if (mode & (KxFileModeAtEnd | KxFileModeAppend)) {
        long long position = 0;
        if (int const error = file->descriptor.Seek(0, 2, position)) return Fail(error);
    }
    file->isBinary = (mode & KxFileModeBinary) != 0;
    m_file = std::move(file);
    if (m_direction == Output) setp(m_file->pending.data(), m_file->pending.data() + m_file->pending.size());
    return true;
}

bool KxFileBuffer::IsOpen() const {
    return m_file != nullptr;
}

bool KxFileBuffer::Close() {
    if (!m_file) return false;
    bool const written = WritePending();
    int const error = m_file->descriptor.Close();
    m_file.reset();
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
    return error == 0 ? written : Fail(error);
}

/// Hands what stands in the put area of an open file to the system. What fails to go out is dropped; the error stays.
bool KxFileBuffer::WritePending() {
    if (m_direction != Output) return true;
    std::wstring_view const text(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    if (text.empty()) return true;
    std::string bytes;
    bool fits = true;
    if (m_file->isBinary) {
        bytes.resize(text.size());
        for (std::size_t i = 0; i < text.size(); ++i) {
            fits = fits && text[i] >= 0 && text[i] <= 0xFF;
            bytes[i] = static_cast<char>(text[i]);
        }
    } else {
        bytes = KxxToUtf8(text);
    }
    setp(m_file->pending.data(), m_file->pending.data() + m_file->pending.size());
    if (!fits) return Fail(EILSEQ);
    int const error = m_file->descriptor.Write(bytes.data(), bytes.size());
    return error == 0 || Fail(error);
}

KxFileBuffer::int_type KxFileBuffer::overflow(int_type character) {
    if (m_direction != Output || !m_file || !WritePending()) return traits_type::eof();
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(character);
        pbump(1);
    }
    return traits_type::not_eof(character);
}

int KxFileBuffer::sync() {
    return m_direction == Input || !m_file || WritePending() ? 0 : -1;
}

bool KxFileBuffer::WriteBytes(void const* data, std::size_t count) {
    if (m_direction != Output || !m_file) return Fail(EBADF);
    if (!WritePending()) return false;
    int const error = m_file->descriptor.Write(data, count);
    return error == 0 || Fail(error);
}

bool KxFileBuffer::WriteWhole(void const* data, std::size_t count, bool& isTorn) {
    isTorn = false;
    if (m_direction != Output || !m_file) return Fail(EBADF);
    if (!WritePending()) return false;
    int const error = m_file->descriptor.WriteWhole(data, count, isTorn);
    return error == 0 || Fail(error);
}

/// Finds out the encoding of a text file and leaves the file behind its mark.
bool KxFileBuffer::DetectEncoding() {
    File& file = *m_file;
    detail::Descriptor& descriptor = file.descriptor;
    std::string bytes(chunk, '\0');
    std::string tail;
    bool isFirst = true;
    file.encoding = KxTextEncoding::Utf8;
    for (;;) {
        std::size_t got = 0;
        if (int const error = descriptor.Read(bytes.data(), chunk, got)) return Fail(error);
        std::string const part = tail + bytes.substr(0, got);
        bool const isLast = got < chunk;
        std::size_t const whole = isLast ? part.size() : WholeCharacters(part, KxTextEncoding::Utf8);
        KxTextEncoding const found = KxxDetectEncoding(std::string_view(part).substr(0, isFirst ? 3 : 0));
        if (KxxMarkLength(found) > 0) {
            file.encoding = found;
            break;
        }
        if (!KxxIsUtf8(std::string_view(part).substr(0, whole))) {
            file.encoding = KxTextEncoding::Windows1252;
            break;
        }
        if (isLast) break;
        tail = part.substr(whole);
        isFirst = false;
    }
    long long position = 0;
    if (int const error = descriptor.Seek(static_cast<long long>(KxxMarkLength(file.encoding)), 0, position))
        return Fail(error);
    file.isEncodingKnown = true;
    return true;
}

KxFileBuffer::int_type KxFileBuffer::underflow() {
    if (m_direction != Input || !m_file) return traits_type::eof();
    if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
    File& file = *m_file;
    if (!file.isBinary && !file.isEncodingKnown && !DetectEncoding()) return traits_type::eof();
    setg(nullptr, nullptr, nullptr);
    file.decoded.clear();
    while (file.decoded.empty()) {
        std::size_t const kept = file.held.size();
        file.held.resize(kept + chunk);
        std::size_t got = 0;
        int const error = file.descriptor.Read(file.held.data() + kept, chunk, got);
        file.held.resize(kept + got);
        if (error != 0) {
            Fail(error);
            // What came before the failure is not given out: its end is not the end of the file.
            return traits_type::eof();
        }
        if (file.held.empty()) return traits_type::eof();
        if (file.isBinary) {
            file.decoded.resize(file.held.size());
            std::transform(file.held.begin(), file.held.end(), file.decoded.begin(),
                           [](char byte) { return static_cast<wchar_t>(static_cast<unsigned char>(byte)); });
            file.held.clear();
        } else {
            bool const isLast = got < chunk;
            std::size_t const whole = isLast ? file.held.size() : WholeCharacters(file.held, file.encoding);
            file.decoded = KxxDecodeText(std::string_view(file.held).substr(0, whole), file.encoding);
            file.held.erase(0, whole);
            if (isLast && file.decoded.empty()) return traits_type::eof();
        }
    }
    setg(file.decoded.data(), file.decoded.data(), file.decoded.data() + file.decoded.size());
    return traits_type::to_int_type(*gptr());
}

std::size_t KxFileBuffer::ReadBytes(void* buffer, std::size_t count) {
    if (m_direction != Input || !m_file || !m_file->isBinary) {
        Fail(EBADF);
        return 0;
    }
    char* const target = static_cast<char*>(buffer);
    std::size_t const ready = std::min(count, static_cast<std::size_t>(egptr() - gptr()));
    for (std::size_t i = 0; i < ready; ++i) target[i] = static_cast<char>(gptr()[i]);
    gbump(static_cast<int>(ready));
    std::size_t got = 0;
    if (int const error = m_file->descriptor.Read(target + ready, count - ready, got)) Fail(error);
    return ready + got;
}

void KxFileBuffer::DropRead() {
    setg(nullptr, nullptr, nullptr);
    m_file->held.clear();
    m_file->isEncodingKnown = false;
}

// Positions are bytes, so in text mode only the beginning of the file can be found again.
KxFileBuffer::pos_type KxFileBuffer::seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode) {
    pos_type const failed = pos_type(off_type(-1));
    if (!m_file) return failed;
    bool const toBegin = from == std::ios_base::beg && offset == 0;
    if (!m_file->isBinary && !toBegin) return failed;
    if (m_direction == Output && !WritePending()) return failed;
    long long position = 0;
    long long const ahead = m_direction == Input ? egptr() - gptr() : 0;
    bool const asks = from == std::ios_base::cur && offset == 0;
    int const origin = from == std::ios_base::beg ? 0 : from == std::ios_base::cur ? 1 : 2;
    long long const target = asks ? 0 : offset - (origin == 1 ? ahead : 0);
    if (m_file->descriptor.Seek(target, origin, position) != 0) return failed;
    if (asks) return pos_type(off_type(position - ahead));
    DropRead();
    return pos_type(off_type(position));
}

KxFileBuffer::pos_type KxFileBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
    return seekoff(off_type(position), std::ios_base::beg, which);
}

KxiFileStream::KxiFileStream() : std::wistream(nullptr), m_buffer(KxFileBuffer::Input) {
    init(&m_buffer);
    imbue(std::locale::classic());
}

KxiFileStream::KxiFileStream(KxString const& path, int mode) : KxiFileStream() {
    open(path, mode);
}

KxiFileStream::~KxiFileStream() = default;

void KxiFileStream::open(wchar_t const* path, int mode) {
    if (m_buffer.Open(path, mode))
        clear();
    else
        setstate(std::ios_base::failbit);
}

void KxiFileStream::close() {
    if (!m_buffer.Close()) setstate(std::ios_base::failbit);
}

std::size_t KxiFileStream::ReadBytes(void* buffer, std::size_t count) {
    if (!good()) {
        setstate(std::ios_base::failbit);
        return 0;
    }
    std::size_t const got = m_buffer.ReadBytes(buffer, count);
    if (m_buffer.GetError() != 0)
        setstate(std::ios_base::badbit);
    else if (got < count)
        setstate(std::ios_base::failbit | std::ios_base::eofbit);
    return got;
}

void KxiFileStream::Proof(ProofMode mode) {
    // A medium that fails looks like an end of the file to the operators of the stream; here it must not.
    if (m_buffer.GetError() != 0) setstate(std::ios_base::badbit);
    ThrowIfFailed(*this, m_buffer, mode);
}

KxoFileStream::KxoFileStream() : std::wostream(nullptr), m_buffer(KxFileBuffer::Output) {
    init(&m_buffer);
    imbue(std::locale::classic());
}

KxoFileStream::KxoFileStream(KxString const& path, int mode) : KxoFileStream() {
    open(path, mode);
}

KxoFileStream::~KxoFileStream() = default;

void KxoFileStream::open(wchar_t const* path, int mode) {
    if (m_buffer.Open(path, mode))
        clear();
    else
        setstate(std::ios_base::failbit);
}

void KxoFileStream::close() {
    if (!m_buffer.Close()) setstate(std::ios_base::badbit);
}

void KxoFileStream::WriteBytes(void const* data, std::size_t count) {
    if (!good() || !m_buffer.WriteBytes(data, count)) setstate(std::ios_base::badbit);
}

void KxoFileStream::Proof(ProofMode mode) {
    if (good() && m_buffer.IsOpen()) flush();
    ThrowIfFailed(*this, m_buffer, mode);
}

bool KxxGetLine(std::wistream& stream, KxString& line) {
    std::wstring text;
    bool const found = static_cast<bool>(std::getline(stream, text));
    line = std::move(text);
    return found;
}

}  // namespace KxN

namespace KxTools {

std::wostream& operator<<(std::wostream& stream, String const& text) {
    return stream << text.View();
}

std::wistream& operator>>(std::wistream& stream, String& word) {
    std::wstring text;
    stream >> text;
    word = String(std::move(text));
    return stream;
}

}  // namespace KxTools
