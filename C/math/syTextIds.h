// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the texts of mathematics in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum MathId : unsigned short { NoSolution = 6020 };

}  // namespace KxN::text
