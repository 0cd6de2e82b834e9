// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The debug file: its bytes, its modes, its length, what happens when it cannot be written, and several threads.
#include "ManagerTest.h"
#include "hbtools/base/syDirEntry.h"

#include <set>
#include <sstream>
#include <thread>
#include <vector>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace KxN;
using test::Thrown;
using test::U;

class DebugFile : public test::ManagerTest {
protected:
    KxExceptionManager m_manager;
};

std::string const base = "ErrorCount=9\nBackupTiming=none\n";
std::string const line(70, '_');
std::string const dated = line + "\r\nDATUM: D, ZEIT: T\r\n";

TEST_F(DebugFile, Bytes) {
    Put("Debug.log", "former");
    Initialize(m_manager, base);
    EXPECT_EQ(Debug(), "");
    KxException located(L"sensor.cpp", 42, L"Größe");
    KxException extended(L"kurz");
    extended.SetExtendedInfo(1);
    struct {
        std::function<void()> write;
        std::string bytes;
    } const cases[] = {
        {[&] { m_manager.WriteToDebugFile(located, 1); }, dated + "Gr\xC3\xB6\xC3\x9F"
                                                                  "e\r\nDATEI: sensor.cpp, ZEILE: 42\r\n"},
        {[&] { m_manager.WriteToDebugFile(extended, 0); }, "DATUM: D, ZEIT: T\r\nkurz\r\nclass KxN::KxException\r\n"},
        {[&] { m_manager.WriteToDebugFile(L"nur Text", 0, 0); }, "nur Text\r\n"},
        {[&] { m_manager.WriteToDebugFile(L"a\nb", 1, 0); }, "DATUM: D, ZEIT: T\r\na\nb\r\n"},
        {[&] { m_manager.WriteToDebugFile(L"Ort", 7, L"x.cpp", 0, 1); },
         line + "\r\nOrt\r\nDATEI: x.cpp, ZEILE: 7\r\n"},
        {[&] { m_manager.WriteToDebugFile(L"Ort", 8, L"x.cpp"); }, dated + "Ort\r\nDATEI: x.cpp, ZEILE: 8\r\n"},
        {[&] { m_manager.AddInfo(L"replaced"), m_manager.AddInfo(L"Info"); }, ""},
        {[&] { m_manager.WriteToDebugFile(L"mit", 0, 0); }, "mit\r\nInfo\r\n"},
        {[&] { m_manager.WriteToDebugFile(L"ohne", 0, 0); }, "ohne\r\n"},
    };
    std::string all;
    for (auto const& c : cases) {
        c.write();
        all += c.bytes;
        ASSERT_EQ(Debug(), all) << "each entry is in the file when the call returns";
    }
    EXPECT_EQ(U(m_manager.GetDebugInfo()), Get("Debug.log"));
    m_manager.ResetDebugFile();
    EXPECT_EQ(Debug(), "");
    m_manager.WriteToDebugFile(L"danach", 0, 0);
    EXPECT_EQ(Debug(), "danach\r\n");
    m_manager.Flush();
    EXPECT_EQ(Debug(), all + "danach\r\n") << "emptying the file forgets no entry";
}

