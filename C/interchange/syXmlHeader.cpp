// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The processing instructions at the top of a document, and the declaration, which is one to the callers.
#include "hbtools/base/syEncoding.h"
#include "hbtools/interchange/syXmlParser.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

namespace KxN {

using namespace detail;

namespace {

/// The pairs of an instruction, in their order. False if it holds anything else.
using Pairs = std::vector<std::pair<std::wstring, std::wstring>>;
bool TakeApart(std::wstring_view text, Pairs& pairs) {
    constexpr wchar_t const* blanks = L" \t\r\n";
    for (;;) {
        std::size_t const begin = text.find_first_not_of(blanks);
        if (begin == text.npos) return true;
        std::size_t const equals = text.find(L'=', begin), open = text.find_first_of(L"\"'", begin);
        if (equals == text.npos || open == text.npos || text.find_first_not_of(blanks, equals + 1) != open)
            return false;
        std::size_t const close = text.find(text[open], open + 1);
        if (equals == begin || close == text.npos) return false;
        std::wstring_view const name = text.substr(begin, text.find_last_not_of(blanks, equals - 1) + 1 - begin);
        if (name.find_first_of(blanks) != name.npos) return false;
        pairs.emplace_back(name, text.substr(open + 1, close - open - 1));
        text.remove_prefix(close + 1);
    }
}

std::wstring Joined(Pairs const& pairs) {
    std::wstring text;
    for (auto const& [name, value] : pairs) {
        wchar_t const* const quote = value.find(L'"') == value.npos ? L"\"" : L"'";
        ((((text += name) += L"=") += quote) += value + quote) += L" ";
    }
    return text;
}

/// The text of an instruction, or of the declaration.
std::wstring InstructionText(pugi::xml_node node) {
    if (node.type() != pugi::node_declaration) return KxxWidenUtf8(node.value());
    Pairs pairs;
    for (pugi::xml_attribute const attribute : node.attributes())
        pairs.emplace_back(KxxWidenUtf8(attribute.name()), KxxWidenUtf8(attribute.value()));
    return Joined(pairs);
}

pugi::xml_node FindInstruction(pugi::xml_document const& tree, std::wstring_view header) {
    std::string const name = KxxToUtf8(header);
    for (pugi::xml_node const node : tree)
        if ((node.type() == pugi::node_pi || node.type() == pugi::node_declaration) && name == node.name()) return node;
    return {};
}

/// Gives a new instruction or declaration its content. False if there is no memory.
bool Fill(pugi::xml_node node, std::string const& header, Pairs const& pairs) {
    bool isDone = node.set_name(header.c_str());
    if (node.type() != pugi::node_declaration) return isDone && node.set_value(KxxToUtf8(Joined(pairs)).c_str());
    for (auto const& [name, value] : pairs)
        isDone = isDone && AppendXmlAttribute(node, KxxToUtf8(name).c_str(), KxxToUtf8(value).c_str());
    return isDone;
}

}  // namespace

int XML_PARSER::Get_Header(wchar_t const* header, wchar_t const* attribute, KxString& value) {
    if (!m_document) return Fail(L"XML_PARSER::Get_Header() : The XML Document is a null pointer");
    pugi::xml_node const node = FindInstruction(m_document->tree, GivenText(header));
    if (!node) return Fail(L"XML_PARSER::Get_Header() : There is no such processing instruction");
    std::wstring const text = InstructionText(node);
    std::size_t const at = text.find(GivenText(attribute));
    if (at == text.npos) return Fail(L"XML_PARSER::Get_Header() : There is no such attribute");
    std::size_t const open = text.find_first_of(L"\"'", at);
    std::size_t const close = open == text.npos ? open : text.find(text[open], open + 1);
    if (close == text.npos) return Fail(L"XML_PARSER::Get_Header() : bad value structure");
    value = KxString(text.substr(open + 1, close - open - 1));
    return 1;
}

int XML_PARSER::Set_Header(wchar_t const* header, wchar_t const* attribute, wchar_t const* value) {
    std::wstring_view const target = GivenText(header), key = GivenText(attribute), content = GivenText(value);
    bool const isDeclaration = target == L"xml";
    pugi::xml_document& tree = m_document->tree;
    pugi::xml_node const old = FindInstruction(tree, target);
    Pairs pairs;
    if (old && !TakeApart(InstructionText(old), pairs)) return Fail(L"XML_PARSER::Set_Header() : bad value structure");
    bool isFound = false;
    for (auto& [name, present] : pairs) {
        if (name != key) continue;
        present = content;
        isFound = true;
    }
    if (!isFound) pairs.emplace_back(key, content);
    if (isDeclaration) {
        auto const place = [](std::wstring const& name) {
            return name == L"version" ? 0 : name == L"standalone" ? 2 : 1;
        };
        std::stable_sort(pairs.begin(), pairs.end(),
                         [&](auto const& a, auto const& b) { return place(a.first) < place(b.first); });
        if (pairs.front().first != L"version") pairs.emplace(pairs.begin(), L"version", L"1.0");
    }
    // Who reads it decides what the declaration may not hold, and which targets are reserved.
    std::string const name = KxxToUtf8(target);
    std::wstring const text = Joined(pairs);
    if (!IsXmlName(target) || !IsXmlName(key) || !IsXmlText(text) || content.find_first_of(L"\"\r") != content.npos ||
        text.find(L"?>") != text.npos || !CheckXml("<?" + name + " " + KxxToUtf8(text) + "?><a/>"))
        return Fail(old ? L"XML_PARSER::Set_Header() : Can't create the new processing instruction node"
                        : L"PARSER_XML::SetHeader() : Can't create new Processing node");
    // Nothing stands before the declaration.
    pugi::xml_node const root = tree.document_element(), first = tree.first_child();
    pugi::xml_node_type const type = isDeclaration ? pugi::node_declaration : pugi::node_pi;
    pugi::xml_node made = old                                      ? tree.insert_child_before(type, old)
                          : root && !isDeclaration                 ? tree.insert_child_before(type, root)
                          : first.type() == pugi::node_declaration ? tree.insert_child_after(type, first)
                                                                   : tree.prepend_child(type);
    bool isFilled = false;
    try {
        isFilled = made && Fill(made, name, pairs);
    } catch (...) {
        tree.remove_child(made);
        throw;
    }
    if (!isFilled) {
        if (made) tree.remove_child(made);
        throw std::bad_alloc();
    }
    if (old) tree.remove_child(old);
    return 1;
}

}  // namespace KxN
