// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Application.h"

#include "Caught.h"
#include "Operators/Operators.h"
#include "Operators/Settings.h"
#include "Operators/TextIds.h"
#include "Print.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syEncoding.h>
#include <hbtools/config/syConfigMT.h>
#include <hbtools/config/syConfiguration.h>
#include <hbtools/diagnostics/syProfile.h>

#include <cstdio>
#include <cstdlib>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr wchar_t const* group = L"ScanLab";

/// Empty if there is no place for it.
KxString UsersIniFile() {
    char const* const settings = std::getenv("XDG_CONFIG_HOME");
    if (settings && *settings == '/') return KxxFromSystemPath(settings) + L"/scanlab/scanlab.ini";
    char const* const home = std::getenv("HOME");
    if (home && *home == '/') return KxxFromSystemPath(home) + L"/.config/scanlab/scanlab.ini";
    return {};
}

/// What a new ini file holds: every setting of the application, of the exception manager and of the operators.
void MakeIniFile(KxString const& path, KxOperatorMgr const& operators) {
    Settings const defaults;
    KxConfigMT config(path, 1);
    config.SetGroup(group);
    config.Write(defaults.profiling ? 1 : 0, L"Profiling", KxEnumBOOL(), 1);
    config.Write(defaults.language, L"Language");
    config.SetGroup(L"Initialization");
    struct Default {
        wchar_t const* key;
        wchar_t const* value;
    };
    for (Default const& d : {Default{L"FileName", L"scanlab.log"}, Default{L"DebugFileName", L"scanlab.debug"},
                             Default{L"ErrorCount", L"200"}, Default{L"MaxEntries", L"1000"},
                             Default{L"SortOrder", L"SORT_TIM"}, Default{L"BackupTiming", L"SAVE_ALL_CHANGES"}})
        config.Write(KxString(d.value), d.key);
    config.Flush();
    SaveSettings(operators, path);
}

Settings ReadSettings(KxString const& path) {
    Settings settings;
    KxConfiguration config(path, 1);
    config.SetGroup(group, 1);
    settings.profiling = config.ReadBOOL(L"Profiling") != 0;
    return settings;
}

/// Known before anything else is read: failures of that are told in it.
KxString LanguageOf(KxString const& path) {
    KxConfig config(path);
    config.SetGroup(group);
    return config.ReadKey(L"Language", Settings().language);
}

}  // namespace

void PrintError(KxString text) {
    text.SearchAndReplace(L"\r\n", L" ", 0);  // of the heads that say where a command failed
    for (int i = 0; i < text.Len(); ++i)
        if (IsControl(text[i])) text[i] = text[i] == L'\n' ? L' ' : L'?';
    std::fprintf(stderr, "scanlab: %s\n", KxxToUtf8(text.View()).c_str());
}

Application::Application(KxString const& iniFile, KxString const& folder, KxString const& language)
    : m_session(folder) {
    KxString const path = iniFile.Len() > 0 ? iniFile : UsersIniFile();
    UseTexts();
    m_languages = std::make_unique<Languages>(path);
    m_languages->Use(language.Len() > 0 ? language : LanguageOf(path));
    m_session.languages = m_languages.get();
    InsertOperators(m_operators, m_session);
    try {
        if (path.Len() == 0) throw new KxException(TextOf(Text::NoPlace));
        if (!KxDirEntry(path).Exists(1)) MakeIniFile(path, m_operators);
        auto manager = std::make_unique<KxExceptionManager>();
        manager->Initialize(path);
        m_settings = ReadSettings(path);
        LoadSettings(m_operators, path);
        m_session.settingsFile = path;
        m_manager = std::move(manager);
    } catch (CException* exception) {
        if (iniFile.Len() > 0) {                                // the user named it
            static_cast<void>(CException::TextOf(*exception));  // composed while its language is here
            throw;
        }
        PrintError(FormatOf(Text::WithoutSettings, TakeText(exception)));
    }
    pExceptionMgr = m_manager.get();
    pOperatorMgr = &m_operators;
    KxProfileLogger::SetProfilingState(m_settings.profiling);
}

Application::~Application() {
    KxProfileLogger::SetProfilingState(false);
    pExceptionMgr = nullptr;
    pOperatorMgr = nullptr;
}

void Application::Report(CException& exception) {
    PrintError(CException::TextOf(exception));
    if (!m_manager) return;
    try {
        auto* const known = dynamic_cast<KxException*>(&exception);
        KxException failure = known ? KxException(*known) : KxException(exception);
        failure.SetExceptionGroup(group);
        if (failure.GetErrorLevel() == EXCEPT_UNKNOWN) failure.SetErrorLevel(EXCEPT_NONFATAL);
        m_manager->WriteToDebugFile(failure, 1);
        m_manager->AddExceptionToLog(failure);
    } catch (CException* second) {
        PrintError(TakeText(second));
    }
}

}  // namespace ScanLab
