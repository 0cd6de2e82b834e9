// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Listing.h"

#include <hbtools/base/syEncoding.h>

namespace hblog {

using namespace KxN;
using tool::Escaped;
using tool::Output;
using tool::Quoted;

namespace {

/// Of a valid one.
std::string IsoText(KxDateTime const& moment) {
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:02}", moment.GetYear(), moment.GetMonth(),
                       moment.GetDay(), moment.GetHour(), moment.GetMinute(), moment.GetSecond(),
                       moment.GetHundredths());
}

std::string PlainText(KxDateTime const& moment) {
    if (!moment.IsValid()) return "-------------------";
    return IsoText(moment).replace(10, 1, " ").substr(0, 19);
}

std::string JsonMoment(KxDateTime const& moment) {
    return moment.IsValid() ? '"' + IsoText(moment) + '"' : "null";
}

char const* StateText(State state) {
    return state == State::whole ? "whole" : state == State::damaged ? "damaged" : "foreign";
}

bool IsWithin(Options const& options, KxDateTime const& moment) {
    if (options.since.IsValid() && (!moment.IsValid() || moment < options.since)) return false;
    return !options.until.IsValid() || (moment.IsValid() && !(options.until < moment));
}

template <class ENTRY>
void KeepLast(Options const& options, std::vector<ENTRY const*>& entries) {
    if (options.last && entries.size() > *options.last)
        entries.erase(entries.begin(), entries.end() - static_cast<std::ptrdiff_t>(*options.last));
}

/// The lines of a text, each escaped; those behind the first stand below it.
std::string Lines(KxString const& text, char const* indent) {
    std::string lines;
    std::wstring_view rest = text.View();
    for (;;) {
        std::size_t const end = std::min(rest.find(L'\n'), rest.size());
        lines += Escaped(KxString(rest.substr(0, end)));
        if (end == rest.size()) return lines;
        rest.remove_prefix(end + 1);
        if (rest.empty()) return lines;
        lines.append("\n").append(indent);
    }
}

std::string Coloured(Options const& options, ErrorLevel level, std::string const& text) {
    if (!options.colour || level < EXCEPT_NONFATAL) return text;
    return (level == EXCEPT_FATAL ? "\x1b[31m" : "\x1b[33m") + text + "\x1b[0m";
}

}  // namespace

void Print(Output& output, Options const& options, KxString const& name, LogFile const& log) {
    std::vector<LogEntry const*> shown;
    for (LogEntry const& entry : log.entries) {
        bool const isGroup = !options.group || entry.group.ICompare(*options.group) == 0;
        if (entry.level >= options.level && isGroup && IsWithin(options, entry.moment)) shown.push_back(&entry);
    }
    KeepLast(options, shown);
    if (options.json) {
        output.Print("{{\"file\":{},\"state\":\"{}\",\"saved\":{},\"count\":{},\"entries\":[", Quoted(name),
                     StateText(log.state), JsonMoment(log.saved), log.entries.size());
        for (LogEntry const* entry : shown)
            output.Print("{}\n{{\"number\":{},\"time\":{},\"level\":\"{}\",\"group\":{},\"message\":{}}}",
                         entry == shown.front() ? "" : ",", entry->number, JsonMoment(entry->moment),
                         LevelText(entry->level), Quoted(entry->group), Quoted(entry->message));
        output.Print("],\"faults\":[");
        for (std::string const& fault : log.faults)
            output.Print("{}\"{}\"", &fault == &log.faults.front() ? "" : ",", fault);
        output.Print("]}}\n");
        return;
    }
    for (LogEntry const* entry : shown) {
        std::string const level = fmt::format("{:8}", LevelText(entry->level));
        output.Print("{}  {}  {}  {}\n", PlainText(entry->moment), Coloured(options, entry->level, level),
                     Escaped(entry->group), Lines(entry->message, "    "));
    }
    for (std::string const& fault : log.faults) output.Print("{}: {}\n", Escaped(name), fault);
}

