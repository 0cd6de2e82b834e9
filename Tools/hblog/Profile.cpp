// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Profile.h"

#include "../common/Output.h"

#include <hbtools/base/syEncoding.h>

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

namespace hblog {

using namespace KxN;

namespace {

constexpr std::wstring_view head = L"PROFILE;";
constexpr double secondsToTicks = 1e6;

/// What a line says.
struct Line {
    unsigned long thread = 0;
    std::wstring text, name, entryTime;
    std::optional<double> sinceEntry;  // milliseconds
};

std::optional<double> Milliseconds(std::wstring_view text) {
    KxString const number(text);
    if (!number.IsIntNum() || text.size() > 15) return std::nullopt;
    return static_cast<double>(number);
}

std::optional<unsigned long> HexNumber(std::wstring_view text) {
    if (!text.starts_with(L"0x") || text.size() < 3 || text.size() > 18) return std::nullopt;
    unsigned long value = 0;
    for (wchar_t c : text.substr(2)) {
        wchar_t const digit = KxxToUpper(c);
        if ((digit < L'0' || digit > L'9') && (digit < L'A' || digit > L'F')) return std::nullopt;
        value = value * 16 + static_cast<unsigned long>(digit <= L'9' ? digit - L'0' : digit - L'A' + 10);
    }
    return value;
}

/// The fields are fixed at both ends; a name with semicolons takes what is left between.
std::optional<Line> ParseLine(std::wstring_view text) {
    std::vector<std::wstring_view> fields;
    for (text.remove_prefix(head.size());;) {
        std::size_t const end = std::min(text.find(L';'), text.size());
        fields.push_back(text.substr(0, end));
        if (end == text.size()) break;
        text.remove_prefix(end + 1);
    }
    std::size_t const count = fields.size();  // number, time, text, name, entry time, two intervals, the empty rest
    if (count < 8 || !fields.back().empty()) return std::nullopt;
    std::optional<unsigned long> const thread = HexNumber(fields[0]);
    if (!thread) return std::nullopt;
    Line line{*thread, std::wstring(fields[2]), std::wstring(fields[3]), {}, {}};
    for (std::size_t i = 4; i + 4 < count; ++i) line.name.append(1, L';').append(fields[i]);
    bool const isEntry = fields[count - 4].empty() && fields[count - 3].empty();
    if (!isEntry && !(line.sinceEntry = Milliseconds(fields[count - 3]))) return std::nullopt;
    if (isEntry != (line.text == L"enter")) return std::nullopt;
    line.entryTime = fields[isEntry ? 1 : count - 4];
    return line;
}

class Timeline {
public:
    explicit Timeline(Profile& profile) : m_profile(profile) {}

    void Add(Line const& line, KxDateTime const& moment) {
        double& clock = m_clocks[line.thread];
        std::tuple const key(line.thread, line.name, line.entryTime);
        if (!line.sinceEntry) {
            clock = std::max(clock, TicksOf(moment));
            m_open[key].push_back(m_profile.calls.size());
            m_profile.calls.push_back({KxString(line.name), line.thread, clock, 0, false});
            return;
        }
        auto const found = m_open.find(key);
        if (found == m_open.end()) {
            ++m_profile.badLines;
            return;
        }
        ProfileCall& call = m_profile.calls[found->second.back()];
        double const end = call.start + *line.sinceEntry * 1000;
        clock = std::max(clock, end);
        if (line.text != L"leave") {
            m_profile.marks.push_back({KxString(line.text), call.name, line.thread, end});
            return;
        }
        call.duration = end - call.start;
        call.isLeft = true;
        found->second.pop_back();
        if (found->second.empty()) m_open.erase(found);
        ProfileTotal& total =
            m_totals.try_emplace({line.name, line.thread}, ProfileTotal{call.name, line.thread, 0, 0, 0}).first->second;
        ++total.count;
        total.total += *line.sinceEntry;
        total.most = std::max(total.most, *line.sinceEntry);
    }

    void Finish() {
        for (auto const& [key, total] : m_totals) m_profile.totals.push_back(total);
        std::stable_sort(m_profile.totals.begin(), m_profile.totals.end(),
                         [](ProfileTotal const& a, ProfileTotal const& b) { return a.total > b.total; });
    }

private:
    double TicksOf(KxDateTime const& moment) {
        if (!moment.IsValid()) return 0;
        if (!m_firstDay) m_firstDay = static_cast<long long>(moment.GetValue());
        return (moment.GetValue() - static_cast<double>(*m_firstDay)) * 24 * 60 * 60 * secondsToTicks;
    }

    Profile& m_profile;
    std::map<unsigned long, double> m_clocks;
    // Places of the calls that are entered, by number, name and time of entry, the latest last. Calls of one number need
    // not be nested: all threads that the library knows no object of share the number 0.
    std::map<std::tuple<unsigned long, std::wstring, std::wstring>, std::vector<std::size_t>> m_open;
    std::map<std::pair<std::wstring, unsigned long>, ProfileTotal> m_totals;
    std::optional<long long> m_firstDay;
};

}  // namespace

Profile ReadProfile(DebugFile const& file) {
    Profile profile;
    Timeline timeline(profile);
    for (DebugEntry const& entry : file.entries) {
        std::wstring_view text = entry.text.View();
        while (!text.empty()) {
            std::size_t const end = std::min(text.find(L'\n'), text.size());
            std::wstring_view const line = text.substr(0, end);
            text.remove_prefix(std::min(end + 1, text.size()));
            if (!line.starts_with(head)) continue;
            if (std::optional<Line> const parsed = ParseLine(line))
                timeline.Add(*parsed, entry.moment);
            else
                ++profile.badLines;
        }
    }
    timeline.Finish();
    return profile;
}

std::string TraceJson(Profile const& profile) {
    std::string json = "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[";
    char const* separator = "\n";
    for (ProfileCall const& call : profile.calls) {
        json += fmt::format("{}{{\"name\":{},\"ph\":\"{}\",\"pid\":1,\"tid\":{},\"ts\":{:.0f}", separator,
                            tool::Quoted(call.name), call.isLeft ? "X" : "B", call.thread, call.start);
        if (call.isLeft) json += fmt::format(",\"dur\":{:.0f}", call.duration);
        json += "}";
        separator = ",\n";
    }
    for (ProfileMark const& mark : profile.marks) {
        json += fmt::format("{}{{\"name\":{},\"cat\":{},\"ph\":\"i\",\"s\":\"t\",\"pid\":1,\"tid\":{},\"ts\":{:.0f}}}",
                            separator, tool::Quoted(mark.text), tool::Quoted(mark.name), mark.thread, mark.time);
        separator = ",\n";
    }
    return json + "\n]}\n";
}

}  // namespace hblog
