// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "XmlTest.h"

#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <utility>

using namespace KxN;
using namespace std::string_literals;
using test::Utf16, test::Xml;

namespace {

TEST_F(Xml, TheCursorMoves) {
    EXPECT_EQ(Error(), "Success");
    EXPECT_EQ(At(), "<scan>");
    EXPECT_TRUE(xml.Is_Root() && xml.HasChildren());
    struct Step {
        std::function<int()> move;
        int result;
        char const* at;
    };
    Step const steps[] = {{[&] { return xml.Go_to_Parent(); }, 0, "<scan>"},
                          {[&] { return xml.Go_Forward(); }, 0, "<scan>"},
                          {[&] { return xml.Go_Backward(); }, 0, "<scan>"},
                          {[&] { return xml.Go_to_Child(); }, 1, "<scan><operator>"},
                          {[&] { return xml.Go_Backward(); }, 0, "<scan><operator>"},
                          {[&] { return xml.Go_Forward(); }, 1, "<scan><filter>"},
                          {[&] { return xml.Go_Forward(L"raw"); }, 1, "<scan><raw>"},
                          {[&] { return xml.Go_Forward(L"operator"); }, 0, "<scan><raw>"},
                          {[&] { return xml.Go_to_Child(); }, 1, "<scan><raw><#CDATA#>"},
                          {[&] { return xml.Go_to_Child(); }, 0, "<scan><raw><#CDATA#>"},
                          {[&] { return xml.Go_to_Parent(L"scan"); }, 1, "<scan>"},
                          {[&] { return xml.Go_to_Descendant(L"size"); }, 1, "<scan><filter><size>"},
                          {[&] { return xml.Go_to_Descendant(L"size"); }, 0, "<scan><filter><size>"},
                          {[&] { return xml.Go_to_Child(L"#TEXT#"); }, 1, "<scan><filter><size><#TEXT#>"},
                          {[&] { return xml.Go_to_Parent(L"filter"); }, 1, "<scan><filter>"},
                          {[&] { return xml.Go_to_FirstSibling(L"operator"); }, 1, "<scan><operator>"},
                          {[&] { return xml.Go_to_Parent(L"filter"); }, 0, "<scan><operator>"},
                          {[&] { return xml.Go_Forward(L"note"); }, 1, "<scan><note>"},
                          {[&] { return xml.Go_Backward(L"operator"); }, 1, "<scan><operator>"},
                          {[&] { return xml.Go_to_Child(L"missing"); }, 0, "<scan><operator>"},
                          {[&] { return xml.Go_to_Root(); }, 1, "<scan>"}};
    for (Step const& step : steps) {
        EXPECT_EQ(step.move(), step.result) << &step - steps;
        EXPECT_EQ(At(), step.at) << &step - steps;
    }
    EXPECT_FALSE(xml.Go_to_FirstSibling(L"style"));  // beside the root there is nothing for the cursor
    EXPECT_EQ(Error(), "XML_PARSER : There is no such node");
    xml.Go_to_Descendant(L"size");
    EXPECT_TRUE(xml.Is_Child_of(L"<filter>") && xml.Is_Child_of(L"<scan><filter>"));
    EXPECT_FALSE(xml.Is_Child_of(L"<scan>") || xml.Is_Child_of(L"") || xml.Is_Tag(L"size") || xml.Is_TextNode());
    EXPECT_TRUE(xml.Is_Tag(L"<size>") && xml.Go_to_Child() && xml.Is_TextNode());
    // Of the shortest names, which are looked at only as far up as the given chain reaches.
    xml.Load_XML_From_Buffer(L"<a><b><c><d><e><f><g/></f></e></d></c></b></a>");
    ASSERT_TRUE(xml.Go_to_Descendant(L"g"));
    for (wchar_t const* chain : {L"<f>", L"<d><e><f>", L"<a><b><c><d><e><f>"}) EXPECT_TRUE(xml.Is_Child_of(chain));
    EXPECT_FALSE(xml.Is_Child_of(L"<x><b><c><d><e><f>"));
}

TEST_F(Xml, TextsAndAttributesAreRead) {
    EXPECT_EQ(xml.Get_Attribute_Count(), 2);
    EXPECT_EQ(test::U(xml.Get_Attribute_Name(0)) + "=" + test::U(xml.Get_Attribute_Value(0)), "name=Plate");
    EXPECT_EQ(test::U(xml.Get_Attribute_Name(0)), "name");
    EXPECT_EQ(test::U(xml.Get_Attribute_Name(1)) + "=" + test::U(xml.Get_Attribute_Value(1)), "unit=mm");
    EXPECT_TRUE(xml.Is_Having_Attribute(L"name"));
    EXPECT_FALSE(xml.Is_Having_Attribute(L"Name"));
    EXPECT_EQ(Error(), "XML_PARSER::Is_Having_Attribute(LPCTSTR)   : There is no such attribute");
    EXPECT_EQ(test::U(KxString(xml.Get_Attribute_Value())), "Plate");
    EXPECT_EQ(xml.Get_Attribute_Name(2).Len(), 0);
    EXPECT_EQ(xml.Get_Attribute_Name(-1).Len(), 0);
    EXPECT_EQ(Error(), "XML_PARSER::Get_Attribute_Name(int) failed");
    for (int const index : {-1, 2}) {
        xml.Get_Attribute_Value(index);
        EXPECT_EQ(Error(), "XML_PARSER::Get_Attribute_Value(int) failed");
    }
    EXPECT_FALSE(xml.Is_Having_Attribute(nullptr));
    xml.Go_to_Child(L"filter");
    xml.Get_Attribute_Value();
    EXPECT_EQ(Error(), "XML_PARSER::Get_Attribute_Value()  : Can't Retrieve an Attribute");
    EXPECT_EQ(test::U(KxString(xml.Get_Attribute_Value(0))), "a&b");
    EXPECT_EQ(Text(), "35");  // blanks between elements are gone
    xml.Go_Forward(L"note");
    EXPECT_EQ(Text(), "one two three four");  // those of mixed content are not
    xml.Go_Forward(L"raw");
    EXPECT_EQ(Text(), "a<b");
    xml.Go_Forward(L"blank");
    EXPECT_EQ(Text(), " ");
    KxString value;
    EXPECT_TRUE(xml.Get_Header(L"xml", L"version", value));
    EXPECT_EQ(test::U(value), "1.0");
    EXPECT_TRUE(xml.Get_Header(L"style", L"type", value));
    EXPECT_EQ(test::U(value), "text");
    EXPECT_FALSE(xml.Get_Header(L"style", L"media", value) || xml.Get_Header(L"other", L"a", value));

    struct Hook : XML_PARSER {
        void Parse_XML_Document() override { seen += test::U(Get_Chain()) + test::U(Get_CurrentName()) + " "; }
        std::string seen;
    } hook;
    hook.Load_XML_From_Buffer(L"<?x?><!--y--><a><b>t</b><!--z--><c><d/></c></a>");
    EXPECT_EQ(hook.seen, "a <a>b <a><b>#TEXT# <a>c <a><c>d ");

    struct Throwing : XML_PARSER {
        void Parse_XML_Document() override { throw 1; }
    } throwing;
    EXPECT_THROW(throwing.Load_XML_From_Buffer(L"<a/>"), int);
    EXPECT_FALSE(throwing.Go_to_Root());
}

// From some number on an index finds them.
TEST_F(Xml, ManyAttributesAreReadAndChangedAsFew) {
    for (int const count : {2, 15, 16, 17, 40}) {
        KxString text = L"<a";
        for (int i = 0; i < count; ++i) text += KxxFormat(L" n%d=\"%d\"", i, i);
        xml.Load_XML_From_Buffer(text + L"/>");
        auto const valueOf = [&](int i) {
            return xml.Is_Having_Attribute(KxxFormat(L"n%d", i).c_str()) ? test::U(KxString(xml.Get_Attribute_Value()))
                                                                         : "none";
        };
        for (int i = 0; i < count; ++i) EXPECT_EQ(valueOf(i), std::to_string(i)) << count;
        EXPECT_EQ(valueOf(count), "none");
        EXPECT_EQ(xml.Get_Attribute_Count(), count);
        EXPECT_TRUE(xml.Set_Attribute(KxxFormat(L"n%d", count).c_str(), L"new") && xml.Set_Attribute(L"n1", L"other"));
        EXPECT_EQ(valueOf(count) + valueOf(1) + valueOf(count + 1), "newothernone") << count;
        EXPECT_EQ(xml.Get_Attribute_Count(), count + 1);
        EXPECT_EQ(test::U(xml.Get_Attribute_Name(count)), "n" + std::to_string(count));
        EXPECT_EQ(test::U(xml.Get_Attribute_Name(count + 1)), "");
        EXPECT_TRUE(xml.Remove_Attribute(L"n0"));
        EXPECT_EQ(valueOf(0) + valueOf(1) + valueOf(count), "noneothernew") << count;
        EXPECT_NE(Whole().find("<a n1=\"other\" "), std::string::npos);
    }
}

TEST_F(Xml, CommentsAndInstructionsArePassedBy) {
    wchar_t const* const text =
        L"<?xml version=\"1.0\"?><!--0--><?b 1?><a><!--1--><b/>t<?b 2?><!--3--><c><?d?></c><!--4--></a><?b 5?>";
    xml.Load_XML_From_Buffer(text);
    for (wchar_t const* name : {L"b", L"xml", L"#comment", L""})
        EXPECT_FALSE(xml.Go_to_FirstSibling(name) || xml.Go_Forward(name) || xml.Go_Backward(name));
    EXPECT_TRUE(xml.Go_to_FirstSibling(L"a") && !xml.Go_Forward() && !xml.Go_Backward());
    EXPECT_FALSE(xml.Go_to_Descendant(L"d"));
    std::string walked;
    for (int moved = xml.Go_to_Child(); moved; moved = xml.Go_Forward()) walked += At();
    EXPECT_EQ(walked, "<a><b><a><#TEXT#><a><c>");
    EXPECT_FALSE(xml.HasChildren());
    EXPECT_TRUE(xml.Go_Backward() && xml.Go_Backward() && !xml.Go_Backward());
    EXPECT_EQ(Whole(), test::U(KxString(text)));
    EXPECT_TRUE(xml.Go_to_Root() && xml.RemoveChild(L"#TEXT#") && !xml.RemoveChild(L"#TEXT#"));
    EXPECT_TRUE(xml.Go_to_Child(L"c") && xml.Set_TextValue(L""));
    EXPECT_EQ(Whole(), "<?xml version=\"1.0\"?><!--0--><?b 1?><a><!--1--><b/><?b 2?><!--3--><c/><!--4--></a><?b 5?>");
}

TEST_F(Xml, ChangesShow) {
    xml.Load_XML_From_Buffer(L"<a><b/></a>");
    EXPECT_FALSE(xml.Add_NodeBefore(L"x"));
    EXPECT_EQ(Error(), "XML_PARSER::_add_before()   : Can't add node at same level that the root node");
    EXPECT_FALSE(xml.Add_NodeAfter(L"x"));
    EXPECT_EQ(Error(), "XML_PARSER::Add_NodeAfter(LPCTSTR)   : Can't add node at same level that the root node");
    EXPECT_FALSE(xml.Add_CDataAfter(L"x"));
    EXPECT_EQ(Error(), "XML_PARSER::Add_CDataAfter(LPCTSTR)   : Can't add node at same level that the root node");
    EXPECT_TRUE(xml.Add_FirstChildNode(L"first") && xml.Add_NodeAfter(L"second") && xml.Add_NodeBefore(L"between"));
    EXPECT_EQ(At(), "<a><between>");
    EXPECT_TRUE(xml.Set_Attribute(L"gone", L"1") && xml.Remove_Attribute(L"gone"));
    EXPECT_TRUE(xml.Set_Attribute(L"k", L"1 < 2") && xml.Set_Attribute(L"k", L"\"3\"") && xml.Set_TextValue(L"x & y"));
    EXPECT_TRUE(xml.Go_to_Root() && xml.Add_LastChildNode(L"last") && xml.Add_LastChildCData(L"c]]>d"));
    EXPECT_TRUE(xml.Is_CDataSection());
    EXPECT_FALSE(xml.Add_LastChildNode(L"in") || xml.Set_Attribute(L"k", L"v"));
    EXPECT_TRUE(xml.Add_CDataBefore(L"0") && xml.Add_CDataAfter(L"1") && xml.Go_to_Parent() &&
                xml.Add_FirstChildCData(L"-"));
    EXPECT_EQ(Whole(),
              "<a><first/><between k=\"&quot;3&quot;\">x &amp; y</between><second/><b/><last><![CDATA[-]]><![CDATA[0]]>"
              "<![CDATA[1]]><![CDATA[c]]]]><![CDATA[>d]]></last></a>");
    KxString text;
    EXPECT_TRUE(xml.Get_XML(text));  // of the one that was written last
    EXPECT_EQ(test::U(text), "<![CDATA[-]]>");
    EXPECT_TRUE(xml.Go_to_Parent() && xml.Remove());
    EXPECT_EQ(At(), "<a>");
    EXPECT_TRUE(xml.RemoveChild(L"between") && !xml.RemoveChild(L"between"));
    EXPECT_FALSE(xml.Remove_Attribute(L"k"));
    EXPECT_EQ(Whole(), "<a><first/><second/><b/></a>");
    for (wchar_t const* name : {L"", L"1a", L"a b", L"a b='1'", L"a/><x", L"a=\"1\"", L"<", L"a\x1", L"a>b"})
        EXPECT_FALSE(xml.Add_LastChildNode(name) || xml.Set_Attribute(name, L"v")) << test::U(KxString(name));
    EXPECT_TRUE(xml.Add_LastChildNode(L"_A-1.z") && xml.Set_TextValue(L"\xe000\xfffd") && xml.Remove());
    EXPECT_FALSE(xml.Set_TextValue(L"\x1") || xml.Set_TextValue(L"\x110000") || xml.Set_Attribute(L"a", L"\xffff") ||
                 xml.Add_LastChildCData(L"\x8\xd800"));
    EXPECT_EQ(Whole(), "<a><first/><second/><b/></a>");
    EXPECT_TRUE(xml.Remove());
    EXPECT_FALSE(xml.Remove());
    EXPECT_EQ(Error(), "XML_PARSER::Remove() : There is no node");
    EXPECT_FALSE(xml.Add_LastChildCData(L"c"));
    EXPECT_FALSE(xml.Remove_Attribute(L"a"));
    EXPECT_EQ(Error(), "XML_PARSER::Remove_Attribute(LPCTSTR)   : Can't remove attribute on a NULL Node");
    EXPECT_FALSE(xml.Get_XML(text));
    EXPECT_EQ(Error(), "XML_PARSER::Get_XML() : There is no node");
    EXPECT_FALSE(xml.Set_TextValue(L"a"));
    EXPECT_EQ(Error(), "XML_PARSER::Set_TextValue(LPCTSTR)   : Can't set a Text on a NULL Node");
    xml.Get_TextValue();
    EXPECT_EQ(Error(), "XML_PARSER::Get_TextValue() Can't set text on NULL node");
    EXPECT_FALSE(xml.Go_to_Root() || xml.Go_to_Child() || xml.Go_to_Descendant(L"a") || xml.Go_Forward());
    EXPECT_TRUE(xml.Add_LastChildNode(L"new"));
    EXPECT_EQ(Whole(), "<new/>");
}

TEST_F(Xml, NullTextsAreEmptyOnes) {
    xml.Load_XML_From_Buffer(L"<?s h=\"1\"?><a k=\"v\">t</a>");
    KxString value;
    std::function<int()> const refused[] = {[&] { return xml.Load_XML_Document(nullptr); },
                                            [&] { return xml.Save_XML_Document(nullptr); },
                                            [&] { return xml.Get_Header(nullptr, L"h", value); },
                                            [&] { return xml.Set_Header(nullptr, L"h", L"2"); },
                                            [&] { return xml.Set_Header(L"s", nullptr, L"2"); },
                                            [&] { return xml.Go_to_Child(nullptr); },
                                            [&] { return xml.Go_to_Parent(nullptr); },
                                            [&] { return xml.Go_Forward(nullptr); },
                                            [&] { return xml.Go_Backward(nullptr); },
                                            [&] { return xml.Go_to_FirstSibling(nullptr); },
                                            [&] { return xml.Go_to_Descendant(nullptr); },
                                            [&] { return xml.Is_Tag(nullptr); },
                                            [&] { return xml.Is_Child_of(nullptr); },
                                            [&] { return xml.Is_Having_Attribute(nullptr); },
                                            [&] { return xml.Remove_Attribute(nullptr); },
                                            [&] { return xml.Add_FirstChildNode(nullptr); },
                                            [&] { return xml.Add_LastChildNode(nullptr); },
                                            [&] { return xml.Set_Attribute(nullptr, L"v"); },
                                            [&] { return xml.RemoveChild(nullptr); }};
    for (auto const& call : refused) {
        EXPECT_FALSE(call()) << &call - refused;
        if (&call == refused) xml.Load_XML_From_Buffer(L"<?s h=\"1\"?><a k=\"v\">t</a>");
        EXPECT_EQ(Whole(), "<?s h=\"1\"?><a k=\"v\">t</a>") << &call - refused;
    }
    EXPECT_TRUE(xml.Get_Header(L"s", nullptr, value) && xml.Set_Header(L"s", L"h", nullptr) &&
                xml.Set_Attribute(L"k", nullptr) && xml.Set_TextValue(nullptr) && xml.Add_LastChildCData(nullptr));
    EXPECT_EQ(Whole(), "<?s h=\"\" ?><a k=\"\"><![CDATA[]]></a>");
    EXPECT_FALSE(xml.Add_NodeBefore(nullptr) || xml.Add_NodeAfter(nullptr));
    EXPECT_TRUE(xml.Add_CDataBefore(nullptr) && xml.Add_CDataAfter(nullptr) && xml.Add_FirstChildCData(nullptr) == 0);
    xml.Load_XML_From_Buffer(nullptr);
    EXPECT_EQ(Whole(), "");
}

TEST_F(Xml, HeadersAreWritten) {
    KxString value;
    xml.Load_XML_From_Buffer(L"<a/>");
    EXPECT_TRUE(xml.Set_Header(L"xml", L"encoding", L"ISO-8859-1"));
    EXPECT_TRUE(xml.Set_Header(L"style", L"href", L"a.xsl"));
    EXPECT_EQ(Whole(), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><?style href=\"a.xsl\" ?><a/>");
    EXPECT_TRUE(xml.Set_Header(L"xml", L"standalone", L"yes") && xml.Set_Header(L"xml", L"encoding", L"UTF-8"));
    EXPECT_TRUE(xml.Set_Header(L"style", L"type", L"text") && xml.Set_Header(L"style", L"href", L"b"));
    EXPECT_EQ(Whole(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?><?style href=\"b\" type=\"text\" ?><a/>");
    for (auto const& [header, attribute, text] : {std::tuple{L"xml", L"standalone", L"perhaps"},
                                                  {L"style", L"a", L"?>"},
                                                  {L"style", L"a", L"\x1"},
                                                  {L"style", L"a b", L"1"},
                                                  {L"style", L"", L"1"},
                                                  {L"xml", L"versions", L"1.0"},
                                                  {L"style", L"a", L"\""}}) {
        EXPECT_FALSE(xml.Set_Header(header, attribute, text));
        EXPECT_EQ(Error(), "XML_PARSER::Set_Header() : Can't create the new processing instruction node");
    }
    for (wchar_t const* header : {L"a b", L"XML", L"Xml", L"", L"a?><b"}) {
        EXPECT_FALSE(xml.Set_Header(header, L"a", L"1"));
        EXPECT_EQ(Error(), "PARSER_XML::SetHeader() : Can't create new Processing node");
    }
    xml.Load_XML_From_Buffer(L"<?style href='a.xsl' b = '\"' type=\"it's\"?><a/>");
    for (auto const& [name, expected] : {std::pair{L"href", "a.xsl"}, {L"type", "it's"}, {L"b", "\""}}) {
        EXPECT_TRUE(xml.Get_Header(L"style", name, value));
        EXPECT_EQ(test::U(value), expected);
    }
    EXPECT_TRUE(xml.Set_Header(L"style", L"href", L"c") && xml.Set_Header(L"style", L"media", L"m"));
    EXPECT_EQ(Whole(), "<?style href=\"c\" b='\"' type=\"it's\" media=\"m\" ?><a/>");
    // Without a root: the first, but for the declaration.
    xml.Reset_XML_Document();
    for (wchar_t const* header : {L"b", L"xml", L"c"}) EXPECT_TRUE(xml.Set_Header(header, L"version", L"1.1"));
    EXPECT_EQ(Whole(), "<?xml version=\"1.1\"?><?c version=\"1.1\" ?><?b version=\"1.1\" ?>");
    EXPECT_FALSE(xml.Set_Header(L"xml", L"version", L"2.0") || xml.Set_Header(L"b", L"c", L"\r"));
    EXPECT_FALSE(xml.Add_NodeBefore(L"a"));
    EXPECT_EQ(Error(), "XML_PARSER : There is no node");
    for (wchar_t const* odd : {L"<?odd a=1 \"?><a/>", L"<?odd a=1?><a/>"}) {
        xml.Load_XML_From_Buffer(odd);
        EXPECT_FALSE(xml.Get_Header(L"odd", L"a", value));
        EXPECT_EQ(Error(), "XML_PARSER::Get_Header() : bad value structure");
    }
    for (wchar_t const* odd : {L"<?odd a=1 \"?><a/>", L"<?odd a=1?><a/>", L"<?odd alone b=\"2\"?><a/>",
                               L"<?odd a='1?><a/>", L"<?odd a?><a/>", L"<?odd =\"1\"?><a/>", L"<?odd a=b\"1\"?><a/>"}) {
        xml.Load_XML_From_Buffer(odd);
        EXPECT_FALSE(xml.Set_Header(L"odd", L"b", L"1"));
        EXPECT_EQ(Error(), "XML_PARSER::Set_Header() : bad value structure");
        EXPECT_EQ(Whole(), test::U(KxString(odd)));
    }
    EXPECT_TRUE(XML_PARSER().Set_Header(L"xml", L"encoding", L"UTF-8"));  // in an empty document
}

TEST_F(Xml, FilesKeepTheirEncoding) {
    auto const utf16 = [](std::string const& mark, std::string const& name, bool isBig) {
        return Utf16(mark, "<?xml version=\"1.0\" encoding=\"" + name + "\"?>\n<a>\xe4\1</a>\n", isBig);
    };
    std::string const head = "<?xml version=\"1.0\" encoding=\"";
    for (auto const& [file, saved] :
         {std::pair{"<a>\xc3\xa4\xce\xb1</a>\n"s, "<a>\xc3\xa4\xce\xb1</a>\n"s},
          {"\xef\xbb\xbf<a>\xc3\xa4\xce\xb1</a>", "<a>\xc3\xa4\xce\xb1</a>\n"},
          {head + "ISO-8859-1\"?><a>\xe4&#945;</a>", head + "ISO-8859-1\"?>\n<a>\xe4&#945;</a>\n"},
          {head + "windows-1252\"?><a>\xe4&#945;</a>", head + "windows-1252\"?>\n<a>\xe4&#945;</a>\n"},
          {head + "Cp1252\"?><a>\xe4&#945;</a>", head + "Cp1252\"?>\n<a>\xe4&#945;</a>\n"},
          {head + "US-ASCII\"?><a>&#228;&#945;</a>", head + "US-ASCII\"?>\n<a>&#228;&#945;</a>\n"},
          {head + "utf-8\"?><a>\xc3\xa4\xce\xb1</a>", head + "utf-8\"?>\n<a>\xc3\xa4\xce\xb1</a>\n"},
          {utf16("\xff\xfe", "UTF-16", false), utf16("\xff\xfe", "UTF-16", false)},
          {utf16("\xfe\xff", "utf-16", true), utf16("\xff\xfe", "utf-16", false)},
          {utf16("", "UTF-16LE", false), utf16("", "UTF-16LE", false)},
          {utf16("\xfe\xff", "UTF-16BE", true), utf16("", "UTF-16BE", true)}}) {
        Put("a.xml", file);
        ASSERT_TRUE(xml.Load_XML_Document(Path("a.xml"))) << test::U(xml.Get_LoadFailure());
        EXPECT_EQ(Text(), "\xc3\xa4\xce\xb1");
        ASSERT_TRUE(xml.Save_XML_Document(Path("b.xml")));
        EXPECT_EQ(Get("b.xml"), saved);
        ASSERT_TRUE(xml.Load_XML_Document(Path("b.xml"))) << file << test::U(xml.Get_LoadFailure());
        EXPECT_EQ(Text(), "\xc3\xa4\xce\xb1");
    }
    Put("a.xml", head + "windows-1252\"?><a>\x80<!-- x --></a>");
    ASSERT_TRUE(xml.Load_XML_Document(Path("a.xml")));
    EXPECT_EQ(Text(), "\xe2\x82\xac");
    ASSERT_TRUE(xml.Add_LastChildNode(L"\x3b1"));  // a name that the encoding lacks
    ASSERT_TRUE(xml.Set_TextValue(L"a\r\nb"));
    ASSERT_TRUE(xml.Save_XML_Document(Path("b.xml")));
    EXPECT_NE(Get("b.xml").find("UTF-8"), std::string::npos);
    ASSERT_TRUE(xml.Load_XML_Document(Path("b.xml")) && xml.Go_to_Child(L"\x3b1"));
    EXPECT_EQ(Text(), "a\r\nb");
    xml.Load_XML_From_Buffer(L"<?xml version='1.0' encoding='windows-1252'?><!--\x3b1--><a k='1'>\x1f600</a>");
    ASSERT_TRUE(xml.Save_XML_Document(Path("b.xml")));  // nor can a comment have a reference
    EXPECT_EQ(Get("b.xml"), head + "UTF-8\"?>\n<!--\xce\xb1-->\n<a k=\"1\">\xf0\x9f\x98\x80</a>\n");
    xml.Load_XML_From_Buffer(L"<?xml version='1.0' encoding='windows-1252'?><a>\x1f600</a>");
    ASSERT_TRUE(xml.Save_XML_Document(Path("b.xml")));
    EXPECT_EQ(Get("b.xml"), head + "windows-1252\"?>\n<a>&#128512;</a>\n");
    // What cannot be written under its name is not written at all.
    std::string const kept = Get("b.xml");
    for (wchar_t const* name : {L"ISO-8859-15", L"ISO-8859-2", L"KOI8-R", L"latin1", L"ASCII", L"UCS-2", L"UTF-32"}) {
        KxString const declaration = KxString(L"<?xml version='1.0' encoding='") + name + L"'?><a>\xe4</a>";
        for (int isSet : {0, 1}) {
            xml.Load_XML_From_Buffer(isSet ? L"<a>\xe4</a>" : declaration.GetStr());
            EXPECT_TRUE(!isSet || xml.Set_Header(L"xml", L"encoding", name));
            EXPECT_FALSE(xml.Save_XML_Document(Path("b.xml")));
            EXPECT_EQ(Error(), "XML_PARSER::Save_XML_Document() : The declared encoding \"" + test::U(KxString(name)) +
                                   "\" cannot be written");
            EXPECT_EQ(Get("b.xml"), kept);
        }
    }
    EXPECT_TRUE(xml.Set_Header(L"xml", L"encoding", L"UTF-8"));
    EXPECT_FALSE(xml.Save_XML_Document(Path("missing/b.xml")));
    EXPECT_NE(Error().find("missing/b.xml"), std::string::npos);
    EXPECT_FALSE(xml.Load_XML_Document(Path("none.xml")));
    EXPECT_EQ(Error(), "XML Document FAILED to load");
    EXPECT_EQ(CountFiles(), 2u);
}

// Documents in UTF-8 are read in place, others are built from what the strict reader tells.
TEST_F(Xml, AllEncodingsGiveTheSameTree) {
    for (std::string const text :
         {"<a/>",
          "<a> </a>",
          "<a> <b/> </a>",
          "<a>\r\n<b>\r</b>x\r\ny</a>",
          "<a>t <b/> <c/></a>",
          "<a> <![CDATA[ ]]> </a>",
          "<a> <![CDATA[]]></a>",
          "<a> <!-- c --> </a>",
          "<a>x <!-- c --> </a>",
          "<a> <?p?> <?p  q r ?></a>",
          "<a><?p q\r\nr?> </a>",
          "<a>&#32;<b/></a>",
          "<a><b>&#32;</b>&#13;&#10;</a>",
          "<a>&#32; t</a>",
          "<a> <b> </b> t</a>",
          "<a b='1\r\n2\t3\n' c=\"&#10;&#9;'&quot;&apos;\"/>",
          "<a>&lt;&gt;&amp;&#x20ac;\xe2\x82\xac\xf0\x9f\x98\x80</a>",
          "<?xml version='1.0'  standalone='yes' ?>\n<!-- before -->\n<?q?>\n<a/>\n<!-- after -->\n<?q r?>\n",
          "<?xml version='1.0' standalone='no'?><a/>",
          "<\xc3\xa4 \xc3\xb6='\xc3\xbc'>]] &gt; ]&gt;</\xc3\xa4>",
          "<a:b xmlns:a='u' a:c='1'/>",
          "<a>\n one\n two \n</a>",
          "<a><b/>\n<c>x\n</c>\n</a>",
          "<a><!-->--></a>"}) {
        Put("a.xml", text);
        ASSERT_TRUE(xml.Load_XML_Document(Path("a.xml"))) << text << test::U(xml.Get_LoadFailure());
        std::string const inPlace = Whole();
        std::u16string const wide = u'\ufeff' + KxxToUtf16(KxxWidenUtf8(text));
        Put("a.xml", std::string(reinterpret_cast<char const*>(wide.data()), 2 * wide.size()));
        ASSERT_TRUE(xml.Load_XML_Document(Path("a.xml"))) << text << test::U(xml.Get_LoadFailure());
        EXPECT_EQ(inPlace, Whole()) << text;
        EXPECT_NE(inPlace, "");
    }
}

TEST_F(Xml, WhatIsSavedComesBack) {
    for (std::string const text :
         {"<a><b/>text</a>", "<a>text<b/><c/></a>", "<a><b><c/><d/></b>text</a>", "<a><b><![CDATA[x]]><c/></b><d/></a>",
          "<a><b>&#13;\n x</b><c d='&#13;&#10;'/></a>", "<a><b> </b><c>t</c><!--e--><?f g?></a>", "<a>\"q\"\t</a>",
          "<?x?><a/><!--e-->", "<a><![CDATA[&#13;]]></a>", "<a>\xf0\x9f\x98\x80</a>"}) {
        Put("a.xml", text);
        ASSERT_TRUE(xml.Load_XML_Document(Path("a.xml"))) << text;
        std::string const before = Whole();
        EXPECT_TRUE(xml.Save_XML_Document(Path("b.xml")));
        ASSERT_TRUE(xml.Load_XML_Document(Path("b.xml"))) << Get("b.xml");
        EXPECT_EQ(Whole(), before) << Get("b.xml");
        xml.Load_XML_From_Buffer(KxString(KxxWidenUtf8(before)));
        EXPECT_EQ(Whole(), before);
    }
    Put("a.xml", "<?x?><a><b><c/><d>t</d></b>\n</a>");
    EXPECT_TRUE(xml.Load_XML_Document(Path("a.xml")) && xml.Save_XML_Document(Path("b.xml")));
    EXPECT_EQ(Get("b.xml"), "<?x?>\n<a>\n\t<b>\n\t\t<c/>\n\t\t<d>t</d>\n\t</b>\n</a>\n");
    // A carriage return has no reference in CDATA, and stands between two sections.
    xml.Go_to_Root();
    EXPECT_TRUE(xml.Add_FirstChildCData(L"a\r\nb") && xml.Save_XML_Document(Path("b.xml")));
    EXPECT_TRUE(xml.Load_XML_Document(Path("b.xml")) && xml.Go_to_Child());
    xml.Go_to_Root();
    EXPECT_EQ(Text(), "a\r\nbt");
    EXPECT_EQ(Get("b.xml").substr(0, 62), "<?x?>\n<a><![CDATA[a]]>&#13;<![CDATA[\nb]]><b><c/><d>t</d></b></");
    // Nothing is no document.
    EXPECT_FALSE(xml.Load_XML_Document(Path("missing.xml")));
    std::string const former = Get("b.xml");
    EXPECT_FALSE(xml.Save_XML_Document(Path("b.xml")));
    EXPECT_EQ(Get("b.xml"), former);
}

TEST_F(Xml, AnotherReaderSeesTheSame) {
    auto const run = [&](std::string const& command) {
        return std::system(("cd '" + m_folder.string() + "' && (" + command + ") >/dev/null 2>&1").c_str());
    };
    if (run("which xmllint") != 0) GTEST_SKIP() << "no other reader here";
    std::string const head = "<?xml version=\"1.0\" encoding=\"";
    for (std::string const& text :
         {"<a k='&lt;&quot;&#9;&#10;&#13;' j=\"it's\"><b c='&#228;'/><!-- d --></a>"s,
          "<a>one <b>two</b> <i>three</i> four &amp;amp; ]]&gt;</a>"s,
          "<?x y?><a><![CDATA[a<b>&]]><b>\t&#13;\n-</b></a>"s,
          "\xef\xbb\xbf<x:a xmlns:x='u:v' x:b='1'>\xf0\x9f\x98\x80</x:a>"s,
          head + "ISO-8859-1\"?><\xe4>\xe4&#945;</\xe4>", head + "windows-1252\"?><a k='\x80'>&#128512;</a>",
          head + "US-ASCII\"?><a>&#228;</a>", Utf16("\xfe\xff", head + "UTF-16\"?><a>\1</a>", true)}) {
        Put("a.xml", text);
        ASSERT_TRUE(xml.Load_XML_Document(Path("a.xml"))) << text << test::U(xml.Get_LoadFailure());
        ASSERT_TRUE(xml.Save_XML_Document(Path("b.xml")));
        EXPECT_EQ(run("for f in a b; do xmllint --noblanks --c14n $f.xml > $f || exit; done; cmp a b && test -s a"), 0)
            << text << Get("b.xml");
    }
    // What is put in by the program is read there as well.
    xml.Reset_XML_Document();
    EXPECT_TRUE(xml.Add_FirstChildNode(L"a") && xml.Set_Attribute(L"k", L"<&\"'>\n\t\x1f600"));
    EXPECT_TRUE(xml.Set_TextValue(L"]]>&lt;") && xml.Add_FirstChildCData(L"]]>") &&
                xml.Save_XML_Document(Path("b.xml")));
    EXPECT_EQ(run("xmllint --xpath 'string(/a)' b.xml > text && xmllint --xpath 'string(/a/@k)' b.xml > value"), 0);
    EXPECT_EQ(Get("text") + Get("value"), "]]>]]>&lt;\n<&\"'>\n\t\xf0\x9f\x98\x80\n") << Get("b.xml");
}

}  // namespace
