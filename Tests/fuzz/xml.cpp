// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as a document. What is read, and what became of it, comes back from a file that was saved, the same text in UTF-16 gives the same tree
// although it is built in another way, and a walk sees each node once.
#include "hbtools/base/syEncoding.h"
#include "hbtools/interchange/syXmlParser.h"

#include "FuzzFolder.h"
#include "FuzzInput.h"

using namespace KxN;

namespace {

KxString Whole(XML_PARSER& xml) {
    KxString text;
    xml.Get_XML_Document(text);
    return text;
}

/// Behind the declaration, whose encoding may become UTF-8.
KxString Content(XML_PARSER& xml) {
    KxString const text = Whole(xml);
    std::wstring_view const whole = text.View();
    return KxString(whole.starts_with(L"<?xml ") ? whole.substr(whole.find(L"?>")) : whole);
}

/// What was saved comes back.
void SaveAndLoad(XML_PARSER& xml, FuzzFolder const& folder) {
    KxString const before = Content(xml);
    if (!xml.Save_XML_Document(folder.File("saved"))) Broken();
    if (!xml.Load_XML_Document(folder.File("saved")) || !(Content(xml) == before)) Broken();
}

/// Counts what the hook is shown.
class Counting : public XML_PARSER {
public:
    void Parse_XML_Document() override { ++count; }
    long count = 0;
};

long Walk(XML_PARSER& xml) {
    long count = 1;
    for (int depth = 0;;) {
        xml.Get_TextValue(), xml.Get_Chain(), xml.Get_Attribute_Name(0), xml.Get_Attribute_Value(0);
        if (xml.Go_to_Child()) {
            ++count, ++depth;
            continue;
        }
        while (depth > 0 && !xml.Go_Forward()) xml.Go_to_Parent(), --depth;
        if (depth == 0) return count;
        ++count;
    }
}

/// Some of each kind of change; the rest must still be read.
void Change(XML_PARSER& xml, FuzzFolder const& folder) {
    xml.Go_to_Root();
    xml.Go_to_Child();
    xml.Add_NodeAfter(L"n");
    xml.Set_TextValue(L" \r\n<&]]>\x20ac ");
    xml.Set_Attribute(L"a", L"\t\"'<\n");
    xml.Add_CDataBefore(L"x]]y");
    xml.Go_to_Root();
    xml.RemoveChild(L"a");
    SaveAndLoad(xml, folder);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static FuzzFolder const folder;
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    folder.Write("document", bytes);
    Counting xml;
    if (!xml.Load_XML_Document(folder.File("document"))) return 0;
    if (Walk(xml) != xml.count) Broken();
    KxString const whole = Whole(xml), declared = [&] {
        KxString encoding;
        xml.Get_Header(L"xml", L"encoding", encoding);
        return encoding;
    }();
    if (declared.Len() == 0 && KxxIsUtf8(bytes) && bytes.find('\0') == bytes.npos) {  // zeros are those of UTF-16
        std::string_view text = bytes;
        if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
        std::u16string const wide = u'\ufeff' + KxxToUtf16(KxxWidenUtf8(text));
        folder.Write("document", std::string(reinterpret_cast<char const*>(wide.data()), 2 * wide.size()));
        XML_PARSER other;
        if (!other.Load_XML_Document(folder.File("document")) || !(Whole(other) == whole)) Broken();
    }
    SaveAndLoad(xml, folder);
    Change(xml, folder);
    return 0;
}
