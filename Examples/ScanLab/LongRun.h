// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Work that may take long, as a process of the application: a worker does it, while the main thread lets the message loop
// run, shows how far it is, and passes on the wish to end it. Whoever waits in Do gets what the work throws.
//
// The main thread of a KxWinApp; one at a time.
#pragma once

#include "Progress.h"

#include <hbtools/base/syString.h>
#include <hbtools/threads/syProcess.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <mutex>

namespace ScanLab {

/// What becomes of progress, on standard error.
struct ProgressSettings {
    enum Form { nothing, bar, lines };  // `lines`: one for each stage

    Form form = nothing;
    /// Called in the worker for each report, before anybody looks whether the work is to end.
    std::function<void()> onReport;
};

class LongRun : public KxN::KxProgressProcess, private ProgressSink {
public:
    /// `name`: whose work it is. The settings must outlive this.
    LongRun(KxN::KxString const& name, ProgressSettings const& settings);
    LongRun(LongRun const&) = delete;
    LongRun& operator=(LongRun const&) = delete;
    ~LongRun() override;

    /// Runs it to its end. Everything that it did must be undone when it is left by an exception.
    /// @throws Cancelled if it ended because it was asked to; what it throws; KxException if the system gives no thread
    void Do(std::function<void(Progress)> work);

protected:
    void Process() override;

private:
    class Worker;
    using Clock = std::chrono::steady_clock;

    void BeginStage(wchar_t const* name) override;
    void Report(double part) override;
    void ShowStages();
    void ShowBar();
    void WipeBar();

    KxN::KxString m_name;
    ProgressSettings const& m_settings;
    std::function<void(Progress)> m_work;
    std::atomic<double> m_part = 0;
    std::atomic<bool> m_isToEnd = false;
    std::mutex m_mutex;
    KxN::KxString m_stages;  // that have begun since somebody looked, a line each; guarded
    // Of the worker until it is ready.
    bool m_isCancelled = false;
    std::exception_ptr m_failure;
    // Of the main thread.
    Clock::time_point m_start;
    Clock::time_point m_nextBar;
    bool m_isDrawn = false;
};

}  // namespace ScanLab
