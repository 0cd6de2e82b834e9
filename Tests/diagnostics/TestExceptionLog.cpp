// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The log file: its bytes, what comes back, what damaged files give, and what survives failures and ends by force.
#include "ManagerTest.h"
#include "hbtools/base/syConfig.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/diagnostics/syExceptionQueueOutput.h"

#include <csignal>
#include <cstdlib>
#include <random>
#include <utility>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace KxN;
using namespace std::string_literals;
using test::Thrown;
using test::U;

class ExceptionLog : public test::ManagerTest {};

std::string const onDemand = "ErrorCount=200\nBackupTiming=SAVE_ON_DEMAND\n";

TEST_F(ExceptionLog, Bytes) {
    KxExceptionManager manager;
    Put("syexcmgr.bas", "[General]\nTotalCount=0\n[7]\nMessage=stale\n");
    Initialize(manager, "ErrorCount=200\nBackupTiming=SAVE_ALL_CHANGES\n");
    KxException located(L"sensor.cpp", 42, L"Kein Signal\r\nKanal 3");
    located.SetExceptionGroup(L"Sensor");
    located.SetErrorLevel(EXCEPT_FATAL);
    Add(manager, L"Tür", EXCEPT_USER, L"eins", 31);
    manager.AddExceptionToLog(located);
    Add(manager, L"TÜR", EXCEPT_NONFATAL, L"Mitternacht", 31, 0);
    KxString const day(KxTools::String(located.GetDateTime().GetDate()));
    KxString const time(KxTools::String(located.GetDateTime().GetTime()));
    std::string const bytes = Get("syexcmgr.bas");
    EXPECT_EQ(Masked(bytes.substr(0, bytes.find("[0]"))),
              "[General]\nFile=Quandelmeter Exceptions Log\nTotalCount=N\nDate=N\nTime=N\n");
    EXPECT_NE(bytes.find("TotalCount=3\n"), std::string::npos);
    EXPECT_EQ(bytes.substr(bytes.find("[0]")),
              "[0]\nDate=20241231\nTime=12000000\nGroup=T\xC3\xBCr\nLevel=EXCEPT_USER\nMessage=eins\n"
              "[1]\nDate=20241231\nTime=1\nGroup=T\xC3\x9CR\nLevel=EXCEPT_NONFATAL\nMessage=Mitternacht\n"
              "[2]\nDate=" +
                  U(day) + "\nTime=" + U(time) +
                  "\nGroup=Sensor\nLevel=EXCEPT_FATAL\n"
                  "Message=<sensor.cpp, 42>\xEF\xBF\xBFKein Signal\xEF\xBF\xBFKanal 3\n");
    KxConfig config(Path("syexcmgr.bas"));
    config.SetGroup(L"2");
    EXPECT_EQ(U(config.ReadKey(L"message")), "<sensor.cpp, 42>\xEF\xBF\xBFKein Signal\xEF\xBF\xBFKanal 3");
    EXPECT_EQ(CountFiles(), 3u) << "ini, log and debug file";
}

TEST_F(ExceptionLog, MessagesComeBack) {
    std::wstring const megabyte(1 << 20, L'm');
    struct {
        std::wstring written, read;
    } const cases[] = {
        {L"a\nb\r\nc\rd\n", L"a\nb\nc\nd\n"},  // line ends become the system's
        {L"\n\nab", L"\n\nab"},
        {L"; [x] = \"y\"", L"; [x] = \"y\""},
        {L"[General]", L"[General]"},
        {L" \tab\t ", L"\tab"},  // a value of one line has no blanks at its ends, nor tabs behind it
        {L"a\xFFFF"s + L"b", L"a\nb"},
        {L"Grö\x1F600ße\x1b[0m", L"Grö\x1F600ße\x1b[0m"},
        {L"\xD800x", L"\xFFFDx"},  // no character
        {L"a\0b"s, L"a\0b"s},
        {megabyte, megabyte},
        {L"   ", L"-"},  // nothing is left, and it would be skipped
    };
    for (auto const& c : cases) {
        KxExceptionManager saving, loading;
        Put("syexcmgr.bas", "");
        Initialize(saving, onDemand);
        Add(saving, L"G\r\n[0]", EXCEPT_USER, c.written);
        saving.SaveExcGrpLst();
        loading.Initialize(Path("app.ini"));
        EXPECT_EQ(Messages(loading.ExtractAllExceptions()), U(KxString(c.read)));
        std::unique_ptr<KxExceptionManager::Queue> const all(loading.ExtractAllExceptions());
        ASSERT_EQ(all->Count(), 1);
        EXPECT_EQ(U((*all)[0]->GetExceptionGroup()), "G\n[0]");
        EXPECT_EQ((*all)[0]->GetErrorLevel(), EXCEPT_USER);
        EXPECT_EQ((*all)[0]->GetDateTime(), KxDateTime(2024, 12, 1, 12, 0, 0));
    }
}

