// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syXmlParser.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/sySafeFile.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <cwchar>
#include <limits>
#include <new>
#include <typeinfo>
#include <utility>

namespace KxN {

using namespace detail;
using namespace std::string_literals;

struct XML_PARSER::SDocument {
    pugi::xml_document tree;
};

namespace {

KxString Wide(char const* utf8) {
    return KxString(KxxWidenUtf8(utf8));
}

/// What the cursor calls a node.
std::string_view NameOf(pugi::xml_node node) {
    switch (node.type()) {
        case pugi::node_pcdata: return "#TEXT#";
        case pugi::node_cdata: return "#CDATA#";
        case pugi::node_comment: return "#comment";
        default: return node.name();
    }
}

bool IsNamed(pugi::xml_node node, std::string const& name) {
    return node.type() == pugi::node_element && name == node.name();
}

void AppendText(pugi::xml_node node, std::string& text) {
    pugi::xml_node const top = node;
    for (;;) {
        if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) text += node.value();
        pugi::xml_node next = node.first_child();
        while (!next && node != top) {
            next = node.next_sibling();
            if (!next) node = node.parent();
        }
        if (!next) return;
        node = next;
    }
}

/// The pairs of an instruction, in their order. False if a quote is missing.
using Pairs = std::vector<std::pair<std::wstring, std::wstring>>;
bool TakeApart(std::wstring_view text, Pairs& pairs) {
    for (;;) {
        std::size_t const begin = text.find_first_not_of(L" \t\r\n");
        if (begin == text.npos) return true;
        std::size_t const equals = text.find(L'=', begin), open = text.find(L'"', begin);
        if (equals == text.npos || open == text.npos || open < equals) return false;
        std::size_t const close = text.find(L'"', open + 1);
        if (close == text.npos) return false;
        std::size_t const end = text.find_last_not_of(L" \t\r\n", equals - 1);
        pairs.emplace_back(text.substr(begin, end + 1 - begin), text.substr(open + 1, close - open - 1));
        text.remove_prefix(close + 1);
    }
}

std::wstring Joined(Pairs const& pairs) {
    std::wstring text;
    for (auto const& [name, value] : pairs) ((text += name) += L"=\"") += value + L"\" ";
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

pugi::xml_node FindInstruction(pugi::xml_document const& tree, wchar_t const* header) {
    std::string const name = KxxToUtf8(header);
    for (pugi::xml_node const node : tree)
        if ((node.type() == pugi::node_pi || node.type() == pugi::node_declaration) && name == node.name()) return node;
    return {};
}

/// Gives an instruction its content. False if it could not stand in a document.
bool Fill(pugi::xml_node node, wchar_t const* header, Pairs const& pairs) {
    std::wstring const text = Joined(pairs);
    if (!IsXmlName(header) || !IsXmlText(text) || text.find(L"?>") != text.npos) return false;
    if (node.type() != pugi::node_declaration)
        return node.set_name(KxxToUtf8(header).c_str()) && node.set_value(KxxToUtf8(text).c_str());
    // What the declaration may hold is decided by who reads it.
    pugi::xml_document probe;
    KxString failure;
    if (!ReadXml(probe, "<?xml " + KxxToUtf8(text) + "?><a/>", "UTF-8", failure)) return false;
    while (node.first_attribute()) node.remove_attribute(node.first_attribute());
    bool isDone = node.set_name("xml");
    for (auto const& [name, value] : pairs)
        isDone = isDone && node.append_attribute(KxxToUtf8(name).c_str()).set_value(KxxToUtf8(value).c_str());
    return isDone;
}

}  // namespace

XML_PARSER::XML_PARSER() : m_lastError(L"Success") {
    Init_MSXML();
}

XML_PARSER::~XML_PARSER() = default;

void XML_PARSER::Parse_XML_Document() {}

int XML_PARSER::Fail(wchar_t const* text) {
    m_lastError = text;
    return 0;
}

// ---- the document ----

int XML_PARSER::Init_MSXML() {
    m_document = std::make_unique<SDocument>();
    return 1;
}

void XML_PARSER::Reset_XML_Document() {
    Init_MSXML();
    m_documentText = m_loadFailure = KxString();
    SetCurrent(nullptr);
}

int XML_PARSER::Load(std::string const& bytes, char const* encoding) {
    if (!ReadXml(m_document->tree, bytes, encoding, m_loadFailure)) return Fail(L"XML Document FAILED to load");
    Parse_Objects();
    return 1;
}

int XML_PARSER::Load_XML_Document(wchar_t const* path) {
    Reset_XML_Document();
    std::string bytes;
    try {
        CFile file(path, CFile::modeRead);
        if (file.GetLength() > std::min<ULONGLONG>(KxxLimits().textFileBytes, std::numeric_limits<UINT>::max())) {
            m_loadFailure = L"the file is too large";
            return Fail(L"XML Document FAILED to load");
        }
        bytes.resize(static_cast<std::size_t>(file.GetLength()));
        bytes.resize(file.Read(bytes.data(), static_cast<UINT>(bytes.size())));
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        m_loadFailure = CException::TextOf(*exception);
        exception->Delete();
        return Fail(L"XML Document FAILED to load");
    }
    return Load(bytes, nullptr);
}

void XML_PARSER::Load_XML_From_Buffer(wchar_t const* text) {
    Reset_XML_Document();
    m_documentText = text;
    Load(KxxToUtf8(text), "UTF-8");
}

/// Shows each node to the hook, depth first. No recursion: documents may be deep.
void XML_PARSER::Parse_Objects() {
    pugi::xml_node const root = m_document->tree.document_element();
    bool const hasHook = typeid(*this) != typeid(XML_PARSER);
    for (pugi::xml_node node = hasHook ? root : pugi::xml_node(); node;) {
        SetCurrent(node.internal_object());
        Parse_XML_Document();
        if (pugi::xml_node const child = node.first_child()) {
            node = child;
            continue;
        }
        while (node != root && !node.next_sibling()) node = node.parent();
        node = node == root ? pugi::xml_node() : node.next_sibling();
    }
    SetCurrent(root.internal_object());
}

int XML_PARSER::Save_XML_Document(wchar_t const* path) {
    if (!m_document->tree.document_element()) return Fail(L"XML_PARSER::Save_XML_Document() : There is no node");
    try {
        KxxSaveFile(path, WriteXml(m_document->tree));
        return 1;
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        m_lastError = CException::TextOf(*exception);
        exception->Delete();
        return 0;
    }
}

int XML_PARSER::Get_XML_Document(KxString& text) {
    m_documentText = Wide(TextOfXml(m_document->tree).c_str());
    text = m_documentText;
    return 1;
}

int XML_PARSER::Get_XML(KxString& text) {
    if (!m_current) return Fail(L"XML_PARSER::Get_XML() : There is no node");
    text = Wide(TextOfXml(pugi::xml_node(m_current)).c_str());
    return 1;
}

int XML_PARSER::Get_Header(wchar_t const* header, wchar_t const* attribute, KxString& value) {
    if (!m_document) return Fail(L"XML_PARSER::Get_Header() : The XML Document is a null pointer");
    pugi::xml_node const node = FindInstruction(m_document->tree, header);
    if (!node) return Fail(L"XML_PARSER::Get_Header() : There is no such processing instruction");
    std::wstring const text = InstructionText(node);
    std::size_t const at = text.find(attribute);
    if (at == text.npos) return Fail(L"XML_PARSER::Get_Header() : There is no such attribute");
    std::size_t const open = text.find(L'"', at), close = open == text.npos ? open : text.find(L'"', open + 1);
    if (close == text.npos) return Fail(L"XML_PARSER::Get_Header() : bad value structure");
    value = KxString(text.substr(open + 1, close - open - 1));
    return 1;
}

int XML_PARSER::Set_Header(wchar_t const* header, wchar_t const* attribute, wchar_t const* value) {
    bool const isDeclaration = std::wcscmp(header, L"xml") == 0;
    pugi::xml_document& tree = m_document->tree;
    pugi::xml_node const old = FindInstruction(tree, header);
    Pairs pairs;
    if (old && !TakeApart(InstructionText(old), pairs)) return Fail(L"XML_PARSER::Set_Header() : bad value structure");
    bool isFound = false;
    for (auto& [name, present] : pairs) {
        if (name != attribute) continue;
        present = value;
        isFound = true;
    }
    if (!isFound) pairs.emplace_back(attribute, value);
    if (isDeclaration) {
        auto const place = [](std::wstring const& name) {
            return name == L"version" ? 0 : name == L"standalone" ? 2 : 1;
        };
        std::stable_sort(pairs.begin(), pairs.end(),
                         [&](auto const& a, auto const& b) { return place(a.first) < place(b.first); });
        if (pairs.front().first != L"version") pairs.emplace(pairs.begin(), L"version", L"1.0");
    }
    bool const isQuoted = std::wstring_view(value).find(L'"') == std::wstring_view::npos;
    pugi::xml_node const root = tree.document_element();
    pugi::xml_node_type const type = isDeclaration ? pugi::node_declaration : pugi::node_pi;
    pugi::xml_node made = old             ? tree.insert_child_before(type, old)
                          : isDeclaration ? tree.prepend_child(type)
                          : root          ? tree.insert_child_before(type, root)
                                          : tree.append_child(type);
    if (!isQuoted || !made || !Fill(made, header, pairs)) {
        if (made) tree.remove_child(made);
        return Fail(old ? L"XML_PARSER::Set_Header() : Can't create the new processing instruction node"
                        : L"PARSER_XML::SetHeader() : Can't create new Processing node");
    }
    if (old.internal_object() == m_current) SetCurrent(made.internal_object());
    if (old) tree.remove_child(old);
    return 1;
}

// ---- the cursor ----

void XML_PARSER::SetCurrent(pugi::xml_node_struct* node) {
    m_current = node;
    m_isGrabbed = m_hasAttributes = false;
    m_attributeIndex = -1;
}

void XML_PARSER::Grab_Node_Informations() const {
    if (m_isGrabbed) return;
    m_isGrabbed = true;
    pugi::xml_node node(m_current);
    m_name = node ? KxString(KxxWidenUtf8(NameOf(node))) : KxString();
    m_tag = node ? KxString(L"<" + std::wstring(m_name.View()) + L">") : KxString();
    std::string chain;
    while ((node = node.parent()).type() == pugi::node_element) chain.insert(0, "<"s + node.name() + ">");
    m_chain = Wide(chain.c_str());
}

void XML_PARSER::GrabAttributes() const {
    if (m_hasAttributes) return;
    m_attributeNames.clear();
    m_attributeValues.clear();
    for (pugi::xml_attribute const attribute : pugi::xml_node(m_current).attributes()) {
        m_attributeNames.push_back(Wide(attribute.name()));
        m_attributeValues.emplace_back(Wide(attribute.value()));
    }
    m_hasAttributes = true;
}

KxString const& XML_PARSER::Get_CurrentTag() const {
    Grab_Node_Informations();
    return m_tag;
}

KxString const& XML_PARSER::Get_CurrentName() const {
    Grab_Node_Informations();
    return m_name;
}

KxString const& XML_PARSER::Get_Chain() const {
    Grab_Node_Informations();
    return m_chain;
}

int XML_PARSER::MoveTo(pugi::xml_node_struct* node) {
    if (!node || pugi::xml_node(node).type() == pugi::node_document) return 0;
    SetCurrent(node);
    return 1;
}

template <class Step>
int XML_PARSER::Search(pugi::xml_node_struct* first, wchar_t const* name, Step step) {
    std::string const wanted = KxxToUtf8(name);
    for (pugi::xml_node node(first); node; node = step(node))
        if (NameOf(node) == wanted) return MoveTo(node.internal_object());
    return 0;
}

namespace {
constexpr auto next = [](pugi::xml_node node) { return node.next_sibling(); };
constexpr auto previous = [](pugi::xml_node node) { return node.previous_sibling(); };
constexpr auto parent = [](pugi::xml_node node) { return node.parent(); };
}  // namespace

int XML_PARSER::Go_to_Root() {
    pugi::xml_node const root = m_document->tree.document_element();
    return MoveTo(root.internal_object());
}

int XML_PARSER::Go_to_Child() {
    return MoveTo(pugi::xml_node(m_current).first_child().internal_object());
}

int XML_PARSER::Go_to_Child(wchar_t const* name) {
    return Search(pugi::xml_node(m_current).first_child().internal_object(), name, next);
}

int XML_PARSER::Go_to_Parent() {
    return MoveTo(pugi::xml_node(m_current).parent().internal_object());
}

int XML_PARSER::Go_to_Parent(wchar_t const* name) {
    return Search(pugi::xml_node(m_current).parent().internal_object(), name, parent);
}

int XML_PARSER::Go_Forward() {
    pugi::xml_node_struct* const following = pugi::xml_node(m_current).next_sibling().internal_object();
    return following && !Is_Root() ? MoveTo(following) : 0;
}

int XML_PARSER::Go_Forward(wchar_t const* name) {
    return Is_Root() ? 0 : Search(pugi::xml_node(m_current).next_sibling().internal_object(), name, next);
}

int XML_PARSER::Go_Backward() {
    return Is_Root() ? 0 : MoveTo(pugi::xml_node(m_current).previous_sibling().internal_object());
}

int XML_PARSER::Go_Backward(wchar_t const* name) {
    return Is_Root() ? 0 : Search(pugi::xml_node(m_current).previous_sibling().internal_object(), name, previous);
}

int XML_PARSER::Go_to_FirstSibling(wchar_t const* name) {
    return Search(pugi::xml_node(m_current).parent().first_child().internal_object(), name, next);
}

int XML_PARSER::Go_to_Descendant(wchar_t const* name) {
    std::string const wanted = KxxToUtf8(name);
    pugi::xml_node const top(m_current);
    pugi::xml_node const found = top.find_node([&](pugi::xml_node node) { return NameOf(node) == wanted; });
    return found ? MoveTo(found.internal_object()) : 0;
}

// ---- what it stands on ----

KxString const& XML_PARSER::Get_TextValue() {
    if (!m_current) {
        Fail(L"XML_PARSER::Get_TextValue() Can't set text on NULL node");
    } else {
        std::string text;
        AppendText(pugi::xml_node(m_current), text);
        m_text = Wide(text.c_str());
    }
    return m_text;
}

int XML_PARSER::Is_Tag(wchar_t const* tag) const {
    return Get_CurrentTag() == tag;
}

int XML_PARSER::Is_Child_of(wchar_t const* chain) const {
    return *chain && Get_Chain().View().ends_with(chain);
}

int XML_PARSER::Is_Root() const {
    pugi::xml_node const node(m_current);
    return node.type() == pugi::node_element && node.parent().type() == pugi::node_document;
}

int XML_PARSER::Is_TextNode() const {
    return Is_Tag(L"<#TEXT#>");
}

int XML_PARSER::Is_CDataSection() const {
    return Is_Tag(L"<#CDATA#>");
}

int XML_PARSER::HasChildren() const {
    return !pugi::xml_node(m_current).first_child().empty();
}

long long XML_PARSER::Get_Attribute_Count() {
    GrabAttributes();
    return static_cast<long long>(m_attributeNames.size());
}

KxString const& XML_PARSER::Get_Attribute_Name(int index) {
    static KxString const none;
    if (index >= 0 && index < Get_Attribute_Count()) return m_attributeNames[static_cast<std::size_t>(index)];
    Fail(L"XML_PARSER::Get_Attribute_Name(int) failed");
    return none;
}

namespace {
CComVariant const g_noValue;
}

CComVariant const& XML_PARSER::Get_Attribute_Value(int index) {
    if (index >= 0 && index < Get_Attribute_Count()) return m_attributeValues[static_cast<std::size_t>(index)];
    Fail(L"XML_PARSER::Get_Attribute_Value(int) failed");
    return g_noValue;
}

int XML_PARSER::Is_Having_Attribute(wchar_t const* name) {
    for (int i = 0; i < Get_Attribute_Count(); ++i) {
        if (!(m_attributeNames[static_cast<std::size_t>(i)] == name)) continue;
        m_attributeIndex = i;
        return 1;
    }
    return 0;
}

CComVariant const& XML_PARSER::Get_Attribute_Value() {
    if (m_attributeIndex >= 0) return Get_Attribute_Value(m_attributeIndex);
    Fail(L"XML_PARSER::Get_Attribute_Value()  : Can't Retrieve an Attribute");
    return g_noValue;
}

// ---- changes ----

int XML_PARSER::Add(wchar_t const* content, bool isCData, Place place, wchar_t const* failureAtRoot) {
    pugi::xml_node const at(m_current);
    bool const isInside = place == Place::firstChild || place == Place::lastChild;
    if (isCData ? !IsXmlText(content) : !IsXmlName(content))
        return Fail(isCData ? L"XML_PARSER : The text holds a character that XML does not have"
                            : L"XML_PARSER : The name is none that XML has");
    if (!isInside && (!at || Is_Root())) return Fail(failureAtRoot);
    if (isInside && at && at.type() != pugi::node_element) return Fail(L"XML_PARSER : Only an element has children");
    if (!at && (isCData || m_document->tree.document_element())) return Fail(L"XML_PARSER : There is no node");
    if (DepthOf(at) + isInside > KxxLimits().nestingDepth) return Fail(L"XML_PARSER : nested too deep");
    pugi::xml_node_type const type = isCData ? pugi::node_cdata : pugi::node_element;
    pugi::xml_node into = at ? isInside ? at : at.parent() : pugi::xml_node(m_document->tree);
    pugi::xml_node made;
    switch (place) {
        case Place::firstChild: made = at ? into.prepend_child(type) : into.append_child(type); break;
        case Place::lastChild: made = into.append_child(type); break;
        case Place::before: made = into.insert_child_before(type, at); break;
        case Place::after: made = into.insert_child_after(type, at); break;
    }
    std::string const text = KxxToUtf8(content);
    if (!made || !(isCData ? made.set_value(text.c_str()) : made.set_name(text.c_str()))) {
        if (made) into.remove_child(made);
        throw std::bad_alloc();
    }
    if (m_current) return MoveTo(made.internal_object());
    return Go_to_Root();
}

int XML_PARSER::Add_FirstChildNode(wchar_t const* name) {
    return Add(name, false, Place::firstChild, L"");
}

int XML_PARSER::Add_LastChildNode(wchar_t const* name) {
    return Add(name, false, Place::lastChild, L"");
}

int XML_PARSER::Add_NodeBefore(wchar_t const* name) {
    return Add(name, false, Place::before,
               L"XML_PARSER::_add_before()   : Can't add node at same level that the root node");
}

int XML_PARSER::Add_NodeAfter(wchar_t const* name) {
    return Add(name, false, Place::after,
               L"XML_PARSER::Add_NodeAfter(LPCTSTR)   : Can't add node at same level that the root node");
}

int XML_PARSER::Add_FirstChildCData(wchar_t const* text) {
    return Add(text, true, Place::firstChild, L"");
}

int XML_PARSER::Add_LastChildCData(wchar_t const* text) {
    return Add(text, true, Place::lastChild, L"");
}

int XML_PARSER::Add_CDataBefore(wchar_t const* text) {
    return Add(text, true, Place::before,
               L"XML_PARSER::_add_before()   : Can't add node at same level that the root node");
}

int XML_PARSER::Add_CDataAfter(wchar_t const* text) {
    return Add(text, true, Place::after,
               L"XML_PARSER::Add_CDataAfter(LPCTSTR)   : Can't add node at same level that the root node");
}

int XML_PARSER::Set_Attribute(wchar_t const* name, wchar_t const* value) {
    pugi::xml_node node(m_current);
    if (node.type() != pugi::node_element || !IsXmlName(name) || !IsXmlText(value))
        return Fail(L"XML_PARSER::Set_Attribute(LPCTSTR, LPCTSTR)   : Can't set this attribute");
    std::string const key = KxxToUtf8(name);
    pugi::xml_attribute attribute = node.attribute(key.c_str());
    if (!attribute) attribute = node.append_attribute(key.c_str());
    if (!attribute.set_value(KxxToUtf8(value).c_str())) throw std::bad_alloc();
    m_hasAttributes = false;
    return 1;
}

int XML_PARSER::Remove_Attribute(wchar_t const* name) {
    if (!m_current) return Fail(L"XML_PARSER::Remove_Attribute(LPCTSTR)   : Can't remove attribute on a NULL Node");
    if (!pugi::xml_node(m_current).remove_attribute(KxxToUtf8(name).c_str()))
        return Fail(L"XML_PARSER::Remove_Attribute(LPCTSTR)   : There is no such attribute");
    m_hasAttributes = false;
    m_attributeIndex = -1;
    return 1;
}

int XML_PARSER::Set_TextValue(wchar_t const* text) {
    pugi::xml_node node(m_current);
    if (!node) return Fail(L"XML_PARSER::Set_TextValue(LPCTSTR)   : Can't set a Text on a NULL Node");
    if (!IsXmlText(text))
        return Fail(L"XML_PARSER::Set_TextValue(LPCTSTR)   : The text holds a character that XML does not have");
    std::string const utf8 = KxxToUtf8(text);
    bool isDone = true;
    if (node.type() == pugi::node_element) {
        node.remove_children();
        if (!utf8.empty()) isDone = node.append_child(pugi::node_pcdata).set_value(utf8.c_str());
    } else {
        isDone = node.set_value(utf8.c_str());
    }
    if (!isDone) throw std::bad_alloc();
    return 1;
}

int XML_PARSER::Remove() {
    if (!m_current) return Fail(L"XML_PARSER::Remove() : There is no node");
    pugi::xml_node const node(m_current);
    pugi::xml_node above = node.parent();
    if (above.type() == pugi::node_element)
        MoveTo(above.internal_object());
    else
        SetCurrent(nullptr);
    above.remove_child(node);
    return 1;
}

int XML_PARSER::RemoveChild(wchar_t const* name) {
    pugi::xml_node node(m_current);
    std::string const wanted = KxxToUtf8(name);
    for (pugi::xml_node const child : node)
        if (IsNamed(child, wanted)) return node.remove_child(child);
    return Fail(L"XML_PARSER::RemoveChild(LPCTSTR) : There is no such child");
}

}  // namespace KxN
