// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// PLY: a text header of elements and their properties, then the values as text or binary in either byte order. The
// points are x, y and z of the element "vertex"; elements in front of it are stepped over, those behind are not read.
#include "ScanReader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <optional>

namespace ScanLab {

using namespace KxN;

namespace {

enum class Type { int8, uint8, int16, uint16, int32, uint32, float32, float64 };

std::optional<Type> TypeOf(std::string_view name) {
    static constexpr std::pair<std::string_view, Type> names[] = {
        {"char", Type::int8},     {"int8", Type::int8},       {"uchar", Type::uint8},    {"uint8", Type::uint8},
        {"short", Type::int16},   {"int16", Type::int16},     {"ushort", Type::uint16},  {"uint16", Type::uint16},
        {"int", Type::int32},     {"int32", Type::int32},     {"uint", Type::uint32},    {"uint32", Type::uint32},
        {"float", Type::float32}, {"float32", Type::float32}, {"double", Type::float64}, {"float64", Type::float64}};
    for (auto const& [text, type] : names)
        if (text == name) return type;
    return std::nullopt;
}

std::size_t SizeOf(Type type) {
    static constexpr std::size_t sizes[] = {1, 1, 2, 2, 4, 4, 4, 8};
    return sizes[static_cast<std::size_t>(type)];
}

template <class T>
T As(unsigned char const* bytes, bool swap) {
    std::array<unsigned char, sizeof(T)> raw;
    std::memcpy(raw.data(), bytes, sizeof(T));
    if (swap) std::reverse(raw.begin(), raw.end());
    return std::bit_cast<T>(raw);
}

double NumberOf(unsigned char const* bytes, Type type, bool swap) {
    switch (type) {
        case Type::int8: return As<std::int8_t>(bytes, swap);
        case Type::uint8: return As<std::uint8_t>(bytes, swap);
        case Type::int16: return As<std::int16_t>(bytes, swap);
        case Type::uint16: return As<std::uint16_t>(bytes, swap);
        case Type::int32: return As<std::int32_t>(bytes, swap);
        case Type::uint32: return As<std::uint32_t>(bytes, swap);
        case Type::float32: return Widened(As<std::uint32_t>(bytes, swap));
        default: return As<double>(bytes, swap);
    }
}

struct Property {
    std::string name;
    Type type;
    std::optional<Type> countType;  // of a list
};

struct Element {
    std::string name;
    unsigned long long count;
    std::vector<Property> properties;

