// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "interchange/syZipArchive.h"

#include "base/syLittleEndian.h"
#include "hbtools/base/syEncoding.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace KxN::detail {

namespace {

constexpr unsigned encryptedFlag = 1, utf8Flag = 0x800;
constexpr ULONGLONG largest16 = 0xffff, largest32 = 0xffffffff;
constexpr std::size_t endSize = 22, locatorSize = 20, largeEndSize = 56, entrySize = 46, headSize = 30;

[[noreturn]] void Refuse(unsigned long line, wchar_t const* reason) {
    throw new KxException(L"syZipDirectory", line, reason);
}

/// So many bytes of the file, or what there is of them.
std::string BytesAt(CFile& file, ULONGLONG position, std::size_t count) {
    std::string bytes(count, '\0');
    file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    bytes.resize(file.Read(bytes.data(), static_cast<UINT>(count)));
    return bytes;
}

/// The numbers of a record, one after the other.
class Fields {
public:
    explicit Fields(std::string_view bytes) : m_bytes(bytes) {}
    ULONGLONG Take(std::size_t bytes) {
        ULONGLONG const number = LittleEndian(m_bytes.substr(0, bytes));
        m_bytes.remove_prefix(std::min(bytes, m_bytes.size()));
        return number;
    }
    bool Has(std::size_t bytes) const { return m_bytes.size() >= bytes; }

private:
    std::string_view m_bytes;
};

/// What does not fit into 32 bits stands in a field of its own, number after number.
void TakeLargeNumbers(std::string_view extra, ZipEntry& entry) {
    constexpr ULONGLONG largeNumbers = 1;
    while (extra.size() >= 4) {
        ULONGLONG const id = LittleEndian(extra.substr(0, 2));
        std::string_view const field = extra.substr(4, static_cast<std::size_t>(LittleEndian(extra.substr(2, 2))));
        extra.remove_prefix(4 + field.size());
        if (id != largeNumbers) continue;
        Fields fields(field);
        for (ULONGLONG* number : {&entry.size, &entry.packed, &entry.begin})
            if (*number == largest32 && fields.Has(8)) *number = fields.Take(8);
        return;
    }
}

}  // namespace

bool ZipEntry::IsReadable() const {
    return !(flags & encryptedFlag) && (method == 0 || method == Z_DEFLATED) && !(IsFolder() && size > 0);
}

ZipDirectory::ZipDirectory(CFile& file) : m_file(file) {
    ULONGLONG const length = file.GetLength();
    constexpr std::size_t mostBehind = 64 * 1024;
    auto const tailSize = static_cast<std::size_t>(std::min<ULONGLONG>(length, endSize + largest16 + mostBehind));
    std::string const tail = BytesAt(file, length - tailSize, tailSize);
    // How long the comment of a record is, and what there is.
    auto const stated = [&](std::size_t at) {
        return LittleEndian(std::string_view(tail).substr(at + endSize - 2, 2));
    };
    auto const present = [&](std::size_t at) { return tail.size() - at - endSize; };
    constexpr char const* signature = "PK\5\6";
    std::size_t const at = tail.rfind(signature);
    if (at == tail.npos || tail.size() - at < endSize || stated(at) > present(at)) Refuse(__LINE__, L"no zip file");
    m_comment = tail.substr(at + endSize, static_cast<std::size_t>(stated(at)));
    m_hasMore = m_comment.size() < present(at);
    if (present(at) - m_comment.size() > mostBehind) Refuse(__LINE__, L"no zip file");
    for (std::size_t other = at; m_hasMore && other > 0 && (other = tail.rfind(signature, other - 1)) != tail.npos;)
        if (stated(other) == present(other)) Refuse(__LINE__, L"two end records that contradict each other");
    Fields fields(std::string_view(tail).substr(at + 4));
    ULONGLONG const disk = fields.Take(2), directoryDisk = fields.Take(2), countHere = fields.Take(2);
    m_count = fields.Take(2);
    m_size = fields.Take(4);
    m_offset = fields.Take(4);
    ULONGLONG end = length - tail.size() + at;
    if (!TakeLargeEnd(end) && (disk != 0 || directoryDisk != 0 || countHere != m_count))
        Refuse(__LINE__, L"one of several parts");
    if (m_size > end || m_offset > end - m_size) Refuse(__LINE__, L"no directory");
    m_begin = end - m_size;
}

