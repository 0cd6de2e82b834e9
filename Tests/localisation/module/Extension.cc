// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An extension module as others would write one: its texts are known while it is loaded.
#include "hbtools/base/syResource.h"
#include "hbtools/base/syThread.h"
#include "hbtools/threads/syThreadLauncher.h"

#include <atomic>

extern KxN::SxStringResource const g_extensionTexts[];
extern std::size_t const g_extensionTextsCount;

namespace {
KxN::AFX_EXTENSION_MODULE g_state;
KxN::CDynLinkLibrary g_library(g_state, g_extensionTexts, &g_extensionTextsCount);

/// Runs until it is told to end.
class Loop {
public:
    void Run() {
        ++m_isRunning;
        while (!m_isOver) KxN::Sleep(1);
    }
    std::atomic<int> m_isRunning = 0, m_isOver = 0;
};
Loop g_loop;
KxN::KxThreadLauncher g_launcher;
}  // namespace

extern "C" {
[[gnu::visibility("default")]] std::atomic<int>* StartThread(int isLaunched);
/// Returns what ends it.
std::atomic<int>* StartThread(int isLaunched) {
    g_loop.m_isOver = g_loop.m_isRunning = 0;
    if (isLaunched)
        g_launcher.Launch(KxxMakeLink(&g_loop, &Loop::Run));
    else
        KxN::AfxBeginThread([](void*) { return g_loop.Run(), 0u; }, nullptr);
    while (!g_loop.m_isRunning) KxN::Sleep(1);
    return &g_loop.m_isOver;
}
[[gnu::visibility("default")]] KxN::CDynLinkLibrary* Library();
[[gnu::visibility("default")]] unsigned short KxxModuleVersion();
KxN::CDynLinkLibrary* Library() {
    return &g_library;
}
unsigned short KxxModuleVersion() {
    return 205;
}
}
