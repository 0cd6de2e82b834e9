// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Counts the steps of an operation for n and for 10 n elements: they grow ten times, and by a logarithm more where
// something is sorted or looked up in what is sorted. What takes the square of n shows without a clock.
//
//     proof_growth [--long] [--self-check] [CASE [NUMBER]]
//
// Steps are allocations, bytes through files, and calls of functions that the library is given; where valgrind is installed,
// instructions besides, of n / 4. One line for each case tells them; a line "finding" follows where one of them grows too
// fast. Where each of n calls may look at all of n, for the reason that its case states, instructions grow a hundred times and
// all else ten times; a case that does better may not be listed so. --long takes ten times as many elements. Exit code 1 if
// there are findings. With a number the case is run once.
#include "../Program.h"
#include "../allocations/Memory.h"
#include "Case.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <thread>
#include <unistd.h>

/// The only part that valgrind counts.
extern "C" [[gnu::noinline, gnu::visibility("default")]] void proof_measured(std::function<void()> const& action) {
    action();
    asm volatile("" ::: "memory");
}

namespace proof {

namespace fs = std::filesystem;

namespace {

fs::path g_folder;

struct Steps {
    long long allocations = 0, bytes = 0, calls = 0, instructions = 0;
};

Steps Run(Case const& test, int n) {
    std::function<void()> action = test.prepare(n);
    g_calls = g_bytes = 0;
    memory::Arm(0, false);
    proof_measured(action);
    Steps steps{memory::Disarm(), g_bytes, g_calls, 0};
    action = nullptr;
    return steps;
}

/// -1 where there is no valgrind. Long moves of memory are kept from becoming one instruction for each byte, beyond a size
/// where shorter ones take 32 bytes at a time.
long long Instructions(std::string const& program, char const* name, int n) {
    std::string const command =
        "GLIBC_TUNABLES=glibc.cpu.x86_rep_movsb_threshold=1000000000 valgrind --tool=callgrind "
        "--callgrind-out-file=/dev/null --toggle-collect=proof_measured '" +
        program + "' '" + name + "' " + std::to_string(n) + " 2>&1 >/dev/null";
    std::FILE* const output = ::popen(command.c_str(), "r");
    if (!output) return -1;
    long long count = -1;
    std::array<char, 4096> line;
    while (std::fgets(line.data(), static_cast<int>(line.size()), output))
        if (char const* const at = std::strstr(line.data(), "Collected :")) count = std::atoll(at + 11);
    return ::pclose(output) == 0 ? count : -1;
}

std::vector<Case> FaultyCases() {
    return {{"square of calls",
             [](int n) {
                 return [n] {
                     for (long i = 0; i < static_cast<long>(n) * n; ++i) ++g_calls;
                 };
             }},
            {"square of instructions",
             [](int n) {
                 return [n] {
                     for (long i = 0; i < static_cast<long>(n) * n; ++i) asm volatile("");
                 };
             }},
            {"listed in vain",
             [](int n) {
                 return [n] {
                     for (long i = 0; i < static_cast<long>(n); ++i) asm volatile("");
                 };
             },
             false, "none"}};
}

class Proof {
public:
    Proof(std::string program, int n) : m_program(std::move(program)), m_n(n), m_counted(std::max(30, n / 4)) {
        m_hasValgrind = std::system("valgrind --version >/dev/null 2>&1") == 0;
    }

