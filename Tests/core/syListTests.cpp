// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "Faults.h"
#include "hbtools/core/syList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

using namespace KxN;
using namespace KxN::tests;

namespace {

template <class List>
class Lists : public ::testing::Test {};
using AllLists = ::testing::Types<KxTList<std::string>, KxTBlockList<std::string>>;
TYPED_TEST_SUITE(Lists, AllLists);

template <class List>
std::string Joined(List const& list) {
    std::string text;
    for (auto const& value : list) text += value + " ";
    return text;
}

int Find(std::vector<std::string> const& peer, std::string const& text) {
    auto const place = std::find(peer.begin(), peer.end(), text);
    return place == peer.end() ? -1 : static_cast<int>(place - peer.begin());
}

TYPED_TEST(Lists, BehavesAsASequenceWithACursorUnderRandomChanges) {
    std::mt19937 random(2);
    TypeParam list;
    std::vector<std::string> peer;
    int cursor = -1;
    for (int i = 0; i < 5000; ++i) {
        int const size = static_cast<int>(peer.size());
        int const index = size ? static_cast<int>(random() % peer.size()) : 0;
        std::string const text = std::to_string(random() % 40);
        unsigned const action = size == 0 ? random() % 2 : random() % 8;
        int removed = -1;
        switch (action) {
            case 0:
                list.AddHead(text);
                peer.insert(peer.begin(), text);
                cursor += cursor >= 0;
                break;
            case 1:
                list.AddTail(text);
                peer.push_back(text);
                break;
            case 2: removed = 0; break;
            case 3: removed = size - 1; break;
            case 4: removed = cursor = index; break;
            case 5: ASSERT_EQ(list.Find(text), Find(peer, text)); break;
            case 6: ASSERT_EQ(list.Head() + list.Tail(), peer.front() + peer.back()); break;
            default: ASSERT_EQ(list[index], peer[static_cast<std::size_t>(index)]); cursor = index;
        }
        if (removed >= 0) {
            std::string const value = action == 2   ? list.RemoveHead()
                                      : action == 3 ? list.RemoveTail()
                                                    : list.Remove(index);
            ASSERT_EQ(value, peer[static_cast<std::size_t>(removed)]);
            peer.erase(peer.begin() + removed);
            // A cursor on the element goes to the next one, else to the one before.
            cursor -= cursor > removed || (cursor == removed && removed == size - 1);
        }
        if (i % 1000 == 999) list.RemoveAll(), peer.clear(), cursor = -1;
        ASSERT_EQ(list.CursorIndex(), cursor) << i;
        ASSERT_EQ(list.Count(), static_cast<int>(peer.size()));
        if (i % 50 == 0) {
            ASSERT_TRUE(std::equal(list.begin(), list.end(), peer.begin(), peer.end())) << i;
        }
    }
}

TYPED_TEST(Lists, CopiesAreDeepInEveryDirection) {
    TypeParam list;
    KxTBlockList<std::string> block(2);
    for (auto const* const text : {"a text too long for the object itself", "1", "2"}) {
        list.AddTail(text);
        block.AddTail(text);
    }
    TypeParam copy(list);
    copy[0] = "changed";
    EXPECT_EQ(list[0], "a text too long for the object itself");
    TypeParam moved(std::move(copy));
    copy.AddTail("x");
    EXPECT_EQ(Joined(copy) + Joined(moved), "x changed 1 2 ");
    copy = moved;
    copy = std::move(moved);
    TypeParam const& same = copy;
    copy = same;
    EXPECT_EQ(same.Count(), 3);

    KxTList<std::string>& base = copy;  // nodes from a heap may not pass into a list without one
    base = block;
    KxTList<std::string> taken(std::move(static_cast<KxTList<std::string>&>(block)));
    base = std::move(taken);
    block.RemoveAll();
    EXPECT_EQ(Joined(copy), Joined(list));
}

template <class List>
void FailListOperations() {
    using Element = std::remove_reference_t<decltype(std::declval<List&>()[0])>;
    {
        List source;
        for (int i = 0; i < 6; ++i) source.AddTail(Element(i));
        List target;
        target.AddTail(Element(50));
        target.AddTail(Element(51));
        auto const isWhole = [&] {
            ASSERT_TRUE(target.Count() == 2 && target[0] == Element(50) && target.Tail() == Element(51));
            ASSERT_EQ(Element::live, 8);
        };
        Element::copiesLeft = 0;
        EXPECT_THROW(target.AddTail(source[0]), std::runtime_error);
        EXPECT_THROW(target.AddHead(source[0]), std::runtime_error);
        Element::copiesLeft = -1;
        isWhole();
        EXPECT_EQ(FailAtEachCopy<Element>([&] { List copy(source); }, isWhole), 6);
        EXPECT_EQ(FailAtEachCopy<Element>([&] { target = source; }, isWhole), 6);
        EXPECT_EQ(target[5], Element(5));
        EXPECT_EQ(Element::live, 12);
    }
    EXPECT_EQ(Element::live, 0);
}

TEST(KxTList, AFailureLeavesTheListAsItWas) {
    FailListOperations<KxTList<Fragile<false>>>();
    FailListOperations<KxTBlockList<Fragile<false>>>();
}

TEST(KxTList, NewNodeAndDeleteNodeServeEveryElement) {
    static int made, freed;
    made = freed = 0;
    struct Counting : KxTList<int> {
        ~Counting() override { RemoveAll(); }
        SNode* NewNode(int const& value) override { return ++made, KxTList<int>::NewNode(value); }
        void DeleteNode(SNode* node) override { ++freed, KxTList<int>::DeleteNode(node); }
    };
    {
        Counting list;
        KxTList<int> plain;
        plain.AddTail(1);
        plain.AddTail(2);
        KxTList<int>& base = list;
        base = plain;
        base.AddHead(0);
        base.Remove(1);
        EXPECT_EQ(made * 10 + freed, 31);
        plain = std::move(base);  // nodes of its own kind pass on by their values alone
        EXPECT_EQ(made * 10 + plain.Count(), 32);
    }
    EXPECT_EQ(freed, 3);
}

// The heap.

struct Slot {
    long number = 7;
};

TEST(KxTBlockHeap, IgnoresStrangersAndKeepsItsBlockSizeUntilClear) {
    KxTBlockHeap<Slot> heap(0);
    EXPECT_EQ(heap.BlockCount(), 0);
    EXPECT_EQ(heap.BlockSize(), 1);
    Slot foreign;
    heap.Free(&foreign);
    EXPECT_EQ(heap.Alloc()->number, 7);
    heap.SetBlockSize(5);  // holds from the next Clear on
    heap.Alloc();
    EXPECT_EQ(heap.BlockCount(), 2);
    heap.Clear();
    EXPECT_EQ(heap.BlockCount() + heap.FreeCount(), 0);
    heap.Alloc();
    heap.Free(&foreign);
    heap.Free(nullptr);
    EXPECT_EQ(heap.FreeCount(), 4);
}

/// The rules of the heap, told in the plainest way: a list of blocks, searched from the cursor.
struct PlainHeap {
    /// Number of the block and of the slot in it.
    std::pair<int, std::size_t> Alloc() {
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            std::size_t const k = (cursor + i) % blocks.size();
            std::vector<bool>& used = blocks[k].used;
            auto const slot = std::find(used.begin(), used.end(), false);
            if (slot != used.end()) {
                *slot = true;
                cursor = k;
                return {blocks[k].number, static_cast<std::size_t>(slot - used.begin())};
            }
        }
        blocks.push_back({next++, std::vector<bool>(blockSize)});
        blocks.back().used[0] = true;
        cursor = blocks.size() - 1;
        return {blocks.back().number, 0};
    }
    void Free(std::pair<int, std::size_t> place) {
        for (std::size_t k = 0; k < blocks.size(); ++k) {
            std::vector<bool>& used = blocks[k].used;
            if (blocks[k].number == place.first) {
                used[place.second] = false;
                if (blocks.size() > 1 && std::find(used.begin(), used.end(), true) == used.end()) {
                    blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(k));
                    cursor -= cursor > k;
                    cursor %= blocks.size();
                }
                return;
            }
        }
    }
    struct Block {
        int number;
        std::vector<bool> used;
    };
    std::size_t blockSize = 1;
    std::size_t cursor = 0;
    int next = 0;
    std::vector<Block> blocks = {};
};

