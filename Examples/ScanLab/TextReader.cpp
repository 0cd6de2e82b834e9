// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Points as text, one in a line: the first three columns, or those that a header line calls x, y and z. Blanks,
// commas or semicolons separate; between semicolons a comma is a decimal point. Lines that begin with # or // are
// remarks. A first line that is one whole number is the count that some writers put there. One whose first three fields differ
// and cannot begin a number is a line of names. Every line has as many columns as the first: where one has more or fewer, it
// is unknown what its numbers are.
#include "ScanReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace ScanLab {

using namespace KxN;

namespace {

enum class Separator { blank, comma, semicolon };

Separator SeparatorOf(std::string_view line) {
    if (line.find(';') != std::string_view::npos) return Separator::semicolon;
    return line.find(',') != std::string_view::npos ? Separator::comma : Separator::blank;
}

void Split(std::string_view line, Separator separator, std::vector<std::string_view>& fields) {
    if (separator == Separator::blank) {
        SplitAtBlanks(line, fields);
        return;
    }
    char const mark = separator == Separator::comma ? ',' : ';';
    fields.clear();
    for (std::size_t begin = 0; begin <= line.size();) {
        std::size_t const end = std::min(line.find(mark, begin), line.size());
        fields.push_back(Trimmed(line.substr(begin, end - begin)));
        begin = end + 1;
    }
}

bool IsRemark(std::string_view line) {
    return line.empty() || line.starts_with('#') || line.starts_with("//");
}

// A separator at the end of a line is none.
std::size_t WidthOf(std::vector<std::string_view> const& fields) {
    return fields.size() - (fields.back().empty() ? 1 : 0);
}

// What begins like a number is one, though it may be damaged or out of range: its line is a point.
bool MayBeNumber(std::string_view field, bool decimalComma) {
    double value = 0;
    return ParseNumber(field, decimalComma, value) || field.find_first_of("0123456789+-.,") == 0;
}

// Columns have names of their own: "NA NA NA" is a point that somebody did not measure.
bool AreNames(std::vector<std::string_view> const& fields, bool decimalComma) {
    for (std::size_t i = 0; i < 3; ++i)
        if (MayBeNumber(fields[i], decimalComma) || fields[i] == fields[(i + 1) % 3]) return false;
    return true;
}

// What the only field of a first line promises.
unsigned long long CountOf(ScanSource const& source, std::string_view field) {
    unsigned long long count = 0;
    char const* const end = field.data() + field.size();
    auto const result = std::from_chars(field.data(), end, count);
    if (result.ec != std::errc() || result.ptr != end) source.FailInLine(Text::NoCount, Excerpt(field));
    return count;
}

// The columns of x, y and z by the names of a header line, the first three if it names none of them.
std::array<std::size_t, 3> ColumnsOf(ScanSource const& source, std::vector<std::string_view> const& names) {
    std::array<std::size_t, 3> columns = {0, 1, 2};
    std::array<bool, 3> found = {};
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::string_view name = names[i];
        if (name.size() >= 3 && name.front() == '"' && name.back() == '"') name = name.substr(1, name.size() - 2);
        if (name.empty() || (name.size() > 1 && name[1] != ' ' && name[1] != '[' && name[1] != '(')) continue;
        char const letter = static_cast<char>(name[0] | 0x20);
        if (letter < 'x' || letter > 'z') continue;
        columns[static_cast<std::size_t>(letter - 'x')] = i;
        found[static_cast<std::size_t>(letter - 'x')] = true;
    }
    if (!found[0] && !found[1] && !found[2]) return {0, 1, 2};
    for (std::size_t i = 0; i < 3; ++i)
        if (!found[i]) source.FailInLine(Text::NoColumn, L"xyz"[i]);
    return columns;
}

}  // namespace

void ReadText(ScanSource& source, Scan& scan) {
    scan.source = KxString(L"text");
    std::string_view line;
    std::vector<std::string_view> fields;
    std::array<std::size_t, 3> columns = {0, 1, 2};
    std::size_t needed = 3;
    std::size_t width = 0;  // of every line; 0 as long as none has told it
    Separator separator = Separator::blank;
    bool isFirst = true;
    std::optional<unsigned long long> promised;
    bool knowsSeparator = false;
    while (source.ReadLine(line)) {
        if (source.LineNumber() == 1 && line.starts_with("\xef\xbb\xbf")) line.remove_prefix(3);
        line = Trimmed(line);
        if (IsRemark(line)) continue;
        if (!knowsSeparator) separator = SeparatorOf(line);
        Split(line, separator, fields);
        bool const decimalComma = separator == Separator::semicolon;
        if (isFirst) {
            isFirst = false;
            if (fields.size() == 1 && MayBeNumber(fields[0], false)) {
                promised = CountOf(source, fields[0]);
                continue;
            }
            if (fields.size() >= 3 && AreNames(fields, decimalComma)) {
                columns = ColumnsOf(source, fields);
                needed = *std::max_element(columns.begin(), columns.end()) + 1;
                if (separator != Separator::blank) width = WidthOf(fields);  // names may have blanks in them
                continue;
            }
        }
        knowsSeparator = true;
        if (width == 0) width = std::max(WidthOf(fields), needed);
        if (fields.size() != width && (fields.size() != width + 1 || !fields.back().empty()))
            source.FailInLine(Text::OtherColumns, ULONGLONG{width}, Excerpt(line));
        KxVec3d point;
        for (int i = 0; i < 3; ++i) {
            std::string_view const field = fields[columns[static_cast<std::size_t>(i)]];
            if (!ParseNumber(field, decimalComma, point[i])) source.FailInLine(Text::NoNumber, Excerpt(field));
        }
        scan.Add(point);
    }
    unsigned long long const present =
        static_cast<unsigned long long>(scan.points->Size()) + static_cast<unsigned long long>(scan.notFinite->Size());
    if (promised && *promised != present)
        source.Fail(Text::PointsMissing, static_cast<double>(*promised), static_cast<double>(present));
}

}  // namespace ScanLab