TEST_F(DebugFile, Modes) {
    Initialize(m_manager, base);
    auto const write = [&](wchar_t const* text) { m_manager.WriteToDebugFile(text, 0, 0); };
    m_manager.SuppressWritingToDebugFile(1);
    m_manager.AddInfo(L"Info");  // for the next entry that is not lost
    write(L"lost");
    m_manager.SuppressWritingToDebugFile(1);  // tells nothing twice
    m_manager.DelayedWritingToDebugFile(1);
    m_manager.DelayedWritingToDebugFile(0);
    m_manager.SuppressWritingToDebugFile(0);
    std::string const suppressed =
        dated + "Registrierung der Debug-Eintr\xC3\xA4ge deaktiviert. Alle Ausgaben gehen verloren.\r\n" + dated +
        "Registrierung der Debug-Eintr\xC3\xA4ge aktiviert.\r\nInfo\r\n";
    EXPECT_EQ(Debug(), suppressed);
    m_manager.DelayedWritingToDebugFile(1);
    std::string const delayed = suppressed + dated +
                                "Caching der Debug-Eintr\xC3\xA4ge aktiviert. Verz\xC3\xB6gertes Schreiben in die "
                                "Debug-Datei nach Aufruf von Flush.\r\n";
    write(L"cached");
    EXPECT_EQ(Debug(), delayed);
    EXPECT_EQ(U(m_manager.GetDebugInfo()), Get("Debug.log"));
    m_manager.Flush();
    EXPECT_EQ(Debug(), delayed + "cached\r\n");
    write(L"more");
    m_manager.DelayedWritingToDebugFile(0);
    std::string const off = dated + "Caching der Debug-Eintr\xC3\xA4ge deaktiviert.\r\n";
    EXPECT_EQ(Debug(), delayed + "cached\r\n" + off);
    EXPECT_EQ(U(m_manager.GetDebugInfo()), Get("Debug.log"));
    m_manager.Flush();
    EXPECT_EQ(Debug(), delayed + "cached\r\nmore\r\n" + off) << "in the order in which they came";
}

TEST_F(DebugFile, HoldsTheLastEntries) {
    // Entries written, and the first and the last of those that are then in the file, for MaxEntries=10.
    struct {
        int written, first;
    } const cases[] = {{15, 1}, {16, 7}, {21, 7}, {22, 13}, {100, 91}};
    auto const numbers = [](int first, int last) {
        std::string text;
        for (int i = first; i <= last; ++i) text += std::to_string(i) + "\r\n";
        return text;
    };
    for (auto const& c : cases) {
        Initialize(m_manager, base + "MaxEntries=10\n");
        for (int i = 1; i <= c.written; ++i) m_manager.WriteToDebugFile(KxTools::String(i), 0, 0);
        EXPECT_EQ(Debug(), numbers(c.first, c.written));
        m_manager.CheckQueueAndFileSize();  // ran with each of them: nothing is left to do
        EXPECT_EQ(Debug(), numbers(c.first, c.written));
        EXPECT_EQ(U(m_manager.GetDebugInfo()), numbers(c.first, c.written));
        m_manager.DelayedWritingToDebugFile(1);
        for (int i = 1; i <= c.written; ++i) m_manager.WriteToDebugFile(KxTools::String(i), 0, 0);
        m_manager.Flush();
        EXPECT_EQ(Debug(), numbers(c.written - 9, c.written));
        m_manager.DelayedWritingToDebugFile(0);
    }
    Initialize(m_manager, base + "MaxEntries=0\n");
    m_manager.WriteToDebugFile(L"gone", 0, 0);
    EXPECT_EQ(Debug() + U(m_manager.GetDebugInfo()), "");
}

TEST_F(DebugFile, TheEndWritesWhatIsPending) {
    auto manager = std::make_unique<KxExceptionManager>();
    manager->WriteToDebugFile(L"before Initialize", 1, 1);
    manager->Flush();
    Initialize(*manager, base);
    manager->DelayedWritingToDebugFile(1);
    manager->WriteToDebugFile(L"cached", 0, 0);
    manager.reset();
    EXPECT_TRUE(Debug().ends_with("Flush.\r\ncached\r\n"));
}

TEST_F(DebugFile, AFullDiskIsToldOnceAndThrowsNothing) {
    std::wstring const first(5000, L'x');
    for (rlim_t const limit : {5002U, 5010U, 5110U}) {  // no room, some, and some within the last line
        Initialize(m_manager, base);
        m_manager.WriteToDebugFile(first, 0, 0);
        testing::internal::CaptureStderr();
        {
            test::SizeLimit const full(limit);
            for (int i = 0; i < 3; ++i) m_manager.WriteToDebugFile(L"refused", 1, 1);
            EXPECT_EQ(Debug(), U(first) + "\r\n") << "no part of an entry";
            Thrown<KxException>([&] { m_manager.Flush(); });
        }
        std::string const told = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
        EXPECT_NE(told.find("Debug.log"), std::string::npos) << told;
        m_manager.WriteToDebugFile(L"again", 0, 0);
        EXPECT_EQ(Debug(), U(first) + "\r\nagain\r\n");
        EXPECT_EQ(U(m_manager.GetDebugInfo()), Debug()) << "what did not get there was not written";
        m_manager.Flush();
        std::string const refused = dated + "refused\r\n";
        EXPECT_EQ(Debug(), U(first) + "\r\n" + refused + refused + refused + "again\r\n")
            << "kept until there was room";
        EXPECT_EQ(U(m_manager.GetDebugInfo()), Get("Debug.log"));
    }
}

