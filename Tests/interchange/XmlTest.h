// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A small document, and a parser that has it.
#pragma once

#include "hbtools/interchange/syXmlParser.h"

#include "../base/Support.h"

#include <string>

namespace test {

using namespace KxN;

inline constexpr wchar_t const* conditions =
    L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- made by hand --><?style href=\"a.xsl\" type=\"text\"?>\n"
    L"<scan name=\"Plate\" unit=\"mm\">\n  <operator>Anna</operator>\n  <filter kind=\"a&amp;b\"><size>3</size>\n "
    L"<size>5</size></filter>\n"
    L"  <note>one <b>two</b> <i>three</i> four</note>\n  <raw><![CDATA[a<b]]></raw>\n  <blank> </blank>\n</scan>\n";

/// Mostly ASCII: a byte and a zero. 1 stands for an alpha.
inline std::string Utf16(std::string const& mark, std::string const& text, bool isBig) {
    std::string bytes = mark;
    for (char const c : text)
        bytes += isBig ? std::string{c == 1 ? '\3' : '\0', c == 1 ? '\xb1' : c}
                       : std::string{c == 1 ? '\xb1' : c, c == 1 ? '\3' : '\0'};
    return bytes;
}

class Xml : public TempFolder {
protected:
    Xml() { xml.Load_XML_From_Buffer(conditions); }
    std::string At() { return U(xml.Get_Chain()) + U(xml.Get_CurrentTag()); }
    std::string Whole() {
        KxString text;
        xml.Get_XML_Document(text);
        return U(text);
    }
    std::string Text() { return U(xml.Get_TextValue()); }
    std::string Error() { return U(xml.Get_LastError()); }
    XML_PARSER xml;
};

}  // namespace test
