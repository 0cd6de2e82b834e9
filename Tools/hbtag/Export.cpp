// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Commands.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace hbtag {

using namespace KxN;

namespace {

/// How the numbers of a kind lie: elements of `components` numbers each.
struct Layout {
    char type = 0;  // 'f' float, 'd' double, 'i' int, 's' short; 0: the kind holds no numbers of a known type
    int components = 0;
    bool isArray = true;
};

Layout LayoutOf(TagPayloadKind kind) {
    switch (kind) {
        case PayloadIntArray: return {'i', 1};
        case PayloadDoubleTags:
        case PayloadHistogram: return {'d', 1};
        case PayloadVec2sArray: return {'s', 2};
        case PayloadVec3iArray: return {'i', 3};
        case PayloadVec3fArray:
        case PayloadVec3f2dArray: return {'f', 3};
        case PayloadVec3dArray:
        case PayloadVec3d2dArray: return {'d', 3};
        case PayloadVec2s: return {'s', 2, false};
        case PayloadVec2d: return {'d', 2, false};
        case PayloadVec3f: return {'f', 3, false};
        case PayloadVec3d: return {'d', 3, false};
        default: return {};
    }
}

template <class T>
bool IsGap(T const* point) {
    constexpr T marker = static_cast<T>(std::numeric_limits<float>::max());
    return point[0] == marker || point[1] == marker || point[2] == marker;
}

/// Points that are none become no numbers, which every reader takes for what they are.
template <class T>
void MarkGaps(BYTE* bytes, LONGLONG count) {
    T const nothing[3] = {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::quiet_NaN(),
                          std::numeric_limits<T>::quiet_NaN()};
    for (LONGLONG i = 0; i < count; ++i, bytes += sizeof nothing) {
        T point[3];
        std::memcpy(point, bytes, sizeof point);
        if (IsGap(point)) std::memcpy(bytes, nothing, sizeof nothing);
    }
}

template <class T>
void AppendNumber(std::string& text, BYTE const* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    char digits[64];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void AppendRows(std::string& text, Layout const& layout, BYTE const* bytes, LONGLONG count) {
    for (LONGLONG i = 0; i < count; ++i)
        for (int k = 0; k < layout.components; ++k) {
            switch (layout.type) {
                case 'f': AppendNumber<float>(text, bytes); break;
                case 'd': AppendNumber<double>(text, bytes); break;
                case 'i': AppendNumber<std::int32_t>(text, bytes); break;
                default: AppendNumber<std::int16_t>(text, bytes); break;
            }
            bytes += layout.type == 'd' ? 8 : layout.type == 's' ? 2 : 4;
            text += k + 1 < layout.components ? ',' : '\n';
        }
}

/// Version 1.0: the magic, the length of the text, the text, filled up so that the numbers begin at a multiple of 64.
std::string NpyHead(Layout const& layout, SxTagRecord const& record) {
    std::string shape;
    if (record.width > 0)
        shape = fmt::format("{}, {}, 3", record.count / record.width, record.width);
    else if (layout.isArray)
        shape = layout.components > 1 ? fmt::format("{}, {}", record.count, layout.components)
                                      : fmt::format("{},", record.count);
    else
        shape = fmt::format("{},", layout.components);
    char const* const type = layout.type == 'f'   ? "<f4"
                             : layout.type == 'd' ? "<f8"
                             : layout.type == 'i' ? "<i4"
                                                  : "<i2";
    std::string text = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}), }}", type, shape);
    constexpr std::size_t front = 10, step = 64;
    text.append((step - (front + text.size() + 1) % step) % step, ' ');
    text += '\n';
    std::string head("\x93NUMPY\1\0", 8);
    head += static_cast<char>(text.size() & 0xff);
    head += static_cast<char>(text.size() >> 8);
    return head + text;
}

std::string PlyHead(Layout const& layout, SxTagRecord const& record) {
    char const* const type = layout.type == 'f' ? "float" : layout.type == 'd' ? "double" : "int";
    std::string text = fmt::format("ply\nformat binary_little_endian 1.0\ncomment record {} at {}\n", record.image.id,
                                   record.position);
    if (record.width > 0)
        text += fmt::format("obj_info num_cols {}\nobj_info num_rows {}\n", record.width, record.count / record.width);
    text += fmt::format("element vertex {}\n", record.count);
    for (char const* axis : {"x", "y", "z"}) text += fmt::format("property {} {}\n", type, axis);
    return text + "end_header\n";
}

