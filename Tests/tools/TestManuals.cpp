// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Manual pages and completion name the commands and options that --help names, and no others.
#include "Programs.h"

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

/// A shell, and what it does to print what it offers behind the words.
struct Shell {
    char const* name;
    std::string (*call)(std::string const& words, std::string const& current);
};
std::string const completion = HBTOOLS_SOURCE_DIR "/Tools/completion/hbtools.";
Shell const shells[] = {
    {"bash",
     [](std::string const& words, std::string const& current) {
         return "bash -c '. \"" + completion + "bash\"; COMP_WORDS=(" + words + " \"" + current +
                "\"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _hbtools; printf \"%s\\n\" \"${COMPREPLY[@]}\"'";
     }},
    {"zsh",
     [](std::string const& words, std::string const& current) {
         return "zsh -f '" HBTOOLS_SOURCE_DIR "/Tests/tools/offered.zsh' '" + completion + "zsh' '" + words + " " +
                current + "'";
     }},
};

/// What completion offers behind the words, in a folder with one file.
Names Offered(Shell const& shell, fs::path const& folder, std::string const& words, std::string const& current) {
    Outcome const outcome = Call("cd '" + folder.string() + "' && " + shell.call(words, current));
    EXPECT_EQ(outcome.code, 0) << shell.name << ": " << words << '\n' << outcome.output;
    return Found(outcome.output, "([^\n]+)\n");
}

}  // namespace

TEST_F(Programs, ManualsAndCompletionNameWhatHelpNames) {
    bool const hasMan = std::system("man --version >/dev/null 2>&1 && groff --version > /dev/null 2>&1") == 0;
    std::vector<Shell> installed;
    for (Shell const& shell : shells)
        if (std::system((std::string(shell.name) + " -c '' >/dev/null 2>&1").c_str()) == 0) installed.push_back(shell);
    Write("scan.tag", "");
    for (std::string const program : {"hbtag", "hblog", "hbres", "scanlab"}) {
        Help help = HelpOf(program);
        EXPECT_EQ(help.commands.size(), program == "hbtag"   ? 8U
                                        : program == "hblog" ? 3U
                                        : program == "hbres" ? 0U
                                                             : 4U);
        Names all = help.options;
        for (Shell const& shell : installed)
            EXPECT_EQ(Offered(shell, folder, program, "-"), help.options) << shell.name << ' ' << program;
        for (std::string const& command : help.commands) {
            Names const options = HelpOf(program + " " + command).options;
            all.insert(options.begin(), options.end());
            for (Shell const& shell : installed)
                EXPECT_EQ(Offered(shell, folder, program + " " + command, "-"), options)
                    << shell.name << ' ' << program << ' ' << command;
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
    for (Shell const& shell : installed) {
        bool const isBash = shell.name == std::string("bash");  // which goes on with files where nothing is offered
        EXPECT_EQ(Offered(shell, folder, "/usr/bin/hbtag", ""), isBash ? commandsAndOptions : commands);
        EXPECT_EQ(Offered(shell, folder, "hbtag convert --form", ""), (Names{"32", "64"}));
        EXPECT_EQ(Offered(shell, folder, "hbres", ""), isBash ? Names{} : files);
        EXPECT_EQ(Offered(shell, folder, "hbtag repair", ""), isBash ? Names{} : files);
    }
}
