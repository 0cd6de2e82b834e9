// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syWinApp.h"
#include "hbtools/diagnostics/syExceptionMgr.h"
#include "hbtools/diagnostics/syPerfCheckPoint.h"
#include "hbtools/diagnostics/syProfile.h"
#include "hbtools/diagnostics/syUnitTest.h"

#include "../base/Support.h"

#include <csignal>
#include <regex>
#include <thread>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace KxN;
using test::U;

TEST(StopWatch, RunsStandsAndGoesBackToZero) {
    auto const pass = [] { std::this_thread::sleep_for(std::chrono::milliseconds(2)); };
    KxStopWatch watch;
    EXPECT_EQ(watch.GetSeconds(), 0);
    EXPECT_TRUE(watch.HasHighResolution() && watch.GetResolution() > 0 && watch.GetResolution() <= 1e-6);
    watch.Start();
    pass();
    double const first = watch.GetSeconds();
    EXPECT_GE(first, 0.002);
    pass();
    EXPECT_GE(watch.GetSeconds(), first + 0.002);
    watch.Stop();
    double const stopped = watch.GetSeconds();
    pass();
    watch.Stop();
    EXPECT_EQ(watch.GetSeconds(), stopped);
    watch.Reset();
    EXPECT_EQ(watch.GetSeconds(), 0);
    watch.Start();
    pass();
    double const running = watch.GetSeconds();
    watch.Reset();  // runs on, from zero
    double const anew = watch.GetSeconds();
    pass();
    EXPECT_TRUE(anew < running && watch.GetSeconds() >= anew + 0.002);
    KxSystemTicks ticks;
    pass();
    KxSystemTicks copy(ticks);
    EXPECT_GE(copy.GetMilliseconds(), 2u);
}

// The processes of this test by name: the one that runs, whichever of its kind it is.
KxString InstanceOf(pid_t process) {
    std::string const program = std::filesystem::read_symlink("/proc/self/exe").stem();
    for (int i = 0; i < 100; ++i) {
        KxString instance;
        instance.SPrintf(i ? L"%s#%d" : L"%s", KxString(program.c_str()), i);
        KxPerfQuery query;
        int handle = -1;
        double number = 0;
        KxString path;
        path.SPrintf(L"\\process(%s)\\id process", instance);
        if (query.AddCounter(path, handle) == PERF_SUCCESS && query.Collect() == PERF_SUCCESS &&
            query.GetValue(handle, number) == PERF_SUCCESS && number == process)
            return instance;
    }
    return KxString();
}
KxString OwnInstance() {
    return InstanceOf(::getpid());
}

TEST(PerfCounter, EveryCounterGivesASensibleNumber) {
    struct Case {
        char const* counters;  // separated by |
        double least, most;
        wchar_t const* object;
    };
    KxString process;
    process.SPrintf(L"Process(%s)", OwnInstance());
    Case const cases[] = {
        {"% Processor Time|% User Time|% Privileged Time|% Idle Time", 0, 100.001, L"Processor(_Total)"},
        {"% Processor Time", 0, 100.001, L"Processor(0)"},
        {"Available Bytes|Cache Bytes|Committed Bytes|Commit Limit", 1 << 20, 1e15, L"Memory"},
        {"Available KBytes", 1 << 10, 1e12, L"Memory"},
        {"Available MBytes", 1, 1e9, L"Memory"},
        {"% Committed Bytes In Use", 0.001, 1e5, L"Memory"},
        {"Page Faults/sec|", 0, 1e9, L"Memory"},
        {"Processes|Threads|System Up Time", 1, 1e10, L"System"},
        {"Context Switches/sec|Processor Queue Length", 0, 1e9, L"System"},
        {"% Processor Time|% User Time|% Privileged Time|Page Faults/sec", 0, 1e9, process},
        {"IO Read Bytes/sec|IO Write Bytes/sec|Elapsed Time", 0, 1e12, process},
        {"Working Set|Working Set Peak|Private Bytes|Virtual Bytes", 1 << 16, 1e15, process},
        {"Thread Count", 1, 100, process},
        {"Handle Count", 3, 1000, process},
        {"Thread Count|Working Set", 2, 1e15, L"Process(_Total)"},
    };
    for (Case const& c : cases) {
        std::istringstream names(c.counters);
        for (std::string name; std::getline(names, name, '|');) {
            KxString path;
            path.SPrintf(L"\\%s\\%s", KxString(c.object), name);
            KxPerfQuery query;
            int handle = -1;
            double value = -1;
            ASSERT_EQ(query.AddCounter(path, handle), PERF_SUCCESS) << U(path);
            EXPECT_EQ(query.GetValue(handle, value), PERF_NO_DATA);
            EXPECT_EQ(query.Collect(), PERF_SUCCESS);
            EXPECT_EQ(query.GetValue(handle, value), PERF_SUCCESS);
            EXPECT_TRUE(value >= c.least && value <= c.most) << U(path) << " is " << value;
            EXPECT_EQ(query.GetValue(handle + 1, value), PERF_INVALID_HANDLE);
            EXPECT_EQ(query.GetValue(-1, value), PERF_INVALID_HANDLE);
        }
    }
    KxPerfQuery query;
    int handle = -1;
    EXPECT_EQ(query.AddCounter(L"\\Process(" + OwnInstance() + L"#9999)\\Thread Count", handle), PERF_NO_INSTANCE);
    EXPECT_FALSE(!KxxPerfStatusText(PERF_INVALID_HANDLE));
    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    EXPECT_EQ(query.AddCounter(KxString(L"\\\\") + KxString(host) + L"\\System\\Threads", handle), PERF_SUCCESS);
}

