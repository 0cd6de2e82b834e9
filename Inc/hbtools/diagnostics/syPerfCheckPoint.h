// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxPerfCheckPoint reads a set of performance counters before and after a piece of work and tells what changed. Which
// counters there are says hbtools/base/syPerfCounter.h. Whatever fails raises a KxException "Error 0x%x in '%s': %s" with
// the system's status, the call (with the counter's path where there is one) and what the status means. A check point
// belongs to one thread at a time.
//
//     KxPerfCheckPoint point;
//     point.CreateCounter(L"memory", L"\\Process(scanlab)\\Working Set");
//     point.Begin(); Align(); point.End();
//     pExceptionMgr->WriteToDebugFile(point.Difference(), 1, 1);
#pragma once

#include "hbtools/base/syCollections.h"
#include "hbtools/base/syPerfCounter.h"

namespace KxN {

struct SxPerfCounter {
    int handle = -1;  ///< In the query of its check point.
    KxString path;
    KxString name;
    double begin = 0;
    double end = 0;
};

class KX_API KxPerfCheckPoint {
public:
    KxPerfCheckPoint();
    KxPerfCheckPoint(KxPerfCheckPoint const&) = delete;
    KxPerfCheckPoint& operator=(KxPerfCheckPoint const&) = delete;
    virtual ~KxPerfCheckPoint();

    /// Adds a counter, shown by `name`. @throws KxException if there is none of that path
    void CreateCounter(KxString const& name, KxString const& path);
    /// Adds a counter for each key "Counter" with a number behind it of the group "PerformanceCounter", in the order of
    /// the file; the value is the path, and the name. @throws KxFileNotExistException, KxFileException if it cannot be
    /// read, KxException
    void CreateCounterFromINIFile(KxString const& file);

    /// Read all counters. @throws KxException
    void Begin();
    void End();
    /// "Performance Checkpoint Difference: " and a line for each counter, with its two values and what lies between.
    KxString Difference();

protected:
    /// Makes the query that counters are added to, if there is none.
    void PDHOpen();
    /// Gives up the query with its counters.
    void PDHClose();
    /// @throws KxException unless `status` is PERF_SUCCESS
    void PDHCheckError(KxString const& call, long status);
    /// Puts the value of the counter, as it was collected last, into `value`.
    void PHDUpdateValue(SxPerfCounter& counter, double& value);

private:
    void Collect();

    std::unique_ptr<KxPerfQuery> m_query;
    CList<SxPerfCounter> m_counters;
};

}  // namespace KxN
