// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Graph.h"
#include "Objects.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/persistence/syBinFileHeader.h>

#include <algorithm>

namespace hbtag {

using tool::Escaped;
using tool::JsonNumber;
using tool::Quoted;

using namespace KxN;

namespace {

std::string Utf8(wchar_t const* text) {
    return KxxToUtf8(text);
}

char const* StateName(TagFileState state) {
    return state == TagFileWhole ? "whole" : state == TagFileDamaged ? "damaged" : "foreign";
}

/// Of what is neither a text nor a scalar.
bool IsNumeric(TagPayloadKind kind) {
    return kind <= PayloadEmptyArray && kind != PayloadBytes;
}

constexpr unsigned long objectId = 208001;  // of an object, unless the application gives another

/// Bytes behind an image or an array, as a shorter one leaves them that replaced it.
ULONGLONG LeftOver(SxTagRecord const& record) {
    bool const isArray = record.kind >= PayloadVec2sArray && record.kind <= PayloadVec3d2dArray;
    return (record.kind != PayloadImage && !isArray) || record.hasLevel ? 0 : record.extent - record.payloadSize;
}

std::string Describe(KxTagInspector& inspector, Graph const& graph, int number) {
    SxTagRecord const& record = inspector.Records()[number];
    if (record.kind == PayloadImage) {
        std::string text = RootText(inspector.Objects(), PlaceOf(record));
        if (record.count > 1) text += fmt::format(", {} objects", record.count);
        if (LeftOver(record) > 0) text += fmt::format(", {} bytes left over behind it", LeftOver(record));
        return text;
    }
    if (record.kind == PayloadGraphObject) return graph.Describe(number);
    if (record.kind == PayloadNone && record.image.id == objectId && !record.hasLevel) return "no object";
    std::string what = Utf8(KxxPayloadKindName(record.kind));
    if (record.kind == PayloadNone && record.hasLevel) what = "level";
    if (record.kind == PayloadVec3f2dArray || record.kind == PayloadVec3d2dArray)
        what += fmt::format(", {} x {}", record.width, record.width > 0 ? record.count / record.width : 0);
    else if (record.kind > PayloadVec3f && record.kind < PayloadEmptyArray)
        what += fmt::format(", {} {}", record.count, record.count == 1 ? "element" : "elements");
    if (LeftOver(record) > 0) what += fmt::format(", {} bytes left over behind it", LeftOver(record));
    return what + graph.Remark(number);
}

// A listing is one line for each record; the payload stands below it, indented as deep.
void PrintText(Output& output, Options const& options, KxTagInspector& inspector, Graph const& graph, int number) {
    SxTagRecord const& record = inspector.Records()[number];
    std::string const indent(static_cast<std::size_t>(2 * std::min(record.depth, deepestIndent)), ' ');
    std::string const level = record.depth > deepestIndent ? fmt::format("(level {}) ", record.depth) : "";
    output.Print("{:>12} {:>10} {:>7} {:>4} {:>12} {:>12}  {}{}{}\n", record.position, record.image.id,
                 record.image.version, record.isLongForm ? 64 : 32, record.image.dataSize, record.image.nextTag, indent,
                 level, Describe(inspector, graph, number));
    if (!options.payloads) return;
    LONGLONG const all = KxTagInspector::NumValues(record);
    LONGLONG const shown = options.values < 0 ? all : std::min(all, options.values);
    std::string const margin = fmt::format("{:64}{}", "", indent);
    if (record.kind == PayloadText) {
        output.Print("{}\"{}\"\n", margin, Escaped(inspector.PayloadText(record, 0, 1, L"")));
    } else if (record.kind == PayloadImage) {
        PrintObjects(output, options, inspector.Objects(), PlaceOf(record), margin);
    } else if (record.kind == PayloadBytes || record.kind == PayloadUnknown) {
        LONGLONG const bytes = options.values < 0 ? all : std::min<LONGLONG>(all, 4 * options.values);
        for (LONGLONG i = 0; i < bytes; i += 32)
            output.Print("{}{}\n", margin,
                         Escaped(inspector.PayloadText(record, i, std::min<LONGLONG>(32, bytes - i), L" ")));
        if (bytes < all) output.Print("{}... {} bytes more\n", margin, all - bytes);
    } else {
        for (LONGLONG i = 0; i < shown; ++i)
            output.Print("{}{}\n", margin, Escaped(inspector.PayloadText(record, i, 1, L"")));
        if (shown < all) output.Print("{}... {} more\n", margin, all - shown);
    }
}

// Vectors as arrays of numbers, plain numbers as they are.
std::string JsonValue(std::string const& value) {
    if (value.find(' ') == std::string::npos) return JsonNumber(value);
    std::string out = "[";
    for (std::size_t begin = 0; begin < value.size();) {
        std::size_t const end = std::min(value.find(' ', begin), value.size());
        if (begin > 0) out += ", ";
        out += JsonNumber(std::string_view(value).substr(begin, end - begin));
        begin = end + 1;
    }
    return out + "]";
}

// A scalar may be either of two: "int 5, float 7e-45" becomes an object of both.
std::string JsonScalar(std::string const& value) {
    std::size_t const comma = value.find(", ");
    if (comma == std::string::npos) return JsonNumber(value);
    auto const member = [](std::string_view part) {
        std::size_t const blank = part.find(' ');
        return fmt::format("\"{}\": {}", part.substr(0, blank), JsonNumber(part.substr(blank + 1)));
    };
    std::string_view const both = value;
    return fmt::format("{{{}, {}}}", member(both.substr(0, comma)), member(both.substr(comma + 2)));
}

void PrintJsonPayload(Output& output, Options const& options, KxTagInspector& inspector, SxTagRecord const& record) {
    if (record.kind == PayloadGraphObject) return;
    if (record.kind == PayloadImage) {
        if (!options.objects) return;
        output.Print(", \"objects\": ");
        PrintJsonObjects(output, options, inspector.Objects(), PlaceOf(record));
        return;
    }
    LONGLONG const all = KxTagInspector::NumValues(record);
    LONGLONG const shown = options.values < 0 ? all : std::min(all, options.values);
    if (record.kind == PayloadText || record.kind == PayloadScalar) {
        KxString const value = inspector.PayloadText(record, 0, 1, L"");
        output.Print(", \"value\": {}",
                     record.kind == PayloadText ? Quoted(value) : JsonScalar(KxxToUtf8(value.View())));
        return;
    }
    output.Print(", \"values\": [");
    for (LONGLONG i = 0; i < shown; ++i) {
        KxString const value = inspector.PayloadText(record, i, 1, L"");
        output.Print("{}{}", i > 0 ? ", " : "",
                     IsNumeric(record.kind) ? JsonValue(KxxToUtf8(value.View())) : Quoted(value));
    }
    output.Print("]");
}

void PrintJson(Output& output, Options const& options, KxTagInspector& inspector, Graph const& graph, int number) {
    SxTagRecord const& record = inspector.Records()[number];
    output.Print(
        "    {{\"number\": {}, \"parent\": {}, \"depth\": {}, \"position\": {}, \"id\": {}, \"version\": {}, "
        "\"form\": {}, \"size\": {}, \"address\": {}, \"next\": {}, \"extent\": {}, \"kind\": {}, \"count\": {}",
        number, record.parent, record.depth, record.position, record.image.id, record.image.version,
        record.isLongForm ? 64 : 32, record.image.dataSize, record.image.dataAddress, record.image.nextTag,
        record.extent, Quoted(KxxPayloadKindName(record.kind)), record.count);
    if (record.width > 0) output.Print(", \"width\": {}", record.width);
    if (LeftOver(record) > 0) output.Print(", \"leftOver\": {}", LeftOver(record));
    output.Print("{}", graph.Json(number));
    if (options.payloads) PrintJsonPayload(output, options, inspector, record);
    output.Print("}}");
}

void PrintRemarks(Output& output, Options const& options, KxTagInspector const& inspector) {
    char const* separator = "";
    if (options.json) output.Print("  \"remarks\": [");
    for (SxTagFault const& remark : inspector.Remarks()) {
        if (options.json)
            output.Print("{}\n    {{\"position\": {}, \"target\": {}, \"text\": {}}}", separator, remark.position,
                         remark.target, Quoted(remark.text));
        else
            output.Print("remark: at {}: {}\n", remark.position, Escaped(remark.text));
        separator = ",";
    }
    if (options.json) output.Print("{}],\n", *separator ? "\n  " : "");
}

template <class Faults>
void PrintFaults(Output& output, Options const& options, Faults const& faults) {
    if (options.json) {
        output.Print("  \"faults\": [");
        bool first = true;
        for (SxTagFault const& fault : faults) {
            output.Print("{}\n    {{\"kind\": {}, \"position\": {}, \"target\": {}, \"lostBytes\": {}, \"text\": {}}}",
                         first ? "" : ",", Quoted(KxxTagFaultName(fault.kind)), fault.position, fault.target,
                         fault.lostBytes, Quoted(fault.text));
            first = false;
        }
        output.Print("{}]\n", first ? "" : "\n  ");
        return;
    }
    for (SxTagFault const& fault : faults) {
        output.Print("{}: at {}: {}", Utf8(KxxTagFaultName(fault.kind)), fault.position, Escaped(fault.text));
        if (fault.lostBytes > 0) output.Print(" ({} bytes lost)", fault.lostBytes);
        output.Print("\n");
    }
}

std::string MatrixText(KxTMatrix4x4<double> const& matrix, std::string_view betweenRows) {
    std::string text;
    for (unsigned long r = 0; r < 4; ++r)
        for (unsigned long c = 0; c < 4; ++c)
            text += fmt::format("{}{}",
                                c > 0   ? ", "
                                : r > 0 ? betweenRows
                                        : "",
                                JsonNumber(fmt::format("{}", matrix[r][c])));
    return text;
}

bool IsIdentity(KxTMatrix4x4<double> const& matrix) {
    for (unsigned long i = 0; i < 16; ++i)
        if (matrix[i / 4][i % 4] != (i % 5 == 0 ? 1 : 0)) return false;
    return true;
}

// The block in front of the first chain.
void PrintHeader(Output& output, Options const& options, KxString const& name) {
    KxBinHeader header(512);
    header.Read(name);
    KxTSize<short> const size = header.GetSize();
    KxDateTime const time = header.GetDateTime();
    std::string const moment = time.IsValid()
                                   ? fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", time.GetYear(), time.GetMonth(),
                                                 time.GetDay(), time.GetHour(), time.GetMinute(), time.GetSecond())
                                   : std::string();
    KxTMatrix4x4<double> const matrix = header.GetTrafoMatrix();
    TagFormat const format = header.GetTagFormat();
    bool const isKnown = format == TagFormat32 || format == TagFormat64;
    std::string const form =
        isKnown ? (format == TagFormat32 ? "32" : "64") : fmt::format("unknown form {}", static_cast<int>(format));
    if (options.json) {
        output.Print(
            "  \"header\": {{\"version\": {}, \"company\": {}, \"dataType\": {}, \"elementSize\": {}, \"maxBlocks\": "
            "{}, "
            "\"width\": {}, \"height\": {}, \"time\": {}, \"mask\": {}, \"form\": {}, \"matrix\": [[{}]]}},\n",
            header.GetVersion(), Quoted(header.GetCompanyID()), header.GetDataType(), header.GetElementSize(),
            header.GetMaxBlocks(), size.width, size.height, '"' + moment + '"',
            JsonNumber(fmt::format("{}", header.GetMaskValue())), JsonNumber(form), MatrixText(matrix, "], ["));
        return;
    }
    output.Print("header: version {}, company {}, data type {}, element size {}, blocks {}, size {} x {}\n",
                 header.GetVersion(), Quoted(header.GetCompanyID()), header.GetDataType(), header.GetElementSize(),
                 header.GetMaxBlocks(), size.width, size.height);
    output.Print("        {}, mask {}, tags of {}, matrix {}\n",
                 moment.empty() ? "no time" : std::string(moment).replace(10, 1, " "), header.GetMaskValue(),
                 isKnown ? form + " bits" : form, IsIdentity(matrix) ? "identity" : MatrixText(matrix, "; "));
}

}  // namespace

