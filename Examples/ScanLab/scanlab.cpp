// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// ScanLab, a small application on top of the library. Whatever it does is an operator with parameters; this file only says
// where the command lines come from.
#include "Application.h"
#include "Devices/DriverCheck.h"
#include "Interrupts.h"
#include "Languages.h"
#include "Operators/TextIds.h"
#include "Print.h"
#include "Prompt/Prompt.h"
#include "Prompt/Reference.h"

#include <hbtools/base/syTerminal.h>
#include <hbtools/operators/syMacro.h>
#include <hbtools/operators/syOperator.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

using namespace KxN;

namespace {

struct Arguments {
    std::string ini;
    std::string folder = ".";
    std::vector<std::string> macros;
    std::vector<std::string> lines;
    std::string scan, fixed, moving, language, checkedDriver, triedDriver, marks;
    int seconds = 10;
    int points = 0;
    bool isReference = false;
    bool hasProgressLines = false;
};

KxString PathOf(std::string const& name) {
    return KxxFromSystemPath(name);
}

/// The macro of the main job, beside the program.
KxString DemoMacro() {
    return PathOf((std::filesystem::read_symlink("/proc/self/exe").parent_path() / "demo.mac").string());
}

OperatorReturnCode RunMacros(std::vector<std::string> const& macros) {
    for (std::string const& macro : macros)
        if (OperatorReturnCode const result = KxMacro(nullptr).Start(PathOf(macro))) return result;
    return OPERATOR_OK;
}

OperatorReturnCode RunDemo(ScanLab::Application& application, Arguments const& arguments) {
    ScanLab::Prompt prompt(application);
    if (arguments.points > 0)
        application.Operators()
            .GetOperator(L"Synthesize")
            ->GetParameter(L"Points")
            ->SetValueFromString(KxTools::String(arguments.points));
    if (!arguments.scan.empty())
        if (OperatorReturnCode const result = prompt.Run(L"Import", {PathOf(arguments.scan), L"*"})) return result;
    return KxMacro(nullptr).Start(DemoMacro());
}

OperatorReturnCode RunAlign(ScanLab::Application& application, Arguments const& arguments) {
    ScanLab::Prompt prompt(application);
    KxString names[2];
    for (int i = 0; i < 2; ++i) {
        KxString const path = PathOf(i == 0 ? arguments.fixed : arguments.moving);
        if (OperatorReturnCode const result = prompt.Run(L"Import", {path, L"*"})) return result;
        names[i] = application.GetSession().Find(L"*").name;
    }
    return prompt.Run(L"Align", {names[1], names[0], L"FALSE", L"alignment.svg"});
}

OperatorReturnCode RunLines(ScanLab::Application& application, std::vector<std::string> const& lines) {
    ScanLab::Prompt prompt(application);
    for (std::string const& line : lines)
        if (OperatorReturnCode const result = prompt.RunLine(KxString(line.c_str()))) return result;
    return OPERATOR_OK;
}

OperatorReturnCode RunPrompt(ScanLab::Application& application) {
    ScanLab::Prompt prompt(application);
    if (!KxxIsTerminal(StandardInput)) return prompt.RunInput();
    prompt.Interact();
    return OPERATOR_OK;
}

/// A bar for people, who have a terminal that can wipe it again.
ScanLab::ProgressSettings::Form ProgressForm(Arguments const& arguments) {
    if (arguments.hasProgressLines) return ScanLab::ProgressSettings::lines;
    char const* const terminal = std::getenv("TERM");
    bool const isPlain = !terminal || std::string_view(terminal) == "dumb";
    return KxxIsTerminal(StandardError) && !isPlain ? ScanLab::ProgressSettings::bar
                                                    : ScanLab::ProgressSettings::nothing;
}

/// 0 if all went well, 2 if a command did not do its work, 130 if somebody ended one, as shells have it.
int ExitCodeOf(OperatorReturnCode result) {
    if (result == OPERATOR_PARAMETERS_SET) {
        ScanLab::PrintError(ScanLab::TextOf(ScanLab::Text::NoSemicolon));
        return 1;
    }
    return result == OPERATOR_OK ? 0 : result == OPERATOR_CANCELLED ? 130 : 2;
}

}  // namespace

