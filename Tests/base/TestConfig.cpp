// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syConfig.h"

#include "Support.h"
#include "hbtools/base/syLimits.h"

#include <sys/stat.h>

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
        " \tPort\t=  COM1 ; kept \t\r\n"
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
    EXPECT_EQ(config.GetKeyCount(), 6);
    EXPECT_EQ(U(config.GetKeyName(0)) + U(config.ReadKey(5)) + U(config.GetKeyName(6)) + U(config.ReadKey(65535)),
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
        {"; c\r\n[G]\r\n\tA\t=\t1 \t\r\n\r\n; end\r\n", L"G", L"A", L"x", "; c\r\n[G]\r\n\tA\t=\tx\r\n\r\n; end\r\n"},
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
    struct {
        std::wstring group, key, value;
    } const cases[] = {
        {L"G", L"A", L"a\nb"}, {L"G", L"A", L"a\rb"}, {L"G", L"A", L"a\0b"s}, {L"G", L"A\n", L""}, {L"G", L"A=", L""},
        {L"G", L"[A", L""},    {L"G", L";A", L""},    {L"G", L" A", L""},     {L"G]", L"A", L""},  {L"G\n", L"A", L""},
    };
    for (auto const& c : cases) {
        config.SetGroup(c.group);
        EXPECT_EQ(config.KxTools::Config::WriteKey(c.key, c.value), 0);
        test::Thrown<KxFileException>([&] { config.WriteKey(c.key, c.value); });
    }
    EXPECT_EQ(Get("f"), "[G]\nA=1\n");
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

    KxConfig folder(m_folder.wstring().c_str());
    EXPECT_EQ(U(folder.ReadKey(L"A", L"d")), "d");
    EXPECT_EQ(folder.KxTools::Config::WriteKey(L"A", L"2"), 0);
    EXPECT_EQ(KxConfig(Path("no/file")).KxTools::Config::WriteKey(L"A", L"2"), 0);

    std::size_t const former = std::exchange(KxxLimits().textFileBytes, 10);
    Put("long", "[G]\nA=1\n; more");
    KxConfig config(Path("long"));
    config.SetGroup(L"G");
    EXPECT_EQ(U(config.ReadKey(L"A")), "");
    EXPECT_EQ(config.KxTools::Config::WriteKey(L"A", L"2"), 0);
    KxxLimits().textFileBytes = former;
    EXPECT_EQ(Get("long"), "[G]\nA=1\n; more");
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

TEST_F(ConfigFile, AnUpdateIsOneWrite) {
    Put("f", "[G]\nA=1\n");
    KxConfig config(Path("f"));
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
