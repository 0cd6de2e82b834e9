// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "TextIds.h"

// What the build makes of ScanLab.DEU.
extern KxN::SxStringResource const g_scanlabTexts[];
extern std::size_t const g_scanlabTextsCount;

namespace ScanLab {

void UseTexts() {
    static constinit KxN::CDynLinkLibrary texts(g_scanlabTexts, &g_scanlabTextsCount);
    KxN::AfxSetResourceModule(&texts);
}

}  // namespace ScanLab
