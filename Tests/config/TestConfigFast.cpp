// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syConfigFast.h"

#include "../base/Support.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/config/syConfigFastMT.h"
#include "hbtools/config/syConfigMT.h"

#include "../base/Allocations.h"

#include <algorithm>
#include <functional>
#include <random>
#include <thread>
#include <sys/stat.h>

namespace {

using namespace KxN;
using namespace std::string_literals;
using test::U;

/// The class for worker threads with all operations open.
struct OpenMT : KxConfigFastMT {
    using KxConfigFastMT::DeleteCurItem;
    using KxConfigFastMT::FindKey;
    using KxConfigFastMT::KxConfigFastMT;
};

template <class CONFIG>
class ConfigFast : public test::TempFolder {
protected:
    /// The file after some operations on an object that then ends.
    std::string After(std::string const& before, std::function<void(CONFIG&)> const& change) {
        Put("f", before);
        std::size_t const files = CountFiles();
        {
            CONFIG config(Path("f"));
            change(config);
        }
        EXPECT_EQ(CountFiles(), files);
        return Get("f");
    }
    /// Everything the object tells: "[group]name=value,..." of the keys in front and of each group.
    static std::string Dump(CONFIG& config) {
        std::string dump;
        KxString const former = config.GetGroup();
        for (int group = -1; group < config.GetGroupCount(); ++group) {
            KxString const name = group < 0 ? KxString() : config.GetGroup(static_cast<unsigned short>(group));
            config.SetGroup(name);
            dump += "[" + U(name) + "]";
            for (unsigned short i = 0; i < config.GetKeyCount(); ++i)
                dump += U(config.GetKeyName(i)) + "=" + U(config.ReadKey(i)) + ",";
        }
        config.SetGroup(former);
        return dump;
    }
    std::string Parsed(std::string const& bytes) {
        Put("f", bytes);
        CONFIG config(Path("f"));
        return Dump(config);
    }
    static constexpr bool isMT = std::is_base_of_v<KxConfigFastMT, CONFIG>;
};

using Classes = testing::Types<KxConfigFast, OpenMT>;
TYPED_TEST_SUITE(ConfigFast, Classes);

TYPED_TEST(ConfigFast, Syntax) {
    struct {
        std::string bytes, fast, mt;
    } const cases[] = {
        {"", "[]", "[]"},
        {"key = a = b \n", "[]key=a = b,", "[]key=a = b,"},
        {"[G] dropped ] \n;c=d\n\n =x\nplain\na=\n[open\nb=1", "[][G]=x,a=,b=1,", "[][G]=x,a=,b=1,"},
        {"a=1\n[]\nb=2\n", "[]a=1,[]a=1,", "[]a=1,[]a=1,"},
        {"[]\nb=2\n", "[]b=2,[]b=2,", "[]b=2,[]b=2,"},
        {"[ G ]\nname\t=\tv\t\n", "[][ G ]name\t=\tv,", "[][ G ]name\t=\tv,"},
        // The two trims: tabs in front, and mixed ends.
        {"\t[G]\n \ta=1\n", "[][G]a=1,", "[]\ta=1,"},
        {"a=1 \r\n", "[]a=1,", "[]a=1 ,"},
        {"a=1\t\r \n", "[]a=1,", "[]a=1,"},
        {"a=1\r\t \n", "[]a=1,", "[]a=1\r,"},
        {"[g]\na=1\nA=2\n[G]\na=3\n", "[][g]a=1,A=2,[G]a=1,A=2,", "[][g]a=1,A=2,[G]a=1,A=2,"},
        {"\xEF\xBB\xBF\xC3\xA4=\xFF\n", "[]ä=\uFFFD,", "[]ä=\uFFFD,"},
        {"\xE4=\x80\n", "[]ä=€,", "[]ä=€,"},
        {"\xFF\xFE\xE4\0=\0\x0A\x0A\r\0\n\0b\0=\0?"s, "[]ä=\u0A0A,b=,", "[]ä=\u0A0A,b=,"},
        {"\xFE\xFF\0a\0=\0\x31\0\n\0b\0=\0\x32"s, "[]a=1,b=2,", "[]a=1,b=2,"},
        {"a\0b=c\0d\n"s, "[]a\0b=c\0d,"s, "[]a\0b=c\0d,"s},
        // 4096 bytes are a line, one more ends the reading.
        {"a=" + std::string(4094, 'x') + "\nb=1", "[]a=" + std::string(4094, 'x') + ",b=1,",
         "[]a=" + std::string(4094, 'x') + ",b=1,"},
        {"a=1\nb=" + std::string(4095, 'x') + "\nc=1", "[]a=1,", "[]a=1,"},
        {std::string(1 << 20, 'x'), "[]", "[]"},
    };
    for (auto const& c : cases) EXPECT_EQ(this->Parsed(c.bytes), this->isMT ? c.mt : c.fast) << c.bytes.substr(0, 100);
}

TYPED_TEST(ConfigFast, ChangesLeaveTheRestAlone) {
    using Config = TypeParam;
    auto const write = [](wchar_t const* group, wchar_t const* key, wchar_t const* value) {
        return [=](Config& config) {
            config.SetGroup(group);
            config.WriteKey(key, value);
            EXPECT_EQ(U(config.ReadKey(key)), U(KxString(value)));
        };
    };
    auto const deleteKey = [](wchar_t const* group, wchar_t const* key) {
        return [=](Config& config) {
            config.SetGroup(group);
            ASSERT_TRUE(config.FindKey(key));
            config.DeleteCurItem();
        };
    };
    std::string const tooLong(5000, 'x');
    struct {
        std::string before;
        std::function<void(Config&)> change;
        std::string after;
    } const cases[] = {
        {"", write(L"G", L"k", L"v"), "[G]\nk=v\n"},
        {"", write(L"", L"k", L"v"), "k=v\n"},
        {"; c\r\n[G]\r\n A = 1 \r\n\r\n; e\r\n", write(L"g", L"a", L"2"), "; c\r\n[G]\r\nA=2\r\n\r\n; e\r\n"},
        {"[G]\n A = 1 ", write(L"G", L"A", L"1"), "[G]\n A = 1 "},
        {"[G]\nA=1", write(L"G", L"A", L"2"), "[G]\nA=2"},
        {"[G]\r\nA=1", write(L"H", L"B", L"2"), "[G]\r\nA=1\r\n[H]\r\nB=2\r\n"},
        {"[G]\nA=1\n\n \n[H]\n", write(L"G", L"B", L"2"), "[G]\nA=1\nB=2\n\n \n[H]\n"},
        {"\n[H]\n", write(L"", L"B", L"2"), "B=2\n\n[H]\n"},
        {"[G]\nA=1\nA=2\n[G]\nA=3\n", write(L"G", L"A", L"9"), "[G]\nA=9\nA=2\n[G]\nA=3\n"},
        {"A=1\r\nB=2 ", write(L"", L"C", L"3"), this->isMT ? "A=1\r\nB=2 \nC=3\r\n" : "A=1\r\nB=2 \r\nC=3\r\n"},
        {"rubbish\n[G\n[G]\n", write(L"G", L"A", L"9"), "rubbish\n[G\n[G]\nA=9\n"},
        {"[G]\nA=1\n" + tooLong + "\n[H]", write(L"G", L"B", L"2"), "[G]\nA=1\nB=2\n" + tooLong + "\n[H]"},
        {"[G]\nA=1\0\xFF\n;\x81\xE4\n"s, write(L"G", L"B", L"ö"), "[G]\nA=1\0\xFF\n;\x81\xE4\nB=\xF6\n"s},
        {";\xE4\n", write(L"", L"B", L"\u0142"), ";ä\nB=\u0142\n"},
        {"\xE4=1\n\xC3\xA4=2\n", deleteKey(L"", L"ä"), "\xC3\x83\xC2\xA4=2\n"},  // else it would read as another name
        // What would begin with a mark once the line in front of it is gone gets another one.
        {"a=1\n\uFEFFb=2\n", deleteKey(L"", L"a"), "\uFEFF\uFEFFb=2\n"},
        {"\xFF\xFE[\0G\0]\0?"s, write(L"G", L"A", L"ä"), "\xFF\xFE[\0G\0]\0\n\0A\0=\0\xE4\0\n\0?"s},
        // Nothing but a new group, or an equal value, is no change; Flush writes what there is.
        {"a=1", [](Config& c) { c.SetGroup(L"new"); }, "a=1"},
        {"a=1",
         [](Config& c) {
             c.SetGroup(L"new");
             c.Flush();
         },
         "a=1\n[new]\n"},
        {"a = 1", [](Config& c) { c.WriteKey(L"A", L" 1"); }, "a = 1"},
        {"[A]\nx=1\n;c\n\n[B]\ny=1\n", deleteKey(L"A", L"X"), "[A]\n;c\n\n[B]\ny=1\n"},
        {"[A]\nx=1\nx=2\n", deleteKey(L"A", L"x"), "[A]\nx=2\n"},
        {"[A]\nx=1\n;c\n\n[B]\ny=1\n", [](Config& c) { c.DeleteGroup(L"a"); }, "[B]\ny=1\n"},
        {"x=1\n[A]\nx=2\n[B]\n",
         [](Config& c) {
             c.SetGroup(L"A");  // the cursor stands on its line
             c.DeleteCurItem();
             EXPECT_EQ(U(c.ReadKey(L"x")), "");
             c.SetGroup(L"");
             EXPECT_EQ(U(c.ReadKey(L"x")) + U(c.ReadKey(1)), "12");
         },
         "x=1\nx=2\n[B]\n"},
        {"x=1\n[A]\n",
         [](Config& c) {
             c.DeleteGroup(L"");
             c.DeleteGroup(L"none");
             c.DeleteCurItem();
         },
         "x=1\n[A]\n"},
        {"[A]\nx=1\ny=1\n",
         [](Config& c) {
             c.SetGroup(L"A");
             c.InsertKey(L"y", L"0");
             EXPECT_EQ(U(c.ReadKey(L"y")) + U(c.GetKeyName(0)), "0y");
             c.FindKey(L"x");
             c.InsertKey(L"z", L"2");
             c.FindKey(L"none");
             c.InsertKey(L"last", L"3");
         },
         "[A]\ny=0\nx=1\nz=2\ny=1\nlast=3\n"},
    };
    for (auto const& c : cases) EXPECT_EQ(this->After(c.before, c.change), c.after) << c.before.substr(0, 100);
}

TYPED_TEST(ConfigFast, ReadingAndItems) {
    this->Put("f", "[G]\na = 1 \nE=\n; c\n[H]\nx=y\n");
    TypeParam config(this->Path("f"));
    EXPECT_EQ(U(config.GetGroup()) + U(config.GetPathName()), U(this->Path("f")));
    config.SetGroup(L"g");
    EXPECT_EQ(U(config.ReadKey(L"A", L"d")) + U(config.ReadKey(L"E", L"d")) + U(config.ReadKey(L"no", L"d")), "1d");
    EXPECT_EQ(config.GetKeyCount() + 10 * config.GetGroupCount(), 22);
    auto* const first = config.FindKey(L"A");
    auto* const second = config.FindKey(1);
    ASSERT_TRUE(first && second && !config.FindKey(2) && !config.FindKey(L"x"));
    EXPECT_EQ(first->kind, 2);
    EXPECT_EQ(std::string(first->rawLine) + U(first->name) + U(first->value) + U(second->name), "a = 1 a1E");
    config.DeleteGroup(L"none");  // and what deletes nothing, without a cursor, frees no item
    config.DeleteCurItem();
    EXPECT_EQ(U(first->name) + U(second->name), "aE");
    config.DeleteGroup(L"G");
    EXPECT_EQ(U(config.GetGroup()) + U(config.GetGroup(0)) + U(config.GetGroup(1)), "H");
    for (auto const& [bytes, raw] : {std::pair("a=1\r\r\n"s, "a=1\r"s), std::pair("a=1\r"s, "a=1\r"s),
                                     std::pair("\xFF\xFE"
                                               "a\0=\0\x31\0\r\0\n\0"s,
                                               "a\0=\0\x31\0"s),
                                     std::pair("\xFE\xFF\0a\0=\r\r\0\r\0\n"s, "\0a\0=\r\r"s)}) {
        this->Put("f", bytes);
        TypeParam one(this->Path("f"));
        EXPECT_EQ(std::string(one.FindKey(L"a")->rawLine.View()), raw);
    }
}

TYPED_TEST(ConfigFast, UpdateMerges) {
    this->Put("o", "h=0\n[A]\nx=1\nX=9\nnew=2\n[B]\ny=3\n[a]\nx=7\n[Empty]\n");
    TypeParam other(this->Path("o"));
    EXPECT_EQ(this->After("[A]\nx=0\nkeep=1\n",
                          [&](TypeParam& config) {
                              config.Update(other);
                              config.Update(config);
                              EXPECT_EQ(U(config.GetGroup()), "Empty");
                          }),
              "h=0\n[A]\nx=1\nkeep=1\nnew=2\n[B]\ny=3\n[Empty]\n");
    this->Put("o", "h=0\n[]\nhidden=1\n");
    TypeParam hidden(this->Path("o"));
    EXPECT_EQ(this->After("", [&](TypeParam& config) { config.Update(hidden); }), "h=0\n");
}

TYPED_TEST(ConfigFast, WhatNoLineCanHoldIsRefused) {
    std::wstring const most(4094, L'x');
    struct {
        std::wstring group, key, value;
        bool isHeld = false;
    } const cases[] = {
        {L"G", L"A", L"a\nb"},       {L"G", L"A", L"a\rb"},     {L"G", L"A", L"a\0b"s},       {L"G", L"A=", L""},
        {L"G", L"[A", L""},          {L"G", L";A", L""},        {L"G", L" A", L""},           {L"G]", L"A", L""},
        {L"G\n", L"A", L""},         {L"G", L"A", most + L"x"}, {L"G", L"A", L"\xDC80"},      {L"G", L"A", most, true},
        {L"G", L"A]", L"=[;", true}, {L"", L"", L"1", true},    {L"G", L"\xFEFF\x0041", L""},
    };
    for (auto const& c : cases) {
        std::string const after = this->After("[G]\nB=1\n", [&](TypeParam& config) {
            config.SetGroup(c.group);
            if (c.isHeld)
                config.WriteKey(c.key, c.value);
            else
                test::Thrown<KxFileException>([&] { config.WriteKey(c.key, c.value); });
        });
        EXPECT_EQ(after == "[G]\nB=1\n", !c.isHeld) << U(c.key);
        if (!c.isHeld) continue;
        TypeParam again(this->Path("f"));
        again.SetGroup(c.group);
        EXPECT_EQ(U(again.ReadKey(c.key)), U(c.value));
    }
    std::string const many = this->After("", [](TypeParam& c) {  // names are found also where all of them came later
        for (int i = 0; i < 100; ++i) c.WriteKey(KxTools::String(i), KxTools::String(i * i));
        for (int i = 0; i < 100; ++i) EXPECT_EQ(U(c.ReadKey(KxString(std::to_wstring(i)))), std::to_string(i * i));
    });
    EXPECT_EQ(std::count(many.begin(), many.end(), '\n'), 100);
    // Becoming UTF-8 would make another line too long.
    std::string const umlauts = "\xE4=" + std::string(3000, '\xE4') + "\n";
    EXPECT_EQ(
        this->After(umlauts, [](TypeParam& c) { test::Thrown<KxFileException>([&] { c.WriteKey(L"k", L"\u0142"); }); }),
        umlauts);
}

TYPED_TEST(ConfigFast, FilesThatCannotBeReadAreNeverWritten) {
    ASSERT_EQ(::mkfifo(this->File("fifo").c_str(), 0600), 0);
    std::filesystem::create_directory(this->File("folder"));
    this->Put("large", "[G]\nA=1\n; more");
    std::size_t const former = std::exchange(KxxLimits().textFileBytes, 10);
    for (char const* name : {"fifo", "folder", "large"}) {
        TypeParam config(this->Path(name));
        config.SetGroup(L"G");
        EXPECT_EQ(U(config.ReadKey(L"A", L"d")), "d") << name;
        EXPECT_NE(test::Thrown<KxFileException>([&] { config.ProofRead(); }).find(name), std::string::npos);
        config.WriteKey(L"A", L"2");
        EXPECT_NE(test::Thrown<KxFileException>([&] { config.Flush(); }).find(name), std::string::npos);
    }
    TypeParam grows(this->Path("grows"));
    grows.WriteKey(L"A", L"more than that");
    EXPECT_NE(test::Thrown<KxFileException>([&] { grows.Flush(); }).find("grows"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(this->File("grows")));
    KxxLimits().textFileBytes = former;
    EXPECT_EQ(this->Get("large"), "[G]\nA=1\n; more");
    EXPECT_TRUE(std::filesystem::is_fifo(this->File("fifo")));

    // A write that fails keeps the old file and the change.
    this->Put("protected", "a=1");
    ASSERT_EQ(::chmod(this->File("protected").c_str(), 0444), 0);
    TypeParam config(this->Path("protected"));
    config.WriteKey(L"a", L"2");
    test::Thrown<KxFileException>([&] { config.Flush(); });
    EXPECT_EQ(this->Get("protected") + U(config.ReadKey(L"a")), "a=12");
    ASSERT_EQ(::chmod(this->File("protected").c_str(), 0644), 0);
    config.Flush();
    EXPECT_EQ(this->Get("protected"), "a=2");

    // Missing folders are made by one of the two, unless a file stands in the way.
    TypeParam deep(this->Path("new/deep/file")), blocked(this->Path("protected/file"));
    deep.ProofRead();
    deep.WriteKey(L"a", L"1");
    blocked.WriteKey(L"a", L"1");
    if (this->isMT)
        deep.Flush();
    else
        test::Thrown<KxFileException>([&] { deep.Flush(); });
    test::Thrown<KxFileException>([&] { blocked.Flush(); });
    EXPECT_EQ(this->Get("new/deep/file"), this->isMT ? "a=1\n" : "");
}

// A line too many would not be read again; what is there may change, and go.
TYPED_TEST(ConfigFast, LinesBeyondTheLimitStay) {
    std::size_t const former = std::exchange(KxxLimits().configLines, 2);
    EXPECT_EQ(this->After("a=1\nb=2\nc=3",
                          [](TypeParam& c) {
                              test::Thrown<KxFileException>([&] { c.WriteKey(L"c", L"4"); });
                              test::Thrown<KxFileException>([&] { c.InsertKey(L"c", L"4"); });
                              c.SetGroup(L"G");
                              test::Thrown<KxFileException>([&] { c.WriteKey(L"a", L"4"); });
                              c.SetGroup(L"");
                              c.WriteKey(L"a", L"5");
                              c.FindKey(L"b");
                              c.DeleteCurItem();
                              c.WriteKey(L"d", L"6");
                          }),
              "a=5\nd=6\nc=3");
    EXPECT_EQ(this->After("a=1\n",
                          [](TypeParam& c) {  // a group that is made for a key goes with it
                              KxxLimits().configLines = 1;
                              c.SetGroup(L"G");
                              KxxLimits().configLines = 2;
                              test::Thrown<KxFileException>([&] { c.WriteKey(L"b", L"2"); });
                              EXPECT_EQ(c.GetGroupCount(), 0);
                          }),
              "a=1\n");
    KxxLimits().configLines = former;
}

// A hundred thousand groups and keys, equal ones too, are found and deleted, in any order, without walks over all of
// them: with such a walk this test takes minutes.
TYPED_TEST(ConfigFast, ManyGroupsAndKeys) {
    constexpr int many = 100000;
    std::string bytes;
    for (int i = 0; i < many; ++i) bytes += "[G" + std::to_string(i) + "]\nk=" + std::to_string(i) + "\n";
    for (int i = 0; i < many; ++i) bytes += "k" + std::to_string(i % 50000) + "=" + std::to_string(i) + "\nsame=1\n";
    this->Put("f", bytes);
    TypeParam config(this->Path("f"));
    EXPECT_EQ(config.GetGroupCount(), 65535);
    auto const name = [](wchar_t letter, int i) { return KxString(letter + std::to_wstring(i)); };
    for (int i = 0; i < many; ++i) {
        config.SetGroup(name(L'g', i));
        ASSERT_EQ(U(config.ReadKey(L"K")), std::to_string(i));
    }
    for (int i = 0; i < 50000; ++i) ASSERT_EQ(U(config.ReadKey(name(L'k', i))), std::to_string(i));
    EXPECT_EQ(config.GetKeyCount(), 65535);
    for (int i = 0; i < many; ++i) {  // "same" and the second of each name go, by name, by index and from behind
        config.FindKey(i % 2 ? KxString(L"same") : name(L'k', i / 2));
        config.DeleteCurItem();
    }
    ASSERT_EQ(U(config.ReadKey(name(L'k', 49999))) + U(config.ReadKey(name(L'k', 7))), "9999950007");
    for (unsigned short i = 60000; i-- > 0;) {
        config.FindKey(i);
        config.DeleteCurItem();
    }
    while (config.FindKey(static_cast<unsigned short>(0))) config.DeleteCurItem();
    for (int i = 0; i < many / 2; ++i) {
        config.DeleteGroup(name(L'G', i));
        config.DeleteGroup(name(L'G', many - 1 - i));
        if (i % 10000 == 0) {
            ASSERT_EQ(U(config.GetGroup(0)), "G" + std::to_string(i + 1));
        }
    }
    EXPECT_EQ(config.GetGroupCount(), 0);
}

using ConfigFastLines = test::TempFolder;  // which both classes have beneath them

TEST_F(ConfigFastLines, AMillionKeys) {
    constexpr int many = 1000000;
    std::string bytes = "[G]\n";
    for (int i = 0; i < many; ++i) bytes += "k" + std::to_string(i) + "=" + std::to_string(i) + "\n";
    Put("f", bytes);
    KxConfigFast config(Path("f"));
    config.SetGroup(L"G");
    for (int i = 0; i < many; i += 111) ASSERT_EQ(U(config.ReadKey(L"K" + std::to_wstring(i))), std::to_string(i));
    EXPECT_EQ(U(config.ReadKey(L"k999999")), "999999");
    EXPECT_EQ(config.GetKeyCount(), 65535);
}

// Each allocation of a change fails once: nothing is changed then, and what is written later is whole.
TYPED_TEST(ConfigFast, WithoutMemoryNothingIsHalfDone) {
    using Config = TypeParam;
    struct {
        std::string before;
        std::function<void(Config&)> change;
        std::string after;
    } const cases[] = {
        {"; \xE4\n[G]\nA=1", [](Config& c) { c.WriteKey(L"A", L"\u0142"); }, "; ä\n[G]\nA=\u0142"},
        {"; \xE4\n[G]\nA=1", [](Config& c) { c.WriteKey(L"B", L"2"); }, "; \xE4\n[G]\nA=1\nB=2\n"},
        {"; \xE4\n[G]\nA=1", [](Config& c) { c.SetGroup(L"N"); }, "; \xE4\n[G]\nA=1\n[N]\n"},
        {"[G]\nA=1\n[H]\nA=2\n", [](Config& c) { c.DeleteGroup(L"G"); }, "[H]\nA=2\n"},
    };
    for (auto const& c : cases) {
        this->Put("f", c.before);
        Config config(this->Path("f"));
        config.SetGroup(L"G");
        std::string const read = this->Dump(config);
        test::FailEachAllocation([&] { c.change(config); },
                                 [&] {
                                     EXPECT_EQ(this->Dump(config), read);
                                     EXPECT_EQ(U(config.GetGroup()), "G");
                                 });
        test::FailEachAllocation([&] { config.Flush(); }, [&] { EXPECT_EQ(this->Get("f"), c.before); });
        EXPECT_EQ(this->Get("f"), c.after);
    }
    test::FailEachAllocation([&] { Config(this->Path("f")); }, [] {});
}

TYPED_TEST(ConfigFast, WhatWasFlushedIsNotWrittenAgain) {
    {
        TypeParam config(this->Path("f"));
        config.SetGroup(L"G");
        config.WriteKey(L"a", L"1");
        config.Flush();
        this->Put("f", "another program's");
    }
    EXPECT_EQ(this->Get("f"), "another program's");
}

TYPED_TEST(ConfigFast, ADestructorSaysWhatIsLost) {
    testing::internal::CaptureStderr();
    {
        TypeParam quiet(this->Path("f/none")), config(KxString(this->m_folder.wstring()));
        quiet.SetGroup(L"G");
        config.WriteKey(L"a", L"1");
    }
    std::string const told = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(told.starts_with("hbTools: " + this->m_folder.string() + ": ")) << told;
    EXPECT_NE(told.find("Is a directory"), told.npos) << told;
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1);
}

// Random changes: what look-ups find is the first of a name in the order told by index, and what is written reads the
// same again.
TYPED_TEST(ConfigFast, LookUpsAgreeWithTheOrder) {
    std::mt19937 random(7);
    auto const pick = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
    auto const name = [&](wchar_t first) {
        return KxString(std::wstring(1, static_cast<wchar_t>(first + pick(5) + (pick(2) ? L' ' : 0))));
    };
    for (int round = 0; round < 40; ++round) {
        this->Put("f", "A=0\n\n[B]\nA=1\n;\n[C]\n[b]\nB=2\n");
        TypeParam config(this->Path("f"));
        for (int step = 0; step < 60; ++step) {
            switch (pick(7)) {
                case 0: config.DeleteCurItem(); break;
                case 1:
                    if (pick(3) == 0) config.DeleteGroup(name(L'A'));
                    break;
                case 2: config.WriteKey(name(L'A'), name(L'0')); break;
                case 3: config.InsertKey(name(L'A'), name(L'0')); break;
                case 4: config.FindKey(static_cast<unsigned short>(pick(4))); break;
                default: config.SetGroup(pick(4) ? name(L'A') : KxString());
            }
        }
        config.WriteKey(L"end", KxTools::String(round));
        config.Flush();
        TypeParam again(this->Path("f"));
        ASSERT_EQ(this->Dump(config), this->Dump(again)) << round << this->Get("f");
        for (unsigned short group = 0; group < config.GetGroupCount(); ++group) {
            config.SetGroup(config.GetGroup(group));
            for (unsigned short i = 0; i < config.GetKeyCount(); ++i) {
                unsigned short first = 0;
                while (config.GetKeyName(first).ICompare(config.GetKeyName(i)) != 0) ++first;
                ASSERT_EQ(U(config.ReadKey(config.GetKeyName(i))), U(config.ReadKey(first)));
            }
        }
    }
}

TEST(ConfigFastThreads, EachThreadHasItsOwn) {
    std::string name = (std::filesystem::temp_directory_path() / "hbtools-mt-XXXXXX").string();
    int const descriptor = ::mkstemp(name.data());
    ASSERT_GE(descriptor, 0);
    KxString const path(name.c_str());
    auto const work = [&](wchar_t const* group) {
        for (int i = 1; i <= 50; ++i) {
            KxConfigMT config(path, 0);
            config.SetGroup(group, 0);
            config.Write(i, L"count");
            config.Flush();
            long read = 0;
            EXPECT_TRUE(config.Read(read, L"count") && read == i);
            // The other thread's group, if this object had it, is whole: what it wrote or what it read.
            for (unsigned short g = 0; g < config.GetGroupCount(); ++g) {
                config.SetGroup(config.GetGroup(g), 0);
                long const count = config.ReadLONG(L"count", KxTRange<long>(1, 50));
                EXPECT_TRUE(config.GetKeyCount() == 1 && count > 0) << count;
            }
        }
    };
    std::thread a(work, L"A"), b(work, L"B");
    a.join();
    b.join();
    KxConfigFastMT last(path);  // the last to flush had written its fiftieth
    bool isFifty = false;
    for (unsigned short g = 0; g < last.GetGroupCount(); ++g) {
        last.SetGroup(last.GetGroup(g));
        isFifty = isFifty || last.ReadKey(L"count") == L"50";
    }
    EXPECT_TRUE(isFifty);
    std::filesystem::remove(name);
}

}  // namespace
