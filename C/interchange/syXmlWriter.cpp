// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syEncoding.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

namespace KxN::detail {

namespace {

constexpr int deepestIndented = 64;  // deeper documents would consist of blanks

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

bool IsText(pugi::xml_node node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

/// Prints a node with all in it, straight from the tree: a copy of that could lose nodes where memory is short, and nobody
/// would know. No recursion: documents may be deep.
class Printer {
public:
    /// `encoding`, if given, stands in the declaration in place of what the document says.
    Printer(bool isIndented, char const* encoding) : m_isIndented(isIndented), m_encoding(encoding) {}

    void Print(pugi::xml_node top) {
        int depth = 0;
        int mixed = -1;  // the depth of the outermost element with text that we are in; blanks go only where none is
        for (pugi::xml_node node = top;;) {
            Head(node);
            if (pugi::xml_node const first = node.first_child()) {
                if (mixed < 0 && std::any_of(node.begin(), node.end(), IsText)) mixed = depth;
                Line(++depth, mixed);
                node = first;
                continue;
            }
            while (node != top && !node.next_sibling()) {
                node = node.parent();
                Line(--depth, mixed);
                if (mixed == depth) mixed = -1;
                ((bytes += "</") += node.name()) += '>';
            }
            if (node == top) return;
            Line(depth, mixed);
            node = node.next_sibling();
        }
    }
    std::string bytes;  // UTF-8

private:
    void Line(int depth, int mixed) {
        if (!m_isIndented || mixed >= 0) return;
        bytes += '\n';
        bytes.append(static_cast<std::size_t>(depth), '\t');
    }
    void Escaped(char const* text, bool isAttribute) {
        char const* from = text;
        for (;; ++text) {
            char const* reference = nullptr;
            switch (*text) {
                case '&': reference = "&amp;"; break;
                case '<': reference = "&lt;"; break;
                case '>': reference = isAttribute ? nullptr : "&gt;"; break;
                case '"': reference = isAttribute ? "&quot;" : nullptr; break;
                case '\t': reference = isAttribute ? "&#09;" : nullptr; break;
                case '\n': reference = isAttribute ? "&#10;" : nullptr; break;
                case '\r': reference = "&#13;"; break;  // by itself it would come back as a line feed
                case '\0': bytes.append(from, text); return;
                default: break;
            }
            if (!reference) continue;
            bytes.append(from, text) += reference;
            from = text + 1;
        }
    }
    /// In as many sections as it takes: there are no references in one, and the end of one cannot stand in it.
    void Section(std::string_view text) {
        bytes += "<![CDATA[";
        for (std::size_t at = 0; at < text.size(); ++at) {
            if (text[at] == '\r')
                bytes += "]]>&#13;<![CDATA[";
            else if (text[at] == '>' && text.substr(0, at).ends_with("]]"))
                bytes += "]]><![CDATA[>";
            else
                bytes += text[at];
        }
        bytes += "]]>";
    }
    /// All of a node, or of an element what stands before its children.
    void Head(pugi::xml_node node) {
        switch (node.type()) {
            case pugi::node_pcdata: Escaped(node.value(), false); break;
            case pugi::node_cdata: Section(node.value()); break;
            case pugi::node_comment: ((bytes += "<!--") += node.value()) += "-->"; break;
            case pugi::node_pi:
                (bytes += "<?") += node.name();
                if (*node.value()) (bytes += ' ') += node.value();
                bytes += "?>";
                break;
            case pugi::node_declaration:
                bytes += "<?xml";
                Attributes(node);
                bytes += "?>";
                break;
            case pugi::node_element:
                (bytes += '<') += node.name();
                Attributes(node);
                bytes += node.first_child() ? ">" : "/>";
                break;
            default: break;
        }
    }
    void Attributes(pugi::xml_node node) {
        bool const isDeclaration = node.type() == pugi::node_declaration;
        for (pugi::xml_attribute const attribute : node.attributes()) {
            ((bytes += ' ') += attribute.name()) += "=\"";
            bool const isReplaced = m_encoding && isDeclaration && attribute.name() == std::string_view("encoding");
            Escaped(isReplaced ? m_encoding : attribute.value(), true);
            bytes += '"';
        }
    }

    bool m_isIndented;
    char const* m_encoding;
};

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
    pugi::xml_node(document).traverse(walker);
    if (!walker.fits) encoding = Encoding::utf8;
    Printer printer(walker.deepest <= deepestIndented, walker.fits ? nullptr : "UTF-8");
    for (pugi::xml_node const node : document) {
        printer.Print(node);
        printer.bytes += '\n';
    }
    std::string& utf8 = printer.bytes;
    if (encoding == Encoding::utf8)
        bytes = std::move(utf8);
    else
        bytes = IsNarrow(*encoding) ? Transcoded(utf8, *encoding) : Utf16(utf8, *encoding);
    return true;
}

std::string TextOfXml(pugi::xml_node node) {
    Printer printer(false, nullptr);
    if (node.type() != pugi::node_document)
        printer.Print(node);
    else
        for (pugi::xml_node const part : node) printer.Print(part);
    return std::move(printer.bytes);
}

bool AppendXmlAttribute(pugi::xml_node node, char const* name, char const* value) {
    pugi::xml_attribute attribute = node.append_attribute("");  // which would not tell that it could not name it
    if (attribute.set_name(name) && attribute.set_value(value)) return true;
    if (attribute) node.remove_attribute(attribute);
    return false;
}

bool IsXmlName(std::wstring_view name) {
    auto const isPlain = [](wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_'; };
    if (name.empty()) return false;
    if (isPlain(name[0]) && std::all_of(name.begin() + 1, name.end(), [&](wchar_t c) {
            return isPlain(c) || (c >= L'0' && c <= L'9') || c == L'-' || c == L'.';
        }))
        return true;
    if (name.find_first_of(L" \t\r\n<>\"'=/&") != name.npos || !IsXmlText(name)) return false;
    return CheckXml("<" + KxxToUtf8(name) + "/>");  // who reads it decides
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
