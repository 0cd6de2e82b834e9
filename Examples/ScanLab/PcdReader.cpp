// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// PCD: a text header that names fields with size, type and count, then the points as text or little-endian binary.
#include "ScanReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace ScanLab {

using namespace KxN;

namespace {

struct Field {
    std::string name;
    std::size_t size = 4;
    char type = 'F';
    std::size_t count = 1;
};

struct Header {
    std::vector<Field> fields;
    unsigned long long width = 0;
    unsigned long long height = 0;
    unsigned long long points = 0;
    std::string data;
};

std::size_t SmallNumber(ScanSource const& source, std::string_view word, std::size_t most) {
    std::size_t value = 0;
    auto const result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ec != std::errc() || result.ptr != word.data() + word.size() || value == 0 || value > most)
        source.FailInLine(Text::NoPcdNumber, Excerpt(word));
    return value;
}

Header ReadHeader(ScanSource& source) {
    Header header;
    std::string_view line;
    std::vector<std::string_view> words;
    unsigned long long cells = 1;
    constexpr std::size_t mostPoints = ~std::size_t{0} >> 1;
    while (source.ReadLine(line)) {
        SplitAtBlanks(line, words);
        if (words.empty() || words[0].starts_with('#')) continue;
        std::string const key(words[0]);
        words.erase(words.begin());
        bool const perField = key == "SIZE" || key == "TYPE" || key == "COUNT";
        if (perField && words.size() != header.fields.size()) source.FailInLine(Text::PcdEntries);
        if ((key == "WIDTH" || key == "HEIGHT" || key == "POINTS" || key == "DATA") && words.size() != 1)
            source.FailInLine(Text::OneWord, KxString(key.c_str()));
        if (key == "FIELDS") {
            for (std::string_view name : words) header.fields.push_back({std::string(name)});
        } else if (key == "SIZE") {
            for (std::size_t i = 0; i < words.size(); ++i) header.fields[i].size = SmallNumber(source, words[i], 8);
        } else if (key == "TYPE") {
            for (std::size_t i = 0; i < words.size(); ++i) header.fields[i].type = words[i][0];
        } else if (key == "COUNT") {
            for (std::size_t i = 0; i < words.size(); ++i)
                header.fields[i].count = SmallNumber(source, words[i], 65536);
        } else if (key == "WIDTH" || key == "HEIGHT") {
            unsigned long long& side = key == "WIDTH" ? header.width : header.height;
            if (side > 0) source.FailInLine(Text::SecondLine, KxString(key.c_str()));
            side = SmallNumber(source, words[0], mostPoints);
            if (side > mostPoints / cells) source.FailInLine(Text::TooManyPoints);
            cells *= side;
        } else if (key == "POINTS") {
            header.points = SmallNumber(source, words[0], mostPoints);
        } else if (key == "DATA") {
            header.data = words[0];
            if (header.points == 0) header.points = cells;
            if (header.width > 0 && header.height > 0 && header.points != cells) source.Fail(Text::PcdSides);
            return header;
        }
    }
    source.Fail(Text::HeaderOpen, L"PCD");
}

double NumberOf(ScanSource const& source, char const* bytes, Field const& field) {
    double doubleValue = 0;
    std::uint32_t floatBits = 0;
    if (field.type == 'F' && field.size == 8) {
        std::memcpy(&doubleValue, bytes, 8);
        return doubleValue;
    }
    if (field.type == 'F' && field.size == 4) {
        std::memcpy(&floatBits, bytes, 4);
        return Widened(floatBits);
    }
    if (field.type != 'I' && field.type != 'U') source.Fail(Text::PcdType);
    std::uint64_t raw = 0;
    std::memcpy(&raw, bytes, field.size);
    if (field.type == 'U') return static_cast<double>(raw);
    unsigned const shift = static_cast<unsigned>(64 - 8 * field.size);
    return static_cast<double>(static_cast<std::int64_t>(raw << shift) >> shift);
}

struct Place {
    std::size_t field;   // index of the field
    std::size_t column;  // index among the numbers of a text line
    std::size_t offset;  // bytes from the begin of a binary point
};

Place PlaceOf(ScanSource const& source, Header const& header, char const* name) {
    Place place{0, 0, 0};
    for (Field const& field : header.fields) {
        if (field.name == name) return place;
        ++place.field;
        place.column += field.count;
        place.offset += field.count * field.size;
    }
    source.Fail(Text::NoPcdField, KxString(name));
}

void CheckCount(ScanSource const& source, unsigned long long points, std::size_t smallest) {
    if (points > (source.Remaining() + 1) / smallest) source.Fail(Text::PointsInBytes, points, source.Remaining());
}

}  // namespace

void ReadPcd(ScanSource& source, Scan& scan) {
    Header const header = ReadHeader(source);
    std::array<Place, 3> const places = {PlaceOf(source, header, "x"), PlaceOf(source, header, "y"),
                                         PlaceOf(source, header, "z")};
    scan.source = KxString(L"PCD, ") + KxString(header.data.c_str());
    if (header.data == "ascii") {
        std::size_t width = 0;
        for (Field const& field : header.fields) width += field.count;
        CheckCount(source, header.points, 6);
        std::string_view line;
        std::vector<std::string_view> words;
        for (unsigned long long i = 0; i < header.points;) {
            if (!source.ReadLine(line))
                source.Fail(Text::PointsMissing, static_cast<double>(header.points), static_cast<double>(i));
            SplitAtBlanks(line, words);
            if (words.empty()) continue;
            if (words.size() != width) source.FailInLine(Text::OtherColumns, ULONGLONG{width}, Excerpt(line));
            KxVec3d point;
            for (std::size_t k = 0; k < 3; ++k)
                if (!ParseNumber(words[places[k].column], false, point[static_cast<int>(k)]))
                    source.FailInLine(Text::NoPointInLine, Excerpt(line));
            scan.Add(point);
            ++i;
        }
        source.CheckEnd();
        return;
    }
    if (header.data != "binary") source.Fail(Text::PcdData, Excerpt(header.data));
    std::size_t stride = 0;
    for (Field const& field : header.fields) stride += field.count * field.size;
    CheckCount(source, header.points, stride);
    std::vector<char> bytes(stride);
    for (unsigned long long i = 0; i < header.points; ++i) {
        source.ReadBytes(bytes.data(), stride);
        KxVec3d point;
        for (std::size_t k = 0; k < 3; ++k)
            point[static_cast<int>(k)] =
                NumberOf(source, bytes.data() + places[k].offset, header.fields[places[k].field]);
        scan.Add(point);
    }
    if (source.Remaining() > 0) source.Fail(Text::MoreBehind);
}

}  // namespace ScanLab
