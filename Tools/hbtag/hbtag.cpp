// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// hbtag looks into tag files, compares, repairs and converts them. Exit codes: 0 whole, 1 usage or a file that cannot be
// read or written, 2 damaged but readable in part, 3 not a tag file; of a comparison 0 the same, 1 different, 2 trouble.
#include "Commands.h"
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

int List(hbtag::Options const& options, KxN::KxString const& path) {
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
    if (state == KxN::TagFileForeign) tool::Complain("hbtag: {} is not a tag file\n", Escaped(path));
    return state;
}

struct Arguments {
    std::string path;
    std::uint32_t id = 0;
    hbtag::Options options;
    hbtag::FileArguments files;
    std::vector<std::string> names;  // of an export
    int bits = 0;
    bool isPly = false, isCsv = false, isNpy = false;
};

/// The usage of an export has something optional in the middle.
class Formatter : public CLI::Formatter {
public:
    std::string make_usage(CLI::App const* app, std::string name) const override {
        if (app->get_name() != "export") return CLI::Formatter::make_usage(app, name);
        return "Usage: " + name + " [OPTIONS] IN [RECORD] OUT\n";
    }
};

/// The commands with one file, which write nothing.
class Listings {
public:
    Listings(CLI::App& app, Arguments& arguments) : m_arguments(arguments) {
        m_ls = Add(app, "ls", "Lists the records as a tree: position, id, version, form, size, link, payload");
        m_dump =
            Add(app, "dump",
                "Lists the records with their payloads, decoded where the kind is known; property trees line by line");
        CLI::App* const tree = Add(app, "tree", "Lists the records as ls does, or writes a page for a browser");
        m_verify = Add(app, "verify", "Walks everything and names each fault with its place and cost");
        tree->add_flag("--html", arguments.options.page,
                       "Print one page with the tree, the properties, and the points of all arrays in space")
            ->excludes("--json");
        for (CLI::App* command : {m_ls, m_dump})
            command->add_option("--id", arguments.id, "Only records of this id")->check(CLI::Range(0LL, 0xffffffffLL));
        m_dump->add_option("--values", arguments.options.values, "Values shown of each payload, -1 for all")
            ->check(CLI::Range(-1LL, 1LL << 40))
            ->capture_default_str();
    }
    int Run() {
        hbtag::Options& options = m_arguments.options;
        options.payloads = m_dump->parsed();
        options.faultsOnly = m_verify->parsed();
        if (m_ls->count("--id") + m_dump->count("--id") > 0) options.id = m_arguments.id;
        return List(options, hbtag::PathOf(m_arguments.path));
    }

private:
    CLI::App* Add(CLI::App& app, char const* name, char const* text) {
        CLI::App* const command = app.add_subcommand(name, text);
        command->add_option("FILE", m_arguments.path, "The tag file, or stream of objects")->required();
        command->add_flag("--json", m_arguments.options.json, "Print JSON");
        command->footer("Exit codes: 0 whole, 1 usage or unreadable, 2 damaged, 3 neither a tag file nor a stream.");
        return command;
    }

    Arguments& m_arguments;
    CLI::App *m_ls, *m_dump, *m_verify;
};

