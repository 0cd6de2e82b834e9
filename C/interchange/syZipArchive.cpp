// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "interchange/syZipArchive.h"

#include "base/syLittleEndian.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syObject.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <limits>
#include <vector>

namespace KxN::detail {

template <class Call>
auto ZipStream::Guarded(decltype(std::declval<Call>()()) failure, Call call) noexcept -> decltype(call()) {
    try {
        return call();
    } catch (CException* exception) {
        if (m_reason.Len() == 0) m_reason = KxString(L": ") + CException::TextOf(*exception);
        exception->Delete();
    } catch (std::exception const&) {  // memory: the library tells it
    }
    return failure;
}

zlib_filefunc64_def ZipStream::Functions() {
    static auto const of = [](void* opaque) -> ZipStream& { return *static_cast<ZipStream*>(opaque); };
    static constexpr uLong most = 1U << 30;  // one call of CFile moves a UINT of bytes
    zlib_filefunc64_def functions{};
    functions.opaque = this;
    functions.zopen64_file = [](void* opaque, void const*, int) { return opaque; };
    functions.zread_file = [](void* opaque, void*, void* buffer, uLong size) -> uLong {
        return of(opaque).Guarded(uLong{0}, [&]() -> uLong {
            return of(opaque).m_file.Read(buffer, static_cast<UINT>(std::min(size, most)));
        });
    };
    functions.zwrite_file = [](void* opaque, void*, void const* buffer, uLong size) -> uLong {
        return of(opaque).Guarded(uLong{0}, [&]() -> uLong {
            of(opaque).m_file.Write(buffer, static_cast<UINT>(std::min(size, most)));
            return std::min(size, most);
        });
    };
    functions.ztell64_file = [](void* opaque, void*) -> ZPOS64_T {
        return of(opaque).Guarded(~ZPOS64_T{0}, [&]() -> ZPOS64_T { return of(opaque).m_file.GetPosition(); });
    };
    functions.zseek64_file = [](void* opaque, void*, ZPOS64_T offset, int origin) -> long {
        return of(opaque).Guarded(-1L, [&]() -> long {
            of(opaque).m_file.Seek(static_cast<LONGLONG>(offset), static_cast<UINT>(origin));
            return 0;
        });
    };
    functions.zclose_file = [](void*, void*) { return 0; };
    functions.zerror_file = [](void* opaque, void*) -> int { return of(opaque).m_reason.Len() > 0; };
    return functions;
}

bool HasEnd(CFile& file) {
    constexpr std::size_t size = 22, longestComment = 65535;
    ULONGLONG const length = file.GetLength();
    std::string tail(static_cast<std::size_t>(std::min<ULONGLONG>(length, size + longestComment)), '\0');
    file.Seek(static_cast<LONGLONG>(length - tail.size()), CFile::begin);
    if (file.Read(tail.data(), static_cast<UINT>(tail.size())) != tail.size()) return false;
    std::size_t const at = tail.rfind("PK\5\6");
    if (at == tail.npos || tail.size() - at < size) return false;
    auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(tail[at + i]); };
    return tail.size() - at == size + byte(20) + 256U * byte(21);
}

bool IsEmptyArchive(CFile& file, std::string& comment) {
    constexpr std::size_t size = 22;
    std::array<unsigned char, size> end;
    file.Seek(0, CFile::begin);
    if (file.Read(end.data(), size) != size) return false;
    constexpr unsigned char signature[] = {'P', 'K', 5, 6};
    std::size_t const length = end[20] + 256U * end[21];
    bool const isEmpty = std::equal(std::begin(signature), std::end(signature), end.begin()) &&
                         std::all_of(end.begin() + 4, end.begin() + 20, [](unsigned char b) { return b == 0; }) &&
                         file.GetLength() == size + length;
    if (!isEmpty) return false;
    comment.resize(length);
    return file.Read(comment.data(), static_cast<UINT>(length)) == length;
}

