// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syArchive.h"

#include "hbtools/base/syEncoding.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace KxN {

static_assert(std::endian::native == std::endian::little, "files are little-endian and nothing swaps");

namespace {

constexpr UINT callLimit = 1U << 30;  // one CFile call moves a UINT of bytes

// Short texts, which are nearly all, need no memory of their own on the way.
constexpr std::size_t shortText = 256;

}  // namespace

CArchive::CArchive(CFile* file, UINT mode, int bufferSize, void* buffer)
    : m_file(file), m_mode(mode), m_bufferSize(static_cast<UINT>(std::max(bufferSize, 128))) {
    if (buffer && bufferSize >= 128) {
        m_buffer = static_cast<BYTE*>(buffer);
    } else {
        m_ownBuffer = std::make_unique_for_overwrite<BYTE[]>(m_bufferSize);
        m_buffer = m_ownBuffer.get();
    }
    m_current = m_buffer;
    m_limit = IsLoading() || !m_file ? m_buffer : m_buffer + m_bufferSize;  // without a file as after Close
}

CArchive::~CArchive() {
    if (!m_file || (m_mode & bNoFlushOnDelete)) return;
    try {
        Close();
    } catch (CException* exception) {
        exception->Delete();
    } catch (...) {  // of a file of the application's own
    }
}

void CArchive::Fail(int cause) const {
    if (!m_file) AfxThrowArchiveException(CArchiveException::genericException);
    AfxThrowArchiveException(cause, m_file->GetFileName());
}

void CArchive::Flush() {
    if (!m_file) return;
    if (IsLoading()) {
        ULONGLONG const unread = static_cast<ULONGLONG>(m_limit - m_current);
        if (unread > 0) m_file->Seek(-static_cast<LONGLONG>(unread), CFile::current);
        m_current = m_limit = m_buffer;
    } else if (m_current > m_buffer) {
        m_file->Write(m_buffer, static_cast<UINT>(m_current - m_buffer));
        m_current = m_buffer;
    }
}

void CArchive::Close() {
    Flush();
    Abort();
}

void CArchive::Abort() noexcept {
    m_file = nullptr;
    m_current = m_limit = m_buffer;  // so that whatever comes now meets the tests of the slow path
}

UINT CArchive::Read(void* buffer, UINT count) {
    if (!m_file || !IsLoading()) Fail(CArchiveException::writeOnly);
    BYTE* target = static_cast<BYTE*>(buffer);
    UINT left = count;
    while (left > 0) {
        UINT const ready =
            static_cast<UINT>(std::min<std::size_t>(left, static_cast<std::size_t>(m_limit - m_current)));
        if (ready > 0) {
            std::memcpy(target, m_current, ready);
            m_current += ready;
            target += ready;
            left -= ready;
        } else if (left >= m_bufferSize) {
            left -= m_file->Read(target, left);
            break;
        } else {
            m_current = m_limit = m_buffer;
            m_limit += m_file->Read(m_buffer, m_bufferSize);
            if (m_limit == m_buffer) break;
        }
    }
    return count - left;
}

void CArchive::Write(void const* buffer, UINT count) {
    if (!m_file || IsLoading()) Fail(CArchiveException::readOnly);
    if (count > static_cast<std::size_t>(m_limit - m_current)) {
        Flush();
        if (count >= m_bufferSize) {
            m_file->Write(buffer, count);
            return;
        }
    }
    std::memcpy(m_current, buffer, count);
    m_current += count;
}

std::string_view CArchive::PeekShortText() const {
    constexpr std::size_t headSize = 4;  // FF FFFE and a byte
    std::size_t ready = 0;
    BYTE const* const bytes = GetReadAhead(ready);
    if (ready < headSize || bytes[0] != 0xff || bytes[1] != 0xfe || bytes[2] != 0xff || bytes[3] == 0xff) return {};
    std::size_t const size = headSize + std::size_t{2} * bytes[3];
    return size <= ready ? std::string_view(reinterpret_cast<char const*>(bytes), size) : std::string_view();
}

void CArchive::ReadBlock(void* buffer, ULONGLONG count) {
    BYTE* target = static_cast<BYTE*>(buffer);
    while (count > 0) {
        UINT const part = static_cast<UINT>(std::min<ULONGLONG>(count, callLimit));
        if (Read(target, part) != part) Fail(CArchiveException::endOfFile);
        target += part;
        count -= part;
    }
}

