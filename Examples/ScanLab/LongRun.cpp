// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "LongRun.h"

#include "Interrupts.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syFault.h>
#include <hbtools/base/syFormat.h>
#include <hbtools/base/syWinApp.h>
#include <hbtools/diagnostics/syHandlers.h>
#include <hbtools/threads/syThreadDoOnce.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr unsigned long period = 20;                // ms between two looks at the worker
constexpr std::chrono::milliseconds untilBar(300);  // what is over at once needs no bar
constexpr std::chrono::milliseconds betweenBars(100);
constexpr std::size_t barWidth = 30, lineWidth = 79;

bool HasColors() {
    char const* const without = std::getenv("NO_COLOR");
    return !without || !*without;
}

}  // namespace

/// Does the work on a thread of its own, under the guards that its owner has.
class LongRun::Worker : public KxThreadDoOnce {
public:
    explicit Worker(LongRun& run)
        : m_run(run), m_translator(KxxSetFaultTranslator(nullptr)), m_floatControl(KxxControlFloat(0, 0)) {
        KxxSetFaultTranslator(m_translator);
    }
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;
    ~Worker() override {
        m_run.m_isToEnd = true;
        WaitUntilReady(INFINITE);
    }

private:
    void Process() override {
        std::optional<KxSEHandler> faults;
        if (m_translator) faults.emplace(m_translator, m_floatControl);
        try {
            m_run.m_work(Progress(m_run));
        } catch (Cancelled const&) {
            m_run.m_isCancelled = true;
        } catch (...) {
            m_run.m_failure = std::current_exception();
        }
    }

    LongRun& m_run;
    KxFaultTranslator m_translator;
    unsigned int m_floatControl;
};

LongRun::LongRun(KxString const& name, ProgressSettings const& settings) : m_name(name), m_settings(settings) {}

LongRun::~LongRun() {
    WipeBar();
}

void LongRun::Do(std::function<void(Progress)> work) {
    m_work = std::move(work);
    m_part = 0;
    m_isToEnd = m_isCancelled = false;
    ExecuteAndWaitUntilReady();
    if (m_isCancelled) throw Cancelled();
}

void LongRun::Process() {
    m_start = Clock::now();
    m_nextBar = m_start + untilBar;
    {
        Worker worker(*this);
        worker.Start();
        while (!worker.WaitUntilReady(period)) {
            ShowStages();
            SetPercentage(static_cast<unsigned short>(m_part.load(std::memory_order_relaxed) * 100));
            ShowBar();
            GetpApp()->Reschedule();
            if (Interrupts::IsPending()) Abort();
            if (IsAborted()) m_isToEnd = true;
        }
    }
    ShowStages();
    WipeBar();
    if (m_isCancelled)
        Abort();
    else if (m_failure)
        std::rethrow_exception(std::exchange(m_failure, nullptr));
    else
        SetPercentage(100);
}

void LongRun::BeginStage(wchar_t const* name) {
    std::scoped_lock const lock(m_mutex);
    m_stages += KxString(name) + L"\n";
}

void LongRun::Report(double part) {
    m_part.store(part, std::memory_order_relaxed);
    if (m_settings.onReport) m_settings.onReport();
    if (!m_isToEnd.load(std::memory_order_relaxed) && !Interrupts::IsPending()) return;
    if (std::uncaught_exceptions() > 0) return;  // a file is written to while all is undone
    throw Cancelled();
}

/// The last stage becomes the message of the process.
void LongRun::ShowStages() {
    KxString stages;
    {
        std::scoped_lock const lock(m_mutex);
        std::swap(stages, m_stages);
    }
    std::wstring_view rest = stages.View();
    for (std::size_t end = 0; (end = rest.find(L'\n')) != rest.npos; rest.remove_prefix(end + 1)) {
        SetMessage(KxString(rest.substr(0, end)));
        if (m_settings.form == ProgressSettings::lines)
            std::fprintf(stderr, "%s: %s\n", KxxToUtf8(m_name.View()).c_str(), KxxToUtf8(rest.substr(0, end)).c_str());
    }
}

void LongRun::ShowBar() {
    Clock::time_point const now = Clock::now();
    if (m_settings.form != ProgressSettings::bar || now < m_nextBar) return;
    m_nextBar = now + betweenBars;
    double const part = std::clamp(m_part.load(std::memory_order_relaxed), 0.0, 1.0);
    double const seconds = std::chrono::duration<double>(now - m_start).count();
    KxString const stage = GetMessageW();
    std::wstring head(KxxFormat(L"%s%s%s ", m_name, stage.Len() > 0 ? L": " : L"", stage));
    std::wstring tail(part > 0.01 ? KxxFormat(L" %3.0f %%, %.0f s left", part * 100, seconds / part - seconds)
                                  : KxxFormat(L" %3.0f %%", part * 100));
    if (head.size() + tail.size() + barWidth + 2 > lineWidth) head.resize(lineWidth - tail.size() - barWidth - 2);
    auto const filled = static_cast<std::size_t>(part * barWidth);
    static bool const hasColors = HasColors();
    std::string const line = "\r" + KxxToUtf8(head) + "[" + (hasColors ? "\033[32m" : "") + std::string(filled, '#') +
                             (hasColors ? "\033[0m" : "") + std::string(barWidth - filled, '.') + "]" +
                             KxxToUtf8(tail) + "\033[K";
    std::fputs(line.c_str(), stderr);
    m_isDrawn = true;
}

void LongRun::WipeBar() {
    if (m_isDrawn) std::fputs("\r\033[K", stderr);
    m_isDrawn = false;
}

}  // namespace ScanLab