std::string HeadOf(ExportForm form, Layout const& layout, SxTagRecord const& record) {
    if (form == ExportForm::npy) return NpyHead(layout, record);
    if (form == ExportForm::ply) return PlyHead(layout, record);
    return layout.components == 3 ? "x,y,z\n" : layout.components == 2 ? "x,y\n" : "value\n";
}

int ChooseRecord(Levels const& levels, KxTagInspector const& inspector, std::string const& record, ExportForm form) {
    if (!record.empty()) return ParseRecord(levels, inspector, record);
    auto const& records = inspector.Records();
    std::vector<int> fitting;
    for (int i = 0; i < records.Size(); ++i) {
        Layout const layout = LayoutOf(records[i].kind);
        if (layout.isArray && layout.type != 0 && (layout.components == 3 || form != ExportForm::ply))
            fitting.push_back(i);
    }
    if (fitting.size() == 1) return fitting.front();
    if (fitting.empty()) throw UsageError("no record holds an array that this form takes");
    std::string names;
    for (std::size_t i = 0; i < std::min<std::size_t>(fitting.size(), 8); ++i)
        names += (i > 0 ? ", " : "") + levels.NameOf(fitting[i]);
    throw UsageError(fmt::format("{} records hold arrays, name one of them: {}{}", fitting.size(), names,
                                 fitting.size() > 8 ? ", ..." : ""));
}

void WriteElements(CFile& out, KxTagInspector& inspector, SxTagRecord const& record, Layout const& layout,
                   ExportForm form) {
    constexpr LONGLONG atOnce = 1 << 15;
    UINT const each = KxTagInspector::ElementSize(record);
    std::vector<BYTE> bytes(static_cast<std::size_t>(std::min(atOnce, std::max(1LL, record.count))) * each);
    std::string text;
    for (LONGLONG first = 0; first < record.count;) {
        LONGLONG const got = inspector.ReadElements(record, first, atOnce, bytes.data());
        if (got == 0) break;
        if (layout.components == 3 && layout.type == 'f') MarkGaps<float>(bytes.data(), got);
        if (layout.components == 3 && layout.type == 'd') MarkGaps<double>(bytes.data(), got);
        if (form == ExportForm::csv) {
            text.clear();
            AppendRows(text, layout, bytes.data(), got);
            out.Write(text.data(), static_cast<UINT>(text.size()));
        } else {
            out.Write(bytes.data(), static_cast<UINT>(got * each));
        }
        first += got;
    }
}

}  // namespace

int Export(FileArguments const& arguments, ExportForm form, std::string const& name) {
    CFile in(PathOf(arguments.in), CFile::modeRead);
    KxTagInspector inspector(&in);
    if (inspector.Inspect() == TagFileForeign || inspector.Records().Size() == 0) {
        tool::Complain("hbtag: {} is not a tag file\n", tool::Escaped(PathOf(arguments.in)));
        return tool::exitForeign;
    }
    Levels const levels(inspector);
    int const number = ChooseRecord(levels, inspector, name, form);
    SxTagRecord const& record = inspector.Records()[number];
    std::string const place = fmt::format("record {} at {}", levels.PathTo(number), record.position);
    if (record.isDamaged) {
        tool::Complain("hbtag: {} is damaged; hbtag repair keeps what is whole of it\n", place);
        return tool::exitDamaged;
    }
    Layout const layout = LayoutOf(record.kind);
    if (layout.type == 0) throw UsageError(fmt::format("{} holds no numbers of a type that the file tells", place));
    if (form == ExportForm::ply && (layout.components != 3 || !layout.isArray))
        throw UsageError(fmt::format("{} holds no points of three coordinates; PLY takes nothing else", place));
    OutFile out(arguments.in, arguments.out, arguments.force);
    std::string const head = HeadOf(form, layout, record);
    out.File().Write(head.data(), static_cast<UINT>(head.size()));
    WriteElements(out.File(), inspector, record, layout, form);
    out.Commit();
    return tool::exitWhole;
}

}  // namespace hbtag