TEST(KxTBlockHeap, FollowsItsRulesUnderRandomUse) {
    std::mt19937 random(11);
    for (int const blockSize : {1, 3, 16}) {
        KxTBlockHeap<Slot> heap(blockSize);
        PlainHeap plain{static_cast<std::size_t>(blockSize)};
        std::map<int, Slot*> blockStarts;
        std::vector<std::pair<Slot*, std::pair<int, std::size_t>>> live;
        for (int i = 0; i < 20000; ++i) {
            bool const grow = live.empty() || random() % 100 < (i / 4000 % 2 ? 35U : 65U);
            if (grow) {
                Slot* const slot = heap.Alloc();
                auto const place = plain.Alloc();
                Slot*& start = blockStarts[place.first];
                if (!start) {
                    ASSERT_EQ(place.second, 0U);
                    start = slot;
                }
                ASSERT_EQ(slot, start + place.second) << i;
                live.emplace_back(slot, place);
            } else {
                std::size_t const k = random() % live.size();
                heap.Free(live[k].first);
                plain.Free(live[k].second);
                live[k] = live.back();
                live.pop_back();
            }
            ASSERT_EQ(heap.BlockCount(), static_cast<int>(plain.blocks.size())) << i;
            ASSERT_EQ(heap.FreeCount() + static_cast<long>(live.size()), long{heap.BlockCount()} * blockSize);
        }
    }
}

TEST(KxTBlockHeap, ElementsLiveFromAllocToFreeOrClear) {
    using Element = Fragile<true>;
    {
        KxTBlockHeap<Element> heap(4);
        KxTHeap<Element>& base = heap;
        Element* const first = base.Alloc();
        for (int i = 0; i < 9; ++i) heap.Construct(i);
        EXPECT_EQ(Element::live, 10);
        base.Free(first);
        EXPECT_EQ(Element::live, 9);
        Element const source(1);
        Element::copiesLeft = 0;
        EXPECT_THROW(heap.Construct(source), std::runtime_error);
        Element::copiesLeft = -1;
        EXPECT_EQ(heap.FreeCount(), 3);
        base.Clear();
        EXPECT_EQ(Element::live, 1);
        heap.Alloc();
    }
    EXPECT_EQ(Element::live, 0);
}

}  // namespace