TEST_F(ExceptionLog, WhatAnEntryLacksIsMadeUp) {
    KxExceptionManager saving, loading;
    Initialize(saving, onDemand);
    KxExceptionManagerException entry(KxDateTime(2024, 2, 30, 1, 2, 3), L"", EXCEPT_USER, L"a");
    saving.AddExceptionToLog(entry);
    saving.SaveExcGrpLst();
    loading.Initialize(Path("app.ini"));
    std::unique_ptr<KxExceptionManager::Queue> const all(loading.ExtractAllExceptions());
    ASSERT_EQ(all->Count(), 1);
    EXPECT_EQ(U((*all)[0]->GetExceptionGroup()), "-");
    EXPECT_TRUE((*all)[0]->GetDateTime().IsValid());
}

TEST_F(ExceptionLog, DamagedFilesGiveWhatIsWhole) {
    auto const entry = [](std::string const& number, std::string const& text, std::string const& date = "20241201") {
        return "[" + number + "]\nDate=" + date + "\nTime=12000000\nGroup=G\nLevel=EXCEPT_FATAL\nMessage=" + text +
               "\n";
    };
    struct {
        std::string total, entries, loaded;
    } const cases[] = {
        {"2", entry("0", "a") + entry("1", "b"), "a b"},
        {"4294967295", entry("0", "a") + entry("1", "b"), "a b"},
        {"99999999999999999999", entry("0", "a"), "a"},
        {"-1", entry("0", "a"), ""},
        {"x", entry("0", "a"), ""},
        {"1", entry("0", "a") + entry("1", "b"), "a"},
        {"3", entry("0", "a") + entry("2", "c"), "a c"},
        {"2", entry("0", "a", "20241301") + entry("1", "b", "0"), ""},
        {"2", entry("0", "a", "99999999999") + entry("1", "b", "-20241201"), ""},
        {"2", entry("0", "") + entry("1", "b"), "b"},
        {"2", "[0]\nDate=20241201\nTime=0\nGroup=G\nLevel=EXCEPT_FATAL\nMessage=a\n" + entry("1", "b"), "b"},
        {"2", "[0]\nDate=20241201\nTime=1\nLevel=EXCEPT_FATAL\nMessage=a\n" + entry("1", "b"), "b"},
        {"2", entry("0", "a") + "[1]\nDate=20241201\nTime=12", "a"},
        {"2", entry("0", "a") + entry("0", "twice"), "a"},
        {"2", "\xff=\n[\n" + entry("0", "a"), "a"},
    };
    for (auto const& c : cases) {
        KxExceptionManager manager;
        Put("syexcmgr.bas", "[General]\nTotalCount=" + c.total + "\n" + c.entries);
        Initialize(manager, "ErrorCount=4294967295\nBackupTiming=none\n");
        EXPECT_EQ(Messages(manager.ExtractAllExceptions()), c.loaded) << c.entries;
    }
    Put("syexcmgr.bas", "[General]\nTotalCount=3\n" + entry("0", "a") + entry("1", "b") + entry("2", "c"));
    KxExceptionManager manager;
    Initialize(manager, "ErrorCount=2\nBackupTiming=SAVE_ALL_CHANGES\n");
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "a b");
    EXPECT_NE(Get("syexcmgr.bas").find("[1]\n"), std::string::npos);
    EXPECT_EQ(Get("syexcmgr.bas").find("[2]\n"), std::string::npos) << "saved at the end of the load";
}