void Print(Output& output, Options const& options, KxString const& name, DebugFile const& file) {
    std::vector<DebugEntry const*> shown;
    KxDateTime moment;  // an entry without one comes after the one before it
    for (DebugEntry const& entry : file.entries) {
        if (entry.moment.IsValid()) moment = entry.moment;
        if (IsWithin(options, moment)) shown.push_back(&entry);
    }
    KeepLast(options, shown);
    if (options.json) {
        output.Print("{{\"file\":{},\"state\":\"{}\",\"count\":{},\"entries\":[", Quoted(name), StateText(file.state),
                     file.entries.size());
        for (DebugEntry const* entry : shown) {
            output.Print("{}\n{{\"line\":{},\"time\":{},\"text\":{}", entry == shown.front() ? "" : ",", entry->line,
                         JsonMoment(entry->moment), Quoted(entry->text));
            if (entry->sourceFile.Len() > 0)
                output.Print(",\"sourceFile\":{},\"sourceLine\":{}", Quoted(entry->sourceFile), entry->sourceLine);
            output.Print("}}");
        }
        output.Print("]}}\n");
        return;
    }
    for (DebugEntry const* entry : shown) {
        output.Print("{}  {}", PlainText(entry->moment), Lines(entry->text, "    "));
        if (entry->sourceFile.Len() > 0) output.Print("  <{}:{}>", Escaped(entry->sourceFile), entry->sourceLine);
        output.Print("\n");
    }
    if (file.state == State::damaged) output.Print("{}: the last line is cut\n", Escaped(name));
}

void Print(Output& output, Options const& options, KxString const& name, Profile const& profile) {
    if (options.json) {
        output.Print("{{\"file\":{},\"badLines\":{},\"totals\":[", Quoted(name), profile.badLines);
        for (ProfileTotal const& total : profile.totals)
            output.Print(
                "{}\n{{\"name\":{},\"thread\":{},\"count\":{},\"total\":{:.0f},\"mean\":{:.3f},\"max\":{:.0f}}}",
                &total == &profile.totals.front() ? "" : ",", Quoted(total.name), total.thread, total.count,
                total.total, total.total / static_cast<double>(total.count), total.most);
        output.Print("]}}\n");
        return;
    }
    std::size_t width = 4;
    for (ProfileTotal const& total : profile.totals) width = std::max(width, Escaped(total.name).size());
    output.Print("{:{}}  {:>10}  {:>8}  {:>12}  {:>12}  {:>12}\n", "name", width, "thread", "count", "total ms",
                 "mean ms", "max ms");
    for (ProfileTotal const& total : profile.totals)
        output.Print("{:{}}  {:>#10x}  {:>8}  {:>12.0f}  {:>12.1f}  {:>12.0f}\n", Escaped(total.name), width,
                     total.thread, total.count, total.total, total.total / static_cast<double>(total.count),
                     total.most);
    if (profile.badLines > 0) output.Print("{}: {} profile lines make no sense\n", Escaped(name), profile.badLines);
}

KxDateTime MomentOf(std::string const& text, bool isUntil) {
    std::wstring const wide = KxxWidenUtf8(text);
    std::wstring_view rest = wide;
    int date[3], time[3] = {0, 0, 0};
    KxDateTime moment;
    bool const isIso = TakeNumbers(rest, L"0000-00-00", date);
    if (!isIso && !TakeNumbers(rest, L"00.00.0000", date)) return moment;
    bool const hasTime = rest.starts_with(L' ') || rest.starts_with(L'T');
    if (hasTime) rest.remove_prefix(1);
    if ((hasTime && !TakeNumbers(rest, L"00:00:00", time)) || !rest.empty()) return moment;
    moment.SetDateTime(date[isIso ? 0 : 2], date[1], date[isIso ? 2 : 0], time[0], time[1], time[2]);
    if (isUntil && moment.IsValid())  // to the end of the day, or of the second
        moment.SetDateTime(moment.GetDate(), hasTime ? moment.GetTime() + 99 : 23595999);
    return moment;
}

}  // namespace hblog
