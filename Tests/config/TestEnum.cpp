// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/config/syEnum.h"

#include "../base/Support.h"

namespace {

using namespace KxN;
using test::U;
using Item = KxEnum::KxItem;

/// "value=label" of each item.
std::string List(KxEnum const& table) {
    std::string list;
    for (unsigned i = 0; i < table.GetCount(); ++i)
        list += std::to_string(table[i].GetValue()) + "=" + U(table[i].GetLabel()) + " ";
    return list;
}

TEST(Enum, WaysToFillIt) {
    KxEnum const items(Item(1, L"a"), Item(2, L"b"), Item(1, L"c"), Item(7, L"a"), Item(3, L""), Item(4, L"late"));
    EXPECT_EQ(List(items), "1=a 2=b 1=c ");
    KxEnum const labels(-1, "minus", "zero", "\xC3\xA4", nullptr, "late");
    EXPECT_EQ(List(labels), "-1=minus 0=zero 1=ä ");
    EXPECT_EQ(List(KxEnum(2147483647, "last", "first")), "2147483647=last -2147483648=first ");
    KxEnum sum(items);
    sum += labels;
    sum += sum;
    EXPECT_EQ(List(sum), "1=a 2=b 1=c -1=minus 0=zero 1=ä ");
    KxEnum& self = sum;
    EXPECT_EQ(List(sum = self), List(sum));
    EXPECT_EQ(List(sum = labels), List(labels));
    sum.Clear();
    EXPECT_EQ(List(sum += Item(5, L"minus")), "5=minus ");
    EXPECT_EQ(List(KxEnum(5, nullptr)) + List(KxEnum(5, nullptr, "late")) + List(KxEnum(Item(3, L""), Item(1, L"a"))),
              "");
    KxEnumBOOL more;
    more += Item(1, L"ja");
    EXPECT_EQ(List(KxEnumBOOL(more)), "1=TRUE 1=true 0=FALSE 0=false 1=ja ");
}

TEST(Enum, LookUps) {
    KxEnumBOOL const table;
    EXPECT_EQ(table.Exist(L"true") + 2 * table.Exist(L"True") + 4 * table.Exist(L""), 1);
    EXPECT_EQ(table.GetValue(L"TRUE") + 2 * table.GetValue(L"false") + 4 * table.GetValue(L"no"), 1);
    EXPECT_EQ(U(table.GetLabel(1, 1)) + U(table.GetLabel(1, 2)) + U(table.GetLabel(5)), "true");
    EXPECT_EQ(table.GetLabelCount(0) + 10 * table.GetLabelCount(2), 2u);
    EXPECT_EQ(U(table[4].GetLabel()), "");
}

TEST(Enum, Searches) {
    KxEnum const table(0, "Off", "offset", "OFF", "größe", "On", nullptr);
    struct {
        wchar_t const* text;
        int caseSensitive, partial;
        std::string found;
    } const cases[] = {
        {L"off", 0, 0, "Off OFF "},
        {L"OFF", 1, 0, "OFF "},
        {L"off", 0, 1, "Off offset OFF "},
        {L"off", 1, 1, "offset "},
        {L"O", 1, 1, "Off OFF On "},
        {L"GRÖß", 0, 1, "größe "},
        {L"", 0, 1, "Off offset OFF größe On "},
        {L"", 0, 0, ""},
    };
    for (auto const& c : cases) {
        std::string found;
        for (Item item = table.FindFirst(c.text, c.caseSensitive, c.partial); item.GetLabel().Len() > 0;
             item = table.FindNext())
            found += U(item.GetLabel()) + " ";
        EXPECT_EQ(found, c.found) << U(KxString(c.text));
        EXPECT_EQ(U(table.FindNext().GetLabel()), "");
    }
}

}  // namespace
