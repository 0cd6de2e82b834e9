// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "core/syCRC64Kernels.h"
#include "hbtools/base/syObject.h"
#include "hbtools/core/syAngle.h"
#include "hbtools/core/syCRC64.h"
#include "hbtools/core/syGuid.h"
#include "hbtools/core/syPList.h"
#include "hbtools/core/syRoundingException.h"
#include "hbtools/core/syValToString.h"

#include "../base/Support.h"

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace KxN;
using namespace std::string_literals;

namespace {

long long Sum(std::string const& text) {
    return KxCRC64().Compute(reinterpret_cast<unsigned char const*>(text.data()), static_cast<long>(text.size()));
}

/// The definition, bit by bit.
std::uint64_t Plain(std::uint64_t crc, unsigned char const* bytes, std::size_t count) {
    for (; count > 0; --count) {
        crc ^= std::uint64_t{*bytes++} << 56;
        for (int bit = 0; bit < 8; ++bit) crc = crc << 1 ^ (crc >> 63 ? 0x42F0E1EBA9EA3693 : 0);
    }
    return crc;
}

TEST(CRC64, HasThePublishedValues) {
    EXPECT_EQ(KxCRC64().GetCRC(), 0);
    EXPECT_EQ(Sum(""), 0);
    EXPECT_EQ(Sum("123456789"), 0x62EC59E3F1A4F00ALL);
    KxCRC64 parts;
    parts.Compute(reinterpret_cast<unsigned char const*>("1234"), 4);
    parts.Compute(nullptr, -1);
    EXPECT_EQ(parts.Compute(reinterpret_cast<unsigned char const*>("56789"), 5), 0x62EC59E3F1A4F00ALL);

    // Every value as the bytes that it has in a file.
    EXPECT_EQ((KxCRC64() << L"A\U0001F600").GetCRC(), Sum(std::string("A\0\x3d\xd8\x00\xde", 6)));
    EXPECT_EQ((KxCRC64() << reinterpret_cast<unsigned char const*>("abc")).GetCRC(), Sum("abc"));
    EXPECT_EQ((KxCRC64() << static_cast<unsigned char>('x')).GetCRC(), Sum("x"));
    EXPECT_EQ((KxCRC64() << 0x04030201).GetCRC(), Sum("\1\2\3\4"));
    EXPECT_EQ((KxCRC64() << -2L).GetCRC(), Sum("\xfe\xff\xff\xff"));
    EXPECT_EQ((KxCRC64() << 0xFFFFFFFFUL << 1U).GetCRC(), Sum(std::string("\xff\xff\xff\xff\1\0\0\0", 8)));
    EXPECT_EQ((KxCRC64() << 1LL).GetCRC(), Sum(std::string("\1\0\0\0\0\0\0\0", 8)));
    EXPECT_EQ((KxCRC64() << 1.0).GetCRC(), Sum(std::string("\0\0\0\0\0\0\xf0\x3f", 8)));
    KxCRC64 refusing;
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { refusing << 0x80000000L; }), "");
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { refusing << -0x80000001L; }), "");
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { refusing << 0x100000000UL; }), "");
    EXPECT_EQ(refusing.GetCRC(), 0);
}

