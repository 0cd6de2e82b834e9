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
    std::string changed = whole;
    changed[whole.find('=', b) + 20] ^= 1;
    struct {
        std::string bytes, place;
    } const cases[] = {
        {changed, "'B' von Gruppe [G]"},                                                           // one bit
        {whole.substr(0, b) + nameOfB + lineOfA.substr(lineOfA.find('=')), "'B' von Gruppe [G]"},  // of another key
        {whole + lineOfA, "'A' von Gruppe [H]"},                                                   // of another group
        {whole.substr(0, h) + "[{hb1}x]\n", "'' von Gruppe [{hb1}x]"},
        {"plain={hb1}\n", "'plain' von Gruppe []"},
    };
    for (auto const& c : cases) {
        Put("f", c.bytes);
        std::string const text = test::Thrown<KxEncryptionException>([&] { Value(L"G", L"A"); });
        EXPECT_NE(text.find("Schlüssel " + c.place + " in der Datei '" + U(Path("f")) + "' kann nicht"), text.npos)
            << text;
        EXPECT_EQ(Get("f"), c.bytes);
    }
    Put("f", whole);
    KxTools::SetEncryptionPassword("wrong");
    test::Thrown<KxEncryptionException>([&] { KxConfigMT(Path("f"), 0); });
    KxTools::SetEncryptionPassword(CStringA());
    test::Thrown<KxEncryptionException>([&] { Value(L"G", L"A"); });
    // Without a password plain files are read, and nothing is written plainly in place of it.
    Put("f", "A=1\n");
    EXPECT_EQ(Value(L"", L"A"), "1");
    test::Thrown<KxEncryptionException>([&] { Write(L"", L"A", L"2"); });
    EXPECT_EQ(Get("f"), "A=1\n");
}

}  // namespace
