// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Reading documents strictly, and writing what reads strictly again.
#pragma once

#include "hbtools/interchange/syXmlParser.h"

#include <pugixml.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace KxN::detail {

/// The attributes of one node by their names, in an index if there are many. A cache: whoever changes them tells it.
class XmlAttributes {
public:
    /// The place of that name among them; -1 if there is none.
    int PlaceOf(pugi::xml_node node, std::string_view name);
    std::size_t Count(pugi::xml_node node) const;
    pugi::xml_attribute At(pugi::xml_node node, int place) const;
    /// One that came to the node, the last of them. Does nothing as long as there is no index.
    void Added(pugi::xml_attribute attribute) {
        if (!m_all.empty()) Append(attribute);
    }
    void Forget() noexcept {
        if (m_all.empty()) return;
        m_all.clear();
        m_places.clear();
    }

private:
    void Append(pugi::xml_attribute attribute);

    std::vector<pugi::xml_attribute> m_all;    // empty without an index
    std::map<std::string_view, int> m_places;  // no names can be made that are slow in it; they lie in the document
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

bool IsXmlName(std::wstring_view name);
/// Whether all characters may stand in a document.
bool IsXmlText(std::wstring_view text);
/// Levels above the node, the document not counted.
int DepthOf(pugi::xml_node node);

}  // namespace KxN::detail
