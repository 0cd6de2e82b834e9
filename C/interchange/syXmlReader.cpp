// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// One library checks every rule of the standard. What passed is read by the other one, whose tree stands on the bytes
// themselves; where the two would differ, in other encodings than UTF-8, the events of the first build the tree.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include <expat.h>

namespace KxN::detail {

namespace {

struct ParserFree {
    void operator()(XML_Parser parser) const { ::XML_ParserFree(parser); }
};

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == text.npos;
}

/// Takes no memory: the parser calls.
bool IsSame(std::string_view encoding, std::string_view upper) {
    return std::equal(encoding.begin(), encoding.end(), upper.begin(), upper.end(),
                      [](char a, char b) { return a == b || (a >= 'a' && a <= 'z' && a - 'a' + 'A' == b); });
}

bool IsUtf8(char const* encoding) {
    return IsSame(encoding, "UTF-8") || IsSame(encoding, "US-ASCII");
}

/// Drops blank text between elements. Alone in an element it is a value, and beside other text or CDATA it is content.
void DropBlanks(pugi::xml_node parent) {
    pugi::xml_node const first = parent.first_child();
    if (!first.next_sibling()) return;
    bool hasBlanks = false;
    for (pugi::xml_node child = first; child; child = child.next_sibling()) {
        if (child.type() == pugi::node_cdata) return;
        if (child.type() != pugi::node_pcdata) continue;
        if (!IsBlank(child.value())) return;
        hasBlanks = true;
    }
    for (pugi::xml_node child = first; hasBlanks && child;) {
        pugi::xml_node const next = child.next_sibling();
        if (child.type() == pugi::node_pcdata) parent.remove_child(child);
        child = next;
    }
}

/// In every element. No recursion: documents may be deep.
void DropAllBlanks(pugi::xml_node root) {
    for (pugi::xml_node node = root; node;) {
        DropBlanks(node);
        if (pugi::xml_node const child = node.first_child()) {
            node = child;
            continue;
        }
        while (node != root && !node.next_sibling()) node = node.parent();
        node = node == root ? pugi::xml_node() : node.next_sibling();
    }
}

/// What both ways to read have in common: limits, refusals, encodings.
class Reader {
public:
    explicit Reader(char const* encoding)
        : m_parser(::XML_ParserCreate(encoding)), m_isEncodingKnown(encoding != nullptr) {
        if (!m_parser) throw std::bad_alloc();
        ::XML_SetUserData(Parser(), this);
        ::XML_SetStartDoctypeDeclHandler(Parser(), &DocType);
        ::XML_SetUnknownEncodingHandler(Parser(), &UnknownEncoding, this);
    }

