// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// ScanLab, a small application on top of the library.
#include "Application.h"
#include "Demo.h"

#include <hbtools/base/syEncoding.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <memory>

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
    std::string ini;
    int points = 0;
    app.add_option("--ini", ini, "Settings; log and debug file stand beside it");
    demo->add_option("SCAN", scan, "PLY, PCD, XYZ or CSV file; without one a synthetic plate is measured");
    demo->add_option("--out", folder, "Folder for the tag files")->capture_default_str();
    demo->add_option("--points", points, "Points of the synthetic plate, instead of those in the settings")
        ->check(CLI::Range(1, 80000000));
    align->add_option("FIXED", fixed, "The scan that stays")->required();
    align->add_option("MOVING", moving, "The scan that is moved")->required();
    align->add_option("--out", folder, "Folder for the picture")->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    auto const path = [](std::string const& name) { return KxN::KxString(KxN::KxxFromSystemPath(name)); };
    std::unique_ptr<ScanLab::Application> application;
    try {
        application = std::make_unique<ScanLab::Application>(path(ini));
        ScanLab::Settings settings = application->GetSettings();
        if (points > 0) settings.points = points;
        int const result = align->parsed() ? ScanLab::RunAlign(path(fixed), path(moving), path(folder))
                                           : ScanLab::RunDemo(path(scan), path(folder), settings);
        if (std::fflush(stdout) == 0) return result;
        ScanLab::PrintError(KxN::KxString(L"the report could not be written"));
    } catch (KxN::CException* exception) {
        std::fflush(stdout);
        if (application)
            application->Report(*exception);
        else
            ScanLab::PrintError(KxN::CException::TextOf(*exception));
        exception->Delete();
    } catch (std::exception const& exception) {
        ScanLab::PrintError(KxN::KxString(exception.what()));
    }
    return 1;
}