TEST(CRC64, EveryFormGivesTheSame) {
    std::vector<unsigned char> bytes(12'500);
    std::mt19937 random(1);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    detail::CrcKernel const wide = detail::CrcByMultiplication();
    std::vector<std::size_t> counts{4095, 4096, 4097, 8191, 8192, 8197, 12'299};  // about the runs that go side by side
    for (std::size_t count = 0; count <= 700; ++count) counts.push_back(count);
    for (std::size_t const count : counts) {
        for (std::size_t const at : {std::size_t{0}, std::size_t{7}, count % 16}) {
            std::uint64_t const begin = random() * 0x100000001ULL, expected = Plain(begin, bytes.data() + at, count);
            ASSERT_EQ(detail::CrcByTables(begin, bytes.data() + at, count), expected) << count;
            if (wide) {
                ASSERT_EQ(wide(begin, bytes.data() + at, count), expected) << count;
            }
        }
    }
}

TEST(Guid, ReadsAndWritesItsForms) {
    EXPECT_EQ(test::U(KxGuid().ToString()), "00000000-0000-0000-0000-000000000000");
    KxGuid const guid(KxString(L"00112233-4455-6677-8899-AABBCCDDEEFF"));
    EXPECT_EQ(guid, KxGuid(0x00112233, 0x4455, 0x6677, 0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff));
    EXPECT_EQ(test::U(guid.ToString()), "00112233-4455-6677-8899-aabbccddeeff");
    KxTArray<unsigned char> const bytes = guid.ToByteArray();
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xaa\xbb\xcc\xdd\xee\xff"s.substr(0, 16));
    EXPECT_EQ(KxGuid(bytes), guid);
    KxGuid const a = KxGuid::NewGuid(), b = KxGuid::NewGuid();
    EXPECT_NE(a, b);
    EXPECT_NE(a, KxGuid());
    EXPECT_EQ(KxGuid(a.ToString()), a);
    for (wchar_t const* text : {L"", L"00112233-4455-6677-8899-AABBCCDDEEF", L"00112233-4455-6677-8899-AABBCCDDEEFFF",
                                L"{0112233-4455-6677-8899-AABBCCDDEEFF}", L"0011223344556677-8899-AABBCCDDEEFF---",
                                L"00112233-4455-6677-8899-AABBCCDDEEF\x0661"})
        EXPECT_NE(test::Thrown<KxException>([&] { KxGuid const refused{KxString(text)}; }), "") << test::U(text);
    EXPECT_NE(test::Thrown<KxException>([&] { KxGuid const refused{guid.ToString() + L'\0'}; }), "");
    EXPECT_EQ(test::Thrown<KxException>([] { KxGuid const refused{KxTArray<unsigned char>(15)}; }),
              "Ein Bezeichner hat 16 Byte, nicht 15");
}

static_assert(std::is_convertible_v<int, KxAngle> && !std::is_constructible_v<KxAngle, double>);  // 0.5 is no 0

TEST(Angle, KnowsThreeUnits) {
    KxAngle angle(180);
    EXPECT_EQ(angle.GetDegMin(), 10800);
    EXPECT_EQ(angle.GetDegSec(), 648000);
    EXPECT_EQ(angle.GetRad(), 180 * 0.017453292519943295);
    angle.SetGra(200);
    EXPECT_EQ(angle.GetDeg(), 180);
    EXPECT_EQ(angle.GetGra(), 180 * 1.1111111111111112);
    EXPECT_EQ(angle.GetGraMin(), angle.GetGra() * 100);
    EXPECT_EQ(angle.GetGraSec(), angle.GetGra() * 10000);
    angle.SetRad(1);
    EXPECT_EQ(angle.GetDeg(), 57.29577951308232);
}

TEST(ValToString, HasTheWidthOfTheType) {
    KxValToString texts;
    EXPECT_EQ(test::U(texts.Bin(static_cast<unsigned char>(5))), "00000101");
    EXPECT_EQ(test::U(texts.Bin(static_cast<unsigned short>(0x8001))), "1000000000000001");
    EXPECT_EQ(test::U(texts.Bin(0xFFFFFFFFUL)), std::string(32, '1'));
    EXPECT_EQ(test::U(texts.Hex(static_cast<unsigned char>(10), NOTATION_PREFIX)), "0x0A");
    EXPECT_EQ(test::U(texts.Hex(static_cast<unsigned short>(0xBEEF), NOTATION_SUFFIX)), "BEEFh");
    EXPECT_EQ(test::U(texts.Hex(1U, NOTATION_PLAIN)), "00000001");
    EXPECT_EQ(test::U(texts.Hex(0x12345678UL, NOTATION_PLAIN)), "12345678");
    EXPECT_NE(test::Thrown<CInvalidArgException>([&] { texts.Hex(0x100000000UL, NOTATION_PLAIN); }), "");
}

TEST(RoundingException, NamesValueAndType) {
    KxRoundingException exception(L"file", 3, 1e300, L"long");
    EXPECT_TRUE(test::U(exception.GetMessage())
                    .starts_with("Fehler beim Runden von 1e+300 in einen Wert des Typs 'long' aufgetreten"));
    EXPECT_EQ(exception.GetValueToRound(), 1e300);
}

int g_cleared = 0;
int CompareInts(void* a, void* b) {
    auto const x = *static_cast<int*>(a), y = *static_cast<int*>(b);
    return x < y ? -1 : x > y;
}

class List : public CPList {
public:
    List() : CPList(&CompareInts, [](void*) { ++g_cleared; }) {}
    using CPList::AddEntry, CPList::InsertEntry, CPList::RemoveEntry, CPList::RemoveByValue, CPList::GetEntryPtr;
    using CPList::FindBinary, CPList::Sort, CPList::Clear, CPList::DuplicateList, CPList::Compact;
    using CPList::NumEntries, CPList::SetCmpFunc, CPList::SetClrFunc;

    std::vector<int> Values() const {
        std::vector<int> values;
        void* entry;
        for (unsigned long i = 0; GetEntryPtr(i, &entry); ++i) values.push_back(*static_cast<int*>(entry));
        return values;
    }
};

TEST(PList, KeepsSortsAndFinds) {
    int numbers[] = {3, 1, 2, 1, 7};
    List list;
    for (int& number : numbers) EXPECT_EQ(list.AddEntry(&number), 1);
    EXPECT_EQ(list.InsertEntry(6, numbers), 0);
    EXPECT_EQ(list.InsertEntry(0, &numbers[4]), 1);
    EXPECT_EQ(list.Values(), (std::vector<int>{7, 3, 1, 2, 1, 7}));
    EXPECT_EQ(list.RemoveByValue(&numbers[4]), 1);
    EXPECT_EQ(list.RemoveEntry(5), 0);
    list.Sort();
    EXPECT_EQ(list.Values(), (std::vector<int>{1, 1, 2, 3, 7}));
    unsigned long index = 9;
    void* entry = nullptr;
    int wanted = 1;
    EXPECT_EQ(list.FindBinary(&wanted, &index, &entry), 1);
    EXPECT_EQ(index, 0u);
    wanted = 4;
    EXPECT_EQ(list.FindBinary(&wanted, &index, &entry), 0);
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(entry, nullptr);
    EXPECT_EQ(list.RemoveByValue(&wanted), 0);
    {
        List copy;
        copy.AddEntry(&wanted);
        EXPECT_EQ(list.DuplicateList(copy), 1);
        EXPECT_EQ(g_cleared, 1);
        EXPECT_EQ(copy.Values(), list.Values());
        EXPECT_EQ(list.DuplicateList(list) + copy.DuplicateList(copy), 2);
        EXPECT_EQ(copy.Values(), list.Values());
        for (int i = 0; i < 2; ++i) EXPECT_EQ(copy.Compact(0, 1000), 1);
        EXPECT_EQ(copy.Compact(1, 0), 1);
        EXPECT_EQ(copy.Compact(~0UL, 0), 0);
        EXPECT_EQ(copy.Compact(1, ~0UL / 8), 0);
        EXPECT_EQ(copy.Values(), list.Values());
    }
    EXPECT_EQ(g_cleared, 6);
    {
        List keeping, empty;
        for (int& number : numbers) keeping.AddEntry(&number);
        keeping.SetCmpFunc(nullptr);
        keeping.Sort();
        empty.Sort();
        EXPECT_EQ(keeping.Values(), (std::vector<int>{3, 1, 2, 1, 7}));
        keeping.SetClrFunc(nullptr);  // the entries are somebody else's
        EXPECT_EQ(empty.DuplicateList(keeping), 1);
        EXPECT_EQ(keeping.NumEntries(), 0u);
    }
    EXPECT_EQ(g_cleared, 6);
    // The first of many equals takes no walk along them.
    static int compared = 0;
    List equals;
    for (int i = 0; i < 1000; ++i) equals.AddEntry(&numbers[1]);
    equals.SetCmpFunc([](void*, void*) { return ++compared, 0; });
    EXPECT_EQ(equals.FindBinary(&wanted, &index, &entry), 1);
    EXPECT_EQ(index, 0u);
    EXPECT_LE(compared, 10);
    list.SetCmpFunc(nullptr);
    EXPECT_EQ(list.FindBinary(&numbers[0], &index, &entry), 0);
    list.Clear();
    EXPECT_EQ(list.NumEntries(), 0u);
    EXPECT_EQ(list.AddEntry(&numbers[1]) + list.RemoveEntry(0), 2);
    EXPECT_EQ(list.Compact(0, 0), 1);  // an empty list keeps no memory, and takes entries again
    EXPECT_EQ(list.AddEntry(&numbers[0]), 1);
    EXPECT_EQ(list.Values(), (std::vector<int>{3}));
}

/// Settles the order of its entries while they are compared, so that every range is halved as badly as can be. Throws when
/// its comparisons are used up.
struct Adversary {
    static constexpr int open = 1000;
    static int Compare(void* entry, void* value) {
        if (numLeft-- == 0) throw 1;
        int &a = *static_cast<int*>(entry), &b = *static_cast<int*>(value);
        if (a == open && b == open) (entry == candidate ? a : b) = numSettled++;
        if (a == open || b == open) candidate = a == open ? entry : value;
        return CompareInts(entry, value);
    }
    static inline int numLeft, numSettled;
    static inline void* candidate;
};

TEST(PList, LosesNothingWhenAFunctionThrows) {
    std::vector<int> numbers(300);
    bool isSorted = false;
    for (int allowed = 0; !isSorted; allowed += 61) {
        List list;
        list.SetCmpFunc(&Adversary::Compare);
        for (int& number : numbers) list.AddEntry(&(number = Adversary::open));
        Adversary::numLeft = allowed;
        Adversary::numSettled = 0;
        try {
            list.Sort();
            isSorted = true;
        } catch (int) {}
        std::set<void*> entries;
        void* entry = nullptr;
        for (unsigned long i = 0; list.GetEntryPtr(i, &entry); ++i) entries.insert(entry);
        EXPECT_EQ(entries.size(), numbers.size()) << allowed;
    }
    static int numCalls = 0;
    class Throwing : public CPList {
    public:
        Throwing() : CPList(nullptr, [](void*) { ++numCalls == 3 ? throw 1 : 0; }) {}
        using CPList::AddEntry, CPList::Clear, CPList::NumEntries;
    } list;
    for (int& number : numbers) list.AddEntry(&number);
    EXPECT_THROW(list.Clear(), int);
    EXPECT_EQ(list.NumEntries(), 297u);
    list.Clear();
    EXPECT_EQ(numCalls, 300);
}

unsigned long g_compared = 0;
TEST(PList, SortsAllOrdersInBoundedTime) {
    constexpr int count = 20000;
    std::vector<int> numbers(count);
    std::mt19937 random(3);
    for (int kind = 0; kind < 6; ++kind) {
        for (int i = 0; i < count; ++i) {
            int const organ = i < count / 2 ? i : count - i, few = static_cast<int>(random() % 3);
            int const values[] = {i, count - i, 7, organ, few, static_cast<int>(random() % count)};
            numbers[static_cast<std::size_t>(i)] = values[kind];
        }
        List list;
        list.SetCmpFunc([](void* a, void* b) { return ++g_compared, CompareInts(a, b); });
        for (int& number : numbers) list.AddEntry(&number);
        g_compared = 0;
        list.Sort();
        EXPECT_LT(g_compared, 60ul * count) << kind;
        std::vector<int> expected = numbers;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(list.Values(), expected) << kind;
    }
}

}  // namespace