    bool HasList() const {
        return std::any_of(properties.begin(), properties.end(), [](Property const& p) { return p.countType; });
    }
    std::size_t Stride() const {
        std::size_t stride = 0;
        for (Property const& property : properties) stride += SizeOf(property.type);
        return stride;
    }
};

struct Header {
    enum class Form { text, little, big } form = Form::text;
    std::vector<Element> elements;
};

Header ReadHeader(ScanSource& source) {
    Header header;
    bool hasFormat = false;
    std::string_view line;
    std::vector<std::string_view> words;
    while (source.ReadLine(line)) {
        SplitAtBlanks(line, words);
        if (words.empty() || words[0] == "ply" || words[0] == "comment" || words[0] == "obj_info") continue;
        if (words[0] == "end_header") {
            if (!hasFormat) source.Fail(Text::NoPlyFormat);
            return header;
        }
        if (words[0] == "format" && words.size() >= 2) {
            hasFormat = true;
            if (words[1] == "ascii")
                header.form = Header::Form::text;
            else if (words[1] == "binary_little_endian")
                header.form = Header::Form::little;
            else if (words[1] == "binary_big_endian")
                header.form = Header::Form::big;
            else
                source.FailInLine(Text::PlyFormat, Excerpt(words[1]));
        } else if (words[0] == "element" && words.size() >= 3) {
            Element element{std::string(words[1]), 0, {}};
            auto const result = std::from_chars(words[2].data(), words[2].data() + words[2].size(), element.count);
            if (result.ec != std::errc() || result.ptr != words[2].data() + words[2].size())
                source.FailInLine(Text::NoCount, Excerpt(words[2]));
            header.elements.push_back(std::move(element));
        } else if (words[0] == "property" && words.size() >= 3 && !header.elements.empty()) {
            bool const isList = words[1] == "list" && words.size() >= 5;
            auto const type = TypeOf(words[isList ? 3 : 1]);
            auto const countType = isList ? TypeOf(words[2]) : std::nullopt;
            if (!type || (isList && !countType)) source.FailInLine(Text::PlyProperty, Excerpt(line));
            header.elements.back().properties.push_back({std::string(words[isList ? 4 : 2]), *type, countType});
        } else {
            source.FailInLine(Text::PlyLine, Excerpt(line));
        }
    }
    source.Fail(Text::HeaderOpen, L"PLY");
}

std::size_t IndexOf(ScanSource const& source, Element const& vertex, char const* name) {
    for (std::size_t i = 0; i < vertex.properties.size(); ++i)
        if (vertex.properties[i].name == name && !vertex.properties[i].countType) return i;
    source.Fail(Text::NoPlyProperty, KxString(name));
}

void Skip(ScanSource& source, Header const& header, Element const& element) {
    std::string_view line;
    std::vector<unsigned char> bytes;
    bool const swap = header.form == Header::Form::big;
    for (unsigned long long i = 0; i < element.count; ++i) {
        if (header.form == Header::Form::text) {
            do {
                if (!source.ReadLine(line)) source.Fail(Text::EndsBeforeVertices);
            } while (Trimmed(line).empty());
            continue;
        }
        for (Property const& property : element.properties) {
            std::size_t count = 1;
            if (property.countType) {
                bytes.resize(SizeOf(*property.countType));
                source.ReadBytes(bytes.data(), bytes.size());
                double const number = NumberOf(bytes.data(), *property.countType, swap);
                if (!(number >= 0) || number > static_cast<double>(source.Remaining()))
                    source.Fail(Text::PlyListTooLong);
                count = static_cast<std::size_t>(number);
            }
            for (; count > 0; --count) {
                bytes.resize(SizeOf(property.type));
                source.ReadBytes(bytes.data(), bytes.size());
            }
        }
        if (element.properties.empty()) return;
    }
}

void CheckCount(ScanSource const& source, unsigned long long count, unsigned long long smallest) {
    if (count > 0 && count > (source.Remaining() + 1) / smallest)
        source.Fail(Text::PointsInBytes, count, source.Remaining());
}

void ReadTextVertices(ScanSource& source, Element const& vertex, std::array<std::size_t, 3> const& columns,
                      Scan& scan) {
    CheckCount(source, vertex.count, 2 * vertex.properties.size());
    std::string_view line;
    std::vector<std::string_view> fields;
    for (unsigned long long i = 0; i < vertex.count;) {
        if (!source.ReadLine(line))
            source.Fail(Text::PointsMissing, static_cast<double>(vertex.count), static_cast<double>(i));
        SplitAtBlanks(line, fields);
        if (fields.empty()) continue;
        if (fields.size() != vertex.properties.size())
            source.FailInLine(Text::OtherColumns, ULONGLONG{vertex.properties.size()}, Excerpt(line));
        KxVec3d point;
        for (int k = 0; k < 3; ++k) {
            std::size_t const column = columns[static_cast<std::size_t>(k)];
            if (!ParseNumber(fields[column], false, point[k])) source.FailInLine(Text::NoPointInLine, Excerpt(line));
        }
        scan.Add(point);
        ++i;
    }
}

void ReadBinaryVertices(ScanSource& source, Element const& vertex, std::array<std::size_t, 3> const& columns, bool swap,
                        Scan& scan) {
    std::size_t const stride = vertex.Stride();
    CheckCount(source, vertex.count, stride);
    std::array<std::size_t, 3> offsets{};
    std::array<Type, 3> types{};
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < columns[k]; ++i) offsets[k] += SizeOf(vertex.properties[i].type);
        types[k] = vertex.properties[columns[k]].type;
    }
    std::size_t const atATime = std::clamp<std::size_t>((std::size_t{1} << 20) / stride, 1, 4096);
    std::vector<unsigned char> bytes(stride * std::min<unsigned long long>(atATime, vertex.count));
    for (unsigned long long done = 0; done < vertex.count;) {
        std::size_t const part = static_cast<std::size_t>(std::min<unsigned long long>(atATime, vertex.count - done));
        source.ReadBytes(bytes.data(), part * stride);
        for (std::size_t i = 0; i < part; ++i) {
            KxVec3d point;
            for (std::size_t k = 0; k < 3; ++k)
                point[static_cast<int>(k)] = NumberOf(bytes.data() + i * stride + offsets[k], types[k], swap);
            scan.Add(point);
        }
        done += part;
        source.ShowProgress();
    }
}

}  // namespace

void ReadPly(ScanSource& source, Scan& scan) {
    Header const header = ReadHeader(source);
    bool const isText = header.form == Header::Form::text;
    bool const swap = header.form == Header::Form::big;
    scan.source = KxString(isText ? L"PLY, text" : swap ? L"PLY, binary big-endian" : L"PLY, binary little-endian");
    for (Element const& element : header.elements) {
        if (element.name != "vertex") {
            Skip(source, header, element);
            continue;
        }
        std::array<std::size_t, 3> const columns = {IndexOf(source, element, "x"), IndexOf(source, element, "y"),
                                                    IndexOf(source, element, "z")};
        if (element.HasList()) source.Fail(Text::VertexLists);
        if (isText)
            ReadTextVertices(source, element, columns, scan);
        else
            ReadBinaryVertices(source, element, columns, swap, scan);
        if (&element == &header.elements.back()) {
            if (isText) source.CheckEnd();
            if (source.Remaining() > 0) source.Fail(Text::MoreBehind);
        }
        return;
    }
    source.Fail(Text::NoVertices);
}

}  // namespace ScanLab
