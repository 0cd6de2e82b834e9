// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The queues of the manager, what goes into them, what is removed, and what is shown.
#include "diagnostics/syLogText.h"
#include "hbtools/base/syFormat.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace KxN {

namespace {

int FindName(KxTList<KxString> const& names, KxString const& name) {
    int index = 0;
    for (KxString const& known : names) {
        if (known.ICompare(name) == 0) return index;
        ++index;
    }
    return -1;
}

void Block(KxTList<KxString>& names, KxString const& name) {
    if (name.Len() > 0 && FindName(names, name) < 0) names.AddTail(name);
}

void Pass(KxTList<KxString>& names, KxString const& name) {
    int const index = FindName(names, name);
    if (index >= 0) names.Remove(index);
}

KxTMem<KxString> NamesOf(KxTList<KxString> const& names) {
    KxTMem<KxString> result(static_cast<unsigned long>(names.Count()));
    std::copy(names.begin(), names.end(), result.begin());
    return result;
}

bool IsOlder(KxException const& exception, KxDateTime const& bound) {
    return exception.GetDateTime().IsValid() && bound.IsValid() && exception.GetDateTime() < bound;
}

}  // namespace

KxExceptionManagerException::KxExceptionManagerException(KxDateTime const& dateTime, KxString const& group,
                                                         ErrorLevel level, KxString const& message)
    : KxException(message) {
    SetDateTime(dateTime);
    SetExceptionGroup(group);
    SetErrorLevel(level);
}

KxExceptionManagerException::KxExceptionManagerException(KxExceptionManagerException& other) = default;

KxExceptionManagerException& KxExceptionManagerException::operator=(KxExceptionManagerException& other) = default;

void KxExceptionManagerException::BuildMessage() {
    KxException::BuildMessage();
}

/// The queue of a group; null if there is none.
KxExceptionManager::Queue* KxExceptionManager::QueueOf(KxString const& group) {
    for (Queue* queue : m_groups)
        if ((*queue)[0]->GetExceptionGroup().ICompare(group) == 0) return queue;
    return nullptr;
}

void KxExceptionManager::AddExceptionToLog(KxException& exception) {
    if (!m_isActive) return;
    if (exception.GetErrorLevel() < m_writeMinLevel || IsToPurgeByDate(exception) || IsToPurgeByGroup(exception))
        return;

    KxString message = exception.GetMessage();
    if (exception.HasLocation())
        message = KxString(KxxFormat(L"<%s, %lu>\n", exception.GetSrcFileName(), exception.GetSrcLine())) + message;
    KxString const group = exception.GetExceptionGroup();
    auto entry = std::make_unique<KxExceptionManagerException>(exception.GetDateTime(), group,
                                                               exception.GetErrorLevel(), message);
    if (Queue* const queue = QueueOf(group)) {
        queue->Append(entry.get());
    } else {
        auto fresh = std::make_unique<Queue>();
        fresh->Append(entry.get());
        m_groups.AddTail(fresh.get());
        static_cast<void>(fresh.release());
    }
    static_cast<void>(entry.release());
    PurgeExceptionsByCount();

    if (m_backupTiming != SAVE_ALL_CHANGES &&
        (m_backupTiming != SAVE_AFTER_FATAL || exception.GetErrorLevel() != EXCEPT_FATAL))
        return;
    if (m_isLoading)
        m_hasToSave = true;
    else
        SaveExcGrpLst();
}

void KxExceptionManager::ClearExceptionGroupList() {
    while (!m_groups.IsEmpty()) {
        std::unique_ptr<Queue> const queue(m_groups.RemoveHead());
        for (KxException* entry : *queue) entry->Delete();
    }
}

unsigned long KxExceptionManager::GetTotalCount() const {
    unsigned long count = 0;
    for (Queue const* queue : m_groups) count += static_cast<unsigned long>(queue->Count());
    return count;
}

void KxExceptionManager::RemoveOldestException() {
    Queue* oldest = nullptr;
    for (Queue* queue : m_groups)
        if (!oldest || (*queue)[0]->GetDateTime() < (*oldest)[0]->GetDateTime()) oldest = queue;
    if (oldest) RemoveLastOfQueue(oldest);
}

void KxExceptionManager::RemoveLastOfQueue(Queue* queue) {
    POSITION const position = m_groups.Find(queue);
    if (!position) return;
    queue->Remove(0)->Delete();
    if (!queue->IsEmpty()) return;
    m_groups.RemoveAt(position);
    delete queue;
}

void KxExceptionManager::PurgeExceptionsByCount() {
    for (unsigned long count = GetTotalCount(); count > m_maxErrorCount; --count) RemoveOldestException();
}

void KxExceptionManager::SetMaxErrorCount(unsigned long count) {
    m_maxErrorCount = count;
    PurgeExceptionsByCount();
}

