// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "../base/Support.h"
#include "hbtools/base/syEncryption.h"
#include "hbtools/config/syConfigFast.h"
#include "hbtools/config/syConfigMT.h"

namespace {

using namespace KxN;
using test::U;

class ConfigEncryption : public test::TempFolder {
protected:
    ConfigEncryption() {
        KxTools::EncryptionOn();
        KxTools::SetEncryptionPassword("pass");
    }
    ~ConfigEncryption() override {
        KxTools::EncryptionOff();
        KxTools::SetEncryptionPassword(CStringA());
    }
    std::string Value(wchar_t const* group, wchar_t const* key) const {
        KxConfigFast config(Path("f"));
        config.SetGroup(group);
        return U(config.ReadKey(key, L"(none)"));
    }
    /// "key=value" of all keys.
    std::string ReadAll() const {
        std::string all;
        KxConfigFast config(Path("f"));
        for (int group = -1; group < config.GetGroupCount(); ++group) {
            config.SetGroup(group < 0 ? KxString() : config.GetGroup(static_cast<unsigned short>(group)));
            for (unsigned short i = 0; i < config.GetKeyCount(); ++i)
                all += U(config.GetKeyName(i)) + "=" + U(config.ReadKey(i));
        }
        return all;
    }
    void Write(wchar_t const* group, wchar_t const* key, wchar_t const* value) const {
        KxConfigMT config(Path("f"), 1);
        config.SetGroup(group, 0);
        config.Write(value, key);
        config.Flush();
    }
};

TEST_F(ConfigEncryption, PlainFilesBecomeEncryptedLineByLine) {
    Put("f", "; c\r\n[G]\r\nA=1\r\nB=2\r\n");
    Write(L"g", L"a", L" x=\n;");  // more than a plain line could hold
    std::string const once = Get("f");
    EXPECT_TRUE(once.starts_with("; c\r\n[G]\r\n{hb1}") && once.ends_with("\r\nB=2\r\n")) << once;
    Write(L"G", L"A", L" x=\n;");  // equal: not even another nonce
    EXPECT_EQ(Get("f"), once);
    Write(L"G", L"A", L"3");
    EXPECT_EQ(Get("f").substr(0, Get("f").find('=')), once.substr(0, once.find('=')));  // the name looks the same
    Write(L"New", L"K", L"{hb1}");
    EXPECT_EQ(Value(L"g", L"a") + Value(L"G", L"B") + Value(L"NEW", L"k"), "32{hb1}");
    EXPECT_EQ(Get("f").find("New"), std::string::npos);

    KxTools::EncryptionOff();  // cipher texts are then texts like others, and stay
    std::string const before = Get("f");
    Write(L"G", L"B", L"4");
    EXPECT_EQ(Get("f").size(), before.size());
    KxTools::EncryptionOn();
    EXPECT_EQ(Value(L"g", L"a") + Value(L"G", L"B"), "34");
}

TEST_F(ConfigEncryption, WhatCannotBeDecryptedIsNamedAndKept) {
    Write(L"G", L"A", L"1");
    Write(L"G", L"B", L"2");
    Write(L"H", L"A", L"3");
    std::string const whole = Get("f");
    std::size_t const a = whole.find('\n') + 1, b = whole.find('\n', a) + 1, h = whole.find('\n', b) + 1;
    std::string const nameOfB = whole.substr(b, whole.find('=', b) - b), lineOfA = whole.substr(a, b - a);
    std::string changed = whole, damaged = whole;
    changed[whole.find('=', b) + 20] ^= 1;
    damaged[whole.find('=', b) + 1] = ' ';  // in the mark, where the syntax drops it
    struct {
        std::string bytes, place;
        bool isName = false;  // then nothing of the file can be read
    } const cases[] = {
        {changed, "'B' von Gruppe [G]"},                                                           // one bit
        {damaged, "'B' von Gruppe [G]"},                                                           // the mark
        {whole.substr(0, b) + nameOfB + lineOfA.substr(lineOfA.find('=')), "'B' von Gruppe [G]"},  // of another key
        {whole + lineOfA, "'A' von Gruppe [H]"},                                                   // of another group
        {whole.substr(0, h) + "[{hb1}x]\n", "'' von Gruppe [{hb1}x]", true},
        {"plain={hb1}\n", "'plain' von Gruppe []"},
    };
    for (auto const& c : cases) {
        Put("f", c.bytes);
        if (!c.isName) {
            KxConfigFast(Path("f")).Flush();
        }
        std::string const text = test::Thrown<KxEncryptionException>([&] { ReadAll(); });
        EXPECT_NE(text.find("Schlüssel " + c.place + " in der Datei '" + U(Path("f")) + "' kann nicht"), text.npos)
            << text;
        EXPECT_EQ(Get("f"), c.bytes);
        if (c.bytes.ends_with(whole.substr(h))) {  // all but that value
            EXPECT_EQ(Value(L"G", L"A") + Value(L"H", L"A"), "13");
            KxConfigFast config(Path("f"));
            config.SetGroup(L"G");
            EXPECT_EQ(U(config.FindKey(L"B")->value), "");
            Write(L"G", L"B", L"4");
            EXPECT_EQ(ReadAll(), "A=1B=4A=3");
            config.DeleteGroup(L"G");
            config.Flush();
            EXPECT_EQ(ReadAll(), "A=3");
        }
    }
    Put("f", whole);
    KxTools::SetEncryptionPassword("wrong");
    test::Thrown<KxEncryptionException>([&] { KxConfigMT(Path("f"), 0); });
    KxTools::SetEncryptionPassword(CStringA());
    test::Thrown<KxEncryptionException>([&] { Value(L"G", L"A"); });
    KxTools::SetEncryptionPassword("pass");
    Write(L"", L"plain", L"x");
    Put("f", "plain" + Get("f").substr(Get("f").find('=')));
    KxTools::SetEncryptionPassword(CStringA());
    EXPECT_NE(test::Thrown<KxEncryptionException>([&] { ReadAll(); }).find("kein Kennwort"), std::string::npos);
    // Without a password plain files are read, and nothing is written plainly in place of it.
    Put("f", "A=1\n");
    EXPECT_EQ(Value(L"", L"A"), "1");
    std::string const text = test::Thrown<KxEncryptionException>([&] { Write(L"", L"A", L"2"); });
    EXPECT_TRUE(text.find("\"A\"") != text.npos && text.find("kein Kennwort") != text.npos) << text;
    EXPECT_EQ(Get("f"), "A=1\n");
}

// Deleting a group line moves its keys: their values are bound to the group before then.
TEST_F(ConfigEncryption, MovedKeysStayReadable) {
    Write(L"G", L"A", L"1");
    Write(L"H", L"B", L"2");
    Write(L"H", L"C", L"3");
    std::string const before = Get("f");
    auto const deleteH = [&](KxConfigFast& config) {
        config.SetGroup(config.GetGroup(1));
        config.DeleteCurItem();
        config.Flush();
    };
    KxTools::EncryptionOff();  // nobody could bind them anew
    {
        KxConfigFast config(Path("f"));
        test::Thrown<KxEncryptionException>([&] { deleteH(config); });
        EXPECT_EQ(config.GetGroupCount(), 2);
    }
    KxTools::EncryptionOn();
    EXPECT_EQ(Get("f"), before);
    KxConfigFast config(Path("f"));
    deleteH(config);
    EXPECT_EQ(Value(L"G", L"A") + Value(L"G", L"B") + Value(L"G", L"C"), "123");
    EXPECT_EQ(ReadAll(), "A=1B=2C=3");
}

// A file has one password: what was read under one state is not written under another.
TEST_F(ConfigEncryption, TheStateOfReadingCounts) {
    enum State { Off, Pass, Other };
    auto const enter = [](State state) {
        state == Off ? KxTools::EncryptionOff() : KxTools::EncryptionOn();
        KxTools::SetEncryptionPassword(state == Other ? "other" : "pass");
    };
    Write(L"G", L"A", L"1");
    std::string const encrypted = Get("f");
    struct {
        State read, write;
        bool isPlain, isRefused;
    } const cases[] = {
        {Off, Pass, false, true}, {Pass, Off, false, true}, {Pass, Other, false, true}, {Pass, Pass, false, false},
        {Off, Off, false, false}, {Off, Pass, true, false}, {Pass, Off, true, false},   {Pass, Other, true, false},
    };
    for (auto const& c : cases) {
        Put("f", c.isPlain ? "[G]\nA=1\n" : encrypted);
        enter(c.read);
        KxConfigFast config(Path("f"));
        config.SetGroup(L"G");
        enter(c.write);
        auto const write = [&] { config.WriteKey(L"B", L"2"); };
        if (c.isRefused) {
            std::string const text = test::Thrown<KxEncryptionException>(write);
            EXPECT_NE(text.find(U(Path("f")) + "' enthält verschlüsselte Zeilen"), text.npos) << text;
            config.Flush();
            EXPECT_TRUE(Get("f").starts_with(encrypted));
        } else {
            write();
            config.Flush();
            EXPECT_EQ(Value(L"G", L"B"), "2");
        }
        if (c.read == Pass) {
            EXPECT_EQ(U(config.ReadKey(L"A")), "1") << "what was read stays readable";
        }
        if (c.isPlain && c.write != Off) {  // from its first encrypted line on the file has that password
            enter(c.write == Pass ? Other : Pass);
            test::Thrown<KxEncryptionException>([&] { config.WriteKey(L"C", L"3"); });
            config.SetGroup(L"new");  // is empty, and no line of the file
            EXPECT_EQ(config.GetGroupCount() * 10 + config.GetKeyCount(), 10);
        }
    }
}

}  // namespace
