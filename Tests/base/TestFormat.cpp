// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syFormat.h"

#include "Support.h"
#include "hbtools/base/syVersion.h"

#include <bit>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

namespace {

using namespace KxN;
using test::U;

template <class... Arguments>
std::string Ours(std::string const& format, Arguments const&... arguments) {
    return KxxToUtf8(KxxFormat(KxxWidenUtf8(format), arguments...));
}

template <class... Arguments>
std::string Theirs(std::string const& format, Arguments... arguments) {
    std::string text(8192, '\0');
    text.resize(static_cast<std::size_t>(std::snprintf(text.data(), text.size(), format.c_str(), arguments...)));
    return text;
}

std::string RandomSpec(std::mt19937& random, std::string_view flags, unsigned mostWidth, unsigned mostPrecision) {
    std::string spec = "%";
    for (char const flag : flags)
        if (random() % 4 == 0) spec += flag;
    if (random() % 2) spec += std::to_string(1 + random() % mostWidth);
    if (random() % 2) {
        spec += '.';
        if (random() % 8) spec += std::to_string(random() % mostPrecision);
    }
    return spec;
}

TEST(Format, FloatsAsTheCLibraryPrintsThem) {
    std::mt19937 random(1);
    double const special[] = {0.0,       -0.0,  0.5,         1.5,    2.5,    1e15,     1e16,      999999.5,
                              9.9999995, 1e-5,  0.0001,      1e-300, 5e-324, DBL_MAX,  -DBL_MAX,  0.1,
                              1.0 / 3,   100.0, 123456789.0, 1e22,   1e23,   INFINITY, -INFINITY, NAN};
    for (int i = 0; i < 60000; ++i) {
        double value = special[random() % std::size(special)];
        if (i % 3 == 0) value = std::bit_cast<double>((std::uint64_t{random()} << 32) | random());
        if (i % 3 == 1)
            value = static_cast<double>(static_cast<std::int32_t>(random())) / (1 + static_cast<int>(random() % 1000));
        if (std::isnan(value)) value = NAN;
        std::string spec = RandomSpec(random, "-+ #0", 40, 40);
        if (random() % 2) spec += 'l';
        // %#g stands below: the C library drops its zeros where rounding carries into a new digit.
        spec += "fFeEgG"[random() % (spec.find('#') == spec.npos ? 6 : 4)];
        ASSERT_EQ(Ours(spec, value), Theirs(spec, value)) << spec << ' ' << value;
    }
    EXPECT_EQ(Ours("%#g %#.3g %#.3g %#G %#.0e %#g", 1.0, 1234567.0, 0.0001, 999999.5, 3.0, 0.0),
              "1.00000 1.23e+06 0.000100 1.00000E+06 3.e+00 0.00000");
    EXPECT_EQ(Ours("%#g", 1e-5), "1.00000e-05");
    for (double const value : {1.0, 0.1, -3.75, 1e300, 0.0})
        for (std::string const spec : {"%a", "%A", "%.3a", "%20a", "%-20.1a|", "%020a"})
            EXPECT_EQ(Ours(spec, value), Theirs(spec, value)) << spec << ' ' << value;
}

TEST(Format, IntegersAsTheCLibraryPrintsThem) {
    std::mt19937 random(2);
    int const special[] = {0, 1, -1, 7, -8, 255, INT_MAX, INT_MIN, 65535};
    for (int i = 0; i < 40000; ++i) {
        int const value =
            i % 2 ? special[random() % std::size(special)] : static_cast<int>(random() >> (random() % 32));
        std::string const spec = RandomSpec(random, "-+ #0", 30, 25);
        std::string const isSigned = spec + "di"[random() % 2];
        ASSERT_EQ(Ours(isSigned, value), Theirs(isSigned, value)) << isSigned << ' ' << value;
        std::string const bits = spec + "xXo"[random() % 3];
        ASSERT_EQ(Ours(bits, value), Theirs(bits, value)) << bits << ' ' << value;
        std::string const plain = spec + "u";
        unsigned const positive = static_cast<unsigned>(value);
        ASSERT_EQ(Ours(plain, positive), Theirs(plain, positive)) << plain << ' ' << positive;
    }
    EXPECT_EQ(Ours("%lld %llu %I64d %d", LLONG_MIN, ULLONG_MAX, LLONG_MAX, LLONG_MIN),
              "-9223372036854775808 18446744073709551615 9223372036854775807 -9223372036854775808");
    EXPECT_EQ(Ours("%jx %zx %tx %qx", -1LL, -1LL, -1LL, -1LL), Ours("%llx %llx %llx %llx", -1LL, -1LL, -1LL, -1LL));
    EXPECT_EQ(Ours("%lx %llx %x", -1L, -1LL, -4294967297LL), "ffffffff ffffffffffffffff fffffffeffffffff");
}

TEST(Format, TextsMisfitsAndHostileFormats) {
    KxString const umlaut(L"Größe");
    CString const framework(L"Rahmen");
    CStringA const narrow("eng");
    struct {
        std::string expected, found;
    } const cases[] = {
        {"[Größe]", Ours("[%s]", umlaut)},
        {"[  Größe|Größe  |Grö]", Ours("[%7s|%-7s|%.3s]", umlaut, umlaut, umlaut)},
        {"[  Gr]", Ours("[%*.*s]", 4, 2, umlaut)},
        {"[Gr  ]", Ours("[%*.*s]", -4, 2, umlaut)},
        {"[  7]", Ours("[%*d]", 3ULL, 7)},
        {"Rahmen eng Größe \xC3\xA4", Ours("%s %s %hs %ls", framework, narrow, "Größe", L"ä")},
        {"\xC3\xA4", Ours("%s", "\xE4")},  // no UTF-8, so the code page of the thread
        {"A|  ;|65|41", Ours("%c|%3c|%d|%x", 'A', L';', L'A', 'A')},
        {"A", Ours("%c", 65)},
        {"100 %", Ours("100 %%")},
        {"%I3d|5", Ours("%I3d|%I32d", 5)},
        {"(null) (null)", Ours("%s %s", static_cast<wchar_t const*>(nullptr), static_cast<char const*>(nullptr))},
        {"1 0 3.01", Ours("%d %d %s", true, false, KxVersion(301).GetText())},
        {"0x10 0x0", Ours("%p %p", reinterpret_cast<void*>(16), static_cast<void*>(nullptr))},
        // Arguments that do not fit are shown.
        {"4294967295 18446744073709551615", Ours("%d %d", UINT_MAX, ULLONG_MAX)},
        {"12 -3.5 0.1 1e+300", Ours("%s %s %s %s", 12, -3.5, 0.1, 1e300)},
        {"[   12]", Ours("[%5s]", 12)},
        {"2.5 -7", Ours("%d %lf", 2.5, -7)},
        {"-1", Ours("%u", -1)},
        {"text", Ours("%d", L"text")},
        {"text", Ours("%lf", "text")},
        // Hostile formats.
        {"%s", Ours("%s")},
        {"a %-08.3lf b", Ours("a %-08.3lf b")},
        {"1 %d %s", Ours("%d %d %s", 1)},
        {"%*d", Ours("%*d", 5)},
        {"%n1", Ours("%n%d", 1)},
        {"%y1%", Ours("%y%d%", 1)},
        {"%", Ours("%", 1)},
        {"%%d", Ours("%%% %d", 1)},
        {"%ll|%l|%I|%I6|%I63d|%I3", Ours("%ll|%l|%I|%I6|%I63d|%I3", 1)},
        {"%l", Ours("%l", 1)},
        {"%*d", Ours("%*d")},
        {"[7]", Ours("[%*d]", L"no number", 7)},
        {"7 8 2.500000", Ours("%I32d %hd %Lf", 7, 8, 2.5)},
        {"[ab|abc]", Ours("[%.2S|%.2C]", L"abc", L"abc")},
        {"A|-1|1114112", Ours("%C|%c|%c", 65, -1, 0x110000)},
        {"7 surplus arguments are dropped", Ours("%d surplus arguments are dropped", 7, 8, L"9")},
    };
    for (auto const& c : cases) EXPECT_EQ(c.found, c.expected);
    EXPECT_EQ(Ours("%99999999999999999999d", 1).size(), 4096u);
    EXPECT_EQ(Ours("%.99999999999999999999f", 1.0).size(), 2u + 512u);
    EXPECT_EQ(Ours("%*.*f", INT_MIN, INT_MAX, 1.0).size(), 4096u);
}

TEST(Format, SPrintfMayFormatItself) {
    KxString text(L"Scan");
    EXPECT_EQ(U(text.SPrintf(L"%s-%s %03d", text, text, 7)), "Scan-Scan 007");
    EXPECT_EQ(U(text.SPrintf(text, 1)), "Scan-Scan 007");
    EXPECT_EQ(U(text.SPrintf(nullptr)), "");
}

}  // namespace
