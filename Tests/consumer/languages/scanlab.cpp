// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The program that the guide to languages builds: scanlab LANGUAGE prints a text. The texts, what CMake makes of them and the
// file with the languages, scanlab.ini, are those of the guide.
#include <hbtools/hbtools.h>

#include <cstdio>

extern KxN::SxStringResource const g_texts[];
extern std::size_t const g_textsCount;

int main(int, char** argv) {
    using namespace KxN;
    try {
        CDynLinkLibrary texts(g_texts, &g_textsCount);
        AfxSetResourceModule(&texts);
        KxGlobalLocalizer localizer;
        localizer.Init(L"scanlab.ini", L"Languages");
        if (!localizer.SetActiveLanguage(KxString(argv[1]))) return 2;
        localizer.DoLocalization(2);
        KxString const text = KxxFormat(KxString(KxResId(10, nullptr)).GetStr(), 12.5, L"A1");
        std::puts(KxxToUtf8(text.View()).c_str());
        return 0;
    } catch (CException* exception) {
        std::puts(KxxToUtf8(CException::TextOf(*exception).View()).c_str());
        exception->Delete();
    }
    return 1;
}
