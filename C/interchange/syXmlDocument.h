// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Reading documents strictly, and writing what reads strictly again.
#pragma once

#include "hbtools/interchange/syXmlParser.h"

#include <pugixml.hpp>

#include <deque>
#include <map>
#include <string>
#include <string_view>

namespace KxN::detail {

/// The attributes of one node. Each has a number, which stays the same while others come and go; if there are many they
/// stand in an index. A cache: who changes them tells it.
class XmlAttributes {
public:
    static constexpr int none = -1;

    /// The number of the attribute of that name, or of that place among them; none if there is none.
    int Find(pugi::xml_node node, std::string_view name);
    int At(pugi::xml_node node, int place);
    std::size_t Count(pugi::xml_node node) const;
    pugi::xml_attribute Of(pugi::xml_node node, int number) const;
    /// Name and value as they were shown; they stay until the attribute changes.
    KxString const& NameOf(pugi::xml_node node, int number);
    CComVariant const& ValueOf(pugi::xml_node node, int number);
    /// One that came to the node, the last of them. Where there is no memory for its place in the index, that begins anew,
    /// and so do the numbers: the attribute of `kept` has another, which is returned.
    int Added(pugi::xml_attribute attribute, int kept);
    void Changed(int number) { m_values.erase(number); }
    void Remove(pugi::xml_node node, int number);
    void Forget() noexcept;

private:
    struct Entry {
        int number;
        pugi::xml_attribute attribute;
    };

    bool HasIndex(pugi::xml_node node);
    std::deque<Entry>::const_iterator EntryOf(int number) const;
    void Append(pugi::xml_attribute attribute);

    std::deque<Entry> m_all;                    // in order; empty without an index, when numbers are places
    std::map<std::string_view, int> m_numbers;  // no names can be made that are slow in it; they lie in the document
    std::map<int, KxString> m_names;            // by number
    std::map<int, CComVariant> m_values;
};

}  // namespace KxN::detail

namespace KxN {

struct XML_PARSER::SDocument {
    pugi::xml_document tree;
    pugi::xml_node current;            // null in an empty document
    detail::XmlAttributes attributes;  // of the current node
};

}  // namespace KxN

namespace KxN::detail {

/// Reads a document into the tree, which is empty before. `encoding` null: as the bytes say. False if it is not well-formed,
/// goes beyond a limit or has a document type; `failure` tells why and where then.
bool ReadXml(pugi::xml_document& document, std::string_view bytes, char const* encoding, KxString& failure);

/// Whether a document in UTF-8 would be read.
bool CheckXml(std::string_view bytes);
/// False, and nothing has changed, if there is no memory.
bool AppendXmlAttribute(pugi::xml_node node, char const* name, char const* value);

/// The bytes of a file, in the encoding that the document declares. False if that is none that we have; `failure` names it.
bool WriteXml(pugi::xml_document const& document, std::string& bytes, KxString& failure);
/// The text of a node, as UTF-8.
std::string TextOfXml(pugi::xml_node node);

/// A text that a caller gave: null is the empty one.
inline std::wstring_view GivenText(wchar_t const* text) {
    return text ? std::wstring_view(text) : std::wstring_view();
}

bool IsXmlName(std::wstring_view name);
/// Whether all characters may stand in a document.
bool IsXmlText(std::wstring_view text);
/// Levels above the node, the document not counted.
int DepthOf(pugi::xml_node node);

}  // namespace KxN::detail
