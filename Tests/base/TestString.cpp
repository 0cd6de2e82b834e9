// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syString.h"

#include "Support.h"
#include "hbtools/base/syModule.h"
#include "hbtools/base/syResource.h"
#include "hbtools/base/syVersion.h"

#include <cfloat>
#include <clocale>

namespace {

using namespace KxN;
using test::U;

TEST(String, NumbersFromText) {
    struct {
        wchar_t const* text;
        long asLong;
        unsigned long asUnsigned;
        short asShort;
        double asDouble;
        int isInt, isFloat;
    } const cases[] = {
        {L"", 0, 0, 0, 0, 0, 0},
        {L"12", 12, 12, 12, 12, 1, 1},
        {L"+12", 12, 12, 12, 12, 1, 1},
        {L"-12", -12, 0, -12, -12, 1, 1},
        {L" 12", 12, 12, 12, 12, 0, 0},
        {L"\t 12", 12, 12, 12, 12, 0, 0},
        {L"12 ", 12, 12, 12, 12, 0, 0},
        {L"12abc", 12, 12, 12, 12, 0, 0},
        {L"12.75", 12, 12, 12, 12.75, 0, 1},
        {L"1,5", 1, 1, 1, 1, 0, 0},
        {L".5", 0, 0, 0, 0.5, 0, 1},
        {L"5.", 5, 5, 5, 5, 0, 1},
        {L".", 0, 0, 0, 0, 0, 0},
        {L"-", 0, 0, 0, 0, 0, 0},
        {L"+-1", 0, 0, 0, 0, 0, 0},
        {L"1e3", 1, 1, 1, 1000, 0, 1},
        {L"1e+3", 1, 1, 1, 1000, 0, 1},
        {L"1e+999", 1, 1, 1, DBL_MAX, 0, 1},
        {L"-1.5E-2", -1, 0, -1, -0.015, 0, 1},
        {L"1e", 1, 1, 1, 1, 0, 0},
        {L"1e+", 1, 1, 1, 1, 0, 0},
        {L"nan", 0, 0, 0, 0, 0, 0},
        {L"inf", 0, 0, 0, 0, 0, 0},
        {L"0x10", 0, 0, 0, 0, 0, 0},
        {L"\u0661", 0, 0, 0, 0, 0, 0},
        {L"2147483647", 2147483647, 2147483647, 32767, 2147483647.0, 1, 1},
        {L"2147483648", 2147483647, 2147483648, 32767, 2147483648.0, 1, 1},
        {L"-2147483648", -2147483648, 0, -32768, -2147483648.0, 1, 1},
        {L"-2147483649", -2147483648, 0, -32768, -2147483649.0, 1, 1},
        {L"4294967296", 2147483647, 4294967295, 32767, 4294967296.0, 1, 1},
        {L"99999999999999999999999999", 2147483647, 4294967295, 32767, 1e26, 1, 1},
        {L"-99999999999999999999999999", -2147483648, 0, -32768, -1e26, 1, 1},
        {L"1e999", 1, 1, 1, DBL_MAX, 0, 1},
        {L"-1e999", -1, 0, -1, -DBL_MAX, 0, 1},
        {L"1e-999", 1, 1, 1, 0, 0, 1},
        {L"0.00000001e999999999999999999999", 0, 0, 0, DBL_MAX, 0, 1},
    };
    for (auto const& c : cases) {
        KxString const text(c.text);
        EXPECT_EQ(static_cast<long>(text), c.asLong) << U(text);
        EXPECT_EQ(static_cast<unsigned long>(text), c.asUnsigned) << U(text);
        EXPECT_EQ(static_cast<short>(text), c.asShort) << U(text);
        EXPECT_EQ(static_cast<double>(text), c.asDouble) << U(text);
        EXPECT_EQ(text.IsIntNum(), c.isInt) << U(text);
        EXPECT_EQ(text.IsFloatNum(), c.isFloat) << U(text);
    }
    EXPECT_EQ(static_cast<float>(KxString(L"1e39")), FLT_MAX);
    EXPECT_EQ(static_cast<float>(KxString(L"0.1")), 0.1f);
    EXPECT_EQ(static_cast<double>(KxString(std::wstring(100000, L'9'))), DBL_MAX);
}

TEST(String, NumbersToText) {
    EXPECT_EQ(U(KxTools::String(4294967295u)), "4294967295");
    EXPECT_EQ(U(KxTools::String(18446744073709551615ul)), "18446744073709551615");
    EXPECT_EQ(U(KxTools::String(static_cast<short>(-32768))), "-32768");
    KxString text(L"n");
    text += 5;
    text += 6ul;
    text += KxString(L"x");
    EXPECT_EQ(U(text) + U(KxVersion(301).GetText()), "n56x3.01");
}

TEST(String, TokensPartsAndSearch) {
    struct {
        wchar_t const* text;
        int count;
        std::string first, second, last;
    } const cases[] = {
        {L"", 0, "", "", ""},  {L"a", 1, "a", "", "a"},    {L"a;b", 2, "a", "b", "b"},
        {L";", 2, "", "", ""}, {L"a;;c", 3, "a", "", "c"}, {L"a;", 2, "a", "", ""},
    };
    for (auto const& c : cases) {
        KxString const text(c.text);
        EXPECT_EQ(text.GetTokenCount(L';'), c.count);
        EXPECT_EQ(U(text.GetToken(0, L';')), c.first);
        EXPECT_EQ(U(text.GetToken(1, L';')), c.second);
        EXPECT_EQ(U(text.GetToken(text.GetTokenCount(L';') - 1, L';')), c.last);
        EXPECT_EQ(text.GetToken(-1, L';').Len() + text.GetToken(99, L';').Len(), 0);
    }
    KxString text(L"0123456789");
    EXPECT_EQ(U(text.Copy(3, 4)), "3456");
    EXPECT_EQ(U(text.Copy(8, KxTools::WholeText)), "89");
    EXPECT_EQ(U(text.Copy(99, 1)) + U(text.Copy(-5, 2)) + U(text.Copy(2, -1)), "01");
    EXPECT_EQ(U(text.Cut(2, 3)), "234");
    EXPECT_EQ(U(text), "0156789");
    EXPECT_EQ(text.Search(L"56", 0), 2);
    EXPECT_EQ(text.Search(L"56", 3), -1);
    EXPECT_EQ(text.Search(L"", 0), -1);
    EXPECT_EQ(text.Search(L'9', -7), 6);
    EXPECT_EQ(text.Search(L'9', 99), -1);
}

TEST(String, ChangesInPlace) {
    KxString text(L"abcabc");
    EXPECT_EQ(text.SearchAndReplace(L"bc", text, 0), 2);  // itself
    EXPECT_EQ(U(text), "aabcabcaabcabc");
    EXPECT_EQ(text.SearchAndReplace(text.GetStr() + 12, KxString(L"-"), 3), 3);
    EXPECT_EQ(U(text), "aabca-aa-a-");
    for (wchar_t const* none : {L"", L"z", static_cast<wchar_t const*>(nullptr)})
        EXPECT_EQ(text.SearchAndReplace(none, KxString(L"x"), 0), 0);
    EXPECT_EQ(U(text), "aabca-aa-a-");
    EXPECT_EQ(text.SearchAndReplace(L'-', L'+', 6), 2);
    EXPECT_EQ(U(text), "aabca-aa+a+");
    text = L"..a..";
    EXPECT_EQ(U(text.EraseLeadingChars(L'.')), "a..");
    EXPECT_EQ(U(text.EraseTrailingChars(L'.')), "a");
    EXPECT_EQ(U(text.EraseLeadingChars(L'a')), "");
    text = L"abcdef";
    EXPECT_EQ(U(text.Insert(text, 3, 1, 2)), "abcbcdef");
    EXPECT_EQ(U(text.Insert(text.GetStr() + 5, 99)), "abcbcdefdef");
    EXPECT_EQ(U(text.Erase(2, 99)), "ab");
    EXPECT_EQ(U(text.Fill(3, L'x')), "xxx");
    EXPECT_EQ(U(text.Fill(-3, L'x')), "");
    text = L"a\r\nb\nc\rd\r\r\n";
    EXPECT_EQ(U(text.ConvertLineEnd(KxTools::LineEndLF)), "a\nb\nc\nd\n\n");
    EXPECT_EQ(U(text.ConvertLineEnd(KxTools::LineEndCR)), "a\rb\rc\rd\r\r");
    EXPECT_EQ(U(text.ConvertLineEnd(KxTools::LineEndCRLF)), "a\r\nb\r\nc\r\nd\r\n\r\n");
    text = text.GetStr() + 3;  // a part of itself
    EXPECT_EQ(text[0u], L'b');
    KxString& self = text;
    text = self;
    text += self;
    EXPECT_EQ(text.GetTokenCount(L'b'), 3);
    EXPECT_EQ(U(KxString(L"straße ä").Upper()), "STRAßE Ä");
}

TEST(String, Comparison) {
    KxString const a(L"Äpfel"), b(L"äPFEL"), c(L"Äpf");
    EXPECT_EQ(a.ICompare(b), 0);
    EXPECT_NE(a.Compare(b), 0);
    EXPECT_GT(a.Compare(c), 0);
    EXPECT_LT(c.Compare(a), 0);
    EXPECT_EQ(a.Compare(c, 3), 0);
    EXPECT_EQ(a.ICompare(L"ÄPF", 3), 0);
    EXPECT_EQ(a.Compare(c, 0), 0);
    EXPECT_EQ(a.ICompare(L"x", 0) + a.ICompare(L"x", -3), 0);
    EXPECT_GT(a.ICompare(static_cast<wchar_t const*>(nullptr)), 0);
    EXPECT_TRUE(a == L"Äpfel" && L"Äpfel" == a && a != b && !(a < a) && a == KxTools::String(L"Äpfel"));
    EXPECT_TRUE(KxString(L"\U0001F600") > KxString(L"\uFFFD"));
}

TEST(String, ConversionsBetweenTheKinds) {
    KxString const text(L"Maß");
    CString const framework = text;
    EXPECT_EQ(CStringA(text).View(), "Ma\xDF");
    KxString assigned;
    assigned = framework;
    assigned = L"<" + assigned + text + KxTools::String(1);
    EXPECT_EQ(U(assigned), "<MaßMaß1");
    EXPECT_EQ(U(KxString("Ma\xDF")) + U(KxString("Ma\xC3\x9F")), "MaßMaß");
    EXPECT_EQ(KxString(static_cast<char const*>(nullptr)).Len(), 0);
    EXPECT_EQ(KxString(static_cast<wchar_t const*>(nullptr)).Len(), 0);
    EXPECT_STREQ(static_cast<wchar_t const*>(KxString()), L"");
    CString const abc(L"abc");
    EXPECT_TRUE(abc.Right(2) == L"bc" && abc.Right(9) == L"abc" && abc.Mid(1, 1) == L"b" && abc.Left(9) == L"abc" &&
                abc.ReverseFind(L'c') == 2);
    EXPECT_TRUE(CString(L" \t x y\r\n").Trim() == L"x y");
    EXPECT_EQ(CStringA("\xE4").CompareNoCase(CStringA("\xC4")), 0);
    EXPECT_TRUE(CStringA("\xB5").MakeUpper() == "\xB5");  // the code page has no such letter
}

template <class C>
CStringT<C> Both(char const* text) {
    return CStringT<C>(KxTools::String(KxString(text)));
}
template <class C>
void CheckFrameworkString() {
    CStringT<C> text = Both<C>(
        " \tStra\xC3\x9F"
        "e \xC3\xA4\r\n");
    EXPECT_EQ(text.TrimLeft().Find(Both<C>("ra")), 2);
    EXPECT_EQ(text.TrimRight().GetLength(), 8);
    EXPECT_EQ(text.Find(C('a'), 4), -1);
    EXPECT_EQ(text.Find(Both<C>("zz"), -5), -1);
    EXPECT_TRUE(text.MakeUpper() == Both<C>("STRA\xC3\x9F"
                                            "E \xC3\x84"));
    EXPECT_EQ(text.CompareNoCase(Both<C>("stra\xC3\x9F"
                                         "e \xC3\xA4")),
              0);
    EXPECT_TRUE(text.MakeLower() == Both<C>("stra\xC3\x9F"
                                            "e \xC3\xA4") &&
                text < Both<C>("t"));
    EXPECT_TRUE(text.Mid(-1, 3) == Both<C>("str") && text.Mid(99).IsEmpty() && text.Left(-1).IsEmpty());
    text.Empty();
    text += C('x');
    text += static_cast<C const*>(nullptr);
    text += CStringT<C>(C('z'), 1).GetString();
    EXPECT_FALSE(text == static_cast<C const*>(nullptr));
    EXPECT_TRUE(text + CStringT<C>(C('y'), 2) == Both<C>("xzyy") && CStringT<C>(text.GetString(), -1).IsEmpty());
}

TEST(String, FrameworkStringsOfBothWidths) {
    CheckFrameworkString<wchar_t>();
    CheckFrameworkString<char>();
    EXPECT_EQ(U(KxString(L"a") + KxTools::String(L"b") + L"c" + static_cast<wchar_t const*>(nullptr)), "abc");
    KxTools::String const plain(L"a");
    EXPECT_EQ(U(KxString(plain + KxTools::String(L"b"))) + U(plain + L"c") + U(plain + KxString(L"d")), "abacad");
    wchar_t const* const none = nullptr;
    EXPECT_EQ(U(plain + none) + U(none + plain) + U(none + KxString(plain)), "aaa");
    KxTools::String text(L"x");
    EXPECT_EQ(U(text.Insert(none, 0)), "x");
    EXPECT_TRUE(text != none && text > none);
    text = none;
    EXPECT_TRUE(text == none && text.Len() == 0);
}

TEST(Resources, TextsByNumber) {
    EXPECT_EQ(U(KxString(KxResId(6002))), "Die Dateigröße überschreitet das erlaubte Maximum von 4 GBytes");
    KxString text;
    text.SPrintf(KxString(KxResId(6151)), L"class KxN::KxNullTag", 7, L"a.scan");
    EXPECT_EQ(U(text),
              "Das benötigte Tag vom Typ \"class KxN::KxNullTag\" ( ID = 7 ) existiert nicht in der Datei \"a.scan\"");
    EXPECT_EQ(KxString(KxResId(1)).Len() + KxString(KxResId(65535)).Len(), 0);
    EXPECT_EQ(KxString(KxResId(6002, nullptr)).Len(), 0);
    static constexpr SxStringResource texts[] = {{1, "eins"}, {65535, "letzter"}};
    CDynLinkLibrary module(texts);
    EXPECT_EQ(U(KxString(KxResId(1, &module))) + U(KxString(KxResId(65535, &module))), "einsletzter");

    // On the stack there is no module, and so no text.
    AFX_EXTENSION_MODULE nowhere;
    CDynLinkLibrary lost(nowhere);
    EXPECT_EQ(lost.GetModule(), nullptr);
    EXPECT_EQ(KxString(KxResId(1, &lost)).Len(), 0);
    // The module and that of its texts may be given; the library itself stays in the list.
    HINSTANCE const own = g_pHbToolsModule->GetModule();
    AFX_EXTENSION_MODULE given;
    EXPECT_EQ(AfxInitExtensionModule(given, own), 1);
    given.hResource = KxxGetProgram();
    CDynLinkLibrary const split(given);
    EXPECT_TRUE(split.GetModule() == own && split.GetResourceHandle() == KxxGetProgram());
    AfxTermExtensionModule(given);
    EXPECT_GT(KxString(KxResId(6002)).Len(), 0);

    // What a module takes out of the list stays its owner's, and is not in the way when it goes.
    static AFX_EXTENSION_MODULE state, other;  // one on the stack has no module
    CDynLinkLibrary const first(state), second(state), kept(other);
    auto const listed = [&] {
        int found = 0;
        CDynLinkLibrary::ForEach([&](CDynLinkLibrary& library) {
            found += (&library == &first ? 1 : 0) + (&library == &second ? 10 : 0) + (&library == &kept ? 100 : 0);
        });
        return found;
    };
    EXPECT_EQ(listed(), 111);
    AFX_EXTENSION_MODULE empty;
    AfxTermExtensionModule(empty);
    EXPECT_EQ(listed(), 111);
    AfxTermExtensionModule(state);
    EXPECT_EQ(listed(), 0);  // all three are of this program
    EXPECT_EQ(AfxInitExtensionModule(state), 1);
    EXPECT_NE(state.bInitialized, 0);
    AfxTermExtensionModule(state);
    EXPECT_EQ(state.bInitialized, 0);
}

}  // namespace

TEST(String, CharactersAreNoNumbersAndComparisonsTakeAnyText) {
    KxString text(L"a");
    text += L'x';
    EXPECT_TRUE(text == L"ax" && text + L'y' == L"axy" && text < L"b" && text == CString(L"ax"));
    text = L'z';
    EXPECT_TRUE(text == L"z");
}
