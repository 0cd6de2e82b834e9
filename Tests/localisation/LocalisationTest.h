// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of this room share: a temporary tree with a copy of the extension module and its satellites.
#pragma once

#include "../base/Support.h"
#include "hbtools/base/syModule.h"
#include "hbtools/base/syResource.h"

namespace test {

using namespace KxN;

class ModuleTree : public TempFolder {
protected:
    ModuleTree() {
        std::filesystem::copy(HBTOOLS_TREE, m_folder, std::filesystem::copy_options::recursive);
        m_module = Path("libExtension.so");
    }
    std::string Satellite(std::string const& code) const { return "LanguagePacks/" + code + "/libExtension." + code; }

    KxString m_module;
};

inline CDynLinkLibrary* LibraryOf(HINSTANCE module) {
    return KxxGetFunction<CDynLinkLibrary*()>(module, "Library")();
}

inline std::string Text(CDynLinkLibrary* library, unsigned short id) {
    std::string const text = U(KxString(KxResId(id, library)));
    EXPECT_EQ(text, library->FindText(id));
    return text;
}

}  // namespace test
