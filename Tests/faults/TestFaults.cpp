// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Every call of the system that a scenario makes fails once, in every way that matters, and each time the program
// ends in order, says which file it was, and leaves the old file or the new one. See preload/Faults.h.
#include "../base/OwnFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

constexpr int shortCount = 0;       // instead of an error number
constexpr unsigned hangAfter = 60;  // seconds

struct Fault {
    std::string call;
    int number = 0;
    int error = 0;
    std::string times = "once";
};

struct Outcome {
    int code = 0;  // exit code, or 1000 and the number of the signal
    bool wasReached = false;
    std::string text;   // what the program printed
    std::string bytes;  // the file afterwards
    std::vector<std::string> files;
};

std::string Bytes(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

class Faults : public testing::Test {
protected:
    Faults() {
        fs::path const made = test::MakeOwnFolder();
        if (made.empty()) throw std::runtime_error("no temporary folder");
        m_folder = fs::canonical(made);  // as the system names it for a descriptor
    }
    ~Faults() override {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }

    fs::path Data() const { return m_folder / "data"; }

    /// Runs the scenario on a file of the given content, or on none if `content` is null.
    Outcome Run(std::string const& scenario, std::string const* content, Fault const& fault) {
        fs::remove_all(Data());
        fs::create_directory(Data());
        fs::path const file = Data() / "scan.dat", mark = m_folder / "mark", printed = m_folder / "printed";
        fs::remove(mark);
        if (content) std::ofstream(file, std::ios::binary) << *content;

        pid_t const child = ::fork();
        if (child == 0) {
            ::setenv("LD_PRELOAD", HBTOOLS_IOFAULTS, 1);
            // The run-time library of the sanitizer comes second: calls go through it behind the fault.
            char const* const options = std::getenv("ASAN_OPTIONS");
            ::setenv("ASAN_OPTIONS", ((options ? options + std::string(":") : "") + "verify_asan_link_order=0").c_str(),
                     1);
            ::setenv("HBTOOLS_IOFAULTS_UNDER", Data().c_str(), 1);
            ::setenv("HBTOOLS_IOFAULTS_MARK", mark.c_str(), 1);
            ::setenv("HBTOOLS_IOFAULTS_CALL", fault.call.c_str(), 1);
            ::setenv("HBTOOLS_IOFAULTS_NUMBER", std::to_string(fault.number).c_str(), 1);
            ::setenv("HBTOOLS_IOFAULTS_ERROR", std::to_string(fault.error).c_str(), 1);
            ::setenv("HBTOOLS_IOFAULTS_TIMES", fault.times.c_str(), 1);
            int const out = ::open(printed.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            ::dup2(out, 1);
            ::dup2(out, 2);
            ::alarm(hangAfter);
            ::execl(HBTOOLS_SCENARIOS, HBTOOLS_SCENARIOS, scenario.c_str(), file.c_str(), nullptr);
            ::_exit(127);
        }
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
        Outcome outcome;
        outcome.code = WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
        outcome.wasReached = fs::exists(mark);
        outcome.text = Bytes(printed);
        if (fs::is_regular_file(file)) outcome.bytes = Bytes(file);
        if (scenario == "log") {  // but for the moment of saving
            std::size_t const entries = outcome.bytes.find("[0]"), moment = outcome.bytes.find("Date=");
            if (moment < entries && entries != std::string::npos) outcome.bytes.erase(moment, entries - moment);
        }
        for (auto const& entry : fs::directory_iterator(Data())) outcome.files.push_back(entry.path().filename());
        return outcome;
    }

    /// Fails call 1, 2, ... until the scenario makes fewer; `check` looks at each run in which the fault was reached.
    /// Returns how many there were.
    template <class Check>
    int FailEach(std::string const& scenario, std::string const* content, std::string const& call, int error,
                 std::string const& times, Check check) {
        for (int number = 1; number < 1000; ++number) {
            SCOPED_TRACE(scenario + ": " + call + " " + std::to_string(number) + " " + times + " " +
                         (error ? std::strerror(error) : "one byte"));
            Outcome const outcome = Run(scenario, content, {call, number, error, times});
            if (!outcome.wasReached) {
                EXPECT_EQ(outcome.code, 0) << outcome.text;
                return number - 1;
            }
            check(outcome);
            if (testing::Test::HasFailure()) return number;
        }
        ADD_FAILURE() << scenario << ": no end of " << call;
        return 0;
    }

    fs::path m_folder;
};

struct CallErrors {
    char const* call;
    std::vector<int> errors;
};
std::vector<CallErrors> const allErrors = [] {
    std::vector<CallErrors> all = {
        {"open", {EMFILE, EROFS, ENOSPC}}, {"read", {EIO}},          {"write", {ENOSPC, EIO, EDQUOT}},
        {"fsync", {EIO, ENOSPC, EDQUOT}},  {"close", {EIO, EDQUOT}}, {"truncate", {EIO, EROFS}},
        {"rename", {EROFS, EIO, EXDEV}},   {"chmod", {EPERM, EIO}},  {"stat", {EIO}},
    };
#ifdef __SANITIZE_ADDRESS__
    for (CallErrors& call : all) call.errors.resize(1);  // a start takes ten times as long
#endif
    return all;
}();

/// A lasting failure looks the same to the program whatever its number.
std::vector<char const*> TimesOf(int error, std::vector<int> const& errors) {
    return error == errors.front() ? std::vector{"once", "lasting"} : std::vector{"once"};
}

void ExpectRefusal(Outcome const& outcome) {
    EXPECT_EQ(outcome.code, 3) << outcome.text;
    EXPECT_NE(outcome.text.find("scan.dat"), std::string::npos) << "names the file: " << outcome.text;
}

TEST_F(Faults, SavesLeaveTheOldFileOrTheNewOne) {
    std::string const archive = Run("zip", nullptr, {}).bytes;
    struct {
        char const* scenario;
        std::string old;
        std::set<std::string> reached;      // the calls that the scenario makes
        std::set<std::string> onlyWhenOld;  // those that it makes only if there is an old file
        bool locks = false;                 // opens the folder for it first
    } const table[] = {
        {"safe", "old content", {"open", "write", "fsync", "rename", "close", "chmod", "stat"}, {"chmod"}},
        {"whole", "old content", {"open", "read", "write", "fsync", "rename", "close", "chmod", "stat"}, {"chmod"}},
        {"copy", "old content", {"open", "fsync", "rename", "close", "chmod", "stat"}, {}},
        {"config",
         "[Scanner]\nPort = COM1\n; kept\n",
         {"open", "read", "write", "fsync", "rename", "close", "chmod", "stat"},
         {"read", "chmod"},
         true},
        {"log",
         "[General]\nFile=Quandelmeter Exceptions "
         "Log\nTotalCount=1\n[0]\nDate=20240101\nTime=1\nGroup=G\nLevel=EXCEPT_USER\nMessage=m\n",
         {"open", "read", "write", "fsync", "rename", "close", "chmod", "stat"},
         {"read", "chmod"}},
        {"zip", archive, {"open", "read", "write", "fsync", "rename", "close", "chmod", "stat"}, {"read", "chmod"}},
    };
    for (auto const& row : table) {
        for (bool const exists : {true, false}) {
            std::string const* const old = exists ? &row.old : nullptr;
            std::string const fresh = Run(row.scenario, old, {}).bytes;
            ASSERT_FALSE(fresh.empty());
            ASSERT_TRUE(!exists || fresh != row.old);
            for (auto const& [theCall, errors] : allErrors) {
                auto const& call = theCall;  // a lambda cannot hold the binding itself
                int reached = 0, refused = 0, runs = 0;
                for (int const error : errors) {
                    for (char const* const times : TimesOf(error, errors)) {
                        reached += FailEach(row.scenario, old, call, error, times, [&](Outcome const& outcome) {
                            // Closing what was read, a look at what is as expected, and the lock that keeps out others who
                            // write keys may fail without harm; all else must be told.
                            bool const isHarmless =
                                outcome.code == 0 &&
                                (std::string_view(call) == "close" || std::string_view(call) == "stat" ||
                                 (std::string_view(call) == "open" && row.locks));
                            if (!isHarmless) ExpectRefusal(outcome);
                            refused += !isHarmless;
                            EXPECT_TRUE(outcome.bytes == fresh ||
                                        (!isHarmless && outcome.bytes == (exists ? row.old : "")));
                            for (std::string const& name : outcome.files) EXPECT_EQ(name, "scan.dat");
                        });
                        ++runs;
                        if (HasFailure()) return;
                    }
                }
                EXPECT_EQ(refused > 0, reached > 0) << row.scenario << ": " << call;
                if (std::string_view(call) == "fsync") {
                    EXPECT_GE(reached, 2 * runs) << "the file, and its folder";
                }
                EXPECT_EQ(reached > 0, row.reached.contains(call) && (exists || !row.onlyWhenOld.contains(call)))
                    << row.scenario << ": " << call;
            }
        }
    }
}

TEST_F(Faults, FilesSayWhatTheMediumRefused) {
    std::string const scan = Run("store", nullptr, {}).bytes;
    ASSERT_GT(scan.size(), 400'000u);
    std::string const old = "old";
    struct {
        char const* scenario;
        std::string const* content;
        std::set<std::string> reached;  // the calls that the scenario makes
    } const table[] = {
        {"store", nullptr, {"open", "read", "write", "fsync", "close", "stat"}},
        {"store", &old, {"open", "read", "write", "fsync", "close", "truncate", "stat"}},
        {"load", &scan, {"open", "read", "close", "stat"}},
        {"cut", &scan, {"open", "truncate", "close", "stat"}},
    };
    for (auto const& row : table) {
        for (auto const& [call, errors] : allErrors) {
            for (int const error : errors) {
                for (char const* const times : {"once", "lasting"}) {
                    int const reached = FailEach(row.scenario, row.content, call, error, times, ExpectRefusal);
                    if (HasFailure()) return;
                    EXPECT_EQ(reached > 0, row.reached.contains(call)) << row.scenario << ": " << call;
                }
            }
        }
    }
    // The system tells of lost bytes once: who asks again must not hear that all is well.
    for (int const error : {EIO, ENOSPC})
        EXPECT_EQ(FailEach("flushes", nullptr, "fsync", error, "once", ExpectRefusal), 3);
    // A destructor is silent, and does not end the program.
    for (char const* const call : {"write", "close"}) {
        int const reached = FailEach("silent", nullptr, call, EIO, "lasting", [](Outcome const& outcome) {
            EXPECT_EQ(outcome.code, 0) << outcome.text;
            EXPECT_EQ(outcome.text, "");
        });
        EXPECT_EQ(reached, 1) << call;
    }
    int const folders = FailEach("folder", nullptr, "mkdir", ENOSPC, "once", [](Outcome const& outcome) {
        EXPECT_EQ(outcome.code, 3);
        EXPECT_TRUE(outcome.files.empty());
    });
    EXPECT_GE(folders, 1);
    EXPECT_GE(FailEach("folder", nullptr, "fsync", EIO, "once", [](Outcome const&) {}), 1) << "its name is flushed";
}

TEST_F(Faults, UnpackedFilesAreWholeAndTold) {
    std::string const one = Run("zip", nullptr, {}).bytes, two = Run("zip", &one, {}).bytes;
    std::set<std::string> reached;
    for (auto const& [call, errors] : allErrors) {
        for (int const error : errors) {
            for (char const* const times : TimesOf(error, errors)) {
                int const count = FailEach("unzip", &two, call, error, times, [&](Outcome const& outcome) {
                    int whole = 0, told = outcome.text.at(0) - '0';
                    if (fs::exists(Data() / "out")) {
                        for (auto const& entry : fs::recursive_directory_iterator(Data() / "out")) {
                            if (!entry.is_regular_file()) continue;
                            EXPECT_EQ(entry.path().filename(), "source");
                            EXPECT_TRUE(Bytes(entry.path()) == std::string(300'000, 'p'));
                            ++whole;
                        }
                    }
                    EXPECT_TRUE(outcome.code == 0 ? told == 2 : outcome.code == 3) << outcome.text;
                    EXPECT_TRUE(told == whole || outcome.code == 3) << outcome.text;
                    EXPECT_LE(told, whole);
                    EXPECT_EQ(outcome.bytes, two);
                });
                if (HasFailure()) return;
                if (count > 0) reached.insert(call);
            }
        }
    }
    EXPECT_EQ(reached, (std::set<std::string>{"open", "read", "write", "fsync", "rename", "close", "stat"}));
}

TEST_F(Faults, ADebugFileHasWholeEntriesOrGoesOnInANewLine) {
    EXPECT_EQ(Run("debug", nullptr, {}).bytes, "first\r\nagain\r\n");
    EXPECT_EQ(Run("debug", nullptr, {"truncate", 1, EIO}).bytes, "first\r\nref\r\nagain\r\n");
}

TEST_F(Faults, InterruptionsAndShortCountsChangeNothing) {
    std::string const scan = Run("store", nullptr, {}).bytes;
    std::string const old = "old", ini = "[Scanner]\nPort = COM1\n";
    struct {
        char const* scenario;
        std::string const* content;
    } const table[] = {{"store", nullptr}, {"store", &old}, {"load", &scan},  {"cut", &scan}, {"silent", nullptr},
                       {"safe", &old},     {"whole", &old}, {"config", &ini}, {"copy", &old}};
    std::set<std::string_view> const saving = {"safe", "whole", "config", "copy"};
    for (auto const& row : table) {
        Outcome const plain = Run(row.scenario, row.content, {});
        ASSERT_EQ(plain.code, 0) << plain.text;
        auto const expectSame = [&](Outcome const& outcome) {
            EXPECT_EQ(outcome.code, 0) << outcome.text;
            EXPECT_EQ(outcome.bytes, plain.bytes);
            EXPECT_EQ(outcome.files, plain.files);
        };
        int reached = 0;
        for (char const* const call : {"open", "read", "write", "copy", "fsync", "close", "truncate"}) {
            for (char const* const times : {"once", "alternating"}) {
                reached += FailEach(row.scenario, row.content, call, EINTR, times, expectSame);
                if (HasFailure()) return;
            }
        }
        EXPECT_GT(reached, 4);
        // A file system that knows no locks is as good.
        int const locks = FailEach(row.scenario, row.content, "lock", ENOLCK, "lasting", expectSame);
        EXPECT_EQ(locks > 0, saving.contains(row.scenario)) << row.scenario;
        for (char const* const call : {"read", "write", "copy"}) {
            FailEach(row.scenario, row.content, call, shortCount, "once", expectSame);
            if (HasFailure()) return;
        }
        // Byte by byte where that is not a million calls.
        std::string const few = row.scenario;
        if (few == "config" || few == "silent" || few == "cut") {
            for (char const* const call : {"read", "write"})
                expectSame(Run(row.scenario, row.content, {call, 1, shortCount, "lasting"}));
        }
    }
}

}  // namespace