TEST(PerfCounter, ABusyThreadShowsInItsProcess) {
    KxPerfQuery query;
    int handle = -1;
    KxString path;
    path.SPrintf(L"\\Process(%s)\\%% Processor Time", OwnInstance());
    ASSERT_EQ(query.AddCounter(path, handle), PERF_SUCCESS);
    auto const used = [] {
        timespec time = {};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    for (double const start = used(); used() < start + 0.2;) {}
    double value = 0;
    query.Collect();
    EXPECT_EQ(query.GetValue(handle, value), PERF_SUCCESS);
    EXPECT_GT(value, 0);
}

TEST(PerfCounter, ATotalOutlivesItsProcesses) {
    KxPerfQuery query;
    int time = -1, count = -1;
    ASSERT_EQ(query.AddCounter(L"\\Process(_Total)\\% Processor Time", time), PERF_SUCCESS);
    ASSERT_EQ(query.AddCounter(L"\\Process(_Total)\\Thread Count", count), PERF_SUCCESS);
    pid_t const child = ::fork();
    if (child == 0) {
        timespec used = {};
        do {
            ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
        } while (used.tv_sec == 0 && used.tv_nsec < 100'000'000);
        ::raise(SIGSTOP);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, WUNTRACED);
    int one = -1;
    ASSERT_EQ(query.AddCounter(L"\\Process(" + InstanceOf(child) + L")\\Thread Count", one), PERF_SUCCESS);
    double with = 0, without = 0, value = -1;
    query.Collect();
    EXPECT_EQ(query.GetValue(time, value), PERF_SUCCESS);
    EXPECT_GT(value, 0);  // a process that came later counts
    query.GetValue(count, with);
    ::kill(child, SIGCONT);
    ::waitpid(child, &status, 0);
    query.Collect();
    EXPECT_EQ(query.GetValue(time, value), PERF_SUCCESS);
    EXPECT_GE(value, 0);  // one that has gone takes nothing back
    EXPECT_EQ(query.GetValue(one, value), PERF_NO_INSTANCE);
    query.GetValue(count, without);
    EXPECT_GT(with, 1);
    EXPECT_GT(without, 1);
}

// A process may go between any two looks at it.
TEST(PerfCounter, ProcessesGoWhileTheyAreCounted) {
    KxPerfQuery query;
    int count = -1;
    double value = 0;
    ASSERT_EQ(query.AddCounter(L"\\Process(_Total)\\Thread Count", count), PERF_SUCCESS);
    pid_t const parent = ::fork();
    if (parent == 0) {
        ::alarm(20);  // whatever becomes of the test
        for (;;) {
            pid_t const child = ::fork();
            if (child == 0) ::_exit(0);
            ::waitpid(child, nullptr, 0);
        }
    }
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(query.Collect(), PERF_SUCCESS);
        EXPECT_EQ(query.GetValue(count, value), PERF_SUCCESS);
    }
    ::kill(parent, SIGKILL);
    ::waitpid(parent, nullptr, 0);
}

