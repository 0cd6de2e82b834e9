// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxExceptionManager collects the failures of a process: the log, a structured file of the last failures that the
// next start reads back, and the debug file, a running text. An application makes one, stores it in pExceptionMgr and
// initialises it from an ini file, whose keys Doc/failures.md lists:
//
//     pExceptionMgr = new KxExceptionManager;
//     pExceptionMgr->Initialize(L"/etc/app/app.ini");
//     catch (KxException* exception) {
//         pExceptionMgr->AddExceptionToLog(*exception);
//         pExceptionMgr->WriteToDebugFile(*exception, 1);
//         exception->Delete();
//     }
//
// The log on disk is always a whole one, the former or the new (see sySafeFile.h); a save that fails throws and
// leaves the former. An entry of the debug file reaches the system in one write, whole or not at all; it is not forced
// to the medium. A debug file that cannot be written throws nothing out of a report: one line on standard error says
// so, and later entries try again. Both files belong to one manager of one process. Threads: what writes the debug
// file, AddInfo, and the switches and questions about the debug file may be called from any thread at a time. All else
// (log, queues, filters) needs the caller's own order.
#pragma once

#include "hbtools/base/syException.h"
#include "hbtools/core/syList.h"
#include "hbtools/core/syMem.h"
#include "hbtools/core/sySVQueue.h"

#include <memory>

namespace KxN {

namespace detail {
class DebugFile;
class LogQueues;
}  // namespace detail

/// How extracted entries are sorted; equal ones keep the order of the queues. Do not renumber.
enum SortOrder {
    SORT_GRP_TIM = 0,  ///< By group, then by date and time.
    SORT_TIM = 1,      ///< By date and time, the earliest first.
    SORT_LEV_GRP = 2   ///< By level, then by group.
};

/// When the log is saved, each time as a whole. 3, which has no name, is never. Do not renumber.
enum BackupTiming { SAVE_ALL_CHANGES = 0, SAVE_AFTER_FATAL = 1, SAVE_ON_DEMAND = 2 };

/// By what entries are removed. Do not renumber.
enum PurgeCriterium { PURGE_BY_DATE = 0, PURGE_BY_GROUP = 1, PURGE_BY_LEVEL = 2 };

/// A kept entry: what remains of an exception.
class KX_API KxExceptionManagerException : public KxException {
public:
    KxExceptionManagerException(KxDateTime const& dateTime, KxString const& group, ErrorLevel level,
                                KxString const& message);
    KxExceptionManagerException(KxExceptionManagerException& other);
    KxExceptionManagerException& operator=(KxExceptionManagerException& other);

protected:
    /// Leaves the message as it was given.
    void BuildMessage() override;
};

class KX_API KxExceptionManager {
public:
    using Queue = KxTSVQueue<KxException*>;

    /// Active, with empty queues, 200 entries at most, and SAVE_ALL_CHANGES to "LogFile.txt".
    KxExceptionManager();
    KxExceptionManager(KxExceptionManager const&) = delete;
    KxExceptionManager& operator=(KxExceptionManager const&) = delete;
    /// Writes what was delayed and saves the log, if the manager was initialised. Never throws: a failure is told in
    /// a line on standard error. Clears pExceptionMgr if it points here.
    virtual ~KxExceptionManager();

    /// Saves the log in one step; nothing when the backup timing is 3. So that loading skips nothing, an empty group or text
    /// is saved as "-", and an impossible date as that of the moment. A log beyond KxLimits::textFileBytes or configLines
    /// could not be loaded again and is not saved; nor is any until SetMaxErrorCount or a purge makes it smaller.
    /// @throws KxFileException, the former log stays
    virtual void SaveExcGrpLst();
    /// Adds the entries of the log file that pass the filters, up to the max error count, and saves at most once, at
    /// the end. Entries that lack a field, have an impossible date, or no group or text are skipped.
    /// @throws KxFileException if the log is there but cannot be read or is a file of something else, or saving fails
    virtual void LoadExcGrpLst();
    /// Removes all entries from memory.
    virtual void ClearExceptionGroupList();
    /// Each removes the entries for which the test of that name holds.
    virtual void PurgeExceptionsByDate();
    virtual void PurgeExceptionsByGroup();
    virtual void PurgeExceptionsByLevel();
    /// A new queue of all entries, sorted. The queue is the caller's, to be deleted; the entries stay the manager's
    /// and live until they are removed here.
    virtual Queue* ExtractAllExceptions() const;
    /// The same of those that pass the read filters: date, level, group.
    virtual Queue* ExtractSpecifiedExceptions();

