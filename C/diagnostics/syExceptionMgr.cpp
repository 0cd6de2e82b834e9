// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The manager's life, its settings and its debug entries; queues and filters are in syExceptionQueues.cpp, the log
// file in syExceptionLog.cpp.
#include "hbtools/diagnostics/syExceptionMgr.h"

#include "base/posix/syMutex.h"
#include "base/syCaught.h"
#include "diagnostics/syDebugFile.h"
#include "diagnostics/syGroupQueues.h"
#include "diagnostics/syLogText.h"
#include "diagnostics/syTextIds.h"
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syResource.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>
#include <vector>

namespace KxN {

KxExceptionManager* pExceptionMgr = nullptr;

namespace {

/// The managers with a debug file; the last one's gets what the base has to tell. One that is being told does not end
/// meanwhile.
class Told {
public:
    static Told& Get() {
        // Lives on for late destructors, and takes no memory, of which those of managers may find none.
        alignas(Told) static std::array<std::byte, sizeof(Told)> place;
        static Told& told = *new (place.data()) Told;
        return told;
    }
    void Tell(KxString const& line) {
        std::lock_guard const lock(m_mutex);
        if (!m_managers.empty()) detail::Guarded([&] { m_managers.back()->WriteToDebugFile(line, 1, 1); });
    }
    void Enter(KxExceptionManager* manager) {
        std::lock_guard const lock(m_mutex);
        std::erase(m_managers, manager);
        m_managers.push_back(manager);
    }
    /// Whether it was the last one.
    bool Leave(KxExceptionManager* manager) {
        std::lock_guard const lock(m_mutex);
        return std::erase(m_managers, manager) > 0 && m_managers.empty();
    }

private:
    detail::Mutex m_mutex;
    std::vector<KxExceptionManager*> m_managers;
};

void TellDebugFile(KxString const& line) {
    Told::Get().Tell(line);
}

constexpr BackupTiming noBackup = static_cast<BackupTiming>(3);

/// The place of the text among the names, which are compared exactly, or `otherwise`.
int IndexOf(KxString const& text, std::initializer_list<wchar_t const*> names, int otherwise) {
    int index = 0;
    for (wchar_t const* name : names) {
        if (text == name) return index;
        ++index;
    }
    return otherwise;
}

/// The date so many days ago, else the date that is a number of its own; 0 if neither is set.
unsigned long DateOf(KxConfig const& config, wchar_t const* daysKey, wchar_t const* dateKey) {
    unsigned long const days = config.ReadKey(daysKey);
    KxDateTime date;
    if (days != 0)
        date = KxDateTime::Now().AddDays(-static_cast<long>(days));
    else
        date.SetDate(config.ReadKey(dateKey));
    return date.GetDate();
}

KxDateTime Midnight(unsigned long date) {
    KxDateTime result;
    result.SetDateTime(date, 0);
    return result;
}

/// By name, or by another name of what is there.
bool IsSameFile(KxString const& a, KxString const& b) {
    std::filesystem::path const first(KxxToSystemPath(a.View())), second(KxxToSystemPath(b.View()));
    std::error_code ignored;
    return first.lexically_normal() == second.lexically_normal() || std::filesystem::equivalent(first, second, ignored);
}

KxString InUse(KxString const& path) {
    KxString reason;
    reason.SPrintf(KxString(KxResId(text::FileInUse)), path);
    return reason;
}

[[noreturn]] void BadKey(KxString const& key, KxString const& iniFile, KxString const& reason) {
    KxString message;
    message.SPrintf(KxString(KxResId(text::BadKey)), key, iniFile, reason);
    throw new KxException(L"syExceptionMgr", __LINE__, message);
}

}  // namespace

/// What an ini file says.
struct KxExceptionManager::Settings {
    KxString debugFile;
    KxString maxEntries;
    KxString errorCount;
    ErrorLevel readMinLevel, writeMinLevel;
    SortOrder sortOrder;
    BackupTiming backupTiming;
    unsigned long purgeDate, readDate;
    KxString logFile;
    KxString iniFile;
};

KxExceptionManager::KxExceptionManager() {
    try {
        m_queues = std::make_unique<detail::LogQueues>();
        m_debugFile = std::make_unique<detail::DebugFile>();
    } catch (std::bad_alloc const&) {
        throw new KxMemoryException(sizeof(detail::DebugFile));
    }
}

KxExceptionManager::~KxExceptionManager() {
    if (pExceptionMgr == this) pExceptionMgr = nullptr;
    if (Told::Get().Leave(this)) KxxSetTextReporter(nullptr);
    detail::LogUse const use(*m_queues);
    if (m_isInitialized) {  // whatever becomes of the debug file, the log is saved
        if (m_debugFile->IsDelayed()) detail::Guarded([this] { Flush(); });
        detail::Guarded([this] { KxExceptionManager::SaveExcGrpLst(); });
    }
    KxExceptionManager::ClearExceptionGroupList();
}

KxExceptionManager::Settings KxExceptionManager::ReadSettings(KxString const& iniFile) {
    KxDirEntry const path = detail::ExistingIniFile(iniFile, L"syExceptionMgr");
    KxConfig config(path.GetFull());
    config.BeginUpdate();  // one look at the file for all keys
    config.ProofRead();
    config.SetGroup(L"Initialization");
    Settings settings{};
    settings.debugFile = detail::BesideIniFile(path, detail::FileNameKey(config, L"DebugFileName", L"Debug.log"));
    settings.maxEntries = config.ReadKey(L"MaxEntries", L"10000");
    settings.errorCount = config.ReadKey(L"ErrorCount");
    settings.readMinLevel = detail::LevelOf(config.ReadKey(L"BlockLevelReading"));
    settings.writeMinLevel = detail::LevelOf(config.ReadKey(L"BlockLevelWriting"));
    settings.sortOrder = static_cast<SortOrder>(
        IndexOf(config.ReadKey(L"SortOrder"), {L"SORT_GRP_TIM", L"SORT_TIM", L"SORT_LEV_GRP"}, SORT_TIM));
    settings.backupTiming = static_cast<BackupTiming>(IndexOf(
        config.ReadKey(L"BackupTiming"), {L"SAVE_ALL_CHANGES", L"SAVE_AFTER_FATAL", L"SAVE_ON_DEMAND"}, noBackup));
    settings.purgeDate = DateOf(config, L"MinWriteDays", L"MinWriteDate");
    settings.readDate = DateOf(config, L"MinReadDays", L"MinReadDate");
    settings.logFile = detail::BesideIniFile(path, detail::FileNameKey(config, L"FileName", L"syexcmgr.bas"));
    settings.iniFile = path.GetFull();
    // Either would write over the other, or over the settings.
    if (IsSameFile(settings.logFile, settings.iniFile)) BadKey(L"FileName", settings.iniFile, InUse(settings.logFile));
    if (IsSameFile(settings.debugFile, settings.iniFile) || IsSameFile(settings.debugFile, settings.logFile))
        BadKey(L"DebugFileName", settings.iniFile, InUse(settings.debugFile));
    return settings;
}

void KxExceptionManager::Apply(Settings const& settings) {
    ClearExceptionGroupList();
    m_maxErrorCount = settings.errorCount;  // 0 if there is no such key
    m_isActive = m_maxErrorCount != 0;
    // The ini file may name groups in BlockGroupReading and BlockGroupWriting. They empty the lists and add nothing,
    // since nothing is blocked while this runs. It has always been so, and files rely on it; blocking is asked for
    // afterwards.
    PassAllGroupsReading();
    PassAllGroupsWriting();
    m_readMinLevel = settings.readMinLevel;
    m_writeMinLevel = settings.writeMinLevel;
    m_sortOrder = settings.sortOrder;
    m_backupTiming = settings.backupTiming;
    if (settings.purgeDate != 0) m_oldestPurge = Midnight(settings.purgeDate);
    if (settings.readDate != 0) m_oldestRead = Midnight(settings.readDate);
    m_logFileName = settings.logFile;
}

void KxExceptionManager::Initialize(KxString const& iniFile) {
    Settings const settings = ReadSettings(iniFile);
    unsigned long const maxEntries =
        settings.maxEntries.IsIntNum() ? static_cast<unsigned long>(settings.maxEntries) : GetMaxEntries();
    try {
        m_debugFile->Open(settings.debugFile, maxEntries);
    } catch (KxException* exception) {
        std::unique_ptr<KxException, detail::ExceptionReleaser> const owner(exception);
        BadKey(L"DebugFileName", settings.iniFile, exception->GetMessage());
    }
    Told::Get().Enter(this);
    KxxSetTextReporter(TellDebugFile);
    detail::LogUse const use(*m_queues);
    m_isInitialized = 0;  // until the log is known, nothing must be saved over it
    m_isInitializing = 1;
    try {
        Apply(settings);
        m_isInitializing = 0;
        if (KxDirEntry(m_logFileName).Exists(1)) LoadExcGrpLst();
        PurgeExceptionsByCount();
        PurgeExceptionsByDate();
        PurgeExceptionsByGroup();
        PurgeExceptionsByLevel();
        m_isInitialized = 1;
    } catch (...) {
        // What could not be loaded must not be replaced by what little is known here.
        m_isInitializing = 0;
        m_backupTiming = noBackup;
        throw;
    }
}

void KxExceptionManager::ReportEnd(KxException& exception) noexcept {
    detail::Guarded([&] { WriteToDebugFile(exception, 1); });
    if (m_debugFile->IsDelayed()) detail::Guarded([this] { Flush(); });
    detail::LogUse const use(*m_queues, detail::LogUse::ForTheEnd);
    if (!use.IsMine() || !m_isInitialized) return;
    detail::Guarded([&] {
        m_isLoading = true;  // saved below, whatever the timing
        AddExceptionToLog(exception);
    });
    m_isLoading = false;
    detail::Guarded([this] { SaveExcGrpLst(); });
}

void KxExceptionManager::WriteToDebugFile(KxException& exception, int separator) {
    KxString const message = exception.GetMessage();
    KxString const extendedInfo = exception.HasExtendedInfo() ? exception.GetExtendedInfo() : KxString();
    KxString const sourceFile = exception.GetSrcFileName();
    m_debugFile->Write({message, true, separator != 0, exception.HasExtendedInfo() ? &extendedInfo : nullptr,
                        exception.HasLocation() ? &sourceFile : nullptr, exception.GetSrcLine()});
}

void KxExceptionManager::WriteToDebugFile(KxString const& text, int withDate, int separator) {
    m_debugFile->Write({text, withDate != 0, separator != 0});
}

void KxExceptionManager::WriteToDebugFile(KxString const& text, unsigned long line, KxString const& file, int withDate,
                                          int separator) {
    m_debugFile->Write({text, withDate != 0, separator != 0, nullptr, &file, line});
}

void KxExceptionManager::AddInfo(KxString const& info) {
    m_debugFile->SetInfo(info);
}

void KxExceptionManager::SuppressWritingToDebugFile(int suppress) {
    m_debugFile->Suppress(suppress != 0);
}

void KxExceptionManager::DelayedWritingToDebugFile(int delay) {
    m_debugFile->Delay(delay != 0);
}

void KxExceptionManager::Flush() {
    m_debugFile->Flush();
}

void KxExceptionManager::ResetDebugFile() {
    m_debugFile->Reset();
}

void KxExceptionManager::CheckQueueAndFileSize() {
    m_debugFile->CheckSize();
}

KxString KxExceptionManager::GetDebugInfo() {
    return m_debugFile->GetInfo();
}

KxString KxExceptionManager::GetDebugFileName() {
    return m_debugFile->GetPath();
}

unsigned long KxExceptionManager::GetMaxEntries() const {
    return m_debugFile->GetMaxEntries();
}

}  // namespace KxN
