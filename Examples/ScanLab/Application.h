// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the application makes at its start and takes down at its end: the application object, the guards, the ini file and
// the exception manager with its log and debug file. One object, first of all in main.
//
// The ini file is "scanlab.ini" in the user's folder for settings, unless another is named; it is made with all settings
// at their defaults if it is missing. Log and debug file stand beside it. Without a place for them the application runs
// all the same, and says so.
#pragma once

#include <hbtools/base/syException.h>
#include <hbtools/base/syWinApp.h>
#include <hbtools/diagnostics/syExceptionMgr.h>
#include <hbtools/diagnostics/syHandlers.h>

#include <memory>

namespace ScanLab {

/// Group [ScanLab] of the ini file.
struct Settings {
    int points = 1000000;  // of the synthetic plate
    int histogramColumns = 21;
    bool profiling = false;  // write PROFILE lines to the debug file
};

class Application {
public:
    /// `iniFile` empty: the user's own. @throws KxException for a bad setting, naming key, group and file
    explicit Application(KxN::KxString const& iniFile);
    Application(Application const&) = delete;
    Application& operator=(Application const&) = delete;
    ~Application();

    Settings const& GetSettings() const { return m_settings; }
    /// Keeps a failure in log and debug file, and prints it as one line on standard error.
    void Report(KxN::CException& exception);

private:
    KxN::KxWinApp m_app;
    KxN::KxSEHandler m_faults;
    KxN::KxNewHandler m_memory;
    KxN::KxTerminateHandler m_end;
    KxN::KxUnexpectedHandler m_unexpected;
    std::unique_ptr<KxN::KxExceptionManager> m_manager;
    Settings m_settings;
};

/// Prints one line on standard error, without control characters that a file name could bring along.
void PrintError(KxN::KxString text);

}  // namespace ScanLab
