// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/interchange/syXmlParser.h"

#include "base/syCaught.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syFile.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syObject.h"
#include "hbtools/base/sySafeFile.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <new>
#include <typeinfo>
#include <utility>
#include <vector>

namespace KxN {

using namespace detail;
using namespace std::string_literals;

namespace {

KxString Wide(char const* utf8) {
    return KxString(KxxWidenUtf8(utf8));
}

/// Whether the cursor may stand on a node. At the top of the document, that is the root alone.
bool IsSeen(pugi::xml_node_type type) {
    return type == pugi::node_element || type == pugi::node_pcdata || type == pugi::node_cdata;
}

/// What the cursor calls a node that it may stand on.
std::string_view NameOf(pugi::xml_node node) {
    pugi::xml_node_type const type = node.type();
    return type == pugi::node_pcdata ? "#TEXT#" : type == pugi::node_cdata ? "#CDATA#" : node.name();
}

constexpr auto forward = [](pugi::xml_node node) { return node.next_sibling(); };
constexpr auto backward = [](pugi::xml_node node) { return node.previous_sibling(); };
constexpr auto upward = [](pugi::xml_node node) { return node.parent(); };

/// Goes on to the first node that the cursor may stand on and, if a name is given, has it. False if there is none. Each call
/// into the library counts: most of a walk is this.
template <class Step>
bool IsFound(pugi::xml_node& node, Step step) {
    for (;; node = step(node)) {
        pugi::xml_node_type const type = node.type();
        if (IsSeen(type)) return true;
        if (type == pugi::node_null) return false;
    }
}
template <class Step>
bool IsFound(pugi::xml_node& node, Step step, wchar_t const* name) {
    for (std::string const wanted = KxxToUtf8(GivenText(name)); IsFound(node, step); node = step(node))
        if (NameOf(node) == wanted) return true;
    return false;
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

}  // namespace

XML_PARSER::XML_PARSER() : m_lastError(L"Success") {
    Init_MSXML();
}

XML_PARSER::~XML_PARSER() = default;

void XML_PARSER::Parse_XML_Document() {}

int XML_PARSER::Fail(wchar_t const* text) {
    m_failure = text;
    return 0;
}

KxString const& XML_PARSER::Get_LastError() const {
    if (m_failure) m_lastError = m_failure;
    m_failure = nullptr;
    return m_lastError;
}

// ---- the document ----

int XML_PARSER::Init_MSXML() {
    m_document = std::make_unique<SDocument>();
    return 1;
}

void XML_PARSER::Reset_XML_Document() {
    m_document->tree.reset();
    m_text = m_documentText = m_loadFailure = KxString();
    SetCurrent({});
}

int XML_PARSER::Load(std::string const& bytes, char const* encoding) {
    try {
        if (!ReadXml(m_document->tree, bytes, encoding, m_loadFailure)) return Fail(L"XML Document FAILED to load");
        Parse_Objects();
        return 1;
    } catch (...) {
        Reset_XML_Document();
        throw;
    }
}

int XML_PARSER::Load_XML_Document(wchar_t const* path) {
    KxString const name(path);  // which may be a text of ours
    Reset_XML_Document();
    std::string bytes;
    try {
        CFile file(name, CFile::modeRead);
        ULONGLONG const size = file.GetLength();
        if (size > KxxLimits().textFileBytes) {
            m_loadFailure = L"the file is too large";
            return Fail(L"XML Document FAILED to load");
        }
        bytes.resize(static_cast<std::size_t>(size));
        std::size_t got = 0;
        constexpr std::size_t most = 1U << 30;
        while (UINT const part = file.Read(bytes.data() + got, static_cast<UINT>(std::min(bytes.size() - got, most))))
            got += part;
        bytes.resize(got);
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        m_loadFailure = detail::TakeText(exception);
        return Fail(L"XML Document FAILED to load");
    }
    return Load(bytes, nullptr);
}

void XML_PARSER::Load_XML_From_Buffer(wchar_t const* text) {
    KxString const kept(text);
    Reset_XML_Document();
    m_documentText = kept;
    std::wstring_view const whole = kept.View();
    auto const bad = std::find_if(whole.begin(), whole.end(), [](wchar_t c) {
        auto const code = static_cast<std::uint32_t>(c);
        return (code >= 0xd800 && code < 0xe000) || code > 0x10ffff;
    });
    if (bad == whole.end()) {
        Load(KxxToUtf8(whole), "UTF-8");
        return;
    }
    std::wstring_view const before(whole.begin(), bad);
    m_loadFailure.SPrintf(L"line %llu, column %llu: no character",
                          static_cast<ULONGLONG>(std::count(before.begin(), before.end(), L'\n')) + 1,
                          static_cast<ULONGLONG>(before.size() - (before.rfind(L'\n') + 1)) + 1);
    Fail(L"XML Document FAILED to load");
}

/// Shows each node to the hook, depth first. No recursion: documents may be deep.
void XML_PARSER::Parse_Objects() {
    pugi::xml_node const root = m_document->tree.document_element();
    bool const hasHook = typeid(*this) != typeid(XML_PARSER);
    for (pugi::xml_node node = hasHook ? root : pugi::xml_node(); node;) {
        if (IsSeen(node.type())) {
            SetCurrent(node);
            Parse_XML_Document();
        }
        if (pugi::xml_node const child = node.first_child()) {
            node = child;
            continue;
        }
        while (node != root && !node.next_sibling()) node = node.parent();
        node = node == root ? pugi::xml_node() : node.next_sibling();
    }
    SetCurrent(root);
}

int XML_PARSER::Save_XML_Document(wchar_t const* path) {
    if (!m_document->tree.document_element()) return Fail(L"XML_PARSER::Save_XML_Document() : There is no node");
    try {
        KxString failure;
        std::string bytes;
        if (WriteXml(m_document->tree, bytes, failure)) {
            KxxSaveFile(path, bytes);
            return 1;
        }
        m_failure = nullptr;
        m_lastError = L"XML_PARSER::Save_XML_Document() : " + failure;
        return 0;
    } catch (CException* exception) {
        if (exception->EndsThread()) throw;
        m_failure = nullptr;
        m_lastError = detail::TakeText(exception);
        return 0;
    }
}

int XML_PARSER::Get_XML_Document(KxString& text) {
    KxString const whole = Wide(TextOfXml(m_document->tree).c_str());
    text = m_documentText = whole;
    return 1;
}

int XML_PARSER::Get_XML(KxString& text) {
    if (!m_document->current) return Fail(L"XML_PARSER::Get_XML() : There is no node");
    text = Wide(TextOfXml(m_document->current).c_str());
    return 1;
}

// ---- the cursor ----

void XML_PARSER::SetCurrent(pugi::xml_node node) {
    m_document->current = node;
    m_document->attributes.Forget();
    m_isGrabbed = m_hasChain = false;
    m_chosenAttribute = XmlAttributes::none;
}

/// Not the chain, which is as long as the document is deep: most callers ask for the name alone.
void XML_PARSER::Grab_Node_Informations() const {
    if (m_isGrabbed) return;
    pugi::xml_node const node = m_document->current;
    m_name = node ? KxString(KxxWidenUtf8(NameOf(node))) : KxString();
    m_tag = node ? KxString(L"<" + std::wstring(m_name.View()) + L">") : KxString();
    m_isGrabbed = true;
}

/// The tags from the root down to the parent, or as many of the last ones as make up that many bytes.
std::string XML_PARSER::ChainOf(pugi::xml_node node, std::size_t atLeast) {
    std::vector<std::string_view> names;
    for (std::size_t size = 0; size < atLeast && (node = node.parent()).type() == pugi::node_element;) {
        names.emplace_back(node.name());
        size += names.back().size() + 2;
    }
    std::string chain;
    for (; !names.empty(); names.pop_back()) ((chain += '<') += names.back()) += '>';
    return chain;
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
    if (!m_hasChain) m_chain = Wide(ChainOf(m_document->current, std::string::npos).c_str());
    m_hasChain = true;
    return m_chain;
}

int XML_PARSER::MoveTo(pugi::xml_node node) {
    SetCurrent(node);
    return 1;
}

int XML_PARSER::NotMoved() {
    return Fail(L"XML_PARSER : There is no such node");
}

int XML_PARSER::Go_to_Root() {
    pugi::xml_node const root = m_document->tree.document_element();
    return root ? MoveTo(root) : NotMoved();
}

int XML_PARSER::Go_to_Child() {
    pugi::xml_node node = m_document->current.first_child();
    return IsFound(node, forward) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_to_Child(wchar_t const* name) {
    pugi::xml_node node = m_document->current.first_child();
    return IsFound(node, forward, name) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_to_Parent() {
    pugi::xml_node node = m_document->current.parent();
    return IsFound(node, upward) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_to_Parent(wchar_t const* name) {
    pugi::xml_node node = m_document->current.parent();
    return IsFound(node, upward, name) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_Forward() {
    pugi::xml_node node = m_document->current.next_sibling();
    return IsFound(node, forward) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_Forward(wchar_t const* name) {
    pugi::xml_node node = m_document->current.next_sibling();
    return IsFound(node, forward, name) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_Backward() {
    pugi::xml_node node = m_document->current.previous_sibling();
    return IsFound(node, backward) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_Backward(wchar_t const* name) {
    pugi::xml_node node = m_document->current.previous_sibling();
    return IsFound(node, backward, name) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_to_FirstSibling(wchar_t const* name) {
    pugi::xml_node node = m_document->current.parent().first_child();
    return IsFound(node, forward, name) ? MoveTo(node) : NotMoved();
}

int XML_PARSER::Go_to_Descendant(wchar_t const* name) {
    std::string const wanted = KxxToUtf8(GivenText(name));
    pugi::xml_node const found = m_document->current.find_node(
        [&](pugi::xml_node node) { return IsSeen(node.type()) && NameOf(node) == wanted; });
    return found ? MoveTo(found) : NotMoved();
}

// ---- what it stands on ----

KxString const& XML_PARSER::Get_TextValue() {
    if (!m_document->current) {
        m_text = KxString();
        Fail(L"XML_PARSER::Get_TextValue() Can't set text on NULL node");
    } else {
        std::string text;
        AppendText(m_document->current, text);
        m_text = Wide(text.c_str());
    }
    return m_text;
}

int XML_PARSER::Is_Tag(wchar_t const* tag) const {
    return Get_CurrentTag() == tag;
}

int XML_PARSER::Is_Child_of(wchar_t const* chain) const {
    std::string const wanted = KxxToUtf8(GivenText(chain));
    return !wanted.empty() && ChainOf(m_document->current, wanted.size()).ends_with(wanted);
}

int XML_PARSER::Is_Root() const {
    pugi::xml_node const node = m_document->current;
    return node.type() == pugi::node_element && node.parent().type() == pugi::node_document;
}

int XML_PARSER::Is_TextNode() const {
    return Is_Tag(L"<#TEXT#>");
}

int XML_PARSER::Is_CDataSection() const {
    return Is_Tag(L"<#CDATA#>");
}

int XML_PARSER::HasChildren() const {
    pugi::xml_node node = m_document->current.first_child();
    return IsFound(node, forward);
}

// ---- changes ----

int XML_PARSER::Add(wchar_t const* content, bool isCData, Place place, wchar_t const* failureAtRoot) {
    pugi::xml_node const at = m_document->current;
    bool const isInside = place == Place::firstChild || place == Place::lastChild;
    std::wstring_view const given = GivenText(content);
    if (isCData ? !IsXmlText(given) : !IsXmlName(given))
        return Fail(isCData ? L"XML_PARSER : The text holds a character that XML does not have"
                            : L"XML_PARSER : The name is none that XML has");
    if (!isInside && Is_Root()) return Fail(failureAtRoot);
    if (isInside && at && at.type() != pugi::node_element) return Fail(L"XML_PARSER : Only an element has children");
    if (!at && (isCData || !isInside || m_document->tree.document_element()))
        return Fail(L"XML_PARSER : There is no node");
    if (DepthOf(at) + isInside > KxxLimits().nestingDepth) return Fail(L"XML_PARSER : nested too deep");
    std::string const text = KxxToUtf8(given);  // before anything changes
    pugi::xml_node_type const type = isCData ? pugi::node_cdata : pugi::node_element;
    pugi::xml_node into = at ? isInside ? at : at.parent() : pugi::xml_node(m_document->tree);
    pugi::xml_node made;
    switch (place) {
        case Place::firstChild: made = at ? into.prepend_child(type) : into.append_child(type); break;
        case Place::lastChild: made = into.append_child(type); break;
        case Place::before: made = into.insert_child_before(type, at); break;
        case Place::after: made = into.insert_child_after(type, at); break;
    }
    if (!made || !(isCData ? made.set_value(text.c_str()) : made.set_name(text.c_str()))) {
        if (made) into.remove_child(made);
        throw std::bad_alloc();
    }
    return MoveTo(made);
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

int XML_PARSER::Set_TextValue(wchar_t const* text) {
    pugi::xml_node node = m_document->current;
    if (!node) return Fail(L"XML_PARSER::Set_TextValue(LPCTSTR)   : Can't set a Text on a NULL Node");
    std::wstring_view const given = GivenText(text);
    if (!IsXmlText(given))
        return Fail(L"XML_PARSER::Set_TextValue(LPCTSTR)   : The text holds a character that XML does not have");
    std::string const utf8 = KxxToUtf8(given);
    pugi::xml_node into = node;
    if (node.type() == pugi::node_element) {
        into = utf8.empty() ? pugi::xml_node() : node.append_child(pugi::node_pcdata);
        if (!utf8.empty() && !into.set_value(utf8.c_str())) {
            node.remove_child(into);
            throw std::bad_alloc();
        }
        while (node.first_child() != into) node.remove_child(node.first_child());
    } else if (!node.set_value(utf8.c_str())) {
        throw std::bad_alloc();
    }
    return 1;
}

int XML_PARSER::Remove() {
    if (!m_document->current) return Fail(L"XML_PARSER::Remove() : There is no node");
    pugi::xml_node const node = m_document->current;
    pugi::xml_node above = node.parent();
    if (above.type() == pugi::node_element)
        SetCurrent(above);
    else
        SetCurrent({});
    above.remove_child(node);
    return 1;
}

int XML_PARSER::RemoveChild(wchar_t const* name) {
    pugi::xml_node child = m_document->current.first_child();
    if (!IsFound(child, forward, name)) return Fail(L"XML_PARSER::RemoveChild(LPCTSTR) : There is no such child");
    return m_document->current.remove_child(child);
}

}  // namespace KxN
