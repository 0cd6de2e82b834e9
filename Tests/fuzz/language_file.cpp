// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The table of languages of a localiser.
#include "hbtools/base/syConfig.h"
#include "hbtools/localisation/syLocalizer.h"

#include "ConfigFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace KxN;
    ConfigFolder().Write("f", std::string(reinterpret_cast<char const*>(data), size));
    Survive([] {
        KxConfig config(FuzzPath());
        KxString const group = config.GetGroupCount() > 0 ? config.GetGroup(0) : KxString(L"Languages");
        KxSingleDLLLocalizer localizer;
        localizer.Init(FuzzPath(), group);
        for (wchar_t const* name : {L"AUTO", L"GERMAN", L"english"})
            if (!localizer.SetActiveLanguage(name)) Broken();
        config.SetGroup(group);
        if (config.GetKeyCount() > 0) localizer.SetActiveLanguage(config.GetKeyName(0));
        localizer.SetSourceModule(L"/nowhere/App.exe");
        localizer.DoLocalization(1);
        localizer.SetActiveLanguage(1031UL);
    });
    return 0;
}