void CArchive::WriteBlock(void const* buffer, ULONGLONG count) {
    BYTE const* source = static_cast<BYTE const*>(buffer);
    while (count > 0) {
        UINT const part = static_cast<UINT>(std::min<ULONGLONG>(count, callLimit));
        Write(source, part);
        source += part;
        count -= part;
    }
}

ULONGLONG CArchive::GetRemaining() const {
    if (!IsLoading() || !m_file) return 0;
    ULONGLONG const length = m_file->GetLength();
    ULONGLONG const position = m_file->GetPosition();
    return static_cast<ULONGLONG>(m_limit - m_current) + (length > position ? length - position : 0);
}

void CArchive::FillBuffer(UINT count) {
    if (!m_file || !IsLoading()) Fail(CArchiveException::writeOnly);
    std::size_t const ready = static_cast<std::size_t>(m_limit - m_current);
    if (count <= ready) return;
    std::memmove(m_buffer, m_current, ready);
    m_current = m_buffer;
    m_limit = m_buffer + ready;
    if (count <= m_bufferSize) m_limit += m_file->Read(m_limit, m_bufferSize - static_cast<UINT>(ready));
    if (static_cast<std::size_t>(m_limit - m_current) < count) Fail(CArchiveException::endOfFile);
}

ULONGLONG CArchive::ReadCount() {
    WORD word = 0;
    *this >> word;
    if (word != 0xffff) return word;
    DWORD dword = 0;
    *this >> dword;
    if (dword != 0xffffffff) return dword;
    ULONGLONG count = 0;
    *this >> count;
    return count;
}

void CArchive::WriteCount(ULONGLONG count) {
    if (count < 0xffff) {
        *this << static_cast<WORD>(count);
        return;
    }
    *this << static_cast<WORD>(0xffff);
    if (count < 0xffffffff) {
        *this << static_cast<DWORD>(count);
        return;
    }
    *this << static_cast<DWORD>(0xffffffff) << count;
}

CArchive& CArchive::operator<<(wchar_t value) {
    if (static_cast<std::uint32_t>(value) > 0xffff) Fail(CArchiveException::badIndex);
    return Put(static_cast<char16_t>(value));
}

template <class T>
CArchive& CArchive::PutNarrowed(T value) {
    auto const stored = static_cast<typename KxTStored<T>::Type>(value);
    if (stored != value) Fail(CArchiveException::badIndex);
    return Put(stored);
}

template <class T>
CArchive& CArchive::GetWidened(T& value) {
    typename KxTStored<T>::Type stored = 0;
    Get(stored);
    value = static_cast<T>(stored);
    return *this;
}

CArchive& CArchive::operator<<(long value) {
    return PutNarrowed(value);
}

CArchive& CArchive::operator<<(unsigned long value) {
    return PutNarrowed(value);
}

CArchive& CArchive::operator<<(KxTools::String const& text) {
    std::wstring_view const characters = text.View();
    if (IsStoring() && characters.size() < 0xff &&
        static_cast<std::size_t>(m_limit - m_current) >= 4 + 2 * characters.size()) {
        // Straight into the buffer, as nearly all texts go.
        BYTE* out = m_current + 4;
        std::uint32_t all = 0;
        for (wchar_t const c : characters) {
            all |= static_cast<std::uint32_t>(c);
            auto const unit = static_cast<char16_t>(c);
            std::memcpy(out, &unit, sizeof unit);
            out += sizeof unit;
        }
        if (all <= 0xffff) {
            BYTE const prefix[] = {0xff, 0xfe, 0xff, static_cast<BYTE>(characters.size())};
            std::memcpy(m_current, prefix, sizeof prefix);
            m_current = out;
            return *this;
        }
    }
    std::u16string const units = KxxToUtf16(text.View());
    AfxWriteStringLength(*this, units.size(), true);
    WriteBlock(units.data(), units.size() * sizeof(char16_t));
    return *this;
}

CArchive& CArchive::operator<<(CString const& text) {
    return *this << KxString(text);
}

