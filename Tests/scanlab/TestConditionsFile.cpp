// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Measurement conditions as XML: what comes back, and what is refused.
#include "Conditions.h"
#include "ConditionsFile.h"
#include "Lab.h"

#include "hbtools/base/syLimits.h"

#include <cmath>
#include <limits>
#include <utility>

using namespace KxN;
using namespace ScanLab;

namespace {

class ConditionsFile : public Lab {
protected:
    /// Whether a scan with these conditions is the same as one with those, in every bit.
    static bool AreSame(KxPropertyList const& a, KxPropertyList const& b) {
        StoredScan one, other;
        one.scan.conditions = a;
        other.scan.conditions = b;
        return IsSame(one, other);
    }
};

TEST_F(ConditionsFile, WhatIsWrittenComesBack) {
    KxPropertyList all(L"Bedingungen", L"Alle 100 %%", 7);
    auto const add = [&](auto value, wchar_t const* name) {
        using T = decltype(value);
        all.Insert(new KxTProperty<T>(name, L"x %d", value, 0x8001));
        T const values[] = {value, T(1), T(0)};
        all.Insert(new KxTBuf1DProperty<T>(KxString(name) + L"s", L"s: ", KxTBuf1D<T>(values, 3), 7));
    };
    add(std::numeric_limits<char>::min(), L"char");
    add(std::numeric_limits<unsigned char>::max(), L"uchar");
    add(std::numeric_limits<short>::min(), L"short");
    add(std::numeric_limits<unsigned short>::max(), L"ushort");
    add(std::numeric_limits<int>::min(), L"int");
    add(std::numeric_limits<unsigned>::max(), L"uint");
    add(-2147483647L - 1, L"long");
    add(4294967295UL, L"ulong");
    add(std::nextafter(0.1f, 1.0f), L"float");
    add(std::nextafter(0.1, 1.0), L"double");
    for (double const odd : {-0.0, HUGE_VAL, -HUGE_VAL, std::nan(""), 5e-324})
        all.Insert(new KxTProperty<double>(KxxFormat(L"%g", odd), L"%.3f %%", odd, 7));
    for (wchar_t const* format : {L"none", L"100 %% %g", L"%g mm per s"})
        all.Insert(new KxTProperty<double>(format, format, 1.5, 7));
    all.Insert(new KxTBuf1DProperty<int>(L"none at all", L"", KxTBuf1D<int>(), 7));
    for (wchar_t const* text : {L"", L" ", L" \t\r\n<&>\"' ", L"\u00b5m \U0001F4CF", L"]]>", L"--"})
        all.Insert(new KxStringProperty(KxString(text) + L"?", L"%s %s", text, 0));
    KxPropertyList* deepest = &all;
    for (int i = 0; i < 1000; ++i) {
        deepest->Insert(new KxPropertyList(L"deeper", L"deeper", 9));
        deepest = deepest->GetProperty(L"deeper")->GetList();
    }
    for (KxPropertyList const& conditions : {all, ConditionsOfPlate(), KxPropertyList()}) {
        SaveConditions(Path("c.xml"), conditions);
        KxPropertyList const loaded = LoadConditions(Path("c.xml"));
        EXPECT_TRUE(AreSame(loaded, conditions)) << Get("c.xml").substr(0, 3000);
        EXPECT_TRUE(loaded.GetName() == conditions.GetName() &&
                    loaded.GetMessageFormat() == conditions.GetMessageFormat());
    }
    Scan deep;
    deep.conditions = all;
    EXPECT_LT(ConditionsText(deep).Len(), 1200 * 90);  // a line of each, no pages of blanks
    all.Insert(new KxStringProperty(L"bell", L"", L"\a", 0));
    EXPECT_TRUE(test::Thrown<KxException>([&] {
                    SaveConditions(Path("c.xml"), all);
                }).starts_with("Die Messbedingung \"bell\" lässt sich nicht als XML schreiben"));
    EXPECT_LT(Get("c.xml").size(), 200u);  // that of the last one, as it was
    class Strange : public KxProperty {
        KxString GetMessageW() const override { return {}; }
        KxProperty* Clone() const override { return new Strange(*this); }
    };
    KxPropertyList strange(L"", L"", 0);
    strange.Insert(new Strange);
    EXPECT_NE(test::Thrown<KxException>([&] { SaveConditions(Path("c.xml"), strange); }).find("Strange"),
              std::string::npos);
    int const depth = std::exchange(KxxLimits().nestingDepth, 3);
    EXPECT_NE(test::Thrown<KxException>([&] { SaveConditions(Path("c.xml"), ConditionsOfPlate()); }).find("too deep"),
              std::string::npos);
    KxxLimits().nestingDepth = depth;
}

TEST_F(ConditionsFile, IsReadableForPeopleAndTakesTheirs) {
    Run("Synthesize plate FALSE 100;");
    Run("ExportConditions;");
    for (char const* part : {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<conditions version=\"1\">\n",
                             "\n\t<number name=\"Temperature\" value=\"20.3\" unit=\"\xc2\xb0"
                             "C\" format=\"Temperature  %.1f \xc2\xb0"
                             "C\"/>\n",
                             "\n\t\t<numbers name=\"Exposures\" value=\"0.25 0.5 1\" format=\"Exposures    ms: \"/>\n",
                             "\n\t\t\t<number name=\"Neighbours\" value=\"8\" type=\"int\" format="})
        EXPECT_NE(Get("out/conditions.xml").find(part), std::string::npos) << part;
    Put("own.xml",
        "<?xml version='1.0' encoding='windows-1252'?><!-- by hand -->\n<conditions version='1'>\n"
        "  <number unit='\xb0"
        "C' value='-2.5e1' name='Cold'/><number name='Share' value='7' unit='%' type='int'>\n  </number>\n"
        "  <?by hand?><list name='100 %'><!-- x --><text name='Who' value='me'/><numbers name='Times' value='1 "
        "2\n3'/><!-- y --></list><list name='Empty'>\n</list><text name='Bare' value='t'><!-- z --><?a?></text><!-- t "
        "--></conditions><!-- u "
        "-->");
    EXPECT_EQ(Run("ImportConditions \"" + File("own.xml").string() + "\";"),
              "Conditions\n    Cold  -25 \xc2\xb0"
              "C\n    Share  7 %\n    100 %\n        Who  me\n        Times  1; 2; 3; \n    Empty\n    Bare  t\n");
    EXPECT_EQ(Run("Undo;"), "Undone      ImportConditions plate\n");
    EXPECT_TRUE(AreSame(ScanOf(L"plate").conditions, ConditionsOfPlate()));
}

TEST_F(ConditionsFile, RefusesWithElementAndLine) {
    std::string utf16 = "=", little = "=";  // without a mark
    for (char const c : std::string("<conditions version='1'>\n<!-- <list>\n --><list/></conditions>")) {
        utf16 += {'\0', c};
        little += {c, '\0'};
    }
    struct Case {
        std::string element;  // on line 4 of a whole document; all of it if it begins with "="
        char const* reason;   // behind place; all if it begins with "="
    } const cases[] = {
        {"<number name='T' value='20,3'/>", "number\": \"20,3\" ist kein Wert vom Typ double"},
        {"<number name='T' value=''/>", "number\": \"\" ist kein Wert vom Typ double"},
        {"<number name='T' value=' 1'/>", "number\": \" 1\" ist kein Wert vom Typ double"},
        {"<number name='T' value='1e999'/>", "number\": \"1e999\" ist kein Wert"},
        {"<number name='T' value='2\xc2\xb2'/>", "number\": \"2\xc2\xb2\" ist kein Wert"},
        {"<number name='T' value='0x10'/>", "number\": \"0x10\" ist kein Wert"},
        {"<number name='T' value='nan(1)'/>", "number\": \"nan(1)\" ist kein Wert"},
        {"<number name='T' value='1.0' type='int'/>", "number\": \"1.0\" ist kein Wert vom Typ int"},
        {"<number name='T' value='256' type='uchar'/>", "number\": \"256\" ist kein Wert vom Typ uchar"},
        {"<number name='T' value='-1' type='uint'/>", "number\": \"-1\" ist kein Wert vom Typ uint"},
        {"<number name='T' value='4294967296' type='ulong'/>", "number\": \"4294967296\" ist kein Wert vom Typ ulong"},
        {"<number name='T' value='1' type='real'/>", "number\": \"real\" ist kein Wert vom Typ type"},
        {"<text name='C' value='c'><![CDATA[<a>]]></text>", "text\": Hier steht etwas anderes als ein Wert"},
        {"<numbers name='T' value='1 2 x'/>", "numbers\": \"1 2 x\" ist kein Wert vom Typ double"},
        {"<numbers name='T' value='1' unit='mm'/>", "numbers\": Das Attribut \"unit\" gibt es hier nicht"},
        {"<number name='T' value='1' unit='m' format='%g mm'/>",
         "number\": Die Einheit \"m\" ist nicht die des Formats"},
        {"<text name='T'/>", "text\": Das Attribut \"value\" fehlt"},
        {"<text value='T'/>", "text\": Das Attribut \"name\" fehlt"},
        {"<text name='T' value='1' Value='2'/>", "text\": Das Attribut \"Value\" gibt es hier nicht"},
        {"<text name='T' value='1' group='-1'/>", "text\": \"-1\" ist kein Wert vom Typ uint"},
        {"<text name='T' value='1'>2</text>", "text\": Hier steht etwas anderes als ein Wert"},
        {"<text name='T' value='1'><list name='x'/></text>", "text\": Hier steht etwas anderes als ein Wert"},
        {"<text name='A' value='1'/>", "text\": Der Name \"A\" kommt zweimal vor"},
        {"<list name='T' value='1'/>", "list\": Das Attribut \"value\" gibt es hier nicht"},
        {"<list name='L'><![CDATA[x]]></list>", "#CDATA#\": Hier steht etwas anderes"},
        {"<list name='L'> <![CDATA[x]]></list>", "#CDATA#\": Hier steht etwas anderes"},
        {"<temperature/>", "temperature\": Dieses Element gibt es hier nicht"},
        {"=<other version='1'/>", "Zeile 1, Element \"other\": Dies sind keine Messbedingungen der Version 1"},
        {"=\n<conditions version='2'/>", "Zeile 2, Element \"conditions\": Dies sind keine Messbedingungen"},
        {"=<conditions version='1'>\r\rfree text</conditions>",
         "Zeile 1, Element \"#TEXT#\": Hier steht etwas anderes"},
        {"=<conditions version=\"1\">\r<list name=\"A>\">\r\n</list>\n<list/></conditions>",
         "Zeile 4, Element \"list\": Das Attribut \"name\" fehlt"},
        {utf16, "Zeile 3, Element \"list\": Das Attribut \"name\" fehlt"},
        {little, "Zeile 3, Element \"list\": Das Attribut \"name\" fehlt"},
        {"=<conditions>", "c.xml: line 1, column 13: no element found"},
        {"=<!DOCTYPE conditions [<!ENTITY a 'b'>]><conditions version='1'/>", "document type declaration"},
    };
    Run("Synthesize plate FALSE 100;");
    for (Case const& c : cases) {
        bool const isWhole = c.element[0] == '=';
        Put("c.xml", isWhole
                         ? c.element.substr(1)
                         : std::string("<?xml version='1.0'?><!-- <list>\n --><conditions version='1'>\n<text name='A' "
                                       "value='>\"'/>\n") +
                               c.element + "\n</conditions>\n");
        std::string const outcome = Run("ImportConditions \"" + File("c.xml").string() + "\";");
        std::string const expected = isWhole ? c.reason : std::string("c.xml, Zeile 4, Element \"") + c.reason;
        EXPECT_NE(outcome.find(expected), std::string::npos) << c.element << '\n' << outcome;
    }
    EXPECT_TRUE(AreSame(ScanOf(L"plate").conditions, ConditionsOfPlate()));
    EXPECT_NE(Run("ImportConditions missing.xml;").find("missing.xml: "), std::string::npos);
}

}  // namespace
