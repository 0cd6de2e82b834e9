// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The short forms of the proofs. Their tables stand in results/proof-*.txt; HBTOOLS_PROOF_LONG=1 asks for the long ones.
#include "../base/OwnFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Result {
    int code = 0;
    std::string printed;
    long Count(std::string_view text) const {
        long count = 0;
        for (std::size_t at = 0; (at = printed.find(text, at)) != std::string::npos; ++at) ++count;
        return count;
    }
};

Result RunProgram(std::string const& program, std::string const& arguments) {
    Result result;
    std::FILE* const output = ::popen((program + " " + arguments).c_str(), "r");
    std::array<char, 4096> part;
    while (std::size_t const got = std::fread(part.data(), 1, part.size(), output))
        result.printed.append(part.data(), got);
    int const status = ::pclose(output);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    return result;
}

Result Proof(char const* program, char const* table) {
    Result const result = RunProgram(program, std::getenv("HBTOOLS_PROOF_LONG") ? "--long" : "");
    std::ofstream(std::string(HBTOOLS_BINARY_DIR "/results/proof-") + table + ".txt") << result.printed;
    return result;
}

// The run-time library of a sanitizer brings a malloc of its own, and takes minutes for what is proved without it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SKIP_SANITIZED() GTEST_SKIP() << "without sanitizers only"
#else
#define SKIP_SANITIZED() static_cast<void>(0)
#endif

TEST(Proof, EveryAllocationMayFail) {
    SKIP_SANITIZED();
    Result const result = Proof(HBTOOLS_PROOF_ALLOCATIONS, "allocations");
    EXPECT_EQ(result.code, 0) << result.printed;
    EXPECT_EQ(result.Count(" N = "), 18 * 4 + 2) << "scenarios, cold and warm, once and lasting; and starts";
}

TEST(Proof, EveryCallForFilesMayFail) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "its run-time library makes calls of its own";
#endif
    Result const result = Proof(HBTOOLS_PROOF_FILES, "faults");
    EXPECT_EQ(result.code, 0) << result.printed;
    for (char const* const scenario :
         {"scan load", "property tree", "graph", "config read", "config write", "config fast", "config encrypted",
          "xml", "zip pack", "zip unpack", "log", "macro", "language", "copies", "start"})
        EXPECT_GE(result.Count("\n" + std::string(scenario) + " "), 3);
    EXPECT_GE(result.Count(" calls "), 130);
}

TEST(Proof, ThePowerMayGoAtAnyTime) {
    SKIP_SANITIZED();
    Result const result = Proof(HBTOOLS_PROOF_POWERCUT, "powercut");
    EXPECT_EQ(result.code, 0) << result.printed;
    EXPECT_EQ(result.Count(" calls "), 21);
}

TEST(Proof, NoCutAndNoFlippedBitDoesHarm) {
#if !defined(__SANITIZE_THREAD__)
    Result const result = Proof(HBTOOLS_PROOF_SWEEPS, "sweeps");
    EXPECT_EQ(result.code, 0) << result.printed;
    EXPECT_GE(result.Count(" cuts, "), 140) << "files and readers, seeds, files and tools";
    Result const faulty = RunProgram(HBTOOLS_PROOF_SWEEPS, "--self-check 2>/dev/null");
    EXPECT_EQ(faulty.code, 1);
    for (char const* const text : {
             "dying, flip 27: ended by Aborted", "believing, cut 0: passes for whole",
                 "greedy, cut 5: ", "endless, cut 3: no end", "throwing, cut 0: ended by Abort",
#if defined(__SANITIZE_ADDRESS__)
                 "leaking, at the end: ended with code"
#endif
         })
        EXPECT_EQ(faulty.Count(text), 1) << text << "\n" << faulty.printed;
#endif
}

TEST(Proof, StepsGrowAsWhatIsGiven) {
    SKIP_SANITIZED();
    Result const result = Proof(HBTOOLS_PROOF_GROWTH, "growth");
    EXPECT_EQ(result.code, 0) << result.printed;
    EXPECT_GE(result.Count("\n"), 98);
    Result const faulty = RunProgram(HBTOOLS_PROOF_GROWTH, "--self-check");
    EXPECT_EQ(faulty.code, 1);
    EXPECT_EQ(faulty.Count("square of calls: calls grow 100.0"), 1) << faulty.printed;
    if (faulty.Count(" instructions") > 0) {
        EXPECT_GE(faulty.Count("square of instructions: instructions grow 9"), 1) << faulty.printed;
        EXPECT_EQ(faulty.Count("listed in vain: its calls do not look at all"), 1) << faulty.printed;
    }
}

