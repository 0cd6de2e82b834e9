// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "DebugFile.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syFile.h>
#include <hbtools/base/syLimits.h>
#include <hbtools/base/syResource.h>
#include <hbtools/base/syTextEncoding.h>

#include <algorithm>

namespace hblog {

using namespace KxN;

namespace {

constexpr std::size_t underscores = 70;
constexpr std::size_t mostOfPrefix = 40;  // no word for date or time is longer

bool IsDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

bool IsSeparator(std::wstring_view line) {
    return line.size() == underscores && line.find_first_not_of(L'_') == line.npos;
}

/// Drops what stands in front of the first digit.
bool DropPrefix(std::wstring_view& text) {
    auto const digit = std::find_if(text.begin(), text.end(), IsDigit);
    auto const length = static_cast<std::size_t>(digit - text.begin());
    if (digit == text.end() || length == 0 || length > mostOfPrefix) return false;
    text.remove_prefix(length);
    return true;
}

/// "DATUM: 31.12.2024, ZEIT: 23:59:58", in any language.
bool IsDateLine(std::wstring_view line, KxDateTime& moment) {
    int date[3], time[3];
    if (!DropPrefix(line) || !TakeNumbers(line, L"00.00.0000", date) || !DropPrefix(line) ||
        !TakeNumbers(line, L"00:00:00", time) || !line.empty())
        return false;
    moment.SetDateTime(date[2], date[1], date[0], time[0], time[1], time[2]);
    return moment.IsValid();
}

/// "DATEI: x.cpp, ZEILE: 7", in the language of this process or in English.
bool IsLocation(std::wstring_view line, DebugEntry& entry) {
    KxString const own[] = {KxResId(6042), KxResId(6043)};
    KxString const english[] = {L"FILE: ", L", LINE: "};
    for (auto const& prefixes : {own, english}) {
        std::wstring_view const file = prefixes[0].View(), number = prefixes[1].View();
        std::size_t const at = line.rfind(number);
        if (!line.starts_with(file) || at == line.npos || at < file.size()) continue;
        KxString const digits(line.substr(at + number.size()));
        if (!digits.IsIntNum()) continue;
        entry.sourceFile = KxString(line.substr(file.size(), at - file.size()));
        entry.sourceLine = digits;
        return true;
    }
    return false;
}

}  // namespace

bool TakeNumbers(std::wstring_view& text, std::wstring_view form, int (&numbers)[3]) {
    if (text.size() < form.size()) return false;
    std::size_t index = 0;
    std::fill(numbers, numbers + 3, 0);
    for (std::size_t i = 0; i < form.size(); ++i) {
        if (form[i] != L'0') {
            if (text[i] != form[i]) return false;
            ++index;
        } else if (!IsDigit(text[i])) {
            return false;
        } else {
            numbers[index] = numbers[index] * 10 + (text[i] - L'0');
        }
    }
    text.remove_prefix(form.size());
    return true;
}

DebugFile ParseDebugFile(std::wstring_view text) {
    DebugFile file;
    if (!text.empty() && !text.ends_with(L'\n')) file.state = State::damaged;
    bool isForeign = !text.empty();
    bool isOpen = false;  // a separator was read, which the date line belongs to
    std::wstring content;
    auto const close = [&] {
        if (file.entries.empty()) return;
        if (content.ends_with(L'\n')) content.pop_back();
        file.entries.back().text = KxString(content);
        content.clear();
    };
    for (unsigned long number = 1; !text.empty(); ++number) {
        std::size_t const end = std::min(text.find(L'\n'), text.size());
        std::wstring_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with(L'\r')) {
            line.remove_suffix(1);
            isForeign = false;  // each part of an entry ends so, and an entry may be nothing but its text
        }
        KxDateTime moment;
        bool const isSeparator = IsSeparator(line), isDate = !isSeparator && IsDateLine(line, moment);
        if (isSeparator || isDate) isForeign = false;  // even if line ends were changed
        if (isSeparator || (isDate && !isOpen) || file.entries.empty()) {
            close();
            file.entries.push_back({number, {}, {}, {}, 0});
        }
        DebugEntry& entry = file.entries.back();
        isOpen = isSeparator;
        if (isDate)
            entry.moment = moment;
        else if (!isSeparator && !IsLocation(line, entry))
            content.append(line).append(1, L'\n');
    }
    close();
    if (isForeign) return {State::foreign, {}};
    return file;
}

std::wstring ReadText(KxString const& path) {
    CFile file(path, CFile::modeRead);
    ULONGLONG const length = file.GetLength();
    if (length > KxxLimits().textFileBytes) throw new KxFileException(L"hblog", __LINE__, path + L": too long");
    std::string bytes(length, '\0');
    for (std::size_t got = 0; got < bytes.size();) {
        std::size_t const part =
            file.Read(bytes.data() + got, static_cast<UINT>(std::min<std::size_t>(bytes.size() - got, 1 << 20)));
        if (part == 0) bytes.resize(got);  // somebody made it shorter
        got += part;
    }
    KxTextEncoding const encoding = KxxDetectEncoding(bytes);
    return KxxDecodeText(std::string_view(bytes).substr(KxxMarkLength(encoding)), encoding);
}

}  // namespace hblog
