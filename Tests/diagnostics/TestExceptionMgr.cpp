// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The manager's settings, its filters and its queues.
#include "FaultTest.h"
#include "ManagerTest.h"
#include "diagnostics/syGroupQueues.h"

#include <new>
#include <thread>
#include <utility>
#include <sys/stat.h>

namespace {

using namespace KxN;
using test::Thrown;
using test::U;

class ExceptionMgr : public test::ManagerTest {};

std::string const base = "ErrorCount=200\nBackupTiming=none\n";

TEST_F(ExceptionMgr, SettingsOfTheIniFile) {
    unsigned long const weekAgo = KxDateTime::Now().AddDays(-7).GetDate();
    std::string const one = "ErrorCount=1\n";
    struct Row {
        std::string lines;
        int active, readLevel, writeLevel, order, timing;
        unsigned long errors, entries, purge, read;
    } const rows[] = {
        {"", 0, 0, 0, 1, 3, 0, 10000, 19110101, 0},
        {"ErrorCount=\nFileName=\nDebugFileName=\n", 0, 0, 0, 1, 3, 0, 10000, 19110101, 0},
        {"ErrorCount=17\nMaxEntries=12\n", 1, 0, 0, 1, 3, 17, 12, 19110101, 0},
        {"ErrorCount=0\n", 0, 0, 0, 1, 3, 0, 10000, 19110101, 0},
        {"ErrorCount=many\nMaxEntries=-4\n", 0, 0, 0, 1, 3, 0, 0, 19110101, 0},
        {"ErrorCount=12x\nMaxEntries=12x\n", 1, 0, 0, 1, 3, 12, 0, 19110101, 0},
        {"ErrorCount=1.5\nMaxEntries=1.5\n", 1, 0, 0, 1, 3, 1, 0, 19110101, 0},
        {one + "BlockLevelReading=except_user\nBlockLevelWriting=EXCEPT_FATAL\n", 1, 1, 3, 1, 3, 1, 10000, 19110101, 0},
        {one + "BlockLevelReading=EXCEPT_NONFATAL\nBlockLevelWriting=fatal\n", 1, 2, 0, 1, 3, 1, 10000, 19110101, 0},
        {one + "SortOrder=SORT_LEV_GRP\nBackupTiming=SAVE_ON_DEMAND\n", 1, 0, 0, 2, 2, 1, 10000, 19110101, 0},
        {one + "SortOrder=SORT_GRP_TIM\nBackupTiming=SAVE_AFTER_FATAL\n", 1, 0, 0, 0, 1, 1, 10000, 19110101, 0},
        {one + "SortOrder=sort_grp_tim\nBackupTiming=save_all_changes\n", 1, 0, 0, 1, 3, 1, 10000, 19110101, 0},
        {one + "SortOrder=3\nBackupTiming=SAVE_ALL_CHANGES\n", 1, 0, 0, 1, 0, 1, 10000, 19110101, 0},
        {one + "MinWriteDays=7\nMinReadDate=20240229\n", 1, 0, 0, 1, 3, 1, 10000, weekAgo, 20240229},
        {one + "MinWriteDate=20230229\nMinReadDays=7\nMinReadDate=1\n", 1, 0, 0, 1, 3, 1, 10000, 19110101, weekAgo},
        {one + "MinWriteDays=4294967295\nMinWriteDate=20240101\n", 1, 0, 0, 1, 3, 1, 10000, 19110101, 0},
        {one + "BlockGroupReading=a,b\nBlockGroupWriting=,c\n", 1, 0, 0, 1, 3, 1, 10000, 19110101, 0},
    };
    for (Row const& row : rows) {
        KxExceptionManager manager;
        manager.BlockGroupReading(L"x");
        manager.BlockGroupWriting(L"x");
        Initialize(manager, row.lines);
        EXPECT_EQ(manager.IsActive(), row.active) << row.lines;
        EXPECT_EQ(manager.GetReadMinLevel(), row.readLevel) << row.lines;
        EXPECT_EQ(manager.GetWriteMinLevel(), row.writeLevel) << row.lines;
        EXPECT_EQ(manager.GetSortOrder(), row.order) << row.lines;
        EXPECT_EQ(manager.ChangeBackupTiming(SAVE_ON_DEMAND), row.timing) << row.lines;
        EXPECT_EQ(manager.GetMaxErrorCount(), row.errors) << row.lines;
        EXPECT_EQ(manager.GetMaxEntries(), row.entries) << row.lines;
        EXPECT_EQ(manager.GetOldestPurgeDateTime().GetDate(), row.purge) << row.lines;
        EXPECT_EQ(manager.GetOldestReadDateTime().GetDate(), row.read) << row.lines;
        EXPECT_EQ(manager.BlockGroupNamesReading().Size() + manager.BlockGroupNamesWriting().Size(), 0u) << row.lines;
        EXPECT_EQ(U(manager.GetDebugFileName()), File("Debug.log").string());
    }
    KxExceptionManager manager;
    Initialize(manager, "MaxEntries=7\n");
    Initialize(manager, "MaxEntries=abc\nDebugFileName=other.log\n");
    EXPECT_EQ(manager.GetMaxEntries(), 7u);
    EXPECT_TRUE(std::filesystem::exists(File("other.log")));
}

TEST_F(ExceptionMgr, InitializeFailsClearlyAndLeavesTheManager) {
    KxExceptionManager manager;
    Initialize(manager, base + "MaxEntries=5\n");
    Add(manager, L"G", EXCEPT_USER, L"kept");
    KxString const missing = Path("no.ini"), folder = Path("");
    std::string const text = Thrown<KxFileNotExistException>([&] { manager.Initialize(missing); });
    EXPECT_NE(text.find(File("no.ini").string()), std::string::npos) << text;
    Thrown<KxFileException>([&] { manager.Initialize(folder); });
    ::mkfifo(File("pipe").c_str(), 0600);
    for (char const* name : {"missing/Debug.log", "app.ini/Debug.log", "pipe", "/dev/full"}) {
        std::string const lines = base + "MaxEntries=9\nDebugFileName=" + name + "\n";
        std::string const told = Thrown<KxException>([&] { Initialize(manager, lines); });
        EXPECT_NE(told.find(name), std::string::npos) << told;
        EXPECT_NE(told.find("DebugFileName"), std::string::npos) << told;
    }
    // What would write over something else is refused before anything is opened.
    Put("my.log", "log");
    std::filesystem::create_hard_link(File("my.log"), File("link"));
    struct {
        char const *lines, *key;
    } const bad[] = {{"FileName=my.log\nDebugFileName=my.log\n", "DebugFileName"},
                     {"FileName=my.log\nDebugFileName=link\n", "DebugFileName"},
                     {"FileName=new.log\nDebugFileName=./new.log\n", "DebugFileName"},
                     {"DebugFileName=app.ini\n", "DebugFileName"},
                     {"FileName=./app.ini\n", "FileName"}};
    for (auto const& c : bad) {
        std::string const told = Thrown<KxException>([&] { Initialize(manager, base + c.lines); });
        EXPECT_NE(told.find(" " + std::string(c.key) + " "), std::string::npos) << told;
        EXPECT_EQ(Get("app.ini"), "[Initialization]\n" + base + c.lines);
        EXPECT_EQ(Get("my.log"), "log");
    }
    EXPECT_EQ(manager.GetMaxEntries(), 5u);
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "kept");
    manager.WriteToDebugFile(L"still", 0, 0);
    EXPECT_EQ(Get("Debug.log"), "still\r\n");
}