/// Takes the numbers of the large end record, if there is one, which is the end then. It is believed only where the small one
/// says as much.
bool ZipDirectory::TakeLargeEnd(ULONGLONG& end) {
    if (end < locatorSize + largeEndSize) return false;
    ULONGLONG const locatorBegin = end - locatorSize;
    std::string const locator = BytesAt(m_file, locatorBegin, locatorSize);
    if (!locator.starts_with("PK\6\7")) return false;
    // It stands where the locator tells, and may be longer than we know. If there is something in front of the archive the
    // locator is wrong, so it is looked for directly before that too.
    std::string record;
    ULONGLONG const told = LittleEndian(std::string_view(locator).substr(8, 8)), usual = locatorBegin - largeEndSize;
    for (ULONGLONG const begin : {told, usual}) {
        if (begin > usual || (begin == told && begin == usual && !record.empty())) continue;
        std::string const bytes = BytesAt(m_file, begin, largeEndSize);
        if (!bytes.starts_with("PK\6\6") ||
            LittleEndian(std::string_view(bytes).substr(4, 8)) != locatorBegin - begin - 12)
            continue;
        if (!record.empty()) Refuse(__LINE__, L"two end records that contradict each other");
        record = bytes;
        end = begin;
    }
    if (record.empty()) return false;
    Fields fields(std::string_view(record).substr(12));
    fields.Take(4);  // versions
    bool const isRight = fields.Take(8) == 0;
    ULONGLONG const countHere = fields.Take(8), count = fields.Take(8), size = fields.Take(8), offset = fields.Take(8);
    auto const is = [](ULONGLONG small, ULONGLONG large, ULONGLONG largest) {
        return small == large || small == largest;
    };
    if (!isRight || countHere != count || !is(m_count, count, largest16) || !is(m_size, size, largest32) ||
        !is(m_offset, offset, largest32))
        Refuse(__LINE__, L"two end records that contradict each other");
    m_count = count;
    m_size = size;
    m_offset = offset;
    return m_isLarge = true;
}

bool ZipDirectory::Read() {
    m_entries.clear();
    ULONGLONG position = m_begin;
    while (position < End())
        if (!ReadEntry(position)) return false;
    // The small record counts no further, and programs that know no other let it begin again.
    bool const isCounted = m_entries.size() == m_count || (!m_isLarge && m_entries.size() % (largest16 + 1) == m_count);
    return isCounted && SetEnds();
}

bool ZipDirectory::ReadEntry(ULONGLONG& position) {
    if (End() - position < entrySize) return false;
    std::string const record = BytesAt(m_file, position, entrySize);
    if (record.size() < entrySize || !record.starts_with("PK\1\2")) return false;
    ZipEntry entry;
    Fields fields(std::string_view(record).substr(4));
    ULONGLONG const madeBy = fields.Take(2);
    fields.Take(2);
    entry.flags = static_cast<unsigned>(fields.Take(2));
    entry.method = static_cast<unsigned>(fields.Take(2));
    entry.time = fields.Take(4);
    entry.crc = fields.Take(4);
    entry.packed = fields.Take(4);
    entry.size = fields.Take(4);
    auto const nameSize = static_cast<std::size_t>(fields.Take(2)),
               extraSize = static_cast<std::size_t>(fields.Take(2));
    ULONGLONG const whole = entrySize + nameSize + extraSize + fields.Take(2);
    if (whole > End() - position) return false;
    fields.Take(8);  // disk and attributes
    entry.begin = fields.Take(4);
    std::string const texts = BytesAt(m_file, position + entrySize, nameSize + extraSize);
    TakeLargeNumbers(std::string_view(texts).substr(nameSize), entry);
    ULONGLONG const before = m_begin - m_offset;  // what stands in front of the archive
    if (entry.begin > m_offset || m_offset - entry.begin < headSize) return false;
    entry.begin += before;
    std::string const bytes = texts.substr(0, nameSize);
    constexpr ULONGLONG madeOnUnix = 3;  // where names are UTF-8, and many programs do not say so
    bool const isUtf8 = ((entry.flags & utf8Flag) || madeBy >> 8 == madeOnUnix) && KxxIsUtf8(bytes);
    std::wstring name = isUtf8 ? KxxWidenUtf8(bytes) : KxxWidenNarrow(bytes);
    std::replace(name.begin(), name.end(), L'/', L'\\');
    entry.name = KxString(std::move(name));
    m_entries.push_back(std::move(entry));
    position += whole;
    return true;
}

