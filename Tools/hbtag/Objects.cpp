// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Objects.h"

#include <hbtools/base/syEncoding.h>

#include <algorithm>
#include <limits>

namespace hbtag {

using tool::Escaped;
using tool::JsonNumber;
using tool::Quoted;

using namespace KxN;

namespace {

constexpr ULONGLONG longestText = 4096;  // characters, unless all are asked for
constexpr int deepestDetails = 200;      // browsers flatten elements beyond some hundred

ULONGLONG LongestText(Options const& options) {
    return options.values < 0 ? std::numeric_limits<ULONGLONG>::max() : longestText;
}

std::string Excerpt(KxObjectInspector& objects, Options const& options, SxObjectText const& text) {
    ULONGLONG const longest = LongestText(options);
    std::string out = Escaped(objects.Text(text, longest));
    if (text.length > longest) out += fmt::format("... {} characters more", text.length - longest);
    return out;
}

/// The class without what every one begins with.
std::string ShortClass(SxObject const& object) {
    std::string const name = Escaped(object.className);
    return name.starts_with("class ") ? name.substr(6) : name;
}

std::string Plural(unsigned long long count, char const* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

/// Type and value: `double 20.5`.
std::string ValueLine(KxObjectInspector& objects, Options const& options, SxObject const& object) {
    std::string const type = Escaped(KxString(object.typeName));
    switch (object.kind) {
        case ValueReference: return fmt::format("reference to object {}", object.number);
        case ValueNumber: return type + ' ' + Escaped(objects.Values(object, 0, 1, L""));
        case ValueText: return fmt::format("{} \"{}\"", type, Excerpt(objects, options, object.value));
        case ValueList: return fmt::format("list of {}", object.count);
        case ValueBuffer: {
            ULONGLONG const shown =
                options.values < 0 ? object.count : std::min(object.count, static_cast<ULONGLONG>(options.values));
            std::string text = fmt::format("{}[{}]", type, object.count);
            if (shown > 0) text += ' ' + Escaped(objects.Values(object, 0, shown, L" "));
            if (shown < object.count) text += fmt::format(" ... {} more", object.count - shown);
            return text;
        }
        case ValueUnknown: break;
    }
    return fmt::format("{}, version {}: {} that only this class can read; nothing behind them can be told",
                       ShortClass(object), object.version, Plural(object.count, "byte"));
}

/// What stands behind the value: `, group 3, hidden, shown as "%d"`.
std::string Remarks(KxObjectInspector& objects, Options const& options, SxObject const& object) {
    std::string text;
    if (object.group != 0) text += fmt::format(", group {}", object.group);
    if (object.isHidden) text += ", hidden";
    if (object.isNumbered && object.kind != ValueReference) text += fmt::format(", object {}", object.number);
    if (object.format.length > 0) text += fmt::format(", shown as \"{}\"", Excerpt(objects, options, object.format));
    return text;
}

bool HasName(SxObject const& object) {
    return object.kind != ValueReference && object.kind != ValueUnknown;
}

std::string NameText(KxObjectInspector& objects, Options const& options, SxObject const& object) {
    if (!HasName(object)) return {};
    return (object.name.length > 0 ? Excerpt(objects, options, object.name) : "(no name)") + ": ";
}

void PrintJsonValue(Output& output, Options const& options, KxObjectInspector& objects, SxObject const& object) {
    ULONGLONG const longest = LongestText(options);
    switch (object.kind) {
        case ValueReference: output.Print(", \"refersTo\": {}", object.number); break;
        case ValueUnknown: output.Print(", \"remaining\": {}", object.count); break;
        case ValueList: output.Print(", \"children\": {}", object.count); break;
        case ValueText:
            output.Print(", \"value\": {}", Quoted(objects.Text(object.value, longest)));
            if (object.value.length > longest) output.Print(", \"length\": {}", object.value.length);
            break;
        case ValueNumber:
            output.Print(", \"value\": {}", JsonNumber(KxxToUtf8(objects.Values(object, 0, 1, L"").View())));
            break;
        case ValueBuffer: {
            ULONGLONG const shown =
                options.values < 0 ? object.count : std::min(object.count, static_cast<ULONGLONG>(options.values));
            output.Print(", \"count\": {}, \"values\": [", object.count);
            for (ULONGLONG i = 0; i < shown; ++i)
                output.Print("{}{}", i > 0 ? ", " : "",
                             JsonNumber(KxxToUtf8(objects.Values(object, i, 1, L"").View())));
            output.Print("]");
            break;
        }
    }
}

/// The words for a fault within an image.
std::string FaultText(KxObjectInspector const& objects) {
    SxTagFault const& fault = objects.Fault();
    return fmt::format("{} at {}: {}", KxxToUtf8(KxxTagFaultName(fault.kind)), fault.position, Escaped(fault.text));
}

}  // namespace

std::string RootText(KxObjectInspector& objects, ImagePlace const& place) {
    constexpr ULONGLONG longestName = 60;
    objects.Begin(place.position, place.end);
    SxObject root;
    if (!objects.Next(root)) return "damaged";
    if (root.kind == ValueReference) return fmt::format("reference to object {}", root.number);
    if (root.kind == ValueUnknown) return ShortClass(root);
    return fmt::format("{}{} \"{}\"", Escaped(KxString(root.typeName)), root.kind == ValueBuffer ? "[]" : "",
                       Escaped(objects.Text(root.name, longestName)));
}

void PrintObjects(Output& output, Options const& options, KxObjectInspector& objects, ImagePlace const& place,
                  std::string const& margin) {
    objects.Begin(place.position, place.end);
    SxObject object;
    while (objects.Next(object)) {
        output.Print("{}{:{}}", margin, "", 2 * std::min(object.depth, deepestIndent));
        if (object.depth > deepestIndent) output.Print("(level {}) ", object.depth);
        output.Print("{}{}{}\n", NameText(objects, options, object), ValueLine(objects, options, object),
                     Remarks(objects, options, object));
    }
    if (!objects.HasFault()) return;
    if (object.className.Len() > 0)
        output.Print("{}{:{}}{}: broken off\n", margin, "", 2 * std::min(object.depth, deepestIndent),
                     ShortClass(object));
    output.Print("{}{}\n", margin, FaultText(objects));
}

void PrintJsonObjects(Output& output, Options const& options, KxObjectInspector& objects, ImagePlace const& place) {
    objects.Begin(place.position, place.end);
    ULONGLONG const longest = LongestText(options);
    output.Print("[");
    bool first = true;
    for (SxObject object; objects.Next(object); first = false) {
        output.Print("{}\n      {{\"depth\": {}, \"position\": {}", first ? "" : ",", object.depth, object.position);
        if (object.isNumbered && object.kind != ValueReference) output.Print(", \"number\": {}", object.number);
        if (object.kind != ValueReference)
            output.Print(", \"class\": {}, \"version\": {}", Quoted(object.className), object.version);
        if (HasName(object))
            output.Print(", \"type\": {}, \"name\": {}, \"format\": {}, \"group\": {}, \"hidden\": {}",
                         Quoted(object.typeName), Quoted(objects.Text(object.name, longest)),
                         Quoted(objects.Text(object.format, longest)), object.group, object.isHidden);
        PrintJsonValue(output, options, objects, object);
        output.Print("}}");
    }
    output.Print("{}]", first ? "" : "\n    ");
}

std::string Html(std::string const& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

void PrintHtmlObjects(Output& output, Options const& options, KxObjectInspector& objects, ImagePlace const& place,
                      long long& left) {
    objects.Begin(place.position, place.end);
    SxObject object;
    int open = 0;  // elements
    for (; left > 0 && objects.Next(object); --left) {
        int const depth = std::min(object.depth, deepestDetails);
        for (; open > depth; --open) output.Print("</details>");
        std::string const name = Html(NameText(objects, options, object));
        std::string const line =
            fmt::format("{}<span class=\"id\">{}</span><span class=\"kind\">{}</span><span class=\"small\">{}</span>",
                        object.depth > depth ? fmt::format("level {}: ", object.depth) : "", name,
                        Html(ValueLine(objects, options, object)), Html(Remarks(objects, options, object)));
        if (object.kind == ValueList && object.count > 0 && depth < deepestDetails) {
            output.Print("<details{}><summary>{}</summary>\n", depth < 2 ? " open" : "", line);
            ++open;
        } else {
            output.Print("<div class=\"leaf\">{}</div>\n", line);
        }
    }
    for (; open > 0; --open) output.Print("</details>");
    unsigned long long more = 0;
    while (objects.Next(object)) ++more;
    if (more > 0) output.Print("<div class=\"leaf small\">... {} more</div>\n", Plural(more, "object"));
    if (objects.HasFault()) output.Print("<div class=\"fault\">{}</div>\n", Html(FaultText(objects)));
}

Stream ReadStream(KxObjectInspector& objects, unsigned long long size) {
    Stream stream;
    for (ULONGLONG position = 0; position < size; position = objects.GetPosition()) {
        stream.images.push_back({position, size});
        objects.Begin(position, size);
        for (SxObject object; objects.Next(object);) ++stream.numObjects;
        if (!objects.HasFault()) continue;
        stream.state = TagFileDamaged;
        stream.fault = objects.Fault();
        break;
    }
    return stream;
}

}  // namespace hbtag
