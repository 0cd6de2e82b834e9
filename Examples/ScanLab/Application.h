// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the application makes at its start and takes down at its end: the application object, the guards, its texts, the
// operators with their session, the ini file and the exception manager with its log and debug file. One object, first
// of all in main.
//
// The ini file is "scanlab.ini" in the user's folder for settings, unless another is named; it is made with all settings
// at their defaults if it is missing. The operators begin with the parameters that stand there. Log and debug file stand
// beside it. Without a place for them the application runs all the same, and says so.
#pragma once

#include "Languages.h"
#include "Operators/Session.h"

#include <hbtools/base/syException.h>
#include <hbtools/base/syWinApp.h>
#include <hbtools/diagnostics/syExceptionMgr.h>
#include <hbtools/diagnostics/syHandlers.h>
#include <hbtools/operators/syOperatorMgr.h>

#include <memory>

namespace ScanLab {

/// Group [ScanLab] of the ini file.
struct Settings {
    bool profiling = false;            // write PROFILE lines to the debug file
    KxN::KxString language = L"AUTO";  // of all texts, see Languages.h; read first, and may be missing
};

class Application {
public:
    /// `iniFile` empty: the user's own. `folder`: where files with relative names are written. `language` empty: that of the
    /// settings.
    /// @throws KxException for a bad setting, naming key, group and file
    Application(KxN::KxString const& iniFile, KxN::KxString const& folder, KxN::KxString const& language);
    Application(Application const&) = delete;
    Application& operator=(Application const&) = delete;
    ~Application();

    Session& GetSession() { return m_session; }
    KxN::KxOperatorMgr& Operators() { return m_operators; }
    /// Keeps a failure in log and debug file, and prints it as one line on standard error.
    void Report(KxN::CException& exception);

private:
    KxN::KxWinApp m_app;
    // Numbers next to nothing are numbers, and results that become such are right to the last bit: neither is a fault.
    KxN::KxSEHandler m_faults{KxN::FLOAT_INEXACT | KxN::FLOAT_UNDERFLOW | KxN::FLOAT_DENORMAL};
    KxN::KxNewHandler m_memory;
    KxN::KxTerminateHandler m_end;
    KxN::KxUnexpectedHandler m_unexpected;
    std::unique_ptr<Languages> m_languages;
    std::unique_ptr<KxN::KxExceptionManager> m_manager;
    Settings m_settings;
    Session m_session;
    KxN::KxOperatorMgr m_operators;
};

/// Prints one line on standard error, without control characters that a file name could bring along.
void PrintError(KxN::KxString text);

}  // namespace ScanLab
