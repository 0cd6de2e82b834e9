// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A stop watch that runs, for rates: never 0.
#pragma once

#include <hbtools/diagnostics/syStopWatch.h>
#include <hbtools/math/syMath.h>

namespace ScanLab {

class RunningWatch {
public:
    RunningWatch() { m_watch.Start(); }
    double Seconds() { return KxN::KxMath::Max(1e-9, m_watch.GetSeconds()); }

private:
    KxN::KxStopWatch m_watch;
};

}  // namespace ScanLab
