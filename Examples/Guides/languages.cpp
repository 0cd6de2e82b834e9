// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/languages.md: a program whose texts are German, and English where its language pack is.
#include <cstdio>
#include <fstream>
#include <hbtools/hbtools.h>

using namespace KxN;

extern SxStringResource const g_texts[];  // what CMake makes of languages.DEU
extern std::size_t const g_textsCount;

int main(int argc, char** argv) {
    std::ofstream("languages.ini") << "[Languages]\nFrench=0x0C;1\nSwiss=7;2\nPseudo=0x101;1\n";
    KxString const settings = L"languages.ini", wanted(argc > 1 ? argv[1] : "English");
    try {
        CDynLinkLibrary texts(g_texts, &g_textsCount);
        AfxSetResourceModule(&texts);  // the program's own

        KxGlobalLocalizer localizer;
        localizer.Init(settings, L"Languages");
        if (!localizer.SetActiveLanguage(wanted)) localizer.SetActiveLanguage(L"AUTO");
        localizer.DoLocalization(1);  // satellites of another version are not used

        std::printf("%ls\n", KxString(KxxFormat(KxString(KxResId(10, nullptr)).GetStr(), 12.5, L"A1")).GetStr());
        std::printf("%ls\n", KxString(KxResId(2001)).GetStr());  // one of the library's
    } catch (CException* exception) {
        std::printf("%ls\n", CException::TextOf(*exception).GetStr());
        exception->Delete();
    }
}
