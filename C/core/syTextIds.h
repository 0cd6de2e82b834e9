// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the room's own texts in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum CoreId : unsigned short {
    NotAnIdentifier = 2151,
    WrongIdentifierSize = 2152,
    BadSharedHandle = 3600,
    RoundingFault = 6360,
};

}  // namespace KxN::text