TEST_F(ExceptionMgr, WriteFilters) {
    KxExceptionManager manager;
    Initialize(manager, base);
    manager.ChangeWriteMinLevel(EXCEPT_NONFATAL);
    manager.SetOldestPurgeDateTime(KxDateTime(2024, 12, 5, 0, 0, 0));
    manager.BlockGroupWriting(L"Laut");
    manager.BlockGroupWriting(L"LAUT");
    manager.BlockGroupWriting(L"");
    manager.BlockGroupWriting(L"");
    EXPECT_EQ(manager.BlockGroupNamesWriting().Size(), 2u);
    Add(manager, L"G", EXCEPT_USER, L"level", 9);
    Add(manager, L"G", EXCEPT_NONFATAL, L"date", 4);
    Add(manager, L"laut", EXCEPT_FATAL, L"group", 9);
    Add(manager, L"", EXCEPT_FATAL, L"nameless", 9);
    KxExceptionManagerException undated(KxDateTime(), L"G", EXCEPT_FATAL, L"undated");
    manager.AddExceptionToLog(undated);
    Add(manager, L"g", EXCEPT_NONFATAL, L"passes", 5, 0);
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "undated passes");
    manager.SetInactive();
    Add(manager, L"G", EXCEPT_FATAL, L"inactive", 9);
    manager.SetActive();
    manager.PassGroupWriting(L"lAUT");
    manager.PassGroupWriting(L"");
    Add(manager, L"laut", EXCEPT_FATAL, L"group", 9);
    Add(manager, L"", EXCEPT_FATAL, L"nameless", 9);
    EXPECT_EQ(manager.GetTotalCount(), 4u);

    manager.BlockGroupWriting(L"laut");
    manager.BlockGroupWriting(L"");
    manager.PurgeExceptionsByGroup();
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "undated passes");
    manager.SetOldestPurgeDateTime(KxDateTime(2025, 1, 1, 0, 0, 0));
    manager.PurgeExceptionsByDate();
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "undated");
    undated.SetErrorLevel(EXCEPT_NONFATAL);
    manager.AddExceptionToLog(undated);
    manager.ChangeWriteMinLevel(EXCEPT_FATAL);
    manager.PurgeExceptionsByLevel();
    EXPECT_EQ(manager.GetTotalCount(), 1u);
    KxExceptionManagerException copy(undated), assigned(KxDateTime(2024, 1, 1, 0, 0, 0), L"", EXCEPT_USER, L"");
    assigned = copy;
    EXPECT_EQ(U(assigned.GetMessage() + assigned.GetExceptionGroup()), "undatedG");
    EXPECT_TRUE(!assigned.GetDateTime().IsValid() && assigned.GetErrorLevel() == EXCEPT_NONFATAL);
}

