// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// hbtag looks into tag files. Exit codes: 0 whole, 1 usage or a file that cannot be read, 2 damaged but readable in
// part, 3 not a tag file.
#include "Objects.h"
#include "Page.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>
#include <hbtools/base/syFile.h>
#include <hbtools/base/syTerminal.h>
#include <hbtools/localisation/syLocalizer.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

using tool::Escaped;
using tool::exitUsage;

int Run(hbtag::Options const& options, KxN::KxString const& path) {
    KxN::CFile file(path, KxN::CFile::modeRead);
    KxN::KxTagInspector inspector(&file);
    KxN::TagFileState state = inspector.Inspect();
    tool::Output output("hbtag");
    hbtag::Stream stream;
    bool const isStream = state == KxN::TagFileForeign && inspector.Objects().IsImageAt(0, inspector.GetFileSize());
    if (isStream) {
        stream = hbtag::ReadStream(inspector.Objects(), inspector.GetFileSize());
        state = stream.state;
    }
    if (options.page)
        hbtag::PrintPage(output, path, file, inspector, state, isStream ? &stream : nullptr);
    else if (isStream)
        PrintStream(output, options, path, inspector, stream);
    else
        Print(output, options, path, inspector, state);
    if (!output.Finish()) return exitUsage;
    if (state == KxN::TagFileForeign) fmt::print(stderr, "hbtag: {} is not a tag file\n", Escaped(path));
    return state;
}

}  // namespace

int main(int argc, char** argv) {
    KxN::KxxSurviveClosedPipes();
    KxN::KxGlobalLocalizer localizer;  // what the library says is told in the user's language
    localizer.DoLocalization(1);
    CLI::App app(
        "Looks into tag files and streams of persistent objects: lists their records, shows what they hold, finds what "
        "is damaged.");
    app.require_subcommand(1);
    app.footer(
        "Exit codes: 0 whole, 1 usage or unreadable, 2 damaged but readable in part, 3 neither a tag file nor a "
        "stream.");
    hbtag::Options options;
    std::string path;
    std::uint32_t id = 0;

    auto const verb = [&](char const* name, char const* text) {
        CLI::App* command = app.add_subcommand(name, text);
        command->add_option("FILE", path, "The tag file")->required();
        command->add_flag("--json", options.json, "Print JSON");
        return command;
    };
    CLI::App* ls = verb("ls", "Lists the records as a tree: position, id, version, form, size, link, payload");
    CLI::App* dump = verb(
        "dump", "Lists the records with their payloads, decoded where the kind is known; property trees line by line");
    CLI::App* verify = verb("verify", "Walks everything and names each fault with its place and cost");
    CLI::App* tree = verb("tree", "Lists the records as ls does, or writes a page for a browser");
    tree->add_flag("--html", options.page,
                   "Write one page with the tree, the properties, and the points of all arrays in space");
    ls->add_option("--id", id, "Only records of this id")->check(CLI::Range(0LL, 0xffffffffLL));
    dump->add_option("--id", id, "Only records of this id")->check(CLI::Range(0LL, 0xffffffffLL));
    dump->add_option("--values", options.values, "Values shown of each payload, -1 for all")
        ->check(CLI::Range(-1LL, 1LL << 40))
        ->capture_default_str();

    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : exitUsage;
    }
    options.payloads = dump->parsed();
    options.faultsOnly = verify->parsed();
    if (ls->count("--id") + dump->count("--id") > 0) options.id = id;

    try {
        return Run(options, KxN::KxString(KxN::KxxFromSystemPath(path)));
    } catch (KxN::CException* exception) {
        fmt::print(stderr, "hbtag: {}\n", Escaped(KxN::CException::TextOf(*exception)));
        exception->Delete();
    } catch (std::exception const& exception) {
        fmt::print(stderr, "hbtag: {}\n", exception.what());
    }
    return exitUsage;
}
