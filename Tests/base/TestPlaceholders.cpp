// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syPlaceholders.h"

#include "Support.h"

namespace {

using namespace KxN;

TEST(Placeholders, SameArguments) {
    struct {
        bool isSame;
        char const *base, *translated;
    } const cases[] = {
        {true, "", "none"},
        {true, "%s: %d mm", "%s = %u"},
        {true, "%5.2lf", "%g"},
        {true, "%s %d", "%2$d %1$s"},
        {true, "%s %s", "%1$s %2$s, again %1$s"},
        {true, "100 %%", "%%100%%%%"},
        {true, "%*d", "%*i"},
        {true, "to 100 %.", "auf 100 %!"},
        {true, "%p", "%20p"},
        {true, "%s %c %x %o", "%S %C %X %i"},
        {false, "%p", "%d"},
        {false, "%s %d", "%d %s"},
        {false, "%s", ""},
        {false, "", "%s"},
        {false, "%d", "%lf"},
        {false, "%s %d", "%s %d %d"},
        {false, "%s %s", "%1$s %1$s"},
        {false, "%s %d", "%1$s %1$d"},
        {false, "%s", "%n%s"},
        {false, "%s", "%99"},
        {false, "%d", "%*d"},
        {false, "%c", "%s"},
        {false, "%s", "%1000$s"},
        {false, "%s", "%0$s"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(KxxSamePlaceholders(c.base, c.translated), c.isSame) << c.base << " / " << c.translated;
    EXPECT_EQ(KxxListPlaceholders("a %2$-5.1lf %% %n%s%"), "%2$-5.1lf, %%, %, %s, %");
    EXPECT_EQ(KxxPseudoTranslate("Ab %5.2f mm\n%s, %d"), "[Áƀ %5.2f ɱɱ\n%s, %d~~~~]");
    EXPECT_EQ(KxxPseudoTranslate(""), "[]");
    EXPECT_EQ(KxxPseudoTranslate("{@}"), "[{@}~~]");
    EXPECT_EQ(KxxPseudoTranslate("äöü"), "[äöü~~]");
}

TEST(Placeholders, ByPosition) {
    EXPECT_EQ(KxxFormat(L"%2$s %1$03d %s", 7, L"x"), L"x 007 7");
    EXPECT_EQ(KxxFormat(L"%3$s %0$s %1$d", 7, L"x"), L"%3$s %0$s 7");
    EXPECT_EQ(KxxFormat(L"%1$*d|%2$s", 4, 7), L"   4|7");
}

}  // namespace
