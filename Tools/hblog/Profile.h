// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The PROFILE lines of a debug file as calls: who was entered and left in which thread, and how long it took.
//
//     PROFILE;0x1A2B;12:00:00;enter;Load;;;;                    entered
//     PROFILE;0x1A2B;12:00:01;header read;Load;12:00:00;812;;   a first mark: milliseconds since it was entered
//     PROFILE;0x1A2B;12:00:02;leave;Load;12:00:00;1650;838;     ... and since the last mark
//
// Times of day are whole seconds; the place of a call on the time line is therefore made from the milliseconds, within
// the second in which it was entered, and never before the end of the one before it. A mark belongs to the call of its
// number, name and time of entry that was entered last.
#pragma once

#include "DebugFile.h"

namespace hblog {

struct ProfileCall {
    KxN::KxString name;
    unsigned long thread;
    double start;  // microseconds since the midnight of the first call
    double duration;
    bool isLeft;  // false: not left when the file ended
};

struct ProfileMark {
    KxN::KxString text;
    KxN::KxString name;
    unsigned long thread;
    double time;  // as a call's start
};

struct ProfileTotal {
    KxN::KxString name;
    unsigned long thread;
    unsigned long count;
    double total, most;  // milliseconds
};

struct Profile {
    std::vector<ProfileCall> calls;
    std::vector<ProfileMark> marks;
    std::vector<ProfileTotal> totals;  // of calls that were left, the longest total first
    unsigned long badLines = 0;        // that begin with PROFILE; and are none, or leave what was not entered
};

Profile ReadProfile(DebugFile const& file);
/// The calls in the trace format that browsers show.
std::string TraceJson(Profile const& profile);

}  // namespace hblog