namespace {

constexpr unsigned long encryptedFlag = 1, utf8Flag = 0x800;

bool IsPath(wchar_t c) {
    return c == L'\\' || c == L'/';
}

/// Names that mean a device to some system, whatever their extension.
bool IsDevice(std::wstring_view component) {
    KxString const upper = KxString(component.substr(0, component.find(L'.'))).Upper();
    std::wstring_view const name = upper.View();
    for (wchar_t const* device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$", L"CLOCK$"})
        if (name == device) return true;
    bool const isNumbered = name.size() == 4 && name[3] >= L'0' && name[3] <= L'9';
    return isNumbered && (name.starts_with(L"COM") || name.starts_with(L"LPT"));
}

/// Control characters, and those that turn the direction of what is shown.
bool IsDeceptive(wchar_t c) {
    auto const code = static_cast<std::uint32_t>(c);
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || (code >= 0x200b && code <= 0x200f) ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069) || code == 0xfeff ||
           (code >= 0xd800 && code < 0xe000) || code > 0x10ffff;
}

bool IsSafe(std::wstring_view component) {
    constexpr std::wstring_view forbidden = L":*?\"<>|";
    return component.size() <= 255 && component.back() != L'.' && component.back() != L' ' && !IsDevice(component) &&
           std::none_of(component.begin(), component.end(),
                        [&](wchar_t c) { return IsDeceptive(c) || forbidden.find(c) != forbidden.npos; });
}

}  // namespace

bool ZipEntry::IsReadable() const {
    return !(info.flag & encryptedFlag) && (info.compression_method == 0 || info.compression_method == Z_DEFLATED);
}

namespace {

/// What does not fit into 32 bits stands in a field of its own, number after number. Releases of the library miss it.
void TakeLargeNumbers(std::string_view extra, ZipEntry& entry) {
    constexpr ULONGLONG largest = 0xffffffff, largeNumbers = 1;
    while (extra.size() >= 4) {
        ULONGLONG const id = LittleEndian(extra.substr(0, 2));
        std::string_view field = extra.substr(4, static_cast<std::size_t>(LittleEndian(extra.substr(2, 2))));
        extra.remove_prefix(4 + field.size());
        if (id != largeNumbers) continue;
        auto const take = [&](auto& number) {
            if (field.size() < 8) return;
            number = LittleEndian(field.substr(0, 8));
            field.remove_prefix(8);
        };
        if (entry.info.uncompressed_size == largest) take(entry.info.uncompressed_size);
        if (entry.info.compressed_size == largest) take(entry.info.compressed_size);
        take(entry.offset);
    }
}

/// Where the packed bytes of the current entry begin.
ULONGLONG PositionOf(unzFile archive, CFile& file, ZipEntry const& entry) {
    constexpr std::size_t size = 30;
    std::array<char, size> head;
    std::string_view const bytes(head.data(), size);
    if (entry.offset < file.GetLength()) {
        file.Seek(static_cast<LONGLONG>(entry.offset), CFile::begin);
        if (file.Read(head.data(), size) == size && bytes.starts_with("PK\3\4"))
            return entry.offset + size + LittleEndian(bytes.substr(26, 2)) + LittleEndian(bytes.substr(28, 2));
    }
    if (::unzOpenCurrentFile(archive) != UNZ_OK) return ZipEntry::unknown;
    ULONGLONG const position = ::unzGetCurrentFileZStreamPos64(archive);
    ::unzCloseCurrentFile(archive);
    return position;
}

}  // namespace

