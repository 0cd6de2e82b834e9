// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/failures.md: a failure goes into the log, which the next run of the program reads again.
#include <cstdio>
#include <fstream>
#include <memory>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

void Measure() {
    throw new KxException(L"no light returns from the surface");
}

void MeasureAndReport() {
    // clang-format off
    try {
        Measure();
    } catch (KxException* exception) {
        exception->SetExceptionGroup(L"Scanner");    // an entry without a group is not read back
        exception->SetErrorLevel(EXCEPT_NONFATAL);   // EXCEPT_UNKNOWN < USER < NONFATAL < FATAL
        pExceptionMgr->AddExceptionToLog(*exception);
        pExceptionMgr->WriteToDebugFile(*exception, 1);
        exception->Delete();
    }
    // clang-format on
}

}  // namespace

int main() {
    std::remove("syexcmgr.bas");  // the log of an earlier start
    std::ofstream("failures.ini") << "[Initialization]\nErrorCount=100\nBackupTiming=SAVE_ALL_CHANGES\n";
    for (int run = 1; run <= 2; ++run) {
        auto const manager = std::make_unique<KxExceptionManager>();
        pExceptionMgr = manager.get();
        manager->Initialize(L"failures.ini");  // reads what the run before it kept
        MeasureAndReport();
        std::unique_ptr<KxExceptionManager::Queue> const entries(manager->ExtractAllExceptions());
        std::printf("run %d: %d kept\n", run, entries->Count());
        for (KxException* entry : *entries) std::printf("  %ls\n", entry->GetMessage().GetStr());
    }
}
