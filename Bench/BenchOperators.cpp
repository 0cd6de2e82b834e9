// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Commands as text. "command-parse" takes a common line apart; "command-run" also finds one of 50 operators and assigns
// three values, a number in a range, a whole number in a range and a text; "macro" does that for each line of a file of n
// lines; "command-blanks" is a line of n blanks. The peers keep narrow texts, which is half the memory of ours, and
// "streams" is what a program writes that has no library for it: a stream over each line, std::quoted, and a map.
#include "hbtools/base/syEncoding.h"
#include "hbtools/operators/syMacro.h"
#include "hbtools/operators/syOperatorMgr.h"
#include "hbtools/operators/syParamDouble.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/operators/syParamString.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef HBTOOLS_BENCH_CLI11
#include <CLI/CLI.hpp>
#endif
#ifdef HBTOOLS_BENCH_GLIB
#include <glib.h>
#endif

using namespace KxN;

namespace {

constexpr int operators = 50;
constexpr char const* command = "Operator37 12.25 1700 \"left side\";";

class Settable : public KxOperator {
public:
    Settable(unsigned short id, KxResId const& resId) : KxOperator(id, resId) {
        Insert(new KxParameterDouble(1, 0, 0, {-1000, 1000}, 1, 3));
        Insert(new KxParameterLong(2, 0, 0, {0, 100000}, 1));
        Insert(new KxParameterString(3, KxString(), KxString()));
    }
    KxOperator* Clone() const override { return new Settable(GetId(), GetResId()); }

    long runs = 0;

protected:
    OperatorReturnCode DoExecute() override {
        ++runs;
        return OPERATOR_OK;
    }
};

/// The operators of an application, with names from a table of its own.
struct Application {
    Application() : module(texts.data(), &count) {
        names.reserve(operators);
        for (int i = 0; i < operators; ++i) {
            names.push_back("Operator" + std::to_string(i));
            texts[static_cast<std::size_t>(i)] = {static_cast<unsigned short>(3 * i + 1), names.back().c_str()};
        }
        for (int i = 0; i < operators; ++i) {
            auto const id = static_cast<unsigned short>(3 * i + 1);
            all.push_back(new Settable(id, KxResId(id, &module)));
            manager.Insert(all.back());
        }
        pOperatorMgr = &manager;
    }
    ~Application() { pOperatorMgr = nullptr; }
    Application(Application const&) = delete;
    Application& operator=(Application const&) = delete;

    Settable& Used() { return *all[37]; }
    /// True if the last command set what it says.
    bool IsSet() { return Used().GetParameterDouble(1) == 12.25 && Used().GetParameterString(3) == L"left side"; }

    std::vector<std::string> names;
    std::vector<SxStringResource> texts = std::vector<SxStringResource>(operators);
    std::size_t count = operators;
    CDynLinkLibrary module;
    std::vector<Settable*> all;
    KxOperatorMgr manager;
};

/// A file of that many commands, gone at the end.
class MacroFile {
public:
    explicit MacroFile(long lines) {
        auto const root = std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        path = (root / "hbbench-XXXXXX").string();
        int const file = ::mkstemp(path.data());
        if (file < 0) throw std::runtime_error("no file for the benchmark");
        std::FILE* const out = ::fdopen(file, "w");
        for (long i = 0; i < lines; ++i) std::fprintf(out, "%s\n", command);
        std::fclose(out);
    }
    MacroFile(MacroFile const&) = delete;
    MacroFile& operator=(MacroFile const&) = delete;
    ~MacroFile() { std::remove(path.c_str()); }