CArchive& CArchive::operator<<(CStringA const& text) {
    AfxWriteStringLength(*this, static_cast<ULONGLONG>(text.GetLength()), false);
    WriteBlock(text.GetString(), static_cast<ULONGLONG>(text.GetLength()));
    return *this;
}

CArchive& CArchive::operator>>(bool& value) {
    BYTE byte = 0;
    Get(byte);
    value = byte != 0;
    return *this;
}

CArchive& CArchive::operator>>(wchar_t& value) {
    return GetWidened(value);
}

CArchive& CArchive::operator>>(long& value) {
    return GetWidened(value);
}

CArchive& CArchive::operator>>(unsigned long& value) {
    return GetWidened(value);
}

template <class C>
std::basic_string<C> CArchive::ReadUnits(ULONGLONG length) {
    // Only what is really there is worth memory.
    if (length > shortText && length > GetRemaining() / sizeof(C)) Fail(CArchiveException::endOfFile);
    std::basic_string<C> units;
    units.resize(static_cast<std::size_t>(length));
    ReadBlock(units.data(), length * sizeof(C));
    return units;
}

// A text object counts its characters in an int.
ULONGLONG CArchive::ReadTextLength(int& charSize) {
    ULONGLONG const length = AfxReadStringLength(*this, charSize);
    if (length > static_cast<ULONGLONG>(std::numeric_limits<int>::max())) Fail(CArchiveException::endOfFile);
    return length;
}

std::wstring CArchive::ReadText() {
    int charSize = 1;
    ULONGLONG const length = ReadTextLength(charSize);
    if (charSize == 2 && length <= static_cast<std::size_t>(m_limit - m_current) / 2) {
        // Straight from the buffer, unless there are surrogates.
        std::wstring text(static_cast<std::size_t>(length), L'\0');
        bool hasSurrogates = false;
        for (std::size_t i = 0; i < text.size(); ++i) {
            char16_t unit;
            std::memcpy(&unit, m_current + 2 * i, sizeof unit);
            text[i] = static_cast<wchar_t>(unit);
            hasSurrogates |= (unit & 0xf800) == 0xd800;
        }
        if (!hasSurrogates) {
            m_current += 2 * text.size();
            return text;
        }
    }
    return charSize == 1 ? KxxWidenNarrow(ReadUnits<char>(length)) : KxxWidenUtf16(ReadUnits<char16_t>(length));
}

CArchive& CArchive::operator>>(KxString& text) {
    text = KxString(ReadText());
    return *this;
}

CArchive& CArchive::operator>>(CString& text) {
    text = CString(std::wstring_view(ReadText()));
    return *this;
}

CArchive& CArchive::operator>>(CStringA& text) {
    int charSize = 1;
    ULONGLONG const length = ReadTextLength(charSize);
    text = CStringA(std::string_view(charSize == 1 ? ReadUnits<char>(length)
                                                   : KxxToNarrow(KxxWidenUtf16(ReadUnits<char16_t>(length)))));
    return *this;
}

ULONGLONG AfxReadStringLength(CArchive& archive, int& charSize) {
    charSize = 1;
    BYTE byte = 0;
    archive >> byte;
    if (byte != 0xff) return byte;
    WORD word = 0;
    archive >> word;
    if (word == 0xfffe) {
        charSize = 2;
        archive >> byte;
        if (byte != 0xff) return byte;
        archive >> word;
        // A second mark is no length.
        if (word == 0xfffe) archive.Fail(CArchiveException::badIndex);
    }
    if (word != 0xffff) return word;
    DWORD dword = 0;
    archive >> dword;
    if (dword != 0xffffffff) return dword;
    ULONGLONG length = 0;
    archive >> length;
    return length;
}

void AfxWriteStringLength(CArchive& archive, ULONGLONG length, bool wide) {
    if (wide) archive << static_cast<BYTE>(0xff) << static_cast<WORD>(0xfffe);
    if (length < 0xff) {
        archive << static_cast<BYTE>(length);
        return;
    }
    archive << static_cast<BYTE>(0xff);
    if (length < 0xfffe) {
        archive << static_cast<WORD>(length);
        return;
    }
    archive << static_cast<WORD>(0xffff);
    if (length < 0xffffffff) {
        archive << static_cast<DWORD>(length);
        return;
    }
    archive << static_cast<DWORD>(0xffffffff) << length;
}

}  // namespace KxN
