// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "Faults.h"
#include "hbtools/core/syMap.h"

#include <gtest/gtest.h>

#include <random>
#include <unordered_map>
#include <vector>

using namespace KxN;
using namespace KxN::tests;

namespace {

KxTIntegerHashFunction<int> const g_intHash;

template <class Map>
std::string Order(Map const& map) {
    std::string text;
    for (auto const& element : map) text += std::to_string(element.key) + "=" + std::to_string(element.value) + " ";
    return text;
}

KxTMap<int, int> Sample(KxTHashFunction<int> const* hash, int buckets) {
    KxTMap<int, int> map(hash, buckets);
    for (int const key : {3, 1, 4, 11, 15, 92, 65}) map[key] = key * 10;
    return map;
}

TEST(KxTMap, IteratesBucketByBucketTheLaterFirst) {
    EXPECT_EQ(Order(Sample(&g_intHash, 10)), "11=110 1=10 92=920 3=30 4=40 65=650 15=150 ");
    EXPECT_EQ(Order(Sample(nullptr, 10)), "65=650 92=920 15=150 11=110 4=40 1=10 3=30 ");
    EXPECT_EQ(Order(Sample(&g_intHash, 0)), "65=650 92=920 15=150 11=110 4=40 1=10 3=30 ");
    KxTMap<int, int> negative(&g_intHash, 10);
    negative[-1] = 1, negative[4] = 2, negative[6] = 3;  // 4294967295 % 10 is 5
    EXPECT_EQ(Order(negative), "4=2 -1=1 6=3 ");
}

TEST(KxTMap, ACopyIsOneReversedChainAndAssignmentKeepsTheBuckets) {
    KxTMap<int, int> const map = Sample(&g_intHash, 10);
    KxTMap<int, int> const copy(map);
    EXPECT_EQ(copy.BucketCount(), 1);
    EXPECT_EQ(Order(copy), "15=150 65=650 4=40 3=30 92=920 1=10 11=110 ");
    EXPECT_EQ(copy.Find(92)->value, 920);
    KxTMap<int, int> assigned(&g_intHash, 4);
    assigned[77] = 1;
    assigned = map;
    EXPECT_EQ(assigned.BucketCount(), 4);
    EXPECT_EQ(Order(assigned), "4=40 92=920 65=650 1=10 15=150 3=30 11=110 ");
    KxTMap<int, int> const& same = assigned;
    assigned = same;
    EXPECT_EQ(same.Count(), 7);
    KxTMap<int, int> moved(std::move(assigned));
    EXPECT_EQ(moved.BucketCount(), 4);
    assigned[5] = 6;
    EXPECT_EQ(Order(assigned), "5=6 ");
}

TEST(KxTMap, FindsInsertsAndRemoves) {
    KxTMap<int, int*> pointers(&g_intHash, 3);
    EXPECT_EQ(pointers[5], nullptr);
    for (int const buckets : {1, 7, 1000}) {
        std::mt19937 random(3);
        KxTMap<int, int> map(&g_intHash, buckets);
        std::unordered_map<int, int> peer;
        for (int i = 0; i < 5000; ++i) {
            int const key = static_cast<int>(random() % 500) - 250;
            if (random() % 3) {
                map[key] = i;
                peer[key] = i;
            } else {
                ASSERT_EQ(map.Remove(key), peer.erase(key) == 1);
            }
            ASSERT_EQ(map.Count(), static_cast<int>(peer.size()));
        }
        int visited = 0;
        for (auto const& element : map) {
            ++visited;
            ASSERT_EQ(peer.at(element.key), element.value);
            ASSERT_EQ(map.Find(element.key), &element);
        }
        EXPECT_EQ(visited, map.Count());
        EXPECT_EQ(std::as_const(map).Find(1000), nullptr);
        map.RemoveAll();
        EXPECT_EQ(map.begin(), map.end());
        EXPECT_EQ(map.Find(0), nullptr);
    }
}

TEST(KxTMap, StringsCompareByTheirText) {
    KxStringHashFunction const hash;
    KxTMap<CString, int> map(&hash, 11);
    map[CString(L"Deutsch")] = 1;
    map[CString(L"deutsch")] = 2;
    EXPECT_EQ(map[CString(L"Deutsch")] * 10 + map.Count(), 12);
}

TEST(KxTMap, AFailureLeavesTheMapAsItWas) {
    using Value = Fragile<false>;
    {
        KxTMap<int, Value> map(&g_intHash, 5), target(&g_intHash, 5);
        for (int i = 0; i < 9; ++i) map[i] = Value(i);
        target[100] = Value(1);
        FailAtEachCopy<Value>([&] { KxTMap<int, Value> copy(map); }, [] { ASSERT_EQ(Value::live, 10); });
        FailAtEachCopy<Value>([&] { target = map; },
                              [&] { ASSERT_TRUE(target.Count() == 1 && target.Find(100)->value == Value(1)); });
        EXPECT_EQ(target.Find(8)->value, Value(8));
    }
    EXPECT_EQ(Value::live, 0);
}

TEST(HashFunctions, HaveTheirFixedValues) {
    struct {
        wchar_t const* text;
        unsigned int value;
    } const texts[] = {
        {L"", 5381},
        {L"a", 5381 * 33 + 97},
        {L"ab", (5381 * 33 + 97) * 33 + 98},
        {L"\u00FC", 5381 * 33 + 0xFC},
        {L"\U0001F600", (5381U * 33 + 0xD83D) * 33 + 0xDE00},  // two units in every stored form
        {L"\U0010FFFF", (5381U * 33 + 0xDBFF) * 33 + 0xDFFF},
        {L"hello, world", 0xB0E4250DU},  // wraps at 32 bits
    };
    KxStringHashFunction const stringHash;
    for (auto const& c : texts) EXPECT_EQ(stringHash.Value(CString(c.text)), c.value);
    EXPECT_EQ(stringHash.Value(CString(wchar_t(0x110000))), 5381U * 33 + 0x110000);  // no character
    EXPECT_EQ(KxTIntegerHashFunction<short>().Value(-2), 0xFFFFFFFEU);
    EXPECT_EQ(KxTIntegerHashFunction<int>().Value(-2), 0xFFFFFFFEU);
    EXPECT_EQ(KxTIntegerHashFunction<long>().Value(-2), 0xFFFFFFFEU);
    EXPECT_EQ(KxTIntegerHashFunction<long long>().Value(0x1234567800000001), 0x12345679U);
    EXPECT_EQ(KxFloatHashFunction().Value(1.0F), 0x3F800000U);
    EXPECT_EQ(KxFloatHashFunction().Value(-0.0F), 0x80000000U);
    EXPECT_EQ(KxDoubleHashFunction().Value(3.141592653589793), 0x400921FBU ^ 0x54442D18U);
    KxGuid const guid(0x11223344, 0x5566, 0x7788, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xF0, 0x0F);
    EXPECT_EQ(KxGuidHashFunction().Value(guid), 0x11223344U ^ 0x55667788U ^ 0xBB00000FU);
    EXPECT_EQ(KxGuidHashFunction().Value(KxGuid()), 0U);
}

}  // namespace