int main(int argc, char** argv) {
    KxxSurviveClosedPipes();
    Arguments arguments;
    CLI::App app(
        "ScanLab: scans, what is computed from them, and the files that keep both. Without arguments it asks for "
        "commands.");
    app.set_version_flag("--version", "scanlab " HBTOOLS_VERSION);
    CLI::App* const demo = app.add_subcommand("demo", "Runs the main job, demo.mac, with a synthetic plate or a scan");
    CLI::App* const align = app.add_subcommand("align", "Brings a scan onto another one and draws what is left over");
    CLI::App* const run = app.add_subcommand("run", "Runs macros: files of command lines");
    CLI::App* const lines = app.add_subcommand("do", "Runs command lines");
    for (CLI::App* const sub : {&app, demo, align, run, lines}) {
        sub->add_option("--out", arguments.folder, "Folder for the files that are written")->capture_default_str();
        sub->add_option("--language", arguments.language, "Of all texts, such as ENU or GERMAN; AUTO is the user's");
        sub->add_flag("--progress", arguments.hasProgressLines, "A line on standard error for each stage of long work");
        sub->add_option("--ini", arguments.ini, "Settings; log, debug file and history stand beside it");
    }
    app.add_flag("--help-operators", arguments.isReference, "Prints all operators and their parameters as Markdown");
    app.add_option("--check-driver", arguments.checkedDriver, "Tries a driver out and says what is wrong with it");
    app.add_option("--seconds", arguments.seconds, "How long --check-driver waits")->check(CLI::Range(1, 3600));
    app.add_option("--try-driver", arguments.triedDriver)->group("");  // what --check-driver runs
    app.add_option("--marks", arguments.marks)->group("");             // the file where that tells how far it is
    app.add_option("MACRO", arguments.macros, "Macros to run");
    run->add_option("MACRO", arguments.macros, "Macros to run")->required();
    lines->add_option("LINE", arguments.lines, "Command lines: 'Synthesize plate;' 'FitPlane;'")->required();
    demo->add_option("SCAN", arguments.scan, "PLY, PCD, XYZ or CSV file; without one a synthetic plate is measured");
    demo->add_option("--points", arguments.points, "Points of the synthetic plate, instead of those in the settings")
        ->check(CLI::Range(1, 80000000));
    align->add_option("FIXED", arguments.fixed, "The scan that stays")->required();
    align->add_option("MOVING", arguments.moving, "The scan that is moved")->required();
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    std::unique_ptr<ScanLab::Application> application;
    try {
        if (!arguments.checkedDriver.empty() || !arguments.triedDriver.empty()) {
            ScanLab::UseTexts();
            KxString const language = arguments.language.empty() ? KxString(L"AUTO") : PathOf(arguments.language);
            ScanLab::Languages languages{KxString()};
            languages.Use(language);
            if (!arguments.triedDriver.empty())
                return ScanLab::TryDriver(PathOf(arguments.triedDriver), PathOf(arguments.marks));
            return ScanLab::CheckDriver(PathOf(arguments.checkedDriver), arguments.seconds, language);
        }
        application = std::make_unique<ScanLab::Application>(PathOf(arguments.ini), PathOf(arguments.folder),
                                                             PathOf(arguments.language));
        application->GetSession().progress.form = ProgressForm(arguments);
        OperatorReturnCode result = OPERATOR_OK;
        // Of one macro or list of commands a single Ctrl-C ends all; who is asked for commands is asked again.
        bool const isAsking = !demo->parsed() && !align->parsed() && !lines->parsed() && arguments.macros.empty();
        std::optional<ScanLab::Interrupts> interrupts;
        if (!isAsking) interrupts.emplace();
        if (arguments.isReference)
            ScanLab::Print(L"%s", ScanLab::ReferencePage(application->Operators()));
        else if (demo->parsed())
            result = RunDemo(*application, arguments);
        else if (align->parsed())
            result = RunAlign(*application, arguments);
        else if (lines->parsed())
            result = RunLines(*application, arguments.lines);
        else if (!arguments.macros.empty())
            result = RunMacros(arguments.macros);
        else
            result = RunPrompt(*application);
        if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return ExitCodeOf(result);
        ScanLab::PrintError(ScanLab::TextOf(ScanLab::Text::NotPrinted));
    } catch (CException* exception) {
        std::fflush(stdout);
        if (application)
            application->Report(*exception);
        else
            ScanLab::PrintError(CException::TextOf(*exception));
        exception->Delete();
    } catch (std::exception const& exception) {
        ScanLab::PrintError(KxString(exception.what()));
    }
    return 1;
}
