// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An extension module as others would write one: its texts are known while it is loaded.
#include "hbtools/base/syResource.h"

extern KxN::SxStringResource const g_extensionTexts[];
extern std::size_t const g_extensionTextsCount;

namespace {
KxN::AFX_EXTENSION_MODULE g_state;
KxN::CDynLinkLibrary g_library(g_state, g_extensionTexts, &g_extensionTextsCount);
}  // namespace

extern "C" {
[[gnu::visibility("default")]] KxN::CDynLinkLibrary* Library();
[[gnu::visibility("default")]] unsigned short KxxModuleVersion();
KxN::CDynLinkLibrary* Library() {
    return &g_library;
}
unsigned short KxxModuleVersion() {
    return 205;
}
}
