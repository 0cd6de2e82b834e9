// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers of this room's own texts in Resources/. Language packs refer to them: do not renumber.
#pragma once

namespace KxN::text {

enum DiagnosticsId : unsigned short {
    SuppressOn = 2301,
    SuppressOff = 2302,
    DelayOn = 2303,
    DelayOff = 2304,
    DebugFileFailed = 2305,
    TerminatedBy = 2306,
    Terminated = 2307,
    TerminatedGroup = 2308,
    BadKey = 2309,
    FileInUse = 2310,
    NoLog = 2311,
    LogTooLarge = 2312,
    DatePrefix = 6040,
    TimePrefix = 6041,
    FilePrefix = 6042,
    LinePrefix = 6043
};

}  // namespace KxN::text
