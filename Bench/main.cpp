// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Runs the benchmarks in random order, three repetitions each unless told otherwise, and prints the table of ratios.
// Exits with 1 if a benchmark reported an error.
#include "Ratios.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

namespace {

class Reporter : public benchmark::ConsoleReporter {
public:
    using ConsoleReporter::ConsoleReporter;

    void ReportRuns(std::vector<Run> const& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (auto const& run : runs) {
            // What follows the arguments (repetitions, kind of time, threads) is no part of "topic/who/n".
            std::string name = run.run_name.function_name;
            if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
            if (run.error_occurred) {
                failed = true;
                ratios.AddError(name);
            } else if (run.run_type == Run::RT_Iteration) {
                ratios.Add(name, run.real_accumulated_time / static_cast<double>(run.iterations));
            }
        }
    }

    KxN::bench::Ratios ratios;
    bool failed = false;
};

std::string ProcessorName() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
    return "unknown processor";
}

}  // namespace

int main(int argc, char** argv) {
    // Defaults come first, so that the command line overrides them.
    std::string defaults[] = {"--benchmark_repetitions=3", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.05"};
    std::vector<char*> arguments{argv[0]};
    for (auto& text : defaults) arguments.push_back(text.data());
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

    Reporter reporter(benchmark::ConsoleReporter::OO_None);
    if (benchmark::RunSpecifiedBenchmarks(&reporter) == 0) return 2;

    std::array<char, 32> date{};
    std::time_t const now = std::time(nullptr);
    std::tm local{};
    std::strftime(date.data(), date.size(), "%Y-%m-%d", localtime_r(&now, &local));
    std::printf("\n%s, %s; median wall-clock time of one iteration; a ratio below 1: ours is faster\n\n%s",
                ProcessorName().c_str(), date.data(), reporter.ratios.Table().c_str());
    return reporter.failed ? 1 : 0;
}