bool ReadEntry(unzFile archive, ZipEntry& entry) {
    if (::unzGetCurrentFileInfo64(archive, &entry.info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) return false;
    std::string bytes(entry.info.size_filename, '\0'), extra(entry.info.size_file_extra, '\0');
    if (::unzGetCurrentFileInfo64(archive, &entry.info, bytes.empty() ? nullptr : bytes.data(), bytes.size(),
                                  extra.empty() ? nullptr : extra.data(), extra.size(), nullptr, 0) != UNZ_OK)
        return false;
    entry.offset = ZipEntry::unknown;
    TakeLargeNumbers(extra, entry);
    constexpr unsigned long madeOnUnix = 3;  // where names are UTF-8, and many programs do not say so
    bool const isUtf8 = ((entry.info.flag & utf8Flag) || entry.info.version >> 8 == madeOnUnix) && KxxIsUtf8(bytes);
    std::wstring name = isUtf8 ? KxxWidenUtf8(bytes) : KxxWidenNarrow(bytes);
    std::replace(name.begin(), name.end(), L'/', L'\\');
    entry.name = KxString(std::move(name));
    return true;
}

ZipContent::ZipContent(unzFile archive, CFile& file, ZipEntry const& entry)
    : m_file(file), m_entry(entry), m_left(entry.info.compressed_size), m_packed(0x10000) {
    ULONGLONG const position = PositionOf(archive, file, entry), length = file.GetLength();
    if (position > length || m_left > length - position) return;
    m_file.Seek(static_cast<LONGLONG>(position), CFile::begin);
    m_isOpen = ::inflateInit2(&m_stream, -MAX_WBITS) == Z_OK;
}

ZipContent::~ZipContent() {
    if (m_isOpen) ::inflateEnd(&m_stream);
}

bool ZipContent::Refill() {
    UINT const size = static_cast<UINT>(std::min<ULONGLONG>(m_left, m_packed.size()));
    if (m_file.Read(m_packed.data(), size) != size) return false;
    m_left -= size;
    m_stream.next_in = m_packed.data();
    m_stream.avail_in = size;
    return true;
}

int ZipContent::Read(char* buffer, unsigned size) noexcept {
    try {
        unsigned count = 0;
        auto* const out = reinterpret_cast<Bytef*>(buffer);
        if (m_entry.info.compression_method == 0) {
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
    } catch (CException* exception) {
        exception->Delete();
    }
    return -1;
}

KxString ZipNames::Accept(ZipEntry const& entry) {
    std::wstring_view rest = entry.name.View();
    if (rest.empty() || IsPath(rest.front())) return {};
    std::wstring path, upper;
    std::vector<std::wstring> folders;
    while (!rest.empty()) {
        std::size_t const length = std::min(rest.find(L'\\'), rest.size());
        std::wstring_view const component = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (component.empty() || component == L".") continue;
        if (!IsSafe(component)) return {};
        if (!path.empty()) {
            folders.push_back(upper);
            path += L'/';
            upper += L'/';
        }
        path += component;
        upper += KxString(component).Upper().View();
    }
    if (path.empty()) return {};
    // A file is no folder of others, and has its name for itself.
    for (std::wstring const& folder : folders)
        if (m_files.contains(folder)) return {};
    if (entry.IsFolder() ? m_files.contains(upper) : m_folders.contains(upper) || !m_files.insert(upper).second)
        return {};
    if (entry.IsFolder()) m_folders.insert(upper);
    m_folders.insert(folders.begin(), folders.end());
    return KxString(std::move(path));
}

unsigned long DosTime(KxString const& path) {
    std::error_code error;
    auto const changed = std::filesystem::last_write_time(KxxToSystemPath(path.View()), error);
    if (error) return 0x00210000;  // the first day that can be told
    auto const system = std::chrono::file_clock::to_sys(changed);
    std::time_t const seconds =
        std::chrono::system_clock::to_time_t(std::chrono::time_point_cast<std::chrono::system_clock::duration>(system));
    std::tm local{};
    if (!::localtime_r(&seconds, &local) || local.tm_year < 80) return 0x00210000;
    if (local.tm_year > 80 + 127) return 0xff9fbf7d;  // the last
    auto const part = [](int value, int shift) { return static_cast<unsigned long>(value) << shift; };
    return part(local.tm_year - 80, 25) | part(local.tm_mon + 1, 21) | part(local.tm_mday, 16) |
           part(local.tm_hour, 11) | part(local.tm_min, 5) | part(std::min(local.tm_sec, 59) / 2, 0);
}

void SetDosTime(KxString const& path, unsigned long time) {
    auto const part = [&](int shift, unsigned long mask) { return static_cast<int>(time >> shift & mask); };
    std::tm local{};
    local.tm_year = part(25, 127) + 80;
    local.tm_mon = std::clamp(part(21, 15), 1, 12) - 1;
    local.tm_mday = std::max(part(16, 31), 1);
    local.tm_hour = std::min(part(11, 31), 23);
    local.tm_min = std::min(part(5, 63), 59);
    local.tm_sec = std::min(2 * part(0, 31), 59);
    local.tm_isdst = -1;
    std::time_t const seconds = std::mktime(&local);
    std::error_code ignored;  // a file with another time is whole all the same
    if (seconds != -1)
        std::filesystem::last_write_time(
            KxxToSystemPath(path.View()),
            std::chrono::file_clock::from_sys(std::chrono::system_clock::from_time_t(seconds)), ignored);
}

}  // namespace KxN::detail