    /// Counts the instructions of these cases, several at a time: that takes longest, and each is a process of its own.
    void Count(std::vector<Case const*> const& cases) {
        if (!m_hasValgrind) return;
        for (Case const* test : cases) m_instructions[test->name];
        std::atomic<std::size_t> next = 0;
        std::vector<std::jthread> workers(std::max(1U, std::thread::hardware_concurrency()));
        for (std::jthread& worker : workers)
            worker = std::jthread([&] {
                for (std::size_t i; (i = next++) < 2 * cases.size();)
                    m_instructions.at(cases[i / 2]->name)[i % 2] =
                        Instructions(m_program, cases[i / 2]->name, i % 2 == 0 ? m_counted : 10 * m_counted);
            });
    }
    void Judge(Case const& test) {
        int const n = test.most > 0 ? std::min(m_n, test.most / 10) : m_n;
        Steps few = Run(test, n), many = Run(test, 10 * n);
        if (m_hasValgrind) {
            few.instructions = m_instructions[test.name][0];
            many.instructions = m_instructions[test.name][1];
            if (few.instructions <= 0 || many.instructions <= 0) Find(test, "instructions were not counted");
        }
        std::printf("%-36s", test.name);
        Compare(test, "allocations", few.allocations, many.allocations, n);
        Compare(test, "bytes", few.bytes, many.bytes, n);
        Compare(test, "calls", few.calls, many.calls, n);
        Compare(test, "instructions", few.instructions, many.instructions, m_counted);
        if (test.isLinearPerCall) std::printf("  each call looks at all: %s", test.isLinearPerCall);
        std::printf("\n");
        for (std::string const& finding : m_findings) std::printf("finding: %s\n", finding.c_str());
        m_numFindings += static_cast<int>(m_findings.size());
        m_findings.clear();
        std::fflush(stdout);
    }
    int CountFindings() const { return m_numFindings; }

private:
    void Find(Case const& test, std::string const& what) { m_findings.push_back(std::string(test.name) + ": " + what); }

    void Compare(Case const& test, char const* what, long long few, long long many, int n) {
        if (many <= 0) return;
        // A growing block is one allocation more from time to time, and what takes hardly any steps proves nothing.
        double const ratio = static_cast<double>(many) / static_cast<double>(std::max(few, 10LL));
        double const linear = test.isLogarithmic ? 12.5 * std::log(10.0 * n) / std::log(n) : 12.5;
        bool const isSquare = test.isLinearPerCall && std::strcmp(what, "instructions") == 0;
        std::printf("  %lld to %lld %s (%.1f)", few, many, what, ratio);
        if (isSquare && ratio <= linear) Find(test, "its calls do not look at all");
        // A square is a hundred times, a cube a thousand times.
        if (ratio > (isSquare ? 10 * linear : linear))
            Find(test, std::string(what) + " grow " + std::to_string(ratio) + " times");
    }

    std::string m_program;
    int m_n, m_counted;
    std::map<std::string, std::array<long long, 2>> m_instructions;
    bool m_hasValgrind = false;
    std::vector<std::string> m_findings;
    int m_numFindings = 0;
};

}  // namespace

fs::path EmptyFolder() {
    fs::remove_all(g_folder / "data");
    fs::create_directories(g_folder / "data");
    return g_folder / "data";
}

KxN::KxString WriteFile(fs::path const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
    return KxN::KxxFromSystemPath(path.string());
}

}  // namespace proof

int main(int argc, char** argv) {
    using namespace proof;
    Options const options(argc, argv);
    std::vector<Case> const faulty = FaultyCases();
    std::vector<Case> cases = ContainerCases();
    for (std::vector<Case> more : {FileCases(), ScanCases(), LookUpCases()})
        for (Case& test : more) cases.push_back(std::move(test));
    g_folder = MakeFolder();
    if (g_folder.empty()) return 2;
    int numRun = 0, findings = 0;
    try {
        Proof proof(argv[0], options.isLong ? 8000 : 800);
        bool const isOne = options.arguments.size() == 2;
        if (options.isSelfCheck) cases = faulty;
        if (isOne) cases.insert(cases.end(), faulty.begin(), faulty.end());
        std::vector<Case const*> wanted;
        for (Case const& test : cases)
            if (options.only.empty() || options.only == test.name) wanted.push_back(&test);
        numRun = static_cast<int>(wanted.size());
        if (!isOne) proof.Count(wanted);
        for (Case const* test : wanted) {
            if (isOne)
                Run(*test, std::atoi(options.arguments[1].c_str()));
            else
                proof.Judge(*test);
        }
        findings = proof.CountFindings();
    } catch (KxN::CException* exception) {
        std::printf("finding: %s\n", KxN::KxxToUtf8(KxN::CException::TextOf(*exception).View()).c_str());
        exception->Delete();
        ++findings;
    }
    std::printf("%d cases, %d findings\n", numRun, findings);
    fs::remove_all(g_folder);
    return findings > 0 || numRun == 0 ? 1 : 0;
}