/// Its text fails at first, in whatever way.
class Failing : public KxException {
public:
    void (*fail)() = nullptr;

protected:
    void BuildMessage() override {
        if (auto const now = std::exchange(fail, nullptr)) now();
        m_message = L"told";
    }
};

// What fails while a failure is reported leaves the log as it was, unlocked, and the exception can be reported again.
TEST_F(ExceptionMgr, ReportsMayFail) {
    KxSEHandler const guard(FLOAT_ALL);
    KxExceptionManager manager;
    Initialize(manager, "ErrorCount=10\n");
    manager.DelayedWritingToDebugFile(false);
    for (void (*const fail)() : {+[] { throw 7; }, +[] { throw std::bad_alloc(); },
                                 +[] { throw new KxException(L"inner"); }, test::ReadNull}) {
        Failing exception;
        exception.fail = fail;
        bool isFailed = false;
        try {
            manager.AddExceptionToLog(exception);
        } catch (CException* inner) {
            inner->Delete();
            isFailed = true;
        } catch (...) {
            isFailed = true;
        }
        EXPECT_TRUE(isFailed);
        std::thread([&] { Add(manager, L"G", EXCEPT_USER, L"other"); }).join();
        manager.AddExceptionToLog(exception);
    }
    EXPECT_EQ(manager.GetTotalCount(), 8u);
}

TEST_F(ExceptionMgr, TheOldestGoFirst) {
    KxExceptionManager manager;
    Initialize(manager, "ErrorCount=4\nBackupTiming=none\n");
    for (int day : {9, 3, 7, 5}) Add(manager, day % 2 ? L"odd" : L"even", EXCEPT_USER, KxTools::String(day), day);
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "3 5 7 9");
    Add(manager, L"even", EXCEPT_USER, L"8", 8);  // the heads are 9 (odd) and 8 (even)
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "3 5 7 9");
    Add(manager, L"even", EXCEPT_USER, L"10", 10);
    manager.SetMaxErrorCount(2);
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "5 10");
    manager.SetMaxErrorCount(0);
    Add(manager, L"even", EXCEPT_USER, L"gone", 10);
    manager.RemoveOldestException();
    EXPECT_EQ(manager.GetTotalCount(), 0u);
    manager.SetMaxErrorCount(2);
    Add(manager, L"odd", EXCEPT_USER, L"1", 1);
    KxExceptionManager::Queue foreign;
    manager.RemoveLastOfQueue(&foreign);
    EXPECT_EQ(Messages(manager.ExtractAllExceptions()), "1");
}

