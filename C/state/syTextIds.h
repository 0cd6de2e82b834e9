// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the room's own texts in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum StateId : unsigned short {
    StepTooLarge = 2801,
};

}  // namespace KxN::text
