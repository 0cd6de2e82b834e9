// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/interchange.md: an XML document and a zip archive, written and read.
#include <cstdio>
#include <fstream>
#include <hbtools/hbtools.h>

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
    return L"written";
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

struct Bar {
    ULONGLONG shown = 0;
    void Show(ULONGLONG done, ULONGLONG all) { shown = 100 * done / all; }
};

}  // namespace

int main() {
    std::printf("%ls\n", Written(L"conditions.xml").GetStr());
    std::printf("%d characters of sensors\n", Sensors(L"conditions.xml").Len());

    KxString const scan = L"conditions.xml", report = L"report.html", archive = L"results.zip", folder = L"unpacked";
    std::ofstream("report.html") << "report";
    std::remove("results.zip");
    KxZipHelper::CompressFile(scan, archive, L"scans", L"Plate 7");
    KxTMap<KxString, KxString> files;  // name in the archive to path
    KxZipHelper::UncompressFiles(archive, folder, files);
    std::printf("%ls\n", files[L"scans\\conditions.xml"].GetStr());

    Bar bar;
    KxTDynArray<SxZipSource> sources;
    sources.Add({scan, L"scans"});
    sources.Add({report, L""});
    KxZipHelper::CompressFiles(sources, archive, L"Plate 7", KxZipHelper::Mode::replace,
                               [&](ULONGLONG done, ULONGLONG all) { bar.Show(done, all); });
    std::printf("packed, %llu %%\n", bar.shown);
}
