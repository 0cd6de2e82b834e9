// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of the texts of threads in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum ThreadId : unsigned short {
    NoThread = 2701,
    NoApplication = 2702,
    CallNotPosted = 2703,
    ThreadOutOfReach = 2704,
    ThreadCaught = 6380,
    ThreadCaughtUnknown = 6381
};

}  // namespace KxN::text