    /// Reads the settings, opens the debug file, which it empties, and loads the log. Names are resolved against the
    /// directory of the ini file. Without the key ErrorCount the manager is inactive. Entries collected before are gone.
    /// After a failure in reading settings or opening the debug file the manager is as before; after one in loading the
    /// log it is not initialised and saves nothing. No other thread may use the log meanwhile; all may write entries of
    /// the debug file.
    /// @throws KxFileNotExistException if there is no ini file; KxFileException if it or the log cannot be read, or
    /// the log not be written; KxException naming the key if the debug file cannot be opened, or if log, debug file and
    /// ini file are not three different files
    void Initialize(KxString const& iniFile);

    /// Keeps a copy of the exception if the manager is active and the write filters (level, date, group) let it pass,
    /// removes the oldest entries beyond the max error count, and saves according to the backup timing.
    /// @throws KxFileException if saving fails; the entry is then kept in memory
    void AddExceptionToLog(KxException& exception);

    /// The last words of a process, as KxTerminateHandler has them reported: an entry of the debug file, which is written
    /// even if writing is delayed, and one of the log, which is saved unless the backup timing is 3. While another
    /// thread is at the log, and before Initialize, the log is left alone. Any thread; failures are told in a line on
    /// standard error.
    void ReportEnd(KxException& exception) noexcept;

    /// One entry of the debug file: with `separator` a line of underscores, the present date and time, the text, its
    /// extended info if the exception has the flag, its location if it has one, and a pending AddInfo text. Throws for
    /// lack of memory only; the entry is neither kept nor written then.
    void WriteToDebugFile(KxException& exception, int separator);
    /// The same of a text, with date and time only if asked for.
    void WriteToDebugFile(KxString const& text, int withDate, int separator);
    /// The same with a location.
    void WriteToDebugFile(KxString const& text, unsigned long line, KxString const& file, int withDate = 1,
                          int separator = 1);
    /// A text for the end of the next debug entry, whoever writes it; replaces one that is still pending.
    void AddInfo(KxString const& info);
    /// Non-zero: from now on nothing reaches the debug file, and entries are lost; 0 ends that. Each call leaves a
    /// notice in the file.
    void SuppressWritingToDebugFile(int suppress);
    /// Non-zero: from now on entries are kept in memory until Flush; 0 ends that, without writing what was kept.
    void DelayedWritingToDebugFile(int delay);
    /// Makes the debug file hold the kept entries, the last GetMaxEntries(), and nothing else. A reader sees the former
    /// content or the new one, whole; only where the directory may not be changed it is emptied and written again.
    /// @throws KxException if it cannot be written; with a full disk it is as it was
    void Flush();
    /// Empties the debug file; kept entries stay in memory. Nothing before Initialize.
    /// @throws KxException if it cannot be opened; writing tries again
    void ResetDebugFile();
    /// Removes the oldest kept debug entry beyond GetMaxEntries(), and rewrites the file as Flush does when 1.5 times as
    /// many were written since it was last rewritten, unless writing is delayed. Runs after each entry.
    void CheckQueueAndFileSize();

    /// What was written to the debug file since it was last rewritten, that included. What could not be written, or
    /// waits for Flush, is not in it.
    KxString GetDebugInfo();
    KxString GetDebugFileName();  ///< The full path; empty before Initialize.
    unsigned long GetMaxEntries() const;

    int IsActive() const { return m_isActive; }
    void SetActive() { m_isActive = 1; }
    void SetInactive() { m_isActive = 0; }

