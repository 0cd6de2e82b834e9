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
// A step that fails has thrown std::bad_alloc, a memory exception, or what its scenario documents; objects are as
// before the step, or as behind it if it was done but for telling so; each file is the old one or the new one, and there is
// no other; the step and those behind it can then be made, with the same result as ever; nothing has leaked.
#include "Memory.h"
#include "Scenario.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/base/syException.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string_view>
#include <typeinfo>
#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace proof {

namespace fs = std::filesystem;

KxN::KxString PathOf(fs::path const& path) {
    return KxN::KxxFromSystemPath(path.string());
}

void WriteFile(fs::path const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string ReadFile(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

namespace {

using memory::Live;

constexpr int maximumSteps = 32;
constexpr unsigned hangAfter = 60;  // seconds

/// What can be seen, as a sum of it: it must take no memory while that is counted.
struct Seen {
    std::uint64_t objects = 0, files = 0;
    std::array<std::uint64_t, 8> each{};  // of these files
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

struct States {
    int count = 0;  // of steps
    std::array<Seen, maximumSteps + 1> seen{};
    int allocations = 0;
    Text failure;
};

struct Outcome {
    bool isReached = false;
    Text error;    // class of what was thrown; empty if the failure was got over
    Text finding;  // what must not be
};

bool g_isTalking = false;  // for one run

std::uint64_t SumOf(std::string const& text) {
    std::uint64_t sum = 14695981039346656037u;
    for (char const c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return sum;
}

std::map<std::string, std::string> FilesIn(fs::path const& folder) {
    std::map<std::string, std::string> files;
    for (auto const& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        std::string bytes = ReadFile(entry.path());
        if (entry.path().filename() == "log.txt") {  // but for the moment of saving
            std::size_t const entries = bytes.find("[0]"), moment = bytes.find("Date=");
            if (moment < entries && entries != std::string::npos) bytes.erase(moment, entries - moment);
        }
        if (entry.path().filename() == "debug.txt")  // the same of each entry
            for (char& c : bytes)
                if (c >= '0' && c <= '9') c = '0';
        files[entry.path().string()] = bytes;
    }
    return files;
}

/// Looks without failures.
Seen Look(Scenario const& scenario, fs::path const& folder) {
    std::string objects;
    try {
        objects = scenario.observe();
    } catch (...) {
        objects = "cannot be seen";
    }
    Seen seen{SumOf(objects), 0, {}};
    std::string all;
    std::size_t number = 0;
    for (auto const& [name, bytes] : FilesIn(folder)) {
        std::string const file = name + ":" + std::to_string(bytes.size()) + ":" + bytes + "\n";
        if (number < seen.each.size()) seen.each[number++] = SumOf(file);
        all += file;
    }
    seen.files = SumOf(all);
    if (g_isTalking) std::printf("objects: %s\nfiles: %s\n", objects.c_str(), all.c_str());
    return seen;
}

std::string NameOf(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                      std::free);
    return name ? name.get() : type.name();
}

/// Runs one step; the name of what it throws, and its text where the name does not tell. Failures end with the step that
/// throws.
std::string Run(std::function<void()> const& step) {
    try {
        step();
        return "";
    } catch (KxN::CException* exception) {
        memory::Disarm();
        std::string const name = NameOf(typeid(*exception));
        if (g_isTalking) std::printf("%s\n", KxN::KxxToUtf8(KxN::CException::TextOf(*exception).View()).c_str());
        exception->Delete();
        return name;
    } catch (Refused const& refused) {
        memory::Disarm();
        return "proof::Refused " + refused.why;
    } catch (std::exception const& exception) {
        memory::Disarm();
        return NameOf(typeid(exception));
    }
}

Scenario MakeIn(Kind const& kind, fs::path const& folder) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    return kind.make(folder);
}

/// A run without failures, and what is to be seen behind each step.
void RunPlain(Kind const& kind, fs::path const& folder, States* states) {
    Scenario const scenario = MakeIn(kind, folder);
    if (states) states->seen[0] = Look(scenario, folder);
    int number = 0;
    for (auto const& step : scenario.steps) {
        ++number;
        if (states) memory::Arm(0, false);
        std::string const thrown = Run(step);
        if (states) states->allocations += memory::Disarm();
        if (!thrown.empty() && states) states->failure.Set("step " + std::to_string(number) + ": " + thrown);
        if (states) states->seen[static_cast<std::size_t>(number)] = Look(scenario, folder);
    }
    if (states) states->count = number;
}

/// Whether each file is one of those before or behind.
bool AreSome(Seen const& now, Seen const& before, Seen const& behind) {
    return std::ranges::all_of(now.each, [&](std::uint64_t file) {
        return std::ranges::find(before.each, file) != before.each.end() ||
               std::ranges::find(behind.each, file) != behind.each.end();
    });
}

bool IsAllowed(std::string const& thrown, Scenario const& scenario) {
    for (char const* const name : {"std::bad_alloc", "KxN::CMemoryException", "KxN::KxMemoryException"})
        if (thrown == name) return true;
    return std::ranges::find(scenario.documented, thrown) != scenario.documented.end();
}

/// A run in which the allocation fails.
void RunFailing(Kind const& kind, fs::path const& folder, int number, bool isLasting, States const& states,
                Outcome& outcome) {
    Scenario const scenario = MakeIn(kind, folder);
    bool isBroken = false;
    std::string finding;
    memory::Arm(number, isLasting);
    for (std::size_t k = 0; k < scenario.steps.size(); ++k) {
        std::string const thrown = Run(scenario.steps[k]);
        if (thrown.empty()) continue;
        std::string const where = "step " + std::to_string(k + 1) + " ended with " + thrown;
        if (isBroken) {
            finding = "after a failure " + where;
            break;
        }
        isBroken = true;
        outcome.isReached = memory::HasFailed();
        outcome.error.Set(thrown);
        if (!IsAllowed(thrown, scenario)) finding = where;
        if (!outcome.isReached) finding = "without a failure " + where;
        Seen const now = Look(scenario, folder), before = states.seen[k], behind = states.seen[k + 1];
        bool const isDocumented = now.objects == SumOf(scenario.documentedState);
        if (now.objects != before.objects && now.objects != behind.objects && !isDocumented)
            finding = where + ": objects changed";
        if (now.files != before.files && now.files != behind.files &&
            !(scenario.isOfManyFiles && AreSome(now, before, behind)))
            finding = where + ": files changed";
        if (!finding.empty()) break;
        bool const isDone = before.objects != behind.objects
                                ? now.objects == behind.objects
                                : before.files != behind.files && now.files == behind.files;
        if (!isDone) --k;
    }
    memory::Disarm();
    if (!isBroken) outcome.isReached = memory::HasFailed();
    if (finding.empty() && Look(scenario, folder) != states.seen[scenario.steps.size()]) {
        finding = isBroken ? "another result once it goes on after " + std::string(outcome.error.bytes.data())
                           : "another result without an error";
    }
    outcome.finding.Set(finding);
}

/// A thread that has ended for all who ask gives back the last of its memory a moment later.
Live Settled(Kind const& kind, Live const& wanted) {
    for (int i = 0; i < 200 && kind.hasThreads && memory::CountLive().blocks != wanted.blocks; ++i) ::usleep(1000);
    return memory::CountLive();
}

/// What a child does: its own result, beside what leaked.
void RunChild(Kind const& kind, fs::path const& folder, int number, bool isLasting, bool isCold, States const& states,
              Outcome& outcome) {
    if (!isCold && kind.hasThreads)
        for (int i = 0; i < 2; ++i) RunPlain(kind, folder, nullptr), ::usleep(20000);
    // The C library may keep the stack of one thread more, which grows once; what leaks grows each time.
    int const repeats = kind.hasThreads ? 3 : 1;
    Live from = memory::CountLive();
    for (int i = 0; i < (isCold ? 1 : repeats); ++i) RunFailing(kind, folder, number, isLasting, states, outcome);
    if (isCold) {  // what is kept for ever has come by now
        RunPlain(kind, folder, nullptr);
        if (kind.hasThreads) ::usleep(20000);
        from = memory::CountLive();
        for (int i = 0; i < repeats; ++i) RunPlain(kind, folder, nullptr);
    }
    Live const after = Settled(kind, from);
    long long const allowed = repeats - 1;
    // A block's usable bytes may vary with what is free beside it.
    if (after.blocks - from.blocks > allowed && outcome.finding.IsEmpty())
        outcome.finding.Set("leak of " + std::to_string(after.blocks - from.blocks) + " blocks, " +
                            std::to_string(after.bytes - from.bytes) + " bytes after " + outcome.error.bytes.data());
}

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

/// The numbers that are tried.
std::vector<int> NumbersOf(int count, bool isLong, int dense, int strided) {
    std::vector<int> numbers;
    int const stride = isLong ? 1 : std::max(1, (count - dense) / strided);
    for (int n = 1; n <= count; n += n < dense ? 1 : stride) numbers.push_back(n);
    return numbers;
}

/// Where nothing above can help: the function whose allocation failed ends the process itself.
bool IsKnownDeath(void const* caller) {
    Dl_info info{};
    if (!caller || ::dladdr(caller, &info) == 0 || !info.dli_sname) return false;
    std::string_view const name = info.dli_sname;
    // The C library gives up when it cannot note the destructor of an object of a thread.
    return name == "__cxa_thread_atexit_impl";
}

class Proof {
public:
    Proof(fs::path folder, bool isLong) : m_folder(std::move(folder)), m_isLong(isLong) {
        m_caller = static_cast<void const**>(
            ::mmap(nullptr, sizeof(void*), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        memory::NoteCallerAt(m_caller);
    }

    void RunSeries(Kind const& kind, bool isCold, bool isLasting) {
        fs::path const folder = m_folder / "data";
        States states;
        std::string dead = InChild(states, [&](States& result) {
            if (!isCold)
                for (int i = 0; i < 2; ++i) RunPlain(kind, folder, nullptr);
            RunPlain(kind, folder, &result);
        });
        std::string const title =
            std::string(kind.name) + (isCold ? ", cold" : ", warm") + (isLasting ? ", lasting" : ", once");
        if (dead.empty()) dead = states.failure.bytes.data();
        if (!dead.empty()) return Find(title, 0, "without failures: " + dead);
        std::map<std::string, int> ends;
        std::vector<int> const numbers = NumbersOf(states.allocations, m_isLong, isCold ? 30 : 40, isCold ? 30 : 60);
        for (int const number : numbers) {
            Outcome outcome;
            *m_caller = nullptr;
            dead = InChild(outcome,
                           [&](Outcome& result) { RunChild(kind, folder, number, isLasting, isCold, states, result); });
            if (!dead.empty() && IsKnownDeath(*m_caller)) {
                ++ends["ended by a C library"];
                continue;
            }
            if (dead.empty()) dead = outcome.finding.bytes.data();
            if (!dead.empty()) Find(title, number, dead);
            if (outcome.isReached) ++ends[outcome.error.IsEmpty() ? "got over" : outcome.error.bytes.data()];
        }
        Tell(title, states.allocations, numbers.size(), ends);
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
    void const** m_caller = nullptr;  // of the allocation that failed; shared with the children
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
            {"changing", Local::Changing},
            {"half-written", Local::HalfWritten},
            {"dying", Local::Dying}};
}

}  // namespace

std::vector<Kind> const& Kinds() {
    static std::vector<Kind> const kinds = [] {
        std::vector<Kind> all = DataKinds();
        for (Kind const& kind : ProgramKinds()) all.push_back(kind);
        return all;
    }();
    return kinds;
}

}  // namespace proof

int main(int argc, char** argv) {
    using namespace proof;
    if (argc == 3 && std::strcmp(argv[1], "--start") == 0) return StartAndStop(argv[2]);
    std::vector<std::string> arguments(argv + 1, argv + argc);
    auto const takes = [&](char const* option) { return std::erase(arguments, option) > 0; };
    bool const isLong = takes("--long"), isSelfCheck = takes("--self-check");
    std::vector<Kind> const kinds = isSelfCheck ? FaultyKinds() : Kinds();
    std::string const only = arguments.empty() ? "" : arguments[0];

    std::error_code none;
    std::string pattern =
        (fs::is_directory("/dev/shm", none) ? "/dev/shm" : fs::temp_directory_path().string()) + "/hbtools-XXXXXX";
    if (!::mkdtemp(pattern.data())) return 2;
    fs::path const folder = pattern;
    KxTools::SetEncryptionPassword("the password of the scenarios");
    int findings = 0;
    if (arguments.size() == 4) {
        g_isTalking = true;
        for (Kind const& kind : kinds) {
            if (kind.name != only) continue;
            States states;
            Outcome outcome;
            bool const isCold = arguments[2] == "cold";
            g_isTalking = false;
            for (int i = 0; i < 2 && !isCold; ++i) RunPlain(kind, folder / "data", nullptr);
            InChild(states, [&](States& result) { RunPlain(kind, folder / "data", &result); });
            g_isTalking = true;
            RunChild(kind, folder / "data", std::atoi(arguments[3].c_str()), arguments[1] == "lasting", isCold, states,
                     outcome);
            std::printf("%s; %s\n", outcome.error.bytes.data(), outcome.finding.bytes.data());
        }
    } else {
        Proof run(folder, isLong);
        for (bool const isCold : {true, false}) {
            for (Kind const& kind : kinds) {
                if (!only.empty() && only != kind.name) continue;
                // Children inherit what a process keeps for ever; with threads they make it themselves.
                if (!isCold && !kind.hasThreads)
                    for (int i = 0; i < 2; ++i) RunPlain(kind, folder / "data", nullptr);
                for (bool const isLasting : {false, true}) run.RunSeries(kind, isCold, isLasting);
            }
        }
        if (only.empty() && !isSelfCheck)
            for (bool const isLasting : {false, true}) run.RunStarts(isLasting);
        findings = run.CountFindings();
        std::printf("%d findings\n", findings);
    }
    fs::remove_all(folder, none);
    return findings > 0 ? 1 : 0;
}