TEST_F(ExceptionMgr, SortedAndFilteredExtracts) {
    KxExceptionManager manager;
    Initialize(manager, base);
    Add(manager, L"b", EXCEPT_FATAL, L"b3", 3);
    Add(manager, L"A", EXCEPT_USER, L"A2", 2);
    Add(manager, L"b", EXCEPT_USER, L"b1", 1);
    Add(manager, L"a", EXCEPT_FATAL, L"a9", 9);
    Add(manager, L"c", EXCEPT_NONFATAL, L"c3", 3);
    Add(manager, L"c", EXCEPT_NONFATAL, L"c1", 1);
    struct {
        SortOrder order;
        char const* all;
    } const cases[] = {
        {SORT_GRP_TIM, "A2 a9 b1 b3 c1 c3"}, {SORT_TIM, "b1 c1 A2 b3 c3 a9"}, {SORT_LEV_GRP, "A2 b1 c3 c1 a9 b3"}};
    for (auto const& c : cases) {
        manager.ChangeSortOrder(c.order);
        EXPECT_EQ(Messages(manager.ExtractAllExceptions()), c.all);
    }
    EXPECT_EQ(Messages(manager.ExtractSpecifiedExceptions()), "A2 b1 c3 c1 a9 b3");
    manager.SetOldestReadDateTime(KxDateTime(2024, 12, 2, 12, 0, 0));
    manager.ChangeReadMinLevel(EXCEPT_USER);
    manager.BlockGroupReading(L"C");
    EXPECT_EQ(Messages(manager.ExtractSpecifiedExceptions()), "A2 a9 b3");
    manager.BlockGroupReading(L"b");
    Add(manager, L"", EXCEPT_FATAL, L"nameless", 9);
    manager.BlockGroupReading(L"");
    EXPECT_EQ(Messages(manager.ExtractSpecifiedExceptions()), "A2 a9");
    manager.PassGroupReading(L"nobody");
    manager.PassGroupReading(L"B");
    EXPECT_EQ(Messages(manager.ExtractSpecifiedExceptions()), "A2 a9 b3");
    manager.ChangeReadMinLevel(EXCEPT_NONFATAL);
    manager.PassAllGroupsReading();
    EXPECT_EQ(Messages(manager.ExtractSpecifiedExceptions()), "c3 nameless a9 b3");
    EXPECT_EQ(manager.GetTotalCount(), 7u);
}

struct CountingLess : std::less<> {
    using is_transparent = void;
    static inline unsigned long count = 0;
    template <class A, class B>
    bool operator()(A const& a, B const& b) const {
        ++count;
        return a < b;
    }
};

// Twice as many groups, each with an entry that comes and goes, take little more than twice the steps.
TEST_F(ExceptionMgr, StepsOfManyGroups) {
    auto const steps = [](int groups) {
        detail::GroupQueues<CountingLess> queues;
        CountingLess::count = 0;
        for (int i = 0; i < 2 * groups; ++i) {
            KxString const name = L"G" + KxTools::String(i * 7919L % groups);
            queues.Append(std::make_unique<KxExceptionManagerException>(
                              KxDateTime::FromUnixTime(i * 104729LL % 1000000), name, EXCEPT_USER, name),
                          name);
        }
        for (int i = 0; i < groups; ++i) queues.RemoveOldest();
        EXPECT_EQ(queues.GetCount(), static_cast<unsigned long>(groups));
        return static_cast<double>(CountingLess::count);
    };
    double const few = steps(2000);
    EXPECT_LT(steps(4000), 2.5 * few);
    EXPECT_LT(few, 2000 * 100.0);
}

TEST_F(ExceptionMgr, ManyGroups) {
    std::string log = "[General]\nTotalCount=100000\n";
    for (int i = 0; i < 100000; ++i)
        log += "[" + std::to_string(i) + "]\nDate=20241201\nTime=" + std::to_string(100000 + i % 60 * 100) +
               "\nGroup=g" + std::to_string(i) + "\nLevel=EXCEPT_USER\nMessage=m\n";
    Put("syexcmgr.bas", log);
    KxExceptionManager manager;
    Initialize(manager, "ErrorCount=100000\nBackupTiming=none\n");
    EXPECT_EQ(manager.GetTotalCount(), 100000u);
    manager.SetMaxErrorCount(10);
    EXPECT_EQ(manager.GetTotalCount(), 10u);
}

}  // namespace
