// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Lets every allocation of every scenario fail, once, and from then on: in a process that has not used the library before
// (cold), and in one that has (warm).
//
//     proof_allocations [--long] [--self-check] [SCENARIO [once|lasting cold|warm NUMBER]]
//
// Without --long the allocations behind the first few are taken in strides. With a number that one run is made in this
// process, for a debugger. One line for each series tells how many allocations there are, how many were made to fail, and
// what that led to; a line "finding" follows for whatever must not be. Exit code 1 if there are findings.
//
// A step that fails has thrown std::bad_alloc, a memory exception, or what its scenario documents; what else must be stands
// in scenarios/Runner.h. Nothing has leaked, but for one block of at most 128 bytes where the C library was itself refused
// memory for the first time: glibc loses one of its list of locales then.
#include "../Program.h"
#include "Memory.h"
#include "Runner.h"

#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syException.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>

namespace proof {

namespace fs = std::filesystem;

namespace {

using memory::Live;

std::string WhyNot(Thrown const& thrown, Scenario const& scenario, fs::path const&, int) {
    for (char const* const name : {"std::bad_alloc", "KxN::CMemoryException", "KxN::KxMemoryException"})
        if (thrown.name == name) return "";
    return std::ranges::find(scenario.documented, thrown.name) != scenario.documented.end()
               ? ""
               : ", which is not documented";
}
constexpr Failures failures{memory::Arm, memory::Disarm, memory::HasFailed, WhyNot};

/// A thread that has ended for all who ask gives back the last of its memory a moment later.
Live Settled(Kind const& kind, Live const& wanted) {
    for (int i = 0; i < 200 && kind.hasThreads && memory::CountLive().blocks != wanted.blocks; ++i) ::usleep(1000);
    return memory::CountLive();
}

/// The C library may keep the stack of one thread more, which grows once; what leaks grows each time.
int RepeatsOf(Kind const& kind) {
    return kind.hasThreads ? 3 : 1;
}

/// Runs what brings all that is kept for ever, behind whatever the first run was.
void RunBehind(Kind const& kind, fs::path const& folder) {
    RunPlain(kind, folder, failures, nullptr);
    if (kind.hasThreads) ::usleep(20000);
    for (int i = 0; i < RepeatsOf(kind); ++i) RunPlain(kind, folder, failures, nullptr);
}

/// What stays in a cold process in which nothing fails, beyond what it began with.
Live KeptOf(Kind const& kind, fs::path const& folder) {
    Live const from = memory::CountLive();
    RunPlain(kind, folder, failures, nullptr);
    RunBehind(kind, folder);
    if (kind.hasThreads) ::usleep(100000);
    Live const after = memory::CountLive();
    return {after.blocks - from.blocks, after.bytes - from.bytes};
}

/// What a child does: its own result, beside what leaked. A cold one may keep as much as one in which nothing fails.
void RunChild(Kind const& kind, fs::path const& folder, int number, bool isLasting, bool isCold, States const& states,
              Live const& kept, Outcome& outcome) {
    if (!isCold && kind.hasThreads)
        for (int i = 0; i < 2; ++i) RunPlain(kind, folder, failures, nullptr), ::usleep(20000);
    int const repeats = RepeatsOf(kind);
    Live from = memory::CountLive();
    if (isCold) from = {from.blocks + kept.blocks, from.bytes + kept.bytes};
    for (int i = 0; i < (isCold ? 1 : repeats); ++i)
        RunFailing(kind, folder, failures, number, isLasting, states, outcome);
    if (isCold) RunBehind(kind, folder);
    Live const after = Settled(kind, from);
    bool const isOfLibC = isCold && memory::HasFailedInLibC() && after.bytes - from.bytes <= 128;
    long long const allowed = repeats - 1 + (isOfLibC ? 1 : 0);
    // A block's usable bytes may vary with what is free beside it.
    if (after.blocks - from.blocks > allowed && outcome.finding.IsEmpty())
        outcome.finding.Set("leak of " + std::to_string(after.blocks - from.blocks) + " blocks, " +
                            std::to_string(after.bytes - from.bytes) + " bytes after " + outcome.error.bytes.data());
}

class Proof {
public:
    Proof(fs::path folder, bool isLong) : m_folder(std::move(folder)), m_isLong(isLong) {}

