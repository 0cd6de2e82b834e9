// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// hblog shows exception logs and debug files. Exit codes: 0 whole, 1 usage or a file that cannot be read or written,
// 2 damaged but readable in part, 3 not a file of ours.
#include "Listing.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/sySafeFile.h>
#include <hbtools/base/syTerminal.h>
#include <hbtools/localisation/syLocalizer.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

using tool::Escaped;

struct Arguments {
    std::string verb, path, level, group, since, until, trace;
    std::size_t last = 0;
};

int ExitCodeOf(hblog::State state, KxN::KxString const& path, char const* kind) {
    if (state == hblog::State::foreign) tool::Complain("hblog: {} is not {}\n", Escaped(path), kind);
    return static_cast<int>(state == hblog::State::whole     ? tool::exitWhole
                            : state == hblog::State::damaged ? tool::exitDamaged
                                                             : tool::exitForeign);
}

int Run(Arguments const& arguments, hblog::Options const& options) {
    KxN::KxString const path(KxN::KxxFromSystemPath(arguments.path));
    tool::Output output("hblog");
    int code = tool::exitUsage;
    if (arguments.verb == "log") {
        hblog::LogFile const log = hblog::ReadLogFile(path);
        Print(output, options, path, log);
        code = ExitCodeOf(log.state, path, "an exception log");
    } else {
        hblog::DebugFile const file = hblog::ParseDebugFile(hblog::ReadText(path));
        if (arguments.verb == "debug") {
            Print(output, options, path, file);
        } else if (file.state != hblog::State::foreign) {
            hblog::Profile const profile = ReadProfile(file);
            if (!arguments.trace.empty()) KxN::KxxSaveFile(KxN::KxxFromSystemPath(arguments.trace), TraceJson(profile));
            Print(output, options, path, profile);
            if (profile.badLines > 0) code = tool::exitDamaged;
        }
        int const state = ExitCodeOf(file.state, path, "a debug file");
        if (code != tool::exitDamaged) code = state;
    }
    return output.Finish() ? code : int{tool::exitUsage};
}

/// Fills in the options that have to be understood first. False, with a line, if one is not.
bool Understand(Arguments const& arguments, hblog::Options& options) {
    if (!arguments.level.empty()) {
        options.level = hblog::LevelOf(KxN::KxString(arguments.level.c_str()));
        if (options.level == KxN::EXCEPT_UNKNOWN) {
            tool::Complain("hblog: --level takes user, nonfatal or fatal\n");
            return false;
        }
    }
    auto const moment = [](std::string const& text, bool isUntil, KxN::KxDateTime& result) {
        if (text.empty()) return true;
        result = hblog::MomentOf(text, isUntil);
        if (!result.IsValid()) tool::Complain("hblog: a date is 2024-12-31 or \"2024-12-31 23:59:58\"\n");
        return result.IsValid();
    };
    if (!moment(arguments.since, false, options.since) || !moment(arguments.until, true, options.until)) return false;
    char const* const noColour = std::getenv("NO_COLOR");
    options.colour = !options.json && (!noColour || !*noColour) && KxN::KxxIsTerminal(KxN::StandardOutput);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    KxN::KxxSurviveClosedPipes();
    KxN::KxGlobalLocalizer localizer;  // what the library says is told in the user's language
    localizer.DoLocalization(1);
    CLI::App app("Shows exception logs and debug files, and what profile lines in them add up to.");
    app.set_version_flag("--version", "hblog " HBTOOLS_VERSION);
    app.require_subcommand(1);
    app.footer("Exit codes: 0 whole, 1 usage or unreadable, 2 damaged but readable in part, 3 not such a file.");
    hblog::Options options;
    Arguments arguments;

    auto const verb = [&](char const* name, char const* text) {
        CLI::App* command = app.add_subcommand(name, text);
        command->add_option("FILE", arguments.path, "The file")->required();
        command->add_flag("--json", options.json, "Print JSON");
        return command;
    };
    CLI::App* log = verb("log", "Shows the entries of an exception log");
    CLI::App* debug = verb("debug", "Shows the entries of a debug file");
    CLI::App* profile = verb("profile", "Adds up the profile lines of a debug file");
    log->add_option("--level", arguments.level, "Only entries of this level or a graver one: user, nonfatal, fatal");
    log->add_option("--group", arguments.group, "Only entries of this group, without regard to case");
    for (CLI::App* command : {log, debug}) {
        command->add_option("--since", arguments.since, "Only entries from this date on, such as 2024-12-31");
        command->add_option("--until", arguments.until, "Only entries up to this date");
        command->add_option("--last", arguments.last, "Only the last N of what is left")->check(CLI::NonNegativeNumber);
    }
    profile->add_option("-o", arguments.trace, "Write the calls as a trace that browsers show");

    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? tool::exitWhole : tool::exitUsage;
    }
    arguments.verb = app.get_subcommands().front()->get_name();
    if (log->count("--group") > 0) options.group = KxN::KxString(arguments.group.c_str());
    if (log->count("--last") + debug->count("--last") > 0) options.last = arguments.last;
    if (!Understand(arguments, options)) return tool::exitUsage;

    try {
        return Run(arguments, options);
    } catch (KxN::CException* exception) {
        tool::Complain("hblog: {}\n", tool::Reason(exception));
    } catch (std::exception const& exception) {
        tool::Complain("hblog: {}\n", exception.what());
    }
    return tool::exitUsage;
}
