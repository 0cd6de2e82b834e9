// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "LogFile.h"

#include <hbtools/base/syConfig.h>
#include <hbtools/base/syDirEntry.h>

#include <fmt/format.h>

#include <algorithm>

namespace hblog {

using namespace KxN;

namespace {

constexpr ErrorLevel levels[] = {EXCEPT_USER, EXCEPT_NONFATAL, EXCEPT_FATAL};
constexpr wchar_t lineMark = 0xFFFF;

KxString Decoded(KxString text) {
    text.SearchAndReplace(lineMark, L'\n', 0);
    return text;
}

/// The first thing that is wrong with the entry of the current group, for which the library would drop it; empty if it
/// is whole.
char const* ReadEntry(KxConfig const& config, LogEntry& entry) {
    KxString const date = config.ReadKey(L"Date"), time = config.ReadKey(L"Time"), level = config.ReadKey(L"Level");
    long const timeNumber = time.IsIntNum() ? static_cast<long>(time) : 0;
    if (date.IsIntNum() && timeNumber != 0) entry.moment.SetDateTime(date, timeNumber);
    entry.group = Decoded(config.ReadKey(L"Group"));
    entry.level = LevelOf(level);
    entry.message = Decoded(config.ReadKey(L"Message"));
    if (!entry.moment.IsValid()) return "has no date and time";
    if (!level) return "has no level";
    if (!entry.group) return "has no group";
    if (!entry.message) return "has no message";
    return "";
}

class Faults {
public:
    explicit Faults(LogFile& log) : m_log(log) {}
    void Add(std::string text) {
        m_log.state = State::damaged;
        if (++m_count <= mostFaults) m_log.faults.push_back(std::move(text));
    }
    void Finish() {
        if (m_count > mostFaults) m_log.faults.push_back(fmt::format("and {} more", m_count - mostFaults));
    }

private:
    LogFile& m_log;
    std::size_t m_count = 0;
};

}  // namespace

ErrorLevel LevelOf(KxString const& name) {
    for (ErrorLevel const level : levels) {
        KxString const text(LevelText(level));
        if (name.ICompare(text) == 0 || name.ICompare(L"EXCEPT_" + text) == 0) return level;
    }
    return EXCEPT_UNKNOWN;
}

char const* LevelText(ErrorLevel level) {
    switch (level) {
        case EXCEPT_USER: return "USER";
        case EXCEPT_NONFATAL: return "NONFATAL";
        case EXCEPT_FATAL: return "FATAL";
        default: return "UNKNOWN";
    }
}

LogFile ReadLogFile(KxString const& path) {
    LogFile log;
    Faults faults(log);
    if (!KxDirEntry(path).Exists(1)) throw new KxFileNotExistException(L"hblog", __LINE__, path);
    KxConfig config(path);
    config.BeginUpdate();  // one look at the file
    config.ProofRead();
    config.SetGroup(L"General");
    bool const isNamed = config.ReadKey(L"File") == KxString(L"Quandelmeter Exceptions Log");
    if (!isNamed) faults.Add("the line that says what it is is missing");
    bool isKnown = isNamed;  // or by an entry
    log.saved.SetDateTime(static_cast<unsigned long>(config.ReadKey(L"Date")),
                          static_cast<long>(config.ReadKey(L"Time")));
    KxString const total = config.ReadKey(L"TotalCount");
    unsigned long const promised = total;
    if (!total.IsIntNum()) faults.Add("the number of entries cannot be read");

    // A group takes at least "[0]" and a line end, so the file holds no more than this.
    unsigned long long const most = KxTools::FileStat(KxDirEntry(path)).GetSize() / 4 + 1;
    unsigned long const groups = config.GetGroupCount();
    unsigned long long const last = std::min<unsigned long long>(std::max(promised, groups), most);
    unsigned long missing = 0;
    for (unsigned long number = 0; number < last; ++number) {
        config.SetGroup(KxString(std::to_wstring(number)));
        if (config.GetKeyCount() == 0) {
            if (number < promised) ++missing;
            continue;
        }
        LogEntry entry{number, {}, {}, EXCEPT_UNKNOWN, {}};
        if (char const* const fault = ReadEntry(config, entry); *fault) {
            faults.Add(fmt::format("entry {} {}", number, fault));
            if (!entry.message) continue;
        } else {
            isKnown = true;
        }
        if (number >= promised) faults.Add(fmt::format("entry {} is beyond the number of entries", number));
        log.entries.push_back(std::move(entry));
    }
    if (!isKnown) return {State::foreign, {}, {}, {}};
    if (promised > last) missing += promised - static_cast<unsigned long>(last);
    if (missing > 0) faults.Add(fmt::format("{} of {} entries are missing", missing, promised));
    faults.Finish();
    return log;
}

}  // namespace hblog
