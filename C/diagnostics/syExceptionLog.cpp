// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The log file: text that KxConfig reads, written whole.
//
//     [General]
//     File=Quandelmeter Exceptions Log
//     TotalCount=1
//     Date=20241231        the moment of saving
//     Time=23595800
//     [0]                  one group for each entry, numbered in the order of the queues
//     Date=20241231
//     Time=23595799
//     Group=Scanner
//     Level=EXCEPT_FATAL
//     Message=first line<U+FFFF>second line
#include "base/syConfigDocument.h"
#include "diagnostics/syGroupQueues.h"
#include "diagnostics/syLogText.h"
#include "diagnostics/syTextIds.h"
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syDirEntry.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/sySafeFile.h"
#include "hbtools/diagnostics/syExceptionMgr.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

namespace KxN {

namespace {

constexpr wchar_t lineMark = 0xFFFF;  // stands for a line end within a value
constexpr wchar_t logKind[] = L"Quandelmeter Exceptions Log";

/// The text as one line.
std::string Encoded(KxString text) {
    text.ConvertLineEnd(KxTools::LineEndLF);
    text.SearchAndReplace(L'\n', lineMark, 0);
    return KxxToUtf8(text.View());
}

KxString Decoded(KxString text) {
    text.SearchAndReplace(lineMark, L'\n', 0);
    text.ConvertLineEnd(KxTools::GetSystemLineEnd());
    return text;
}

void AppendLine(std::string& bytes, char const* key, std::string_view value) {
    bytes.append(key).append(1, '=').append(value).append(1, '\n');
}

/// A field of an entry, which would be skipped at the next load if one were empty.
void AppendField(std::string& bytes, char const* key, KxString const& text) {
    std::string const value = Encoded(text);
    AppendLine(bytes, key, value.find_first_not_of(" \t\r") == value.npos ? "-" : value);
}

void AppendMoment(std::string& bytes, KxDateTime const& moment, bool isEntry) {
    AppendLine(bytes, "Date", std::to_string(moment.GetDate()));
    long time = moment.GetTime();
    if (isEntry && time == 0) time = 1;  // midnight itself would be taken for no time at all
    AppendLine(bytes, "Time", std::to_string(time));
}

}  // namespace

std::string KxExceptionManager::ComposeLog() const {
    std::string bytes = "[General]\n";
    AppendLine(bytes, "File", Encoded(logKind));
    AppendLine(bytes, "TotalCount", std::to_string(GetTotalCount()));
    AppendMoment(bytes, KxDateTime::Now(), false);
    unsigned long number = 0;
    m_queues->ForEach([&](KxException* entry) {
        if (bytes.size() > KxxLimits().textFileBytes) return;  // it will not be saved
        bytes.append(1, '[').append(std::to_string(number++)).append("]\n");
        AppendMoment(bytes, entry->GetDateTime().IsValid() ? entry->GetDateTime() : KxDateTime::Now(), true);
        AppendField(bytes, "Group", entry->GetExceptionGroup());
        AppendLine(bytes, "Level", KxxToUtf8(detail::LevelName(entry->GetErrorLevel())));
        AppendField(bytes, "Message", entry->GetMessage());
    });
    return bytes;
}

void KxExceptionManager::SaveExcGrpLst() {
    if (m_backupTiming > SAVE_ON_DEMAND) return;
    detail::LogUse const use(*m_queues);
    std::string const bytes = ComposeLog();
    if (wchar_t const* const limit = detail::ExceededLimit(bytes)) {
        KxString message;
        message.SPrintf(KxString(KxResId(text::LogTooLarge)), m_logFileName, limit);
        throw new KxFileException(L"syExceptionLog", __LINE__, message);
    }
    KxxSaveFile(m_logFileName, bytes);
}

void KxExceptionManager::LoadExcGrpLst() {
    detail::LogUse const use(*m_queues);
    KxConfig config(m_logFileName);
    config.BeginUpdate();  // one look at the file for all entries
    config.ProofRead();
    config.SetGroup(L"General");
    // The count is only what the file says: it holds no more groups than fit in its bytes.
    KxTools::FileStat const file{KxDirEntry(m_logFileName)};
    if (!file.Exists() && config.GetGroupCount() > 0)  // it is there, and must not pass for empty
        throw new KxDirEntryException(L"syExceptionLog", __LINE__, m_logFileName, EIO);
    unsigned long long const size = file.GetSize();
    if (size > 0 && config.ReadKey(L"File") != KxString(logKind) && !config.ReadKey(L"TotalCount")) {
        KxString message;
        message.SPrintf(KxString(KxResId(text::NoLog)), m_logFileName);
        throw new KxFileException(L"syExceptionLog", __LINE__, message);
    }
    unsigned long long const count = std::min<unsigned long long>(
        std::min<unsigned long>(config.ReadKey(L"TotalCount"), m_maxErrorCount), size / sizeof "[0]");

    std::vector<std::unique_ptr<KxExceptionManagerException>> entries;
    for (unsigned long long number = 0; number < count; ++number) {
        config.SetGroup(KxString(std::to_wstring(number)));
        KxDateTime moment;
        unsigned long const date = config.ReadKey(L"Date");
        long const time = config.ReadKey(L"Time");
        if (date == 0 || time == 0) continue;
        moment.SetDateTime(date, time);
        KxString const level = config.ReadKey(L"Level");
        KxString const group = Decoded(config.ReadKey(L"Group"));
        KxString const message = Decoded(config.ReadKey(L"Message"));
        if (!moment.IsValid() || !level || !group || !message) continue;
        entries.push_back(
            std::make_unique<KxExceptionManagerException>(moment, group, detail::LevelOf(level), message));
    }

    // Saving in between would write over what is not added yet.
    m_hasToSave = false;
    m_isLoading = true;
    try {
        for (auto const& entry : entries) AddExceptionToLog(*entry);
    } catch (...) {
        m_isLoading = false;
        throw;
    }
    m_isLoading = false;
    if (m_hasToSave) SaveExcGrpLst();
}

}  // namespace KxN
