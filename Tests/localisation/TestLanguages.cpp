// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A program, an extension and the library change their language together; and the example of
// Doc/formats/satellites.md is read.
#include "hbtools/localisation/syLocalizer.h"

#include "LocalisationTest.h"
#include "SatelliteFile.h"

#include <sstream>

extern KxN::SxStringResource const g_testTexts[];
extern std::size_t const g_testTextsCount;

namespace {

using namespace test;

class Guide : public ModuleTree {};

TEST_F(Guide, ProgramExtensionAndLibrary) {
    Put("ini", "[Languages]\nFrench=0x0C;1\nSwiss=7;2\nPseudo=0x101;1\n");
    KxString const settings = Path("ini"), wanted = L"English";
    HINSTANCE const module = AfxLoadLibrary(m_module);
    ASSERT_TRUE(module);
    KxTextReporter const former = KxxSetTextReporter([](KxString const&) {});
    {
        CDynLinkLibrary texts(g_testTexts, &g_testTextsCount);
        AfxSetResourceModule(&texts);  // the program's own

        KxGlobalLocalizer localizer;
        localizer.Init(settings, L"Languages");
        if (!localizer.SetActiveLanguage(wanted)) localizer.SetActiveLanguage(L"AUTO");
        localizer.DoLocalization(1);  // satellites of another version are not used
        EXPECT_EQ(U(KxString(KxResId(1, nullptr))), "Measurement");
        EXPECT_EQ(U(KxString(KxResId(2001))), "A run-time error has occurred");
        EXPECT_EQ(Text(LibraryOf(module), 20), "Points");
        AfxSetResourceHandle(KxxGetProgram());
    }
    EXPECT_EQ(AfxGetResourceModule(), nullptr);
    EXPECT_EQ(Text(LibraryOf(module), 20), "Punkte");
    KxxSetTextReporter(former);
    AfxFreeLibrary(module);
}

TEST_F(Guide, BytesOfTheFormatPage) {
    std::ifstream page(HBTOOLS_SOURCE_DIR "/Doc/formats/satellites.md");
    std::string const text(std::istreambuf_iterator<char>(page), {});
    std::size_t const start = text.find("```\n", text.find("## Example")) + 4;
    std::istringstream hex(text.substr(start, text.find("```", start) - start));
    std::string table, byte;
    while (hex >> byte) table += static_cast<char>(std::stoi(byte, nullptr, 16));
    Put("pack", SatelliteFile(table));
    HINSTANCE const satellite = KxxLoadSatellite(Path("pack"));
    ASSERT_TRUE(satellite) << U(KxxGetModuleError().text);
    static constexpr SxStringResource none[] = {{1, "x"}};
    CDynLinkLibrary library(none);
    library.SetResourceHandle(satellite);
    for (auto const& [id, expected] : {std::pair{1, "x"}, {7, "a"}, {8, ""}, {9, "bc"}})
        EXPECT_EQ(Text(&library, static_cast<unsigned short>(id)), expected);
}

}  // namespace
