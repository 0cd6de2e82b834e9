// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The memory of this process, counted: every malloc of the program, of the library and of the C libraries beneath it goes
// through here, and one of them, or all from one on, can be made to fail.
#pragma once

namespace memory {

struct Live {
    long long blocks = 0;
    long long bytes = 0;
    bool operator==(Live const&) const = default;
};
Live CountLive();

/// The most bytes that were live at a time since StartPeak, beyond those that were live then.
void StartPeak();
long long PeakBytes();

/// Allocation `number`, counted from 1 on all threads, fails from here on; with `isLasting` all later ones do too. 0: none,
/// they are only counted.
void Arm(int number, bool isLasting);
/// Ends that. Returns how many allocations were asked for.
int Disarm();
/// Whether an allocation has failed since Arm.
bool HasFailed();
/// Whether the first that failed was asked for by the C library, for itself.
bool HasFailedInLibC();

}  // namespace memory
