// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syConfig.h"

#include "Clock.h"
#include "Support.h"
#include "hbtools/base/syLimits.h"

#include "Allocations.h"

#include <chrono>
#include <ctime>
#include <thread>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace KxN;
using namespace std::string_literals;
using test::U;

class ConfigFile : public test::TempFolder {
protected:
    std::string Read(KxConfig& config, wchar_t const* group, wchar_t const* key) {
        config.SetGroup(group);
        return U(config.ReadKey(key, L"(default)"));
    }
    /// The file after one key was written.
    std::string Written(std::string const& bytes, wchar_t const* group, wchar_t const* key, wchar_t const* value) {
        Put("w", bytes);
        KxConfig config(Path("w"));
        config.SetGroup(group);
        config.WriteKey(key, value);
        EXPECT_EQ(U(config.ReadKey(key)), U(KxString(value)));
        return Get("w");
    }
};

TEST_F(ConfigFile, Syntax) {
    Put("f",
        "head = 1\n"
        "; comment = no\n"
        "[Scanner] dropped\n"
        " \tPort =  COM1 ; kept \t\r\n"
        "Tab\t=\tv\n"
        "key = a = b \n"
        "no assignment\n"
        "Empty=\n"
        "= nameless\n"
        "[open = bracket\n"
        "Größe = ä\n"
        "port = second\n"
        "\n"
        "[ Spaced ]\n"
        "x=1\n"
        "[SCANNER]\n"
        "Late=1\n"
        "[Last]\n"
        "end=without line feed");
    KxConfig config(Path("f"));
    EXPECT_EQ(U(config.GetGroup()), "");
    struct {
        wchar_t const *group, *key;
        std::string value;
    } const cases[] = {
        {L"", L"HEAD", "1"},
        {L"", L"comment", "(default)"},
        {L"scanner", L"PORT", "COM1 ; kept"},
        {L"Scanner", L"key", "a = b"},
        {L"Scanner", L"Tab\t", "\tv"},
        {L"Scanner", L"Empty", ""},
        {L"Scanner", L"missing", "(default)"},
        {L"Scanner", L"", "nameless"},
        {L"Scanner", L"[open", "(default)"},
        {L"Scanner", L"gRÖßE", "ä"},
        {L"Scanner", L"Late", "(default)"},
        {L" Spaced ", L"x", "1"},
        {L"Spaced", L"x", "(default)"},
        {L"Last", L"end", "without line feed"},
        {L"No", L"end", "(default)"},
    };
    for (auto const& c : cases) EXPECT_EQ(Read(config, c.group, c.key), c.value) << U(c.key);
    config.SetGroup(L"Scanner");
    EXPECT_EQ(config.GetKeyCount(), 7);
    EXPECT_EQ(U(config.GetKeyName(0)) + U(config.ReadKey(6)) + U(config.GetKeyName(7)) + U(config.ReadKey(65535)),
              "Portsecond");
    EXPECT_EQ(config.GetGroupCount(), 4);
    EXPECT_EQ(U(config.GetGroup(2)) + U(config.GetGroup(4)), "SCANNER");
    EXPECT_EQ(U(config.ReadKey(L"Empty")) + U(config.ReadKey(L"missing")), "");
}