/// No two entries share bytes: such an archive brings out far more than it holds.
bool ZipDirectory::SetEnds() {
    std::vector<ZipEntry*> order(m_entries.size());
    std::transform(m_entries.begin(), m_entries.end(), order.begin(), [](ZipEntry& entry) { return &entry; });
    std::sort(order.begin(), order.end(), [](ZipEntry const* a, ZipEntry const* b) { return a->begin < b->begin; });
    for (std::size_t i = 0; i < order.size(); ++i) {
        ZipEntry& entry = *order[i];
        entry.end = i + 1 < order.size() ? order[i + 1]->begin : m_begin;
        if (entry.end - entry.begin < headSize || entry.packed > entry.end - entry.begin - headSize) return false;
    }
    return true;
}

ZipContent::ZipContent(CFile& file) : m_file(file), m_packed(0x20000) {
    if (::inflateInit2(&m_stream, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
}

ZipContent::~ZipContent() {
    ::inflateEnd(&m_stream);
}

bool ZipContent::Open(ZipEntry const& entry) {
    m_entry = &entry;
    m_isAtEnd = false;
    m_left = entry.packed;
    m_size = 0;
    m_crc = 0;
    std::string const head = BytesAt(m_file, entry.begin, headSize);
    if (head.size() < headSize || !head.starts_with("PK\3\4")) return false;
    Fields fields(std::string_view(head).substr(26));
    ULONGLONG position = entry.begin + headSize + fields.Take(2);
    position += fields.Take(2);
    if (position > entry.end || entry.packed > entry.end - position) return false;
    m_file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    m_stream.avail_in = 0;
    return ::inflateReset(&m_stream) == Z_OK;
}

bool ZipContent::Refill() {
    UINT const size = static_cast<UINT>(std::min<ULONGLONG>(m_left, m_packed.size()));
    if (m_file.Read(m_packed.data(), size) != size) return false;
    m_left -= size;
    m_stream.next_in = m_packed.data();
    m_stream.avail_in = size;
    return true;
}

int ZipContent::Read(char* buffer, unsigned size) {
    unsigned count = 0;
    auto* const out = reinterpret_cast<Bytef*>(buffer);
    if (m_entry->method == 0) {
        count = m_file.Read(out, static_cast<UINT>(std::min<ULONGLONG>(m_left, size)));
        if (count == 0 && m_left > 0) return -1;
        m_left -= count;
    } else {
        m_stream.next_out = out;
        m_stream.avail_out = size;
        while (m_stream.avail_out > 0 && !m_isAtEnd) {
            if (m_stream.avail_in == 0 && m_left > 0 && !Refill()) return -1;
            int const result = ::inflate(&m_stream, Z_NO_FLUSH);
            if (result == Z_STREAM_END)
                m_isAtEnd = true;
            else if (result != Z_OK)
                return -1;
        }
        count = size - m_stream.avail_out;
    }
    m_crc = ::crc32(m_crc, out, count);
    m_size += count;
    return static_cast<int>(count);
}

}  // namespace KxN::detail
