// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A satellite: the input as the whole file, and as the table of texts in one. What is accepted is looked up and formatted.
#include "hbtools/base/syModule.h"
#include "hbtools/base/syResource.h"

#include "../localisation/SatelliteFile.h"
#include "ConfigFuzz.h"

static void Load(std::string const& bytes) {
    using namespace KxN;
    ConfigFolder().Write("f", bytes);
    HINSTANCE const satellite = KxxLoadSatellite(FuzzPath());
    if (!satellite) {
        if (KxxGetModuleError().text.Len() == 0) Broken();
        return;
    }
    // For each input anew, since a module keeps every source that it ever had.
    static constexpr SxStringResource texts[] = {{7, "%d"}, {2007, "%s"}, {2010, "%s %lu"}, {2016, "%s %lf"}};
    CDynLinkLibrary module(texts);
    module.SetResourceHandle(satellite);
    for (unsigned id = 0; id < 65536; id += id < 2100 ? 1 : 61) {
        KxString const text = module.LoadText(static_cast<unsigned short>(id));
        if (KxxWidenUtf8(module.FindText(static_cast<unsigned short>(id))) != text.View()) Broken();
        if (text.Len() > 0) KxxFormat(text.View(), L"a", 7, 2.5);
    }
    if (!AfxFreeLibrary(satellite)) Broken();
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    KxN::KxxSetTextReporter([](KxN::KxString const&) {});
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    Load(bytes);
    Load(test::SatelliteFile(bytes));
    return 0;
}