TEST_F(ExceptionLog, SavesWhenItIsTold) {
    struct {
        std::string timing;
        ErrorLevel level;
        bool atOnce, atEnd;
    } const cases[] = {
        {"SAVE_ALL_CHANGES", EXCEPT_USER, true, true},  {"SAVE_AFTER_FATAL", EXCEPT_NONFATAL, false, true},
        {"SAVE_AFTER_FATAL", EXCEPT_FATAL, true, true}, {"SAVE_ON_DEMAND", EXCEPT_FATAL, false, true},
        {"sometimes", EXCEPT_FATAL, false, false},      {"save_after_fatal", EXCEPT_FATAL, false, false},
    };
    for (auto const& c : cases) {
        std::filesystem::remove(File("my.log"));
        {
            KxExceptionManager manager;
            Initialize(manager, "ErrorCount=9\nFileName=my.log\nBackupTiming=" + c.timing + "\n");
            Add(manager, L"G", c.level, L"a");
            EXPECT_EQ(std::filesystem::exists(File("my.log")), c.atOnce) << c.timing;
        }
        EXPECT_EQ(std::filesystem::exists(File("my.log")), c.atEnd) << c.timing;
    }
}

TEST_F(ExceptionLog, FailuresLeaveTheFormerLog) {
    KxExceptionManager manager;
    Initialize(manager, onDemand);
    Add(manager, L"G", EXCEPT_USER, L"kept");
    manager.SaveExcGrpLst();
    std::string const former = Get("syexcmgr.bas");
    manager.ChangeBackupTiming(SAVE_ALL_CHANGES);
    {
        test::SizeLimit const full(64);
        Thrown<KxFileException>([&] { Add(manager, L"G", EXCEPT_USER, L"new"); });
    }
    EXPECT_EQ(Get("syexcmgr.bas"), former);
    ::chmod(File("syexcmgr.bas").c_str(), 0444);
    EXPECT_NE(Thrown<KxFileException>([&] { manager.SaveExcGrpLst(); }).find("syexcmgr.bas"), std::string::npos);
    EXPECT_EQ(Get("syexcmgr.bas"), former);
    EXPECT_EQ(CountFiles(), 3u);
    ::chmod(File("syexcmgr.bas").c_str(), 0644);
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "kept new") << "what could not be saved is not lost";

    // Neither is a file of something else.
    for (std::string const data : {"1.5 2.5 3.5\n", "[General]\nTotal=3\n", "\n"}) {
        Put("measured.txt", data);
        KxExceptionManager typo;
        EXPECT_NE(Thrown<KxFileException>([&] {
                      Initialize(typo, onDemand + "FileName=measured.txt\n");
                  }).find("measured.txt"),
                  std::string::npos);
        EXPECT_EQ(typo.GetBackupTiming(), 3);
        Add(typo, L"G", EXCEPT_USER, L"new");
        typo.SaveExcGrpLst();
        EXPECT_EQ(Get("measured.txt"), data);
    }

    // A log that is there and cannot be read is not taken for an empty one, and not written over at the end.
    std::filesystem::create_directory(File("folder"));
    KxExceptionManager other;
    Thrown<KxFileException>([&] { Initialize(other, onDemand + "FileName=folder\n"); });
    EXPECT_EQ(other.GetBackupTiming(), 3);
}

// What no start could read again is not saved, until it is smaller.
TEST_F(ExceptionLog, TheLimitsOfConfigurationFilesAreItsOwn) {
    struct {
        std::size_t KxLimits::*limit;
        std::size_t value;
        char const* name;
    } const cases[] = {{&KxLimits::textFileBytes, 200, "KxLimits::textFileBytes"},  // one entry: some 150
                       {&KxLimits::configLines, 11, "KxLimits::configLines"}};
    for (auto const& c : cases) {
        Put("syexcmgr.bas", "");
        KxExceptionManager manager;
        Initialize(manager, "ErrorCount=9\nBackupTiming=SAVE_ALL_CHANGES\n");
        std::size_t const former = std::exchange(KxxLimits().*c.limit, c.value);
        Add(manager, L"G", EXCEPT_USER, L"first");
        std::string const saved = Get("syexcmgr.bas");
        EXPECT_NE(saved.find("Message=first\n"), std::string::npos);
        for (wchar_t const* const message : {L"second", L"third"}) {
            std::string const told = Thrown<KxFileException>([&] { Add(manager, L"G", EXCEPT_USER, message, 2); });
            EXPECT_NE(told.find(File("syexcmgr.bas").string()), std::string::npos) << told;
            EXPECT_NE(told.find(c.name), std::string::npos) << told;
        }
        EXPECT_EQ(Get("syexcmgr.bas"), saved);
        EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "first second third");
        manager.SetMaxErrorCount(1);
        manager.SaveExcGrpLst();
        KxExceptionManager next;
        next.Initialize(Path("app.ini"));
        EXPECT_EQ(Messages(next.ExtractAllExceptions()), "third");
        KxxLimits().*c.limit = former;
    }
}