TEST(PerfCounter, FailuresNameTheCounter) {
    struct Case {
        wchar_t const* path;
        char const* reason;
    };
    char const* const noInstance = "0x800007d1: Die Instanz des Leistungsobjektes gibt es nicht";
    char const* const noForm = "0xc0000bc0: Der Pfad des Leistungsindikators hat nicht die richtige Form";
    for (Case const& c : {
             Case{L"\\Memory\\Nonsense", "0xc0000bb9: Das Leistungsobjekt hat keinen solchen Indikator"},
             Case{L"\\Nonsense\\Threads", "0xc0000bb8: Das Leistungsobjekt gibt es nicht"},
             Case{L"\\Processor\\% User Time", noInstance},
             Case{L"\\Processor(512)\\% User Time", noInstance},
             Case{L"\\Process(no such program)\\Working Set", noInstance},
             Case{L"\\Memory(0)\\Available Bytes", noForm},
             Case{L"Memory", noForm},
             Case{L"", noForm},
             Case{L"\\\\machine", noForm},
             Case{L"\\Memory", noForm},
             Case{L"Memory\\Available Bytes", noForm},
             Case{L"\\Memory\\", noForm},
             Case{L"\\Process(a\\Working Set", noForm},
             Case{L"\\Process(a#b)\\Working Set", noInstance},
             Case{L"\\Processor(first)\\% User Time", noInstance},
             Case{L"\\Process()\\Working Set", noForm},
             Case{L"\\\\elsewhere.invalid\\Memory\\Available Bytes",
                  "0x800007d0: Der Leistungsindikator gehört zu einem anderen Rechner"},
         }) {
        KxPerfCheckPoint point;
        std::string const code(c.reason, 10), meaning(c.reason + 12);
        EXPECT_EQ(test::Thrown<KxException>([&] { point.CreateCounter(L"x", c.path); }),
                  "Error " + code + " in 'PhdAddCounter '" + U(KxString(c.path)) + "'': " + meaning);
    }
    KxPerfCheckPoint empty;
    EXPECT_EQ(test::Thrown<KxException>([&] { empty.Begin(); }),
              "Error 0x800007d5 in 'PdhCollectQueryData': Für den Leistungsindikator liegen keine Daten vor");
    struct Open : KxPerfCheckPoint {
        using KxPerfCheckPoint::PDHCheckError, KxPerfCheckPoint::PDHClose;
    } open;
    open.CreateCounter(L"x", L"\\Memory\\Available Bytes");
    open.PDHClose();  // with all counters
    EXPECT_NE(test::Thrown<KxException>([&] { open.Begin(); }).find("0x800007d5"), std::string::npos);
    EXPECT_EQ(test::Thrown<KxException>([&] { open.PDHCheckError(L"call", 5); }), "Error 0x5 in 'call'");
}

class Instrumentation : public test::TempFolder {
protected:
    void SetUp() override {
        Put("app.ini", "[Initialization]\nDebugFileName=app.log\nErrorCount=10\n");
        m_manager.Initialize(Path("app.ini"));
        pExceptionMgr = &m_manager;
    }
    void TearDown() override {
        pExceptionMgr = nullptr;
        KxProfileLogger::SetProfilingState(false);
    }
    KxExceptionManager m_manager;
};

TEST_F(Instrumentation, CheckPointFromFileTellsDifferences) {
    std::string const own = "\\Process(" + U(OwnInstance()) + ")\\";
    Put("counters.ini", "[PerformanceCounter]\nCounter2=" + own + "ID Process\nName=\\Nonsense\\x\ncounter1=" + own +
                            "ID Process\nCounterX=\\Nonsense\\x\nCounter=\\Nonsense\\x\nCounter3=\n");
    KxPerfCheckPoint point;
    point.CreateCounterFromINIFile(Path("counters.ini"));
    point.Begin();
    point.End();
    std::string const number = std::to_string(::getpid()) + ".000000";
    std::string const line = own + "ID Process: Begin: " + number + ",  End: " + number + ",  Difference: 0.000000\r\n";
    EXPECT_EQ(U(point.Difference()), "Performance Checkpoint Difference: \r\n" + line + line);
    test::Thrown<KxFileNotExistException>([&] { point.CreateCounterFromINIFile(Path("missing.ini")); });
    EXPECT_NE(test::Thrown<KxFileException>([&] { point.CreateCounterFromINIFile(Path("")); }).find(m_folder.string()),
              std::string::npos);  // a folder
}

