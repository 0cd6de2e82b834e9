// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "Faults.h"
#include "hbtools/core/sySVQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <tuple>

using namespace KxN;
using namespace KxN::tests;

namespace {

/// "used/capacity" of each block.
template <class T>
std::string Blocks(KxTSVQueue<T> const& queue) {
    std::string text;
    queue.ForEachBlock([&text](int capacity, int used) {
        text.append(text.empty() ? "" : " ").append(std::to_string(used) + "/" + std::to_string(capacity));
    });
    return text;
}

template <class T>
std::string Values(KxTSVQueue<T> const& queue) {
    std::string text;
    for (T const& value : queue) text.append(text.empty() ? "" : " ").append(std::to_string(value));
    return text;
}

KxTSVQueue<int> Counting(int n, int maximal, int step, int minimal) {
    KxTSVQueue<int> queue(maximal, step, minimal);
    for (int i = 0; i < n; ++i) queue.Append(i);
    return queue;
}

TEST(KxTSVQueue, SizesAreBroughtIntoTheirRanges) {
    struct {
        int maximal, step, minimal;
        int wantMaximal, wantStep, wantMinimal;
    } const cases[] = {
        {1024, 16, 16, 1024, 16, 16},     {3, 2, 2, 4, 2, 2},         {-7, -7, -7, 4, 2, 2},
        {1000000, 16, 16, 16368, 16, 16}, {100, 16, 16, 96, 16, 16},  {1024, 50, 16, 1024, 48, 16},
        {1024, 5, 16, 1024, 16, 16},      {64, 1000, 16, 64, 64, 16}, {64, 16, 1000, 64, 64, 64},
        {64, 16, 0, 64, 16, 2},           {5, 3, 3, 6, 3, 3},         {16368, 20000, 1000, 16000, 16000, 1000}};
    for (auto const& c : cases) {
        KxTSVQueue<int> const queue(c.maximal, c.step, c.minimal);
        EXPECT_EQ(std::tuple(queue.MaximalBlock(), queue.Step(), queue.MinimalBlock()),
                  std::tuple(c.wantMaximal, c.wantStep, c.wantMinimal))
            << c.maximal << " " << c.step << " " << c.minimal;
    }
    KxTSVQueue<int> three = Counting(20, 3, 3, 3);
    EXPECT_EQ(three.Count(), 20);
    EXPECT_EQ(three[19], 19);
}

TEST(KxTSVQueue, BlocksGrowAndSplit) {
    EXPECT_EQ(Blocks(Counting(0, 8, 4, 2)), "");
    EXPECT_EQ(Blocks(Counting(1, 8, 4, 2)), "1/4");
    EXPECT_EQ(Blocks(Counting(4, 8, 4, 2)), "4/4");
    EXPECT_EQ(Blocks(Counting(5, 8, 4, 2)), "4/4 1/8");
    EXPECT_EQ(Blocks(Counting(13, 8, 4, 2)), "4/4 8/8 1/8");
    struct {
        int index;
        char const* blocks;
    } const cases[] = {
        {0, "1/8 4/4 8/8"},  // a full block's lower half: the new block in front, with what stands before
        {1, "2/8 3/4 8/8"},  // and the value
        {2, "3/4 2/8 8/8"},  // from the middle on: behind, with what stands from there on
        {3, "4/4 1/8 8/8"}, {4, "4/4 1/8 8/8"},  // the beginning of the second block
        {7, "4/4 4/8 5/8"}, {8, "4/4 5/8 4/8"}, {11, "4/4 8/8 1/8"}, {12, "4/4 8/8 1/8"},
    };
    for (auto const& c : cases) {
        KxTSVQueue<int> queue = Counting(12, 8, 4, 2);
        queue.Insert(99, c.index);
        EXPECT_EQ(Blocks(queue), c.blocks) << c.index;
        std::deque<int> peer = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
        peer.insert(peer.begin() + c.index, 99);
        EXPECT_TRUE(std::equal(queue.begin(), queue.end(), peer.begin(), peer.end())) << Values(queue);
    }
    KxTSVQueue<int> queue = Counting(6, 8, 4, 2);
    queue.Insert(99, 5);  // room: no split
    EXPECT_EQ(Blocks(queue), "4/4 3/8");
    EXPECT_EQ(Values(queue), "0 1 2 3 4 99 5");
    queue.Prepend(-1);
    EXPECT_EQ(Values(queue), "-1 0 1 2 3 4 99 5");
}

TEST(KxTSVQueue, RemoveDropsEmptyBlocksButTheOnlyOne) {
    KxTSVQueue<int> queue = Counting(13, 8, 4, 2);
    EXPECT_EQ(queue.Remove(12), 12);
    EXPECT_EQ(Blocks(queue), "4/4 8/8");
    for (int i = 0; i < 4; ++i) EXPECT_EQ(queue.Remove(0), i);
    EXPECT_EQ(Blocks(queue), "8/8");
    while (!queue.IsEmpty()) queue.Remove(queue.Count() / 2);
    EXPECT_EQ(Blocks(queue), "0/8");
    EXPECT_EQ(queue.begin(), queue.end());
    queue.Append(5);
    EXPECT_EQ(Blocks(queue), "1/8");
    EXPECT_EQ(queue.Find(5), 0);
    EXPECT_EQ(queue.Find(6), -1);
    queue.Clear();
    EXPECT_EQ(Blocks(queue), "");
}

TEST(KxTSVQueue, BehavesAsASequenceUnderRandomChanges) {
    std::mt19937 random(7);
    for (auto const& [maximal, step, minimal] : {std::tuple{4, 2, 2}, {16, 16, 16}, {64, 16, 8}}) {
        KxTSVQueue<std::unique_ptr<int>> queue(maximal, step, minimal);
        std::deque<int> peer;
        for (int i = 0; i < 6000; ++i) {
            bool const grow = random() % 100 < (i / 1000 % 2 ? 30U : 70U);
            int const index = static_cast<int>(random() % (peer.size() + (grow || peer.empty() ? 1 : 0)));
            if (grow) {
                queue.Insert(std::make_unique<int>(i), index);
                peer.insert(peer.begin() + index, i);
            } else if (!peer.empty()) {
                ASSERT_EQ(*queue.Remove(index), peer[static_cast<std::size_t>(index)]);
                peer.erase(peer.begin() + index);
            }
            ASSERT_EQ(queue.Count(), static_cast<int>(peer.size()));
            if (i % 100 == 0) {
                ASSERT_TRUE(std::equal(queue.begin(), queue.end(), peer.begin(), peer.end(),
                                       [](auto const& value, int number) { return *value == number; }));
                for (std::size_t k = peer.size(); k-- > 0;) ASSERT_EQ(*queue[static_cast<int>(k)], peer[k]);
            }
        }
    }
}

TEST(KxTSVQueue, CopiesAreDeepAndMovesLeaveAWorkingQueue) {
    KxTSVQueue<std::string> queue(8, 4, 2);
    for (int i = 0; i < 20; ++i) queue.Append("a text too long for the object itself " + std::to_string(i));
    KxTSVQueue<std::string> copy(queue);
    queue[3] = "changed";
    EXPECT_EQ(copy[3], "a text too long for the object itself 3");
    EXPECT_EQ(Blocks(copy), Blocks(queue));
    KxTSVQueue<std::string> moved(std::move(copy));
    copy.Append("again");
    EXPECT_EQ(copy.Count() * 100 + moved.Count(), 120);
    copy = moved;
    KxTSVQueue<std::string> const& same = copy;
    copy = same;
    EXPECT_EQ(same[19], moved[19]);
    queue.Append(queue[0]);
    queue.Insert(queue[1], 1);
    EXPECT_EQ(queue[1], queue[2]);
}

template <class Element>
void FailInserts(bool isStrong) {
    for (int const index : {0, 1, 3, 5, 8, 11, 12}) {
        KxTSVQueue<Element> original(8, 4, 2);
        for (int i = 0; i < 12; ++i) original.Append(Element(i));
        KxTSVQueue<Element> queue(original);
        Element const extra(77);
        FailAtEachCopy<Element>([&] { queue.Insert(extra, index); },
                                [&] {
                                    ASSERT_EQ(std::distance(queue.begin(), queue.end()), queue.Count());
                                    if (isStrong) {
                                        ASSERT_EQ(queue.Count(), 12);
                                        for (int i = 0; i < 12; ++i) ASSERT_EQ(queue[i], Element(i)) << index;
                                    }
                                    queue = original;
                                });
        ASSERT_EQ(queue.Count(), 13);
        EXPECT_EQ(queue[index], extra);
        EXPECT_EQ(queue[12], index == 12 ? extra : Element(11));
        FailAtEachCopy<Element>([&] { queue.Append(extra); }, [&] { ASSERT_EQ(queue.Count(), 13); });
        FailAtEachCopy<Element>([&] { queue.Remove(index); },
                                [&] { ASSERT_EQ(std::distance(queue.begin(), queue.end()), queue.Count()); });
    }
    EXPECT_EQ(Element::live, 0);
}

TEST(KxTSVQueue, AFailureLosesNothingOrLeavesAValidQueueIfMovesThrow) {
    FailInserts<Fragile<true>>(true);
    FailInserts<Fragile<false>>(false);
}

}  // namespace
