// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Runs a scenario in a child process and lets something fail in it, memory or files.
//
// A step that fails has thrown what the failures allow, or what its scenario documents; objects are as before the step, or
// as behind it if it was done but for telling so; each file is the old one or the new one, with its mode, owner and
// attributes, and there is no other, and no folder; the step and those behind it can then be made, with the same result as
// ever. Without failures too, what was there keeps mode, owner and attributes.
#pragma once

#include "Scenario.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace proof {

constexpr int maximumSteps = 32;
constexpr std::size_t maximumFiles = 64;
constexpr unsigned hangAfter = 60;  // seconds

/// What can be seen, as a sum of it: it must take no memory while that is counted.
struct Seen {
    std::uint64_t objects = 0, files = 0;
    std::array<std::uint64_t, maximumFiles> each{};  // of these files and folders
    bool operator==(Seen const&) const = default;
};

struct Text {
    std::array<char, 400> bytes{};
    void Set(std::string const& text) {
        bytes.fill(0);
        text.copy(bytes.data(), bytes.size() - 1);
    }
    bool IsEmpty() const { return bytes[0] == 0; }
};

/// A run without failures: what is to be seen behind each step.
struct States {
    int count = 0;  // of steps
    std::array<Seen, maximumSteps + 1> seen{};
    int calls = 0;  // that might fail
    Text failure;
};

struct Outcome {
    bool isReached = false;
    Text error;    // class of what was thrown; empty if the failure was got over
    Text finding;  // what must not be
};

/// What a step has ended with.
struct Thrown {
    std::string name;             // of the class, with the text of a result that tells a failure
    std::string text;             // of an exception of the library, if that is wanted, or of a result
    bool isOfTheLibrary = false;  // an exception
};

/// What fails. Calls that may fail are counted from 1; 0 is none, and with `isLasting` all later ones fail too.
struct Failures {
    void (*arm)(int number, bool isLasting);
    int (*disarm)();  // returns how many calls there were
    bool (*hasFailed)();
    /// Why an error is none of those that the failure may lead to; empty if it is one.
    std::string (*whyNot)(Thrown const& thrown, Scenario const& scenario, std::filesystem::path const& folder,
                          int step);
    bool needsText = false;
};

extern bool g_isTalking;           // for one run
extern bool g_areLeftPartsNoted;   // what stays of a save that could not remove its temporary file counts as a file
extern bool g_areAttributesNoted;  // those other than access lists, which a save leaves out where it may not set them

std::uint64_t SumOf(std::string const& text);
/// A run without failures; calls are counted if there are states to put that into.
void RunPlain(Kind const& kind, std::filesystem::path const& folder, Failures const& failures, States* states);
/// A run in which that call fails.
void RunFailing(Kind const& kind, std::filesystem::path const& folder, Failures const& failures, int number,
                bool isLasting, States const& states, Outcome& outcome);
/// The numbers that are tried: the first ones, and then in strides, unless all are wanted.
std::vector<int> NumbersOf(int count, bool isLong, int dense, int strided);

/// Runs it in a child, which leaves its result behind. Returns what went wrong with the child itself.
template <class Result, class Action>
std::string InChild(Result& result, Action action) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) return "no pipe";
    std::fflush(stdout);
    pid_t const child = ::fork();
    if (child == 0) {
        int const null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, 2);
        ::alarm(hangAfter);
        action(result);
        bool const isWhole = ::write(ends[1], &result, sizeof result) == static_cast<ssize_t>(sizeof result);
        ::_exit(isWhole ? 0 : 1);
    }
    ::close(ends[1]);
    std::size_t got = 0;
    ssize_t more = 0;
    while (got < sizeof result &&
           (more = ::read(ends[0], reinterpret_cast<char*>(&result) + got, sizeof result - got)) > 0)
        got += static_cast<std::size_t>(more);
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    if (WIFSIGNALED(status)) return std::string("ended by ") + ::strsignal(WTERMSIG(status));
    return got == sizeof result && WEXITSTATUS(status) == 0 ? ""
                                                            : "ended with code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace proof
