// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// How far a long computation is, told from within, and the place where it ends if it is asked to. A value that stands for
// a part of a whole: 0 to 1 of it is its share of what it was made from, so that computations nest.
//
//     Plane Fit(Scan const& scan, Progress progress = {}) {
//         InBlocks(progress.Stage(L"sums", 0, 0.5), scan.points->Size(), [&](int begin, int end) { ... });
//
// The default one is silent and never ends anything. On the thread of the work.
#pragma once

#include <algorithm>

namespace ScanLab {

/// Thrown by Progress where the work is to end. No CException: nobody on the way may take it for a failure.
struct Cancelled {};

/// What hears of it, see LongRun.
class ProgressSink {
public:
    virtual void BeginStage(wchar_t const* name) = 0;
    /// `part` of the whole, 0 to 1. @throws Cancelled
    virtual void Report(double part) = 0;

protected:
    ~ProgressSink() = default;
};

class Progress {
public:
    Progress() = default;
    explicit Progress(ProgressSink& sink) : m_sink(&sink) {}

    /// The share from `from` to `to` of this one.
    Progress Part(double from, double to) const {
        Progress part(*this);
        part.m_from = m_from + (m_to - m_from) * from;
        part.m_to = m_from + (m_to - m_from) * to;
        return part;
    }
    /// The same, which begins now and has a name of its own.
    /// @throws Cancelled
    Progress Stage(wchar_t const* name, double from, double to) const {
        Progress const part = Part(from, to);
        if (m_sink) {
            m_sink->BeginStage(name);
            m_sink->Report(part.m_from);
        }
        return part;
    }
    /// `done` of `all`. Takes some nanoseconds; still, ask every some thousand points. @throws Cancelled
    template <class Number>
    void Show(Number done, Number all) const {
        if (m_sink && all > 0)
            m_sink->Report(m_from + (m_to - m_from) * static_cast<double>(done) / static_cast<double>(all));
    }
    /// The end of this part; also the last chance to end before something is made for good. @throws Cancelled
    void Done() const { Show(1, 1); }

private:
    ProgressSink* m_sink = nullptr;
    double m_from = 0;
    double m_to = 1;
};

/// Calls work(begin, end) for blocks of 0 to `count` and tells the progress between them, so that the loop inside is as
/// fast as without. @throws Cancelled
template <class Work>
void InBlocks(Progress const& progress, int count, Work work) {
    constexpr int block = 1 << 16;
    for (int begin = 0; begin < count;) {
        progress.Show(begin, count);
        int const end = begin + std::min(block, count - begin);
        work(begin, end);
        begin = end;
    }
}

}  // namespace ScanLab
