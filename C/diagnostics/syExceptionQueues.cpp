// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The queues of the manager, what goes into them, what is removed, and what is shown.
#include "diagnostics/syGroupQueues.h"
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
    if (FindName(names, name) < 0) names.AddTail(name);
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

void KxExceptionManager::AddExceptionToLog(KxException& exception) {
    if (!m_isActive) return;
    detail::LogUse const use(*m_queues);
    if (exception.GetErrorLevel() < m_writeMinLevel || IsToPurgeByDate(exception) || IsToPurgeByGroup(exception))
        return;

    KxString message = exception.GetMessage();
    if (exception.HasLocation())
        message = KxString(KxxFormat(L"<%s, %lu>\n", exception.GetSrcFileName(), exception.GetSrcLine())) + message;
    KxString const group = exception.GetExceptionGroup();
    auto entry = std::make_unique<KxExceptionManagerException>(exception.GetDateTime(), group,
                                                               exception.GetErrorLevel(), message);
    m_queues->Append(std::move(entry), group);
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
    detail::LogUse const use(*m_queues);
    m_queues->Clear();
}

unsigned long KxExceptionManager::GetTotalCount() const {
    return m_queues->GetCount();
}

void KxExceptionManager::RemoveOldestException() {
    detail::LogUse const use(*m_queues);
    m_queues->RemoveOldest();
}

void KxExceptionManager::RemoveLastOfQueue(Queue* queue) {
    detail::LogUse const use(*m_queues);
    m_queues->RemoveFirstOf(queue);
}

void KxExceptionManager::PurgeExceptionsByCount() {
    while (GetTotalCount() > m_maxErrorCount) RemoveOldestException();
}

void KxExceptionManager::SetMaxErrorCount(unsigned long count) {
    detail::LogUse const use(*m_queues);
    m_maxErrorCount = count;
    PurgeExceptionsByCount();
}

void KxExceptionManager::PurgeExceptions(PurgeCriterium criterium) {
    detail::LogUse const use(*m_queues);
    auto const test = criterium == PURGE_BY_DATE    ? &KxExceptionManager::IsToPurgeByDate
                      : criterium == PURGE_BY_GROUP ? &KxExceptionManager::IsToPurgeByGroup
                                                    : &KxExceptionManager::IsToPurgeByLevel;
    m_queues->Purge([this, test](KxException& entry) { return (this->*test)(entry) != 0; });
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
    detail::LogUse const use(*m_queues);
    auto all = std::make_unique<Queue>();
    m_queues->ForEach([&](KxException* entry) { all->Append(entry); });
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
    detail::LogUse const use(*m_queues);
    if (!m_isInitializing) Block(m_blockedWriting, group);
}

void KxExceptionManager::PassGroupReading(KxString const& group) {
    Pass(m_blockedReading, group);
}

void KxExceptionManager::PassGroupWriting(KxString const& group) {
    detail::LogUse const use(*m_queues);
    Pass(m_blockedWriting, group);
}

void KxExceptionManager::PassAllGroupsWriting() {
    detail::LogUse const use(*m_queues);
    m_blockedWriting.RemoveAll();
}

KxTMem<KxString> KxExceptionManager::BlockGroupNamesReading() const {
    return NamesOf(m_blockedReading);
}

KxTMem<KxString> KxExceptionManager::BlockGroupNamesWriting() const {
    return NamesOf(m_blockedWriting);
}

}  // namespace KxN