    ErrorLevel GetReadMinLevel() const { return m_readMinLevel; }
    ErrorLevel GetWriteMinLevel() const { return m_writeMinLevel; }
    SortOrder GetSortOrder() const { return m_sortOrder; }
    BackupTiming GetBackupTiming() const { return m_backupTiming; }
    // Each returns the former value.
    ErrorLevel ChangeReadMinLevel(ErrorLevel level);
    ErrorLevel ChangeWriteMinLevel(ErrorLevel level);
    SortOrder ChangeSortOrder(SortOrder order);
    BackupTiming ChangeBackupTiming(BackupTiming timing);

    void SetOldestReadDateTime(KxDateTime const& dateTime) { m_oldestRead = dateTime; }
    KxDateTime GetOldestReadDateTime() const { return m_oldestRead; }
    void SetOldestPurgeDateTime(KxDateTime const& dateTime) { m_oldestPurge = dateTime; }
    KxDateTime GetOldestPurgeDateTime() const { return m_oldestPurge; }

    unsigned long GetMaxErrorCount() const { return m_maxErrorCount; }
    /// A lower count removes the oldest entries at once.
    void SetMaxErrorCount(unsigned long count);

    // Blocked groups, without regard to case. The empty name is that of the exceptions without a group. While Initialize
    // runs no name is added.
    void BlockGroupReading(KxString const& group);
    void BlockGroupWriting(KxString const& group);
    void PassGroupReading(KxString const& group);
    void PassGroupWriting(KxString const& group);
    void PassAllGroupsReading() { m_blockedReading.RemoveAll(); }
    void PassAllGroupsWriting();
    KxTMem<KxString> BlockGroupNamesReading() const;
    KxTMem<KxString> BlockGroupNamesWriting() const;

    void PurgeExceptions(PurgeCriterium criterium);
    /// Removes the oldest entries beyond the max error count.
    void PurgeExceptionsByCount();
    /// Non-zero if the exception is older than the oldest purge date, both being valid; its group is blocked for
    /// writing; its level is below the write minimum level.
    int IsToPurgeByDate(KxException& exception) const;
    int IsToPurgeByGroup(KxException& exception) const;
    int IsToPurgeByLevel(KxException& exception) const;

    /// The number of entries in all queues.
    unsigned long GetTotalCount() const;
    /// Removes the entry with the earliest date of those that stand first in their queues; of equal ones that of the
    /// group that came first. Nothing without entries.
    void RemoveOldestException();
    /// Removes the first entry of one of the manager's queues, and the queue with its last entry.
    void RemoveLastOfQueue(Queue* queue);
    /// Sorts by the sort order.
    void SortQ(Queue* queue) const;

private:
    struct Settings;

    static Settings ReadSettings(KxString const& iniFile);
    void Apply(Settings const& settings);
    std::string ComposeLog() const;

    std::unique_ptr<detail::LogQueues> m_queues;
    std::unique_ptr<detail::DebugFile> m_debugFile;
    KxTList<KxString> m_blockedReading;
    KxTList<KxString> m_blockedWriting;
    ErrorLevel m_readMinLevel = EXCEPT_UNKNOWN;
    ErrorLevel m_writeMinLevel = EXCEPT_UNKNOWN;
    SortOrder m_sortOrder = SORT_TIM;
    BackupTiming m_backupTiming = SAVE_ALL_CHANGES;
    unsigned long m_maxErrorCount = 200;
    KxDateTime m_oldestRead;
    KxDateTime m_oldestPurge{1911, 1, 1, 0, 0, 0};
    KxString m_logFileName = L"LogFile.txt";
    int m_isInitialized = 0;
    int m_isInitializing = 0;
    int m_isActive = 1;
    bool m_isLoading = false;
    bool m_hasToSave = false;  // what was loaded would have been saved
};

/// The manager of the process; null until the application has made one.
extern KX_API KxExceptionManager* pExceptionMgr;

}  // namespace KxN