    void RunSeries(Kind const& kind, bool isCold, bool isLasting) {
        fs::path const folder = m_folder / "data";
        States states;
        std::string dead = InChild(states, [&](States& result) {
            if (!isCold)
                for (int i = 0; i < 2; ++i) RunPlain(kind, folder, failures, nullptr);
            RunPlain(kind, folder, failures, &result);
        });
        Live kept;
        if (isCold && dead.empty()) dead = InChild(kept, [&](Live& result) { result = KeptOf(kind, folder); });
        std::string const title =
            std::string(kind.name) + (isCold ? ", cold" : ", warm") + (isLasting ? ", lasting" : ", once");
        if (dead.empty()) dead = states.failure.bytes.data();
        if (!dead.empty()) return Find(title, 0, "without failures: " + dead);
        std::map<std::string, int> ends;
        std::vector<int> const numbers = NumbersOf(states.calls, m_isLong, isCold ? 30 : 40, isCold ? 30 : 60);
        for (int const number : numbers) {
            Outcome outcome;
            dead = InChild(outcome, [&](Outcome& result) {
                RunChild(kind, folder, number, isLasting, isCold, states, kept, result);
            });
            if (dead.empty()) dead = outcome.finding.bytes.data();
            if (!dead.empty()) Find(title, number, dead);
            if (outcome.isReached) ++ends[outcome.error.IsEmpty() ? "got over" : outcome.error.bytes.data()];
        }
        Tell(title, states.calls, numbers.size(), ends);
    }

    /// From the first instruction of the process to its last.
    void RunStarts(bool isLasting) {
        std::string const title = std::string("start-up and shut-down") + (isLasting ? ", lasting" : ", once");
        int count = 0;
        std::string printed;
        Start("0", printed);
        count = std::atoi(printed.c_str());
        if (count == 0) return Find(title, 0, "without failures: " + printed);
        std::map<std::string, int> ends;
        std::vector<int> const numbers = NumbersOf(count, m_isLong, 60, 60);
        for (int const number : numbers) {
            int const status = Start(std::to_string(number) + (isLasting ? "+" : ""), printed);
            bool const isToldByRunTime =
                printed.find("bad_alloc") != std::string::npos || printed.find("Memory") != std::string::npos ||
                printed.find("memory") != std::string::npos || printed.find("terminate called") != std::string::npos;
            if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
                ++ends["got over"];
            else if (WIFEXITED(status) && WEXITSTATUS(status) == 3)
                ++ends["exception in main"];
            else if (WIFEXITED(status) && WEXITSTATUS(status) == 127 && isToldByRunTime)
                ++ends["refused by the loader"];
            else if (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT && isToldByRunTime)
                ++ends["std::bad_alloc before main"];
            else
                Find(title, number,
                     (WIFSIGNALED(status) ? ::strsignal(WTERMSIG(status))
                                          : "exit code " + std::to_string(WEXITSTATUS(status))) +
                         ": " + printed);
        }
        Tell(title, count, numbers.size(), ends);
    }

    int CountFindings() const { return m_numFindings; }

private:
    void Find(std::string const& title, int number, std::string const& what) {
        ++m_numFindings;
        std::printf("finding: %s, allocation %d: %s\n", title.c_str(), number, what.c_str());
        std::fflush(stdout);
    }
    void Tell(std::string const& title, int count, std::size_t tried, std::map<std::string, int> const& ends) {
        std::printf("%-34s N = %5d, failed %5zu:", title.c_str(), count, tried);
        char const* separator = " ";
        for (auto const& [end, times] : ends) {
            std::printf("%s%d %s", separator, times, end.c_str());
            separator = ", ";
        }
        std::printf("\n");
        std::fflush(stdout);
    }
    int Start(std::string const& number, std::string& printed) {
        fs::path const folder = m_folder / "data", out = m_folder / "printed";
        fs::remove_all(folder);
        fs::create_directories(folder);
        pid_t const child = ::fork();
        if (child == 0) {
            int const file = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            ::dup2(file, 1);
            ::dup2(file, 2);
            ::setenv("HBTOOLS_FAIL_FROM_START", number.c_str(), 1);
            ::alarm(hangAfter);
            ::execl("/proc/self/exe", "proof_allocations", "--start", folder.c_str(), nullptr);
            ::_exit(126);
        }
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
        printed = ReadFile(out);
        return status;
    }

