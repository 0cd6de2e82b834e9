// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Two ways to see where time goes, both into the debug file of pExceptionMgr; without a manager nothing is written.
// KxProfile collects the times between marks and prints them when it goes. KxProfileLogger writes a line for tables when
// it is made, at each mark and when it goes:
//
//     PROFILE;<thread>;<time>;<"enter", the mark or "leave">;<name>;<time of entry>;<ms since entry>;<ms since last mark>;
//
// Loggers are off until SetProfilingState(true), and cost a test then. Each object belongs to one thread at a time;
// lines of several threads do not mix.
#pragma once

#include "hbtools/base/syCollections.h"
#include "hbtools/base/syDateTime.h"
#include "hbtools/diagnostics/syStopWatch.h"

namespace KxN {

class KX_API KxProfile {
public:
    /// Stands until Start.
    KxProfile() = default;
    /// Runs from here on.
    explicit KxProfile(KxString name);
    KxProfile(KxProfile const&) = delete;
    KxProfile& operator=(KxProfile const&) = delete;
    /// Prints the name, the marks and their sum, if there are marks. A failure to write is lost.
    ~KxProfile();

    /// Begins a new interval.
    void Start();
    /// Ends the interval: the time until the next Start belongs to no mark.
    void Stop();
    /// Drops all marks and begins anew.
    void Restart();
    /// Ends the interval, keeps its milliseconds with the text, and begins the next one.
    void Mark(KxString text);

private:
    KxString m_name;
    KxStopWatch m_watch;
    CList<KxString, KxString const&> m_marks;
    double m_total = 0;  // seconds of all marks
};

class KX_API KxProfileLogger {
public:
    /// A semicolon in the name, as in the text of a mark, is written as a comma, a line end as a blank.
    explicit KxProfileLogger(KxString const& name);
    KxProfileLogger(KxProfileLogger const&) = delete;
    KxProfileLogger& operator=(KxProfileLogger const&) = delete;
    /// Marks "leave". A failure to write is lost.
    ~KxProfileLogger();

    void Mark(KxString const& text);

    /// For the whole process. A logger that was made while profiling was off stays silent.
    static void SetProfilingState(bool isOn);
    static bool GetProfilingState();

private:
    bool m_hasEntered = false;
    bool m_hasMark = false;
    unsigned long m_number = 0;  // of the thread, as AfxGetThread knows it
    KxString m_name;
    KxDateTime m_entry;
    KxStopWatch m_watch;
    double m_lastMark = 0;  // seconds since entry
};

}  // namespace KxN