    bool Read(std::string_view bytes, KxString& failure) {
        constexpr std::size_t most = 1U << 30;
        if (!m_isEncodingKnown)
            m_mark = bytes.starts_with("\xef\xbb\xbf") ? "UTF-8"
                     : bytes.starts_with("\xff\xfe")   ? "UTF-16LE"
                     : bytes.starts_with("\xfe\xff")   ? "UTF-16BE"
                                                       : "";
        XML_Status status = XML_STATUS_OK;
        do {
            std::string_view const part = bytes.substr(0, most);
            bytes.remove_prefix(part.size());
            status = ::XML_Parse(Parser(), part.data(), static_cast<int>(part.size()), bytes.empty());
        } while (status == XML_STATUS_OK && !bytes.empty());
        if (m_isPoor || ::XML_GetErrorCode(Parser()) == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
        if (status == XML_STATUS_OK) return true;
        char const* const reason = m_refusal ? m_refusal : ::XML_ErrorString(::XML_GetErrorCode(Parser()));
        failure.SPrintf(L"line %llu, column %llu: %s", static_cast<ULONGLONG>(::XML_GetCurrentLineNumber(Parser())),
                        static_cast<ULONGLONG>(::XML_GetCurrentColumnNumber(Parser())) + 1, KxString(reason));
        return false;
    }

protected:
    XML_Parser Parser() const { return m_parser.get(); }
    int Depth() const { return m_depth; }
    // A parser that was stopped may still call.
    bool IsRefused() const { return m_refusal; }
    void Refuse(char const* why) {
        if (!m_refusal) m_refusal = why;
        ::XML_StopParser(Parser(), XML_FALSE);
    }
    void Check(bool isDone) {
        if (!isDone) m_isPoor = true, Refuse("memory");
    }
    bool Open(XML_Char const** attributes) {
        if (IsRefused()) return false;
        if (++m_depth > KxxLimits().nestingDepth) return Refuse("nested too deep"), false;
        for (std::size_t count = 0; attributes[2 * count];)
            if (++count > KxxLimits().xmlAttributes) return Refuse("too many attributes"), false;
        return true;
    }
    void Close() { --m_depth; }
    /// False if it is refused. `version` is null where an entity is declared, of which there are none.
    bool Declare(char const* version, char const* encoding) {
        if (!version || IsRefused()) return false;
        std::string_view const number(version);
        if (!number.starts_with("1.") || number.size() < 3 || number.find_first_not_of("0123456789", 2) != number.npos)
            return Refuse("the declared version is none that is known"), false;
        bool const isEitherOrder = m_mark.starts_with("UTF-16") && IsSame(encoding ? encoding : "", "UTF-16");
        if (!m_mark.empty() && encoding && !isEitherOrder && !IsSame(encoding, m_mark))
            return Refuse("the mark at the beginning contradicts the declared encoding"), false;
        return true;
    }
    bool IsEncodingKnown() const { return m_isEncodingKnown; }

private:
    static void DocType(void* user, XML_Char const*, XML_Char const*, XML_Char const*, int) {
        static_cast<Reader*>(user)->Refuse("a document type declaration is not allowed");
    }
    static int UnknownEncoding(void* user, XML_Char const* name, XML_Encoding* info) {
        if (!IsSame(name, "WINDOWS-1252") && !IsSame(name, "CP1252")) return XML_STATUS_ERROR;
        try {
            for (int i = 0; i < 256; ++i) {
                char const byte = static_cast<char>(i);
                std::wstring const wide = KxxWidenNarrow(std::string_view(&byte, 1), 1252);
                info->map[i] = wide.size() == 1 ? static_cast<int>(wide[0]) : -1;
            }
        } catch (std::bad_alloc const&) {
            static_cast<Reader*>(user)->Check(false);
            return XML_STATUS_ERROR;
        }
        info->data = nullptr;
        info->convert = nullptr;
        info->release = nullptr;
        return XML_STATUS_OK;
    }

    std::unique_ptr<XML_ParserStruct, ParserFree> m_parser;
    bool m_isEncodingKnown;   // whatever the document declares
    std::string_view m_mark;  // the encoding that the first bytes tell
    int m_depth = 0;
    char const* m_refusal = nullptr;
    bool m_isPoor = false;
};

/// Only checks, and finds out whether the other library may read the bytes by itself.
class Checker : public Reader {
public:
    explicit Checker(char const* encoding) : Reader(encoding), m_held(64) {
        ::XML_SetElementHandler(Parser(), &Start, &End);
        ::XML_SetCharacterDataHandler(Parser(), &Text);
        ::XML_SetCdataSectionHandler(Parser(), &StartCData, &EndCData);
        ::XML_SetCommentHandler(Parser(), &Comment);
        ::XML_SetProcessingInstructionHandler(Parser(), &Instruction);
        ::XML_SetXmlDeclHandler(Parser(), &Declaration);
    }
    /// The bytes are no UTF-8, or hold what the other library reads differently.
    bool IsSpecial() const { return m_isSpecial; }
    /// Blank text stands beside other text in one element and is to be kept.
    bool HasMixedBlanks() const { return m_hasMixedBlanks; }

private:
    static constexpr unsigned char content = 1, blanks = 2;

    static Checker& Of(void* user) { return *static_cast<Checker*>(user); }
    void Note(unsigned char what) {
        unsigned char& held = m_held[static_cast<std::size_t>(Depth())];
        held |= what;
        m_hasMixedBlanks = m_hasMixedBlanks || held == (content | blanks);
    }
    /// A run of text, which comes in pieces, is content if any of it is.
    void EndRun() {
        if (m_run) Note(m_run & content ? content : blanks);
        m_run = 0;
    }

    static void Start(void* user, XML_Char const*, XML_Char const** attributes) {
        Checker& checker = Of(user);
        checker.EndRun();
        if (!checker.Open(attributes)) return;
        auto const depth = static_cast<std::size_t>(checker.Depth());
        try {
            if (depth >= checker.m_held.size()) checker.m_held.resize(2 * depth);
            checker.m_held[depth] = 0;
        } catch (std::bad_alloc const&) {
            checker.Check(false);
        }
    }
    static void End(void* user, XML_Char const*) {
        if (Of(user).IsRefused()) return;
        Of(user).EndRun();
        Of(user).Close();
    }
    static void Text(void* user, XML_Char const* text, int length) {
        Of(user).m_run |= IsBlank({text, static_cast<std::size_t>(length)}) ? blanks : content;
    }
    static void StartCData(void* user) {
        if (Of(user).IsRefused()) return;
        Of(user).EndRun();
        Of(user).Note(content);
    }
    static void EndCData(void* user) { Of(user).m_run = 0; }
    static void Comment(void* user, XML_Char const*) {
        if (!Of(user).IsRefused()) Of(user).EndRun();
    }
    static void Instruction(void* user, XML_Char const*, XML_Char const* data) {
        if (Of(user).IsRefused()) return;
        Of(user).EndRun();
        if (std::strchr(data, '\n')) Of(user).m_isSpecial = true;  // whose end the other library leaves as it is
    }
    static void Declaration(void* user, XML_Char const* version, XML_Char const* encoding, int) {
        if (!Of(user).Declare(version, encoding)) return;
        if (!encoding || Of(user).IsEncodingKnown() || IsUtf8(encoding)) return;
        Of(user).m_isSpecial = true;
    }

