// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syEncoding.h"

#include "Support.h"
#include "hbtools/base/syTextEncoding.h"

#include <random>
#include <thread>

namespace {

using namespace KxN;
using namespace std::string_literals;

TEST(Encoding, Utf8EachWayAndIllFormed) {
    struct {
        std::string bytes;
        std::wstring text;
        bool isValid;
    } const cases[] = {
        {"", L"", true},
        {"plain ASCII, longer than eight", L"plain ASCII, longer than eight", true},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", L"ä€\U0001F600", true},
        {"a\0b"s, L"a\0b"s, true},
        {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", L"\uD7FF\uE000\U0010FFFF", true},
        {"\xC3", L"\uFFFD", false},
        {"x\xE2\x82y", L"x\uFFFDy", false},  // cut sequence: one mark
        {"\xF0\x9F\x98", L"\uFFFD", false},
        {"\xC0\xAF", L"\uFFFD\uFFFD", false},            // overlong
        {"\xE0\x80\x80", L"\uFFFD\uFFFD\uFFFD", false},  // overlong
        {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD", false},  // surrogate
        {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD", false},
        {"\xFF\x80", L"\uFFFD\uFFFD", false},
        {"12345678\xE4", L"12345678\uFFFD", false},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(KxxWidenUtf8(c.bytes), c.text);
        EXPECT_EQ(KxxIsUtf8(c.bytes), c.isValid) << c.bytes;
        if (c.isValid) {
            EXPECT_EQ(KxxToUtf8(c.text), c.bytes);
        }
    }
    EXPECT_EQ(KxxToUtf8(std::wstring{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), wchar_t(-1)}),
              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Encoding, FileNamesSurvive) {
    std::mt19937 random(3);
    for (int i = 0; i < 20000; ++i) {
        std::string name(random() % 12, '\0');
        for (char& c : name) c = i % 2 ? static_cast<char>(random()) : "\xC3\xA4\xE2\x82\xACz\xF0\x9F"[random() % 8];
        ASSERT_EQ(KxxToSystemPath(KxxFromSystemPath(name)), name);
    }
    EXPECT_EQ(KxxFromSystemPath("\xC3\xA4\xFF"), (std::wstring{L'ä', static_cast<wchar_t>(0xDCFF)}));
    EXPECT_EQ(KxxToSystemPath(L"a\0b"s).size(), 3u);
    // Two different texts never give one name.
    EXPECT_NE(KxxToSystemPath(std::wstring(1, wchar_t(0xD800))), KxxToSystemPath(std::wstring(1, wchar_t(0xD801))));
    EXPECT_EQ(KxxToSystemPath(std::wstring(1, wchar_t(0x110000))), "\xEF\xBF\xBD");
}

TEST(Encoding, Utf16) {
    std::wstring const text = L"aä€\U0001F600"s + wchar_t(0xD83D) + L"x";
    std::u16string const units = u"aä€\xD83D\xDE00\xD83Dx";
    EXPECT_EQ(KxxToUtf16(text), units);
    EXPECT_EQ(KxxWidenUtf16(units), text);
    EXPECT_EQ(KxxWidenUtf16(u"\xDE00\xD83D"), (std::wstring{wchar_t(0xDE00), wchar_t(0xD83D)}));
    EXPECT_EQ(KxxWidenUtf16(u"\xD83D\xFF01"), (std::wstring{wchar_t(0xD83D), wchar_t(0xFF01)}));
    EXPECT_EQ(KxxToUtf16(std::wstring{wchar_t(0x110000), wchar_t(-1)}), u"\uFFFD\uFFFD");
}

TEST(Encoding, CodePages) {
    EXPECT_EQ(KxxWidenNarrow("\x80\x84\xE4\xDF\xFF"), L"€„äßÿ");
    EXPECT_EQ(KxxToNarrow(L"€„äßÿ\u0142\U0001F600\xFFFFFFFF"), "\x80\x84\xE4\xDF\xFF???");
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    EXPECT_EQ(KxxToNarrow(KxxWidenNarrow(all)), all);  // the five open bytes as well
    EXPECT_EQ(KxxWidenNarrow("\x81\x9D"), L"\x81\x9D");
    EXPECT_EQ(KxxWidenNarrow("\x80", 99), L"€");  // none is 1252

    EXPECT_EQ(KxxSetThreadCodePage(1250), 1252u);
    EXPECT_EQ(KxxToNarrow(L"\u0142\u0158"), "\xB3\xD8");
    EXPECT_EQ(KxxSetThreadCodePage(1251), 1250u);
    EXPECT_EQ(KxxWidenNarrow("\xC6"), L"\u0416");
    for (unsigned const unknown : {99u, 28590u, 28602u, 28607u})
        EXPECT_EQ(KxxSetThreadCodePage(unknown), 0u) << unknown;
    EXPECT_EQ(KxxGetThreadCodePage(), 1251u);
    std::thread([] { EXPECT_EQ(KxxGetThreadCodePage(), 1252u); }).join();
    for (unsigned page : {1250u, 1253u, 1254u, 1255u, 1256u, 1257u, 1258u, 28591u, 28592u, 28605u, 437u, 850u})
        EXPECT_NE(KxxSetThreadCodePage(page), 0u) << page;
    EXPECT_EQ(KxxToNarrow(L"ä"), "\x84");  // 850
    KxxSetThreadCodePage(1252);
}

TEST(Encoding, CaseIsOneToOne) {
    std::wstring const lower = L"aäöüßéÿµžжα1_\U00010428";
    std::wstring const upper = L"AÄÖÜßÉŸΜŽЖΑ1_\U00010400";
    for (std::size_t i = 0; i < lower.size(); ++i) EXPECT_EQ(KxxToUpper(lower[i]), upper[i]) << i;
    EXPECT_EQ(KxxToLower(L'Ä'), L'ä');
    EXPECT_EQ(KxxToLower(L'Ж'), L'ж');
    EXPECT_EQ(KxxToUpper(wchar_t(-1)), wchar_t(-1));
}

TEST(Encoding, TextFilesAreDetectedAndRebuilt) {
    struct {
        std::string bytes;
        KxTextEncoding encoding;
        std::wstring text;
    } const cases[] = {
        {"", KxTextEncoding::Utf8, L""},
        {"\xC3\xA4", KxTextEncoding::Utf8, L"ä"},
        {"\xE4", KxTextEncoding::Windows1252, L"ä"},
        {"\xEF\xBB\xBFx", KxTextEncoding::Utf8WithMark, L"x"},
        {"\xFF\xFE\xE4\x00\x3D\xD8\x00\xDE"s, KxTextEncoding::Utf16LE, L"ä\U0001F600"},
        {"\xFE\xFF\x00\xE4"s, KxTextEncoding::Utf16BE, L"ä"},
    };
    for (auto const& c : cases) {
        KxTextEncoding const encoding = KxxDetectEncoding(c.bytes);
        EXPECT_EQ(encoding, c.encoding);
        EXPECT_EQ(KxxDecodeText(std::string_view(c.bytes).substr(KxxMarkLength(encoding)), encoding), c.text);
        std::string again(KxxMarkOf(encoding));
        EXPECT_TRUE(KxxEncodeText(c.text, encoding, again));
        EXPECT_EQ(again, c.bytes);
    }
    std::string bytes = "kept";
    EXPECT_FALSE(KxxEncodeText(L"\u0142", KxTextEncoding::Windows1252, bytes));
    EXPECT_EQ(bytes, "kept");
}

}  // namespace
