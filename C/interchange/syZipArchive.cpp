// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "interchange/syZipArchive.h"

#include "base/posix/syDescriptor.h"
#include "base/syFoldedName.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/sySafeFile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <new>
#include <tuple>
#include <utility>

namespace KxN::detail {

namespace {

// What the file systems that matter take, in bytes; a new file has a few more than the name that it gets.
constexpr std::size_t longestComponent = 255, longestPath = 4095 - 20;

/// Names that mean a device to some system, whatever their extension.
bool IsDevice(std::wstring_view component) {
    KxString const upper = KxString(component.substr(0, component.find(L'.'))).Upper();
    std::wstring_view const name = upper.View();
    for (wchar_t const* device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$", L"CLOCK$"})
        if (name == device) return true;
    // Also with a digit that is raised.
    bool const isNumbered = name.size() == 4 && ((name[3] >= L'0' && name[3] <= L'9') || name[3] == 0xb9 ||
                                                 name[3] == 0xb2 || name[3] == 0xb3);
    return isNumbered && (name.starts_with(L"COM") || name.starts_with(L"LPT"));
}

/// Control characters, those that show nothing, and those that turn the direction of what is shown.
bool IsDeceptive(wchar_t c) {
    static constexpr std::pair<std::uint32_t, std::uint32_t> ranges[] = {
        {0, 0x1f},          {0x7f, 0x9f},     {0xad, 0xad},     {0x34f, 0x34f},     {0x61c, 0x61c},
        {0x115f, 0x1160},   {0x17b4, 0x17b5}, {0x180b, 0x180f}, {0x200b, 0x200f},   {0x2028, 0x202e},
        {0x2060, 0x206f},   {0x2800, 0x2800}, {0x3164, 0x3164}, {0xd800, 0xdfff},   {0xfe00, 0xfe0f},
        {0xfeff, 0xfeff},   {0xffa0, 0xffa0}, {0xfff0, 0xfffb}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a},
        {0xe0000, 0xe0fff}, {0x110000, ~0U}};
    auto const code = static_cast<std::uint32_t>(c);
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [&](auto const& range) { return code >= range.first && code <= range.second; });
}

bool IsSafe(std::wstring_view component) {
    constexpr std::wstring_view forbidden = L"/:*?\"<>|";
    return KxxToSystemPath(component).size() <= longestComponent && component.back() != L'.' &&
           component.back() != L' ' && !IsDevice(component) && !KxxIsTemporaryName(KxString(component)) &&
           std::none_of(component.begin(), component.end(),
                        [&](wchar_t c) { return IsDeceptive(c) || forbidden.find(c) != forbidden.npos; });
}

}  // namespace

KxString ZipNames::PathOf(KxString const& name, std::size_t folder) {
    std::wstring_view rest = name.View();
    if (rest.empty() || rest.front() == L'\\') return {};
    std::wstring path;
    int depth = 0;
    while (!rest.empty()) {
        std::size_t const length = std::min(rest.find(L'\\'), rest.size());
        std::wstring_view const component = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (component.empty() || component == L".") continue;
        if (depth++ > KxxLimits().zipDepth || component.size() > longestComponent || !IsSafe(component)) return {};
        if (!path.empty()) path += L'/';
        path += component;
    }
    if (folder + KxxToSystemPath(path).size() > longestPath) return {};
    return KxString(std::move(path));
}

// No name has such a character, and it stands before all others: in order, a folder is followed by what it holds.
void ZipNames::Add(KxString const& path, bool isFolder) {
    std::wstring name(path.View());
    std::replace(name.begin(), name.end(), L'/', L'\1');
    m_names.push_back({FoldedName(name), KxxToUtf8(path.View()), m_count++, isFolder});
}

std::size_t ZipNames::Clash(std::size_t first, std::size_t once) {
    std::sort(m_names.begin(), m_names.end(), [](Name const& a, Name const& b) {
        return std::tie(a.key, a.path, a.number) < std::tie(b.key, b.path, b.number);
    });
    std::size_t found = none;
    for (std::size_t i = 1; i < m_names.size(); ++i) {
        Name const &a = m_names[i - 1], &b = m_names[i];
        bool const isAgain = !a.isFolder && !b.isFolder && a.path == b.path && a.number < once;
        bool const isSame = a.key == b.key && !(a.isFolder && b.isFolder) && !isAgain;
        bool const isBelow =
            !a.isFolder && b.key.size() > a.key.size() && b.key[a.key.size()] == '\1' && b.key.starts_with(a.key);
        std::size_t const later = std::max(a.number, b.number);
        if ((isSame || isBelow) && later >= first) found = std::min(found, later);
    }
    return found;
}

std::vector<bool> ZipNames::Overtaken() const {
    std::vector<bool> overtaken(m_count);
    for (std::size_t i = 1; i < m_names.size(); ++i)
        if (!m_names[i].isFolder && m_names[i - 1].path == m_names[i].path) overtaken[m_names[i - 1].number] = true;
    return overtaken;
}

KxString CommentOf(std::string const& bytes) {
    return KxString(KxxIsUtf8(bytes) ? KxxWidenUtf8(bytes) : KxxWidenNarrow(bytes));
}

unsigned long DosTime(KxString const& path) {
    detail::FileStamp const stamp = detail::StampOf(KxxToSystemPath(path.View()));
    if (!stamp.exists)
        throw new KxDirEntryException(L"syZipArchive", __LINE__, path, static_cast<unsigned long>(errno));
    constexpr unsigned long first = 0x00210000, last = 0xff9fbf7d;
    std::time_t const seconds = stamp.modified.seconds;
    std::tm local{};
    if (!::localtime_r(&seconds, &local)) return seconds < 0 ? first : last;
    if (local.tm_year < 80) return first;
    if (local.tm_year > 80 + 127) return last;
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
