// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syEncryption.h"

#include "Support.h"

#include <thread>

namespace {

using namespace KxN;
using namespace KxTools;
using namespace std::string_literals;
using test::U;

class Encryption : public testing::Test {
protected:
    Encryption() { EncryptionOn(); }
    ~Encryption() override {
        EncryptionOff();
        SetEncryptionPassword(CStringA());
    }
    /// True if decrypting is refused.
    static bool IsRefused(KxString const& text, unsigned char isName, CStringA const& password,
                          wchar_t const* context) {
        try {
            context ? KxxDecryptString(password, text, isName, KxString(context))
                    : KxxDecryptString(password, text, isName);
            return false;
        } catch (KxEncryptionException* exception) {
            EXPECT_NE(exception->GetMessage().Len(), 0);
            exception->Delete();
            return true;
        }
    }
};

TEST_F(Encryption, TextsComeBack) {
    for (std::wstring const& text : {L""s, L"a"s, L" [x]=;\r\n\t"s, L"ä€\U0001F600"s, L"\xDC80"s, L"{hb1}x"s, L"a\0b"s,
                                     std::wstring(100000, L'x')}) {
        for (auto const isName : std::initializer_list<unsigned char>{0, 1}) {
            KxTools::String const secret = KxxEncryptString("pass", text, isName);
            EXPECT_TRUE(KxxIsEncryptedString(secret.View()));
            EXPECT_EQ(secret.View().find_first_of(L"[]=; \t\r\n+/"), secret.View().npos);
            EXPECT_TRUE(KxxDecryptString("pass", secret, isName).View() == text);
            // Names are found again, values tell nothing by being equal.
            EXPECT_EQ(KxxEncryptString("pass", text, isName) == secret, isName != 0);
        }
    }
    EXPECT_EQ(U(KxxDecryptString("pass", L"plain", 0)), "plain");
    // What looks like a key and is too short is a password as any other; names are not bound to a place.
    CStringA const password("{hbkey1}AAAA");
    KxTools::String const secret = KxxEncryptString(password, L"text", 1, L"G\nK");
    EXPECT_TRUE(secret == KxxEncryptString(password, L"text", 1));
    EXPECT_EQ(U(KxxDecryptString(password, secret, 1)), "text");
    EncryptionOff();
    EXPECT_EQ(U(KxxEncryptString("", L"{hb1}x", 1)) + U(KxxDecryptString("", L"{hb1}x", 0)), "{hb1}x{hb1}x");
    EXPECT_EQ(U(KxxEncryptString("", L"x", 0, L"G\nK")), "x");
}

// A text that was made by an earlier program: the form of the bytes must never change.
TEST_F(Encryption, FormIsKept) {
    EXPECT_EQ(U(KxxEncryptString("pass", L"Scanner", 1)),
              "{hb1}A4RW14H7p1ujMfAmP64aKrvg45znkVPqA_2HSJd0eCx1MtEGjbpWktXn8qq1lqhDXA");
    EXPECT_EQ(
        U(KxxDecryptString("pass", L"{hb1}AgABAgMEBQYHCAkKCwwNDg8QERITFBUWF0o1C03v3H5LEddXnFd10bZmWeGPVg", 0, L"G\nK")),
        "COM1");
}

TEST_F(Encryption, NothingElseIsTaken) {
    KxString const name = KxxEncryptString("pass", L"text", 1);
    KxString const value = KxxEncryptString("pass", L"text", 0);
    KxString const bound = KxxEncryptString("pass", L"text", 0, L"G\nK");
    EXPECT_FALSE(IsRefused(value, 0, "pass", L"any"));
    EXPECT_FALSE(IsRefused(bound, 0, "pass", L"G\nK"));
    EXPECT_FALSE(IsRefused(name, 1, "pass", L"any"));
    EXPECT_TRUE(IsRefused(bound, 0, "pass", L"G\nL"));
    EXPECT_TRUE(IsRefused(bound, 0, "pass", nullptr));
    EXPECT_TRUE(IsRefused(value, 0, "Pass", nullptr));
    EXPECT_TRUE(IsRefused(value, 1, "pass", nullptr));
    EXPECT_TRUE(IsRefused(name, 0, "pass", nullptr));
    EXPECT_TRUE(IsRefused(value, 0, "", nullptr));
    for (int i = 0; i < value.Len(); ++i) {
        KxString changed = value;
        changed[i] = changed[i] == L'A' ? L'B' : L'A';
        EXPECT_TRUE(IsRefused(changed, 0, "pass", nullptr)) << i;
        EXPECT_EQ(IsRefused(value.Copy(0, i), 0, "pass", nullptr), i >= 5) << i;
    }
    // A mark with two changes, or without its first character; what is like one and short is plain.
    EXPECT_TRUE(IsRefused(L"(hb2}" + value.Copy(5, value.Len() - 5), 0, "", nullptr));
    EXPECT_TRUE(IsRefused(value.Copy(1, value.Len() - 1), 0, "", nullptr));
    std::wstring const least(54, L'-');
    EXPECT_TRUE(IsRefused(L"{hb2}" + least, 0, "", nullptr));
    EXPECT_FALSE(IsRefused(L"{hb2}" + least.substr(1), 0, "", nullptr));
    EXPECT_FALSE(IsRefused(L"(hb2)" + least, 0, "", nullptr));
    EXPECT_FALSE(IsRefused(L"{hb2}" + least + L"=", 0, "", nullptr));
    EXPECT_TRUE(IsRefused(value + L"A", 0, "pass", nullptr));
    EXPECT_TRUE(IsRefused(L"{hb1}ä", 0, "pass", nullptr));
    EXPECT_TRUE(IsRefused(std::wstring(L"{hb1}") + std::wstring(1 << 20, L'A'), 0, "pass", nullptr));
    EXPECT_NE(test::Thrown<KxEncryptionException>([] { KxxEncryptString("", L"x", 0); }).find("kein Kennwort"),
              std::string::npos);
}

TEST_F(Encryption, ThePasswordIsKeptAsItsKey) {
    EXPECT_TRUE(GetEncryptedEncryptionPassword().IsEmpty());
    SetEncryptionPassword("pass");
    CStringA const key = GetEncryptedEncryptionPassword();
    EXPECT_EQ(key.Find("pass"), -1);
    KxTools::String const secret = KxxEncryptString(key, L"text", 0);
    EXPECT_EQ(U(KxxDecryptString("pass", secret, 0)), "text");
    SetEncryptionPassword(key);
    EXPECT_TRUE(GetEncryptedEncryptionPassword() == key);
    // What only begins like a key is a password as any other.
    KxTools::String const own = KxxEncryptString("{hbkey1}!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!", L"text", 0);
    EXPECT_TRUE(IsRefused(own, 0, "{hbkey1}********************************", nullptr));
    EXPECT_FALSE(IsRefused(own, 0, "{hbkey1}!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!", nullptr));
    auto const work = [&] {
        for (int i = 0; i < 100; ++i) {
            SetEncryptionPassword(i % 2 ? "pass" : "other");
            EXPECT_EQ(U(KxxDecryptString("pass", secret, 0)), "text");
            EXPECT_FALSE(GetEncryptedEncryptionPassword().IsEmpty());
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
}

}  // namespace
