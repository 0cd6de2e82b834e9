// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "Faults.h"
#include "hbtools/core/syBuf.h"

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <vector>

using namespace KxN;
using namespace KxN::tests;

namespace {

template <class Container>
class Arrays : public ::testing::Test {};
using AllArrays = ::testing::Types<KxTMem<std::string>, KxTVector<std::string>, KxTArray<std::string>,
                                   KxTDynArray<std::string>, KxTBuf1D<std::string>, KxTBlockMem<std::string>>;
TYPED_TEST_SUITE(Arrays, AllArrays);

template <class Container>
std::string Text(Container const& container) {
    std::string text;
    for (auto const& element : container) text += "[" + element + "]";
    return text;
}

TYPED_TEST(Arrays, ResizeKeepsTheLeadingElements) {
    TypeParam array(2);
    array[0] = "a text too long for the object itself";
    array[1] = "b";
    array.Resize(3);
    EXPECT_EQ(Text(array), "[a text too long for the object itself][b][]");
    TypeParam copy(array);
    array[1] = "c";
    array.Resize(1);
    EXPECT_EQ(Text(array), "[a text too long for the object itself]");
    EXPECT_EQ(Text(copy), "[a text too long for the object itself][b][]");
    array = copy;
    copy = std::move(array);
    TypeParam const& same = copy;
    copy = same;
    EXPECT_EQ(same[1], "b");
    copy.Resize(0);
    EXPECT_EQ(copy.Size(), 0U);
    EXPECT_EQ(copy.begin(), copy.end());
}

TEST(KxTMem, ResizeIsTheFirstVirtualOperationAndFillTheThird) {
    struct Doubling : KxTVector<int> {
        void Resize(unsigned long count) override { KxTVector<int>::Resize(2 * count); }
        void Fill(int const& value) override { KxTVector<int>::Fill(value + 1); }
    } doubling;
    KxTMem<int>& mem = doubling;
    mem.Resize(3);
    static_cast<KxTVector<int>&>(doubling).Fill(4);
    EXPECT_EQ(std::vector<int>(mem.begin(), mem.end()), std::vector<int>(6, 5));
    KxTVector<int> vector(3);
    vector[1] = 7;
    vector.Fill(vector[1]);
    EXPECT_EQ(std::vector<int>(vector.begin(), vector.end()), std::vector<int>(3, 7));
}

template <class Container>
class ArraysOfFragile : public ::testing::Test {};
using FragileArrays =
    ::testing::Types<KxTMem<Fragile<true>>, KxTMem<Fragile<false>>, KxTArray<Fragile<false>>,
                     KxTDynArray<Fragile<true>>, KxTDynArray<Fragile<false>>, KxTBuf1D<Fragile<false>>>;
TYPED_TEST_SUITE(ArraysOfFragile, FragileArrays);

TYPED_TEST(ArraysOfFragile, AFailureLeavesTheArrayAsItWas) {
    using Element = std::remove_reference_t<decltype(std::declval<TypeParam&>()[0])>;
    {
        TypeParam array(5);
        for (int i = 0; i < 5; ++i) *(array.begin() + i) = Element(i);
        auto const isWhole = [&array] {
            EXPECT_EQ(array.Size(), 5U);
            for (int i = 0; i < 5; ++i) EXPECT_EQ(*(array.begin() + i), Element(i)) << i;
        };
        EXPECT_EQ(FailAtEachCopy<Element>([&array] { TypeParam copy(array); }, isWhole), 5);
        TypeParam target(2);
        FailAtEachCopy<Element>([&] { target = array; }, [&target] { EXPECT_EQ(target.Size(), 2U); });
        FailAtEachCopy<Element>([&array] { array.Resize(100); }, isWhole);
        EXPECT_EQ(array.Size(), 100U);
        EXPECT_EQ(Element::live, 100 + 5);
    }
    EXPECT_EQ(Element::live, 0);
}

TEST(KxTArray, AnImpossibleCountIsRefusedAndNoneIsNull) {
    KxTArray<int> array(2);
    KxTDynArray<int> grown(2);
    EXPECT_THROW(array.Resize(-1), std::bad_array_new_length);
    EXPECT_THROW(KxTArray<int>(-5), std::bad_array_new_length);
    EXPECT_THROW(grown.Resize(-1), std::bad_array_new_length);
    EXPECT_EQ(array.Size() + grown.Size(), 4);
    array.Resize(0);
    EXPECT_EQ(array.Data(), nullptr);
    int* const block = grown.Data();
    KxTArray<int> owner;
    owner.Attach(new int[3]{1, 2, 3}, 3);
    owner.Attach(owner.Data(), 2);  // its own, of which fewer count
    EXPECT_EQ(owner[0] * 100 + owner[1] * 10 + owner.Size(), 122);
    EXPECT_EQ(grown.Data(), block);
    KxTMem<double> mem(5);
    EXPECT_EQ(std::accumulate(mem.begin(), mem.end(), 0.0), 0.0);
    mem.Resize(0);
    EXPECT_EQ(mem.Data(), nullptr);
}

TEST(KxTDynArray, GrowsAtConstantCostPerElement) {
    KxTDynArray<int> array;
    KxTBlockMem<int> block;
    int moves = 0;
    for (int i = 1; i <= 10000; ++i) {
        int const before = array.Capacity();
        int const* const place = block.Data();
        array.Add(i);
        block.Resize(i);
        moves += (array.Capacity() != before) + (block.Data() != place);
    }
    EXPECT_LE(moves, 24);
    EXPECT_EQ(array[9999], 10000);
}

TEST(KxTDynArray, AddTakesItsOwnElementsAndLosesNothing) {
    KxTDynArray<std::string> array;
    array.Add("a text too long for the object itself");
    for (int i = 0; i < 100; ++i) array.Add(array[0]);
    EXPECT_EQ(array[100], array[0]);
    array.Clear();
    EXPECT_GE(array.Capacity(), 101);
    array.Resize(1);
    EXPECT_EQ(array[0], "");

    using Element = Fragile<false>;
    {
        KxTDynArray<Element> fragile;
        for (int i = 0; i < 8; ++i) fragile.Add(Element(i));
        ASSERT_EQ(fragile.Capacity(), 8);
        FailAtEachCopy<Element>([&] { fragile.Add(fragile[3]); },
                                [&] { ASSERT_TRUE(fragile.Size() == 8 && fragile[7] == Element(7)); });
        EXPECT_EQ(fragile[8], Element(3));
    }
    EXPECT_EQ(Element::live, 0);
}

}  // namespace
