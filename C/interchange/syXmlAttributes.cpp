// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Attributes of the current node. Their number comes from a file: beyond a few of them names are looked up in an index.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/interchange/syXmlParser.h"
#include "interchange/syXmlDocument.h"

#include <iterator>
#include <new>
#include <utility>

namespace KxN {

using namespace detail;

namespace {

KxString Wide(char const* utf8) {
    return KxString(KxxWidenUtf8(utf8));
}

}  // namespace

namespace detail {

int XmlAttributes::PlaceOf(pugi::xml_node node, std::string_view name) {
    constexpr int few = 16;  // comparing so many takes no longer than looking up one
    if (m_all.empty()) {
        int place = 0;
        pugi::xml_attribute attribute = node.first_attribute();
        for (; attribute && place < few; attribute = attribute.next_attribute(), ++place)
            if (attribute.name() == name) return place;
        if (!attribute) return -1;
        try {
            for (pugi::xml_attribute const one : node.attributes()) Append(one);
        } catch (std::bad_alloc const&) {
            Forget();  // half of them would be none
            throw;
        }
    }
    auto const found = m_places.find(name);
    return found == m_places.end() ? -1 : found->second;
}

std::size_t XmlAttributes::Count(pugi::xml_node node) const {
    auto const attributes = node.attributes();
    return m_all.empty() ? static_cast<std::size_t>(std::distance(attributes.begin(), attributes.end())) : m_all.size();
}

pugi::xml_attribute XmlAttributes::At(pugi::xml_node node, int place) const {
    if (!m_all.empty()) return m_all[static_cast<std::size_t>(place)];
    return *std::next(node.attributes().begin(), place);
}

void XmlAttributes::Append(pugi::xml_attribute attribute) {
    auto const place = static_cast<int>(m_all.size());
    m_all.push_back(attribute);
    m_places.emplace(attribute.name(), place);
}

}  // namespace detail

void XML_PARSER::GrabAttributes() const {
    if (m_hasAttributes) return;
    m_attributeNames.clear();
    m_attributeValues.clear();
    for (pugi::xml_attribute const attribute : m_document->current.attributes()) {
        m_attributeNames.push_back(Wide(attribute.name()));
        m_attributeValues.emplace_back(Wide(attribute.value()));
    }
    m_hasAttributes = true;
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
    int const place = name ? m_document->attributes.PlaceOf(m_document->current, KxxToUtf8(name)) : -1;
    if (place < 0) return Fail(L"XML_PARSER::Is_Having_Attribute(LPCTSTR)   : There is no such attribute");
    m_attributeIndex = place;
    return 1;
}

CComVariant const& XML_PARSER::Get_Attribute_Value() {
    if (m_attributeIndex >= 0) return Get_Attribute_Value(m_attributeIndex);
    Fail(L"XML_PARSER::Get_Attribute_Value()  : Can't Retrieve an Attribute");
    return g_noValue;
}

int XML_PARSER::Set_Attribute(wchar_t const* name, wchar_t const* value) {
    pugi::xml_node const node = m_document->current;
    if (node.type() != pugi::node_element || !IsXmlName(name) || !IsXmlText(value))
        return Fail(L"XML_PARSER::Set_Attribute(LPCTSTR, LPCTSTR)   : Can't set this attribute");
    std::string const key = KxxToUtf8(name), text = KxxToUtf8(value);
    XmlAttributes& attributes = m_document->attributes;
    int const place = attributes.PlaceOf(node, key);
    if (place < 0 && attributes.Count(node) >= KxxLimits().xmlAttributes)
        return Fail(L"XML_PARSER::Set_Attribute(LPCTSTR, LPCTSTR)   : too many attributes");
    bool const wasGrabbed = std::exchange(m_hasAttributes, false);
    if (!(place < 0 ? AppendXmlAttribute(node, key.c_str(), text.c_str())
                    : attributes.At(node, place).set_value(text.c_str())))
        throw std::bad_alloc();
    try {  // what follows can be made again from the document
        if (place < 0) attributes.Added(node.last_attribute());
        if (!wasGrabbed) return 1;
        if (place < 0) {
            m_attributeNames.push_back(Wide(key.c_str()));
            m_attributeValues.emplace_back(Wide(text.c_str()));
        } else {
            m_attributeValues[static_cast<std::size_t>(place)] = CComVariant(Wide(text.c_str()));
        }
        m_hasAttributes = true;
    } catch (std::bad_alloc const&) {
        attributes.Forget();
    }
    return 1;
}

int XML_PARSER::Remove_Attribute(wchar_t const* name) {
    if (!m_document->current)
        return Fail(L"XML_PARSER::Remove_Attribute(LPCTSTR)   : Can't remove attribute on a NULL Node");
    if (!m_document->current.remove_attribute(KxxToUtf8(name).c_str()))
        return Fail(L"XML_PARSER::Remove_Attribute(LPCTSTR)   : There is no such attribute");
    m_document->attributes.Forget();
    m_hasAttributes = false;
    m_attributeIndex = -1;
    return 1;
}

}  // namespace KxN