TEST_F(ConfigFile, WritingChangesNothingElse) {
    struct {
        std::string before;
        wchar_t const *group, *key, *value;
        std::string after;
    } const cases[] = {
        {"", L"G", L"k", L"v", "[G]\nk=v\n"},
        {"", L"", L"k", L"v", "k=v\n"},
        {"[G]\nA = 1\nB=2\n", L"g", L"a", L"3", "[G]\nA = 3\nB=2\n"},
        {"; c\r\n[G]\r\n\tA  =  1 \t\r\n\r\n; end\r\n", L"G", L"A", L"x", "; c\r\n[G]\r\n\tA  =  x\r\n\r\n; end\r\n"},
        {"A= \t\n", L"", L"A", L"\tx", "A= \tx\n"},
        {"[G]\nA=1\n", L"G", L"A", L"1", "[G]\nA=1\n"},
        {"[G]\n A = 1 \n", L"G", L"a", L"1", "[G]\n A = 1 \n"},
        {"[G]\nA=\n", L"G", L"A", L"1", "[G]\nA=1\n"},
        {"[G]\nA=1", L"G", L"A", L"2", "[G]\nA=2"},
        {"[G]\nA=1", L"G", L"B", L"2", "[G]\nA=1\nB=2\n"},
        {"[G]\r\nA=1", L"H", L"B", L"2", "[G]\r\nA=1\r\n[H]\r\nB=2\r\n"},
        {"[G]\nA=1\n\n\n[H]\n", L"G", L"B", L"2", "[G]\nA=1\nB=2\n\n\n[H]\n"},
        {"[G]\n\n[H]\n", L"G", L"B", L"2", "[G]\nB=2\n\n[H]\n"},
        {"\n[H]\n", L"", L"B", L"2", "B=2\n\n[H]\n"},
        {"[G]\nA=1\nA=2\n[G]\nA=3\n", L"G", L"A", L"9", "[G]\nA=9\nA=2\n[G]\nA=3\n"},
        {"rubbish\n[G\n]\n[G]\n", L"G", L"A", L"9", "rubbish\n[G\n]\n[G]\nA=9\n"},
        {"[G]\nA=a=b\n", L"G", L"A", L"c=d", "[G]\nA=c=d\n"},
        {"x=0\n=\n =y\n[G\nkey\n[G]\r\n=\nA=1\r\n\0=\0\xFF"s, L"G", L"A", L"2",
         "x=0\n=\n =y\n[G\nkey\n[G]\r\n=\nA=2\r\n\0=\0\xFF"s},
        // A carriage return alone ends no line.
        {"[G]\rA=1\r", L"G", L"A", L"2", "[G]\rA=1\r\nA=2\n"},
        // Encodings stay while they can.
        {"\xEF\xBB\xBF[G]\nA=1\n", L"G", L"A", L"ä", "\xEF\xBB\xBF[G]\nA=ä\n"},
        {"; \xE4\n[G]\nA=1\n", L"G", L"A", L"ö€", "; \xE4\n[G]\nA=\xF6\x80\n"},
        {"; \xE4\x81\n[G]\nA=1\n", L"G", L"A", L"\u0142", "; ä\xC2\x81\n[G]\nA=\u0142\n"},
        {"\xFF\xFE[\0G\0]\0\r\0\n\0A\0=\0\x31\0"s, L"G", L"A", L"ä", "\xFF\xFE[\0G\0]\0\r\0\n\0A\0=\0\xE4\0"s},
        // Without the line that told the encoding the file would read as another text.
        {"A=\xE4\nB=\xC3\xA4\n", L"", L"A", L"1", "A=1\nB=\xC3\x83\xC2\xA4\n"},
        // Two characters with the bytes of line feeds, which are none.
        {"\xFF\xFE[\0G\0]\0\n\0\n\n\n\r"s, L"G", L"A", L"1", "\xFF\xFE[\0G\0]\0\n\0\n\n\n\r\n\0A\0=\0\x31\0\n\0"s},
        {"\xFE\xFF\0[\0G\0]\0\n\0A\0=\0\x31?"s, L"G", L"A", L"2", "\xFE\xFF\0[\0G\0]\0\n\0A\0=\0\x32?"s},
    };
    for (auto const& c : cases) EXPECT_EQ(Written(c.before, c.group, c.key, c.value), c.after) << c.before;
}

