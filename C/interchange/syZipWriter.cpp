// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "base/syLittleEndian.h"
#include "hbtools/base/syException.h"
#include "interchange/syZipArchive.h"

#include <algorithm>
#include <new>
#include <utility>

namespace KxN::detail {

namespace {

constexpr ULONGLONG largest16 = 0xffff, largest32 = 0xffffffff;
constexpr ULONGLONG version = 20, largeVersion = 45;  // of the format
constexpr ULONGLONG largeNumbers = 1;                 // the field of what 32 bits do not hold

struct Number {
    ULONGLONG value;
    int bytes;
};

void Append(std::string& bytes, std::initializer_list<Number> numbers) {
    for (Number const& number : numbers) AppendLittleEndian(bytes, number.value, number.bytes);
}

}  // namespace

ZipWriter::ZipWriter(CFile& file, ULONGLONG front) : m_file(file), m_front(front), m_packed(0x20000) {
    constexpr int usualMemory = 8;
    if (::deflateInit2(&m_stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, usualMemory, Z_DEFAULT_STRATEGY) !=
        Z_OK)
        throw std::bad_alloc();
}

ZipWriter::~ZipWriter() {
    ::deflateEnd(&m_stream);
}

void ZipWriter::Open(std::string name, unsigned flags, unsigned long time, ULONGLONG expected) {
    m_name = std::move(name);
    m_flags = flags;
    m_time = time;
    m_begin = m_file.GetPosition();
    m_size = m_packedSize = 0;
    m_crc = 0;
    m_isLarge = expected >= largest32 - expected / 1000;  // what cannot be packed becomes a little longer
    Put(Record(false));
    ::deflateReset(&m_stream);
}

void ZipWriter::Write(char const* data, unsigned size) {
    auto const* const bytes = reinterpret_cast<Bytef const*>(data);
    m_crc = ::crc32(m_crc, bytes, size);
    m_size += size;
    m_stream.next_in = const_cast<Bytef*>(bytes);  // which it only reads
    m_stream.avail_in = size;
    Deflate(Z_NO_FLUSH);
}

void ZipWriter::Close() {
    Deflate(Z_FINISH);
    if (!m_isLarge && std::max(m_size, m_packedSize) >= largest32)
        throw new KxException(L"syZipWriter", __LINE__, L"it grew meanwhile");
    // All is known now.
    ULONGLONG const end = m_file.GetPosition();
    m_file.Seek(static_cast<LONGLONG>(m_begin), CFile::begin);
    Put(Record(false));
    m_file.Seek(static_cast<LONGLONG>(end), CFile::begin);
    m_directory += Record(true);
    ++m_count;
}

void ZipWriter::WriteDirectory(ULONGLONG begin, ULONGLONG former, std::string const& comment) {
    Put(m_directory);
    ULONGLONG const end = m_file.GetPosition() - m_front, offset = begin - m_front, size = end - offset,
                    count = former + m_count;
    std::string bytes;
    if (count >= largest16 || size >= largest32 || offset >= largest32) {
        bytes = "PK\6\6";
        Append(bytes,
               {{44, 8}, {largeVersion, 2}, {largeVersion, 2}, {0, 8}, {count, 8}, {count, 8}, {size, 8}, {offset, 8}});
        bytes += "PK\6\7";
        Append(bytes, {{0, 4}, {end, 8}, {1, 4}});
    }
    ULONGLONG const smallCount = std::min(count, largest16);
    bytes += "PK\5\6";
    Append(bytes, {{0, 4},
                   {smallCount, 2},
                   {smallCount, 2},
                   {std::min(size, largest32), 4},
                   {std::min(offset, largest32), 4},
                   {comment.size(), 2}});
    Put(bytes + comment);
}

/// The head of the entry, as far as its numbers are known, or its record in the directory.
std::string ZipWriter::Record(bool isInDirectory) const {
    ULONGLONG const offset = m_begin - m_front;
    bool const isFar = isInDirectory && offset >= largest32;
    std::string large;
    if (m_isLarge) Append(large, {{m_size, 8}, {m_packedSize, 8}});
    if (isFar) Append(large, {{offset, 8}});

    std::string bytes = isInDirectory ? "PK\1\2" : "PK\3\4";
    if (isInDirectory) Append(bytes, {{version, 2}});  // made by
    Append(bytes, {{large.empty() ? version : largeVersion, 2},
                   {m_flags, 2},
                   {Z_DEFLATED, 2},
                   {m_time, 4},
                   {m_crc, 4},
                   {m_isLarge ? largest32 : m_packedSize, 4},
                   {m_isLarge ? largest32 : m_size, 4},
                   {m_name.size(), 2},
                   {large.empty() ? 0 : large.size() + 4, 2}});
    if (isInDirectory) Append(bytes, {{0, 2}, {0, 2}, {0, 2}, {0, 4}, {isFar ? largest32 : offset, 4}});
    bytes += m_name;
    if (!large.empty()) Append(bytes, {{largeNumbers, 2}, {large.size(), 2}});
    return bytes + large;
}

/// Packs what was given; with Z_FINISH to the end.
void ZipWriter::Deflate(int flush) {
    do {
        m_stream.next_out = m_packed.data();
        m_stream.avail_out = static_cast<uInt>(m_packed.size());
        ::deflate(&m_stream, flush);
        auto const count = static_cast<UINT>(m_packed.size() - m_stream.avail_out);
        m_packedSize += count;
        if (count > 0) m_file.Write(m_packed.data(), count);
    } while (m_stream.avail_out == 0);
}

void ZipWriter::Put(std::string_view bytes) {
    constexpr std::size_t most = 1U << 30;  // one call of CFile moves a UINT of bytes
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), most)))
        m_file.Write(bytes.data(), static_cast<UINT>(std::min(bytes.size(), most)));
}

}  // namespace KxN::detail