    std::string path;
};

void ParseOurs(benchmark::State& state) {
    KxString const line(command);
    KxCmdLineParser parser;
    for (auto _ : state) {
        parser.Parse(line);
        benchmark::DoNotOptimize(parser);
    }
    if (parser.GetNumParameters() != 3 || !parser.IsWithExecution()) state.SkipWithError("wrong words");
}
BENCHMARK(ParseOurs)->Name("command-parse/hbtools/1")->UseRealTime();

void RunOurs(benchmark::State& state) {
    Application application;
    KxString const line(command);
    KxCmdLineParser parser;
    KxCmdLineInterpreter interpreter(nullptr);
    for (auto _ : state) {
        parser.Parse(line);
        interpreter.Interprete(parser.GetOperatorName(), parser.GetAllParameterStrings(), parser.IsWithExecution());
    }
    if (!application.IsSet()) state.SkipWithError("wrong values");
}
BENCHMARK(RunOurs)->Name("command-run/hbtools/1")->UseRealTime();

void MacroOurs(benchmark::State& state) {
    Application application;
    MacroFile const file(state.range(0));
    KxMacro macro(nullptr);
    macro.SetName(KxxFromSystemPath(file.path));
    long runs = 0;
    for (auto _ : state) {
        macro.Start();
        runs += state.range(0);
    }
    if (application.Used().runs != runs || !application.IsSet()) state.SkipWithError("lines are missing");
    state.SetItemsProcessed(runs);
}
BENCHMARK(MacroOurs)->Name("macro/hbtools")->Arg(1000)->Arg(100000)->UseRealTime();

void BlanksOurs(benchmark::State& state) {
    KxString line;
    line.Fill(static_cast<int>(state.range(0)), L' ');
    line = L"Filter" + line + L"1;";
    KxCmdLineParser parser;
    for (auto _ : state) parser.Parse(line);
    if (parser.GetNumParameters() != 1) state.SkipWithError("wrong words");
}
BENCHMARK(BlanksOurs)->Name("command-blanks/hbtools")->Arg(2000)->Arg(200000)->UseRealTime();

/// The words of a line by the standard library, and whether it ended in a semicolon.
std::vector<std::string> StreamWords(std::string const& line, bool& isWithExecution) {
    isWithExecution = line.ends_with(';');
    std::istringstream stream(line.substr(0, line.size() - (isWithExecution ? 1 : 0)));
    std::vector<std::string> words;
    for (std::string word; stream >> std::quoted(word);) words.push_back(word);
    return words;
}

void ParseStreams(benchmark::State& state) {
    std::string const line = command;
    std::vector<std::string> words;
    bool isWithExecution = false;
    for (auto _ : state) {
        words = StreamWords(line, isWithExecution);
        benchmark::DoNotOptimize(words);
    }
    if (words.size() != 4 || !isWithExecution) state.SkipWithError("wrong words");
}
BENCHMARK(ParseStreams)->Name("command-parse/streams/1")->UseRealTime();

/// Operators as a program without a library has them.
struct PlainApplication {
    struct Operator {
        double number = 0;
        long whole = 0;
        std::string text;
        long runs = 0;
    };
    PlainApplication() {
        for (int i = 0; i < operators; ++i) all["Operator" + std::to_string(i)] = {};
    }
    /// False if a word is none that the operator takes.
    bool Run(std::string const& line) {
        bool isWithExecution = false;
        std::vector<std::string> const words = StreamWords(line, isWithExecution);
        auto const found = words.size() == 4 ? all.find(words[0]) : all.end();
        if (found == all.end()) return false;
        Operator& used = found->second;
        char* end = nullptr;
        double const number = std::strtod(words[1].c_str(), &end);
        if (*end || !(number >= -1000 && number <= 1000)) return false;
        used.number = number;
        long const whole = std::strtol(words[2].c_str(), &end, 10);
        if (*end || whole < 0 || whole > 100000) return false;
        used.whole = whole;
        used.text = words[3];
        if (isWithExecution) ++used.runs;
        return true;
    }

    std::unordered_map<std::string, Operator> all;
};

void RunStreams(benchmark::State& state) {
    PlainApplication application;
    std::string const line = command;
    for (auto _ : state)
        if (!application.Run(line)) state.SkipWithError("wrong values");
}
BENCHMARK(RunStreams)->Name("command-run/streams/1")->UseRealTime();

void MacroStreams(benchmark::State& state) {
    PlainApplication application;
    MacroFile const file(state.range(0));
    long runs = 0;
    for (auto _ : state) {
        std::ifstream in(file.path);
        for (std::string line; std::getline(in, line);)
            if (!application.Run(line)) state.SkipWithError("wrong values");
        runs += state.range(0);
    }
    if (application.all["Operator37"].runs != runs) state.SkipWithError("lines are missing");
    state.SetItemsProcessed(runs);
}
BENCHMARK(MacroStreams)->Name("macro/streams")->Arg(1000)->Arg(100000)->UseRealTime();

void BlanksStreams(benchmark::State& state) {
    std::string const line = "Filter" + std::string(static_cast<std::size_t>(state.range(0)), ' ') + "1;";
    bool isWithExecution = false;
    for (auto _ : state)
        if (StreamWords(line, isWithExecution).size() != 2) state.SkipWithError("wrong words");
}
BENCHMARK(BlanksStreams)->Name("command-blanks/streams")->Arg(2000)->Arg(200000)->UseRealTime();

#ifdef HBTOOLS_BENCH_GLIB
void ParseGlib(benchmark::State& state) {
    for (auto _ : state) {
        gint count = 0;
        gchar** words = nullptr;
        if (!g_shell_parse_argv(command, &count, &words, nullptr) || count != 4) state.SkipWithError("wrong words");
        g_strfreev(words);
    }
}
BENCHMARK(ParseGlib)->Name("command-parse/g_shell_parse_argv/1")->UseRealTime();
#endif

#ifdef HBTOOLS_BENCH_CLI11
// One operator only, whose name is known: it is for the command line of a program rather than for many short ones.
void RunCli11(benchmark::State& state) {
    CLI::App application;
    double number = 0;
    long whole = 0;
    std::string text;
    application.add_option("number", number)->check(CLI::Range(-1000.0, 1000.0));
    application.add_option("whole", whole)->check(CLI::Range(0, 100000));
    application.add_option("text", text);
    for (auto _ : state) application.parse("12.25 1700 \"left side\"");
    if (number != 12.25 || whole != 1700 || text != "left side") state.SkipWithError("wrong values");
}
BENCHMARK(RunCli11)->Name("command-run/CLI11/1")->UseRealTime();
#endif

}  // namespace
