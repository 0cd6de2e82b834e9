// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxSystemInfo: colours of the desktop, for drawings that shall fit in. Where the desktop does not tell, the customary
// ones. Nothing throws; any thread.
#pragma once

#include "hbtools/base/syTypes.h"
#include "hbtools/core/syColor.h"

namespace KxN {

class KX_API KxSystemInfo {
public:
    static KxColor GetColorActiveCaption();  ///< Behind the title of the window in front.
    static KxColor GetColorCaptionText();    ///< Of the title itself.
};

}  // namespace KxN