    fs::path m_folder;
    bool m_isLong;
    int m_numFindings = 0;
};

/// A program of its own: main is part of the scenario.
int StartAndStop(char const* folder) {
#ifdef HBTOOLS_COVERAGE
    std::atexit([] { memory::Disarm(); });  // the counters are written at the end, which takes memory
#endif
    try {
        Kinds().back().make(folder).steps.front()();
    } catch (KxN::CException* exception) {
        exception->Delete();
        return 3;
    } catch (std::exception const&) {
        return 3;
    }
    if (std::strcmp(std::getenv("HBTOOLS_FAIL_FROM_START"), "0") == 0) std::printf("%d\n", memory::Disarm());
    return 0;
}

/// What must be found, or nothing is proved.
std::vector<Kind> FaultyKinds() {
    struct Local {
        static Scenario Leaking(fs::path const&) {
            return {{[] {
                        static char* volatile block = nullptr;
                        block = new char[100];
                        std::string const text(100, 'x');
                        delete[] block;
                    }},
                    [] { return ""; }};
        }
        static Scenario LeakingAtFirst(fs::path const&) {
            return {{[] {
                        static bool isFirst = true;
                        bool const wasFirst = isFirst;
                        isFirst = false;
                        static char* volatile block = nullptr;
                        if (wasFirst) block = new char[100];
                        std::string const text(100, 'x');
                        if (wasFirst) delete[] block;
                    }},
                    [] { return ""; }};
        }
        static Scenario Changing(fs::path const&) {
            auto const list = std::make_shared<std::vector<std::string>>();
            return {{[list] {
                        list->emplace_back(100, 'x');
                        list->emplace_back(100, 'x');
                    }},
                    [list] { return std::to_string(list->size()); }};
        }
        static Scenario HalfWritten(fs::path const& folder) {
            return {{[folder] {
                        std::ofstream out(folder / "file");
                        out << "half" << std::flush;
                        out << std::string(100, 'x');
                    }},
                    [] { return ""; }};
        }
        static Scenario Dying(fs::path const&) {
            return {{[]() noexcept { std::string const text(100, 'x'); }}, [] { return ""; }};
        }
    };
    return {{"leaking", Local::Leaking},
            {"leaking at first", Local::LeakingAtFirst},
            {"changing", Local::Changing},
            {"half-written", Local::HalfWritten},
            {"dying", Local::Dying}};
}

}  // namespace

}  // namespace proof

int main(int argc, char** argv) {
    using namespace proof;
    if (argc == 3 && std::strcmp(argv[1], "--start") == 0) return StartAndStop(argv[2]);
    Options const options(argc, argv);
    std::vector<Kind> const kinds = options.isSelfCheck ? FaultyKinds() : Kinds();

    std::error_code none;
    fs::path const folder = MakeFolder();
    if (folder.empty()) return 2;
    KxTools::SetEncryptionPassword("the password of the scenarios");
    int findings = 0;
    if (options.arguments.size() == 4) {
        g_isTalking = true;
        for (Kind const& kind : kinds) {
            if (kind.name != options.only) continue;
            States states;
            Outcome outcome;
            bool const isCold = options.arguments[2] == "cold";
            g_isTalking = false;
            for (int i = 0; i < 2 && !isCold; ++i) RunPlain(kind, folder / "data", failures, nullptr);
            InChild(states, [&](States& result) { RunPlain(kind, folder / "data", failures, &result); });
            Live kept;
            InChild(kept, [&](Live& result) { result = KeptOf(kind, folder / "data"); });
            g_isTalking = true;
            RunChild(kind, folder / "data", std::atoi(options.arguments[3].c_str()), options.arguments[1] == "lasting",
                     isCold, states, kept, outcome);
            std::printf("%s; %s\n", outcome.error.bytes.data(), outcome.finding.bytes.data());
        }
    } else {
        Proof run(folder, options.isLong);
        for (bool const isCold : {true, false}) {
            for (Kind const& kind : kinds) {
                if (!options.only.empty() && options.only != kind.name) continue;
                // Children inherit what a process keeps for ever; with threads they make it themselves.
                if (!isCold && !kind.hasThreads)
                    for (int i = 0; i < 2; ++i) RunPlain(kind, folder / "data", failures, nullptr);
                for (bool const isLasting : {false, true}) run.RunSeries(kind, isCold, isLasting);
            }
        }
        if (options.only.empty() && !options.isSelfCheck)
            for (bool const isLasting : {false, true}) run.RunStarts(isLasting);
        findings = run.CountFindings();
        std::printf("%d findings\n", findings);
    }
    fs::remove_all(folder, none);
    return findings > 0 ? 1 : 0;
}