void Print(Output& output, Options const& options, KxString const& name, KxTagInspector& inspector,
           TagFileState state) {
    auto const wanted = [&](SxTagRecord const& record) { return !options.id || record.image.id == *options.id; };
    auto const& records = inspector.Records();
    Graph const graph(inspector);
    bool const hasHeader = inspector.GetStartPosition() > 0;
    if (options.json) {
        output.Print(
            "{{\n  \"file\": {},\n  \"size\": {},\n  \"state\": \"{}\",\n  \"start\": {},\n  \"recordCount\": {},\n",
            Quoted(name), inspector.GetFileSize(), StateName(state), inspector.GetStartPosition(), records.Size());
        if (hasHeader && !options.faultsOnly) PrintHeader(output, options, name);
        if (!options.faultsOnly) {
            output.Print("  \"records\": [");
            bool first = true;
            int const listed = options.records < 0 ? records.Size() : std::min(records.Size(), options.records);
            for (int i = 0; i < listed; ++i) {
                if (!wanted(records[i])) continue;
                output.Print("{}\n", first ? "" : ",");
                PrintJson(output, options, inspector, graph, i);
                first = false;
            }
            output.Print("{}],\n", first ? "" : "\n  ");
        }
        PrintRemarks(output, options, inspector);
        PrintFaults(output, options, inspector.Faults());
        output.Print("}}\n");
        return;
    }
    output.Print("{}: {} bytes, {} records, {}\n", Escaped(name), inspector.GetFileSize(), records.Size(),
                 StateName(state));
    if (hasHeader && !options.faultsOnly) PrintHeader(output, options, name);
    if (!options.faultsOnly && records.Size() > 0) {
        output.Print("{:>12} {:>10} {:>7} {:>4} {:>12} {:>12}  {}\n", "position", "id", "version", "form", "size",
                     "next", "payload");
        for (int i = 0; i < records.Size(); ++i)
            if (wanted(records[i])) PrintText(output, options, inspector, graph, i);
    }
    PrintFaults(output, options, inspector.Faults());
    PrintRemarks(output, options, inspector);
}