TEST_F(ConfigFile, WhatNoLineCanHoldIsRefused) {
    Put("f", "[G]\nA=1\n");
    KxConfig config(Path("f"));
    std::size_t const former = std::exchange(KxxLimits().configLines, 3);
    struct {
        std::wstring group, key, value;
    } const cases[] = {
        {L"G", L"A", L"a\nb"},
        {L"G", L"A", L"a\rb"},
        {L"G", L"A", L"a\0b"s},
        {L"G", L"A\n", L""},
        {L"G", L"A=", L""},
        {L"G", L"[A", L""},
        {L"G", L";A", L""},
        {L"G", L" A", L""},
        {L"G]", L"A", L""},
        {L"G\n", L"A", L""},
        {L"G", L"\tA", L""},
        {L"G", L"A\xD800", L""},
        {L"\xDC80", L"A", L""},
        {L"G", L"A", L"\xD83D\xDE00"},
        {L"",
         L"\xFEFF"
         L"A",
         L""},
        {L"H", L"A", L"a fourth line"},
    };
    for (auto const& c : cases) {
        config.SetGroup(c.group);
        EXPECT_EQ(config.KxTools::Config::WriteKey(c.key, c.value), 0);
        test::Thrown<KxFileException>([&] { config.WriteKey(c.key, c.value); });
    }
    EXPECT_EQ(Get("f"), "[G]\nA=1\n");
    // The one line more of another makes one of ours too many; the second of them stays out too.
    config.SetGroup(L"G");
    config.BeginUpdate();
    config.WriteKey(L"B", L"1");
    config.WriteKey(L"A", L"2");
    Put("f", "[G]\nA=1\nC=3\n");
    EXPECT_NE(test::Thrown<KxFileException>([&] { config.EndUpdate(); }), "");
    EXPECT_EQ(Get("f"), "[G]\nA=1\nC=3\n");
    Put("f", "[G]\nA=1\n\n\n");
    EXPECT_EQ(U(config.ReadKey(L"A", L"none")), "none");
    EXPECT_NE(test::Thrown<KxFileException>([&] { config.ProofRead(); }), "");
    KxxLimits().configLines = former;
    // A mark within a file is a character like others.
    EXPECT_EQ(Written("", L"\xFEFF", L"a", L"\xFEFF"), "[\xEF\xBB\xBF]\na=\xEF\xBB\xBF\n");
}

