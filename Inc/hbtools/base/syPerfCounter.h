// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Counters of the system's performance, asked for by path: an object, an instance where the object has several, and a
// counter. Names compare without regard to case. What is there:
//
//     \Processor(*)\         % Processor Time, % User Time, % Privileged Time, % Idle Time     (* is _Total or 0, 1, ...)
//     \Memory\               Available Bytes, Available KBytes, Available MBytes, Cache Bytes, Committed Bytes,
//                            Commit Limit, % Committed Bytes In Use, Page Faults/sec
//     \System\               Processes, Threads, System Up Time, Context Switches/sec, Processor Queue Length
//     \Process(*)\           % Processor Time, % User Time, % Privileged Time, Working Set, Working Set Peak,
//                            Private Bytes, Virtual Bytes, Page Faults/sec, Thread Count, Handle Count, ID Process,
//                            Elapsed Time, IO Read Bytes/sec, IO Write Bytes/sec
//
// An instance of Process is the name of a program without its folder and extension; name#1 is the second process of
// that name in the order of their numbers, and so on; _Total is all there are at the moment of reading. A query is a set
// of counters that are read one right after the other; what counts per second, and the times in percent, are means since
// the reading before, the first since the counter was added. What a process did after its last reading is lost with it.
// Nothing here throws but std::bad_alloc; every operation results in a status. A query belongs to one thread.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>

namespace KxN {

/// Results of counters, under the numbers that are customary for them.
enum KxPerfStatus : long {
    PERF_SUCCESS = 0,
    PERF_NO_MACHINE = 0x800007D0,      ///< The path names another machine.
    PERF_NO_INSTANCE = 0x800007D1,     ///< The object has no such instance, or has it no more.
    PERF_NO_OBJECT = 0xC0000BB8,       ///< No such object.
    PERF_NO_COUNTER = 0xC0000BB9,      ///< The object has no such counter.
    PERF_INVALID_HANDLE = 0xC0000BBC,  ///< No counter of this query.
    PERF_BAD_PATH = 0xC0000BC0,        ///< Not the form of a path.
    PERF_NO_DATA = 0x800007D5,         ///< Not read yet, or the system does not tell.
};

class KX_API KxPerfQuery {
public:
    KxPerfQuery();
    KxPerfQuery(KxPerfQuery const&) = delete;
    KxPerfQuery& operator=(KxPerfQuery const&) = delete;
    ~KxPerfQuery();

    /// Adds the counter of that path; `handle` stands for it in this query.
    long AddCounter(KxString const& path, int& handle);
    /// Reads all counters. A counter that cannot be read keeps its failure for itself.
    long Collect();
    /// The value of a counter as it was collected last; as long as it fails, `value` stays.
    long GetValue(int handle, double& value) const;

private:
    struct Counters;
    std::unique_ptr<Counters> m_counters;
};

/// What a status means, in one sentence; empty for an unknown one.
KX_API KxString KxxPerfStatusText(long status);

}  // namespace KxN