void PrintStream(Output& output, Options const& options, KxString const& name, KxTagInspector& inspector,
                 Stream const& stream) {
    std::vector<SxTagFault> faults;
    if (stream.state != TagFileWhole) faults.push_back(stream.fault);
    KxObjectInspector& objects = inspector.Objects();
    if (options.json) {
        output.Print(
            "{{\n  \"file\": {},\n  \"size\": {},\n  \"state\": \"{}\",\n  \"start\": 0,\n  \"recordCount\": 0,\n"
            "  \"objectCount\": {},\n",
            Quoted(name), inspector.GetFileSize(), StateName(stream.state), stream.numObjects);
        if (!options.faultsOnly) output.Print("  \"records\": [],\n  \"images\": [");
        for (std::size_t i = 0; i < stream.images.size() && options.payloads && options.objects; ++i) {
            output.Print("{}\n    ", i > 0 ? "," : "");
            PrintJsonObjects(output, options, objects, stream.images[i]);
        }
        if (!options.faultsOnly) output.Print("],\n");
        PrintRemarks(output, options, inspector);
        PrintFaults(output, options, faults);
        output.Print("}}\n");
        return;
    }
    output.Print("{}: {} bytes, no records but a stream of {} {}, {}\n", Escaped(name), inspector.GetFileSize(),
                 stream.numObjects, stream.numObjects == 1 ? "object" : "objects", StateName(stream.state));
    for (ImagePlace const& place : stream.images) {
        if (options.faultsOnly) break;
        output.Print("{:>12}  {}\n", place.position, RootText(objects, place));
        if (options.payloads) PrintObjects(output, options, objects, place, "                ");
    }
    PrintFaults(output, options, faults);
}

}  // namespace hbtag
