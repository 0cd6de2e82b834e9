// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syResource.h"

#include <algorithm>
#include <atomic>

// Made from Resources/hbtools.DEU by the build.
__attribute__((visibility("hidden"))) extern KxN::SxStringResource const g_hbtoolsTexts[];
__attribute__((visibility("hidden"))) extern std::size_t const g_hbtoolsTextsCount;

namespace KxN {

namespace {
constinit CDynLinkLibrary g_hbToolsModule(g_hbtoolsTexts, &g_hbtoolsTextsCount);
constinit std::atomic<CDynLinkLibrary*> g_applicationModule = nullptr;
}  // namespace

constinit CDynLinkLibrary* const g_pHbToolsModule = &g_hbToolsModule;

CDynLinkLibrary* AfxSetResourceModule(CDynLinkLibrary* module) {
    return g_applicationModule.exchange(module);
}

CDynLinkLibrary* AfxGetResourceModule() {
    return g_applicationModule;
}

std::string_view CDynLinkLibrary::FindText(unsigned short id) const {
    SxStringResource const* const end = m_texts + *m_count;
    SxStringResource const* const found = std::lower_bound(
        m_texts, end, id, [](SxStringResource const& entry, unsigned short key) { return entry.id < key; });
    return found != end && found->id == id ? std::string_view(found->text) : std::string_view();
}

}  // namespace KxN