    bool m_isSpecial = false, m_hasMixedBlanks = false;
    std::vector<unsigned char> m_held;  // of the open element of each level
    unsigned char m_run = 0;
};

/// Builds the tree.
class Builder : public Reader {
public:
    Builder(pugi::xml_document& document, char const* encoding) : Reader(encoding), m_node(document) {
        ::XML_SetElementHandler(Parser(), &Start, &End);
        ::XML_SetCharacterDataHandler(Parser(), &Text);
        ::XML_SetCdataSectionHandler(Parser(), &StartCData, &EndCData);
        ::XML_SetCommentHandler(Parser(), &Comment);
        ::XML_SetProcessingInstructionHandler(Parser(), &Instruction);
        ::XML_SetXmlDeclHandler(Parser(), &Declaration);
    }

private:
    static Builder& Of(void* user) { return *static_cast<Builder*>(user); }
    pugi::xml_node Append(pugi::xml_node_type type) {
        pugi::xml_node node = m_node.append_child(type);
        Check(node);
        return node;
    }
    void Flush() {
        if (m_text.empty()) return;
        if (m_node.type() == pugi::node_element) Check(Append(pugi::node_pcdata).set_value(m_text.c_str()));
        m_text.clear();
    }

    static void Start(void* user, XML_Char const* name, XML_Char const** attributes) {
        Builder& builder = Of(user);
        if (!builder.Open(attributes)) return;
        builder.Flush();
        pugi::xml_node node = builder.Append(pugi::node_element);
        builder.Check(node.set_name(name));
        for (; *attributes; attributes += 2) builder.Check(AppendXmlAttribute(node, attributes[0], attributes[1]));
        builder.m_node = node;
    }
    static void End(void* user, XML_Char const*) {
        if (Of(user).IsRefused()) return;
        Of(user).Flush();
        Of(user).m_node = Of(user).m_node.parent();
        Of(user).Close();
    }
    static void Text(void* user, XML_Char const* text, int length) {
        if (Of(user).IsRefused()) return;
        try {
            Of(user).m_text.append(text, static_cast<std::size_t>(length));
        } catch (std::bad_alloc const&) {
            Of(user).Check(false);
        }
    }
    static void StartCData(void* user) {
        if (!Of(user).IsRefused()) Of(user).Flush();
    }
    static void EndCData(void* user) {
        if (Of(user).IsRefused()) return;
        Of(user).Check(Of(user).Append(pugi::node_cdata).set_value(Of(user).m_text.c_str()));
        Of(user).m_text.clear();
    }
    static void Comment(void* user, XML_Char const* text) {
        if (Of(user).IsRefused()) return;
        Of(user).Flush();
        Of(user).Check(Of(user).Append(pugi::node_comment).set_value(text));
    }
    static void Instruction(void* user, XML_Char const* target, XML_Char const* data) {
        if (Of(user).IsRefused()) return;
        Of(user).Flush();
        pugi::xml_node node = Of(user).Append(pugi::node_pi);
        Of(user).Check(node.set_name(target) && node.set_value(data));
    }
    static void Declaration(void* user, XML_Char const* version, XML_Char const* encoding, int standalone) {
        if (!Of(user).Declare(version, encoding)) return;
        pugi::xml_node node = Of(user).Append(pugi::node_declaration);
        Of(user).Check(node.set_name("xml") && AppendXmlAttribute(node, "version", version));
        if (encoding) Of(user).Check(AppendXmlAttribute(node, "encoding", encoding));
        if (standalone >= 0) Of(user).Check(AppendXmlAttribute(node, "standalone", standalone ? "yes" : "no"));
    }

    pugi::xml_node m_node;
    std::string m_text;
};

}  // namespace

bool CheckXml(std::string_view bytes) {
    KxString failure;
    return Checker("UTF-8").Read(bytes, failure);
}

bool ReadXml(pugi::xml_document& document, std::string_view bytes, char const* encoding, KxString& failure) {
    // UTF-16 is known by its mark, or by the zero in its first character.
    bool isSpecial = bytes.size() > 1 && (bytes[0] == '\xfe' || bytes[0] == '\xff' || !bytes[0] || !bytes[1]);
    if (!isSpecial) {
        Checker checker(encoding);
        if (!checker.Read(bytes, failure)) return false;
        isSpecial = checker.IsSpecial();
        if (!isSpecial) {
            // A blank that is written as a reference is one for us, and text for the other library.
            bool const keepsBlanks = checker.HasMixedBlanks() || bytes.find("&#") != bytes.npos;
            unsigned const kept =
                pugi::parse_full | (keepsBlanks ? pugi::parse_ws_pcdata : pugi::parse_ws_pcdata_single);
            pugi::xml_parse_result const result =
                document.load_buffer(bytes.data(), bytes.size(), kept, pugi::encoding_utf8);
            if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
            if (result && !keepsBlanks) return true;
            isSpecial = !result;
        }
    }
    if (isSpecial) {
        document.reset();
        if (!Builder(document, encoding).Read(bytes, failure)) return document.reset(), false;
    }
    DropAllBlanks(document.document_element());
    return true;
}

}  // namespace KxN::detail