/// The commands that write a file or compare two.
class FileCommands {
public:
    FileCommands(CLI::App& app, Arguments& arguments) : m_arguments(arguments) {
        hbtag::FileArguments& files = arguments.files;
        m_repair =
            app.add_subcommand("repair", "Writes what is whole of a damaged file into a new one and says what is lost");
        m_convert = app.add_subcommand("convert", "Writes a file anew with all its records in one form");
        m_export =
            app.add_subcommand("export", "Writes the numbers of one record: an array of points, vectors or numbers");
        m_diff = app.add_subcommand("diff", "Compares what two files hold, by levels and ids");
        m_convert->add_option("--form", arguments.bits, "Of the records: 32 or 64 bits")
            ->required()
            ->check(CLI::IsMember({32, 64}));
        auto* const forms = m_export->add_option_group("Form");
        forms->add_flag("--ply", arguments.isPly, "PLY, binary; points of three coordinates");
        forms->add_flag("--csv", arguments.isCsv, "Text with a line for each element");
        forms->add_flag("--npy", arguments.isNpy, "An array of NumPy, version 1.0");
        forms->require_option(1);
        for (CLI::App* command : {m_repair, m_convert}) {
            command->add_option("IN", files.in, "The tag file; it is never written")->required();
            command->add_option("OUT", files.out, "The new file")->required();
        }
        m_export->add_option("IN", files.in, "The tag file")->required();
        m_export
            ->add_option(
                "OUT", arguments.names,
                "The new file. The record stands in front of it, unless only one holds such numbers: an id, a path of "
                "ids such as 100/104[2], or a position such as @64")
            ->required()
            ->option_text("TEXT REQUIRED")
            ->expected(1, 2);
        m_diff->add_option("A", files.in, "A tag file")->required();
        m_diff->add_option("B", files.out, "Another one")->required();
        for (CLI::App* command : {m_repair, m_convert, m_export})
            command->add_flag("--force", files.force, "Replace OUT if it is there");
        for (CLI::App* command : {m_repair, m_convert, m_diff}) command->add_flag("--json", files.json, "Print JSON");
        m_repair->footer(
            "Exit codes: 0 IN is whole, 1 usage, unreadable or not written, 2 IN is damaged and OUT has what is whole "
            "of it, "
            "3 not a tag file. With 1 OUT is there and whole only if nothing but the report could not be printed.");
        m_convert->footer(
            "Exit codes: 0 written, 1 usage, unreadable, not written, or a form that does not hold it, 2 damaged, 3 "
            "not a tag "
            "file. OUT is written with 0, and with 1 only if nothing but the report could not be printed.");
        m_export->footer(
            "Points that are gaps become nan. Exit codes: 0 written, 1 usage, unreadable or not written, 2 the record "
            "is "
            "damaged, 3 not a tag file. OUT is written with 0 only.");
        m_diff->footer("Exit codes: 0 the same, 1 different, 2 trouble.");
    }
    bool IsParsed() const {
        return m_repair->parsed() || m_convert->parsed() || m_export->parsed() || m_diff->parsed();
    }
    int Run() {
        hbtag::FileArguments& files = m_arguments.files;
        if (m_repair->parsed()) return hbtag::Repair(files);
        if (m_convert->parsed()) return hbtag::Convert(files, m_arguments.bits);
        if (m_diff->parsed()) return hbtag::Diff(files);
        std::string const record = m_arguments.names.size() > 1 ? m_arguments.names.front() : "";
        files.out = m_arguments.names.back();
        return hbtag::Export(files,
                             m_arguments.isPly   ? hbtag::ExportForm::ply
                             : m_arguments.isCsv ? hbtag::ExportForm::csv
                                                 : hbtag::ExportForm::npy,
                             record);
    }
    /// What goes wrong in a comparison is no difference.
    int FailureCode() const { return m_diff->parsed() ? 2 : exitUsage; }

private:
    Arguments& m_arguments;
    CLI::App *m_repair, *m_convert, *m_export, *m_diff;
};

}  // namespace

int main(int argc, char** argv) {
    KxN::KxxSurviveClosedPipes();
    KxN::KxGlobalLocalizer localizer;  // what the library says is told in the user's language
    localizer.DoLocalization(1);
    CLI::App app(
        "Looks into tag files: lists their records, shows what they hold, finds and repairs what is damaged, converts, "
        "exports and compares them. ls, dump, tree and verify take streams of persistent objects too.");
    app.set_version_flag("--version", "hbtag " HBTOOLS_VERSION);
    app.require_subcommand(1);
    app.formatter(std::make_shared<Formatter>());
    app.footer(
        "Exit codes: 0 whole, 1 usage, unreadable or not written, 2 damaged but readable in part, 3 no file that the "
        "command takes; diff: 0 the same, 1 different, 2 trouble. hbtag COMMAND --help tells more.");
    Arguments arguments;
    Listings listings(app, arguments);
    FileCommands files(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : files.FailureCode();
    }
    try {
        return files.IsParsed() ? files.Run() : listings.Run();
    } catch (KxN::CException* exception) {
        tool::Complain("hbtag: {}\n", tool::Reason(exception));
    } catch (std::exception const& exception) {
        tool::Complain("hbtag: {}\n", exception.what());
    }
    return files.FailureCode();
}
