// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Manual pages and completion name the commands and options that --help names, and no others.
#include "Programs.h"

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>
#include <vector>

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

/// The end of a command line, and what completion offers there.
struct Line {
    std::string text;
    Names offered;
};

/// What a shell offers in a folder with one file, if it is installed.
void ExpectOffered(char const* shell, fs::path const& folder, std::vector<Line> const& lines) {
    if (std::system((std::string(shell) + " -c '' >/dev/null 2>&1").c_str()) != 0) return;
    std::string const script = HBTOOLS_SOURCE_DIR "/Tests/tools/offered.",
                      file = HBTOOLS_SOURCE_DIR "/Tools/completion/hbtools.";
    std::string command = "cd '" + folder.string() + "' && " + shell + (shell[0] == 'z' ? " -f '" : " '") + script +
                          shell + "' '" + file + shell + "'";
    for (Line const& line : lines) command += " '" + line.text + "'";
    Outcome const outcome = Call(command);
    EXPECT_EQ(outcome.code, 0) << outcome.output;
    std::istringstream output(outcome.output);
    for (Line const& line : lines) {
        Names offered;
        for (std::string word; std::getline(output, word) && word != ".";) offered.insert(word);
        EXPECT_EQ(offered, line.offered) << shell << ": " << line.text;
    }
}

}  // namespace

TEST_F(Programs, TheDemoTellsWhatItTakesAndDoesNothing) {
    Outcome const outcome = Call("cd " HBTOOLS_SOURCE_DIR " && ./demo SCAN --help");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.output.find("Builds the library"), 0U) << outcome.output;
    EXPECT_LT(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 10);
}

TEST_F(Programs, ManualsAndCompletionNameWhatHelpNames) {
    bool const hasMan = std::system("man --version >/dev/null 2>&1 && groff --version > /dev/null 2>&1") == 0;
    std::vector<Line> lines;
    Write("scan.tag", "");
    for (std::string const program : {"hbtag", "hblog", "hbres", "scanlab"}) {
        Help help = HelpOf(program);
        EXPECT_EQ(help.commands.size(), program == "hbtag"   ? 8U
                                        : program == "hblog" ? 3U
                                        : program == "hbres" ? 0U
                                                             : 4U);
        Names all = help.options;
        lines.push_back({program + " -", help.options});
        for (std::string const& command : help.commands) {
            Names const options = HelpOf(program + " " + command).options;
            all.insert(options.begin(), options.end());
            lines.push_back({program + " " + command + " -", options});
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
    Names const commands = HelpOf("hbtag").commands, files{"scan.tag"};
    Names commandsAndOptions = HelpOf("hbtag").options;
    commandsAndOptions.insert(commands.begin(), commands.end());
    lines.push_back({"hbtag convert --form ", {"32", "64"}});
    std::vector<Line> inBash = lines;  // which goes on with files where nothing is offered
    for (char const* line : {"hbres ", "hbtag repair ", "scanlab --ini ", "scanlab run --ini "}) {
        lines.push_back({line, files});
        inBash.push_back({line, {}});
    }
    inBash.push_back({"scanlab --check-driver ", {}});
    lines.push_back({"/usr/bin/hbtag ", commands});
    inBash.push_back({"/usr/bin/hbtag ", commandsAndOptions});
    ExpectOffered("zsh", folder, lines);
    ExpectOffered("bash", folder, inBash);
}
