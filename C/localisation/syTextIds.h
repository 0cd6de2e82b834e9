// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the room's own texts in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum LocalisationId : unsigned short {
    WrongSatelliteVersion = 6401,
};

}  // namespace KxN::text
