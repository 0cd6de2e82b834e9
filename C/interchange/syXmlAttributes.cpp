// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Attributes of the current node. Their number comes from a file: beyond a few of them names are looked up in an index.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/interchange/syXmlParser.h"
#include "interchange/syXmlDocument.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace KxN {

using namespace detail;

namespace {

KxString Wide(char const* utf8) {
    return KxString(KxxWidenUtf8(utf8));
}

}  // namespace

namespace detail {

bool XmlAttributes::HasIndex(pugi::xml_node node) {
    constexpr int few = 16;  // comparing so many takes no longer than looking up one
    if (!m_all.empty()) return true;
    pugi::xml_attribute attribute = node.first_attribute();
    for (int place = 0; attribute && place < few; ++place) attribute = attribute.next_attribute();
    if (!attribute) return false;
    try {
        for (pugi::xml_attribute const one : node.attributes()) Append(one);
    } catch (std::bad_alloc const&) {  // half of them would be none
        m_all.clear();
        m_numbers.clear();
        throw;
    }
    return true;
}

std::deque<XmlAttributes::Entry>::const_iterator XmlAttributes::EntryOf(int number) const {
    return std::ranges::lower_bound(m_all, number, {}, &Entry::number);
}

int XmlAttributes::Find(pugi::xml_node node, std::string_view name) {
    if (HasIndex(node)) {
        auto const found = m_numbers.find(name);
        return found == m_numbers.end() ? none : found->second;
    }
    int place = 0;
    for (pugi::xml_attribute const one : node.attributes()) {
        if (one.name() == name) return place;
        ++place;
    }
    return none;
}

int XmlAttributes::At(pugi::xml_node node, int place) {
    if (place < 0) return none;
    auto const at = static_cast<std::size_t>(place);
    if (HasIndex(node)) return at < m_all.size() ? m_all[at].number : none;
    return at < Count(node) ? place : none;
}

std::size_t XmlAttributes::Count(pugi::xml_node node) const {
    auto const attributes = node.attributes();
    return m_all.empty() ? static_cast<std::size_t>(std::distance(attributes.begin(), attributes.end())) : m_all.size();
}

pugi::xml_attribute XmlAttributes::Of(pugi::xml_node node, int number) const {
    return m_all.empty() ? *std::next(node.attributes().begin(), number) : EntryOf(number)->attribute;
}

KxString const& XmlAttributes::NameOf(pugi::xml_node node, int number) {
    auto const known = m_names.find(number);
    return known != m_names.end() ? known->second
                                  : m_names.emplace(number, Wide(Of(node, number).name())).first->second;
}

CComVariant const& XmlAttributes::ValueOf(pugi::xml_node node, int number) {
    auto const known = m_values.find(number);
    return known != m_values.end()
               ? known->second
               : m_values.emplace(number, CComVariant(Wide(Of(node, number).value()))).first->second;
}

void XmlAttributes::Append(pugi::xml_attribute attribute) {
    int const number = m_all.empty() ? 0 : m_all.back().number + 1;
    m_all.push_back({number, attribute});
    m_numbers.emplace(attribute.name(), number);
}

int XmlAttributes::Added(pugi::xml_attribute attribute, int kept) {
    if (m_all.empty()) return kept;
    try {
        Append(attribute);
    } catch (std::bad_alloc const&) {
        if (kept != none) kept = static_cast<int>(EntryOf(kept) - m_all.begin());
        Forget();
    }
    return kept;
}

void XmlAttributes::Remove(pugi::xml_node node, int number) {
    pugi::xml_attribute const attribute = Of(node, number);
    if (m_all.empty()) {  // those behind it get other numbers
        Forget();
    } else {
        m_numbers.erase(attribute.name());
        m_all.erase(EntryOf(number));
        m_names.erase(number);
        m_values.erase(number);
    }
    node.remove_attribute(attribute);
}

void XmlAttributes::Forget() noexcept {
    m_all.clear();
    m_numbers.clear();
    m_names.clear();
    m_values.clear();
}

}  // namespace detail

long long XML_PARSER::Get_Attribute_Count() {
    return static_cast<long long>(m_document->attributes.Count(m_document->current));
}

KxString const& XML_PARSER::Get_Attribute_Name(int index) {
    static KxString const noName;
    pugi::xml_node const node = m_document->current;
    XmlAttributes& attributes = m_document->attributes;
    int const number = attributes.At(node, index);
    if (number != XmlAttributes::none) return attributes.NameOf(node, number);
    Fail(L"XML_PARSER::Get_Attribute_Name(int) failed");
    return noName;
}

namespace {
CComVariant const g_noValue;
}

CComVariant const& XML_PARSER::Get_Attribute_Value(int index) {
    pugi::xml_node const node = m_document->current;
    XmlAttributes& attributes = m_document->attributes;
    int const number = attributes.At(node, index);
    if (number != XmlAttributes::none) return attributes.ValueOf(node, number);
    Fail(L"XML_PARSER::Get_Attribute_Value(int) failed");
    return g_noValue;
}

int XML_PARSER::Is_Having_Attribute(wchar_t const* name) {
    int const number = m_document->attributes.Find(m_document->current, KxxToUtf8(GivenText(name)));
    if (number == XmlAttributes::none)
        return Fail(L"XML_PARSER::Is_Having_Attribute(LPCTSTR)   : There is no such attribute");
    m_chosenAttribute = number;
    return 1;
}

CComVariant const& XML_PARSER::Get_Attribute_Value() {
    if (m_chosenAttribute != XmlAttributes::none)
        return m_document->attributes.ValueOf(m_document->current, m_chosenAttribute);
    Fail(L"XML_PARSER::Get_Attribute_Value()  : Can't Retrieve an Attribute");
    return g_noValue;
}

int XML_PARSER::Set_Attribute(wchar_t const* name, wchar_t const* value) {
    pugi::xml_node const node = m_document->current;
    if (node.type() != pugi::node_element || !IsXmlName(GivenText(name)) || !IsXmlText(GivenText(value)))
        return Fail(L"XML_PARSER::Set_Attribute(LPCTSTR, LPCTSTR)   : Can't set this attribute");
    std::string const key = KxxToUtf8(GivenText(name)), text = KxxToUtf8(GivenText(value));
    XmlAttributes& attributes = m_document->attributes;
    int const number = attributes.Find(node, key);
    bool const isNew = number == XmlAttributes::none;
    if (isNew && attributes.Count(node) >= KxxLimits().xmlAttributes)
        return Fail(L"XML_PARSER::Set_Attribute(LPCTSTR, LPCTSTR)   : too many attributes");
    if (!(isNew ? AppendXmlAttribute(node, key.c_str(), text.c_str())
                : attributes.Of(node, number).set_value(text.c_str())))
        throw std::bad_alloc();
    if (isNew)
        m_chosenAttribute = attributes.Added(node.last_attribute(), m_chosenAttribute);
    else
        attributes.Changed(number);
    return 1;
}

int XML_PARSER::Remove_Attribute(wchar_t const* name) {
    pugi::xml_node const node = m_document->current;
    if (!node) return Fail(L"XML_PARSER::Remove_Attribute(LPCTSTR)   : Can't remove attribute on a NULL Node");
    int const number = m_document->attributes.Find(node, KxxToUtf8(GivenText(name)));
    if (number == XmlAttributes::none)
        return Fail(L"XML_PARSER::Remove_Attribute(LPCTSTR)   : There is no such attribute");
    m_document->attributes.Remove(node, number);
    m_chosenAttribute = XmlAttributes::none;
    return 1;
}

}  // namespace KxN
