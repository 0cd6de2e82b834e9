// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/interchange.md: it stands here, so that it compiles, and does what is said there.
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"

#include "../base/Guide.h"
#include "../base/Support.h"

using namespace KxN;

namespace {

// clang-format off
KxString Written(KxString const& path) {
    XML_PARSER document;
    document.Add_FirstChildNode(L"conditions");
    document.Set_Header(L"xml", L"encoding", L"ISO-8859-1");
    document.Add_LastChildNode(L"sensor");
    document.Set_Attribute(L"unit", L"\u00b0C");
    document.Set_TextValue(L"20.3");
    document.Go_to_Parent();
    if (!document.Save_XML_Document(path)) return document.Get_LastError();
    return {};
}

KxString Sensors(KxString const& path) {
    KxString list;
    XML_PARSER xml;
    if (!xml.Load_XML_Document(path)) return xml.Get_LoadFailure();
    for (int found = xml.Go_to_Child(L"sensor"); found; found = xml.Go_Forward(L"sensor"))
        if (xml.Is_Having_Attribute(L"unit"))
            list = list + xml.Get_TextValue() + L" " + xml.Get_Attribute_Value() + L"; ";
    return list;
}

class InterchangeGuide : public test::TempFolder {};

TEST_F(InterchangeGuide, CodeOfTheDocumentation) {
    EXPECT_EQ(Written(Path("c.xml")).Len(), 0);
    EXPECT_EQ(test::U(Sensors(Path("c.xml"))), "20.3 \xc2\xb0" "C; ");
    EXPECT_NE(Get("c.xml").find("unit=\"\xb0" "C\">20.3</sensor>"), std::string::npos);

    struct { ULONGLONG shown; void Show(ULONGLONG done, ULONGLONG all) { shown = 100 * done / all; } } bar{0};
    KxString const scan = Path("c.xml"), report = Path("r.html"), archive = Path("z.zip"), folder = Path("out");
    Put("r.html", "report");
    KxZipHelper::CompressFile(scan, archive, L"scans", L"Plate 7");
    KxTMap<KxString, KxString> files;  // name in the archive to path
    KxZipHelper::UncompressFiles(archive, folder, files);
    EXPECT_EQ(test::U(files[L"scans\\c.xml"]), File("out/scans/c.xml").string());

    KxTDynArray<SxZipSource> sources;
    sources.Add({scan, L"scans"});
    sources.Add({report, L""});
    KxZipHelper::CompressFiles(sources, archive, L"Plate 7", KxZipHelper::Mode::replace,
                               [&](ULONGLONG done, ULONGLONG all) { bar.Show(done, all); });
    KxZipHelper::UncompressFiles(archive, folder, files);
    EXPECT_TRUE(files.Count() == 2 && bar.shown == 100);
}
// clang-format on

TEST(InterchangeGuideText, ShowsWhatStandsHere) {
    test::ExpectGuideShows("/Doc/interchange.md", "/Tests/interchange/TestGuide.cpp", 4);
}

}  // namespace
