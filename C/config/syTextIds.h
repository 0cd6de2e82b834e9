// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the texts of configuration in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum ConfigId : unsigned short {
    FolderNotMade = 2251,
    ReadOtherwise = 2252,
    TooManyLines = 2253,
    TooFewKeys = 6310,
    LabelUnknown = 6311,
    TooFewNumbers = 6312,
    NumbersRefused = 6313,
    PathRefused = 6314,
    PathMissing = 6315,
    RectangleRefused = 6316,  // the check of rectangles says 6313; the text stays for language packs
    ValueNotStored = 6317
};

}  // namespace KxN::text