void KxExceptionManager::PurgeExceptions(PurgeCriterium criterium) {
    auto const test = criterium == PURGE_BY_DATE    ? &KxExceptionManager::IsToPurgeByDate
                      : criterium == PURGE_BY_GROUP ? &KxExceptionManager::IsToPurgeByGroup
                                                    : &KxExceptionManager::IsToPurgeByLevel;
    for (POSITION next = m_groups.GetHeadPosition(); next;) {
        POSITION const position = next;
        Queue* const queue = m_groups.GetNext(next);
        auto kept = std::make_unique<Queue>();
        std::vector<KxException*> removed;
        for (KxException* entry : *queue) {
            if ((this->*test)(*entry))
                removed.push_back(entry);
            else
                kept->Append(entry);
        }
        queue->Swap(*kept);
        for (KxException* entry : removed) entry->Delete();
        if (!queue->IsEmpty()) continue;
        m_groups.RemoveAt(position);
        delete queue;
    }
}

void KxExceptionManager::PurgeExceptionsByDate() {
    PurgeExceptions(PURGE_BY_DATE);
}

void KxExceptionManager::PurgeExceptionsByGroup() {
    PurgeExceptions(PURGE_BY_GROUP);
}

void KxExceptionManager::PurgeExceptionsByLevel() {
    PurgeExceptions(PURGE_BY_LEVEL);
}

int KxExceptionManager::IsToPurgeByDate(KxException& exception) const {
    return IsOlder(exception, m_oldestPurge) ? 1 : 0;
}

int KxExceptionManager::IsToPurgeByGroup(KxException& exception) const {
    return FindName(m_blockedWriting, exception.GetExceptionGroup()) >= 0 ? 1 : 0;
}

int KxExceptionManager::IsToPurgeByLevel(KxException& exception) const {
    return exception.GetErrorLevel() < m_writeMinLevel ? 1 : 0;
}

KxExceptionManager::Queue* KxExceptionManager::ExtractAllExceptions() const {
    auto all = std::make_unique<Queue>();
    for (Queue const* queue : m_groups)
        for (KxException* entry : *queue) all->Append(entry);
    SortQ(all.get());
    return all.release();
}

KxExceptionManager::Queue* KxExceptionManager::ExtractSpecifiedExceptions() {
    std::unique_ptr<Queue> const all(ExtractAllExceptions());
    auto specified = std::make_unique<Queue>();
    for (KxException* entry : *all) {
        if (IsOlder(*entry, m_oldestRead) || entry->GetErrorLevel() < m_readMinLevel ||
            FindName(m_blockedReading, entry->GetExceptionGroup()) >= 0)
            continue;
        specified->Append(entry);
    }
    return specified.release();
}

void KxExceptionManager::SortQ(Queue* queue) const {
    std::vector<KxException*> entries(queue->begin(), queue->end());
    std::stable_sort(entries.begin(), entries.end(), [this](KxException const* a, KxException const* b) {
        if (m_sortOrder == SORT_LEV_GRP && a->GetErrorLevel() != b->GetErrorLevel())
            return a->GetErrorLevel() < b->GetErrorLevel();
        int const groups = m_sortOrder == SORT_TIM ? 0 : a->GetExceptionGroup().ICompare(b->GetExceptionGroup());
        if (groups != 0 || m_sortOrder == SORT_LEV_GRP) return groups < 0;
        return a->GetDateTime() < b->GetDateTime();
    });
    std::copy(entries.begin(), entries.end(), queue->begin());
}

ErrorLevel KxExceptionManager::ChangeReadMinLevel(ErrorLevel level) {
    return std::exchange(m_readMinLevel, level);
}

ErrorLevel KxExceptionManager::ChangeWriteMinLevel(ErrorLevel level) {
    return std::exchange(m_writeMinLevel, level);
}

SortOrder KxExceptionManager::ChangeSortOrder(SortOrder order) {
    return std::exchange(m_sortOrder, order);
}

BackupTiming KxExceptionManager::ChangeBackupTiming(BackupTiming timing) {
    return std::exchange(m_backupTiming, timing);
}

void KxExceptionManager::BlockGroupReading(KxString const& group) {
    if (!m_isInitializing) Block(m_blockedReading, group);
}

void KxExceptionManager::BlockGroupWriting(KxString const& group) {
    if (!m_isInitializing) Block(m_blockedWriting, group);
}

void KxExceptionManager::PassGroupReading(KxString const& group) {
    Pass(m_blockedReading, group);
}

void KxExceptionManager::PassGroupWriting(KxString const& group) {
    Pass(m_blockedWriting, group);
}

KxTMem<KxString> KxExceptionManager::BlockGroupNamesReading() const {
    return NamesOf(m_blockedReading);
}

KxTMem<KxString> KxExceptionManager::BlockGroupNamesWriting() const {
    return NamesOf(m_blockedWriting);
}

}  // namespace KxN
