// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "XmlTest.h"

#include "hbtools/base/syLimits.h"

#define HBTOOLS_ALLOCATIONS_ELSEWHERE
#include "../base/Allocations.h"

#include <pugixml.hpp>

#include <cstdlib>
#include <functional>
#include <string>
#include <utility>

using namespace KxN;
using namespace std::string_literals;
using test::Utf16, test::Xml;

namespace {

int g_nodeMemoryLeft = -1;  // allocations of the tree before one fails; -1: none does
void* NodeMemory(std::size_t size) {
    return g_nodeMemoryLeft >= 0 && g_nodeMemoryLeft-- == 0 ? nullptr : std::malloc(size);
}

TEST_F(Xml, OnlyTheWellFormedIsRead) {
    std::string entities = "<!DOCTYPE a [<!ENTITY x0 \"xxxxxxxxxx\">";
    for (int i = 1; i < 12; ++i)
        entities +=
            "<!ENTITY x" + std::to_string(i) + " \"&x" + std::to_string(i - 1) + ";&x" + std::to_string(i - 1) + ";\">";
    for (std::string const& text : {""s,
                                    " "s,
                                    "a"s,
                                    "<a>"s,
                                    "<a></b>"s,
                                    "<a/><b/>"s,
                                    "<a b/>"s,
                                    "<a b=c/>"s,
                                    "<a b='1' b='2'/>"s,
                                    "<a b='<'/>"s,
                                    "<a>&b;</a>"s,
                                    "<a>&#0;</a>"s,
                                    "<a>&#xd800;</a>"s,
                                    "<a>\x01</a>"s,
                                    "<a>]]></a>"s,
                                    "<a><!-- -- --></a>"s,
                                    "<a><?xml version='1.0'?></a>"s,
                                    " <?xml version='1.0'?><a/>"s,
                                    "<a>\xc0\x80</a>"s,
                                    "<a>\xed\xa0\x80</a>"s,
                                    "<a>\xff</a>"s,
                                    "<a>\xc3</a>"s,
                                    "<1/>"s,
                                    "<a><![CDATA[x</a>"s,
                                    "<?xml version='1.0' encoding='EBCDIC-X'?><a/>"s,
                                    "<?xml version='1.0' encoding='latin1'?><a/>"s,
                                    "<?xml version='1.0' encoding='UTF-16'?><a/>"s,
                                    "<?xml version='2.0'?><a/>"s,
                                    "<?xml version='1.'?><a/>"s,
                                    "<?xml version='1.0a' encoding='ISO-8859-1'?><a/>"s,
                                    "\xef\xbb\xbf<?xml version='1.0' encoding='ISO-8859-1'?><a>\xc3\xa4</a>"s,
                                    "\xef\xbb\xbf<?xml version='1.0' encoding='US-ASCII'?><a/>"s,
                                    Utf16("\xff\xfe", "<?xml version='1.0' encoding='UTF-16BE'?><a/>", false),
                                    Utf16("\xfe\xff", "<?xml version='1.0' encoding='UTF-8'?><a/>", true),
                                    "<a \xc3\xa4\x01='1'/>"s,
                                    "<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>"s,
                                    "<!DOCTYPE a><a/>"s,
                                    entities + "]><a>&x11;</a>",
                                    "<a/>text"s,
                                    "<a>\0</a>"s,
                                    "<?xml?><a/>"s,
                                    "<?xml encoding='UTF-8' version='1.0'?><a/>"s,
                                    "<?xml version='1.0' standalone='maybe'?><a/>"s,
                                    "<?xml version='1.0'?><?xml version='1.0'?><a/>"s,
                                    "<?XML a?><a/>"s,
                                    "<a><?b</a>"s,
                                    "<a><? b?></a>"s,
                                    "<a><!-- b</a>"s,
                                    "<a/><!-- b --->"s,
                                    "<a b='1'c='2'/>"s,
                                    "<a b='1/>"s,
                                    "<a b='&'/>"s,
                                    "<a b='&lt'/>"s,
                                    "<a b/ ='1'/>"s,
                                    "<a/ >"s,
                                    "< a/>"s,
                                    "</a>"s,
                                    "<a></a b='1'>"s,
                                    "<a><b></a></b>"s,
                                    "<a>&;</a>"s,
                                    "<a>&#;</a>"s,
                                    "<a>&#x;</a>"s,
                                    "<a>&#x110000;</a>"s,
                                    "<a>&#xfffe;</a>"s,
                                    "<a>&amp</a>"s,
                                    "<a>&Amp;</a>"s,
                                    "<![CDATA[a]]>"s,
                                    "<a><![cdata[b]]></a>"s,
                                    "<a><![CDATA[b]] ></a>"s,
                                    "<a/>&#32;"s,
                                    "<a/><!DOCTYPE a>"s,
                                    "<a>\xef\xbf\xbe</a>"s,
                                    "<a>\xf4\x90\x80\x80</a>"s,
                                    "<\xc3\x97/>"s,
                                    "<a -b='1'/>"s,
                                    "\xef\xbb\xbf\xef\xbb\xbf<a/>"s}) {
        Put("a.xml", text);
        EXPECT_FALSE(xml.Load_XML_Document(Path("a.xml"))) << text;
        EXPECT_TRUE(test::U(xml.Get_LoadFailure()).starts_with("line ")) << text;
        EXPECT_EQ(Whole() + At(), "");
    }
    for (wchar_t const* text :
         {L"<a>\n \xd800</a>", L"<a>\n \xdc80</a>", L"<a>\n \x7fffffff</a>", L"<a>\n \xffff</a>"}) {
        xml.Load_XML_From_Buffer(text);
        EXPECT_TRUE(test::U(xml.Get_LoadFailure()).starts_with("line 2, column 2: ")) << test::U(xml.Get_LoadFailure());
    }
    std::string const good = "<?xml version=\"1.0\"?><a b=\"1\">t&lt;<![CDATA[c]]><!-- d --><?e f?></a>";
    for (std::size_t size = 0; size < good.size(); ++size) {
        Put("a.xml", good.substr(0, size));
        EXPECT_FALSE(xml.Load_XML_Document(Path("a.xml"))) << size;
    }
    Put("a.xml", good);
    EXPECT_TRUE(xml.Load_XML_Document(Path("a.xml")));
    EXPECT_EQ(test::U(xml.Get_LoadFailure()), "");
    EXPECT_EQ(Whole(), "<?xml version=\"1.0\"?><a b=\"1\">t&lt;<![CDATA[c]]><!-- d --><?e f?></a>");
}

TEST_F(Xml, EachAllocationMayFail) {
    pugi::set_memory_management_functions(&NodeMemory, &std::free);
    std::wstring const longName(40000, L'n'), longText(40000, L't');  // each takes a piece of memory for itself
    std::wstring const document = L"<?xml version=\"1.0\"?><?p a=\"1\"?><a k=\"" + longText + L"\"><b>&#13;" +
                                  longText + L"</b><![CDATA[" + longText + L"]]></a>";
    std::string const utf8 = test::U(KxString(document)), utf16 = Utf16("\xff\xfe", utf8, false);
    Put("8.xml", utf8);
    Put("16.xml", utf16);
    Put("1252.xml", "<?xml version='1.0' encoding='windows-1252'?><\xe4/>");
    auto const load = [&](char const* name) { return xml.Load_XML_Document(Path(name)); };
    std::function<int()> const actions[] = {
        [&] { return load("8.xml"); },
        [&] { return load("16.xml"); },
        [&] { return load("1252.xml"); },
        [&] { return xml.Add_LastChildNode(longName.c_str()); },
        [&] { return xml.Add_FirstChildCData(longText.c_str()); },
        [&] { return xml.Set_Attribute(longName.c_str(), longText.c_str()); },
        [&] { return xml.Set_Attribute(L"k", longName.c_str()); },
        [&] { return xml.Set_TextValue(longText.c_str()); },
        [&] { return xml.Set_Header(L"xml", L"encoding", longName.c_str()); },
        [&] { return xml.Set_Header(L"p", L"b", longText.c_str()); },
        [&] { return xml.Set_Header(longName.c_str(), longName.c_str(), longText.c_str()); },
        [&] { return xml.Save_XML_Document(Path("saved.xml")); },
        [&] { return !Whole().empty(); },
        [&] { return xml.Get_CurrentTag().Len() && xml.Go_to_Child(L"b") && xml.Get_Chain().Len(); }};
    for (auto const& action : actions) {
        bool const isLoad = &action - actions < 3;
        auto const prepare = [&] {
            xml.Load_XML_From_Buffer(document.c_str());
            Put("saved.xml", "as it was");
        };
        prepare();
        ASSERT_TRUE(action()) << &action - actions;
        std::string const expected = Whole() + Get("saved.xml");
        prepare();
        std::string const before = Whole() + Get("saved.xml");
        for (int* const left : {&g_nodeMemoryLeft, &test::g_allocationsLeft})
            for (int n = 0, isDone = false; !isDone; ++n) {
                prepare();
                *left = n;
                try {
                    isDone = action();
                    *left = -1;
                    ASSERT_TRUE(isDone);
                } catch (std::bad_alloc const&) {
                    *left = -1;
                } catch (CException* exception) {
                    exception->Delete();
                }
                std::string const now = Whole() + Get("saved.xml");
                bool const isRight = isDone ? now == expected : now == before || (isLoad && now == "as it was");
                ASSERT_TRUE(isRight) << &action - actions << " " << n << now.substr(0, 200);
            }
    }
    pugi::set_memory_management_functions(&std::malloc, &std::free);
}

TEST_F(Xml, BoundsHold) {
    // The name of a node, and a chain to compare with, take what they are long, however deep the node is.
    auto const takes = [&](int depth) {
        xml.Reset_XML_Document();
        for (int i = 0; i <= depth; ++i) EXPECT_TRUE(xml.Add_LastChildNode(L"element"));
        std::size_t const before = test::g_allocatedBytes;
        for (int i = 0; i < 100; ++i)
            EXPECT_TRUE(xml.Add_NodeAfter(L"e") && xml.Is_Tag(L"<e>") && xml.Is_Child_of(L"nt><element>"));
        return test::g_allocatedBytes - before;
    };
    EXPECT_EQ(takes(1000), takes(10));
    auto const nested = [&](int levels) {
        std::string text;
        for (int i = 0; i < levels; ++i) text += "<a>";
        for (int i = 0; i < levels; ++i) text += "</a>";
        Put("a.xml", text);
        Put("wide.xml", Utf16("\xff\xfe", text, false));  // which is read another way
        int const isRead = xml.Load_XML_Document(Path("wide.xml"));
        EXPECT_EQ(xml.Load_XML_Document(Path("a.xml")), isRead);
        return isRead;
    };
    int const depth = KxxLimits().nestingDepth;
    EXPECT_FALSE(nested(200000));
    EXPECT_FALSE(nested(depth + 1));
    ASSERT_TRUE(nested(depth));
    EXPECT_TRUE(xml.Save_XML_Document(Path("b.xml")));
    EXPECT_LT(Get("b.xml").size(), 8u * static_cast<unsigned>(depth));
    for (int i = 1; i < depth; ++i) ASSERT_TRUE(xml.Go_to_Child());
    EXPECT_FALSE(xml.Add_LastChildNode(L"b"));
    EXPECT_TRUE(xml.Add_NodeAfter(L"b"));
    std::string many = "<a";
    for (std::size_t i = 0; i <= KxxLimits().xmlAttributes; ++i) many += " a" + std::to_string(i) + "='1'";
    for (std::string const& text : {many + "/>", Utf16("\xff\xfe", many + "/>", false)}) {
        Put("a.xml", text);
        EXPECT_FALSE(xml.Load_XML_Document(Path("a.xml")));
        EXPECT_NE(test::U(xml.Get_LoadFailure()).find("too many attributes"), std::string::npos);
    }
    auto const mostAttributes = std::exchange(KxxLimits().xmlAttributes, 2);
    xml.Load_XML_From_Buffer(L"<a b='1' c='2'/>");
    EXPECT_TRUE(xml.Set_Attribute(L"c", L"3") && !xml.Set_Attribute(L"d", L"4"));
    KxxLimits().xmlAttributes = mostAttributes;
    EXPECT_EQ(Whole(), "<a b=\"1\" c=\"3\"/>");
    auto const former = std::exchange(KxxLimits().textFileBytes, 100);
    EXPECT_FALSE(xml.Load_XML_Document(Path("a.xml")));
    KxxLimits().textFileBytes = former;
    Put("a.xml", "<a b='" + std::string(8000000, 'x') + "'/>");
    EXPECT_TRUE(xml.Load_XML_Document(Path("a.xml")));
    EXPECT_EQ(KxString(xml.Get_Attribute_Value(0)).Len(), 8000000);
}

}  // namespace