TEST_F(Instrumentation, ProfilePrintsMarksAndTheirSum) {
    { KxProfile none(L"none"); }
    {
        KxProfile profile(L"Load");
        profile.Mark(L"dropped");
        profile.Restart();
        profile.Mark(L"read");
        profile.Stop();
        profile.Start();
        profile.Mark(L"sort");
    }
    EXPECT_TRUE(std::regex_search(
        Get("app.log"), std::regex("DATUM: [0-9.]{10}, ZEIT: [0-9:]{8}\r\nLoad:\nread:  {5,}[0-9]+\\.[0-9] ms\n"
                                   "sort:  {5,}[0-9]+\\.[0-9] ms\nTotal:  {5,}[0-9]+\\.[0-9] ms\n")))
        << Get("app.log");
    EXPECT_EQ(Get("app.log").find("none"), std::string::npos);
}

TEST_F(Instrumentation, ProfileLoggerWritesTableLines) {
    { KxProfileLogger silent(L"off"); }
    KxProfileLogger early(L"early");
    KxProfileLogger::SetProfilingState(true);
    early.Mark(L"still silent");
    {
        KxWinApp app;
        KxProfileLogger logger(L"Fit;plane");
        logger.Mark(L"normals\n");
        logger.Mark(L"rest");
    }
    {
        KxProfileLogger stopped(L"stopped");
        KxProfileLogger::SetProfilingState(false);
        stopped.Mark(L"unheard");
    }
    KxProfileLogger::SetProfilingState(true);
    std::thread([] { KxProfileLogger elsewhere(L"other thread"); }).join();

    std::string lines;
    std::istringstream log(Get("app.log"));
    for (std::string line; std::getline(log, line);)
        if (line.starts_with("PROFILE"))
            lines += std::regex_replace(line, std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2}"), "T") + "|";
    char number[32];
    std::snprintf(number, sizeof number, "0x%X", static_cast<unsigned>(::gettid()));
    std::string const self = number;
    EXPECT_TRUE(std::regex_match(
        lines, std::regex("PROFILE;" + self + ";T;enter;Fit,plane;;;;\r\\|PROFILE;" + self +
                          ";T;normals ;Fit,plane;T;[0-9]+;;\r\\|"
                          "PROFILE;" +
                          self +
                          ";T;rest;Fit,plane;T;[0-9]+;[0-9]+;\r\\|"
                          "PROFILE;" +
                          self +
                          ";T;leave;Fit,plane;T;[0-9]+;[0-9]+;\r\\|"
                          "PROFILE;0x0;T;enter;stopped;;;;\r\\|"
                          "PROFILE;0x0;T;enter;other thread;;;;\r\\|PROFILE;0x0;T;leave;other thread;T;[0-9]+;;\r\\|")))
        << lines;
    pExceptionMgr = nullptr;
    { KxProfileLogger nowhere(L"x"); }
}

TEST(UnitTest, KeepsWhatFailed) {
    struct Failing : KxUnitTest {
        using KxUnitTest::KxUnitTest;
        bool Body() override { throw new KxException(KxString(L"too far off")); }
    };
    struct Passing : KxUnitTest {
        using KxUnitTest::KxUnitTest;
        bool Body() override { return true; }
    };
    struct Case {
        char const* variable;
        char const* root;
        char const* data;
    };
    for (Case const& c :
         {Case{nullptr, "X:\\TestData\\", "X:\\TestData\\planes\\"},
          Case{"", "X:\\TestData\\", "X:\\TestData\\planes\\"}, Case{"/data", "/data/", "/data/planes/"},
          Case{"/data/", "/data/", "/data/planes/"}, Case{"D:\\data", "D:\\data\\", "D:\\data\\planes\\"}}) {
        c.variable ? ::setenv("UNITTESTDIR", c.variable, 1) : ::unsetenv("UNITTESTDIR");
        EXPECT_EQ(U(KxUnitTest::GetUnitTestDir()), c.root);
        EXPECT_EQ(U(Passing(L"plane", L"planes").GetTestDataDir()), c.data);
    }
    ::unsetenv("UNITTESTDIR");
    Failing failing(L"plane", L"planes");
    EXPECT_FALSE(failing.Execute());
    EXPECT_EQ(U(failing.GetTestName() + KxString(L": ") + failing.GetErrorMsg()), "plane: too far off");
    KxUnitTest bodiless(L"none", L"");
    EXPECT_FALSE(bodiless.Execute());
    EXPECT_NE(U(bodiless.GetErrorMsg()).find("KxUnitTest::Body"), std::string::npos);
    EXPECT_TRUE(Passing(L"x", L"").Execute());
}

}  // namespace