TEST_F(DebugFile, OneThatCannotBeFlushedDoesNotCostTheLog) {
    auto manager = std::make_unique<KxExceptionManager>();
    Initialize(*manager, "ErrorCount=9\nBackupTiming=SAVE_ON_DEMAND\n");
    manager->DelayedWritingToDebugFile(1);
    Add(*manager, L"G", EXCEPT_USER, L"kept");
    std::filesystem::remove(File("Debug.log"));
    std::filesystem::create_directory(File("Debug.log"));
    testing::internal::CaptureStderr();
    manager.reset();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Debug.log"), std::string::npos);
    EXPECT_NE(Get("syexcmgr.bas").find("Message=kept\n"), std::string::npos);
}

TEST_F(DebugFile, InAFolderThatMayNotBeChanged) {
    Put("syexcmgr.bas", "");
    Put("Debug.log", "");
    KxString const ini = Ini("ErrorCount=9\nBackupTiming=SAVE_ON_DEMAND\nMaxEntries=2\n");
    ::chmod(m_folder.c_str(), 0555);
    for (char const* name : {"", "app.ini", "syexcmgr.bas", "Debug.log"})
        ASSERT_TRUE(::geteuid() != 0 || ::chown(File(name).c_str(), 65534, 65534) == 0);
    pid_t const child = ::fork();
    if (child == 0) {  // root may change any folder
        if (::geteuid() == 0 && (::setegid(65534) != 0 || ::seteuid(65534) != 0)) ::_exit(9);
        try {
            KxExceptionManager manager;
            manager.Initialize(ini);
            for (int i = 1; i <= 4; ++i) manager.WriteToDebugFile(KxTools::String(i), 0, 0);  // the last one rewrites
            Add(manager, L"G", EXCEPT_USER, L"new");
            int code = Debug() == "3\r\n4\r\n" && U(manager.GetDebugInfo()) == Debug() ? 0 : 1;
            try {
                manager.SaveExcGrpLst();
                code |= 2;
            } catch (KxFileException* exception) {
                exception->Delete();
            }
            manager.ChangeBackupTiming(static_cast<BackupTiming>(3));
            ::_exit(code);
        } catch (CException*) {
            ::_exit(8);
        }
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 0);
    EXPECT_EQ(Get("syexcmgr.bas"), "") << "the former log";
}

TEST_F(DebugFile, SeveralThreadsLoseAndTearNothing) {
    constexpr int writers = 4, perWriter = 700;
    Initialize(m_manager, base + "MaxEntries=1000\n");
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; ++w) {
        threads.emplace_back([this, w] {
            for (int i = 0; i < perWriter; ++i) {
                if (i % 50 == 0) m_manager.AddInfo(L"info"), m_manager.GetDebugInfo();
                m_manager.WriteToDebugFile(std::to_wstring(w) + L" " + std::to_wstring(i), 1, 1);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    m_manager.Flush();
    std::istringstream file(Debug());
    std::string text;
    int entries = 0, last[writers] = {-1, -1, -1, -1};
    for (; std::getline(file, text); ++entries) {
        ASSERT_EQ(text, line + "\r");
        ASSERT_TRUE(std::getline(file, text) && text == "DATUM: D, ZEIT: T\r") << text;
        ASSERT_TRUE(std::getline(file, text));
        int const writer = text[0] - '0', number = std::atoi(text.c_str() + 2);
        ASSERT_TRUE(writer >= 0 && writer < writers) << text;
        EXPECT_TRUE(last[writer] < 0 || number == last[writer] + 1) << text;
        last[writer] = number;
        if (file.peek() == 'i') std::getline(file, text);
    }
    EXPECT_EQ(entries, 1000);
    for (int const number : last) EXPECT_TRUE(number < 0 || number == perWriter - 1);
}

}  // namespace
