// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxProgressAlgorithm: the base of computations that report how far they are. Each reports 0 to 100 of its own work; the
// range says what part of a larger whole that is, so that computations nest:
//
//     class Scan : public KxProgressAlgorithm { void Run() override { for (int p = 0; p <= 100; ++p) SendProgress(p); } };
//     scan.SetProgressRange(20, 40);   // 50 of its own is 30 of the whole
//     scan.SignalProgress.Connect(&bar, &Bar::Set);
//
// Threads: the slots run on the thread that reports. Errors: what slots throw reaches the one who reports.
#pragma once

#include "hbtools/core/sySignal.h"

namespace KxN {

class KX_API KxProgressAlgorithm {
public:
    /// The computation, for its owner to call.
    virtual void Run() = 0;

protected:
    /// Emits the progress (0 to 100, which nothing checks), mapped to the range: start + (end - start) * progress / 100,
    /// in 32 bits, cut toward zero.
    virtual void SendProgress(int progress);

public:
    /// 0 to 100 unless set. The range may run backward.
    virtual void SetProgressRange(int from, int to);
    virtual ~KxProgressAlgorithm();

    KxTSignal<int> SignalProgress;

protected:
    KxProgressAlgorithm();
    /// A copy reports to the same slots.
    KxProgressAlgorithm(KxProgressAlgorithm const& other);
    KxProgressAlgorithm& operator=(KxProgressAlgorithm const& other);

private:
    int m_from = 0;
    int m_to = 100;
};

}  // namespace KxN
