// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/diagnostics/syProfile.h"

#include "hbtools/base/syException.h"
#include "hbtools/base/syWinApp.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include <atomic>
#include <exception>

namespace KxN {

namespace {

constinit std::atomic<bool> g_isProfiling = false;

void Print(KxString const& text) {
    if (pExceptionMgr) pExceptionMgr->WriteToDebugFile(text, 1, 1);
}

/// For destructors: what cannot be reported must not end the process.
template <class Call>
void Quietly(Call call) {
    try {
        call();
    } catch (CException* exception) {
        exception->Delete();
    } catch (std::exception const&) {  // memory ran out
    }
}

KxString Field(KxString const& text) {
    KxString field = text;
    field.SearchAndReplace(L';', L',', 0);
    field.SearchAndReplace(L'\n', L' ', 0);
    field.SearchAndReplace(L'\r', L' ', 0);
    return field;
}

}  // namespace

KxProfile::KxProfile(KxString name) : m_name(std::move(name)) {
    m_watch.Start();
}

KxProfile::~KxProfile() {
    if (m_marks.IsEmpty()) return;
    Quietly([this] {
        KxString text;
        text.SPrintf(L"%s:\n", m_name);
        for (KxString const& mark : m_marks) text += mark;
        KxString total;
        total.SPrintf(L"Total: %8.1f ms\n", m_total * 1000);
        text += total;
        Print(text);
    });
}

void KxProfile::Start() {
    m_watch.Start();
}

void KxProfile::Stop() {
    m_watch.Stop();
}

void KxProfile::Restart() {
    m_marks.RemoveAll();
    m_total = 0;
    m_watch.Start();
}

void KxProfile::Mark(KxString text) {
    m_watch.Stop();
    double const seconds = m_watch.GetSeconds();
    KxString time;
    time.SPrintf(L": %8.1f ms\n", seconds * 1000);
    text += time;
    m_marks.AddTail(text);
    m_total += seconds;
    m_watch.Start();
}

KxProfileLogger::KxProfileLogger(KxString const& name) {
    if (!GetProfilingState()) return;
    m_hasEntered = true;
    CWinThread const* const thread = AfxGetThread();
    m_number = thread ? thread->GetThreadId() : 0;
    m_name = Field(name);
    m_entry = KxDateTime::Now();
    m_watch.Start();
    KxString line;
    line.SPrintf(L"PROFILE;0x%X;%s;%s;%s;;;;", m_number, m_entry.GetTimeText(), L"enter", m_name);
    Print(line);
}

KxProfileLogger::~KxProfileLogger() {
    Quietly([this] { Mark(L"leave"); });
}

void KxProfileLogger::Mark(KxString const& text) {
    if (!m_hasEntered || !GetProfilingState()) return;
    double const seconds = m_watch.GetSeconds();
    KxString line;
    line.SPrintf(L"PROFILE;0x%X;%s;%s;%s;%s;%.0f;", m_number, KxDateTime::Now().GetTimeText(), Field(text), m_name,
                 m_entry.GetTimeText(), seconds * 1000);
    KxString sinceMark;
    if (m_hasMark) sinceMark.SPrintf(L"%.0f", (seconds - m_lastMark) * 1000);
    line += sinceMark + KxString(L";");
    m_hasMark = true;
    m_lastMark = seconds;
    Print(line);
}

void KxProfileLogger::SetProfilingState(bool isOn) {
    g_isProfiling.store(isOn, std::memory_order_relaxed);
}

bool KxProfileLogger::GetProfilingState() {
    return g_isProfiling.load(std::memory_order_relaxed);
}

}  // namespace KxN