TEST_F(ExceptionLog, AKilledSaveLeavesAWholeLog) {
    char const* const asked = std::getenv("HBTOOLS_KILL_ROUNDS");  // more than the usual ones
    int const rounds = asked ? std::atoi(asked) : 60;
    std::minstd_rand random(5);
    Ini("ErrorCount=40\nBackupTiming=SAVE_ALL_CHANGES\n");
    unsigned long seen = 0;
    // On a machine that has other things to do the children get more time, until some of them saved twice.
    for (int round = 0; round < rounds || (seen < 2 && round < 20 * rounds); ++round) {
        pid_t const child = ::fork();
        if (child == 0) {
            try {
                KxExceptionManager manager;
                manager.Initialize(Path("app.ini"));
                for (unsigned i = 0;; ++i) Add(manager, L"G", EXCEPT_FATAL, std::wstring(1 + i % 500, L'x'));
            } catch (CException*) {
                ::_exit(1);
            }
        }
        ::usleep(static_cast<unsigned>((1000 + random() % 12'000) * static_cast<unsigned>(1 + round / rounds)));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the child failed by itself";
        if (!std::filesystem::exists(File("syexcmgr.bas"))) continue;
        KxConfig config(Path("syexcmgr.bas"));
        config.SetGroup(L"General");
        unsigned long const total = config.ReadKey(L"TotalCount");
        ASSERT_EQ(config.GetGroupCount(), total + 1) << "round " << round;
        config.SetGroup(KxString(KxTools::String(total - 1)));
        ASSERT_GT(config.ReadKey(L"Message").Len(), 0) << "round " << round;
        ASSERT_GE(total, seen) << "round " << round;
        seen = total;
    }
    EXPECT_GT(seen, 1u);
}

TEST_F(ExceptionLog, QueueOutput) {
    KxExceptionManager manager;
    KxExceptionQueueOutput output;
    EXPECT_NE(Thrown<KxFileNotExistException>([&] { output.Initialize(Path("none.ini")); }).find("none.ini"),
              std::string::npos);
    Put("app.ini", "[FileOutput]\nFileName=view.txt\n[Initialization]\nErrorCount=9\nBackupTiming=none\n");
    output.Initialize(Path("app.ini"));
    manager.Initialize(Path("app.ini"));
    Add(manager, L"Größe", EXCEPT_NONFATAL, L"zwei\r\nZeilen", 2);
    Add(manager, L"H", EXCEPT_UNKNOWN, L"eins", 1);
    std::unique_ptr<KxExceptionManager::Queue> const all(manager.ExtractAllExceptions());
    output.LogView(all.get());
    EXPECT_EQ(Get("view.txt"),
              "DATUM: 01.12.2024, ZEIT: 12:00:00  Group: H  Level: EXCEPT_UNKNOWN\neins\n"
              "DATUM: 02.12.2024, ZEIT: 12:00:00  Group: Gr\xC3\xB6\xC3\x9F"
              "e  Level: EXCEPT_NONFATAL\nzwei\nZeilen\n");
    output.LogView(nullptr);
    EXPECT_EQ(Get("view.txt"), "");
    std::filesystem::remove(File("view.txt"));
    std::filesystem::create_directory(File("view.txt"));
    Thrown<KxFileException>([&] { output.LogView(all.get()); });
}

}  // namespace
