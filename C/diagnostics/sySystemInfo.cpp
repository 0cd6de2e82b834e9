// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/diagnostics/sySystemInfo.h"

namespace KxN {

// No toolkit is linked that could be asked for the user's theme.
KxColor KxSystemInfo::GetColorActiveCaption() {
    return KxColor(0x99, 0xB4, 0xD1);
}

KxColor KxSystemInfo::GetColorCaptionText() {
    return KxColor(0, 0, 0);
}

}  // namespace KxN