TEST_F(ConfigFile, FilesThatCannotBeReadOrWritten) {
    KxConfig missing(Path("new"));
    EXPECT_EQ(missing.GetKeyCount(), 0);
    EXPECT_FALSE(std::filesystem::exists(File("new")));
    missing.SetGroup(L"G");
    EXPECT_EQ(missing.KxTools::Config::WriteKey(L"A", L"1"), 1);
    EXPECT_EQ(Get("new"), "[G]\nA=1\n");

    ASSERT_EQ(::chmod(File("new").c_str(), 0444), 0);
    EXPECT_EQ(missing.KxTools::Config::WriteKey(L"A", L"2"), 0);
    EXPECT_EQ(U(missing.ReadKey(L"A")), "1");
    EXPECT_NE(test::Thrown<KxFileException>([&] { missing.WriteKey(L"A", L"2"); }).find("[G]"), std::string::npos);

    ASSERT_EQ(::mkfifo(File("fifo").c_str(), 0600), 0);
    KxConfig fifo(Path("fifo"));
    EXPECT_EQ(U(fifo.ReadKey(L"A", L"d")), "d");
    EXPECT_EQ(fifo.KxTools::Config::WriteKey(L"A", L"2"), 0);
    KxConfig folder(m_folder.wstring().c_str());
    EXPECT_EQ(U(folder.ReadKey(L"A", L"d")), "d");
    EXPECT_EQ(folder.KxTools::Config::WriteKey(L"A", L"2"), 0);
    EXPECT_EQ(KxConfig(KxString(std::wstring(L"a\0b", 3))).KxTools::Config::WriteKey(L"A", L"2"), 0);
    EXPECT_EQ(KxConfig(Path("no/file")).KxTools::Config::WriteKey(L"A", L"2"), 0);

    // A line of one gigabyte costs no memory, and stays.
    Put("endless", "[G]\nA=");
    std::filesystem::resize_file(File("endless"), 1u << 30);
    {
        std::size_t const before = test::g_allocatedBytes;
        KxConfig endless(Path("endless"));
        endless.SetGroup(L"G");
        EXPECT_EQ(endless.KxTools::Config::WriteKey(L"A", L"2"), 0);
        EXPECT_NE(test::Thrown<KxFileException>([&] { endless.ProofRead(); }).find("endless"), std::string::npos);
        EXPECT_LT(test::g_allocatedBytes - before, 100'000u);
        EXPECT_EQ(std::filesystem::file_size(File("endless")), 1u << 30);
    }

    std::size_t const former = std::exchange(KxxLimits().textFileBytes, 10);
    Put("long", "[G]\nA=1\n; more");
    std::this_thread::sleep_for(std::chrono::milliseconds(70));  // it will not be read again for its age
    KxConfig config(Path("long"));
    config.SetGroup(L"G");
    EXPECT_EQ(U(config.ReadKey(L"A")), "");
    EXPECT_EQ(config.KxTools::Config::WriteKey(L"A", L"2"), 0);
    KxConfig made(Path("made")), endless(L"/proc/self/status");  // whose length nobody tells
    EXPECT_EQ(made.KxTools::Config::WriteKey(L"A", L"0123456789"), 0);
    EXPECT_FALSE(std::filesystem::exists(File("made")));
    EXPECT_EQ(endless.GetKeyCount(), 0);
    EXPECT_NE(test::Thrown<KxFileException>([&] { endless.ProofRead(); }), "");
    config.BeginUpdate();
    KxxLimits().textFileBytes = former;
    EXPECT_EQ(Get("long"), "[G]\nA=1\n; more");
    // Once it can be read it is, and whoever asks hears that it could not be.
    EXPECT_EQ(U(config.ReadKey(L"A")), "1");
    EXPECT_NE(test::Thrown<KxFileException>([&] { config.ProofRead(); }).find("long"), std::string::npos);
    config.ProofRead();
    config.WriteKey(L"A", L"2");
    config.EndUpdate();
    EXPECT_EQ(Get("long"), "[G]\nA=2\n; more");
}

TEST_F(ConfigFile, ChangesOfOthersAreSeen) {
    Put("f", "[G]\nA=1\n");
    KxConfig config(Path("f")), other(Path("f"));
    config.SetGroup(L"G");
    other.SetGroup(L"g");
    for (int i = 0; i < 50; ++i) {  // same length, within one tick of the clock
        KxString const value(KxTools::String(10 + i));
        other.WriteKey(L"A", value);
        ASSERT_EQ(U(config.ReadKey(L"A")), U(value));
        Put("f", "[G]\nA=" + std::to_string(10 + (i + 1) % 50) + "\n");
        ASSERT_EQ(U(config.ReadKey(L"A")), std::to_string(10 + (i + 1) % 50));
    }
    std::filesystem::remove(File("f"));
    EXPECT_EQ(config.GetKeyCount(), 0);
}

// What was parsed is kept while the file is the same, and no longer, whatever its time says: a parse of this file
// allocates for each of its groups.
TEST_F(ConfigFile, OnlyChangesAreParsedAgain) {
    std::string bytes;
    for (int i = 0; i < 1000; ++i) bytes += "[" + std::to_string(i) + "]\nA=1\n";
    Put("f", bytes);
    KxConfig config(Path("f"));
    config.SetGroup(L"999");
    auto const parses = [&](char const* value) {
        std::size_t const before = test::g_allocations;
        EXPECT_EQ(U(config.ReadKey(L"A")), value);
        return test::g_allocations - before > 1000;
    };
    using namespace std::chrono_literals;
    EXPECT_TRUE(parses("1"));
    EXPECT_FALSE(parses("1"));
    std::this_thread::sleep_for(70ms);
    EXPECT_FALSE(parses("1"));
    EXPECT_FALSE(parses("1"));
    bytes[bytes.size() - 2] = '2';
    Put("f", bytes);
    EXPECT_TRUE(parses("2"));
    std::this_thread::sleep_for(70ms);
    bytes[bytes.size() - 2] = '3';
    Put("f", bytes);
    EXPECT_TRUE(parses("3"));
    if (isSanitized) return;
    // By a clock that was set back the file has no age: it is read again each time, though not parsed.
    auto const reads = [&] {
        std::size_t const before = test::g_allocatedBytes;
        config.ReadKey(L"A");
        return test::g_allocatedBytes - before > bytes.size();
    };
    for (std::time_t const behind : {0, 3600}) {
        test::g_clockBehind = behind;
        bytes[bytes.size() - 2] = '4';
        Put("f", bytes);
        EXPECT_TRUE(reads());
        std::this_thread::sleep_for(70ms);
        reads();
        EXPECT_EQ(reads(), behind > 0);
    }
    test::g_clockBehind = 0;
}

TEST_F(ConfigFile, AnUpdateIsOneWrite) {
    Put("f", "[G]\nA=1\n");
    KxConfig config(Path("f"));
    config.BeginUpdate();
    config.EndUpdate();  // of nothing
    config.SetGroup(L"none");
    EXPECT_EQ(U(config.GetKeyName(0)), "");
    config.BeginUpdate();
    for (int i = 0; i < 3000; ++i) {
        config.SetGroup(KxString(KxTools::String(i)));
        config.WriteKey(L"Number", KxString(KxTools::String(i)));
        config.WriteKey(L"Text", L"ä");
    }
    EXPECT_EQ(U(config.ReadKey(L"Number")), "2999");
    EXPECT_EQ(Get("f"), "[G]\nA=1\n");
    config.EndUpdate();
    EXPECT_EQ(config.GetGroupCount(), 3001);
    KxConfig again(Path("f"));
    again.SetGroup(L"1234");
    EXPECT_EQ(U(again.ReadKey(1)) + U(again.ReadKey(L"Number")), "ä1234");
    EXPECT_TRUE(Get("f").starts_with("[G]\nA=1\n[0]\nNumber=0\nText=ä\n[1]\n"));

    ASSERT_EQ(::chmod(File("f").c_str(), 0444), 0);
    again.BeginUpdate();
    again.WriteKey(L"Number", L"x");
    test::Thrown<KxFileException>([&] { again.EndUpdate(); });
    EXPECT_EQ(U(again.ReadKey(L"Number")), "1234");
}

TEST_F(ConfigFile, AnUpdateLeavesWhatOthersWriteMeanwhile) {
    Put("f", "[G]\nA=1\nB=1\n");
    KxConfig config(Path("f")), other(Path("f"));
    config.SetGroup(L"G");
    other.SetGroup(L"G");
    config.BeginUpdate();
    config.WriteKey(L"A", L"2");
    config.WriteKey(L"new", L"2");
    config.WriteKey(L"B", L"1");  // as it is, until the other changes it
    other.WriteKey(L"A", L"3");
    other.WriteKey(L"B", L"3");
    other.WriteKey(L"C", L"3");
    EXPECT_EQ(config.GetKeyCount(), 3);
    config.EndUpdate();
    EXPECT_EQ(Get("f"), "[G]\nA=2\nB=1\nC=3\nnew=2\n");
    config.BeginUpdate();
    config.WriteKey(L"A", L"4");
    std::filesystem::remove(File("f"));
    std::filesystem::create_directory(File("f"));
    EXPECT_EQ(config.KxTools::Config::EndUpdate(), 0);
    std::filesystem::remove(File("f"));
    config.WriteKey(L"A", L"5");  // nothing is left of the update
    EXPECT_EQ(Get("f"), "[G]\nA=5\n");
}

// Each of them reads the file, changes it and puts another one in its place.
TEST_F(ConfigFile, ProcessesThatWriteOneFileKeepEachOthersKeys) {
    constexpr int processes = 3, rounds = 40;
    std::filesystem::create_symlink("f", File("link"));
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        pid_t const child = ::fork();
        if (child == 0) {
            KxConfig config(Path(i == 0 ? "link" : "f"));
            config.SetGroup(L"G");
            for (int round = 0; round < rounds; ++round) {
                if (i == 1) config.BeginUpdate();
                config.WriteKey(KxString(std::to_wstring(i * rounds + round)), L"measured");
                if (i == 1) config.EndUpdate();
            }
            ::_exit(0);
        }
        children.push_back(child);
    }
    for (pid_t const child : children) {
        int status = 1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    KxConfig config(Path("f"));
    config.SetGroup(L"G");
    EXPECT_EQ(config.GetKeyCount(), processes * rounds);
}

TEST_F(ConfigFile, TimesOfItsFileMayBeAny) {
    Put("f", "[G]\nA=1\n");
    bool const hasMemory = std::filesystem::is_directory("/dev/shm");  // where files have all times
    std::filesystem::path const file = hasMemory ? "/dev/shm" / m_folder.filename() : File("f");
    std::filesystem::copy_file(File("f"), file, std::filesystem::copy_options::overwrite_existing);
    KxConfig config(KxxFromSystemPath(file.string()));
    config.SetGroup(L"G");
    for (std::int64_t const seconds : {std::int64_t{-99999999999}, std::int64_t{1} << 62, -(std::int64_t{1} << 62)}) {
        timespec const times[2] = {{seconds, 999999999}, {seconds, 999999999}};
        ::utimensat(AT_FDCWD, file.c_str(), times, 0);
        EXPECT_EQ(U(config.ReadKey(L"A")), "1");
    }
    std::filesystem::remove(file);
}

// Each allocation of a change fails once: the file and what is read are as before, then the change goes through.
TEST_F(ConfigFile, WithoutMemoryNothingIsHalfDone) {
    std::string const before = "; \xE4\n[G]\nA=1";
    struct {
        wchar_t const *group, *key, *value;
        std::string after, inUpdate;
    } const cases[] = {
        {L"G", L"a", L"\u0142", "; \xC3\xA4\n[G]\nA=\u0142", "[G]\u01421"},
        {L"N", L"k", L"v", "; \xE4\n[G]\nA=1\n[N]\nk=v\n", "[G][N]11"},
    };
    for (auto const& c : cases) {
        for (bool const isUpdate : {false, true}) {
            Put("f", before);
            KxConfig config(Path("f"));
            if (isUpdate) {
                config.BeginUpdate();
                config.SetGroup(L"G");
                config.WriteKey(L"first", L"1");
            }
            auto const dump = [&] {
                std::string text;
                for (unsigned short i = 0; i < config.GetGroupCount(); ++i) text += "[" + U(config.GetGroup(i)) + "]";
                config.SetGroup(L"G");
                text += U(config.ReadKey(L"A")) + U(config.ReadKey(L"first"));
                config.SetGroup(c.group);
                return text;
            };
            std::string const read = dump();
            KxString const key(c.key), value(c.value);
            int const failures = test::FailEachAllocation([&] { config.WriteKey(key, value); },
                                                          [&] {
                                                              EXPECT_EQ(Get("f"), before);
                                                              EXPECT_EQ(dump(), read);
                                                          });
            EXPECT_GT(failures, 5);
            if (!isUpdate) {
                EXPECT_EQ(Get("f"), c.after);
                continue;
            }
            config.EndUpdate();
            EXPECT_EQ(dump(), c.inUpdate);
        }
    }
}

TEST_F(ConfigFile, LongLinesAndBytesOfAllKindsSurvive) {
    std::string all;
    for (int i = 0; i < 70000; ++i) all += static_cast<char>(i * 31 % 251 + i / 256);
    std::string const line(100000, 'x');
    std::string const before = all + "\n[G]\nLong=" + line + "\nA=1\n" + all;
    EXPECT_TRUE(Written(before, L"G", L"A", L"2") == all + "\n[G]\nLong=" + line + "\nA=2\n" + all);
    KxConfig config(Path("w"));
    config.SetGroup(L"G");
    EXPECT_EQ(config.ReadKey(L"Long").Len(), 100000);
}

}  // namespace
