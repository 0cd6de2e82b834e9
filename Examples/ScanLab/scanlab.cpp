// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// ScanLab, a small application on top of the library.
#include "Demo.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

// One line, without control characters that a file name could bring along.
void PrintError(KxN::KxString text) {
    for (int i = 0; i < text.Len(); ++i)
        if (text[i] < 0x20 || (text[i] >= 0x7f && text[i] < 0xa0)) text[i] = L'?';
    std::fprintf(stderr, "scanlab: %s\n", KxN::KxxToUtf8(text.View()).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("ScanLab: scans, tag files and what lies between them.");
    app.require_subcommand(1);
    CLI::App* demo = app.add_subcommand(
        "demo", "Fits, aligns and stores a scan in tag files of both forms, reads it back and compares every bit");
    CLI::App* align = app.add_subcommand("align", "Brings a scan onto another one and draws what is left over");
    std::string fixed;
    std::string moving;
    std::string scan;
    std::string folder = ".";
    int points = 1000000;
    demo->add_option("SCAN", scan, "PLY, PCD, XYZ or CSV file; without one a synthetic plate is measured");
    demo->add_option("--out", folder, "Folder for the tag files")->capture_default_str();
    demo->add_option("--points", points, "Points of the synthetic plate")
        ->check(CLI::Range(1, 80000000))
        ->capture_default_str();
    align->add_option("FIXED", fixed, "The scan that stays")->required();
    align->add_option("MOVING", moving, "The scan that is moved")->required();
    align->add_option("--out", folder, "Folder for the picture")->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    try {
        auto const path = [](std::string const& name) { return KxN::KxString(KxN::KxxFromSystemPath(name)); };
        int const result = align->parsed() ? ScanLab::RunAlign(path(fixed), path(moving), path(folder))
                                           : ScanLab::RunDemo(path(scan), path(folder), points);
        if (std::fflush(stdout) == 0) return result;
        std::fputs("scanlab: the report could not be written\n", stderr);
    } catch (KxN::CException* exception) {
        std::fflush(stdout);
        PrintError(KxN::CException::TextOf(*exception));
        exception->Delete();
    } catch (std::exception const& exception) {
        PrintError(KxN::KxString(exception.what()));
    }
    return 1;
}
