// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Manual pages and completion name the commands and options that --help names, and no others.
#include "Programs.h"

#include <regex>
#include <set>
#include <sstream>

namespace {

using Names = std::set<std::string>;

struct Help {
    Names commands;
    Names options;
};

/// The first group of each match.
Names Found(std::string const& text, char const* pattern) {
    Names names;
    std::regex const expression(pattern);
    for (std::sregex_iterator next(text.begin(), text.end(), expression), end; next != end; ++next)
        names.insert((*next)[1]);
    return names;
}

Help HelpOf(std::string const& program) {
    Outcome const outcome = Call("./" + program + " --help");
    EXPECT_EQ(outcome.code, 0) << program;
    Help help;
    bool areCommands = false;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (std::regex_match(line, std::regex("[A-Z].*:.*"))) areCommands = line == "Subcommands:";
        if (areCommands && std::regex_search(line, found, std::regex("^  ([a-z]+) "))) help.commands.insert(found[1]);
        // Options begin a line, or follow one another: "-h,--help", "[--strict]", "hbres --pack".
        std::string const heads = std::regex_replace(line, std::regex("(\\S)   .*$"), "$1");
        if (line.find("  -") != 0 && line.find("    -") != 0 && line.find("hbres ") == std::string::npos) continue;
        Names const options = Found(heads, "(?:^|[ ,\\[])(--?[a-z][a-z-]*)");
        help.options.insert(options.begin(), options.end());
    }
    return help;
}

/// What completion offers behind the words.
Names Offered(std::string const& words, std::string const& current) {
    std::string const script = HBTOOLS_SOURCE_DIR "/Tools/completion/hbtools.bash";
    Outcome const outcome =
        Call("bash -c '. \"" + script + "\"; COMP_WORDS=(" + words + " \"" + current +
             "\"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _hbtools; printf \"%s\\n\" \"${COMPREPLY[@]}\"'");
    Names names;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty()) names.insert(line);
    return names;
}

}  // namespace

TEST_F(Programs, ManualsAndCompletionNameWhatHelpNames) {
    bool const hasBash = std::system("bash -c '' >/dev/null 2>&1") == 0;
    bool const hasMan = std::system("man --version >/dev/null 2>&1 && groff --version > /dev/null 2>&1") == 0;
    for (std::string const program : {"hbtag", "hblog", "hbres", "scanlab"}) {
        Help help = HelpOf(program);
        EXPECT_EQ(help.commands.size(), program == "hbtag"   ? 8U
                                        : program == "hblog" ? 3U
                                        : program == "hbres" ? 0U
                                                             : 4U);
        Names all = help.options;
        Names offered = help.commands;
        offered.insert(help.options.begin(), help.options.end());
        if (hasBash) {
            EXPECT_EQ(Offered(program, "-"), help.options) << program;
            EXPECT_EQ(Offered("/usr/bin/" + program, ""), help.commands.empty() ? Names{} : offered) << program;
        }
        for (std::string const& command : help.commands) {
            Names const options = HelpOf(program + " " + command).options;
            all.insert(options.begin(), options.end());
            EXPECT_TRUE(!hasBash || Offered(program + " " + command, "-") == options) << program << ' ' << command;
        }
        std::string const path = std::string(HBTOOLS_SOURCE_DIR "/Doc/man/") + program + ".1";
        std::ifstream in(path);
        std::string const page(std::istreambuf_iterator<char>(in), {});
        Names named;
        std::string faults;
        for (std::string const& name : Found(page, "Fl (-?[a-z][a-z-]*)")) named.insert("-" + name);
        for (std::string const& name : Found(page, "\\| (-[a-z]+)")) named.insert("-" + name);
        EXPECT_EQ(named, all) << path;
        EXPECT_EQ(Found(page, "\\.It Cm ([a-z]+)"), help.commands) << path;
        // Programs that are not installed find nothing wrong.
        if (hasMan) faults += Call("(LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l '" + path + "' >/dev/null)").output;
        faults += Call("if command -v mandoc >/dev/null; then mandoc -T lint -W warning '" + path + "'; fi").output;
        EXPECT_EQ(faults, "") << path;
    }
    if (!hasBash) return;
    EXPECT_EQ(Offered("hbtag convert --form", ""), (Names{"32", "64"}));
    EXPECT_EQ(Offered("hbtag repair", ""), Names{});  // bash goes on with files
}
