// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syEncoding.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

namespace KxN::detail {

namespace {

constexpr int deepestIndented = 64;  // deeper documents would consist of blanks

class Collecting : public pugi::xml_writer {
public:
    void write(void const* data, std::size_t size) override { bytes.append(static_cast<char const*>(data), size); }
    std::string bytes;
};

enum class Encoding { utf8, utf16, utf16le, utf16be, ascii, latin1, windows1252 };

/// The names that reading knows too.
std::optional<Encoding> EncodingOf(KxString const& name) {
    static constexpr std::pair<wchar_t const*, Encoding> names[] = {
        {L"UTF-8", Encoding::utf8},         {L"UTF-16", Encoding::utf16},
        {L"UTF-16LE", Encoding::utf16le},   {L"UTF-16BE", Encoding::utf16be},
        {L"US-ASCII", Encoding::ascii},     {L"ISO-8859-1", Encoding::latin1},
        {L"CP1252", Encoding::windows1252}, {L"WINDOWS-1252", Encoding::windows1252}};
    for (auto const& [known, encoding] : names)
        if (name.ICompare(known) == 0) return encoding;
    return std::nullopt;
}

bool IsNarrow(Encoding encoding) {
    return encoding >= Encoding::ascii;
}

/// The byte of a character, -1 if there is none.
int ByteOf(wchar_t c, Encoding encoding) {
    auto const code = static_cast<std::uint32_t>(c);
    if (code < 0x80) return static_cast<int>(code);
    if (encoding == Encoding::ascii) return -1;
    if (encoding == Encoding::latin1) return code < 0x100 ? static_cast<int>(code) : -1;
    std::string const narrow = KxxToNarrow(std::wstring_view(&c, 1), 1252);
    return narrow.size() == 1 && narrow[0] != '?' ? static_cast<unsigned char>(narrow[0]) : -1;
}

bool Fits(char const* text, Encoding encoding) {
    std::wstring const wide = KxxWidenUtf8(text);
    return std::all_of(wide.begin(), wide.end(), [&](wchar_t c) { return ByteOf(c, encoding) >= 0; });
}

/// Looks at every node in turn.
struct Walker : pugi::xml_tree_walker {
    bool for_each(pugi::xml_node& node) override {
        deepest = std::max(deepest, depth());
        if (!IsNarrow(encoding)) return true;
        // Where no reference may stand.
        bool const isPlain = node.type() == pugi::node_pcdata || node.type() == pugi::node_element;
        fits = fits && Fits(node.name(), encoding) && (isPlain || Fits(node.value(), encoding));
        for (pugi::xml_attribute const attribute : node.attributes()) fits = fits && Fits(attribute.name(), encoding);
        return true;
    }
    Encoding encoding = Encoding::utf8;
    int deepest = 0;
    bool fits = true;
};

// A carriage return that stands there by itself would come back as a line feed. The mark is no byte of UTF-8; where it stands
// a reference is written.
constexpr char returnMark = '\xff';

void MarkReturns(pugi::xml_node node) {
    std::string text = node.value();
    if (text.find('\r') == text.npos) return;
    if (node.type() == pugi::node_pcdata) {
        std::replace(text.begin(), text.end(), '\r', returnMark);
    } else {  // where there are no references: as every reader takes it
        for (std::size_t at = 0; (at = text.find('\r', at)) != text.npos;)
            text.replace(at, text.compare(at, 2, "\r\n") == 0 ? 2 : 1, "\n");
    }
    if (!node.set_value(text.c_str())) throw std::bad_alloc();
}

bool IsText(pugi::xml_node node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

/// Puts each of the children on a line of its own.
void Indent(pugi::xml_node parent, int depth) {
    std::string line = "\n" + std::string(static_cast<std::size_t>(depth) + 1, '\t');
    for (pugi::xml_node const child : parent)
        if (!parent.insert_child_before(pugi::node_pcdata, child).set_value(line.c_str())) throw std::bad_alloc();
    line.pop_back();
    if (!parent.append_child(pugi::node_pcdata).set_value(line.c_str())) throw std::bad_alloc();
}

/// Makes the tree ready to be printed as it is. Blanks go only where no text is, so that reading drops them.
void Prepare(pugi::xml_document& document, bool isIndented) {
    int depth = 0;
    int mixed = -1;  // the depth of the outermost element with text that we are in
    for (pugi::xml_node node = document.first_child(); node;) {
        MarkReturns(node);
        pugi::xml_node const first = node.first_child();
        if (first && mixed < 0 && std::any_of(node.begin(), node.end(), IsText)) mixed = depth;
        if (first && mixed < 0 && isIndented) Indent(node, depth);
        if (first) {
            node = first;  // behind the blank, which comes next
            ++depth;
            continue;
        }
        while (node && !node.next_sibling()) {
            node = node.parent();
            if (mixed == --depth) mixed = -1;
        }
        node = node.next_sibling();
    }
}

std::string Transcoded(std::string const& utf8, Encoding encoding) {
    std::string bytes;
    for (wchar_t const c : KxxWidenUtf8(utf8)) {
        int const byte = ByteOf(c, encoding);
        if (byte >= 0)
            bytes += static_cast<char>(byte);
        else
            bytes += "&#" + std::to_string(static_cast<std::uint32_t>(c)) + ";";
    }
    return bytes;
}

/// As the order of bytes says; the mark is for readers to whom nobody tells it.
std::string Utf16(std::string const& utf8, Encoding encoding) {
    std::string bytes = encoding == Encoding::utf16 ? "\xff\xfe" : "";
    for (char16_t const unit : KxxToUtf16(KxxWidenUtf8(utf8))) {
        char const low = static_cast<char>(unit & 0xff), high = static_cast<char>(unit >> 8);
        if (encoding == Encoding::utf16be)
            bytes += {high, low};
        else
            bytes += {low, high};
    }
    return bytes;
}

bool IsSameNode(pugi::xml_node a, pugi::xml_node b) {
    if (a.type() != b.type() || std::strcmp(a.name(), b.name()) != 0 || std::strcmp(a.value(), b.value()) != 0)
        return false;
    pugi::xml_attribute one = a.first_attribute(), other = b.first_attribute();
    while (one && other && std::strcmp(one.name(), other.name()) == 0 && std::strcmp(one.value(), other.value()) == 0) {
        one = one.next_attribute();
        other = other.next_attribute();
    }
    return !one && !other;
}

/// A copy lacks, without a word, what there was no memory for. @throws std::bad_alloc if anything is missing
void CheckCopied(pugi::xml_node from, pugi::xml_node copy) {
    pugi::xml_node const top = from;
    for (;;) {
        if (!IsSameNode(from, copy)) throw std::bad_alloc();
        if (from.first_child()) {
            from = from.first_child();
            copy = copy.first_child();
            continue;
        }
        while (from != top && !from.next_sibling()) {
            from = from.parent();
            copy = copy.parent();
        }
        if (from == top) return;
        from = from.next_sibling();
        copy = copy.next_sibling();
    }
}

/// The children line by line, or one after the other, with what stands where the mark is.
std::string Printed(pugi::xml_document const& prepared, char const* behindEach) {
    Collecting writer;
    for (pugi::xml_node const node : prepared) {
        node.print(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
        writer.bytes += behindEach;
    }
    std::string utf8;
    utf8.reserve(writer.bytes.size());
    for (char const c : writer.bytes) {
        if (c == returnMark)
            utf8 += "&#13;";
        else
            utf8 += c;
    }
    return utf8;
}

}  // namespace

bool WriteXml(pugi::xml_document const& document, std::string& bytes, KxString& failure) {
    pugi::xml_attribute const declared = document.first_child().type() == pugi::node_declaration
                                             ? document.first_child().attribute("encoding")
                                             : pugi::xml_attribute();
    KxString const name(declared ? KxxWidenUtf8(declared.value()) : L"UTF-8");
    std::optional<Encoding> encoding = EncodingOf(name);
    if (!encoding) {
        failure.SPrintf(L"The declared encoding \"%s\" cannot be written", name);
        return false;
    }
    Walker walker;
    walker.encoding = *encoding;
    pugi::xml_document copy;
    copy.reset(document);
    CheckCopied(document, copy);
    copy.traverse(walker);
    if (!walker.fits) {
        if (!copy.first_child().attribute("encoding").set_value("UTF-8")) throw std::bad_alloc();
        encoding = Encoding::utf8;
    }
    Prepare(copy, walker.deepest <= deepestIndented);
    std::string utf8 = Printed(copy, "\n");
    if (encoding == Encoding::utf8)
        bytes = std::move(utf8);
    else
        bytes = IsNarrow(*encoding) ? Transcoded(utf8, *encoding) : Utf16(utf8, *encoding);
    return true;
}

std::string TextOfXml(pugi::xml_node node) {
    bool const isDocument = node.type() == pugi::node_document;
    Collecting writer;
    for (pugi::xml_node part = isDocument ? node.first_child() : node; part;) {
        part.print(writer, "", pugi::format_raw, pugi::encoding_utf8);
        part = isDocument ? part.next_sibling() : pugi::xml_node();
    }
    if (writer.bytes.find('\r') == std::string::npos) return std::move(writer.bytes);
    pugi::xml_document copy;
    for (pugi::xml_node part = isDocument ? node.first_child() : node; part;) {
        CheckCopied(part, copy.append_copy(part));
        part = isDocument ? part.next_sibling() : pugi::xml_node();
    }
    Prepare(copy, false);
    return Printed(copy, "");
}

bool IsXmlName(std::wstring_view name) {
    if (name.find_first_of(L" \t\r\n<>\"'=/&") != name.npos || !IsXmlText(name)) return false;
    pugi::xml_document document;  // who reads it decides
    KxString failure;
    return ReadXml(document, "<" + KxxToUtf8(name) + "/>", "UTF-8", failure);
}

bool IsXmlText(std::wstring_view text) {
    return std::all_of(text.begin(), text.end(), [](wchar_t c) {
        auto const code = static_cast<std::uint32_t>(c);
        return code == 9 || code == 10 || code == 13 || (code >= 0x20 && code < 0xd800) ||
               (code >= 0xe000 && code <= 0xfffd) || (code >= 0x10000 && code <= 0x10ffff);
    });
}

int DepthOf(pugi::xml_node node) {
    int depth = 0;
    while ((node = node.parent())) ++depth;
    return depth;
}

}  // namespace KxN::detail
