// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// One library checks every rule of the standard and hands out events; they build the tree of the other one.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <limits>
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

class Reader {
public:
    Reader(pugi::xml_document& document, char const* encoding)
        : m_parser(::XML_ParserCreate(encoding)), m_node(document) {
        if (!m_parser) throw std::bad_alloc();
        XML_Parser const parser = m_parser.get();
        ::XML_SetUserData(parser, this);
        ::XML_SetElementHandler(parser, &Start, &End);
        ::XML_SetCharacterDataHandler(parser, &Text);
        ::XML_SetCdataSectionHandler(parser, &StartCData, &EndCData);
        ::XML_SetCommentHandler(parser, &Comment);
        ::XML_SetProcessingInstructionHandler(parser, &Instruction);
        ::XML_SetXmlDeclHandler(parser, &Declaration);
        ::XML_SetStartDoctypeDeclHandler(parser, &DocType);
        ::XML_SetUnknownEncodingHandler(parser, &UnknownEncoding, nullptr);
    }

    bool Read(std::string_view bytes, KxString& failure) {
        XML_Parser const parser = m_parser.get();
        constexpr std::size_t most = 1U << 30;
        XML_Status status = XML_STATUS_OK;
        do {
            std::string_view const part = bytes.substr(0, most);
            bytes.remove_prefix(part.size());
            status = ::XML_Parse(parser, part.data(), static_cast<int>(part.size()), bytes.empty());
        } while (status == XML_STATUS_OK && !bytes.empty());
        if (m_isPoor || ::XML_GetErrorCode(parser) == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
        if (status == XML_STATUS_OK) return true;
        char const* const reason = m_refusal ? m_refusal : ::XML_ErrorString(::XML_GetErrorCode(parser));
        failure.SPrintf(L"line %llu, column %llu: %s", static_cast<ULONGLONG>(::XML_GetCurrentLineNumber(parser)),
                        static_cast<ULONGLONG>(::XML_GetCurrentColumnNumber(parser)) + 1, KxString(reason));
        return false;
    }

private:
    // A parser that was stopped may still call.
    static Reader& Of(void* user) { return *static_cast<Reader*>(user); }

    void Refuse(char const* why) {
        if (!m_refusal) m_refusal = why;
        ::XML_StopParser(m_parser.get(), XML_FALSE);
    }
    pugi::xml_node Append(pugi::xml_node_type type) {
        pugi::xml_node node = m_node.append_child(type);
        if (!node) m_isPoor = true, Refuse("memory");
        return node;
    }
    void Check(bool isDone) {
        if (!isDone) m_isPoor = true, Refuse("memory");
    }

    /// Ends a run of text, which comes in pieces.
    void Flush() {
        if (m_text.empty()) return;
        if (m_node.type() == pugi::node_element) {
            Check(Append(pugi::node_pcdata).set_value(m_text.c_str()));
            if (!IsBlank(m_text)) m_hasContent = true;
        }
        m_text.clear();
    }

    static void Start(void* user, XML_Char const* name, XML_Char const** attributes) {
        Reader& reader = Of(user);
        if (reader.m_refusal) return;
        reader.Flush();
        if (++reader.m_depth > KxxLimits().nestingDepth) return reader.Refuse("nested too deep");
        pugi::xml_node node = reader.Append(pugi::node_element);
        reader.Check(node.set_name(name));
        std::size_t count = 0;
        for (; *attributes; attributes += 2) {
            if (++count > KxxLimits().xmlAttributes) return reader.Refuse("too many attributes");
            pugi::xml_attribute attribute = node.append_attribute(attributes[0]);
            reader.Check(attribute.set_value(attributes[1]));
        }
        // What is known of the element outside stands in its own tree while this one is read.
        reader.m_contents.push_back(reader.m_hasContent);
        reader.m_hasContent = false;
        reader.m_node = node;
    }
    static void End(void* user, XML_Char const*) {
        Reader& reader = Of(user);
        if (reader.m_refusal) return;
        reader.Flush();
        if (!reader.m_hasContent) reader.DropBlanks();
        reader.m_hasContent = reader.m_contents.back();
        reader.m_contents.pop_back();
        reader.m_node = reader.m_node.parent();
        --reader.m_depth;
    }
    /// Blank text between elements; alone in an element it is a value.
    void DropBlanks() {
        pugi::xml_node const first = m_node.first_child();
        if (!first || !first.next_sibling()) return;
        for (pugi::xml_node child = first; child;) {
            pugi::xml_node const next = child.next_sibling();
            if (child.type() == pugi::node_pcdata) m_node.remove_child(child);
            child = next;
        }
    }

    static void Text(void* user, XML_Char const* text, int length) {
        Reader& reader = Of(user);
        if (reader.m_refusal) return;
        try {
            reader.m_text.append(text, static_cast<std::size_t>(length));
        } catch (std::bad_alloc const&) {
            reader.Check(false);
        }
    }
    static void StartCData(void* user) {
        if (!Of(user).m_refusal) Of(user).Flush();
    }
    static void EndCData(void* user) {
        Reader& reader = Of(user);
        if (reader.m_refusal) return;
        reader.Check(reader.Append(pugi::node_cdata).set_value(reader.m_text.c_str()));
        reader.m_text.clear();
        reader.m_hasContent = true;
    }
    static void Comment(void* user, XML_Char const* text) {
        if (Of(user).m_refusal) return;
        Of(user).Flush();
        Of(user).Check(Of(user).Append(pugi::node_comment).set_value(text));
    }
    static void Instruction(void* user, XML_Char const* target, XML_Char const* data) {
        if (Of(user).m_refusal) return;
        Of(user).Flush();
        pugi::xml_node node = Of(user).Append(pugi::node_pi);
        Of(user).Check(node.set_name(target) && node.set_value(data));
    }
    static void Declaration(void* user, XML_Char const* version, XML_Char const* encoding, int standalone) {
        if (!version || Of(user).m_refusal) return;
        pugi::xml_node node = Of(user).Append(pugi::node_declaration);
        Of(user).Check(node.set_name("xml") && node.append_attribute("version").set_value(version));
        if (encoding) Of(user).Check(node.append_attribute("encoding").set_value(encoding));
        if (standalone >= 0) Of(user).Check(node.append_attribute("standalone").set_value(standalone ? "yes" : "no"));
    }
    static void DocType(void* user, XML_Char const*, XML_Char const*, XML_Char const*, int) {
        Of(user).Refuse("a document type declaration is not allowed");
    }
    static int UnknownEncoding(void*, XML_Char const* name, XML_Encoding* info) {
        KxString const upper = KxString(name).Upper();
        if (!(upper == L"WINDOWS-1252") && !(upper == L"CP1252")) return XML_STATUS_ERROR;
        for (int i = 0; i < 256; ++i) {
            char const byte = static_cast<char>(i);
            std::wstring const wide = KxxWidenNarrow(std::string_view(&byte, 1), 1252);
            info->map[i] = wide.size() == 1 ? static_cast<int>(wide[0]) : -1;
        }
        info->data = nullptr;
        info->convert = nullptr;
        info->release = nullptr;
        return XML_STATUS_OK;
    }

    std::unique_ptr<XML_ParserStruct, ParserFree> m_parser;
    pugi::xml_node m_node;
    std::string m_text;
    std::vector<bool> m_contents;
    bool m_hasContent = false;  // the element holds text that is not blank
    int m_depth = 0;
    char const* m_refusal = nullptr;
    bool m_isPoor = false;
};

}  // namespace

bool ReadXml(pugi::xml_document& document, std::string_view bytes, char const* encoding, KxString& failure) {
    if (Reader(document, encoding).Read(bytes, failure)) return true;
    document.reset();
    return false;
}

}  // namespace KxN::detail
