// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ScanReader.h"

#include "AnyNumbers.h"
#include "Conditions.h"
#include "Print.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr std::size_t blockSize = 1 << 20;
constexpr std::size_t longestLine = 1 << 16;

}  // namespace

ScanSource::ScanSource(KxString const& path, Progress progress)
    : m_path(path),
      m_file(path, CFile::modeRead),
      m_progress(progress),
      m_size(m_file.GetLength()),
      m_buffer(blockSize) {}

void ScanSource::Rewind() {
    m_file.Seek(0, CFile::begin);
    m_taken = m_lineNumber = 0;
    m_begin = m_end = 0;
    m_afterReturn = m_hasPairs = false;
}

// Brings more bytes behind those that are not used up yet. False at the end of the file.
bool ScanSource::Fill() {
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    UINT const got = m_file.Read(m_buffer.data() + m_end, static_cast<UINT>(m_buffer.size() - m_end));
    m_end += got;
    ShowProgress();
    return got > 0;
}

bool ScanSource::ReadLine(std::string_view& line) {
    for (;;) {
        if (m_afterReturn && m_begin < m_end) {
            if (m_buffer[m_begin] == '\n') {
                ++m_begin;
                ++m_taken;
                m_hasPairs = true;
            }
            m_afterReturn = false;
        }
        char const* const begin = m_buffer.data() + m_begin;
        char const* const end = m_buffer.data() + m_end;
        char const* const found = std::find_if(begin, end, [](char c) { return c == '\n' || c == '\r'; });
        std::size_t const length = static_cast<std::size_t>(found - begin);
        if (length > longestLine) {
            ++m_lineNumber;
            FailInLine(Text::ScanLineTooLong);
        }
        if (found == end && Fill()) continue;
        if (found == end && length == 0) return false;
        ++m_lineNumber;
        // Filling may have moved the bytes; at the end of the file the rest is the last line.
        char const* const start = m_buffer.data() + m_begin;
        line = std::string_view(start, length);
        std::size_t const used = length + (found != end ? 1 : 0);
        m_afterReturn = found != end && start[length] == '\r';
        m_begin += used;
        m_taken += used;
        return true;
    }
}

void ScanSource::ReadBytes(void* target, std::size_t count) {
    if (m_afterReturn && m_begin == m_end) Fill();
    // Behind a lone CR the same byte is the first of the data.
    if (m_afterReturn && m_hasPairs && m_begin < m_end && m_buffer[m_begin] == '\n') {
        ++m_begin;
        ++m_taken;
    }
    m_afterReturn = false;
    if (count > Remaining()) Fail(Text::BytesMissing, count - Remaining());
    char* to = static_cast<char*>(target);
    std::size_t left = count;
    while (left > 0) {
        if (m_begin == m_end && !Fill()) Fail(Text::BecameShorter);
        std::size_t const part = std::min(left, m_end - m_begin);
        std::memcpy(to, m_buffer.data() + m_begin, part);
        m_begin += part;
        m_taken += part;
        to += part;
        left -= part;
    }
}

void ScanSource::CheckEnd() {
    std::string_view line;
    while (ReadLine(line))
        if (!Trimmed(line).empty()) Fail(Text::MoreBehind);
}

void ScanSource::FailFor(KxString const& reason) const {
    KxString text;
    text.SPrintf(L"%s: %s", m_path, reason);
    throw new KxFileException(L"ScanReader", __LINE__, text);
}

std::string_view Trimmed(std::string_view text) {
    std::size_t const begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

void SplitAtBlanks(std::string_view line, std::vector<std::string_view>& fields) {
    fields.clear();
    for (std::size_t begin = 0; (begin = line.find_first_not_of(" \t", begin)) != std::string_view::npos;) {
        std::size_t const end = std::min(line.find_first_of(" \t", begin), line.size());
        fields.push_back(line.substr(begin, end - begin));
        begin = end;
    }
}

KxString Excerpt(std::string_view text) {
    constexpr std::size_t shown = 40;
    std::wstring wide = KxxWidenUtf8(text.substr(0, shown));
    for (wchar_t& c : wide)
        if (IsControl(c)) c = L'?';
    if (text.size() > shown) wide += L"...";
    return KxString(std::move(wide));
}

bool ParseNumber(std::string_view field, bool decimalComma, double& value) {
    field = Trimmed(field);
    if (field.starts_with('+')) field.remove_prefix(1);
    char copy[64];
    if (decimalComma && field.find(',') != std::string_view::npos) {
        if (field.size() > sizeof copy) return false;
        std::replace_copy(field.begin(), field.end(), copy, ',', '.');
        field = std::string_view(copy, field.size());
    }
    char const* const end = field.data() + field.size();
    auto const result = std::from_chars(field.data(), end, value);
    if (result.ec == std::errc() && result.ptr == end) return true;
    // Some writers spell what is no number as 1.#IND, -1.#QNAN or 1.#INF.
    std::string_view rest = field.substr(field.starts_with('-') ? 1 : 0);
    std::size_t const mark = rest.find_first_not_of("0123456789");
    if (mark == 0 || mark == std::string_view::npos || !rest.substr(mark).starts_with(".#")) return false;
    rest.remove_prefix(mark + 2);
    // Few digits round the letters too: 1.#J stands for an infinity with two of them.
    std::size_t const letters = std::min(rest.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), rest.size());
    if (letters == 0 || rest.find_first_not_of("0123456789", letters) != std::string_view::npos) return false;
    bool const isInfinity = rest.starts_with("INF");
    value = isInfinity ? std::numeric_limits<double>::infinity() : std::numeric_limits<double>::quiet_NaN();
    if (field.starts_with('-')) value = -value;
    return true;
}

double Widened(std::uint32_t bits) {
    constexpr std::uint32_t exponent = 0x7f800000, mantissa = 0x007fffff, sign = 0x80000000;
    if ((bits & exponent) != exponent) return std::bit_cast<float>(bits);
    return std::bit_cast<double>(std::uint64_t{bits & sign} << 32 | 0x7ff0000000000000 |
                                 std::uint64_t{bits & mantissa} << 29);
}

Scan ReadScan(KxString const& path, Progress progress) {
    AnyNumbers const scope;
    ScanSource source(path, progress.Stage(L"reading", 0, 1));
    Scan scan;
    scan.name = KxString(KxDirEntry(path).GetBase());
    std::string_view first;
    bool const hasLine = source.ReadLine(first);
    bool const isPly = hasLine && Trimmed(first) == "ply";
    bool const isPcd = hasLine && (first.starts_with("# .PCD") || first.starts_with("VERSION"));
    source.Rewind();
    if (isPly)
        ReadPly(source, scan);
    else if (isPcd)
        ReadPcd(source, scan);
    else
        ReadText(source, scan);
    if (scan.points->Size() == 0) source.Fail(Text::NoPoint);
    scan.conditions = ConditionsOfFile(path, scan);
    return scan;
}

}  // namespace ScanLab
