// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the texts of tag files in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum TagId : unsigned short {
    VersionNeeds64 = 2201,
    ReplaceTooLong = 2202,
    VersionNeeds32 = 2203,
    CopyDiffers = 2204,
    ReplaceByNone = 2205,
    HeaderBigEndian = 6000,
    HeaderLength = 6001,
    FileTooLarge = 6002,
    ObjectNotMade = 6111,
    ObjectInFileNotMade = 6112,
    WrongObjectType = 6132,
    TagMissing = 6151
};

}  // namespace KxN::text