TEST(Proof, FoldersOfKilledRunsGo) {
    std::filesystem::path const mine = test::MakeOwnFolderInMemory();
    pid_t const child = ::fork();
    if (child == 0) {
        std::filesystem::create_directory(test::MakeOwnFolderInMemory() / "data");
        ::_exit(0);
    }
    auto const countLeft = [&] {
        return std::ranges::count_if(std::filesystem::directory_iterator(mine.parent_path()), [&](auto const& entry) {
            return entry.path().string().find("-" + std::to_string(child) + "-") != std::string::npos;
        });
    };
    siginfo_t ended{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(countLeft(), 1) << "it may not go before its owner has";
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    std::filesystem::path const next = test::MakeOwnFolderInMemory();
    EXPECT_EQ(countLeft(), 0);
    EXPECT_TRUE(std::filesystem::remove(mine) && std::filesystem::remove(next)) << "what has an owner stays";
}

TEST(Proof, WhatIsWrongIsFound) {
    SKIP_SANITIZED();
    Result const memory = RunProgram(HBTOOLS_PROOF_ALLOCATIONS, "--self-check");
    EXPECT_EQ(memory.code, 1);
    for (char const* const text : {"leaking, warm, once, allocation 2: leak of 1 blocks",
                                   "leaking at first, cold, once, allocation 2: leak of 1 blocks", ": objects changed",
                                   ": files changed", "dying, warm, once, allocation 1: ended by Aborted"})
        EXPECT_GE(memory.Count(text), 1) << text << "\n" << memory.printed;
    Result const files = RunProgram(HBTOOLS_PROOF_FILES, "--self-check");
    EXPECT_EQ(files.code, 1);
    for (char const* const text :
         {"careless, write 1 once 5: another result without an error",
          "in place, write 1 once 5: step 1 ended with proof::Refused not written: files changed",
          "open, open 1 once 5: ended by Aborted", "open, mkdir 1 once 5: another result",
          "held, open 1 once 4: a descriptor stays open",
          "modeless: without failures: step 1: ", "unchecked, chmod 1 once 1: another result",
          "foldering, open 1 once 24: step 1 ended with proof::Refused not written: files changed",
          "misnaming, open 1 once 5: step 1 ended with KxN::KxDirEntryException, which does not tell ",
          "telling temporary, open 1 once 5: step 1 ended with KxN::KxDirEntryException, which tells a file"})
        EXPECT_GE(files.Count(text), 1) << text << "\n" << files.printed;
    if (files.Count("no access lists") == 0) {
        for (char const* const text :
             {"listless: without failures: step 1: ", "unchecked, setattr 2 once 28: another result"})
            EXPECT_GE(files.Count(text), 1) << text << "\n" << files.printed;
    }
    Result const power = RunProgram(HBTOOLS_PROOF_POWERCUT, "--self-check");
    EXPECT_EQ(power.code, 1);
    for (char const* const text : {"finding: overwriting, state 3, cut after call 1: scan.dat is neither",
                                   ", cut after call 3: scan.dat is neither",
                                   ", cut after call 4: the save has ended, and the new file may be lost",
                                   "nor the new one: 1000 bytes, mode 100640", "finding: modeless: scan.dat has not",
                                   "finding: laggard, state", "parts is neither"})
        EXPECT_GE(power.Count(text), 1) << text << "\n" << power.printed;
    if (power.Count("no access lists") == 0) {
        EXPECT_GE(power.Count("finding: listless: scan.dat has not"), 1) << power.printed;
    }
    // The number that a finding tells makes that state again, and no other.
    std::size_t const at = power.printed.find("finding: unsynced, state ");
    std::string const finding = power.printed.substr(at, power.printed.find('\n', at) - at);
    std::string const number = std::to_string(std::atoi(finding.c_str() + std::strlen("finding: unsynced, state ")));
    Result const again = RunProgram(HBTOOLS_PROOF_POWERCUT, "--self-check unsynced " + number);
    EXPECT_EQ(again.code, 1);
    EXPECT_EQ(again.Count(finding + "\n"), 1) << finding << "\n" << again.printed;
    EXPECT_TRUE(again.Count(", state ") == 1 && again.Count("did not arrive\n") > 0 && again.Count("there is ") > 0)
        << again.printed;
}

}  // namespace
