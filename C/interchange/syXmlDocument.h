// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Reading documents strictly, and writing what reads strictly again.
#pragma once

#include "hbtools/interchange/syXmlParser.h"

#include <pugixml.hpp>

#include <string>
#include <string_view>

namespace KxN {

struct XML_PARSER::SDocument {
    pugi::xml_document tree;
    pugi::xml_node current;  // null in an empty document
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
