// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "Faults.h"
#include "hbtools/core/syList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <set>
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
    for (auto const& value : list) {
        text += value + " ";
    }
    return text;
}

TYPED_TEST(Lists, LinksAndUnlinks) {
    TypeParam list;
    for (auto const* const text : {"c", "d", "e"}) {
        list.AddTail(text);
    }
    list.AddHead("b");
    list.AddHead("a");
    EXPECT_EQ(Joined(list), "a b c d e ");
    EXPECT_EQ(list.Head() + list.Tail(), "ae");
    EXPECT_EQ(list.Find("d") * 10 + list.Find("x"), 29);
    EXPECT_EQ(list.Remove(2), "c");
    EXPECT_EQ(list.RemoveHead(), "a");
    EXPECT_EQ(list.RemoveTail(), "e");
    EXPECT_EQ(Joined(list), "b d ");
    EXPECT_EQ(list[1] + list[0], "db");
    list.RemoveTail();
    list.RemoveHead();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.begin(), list.end());
    list.AddHead("again");
    EXPECT_EQ(list.Head(), list.Tail());
    list.RemoveAll();
    list.AddTail("and again");
    EXPECT_EQ(Joined(list), "and again ");
}

TYPED_TEST(Lists, CopiesAreDeepInEveryDirection) {
    TypeParam list;
    KxTBlockList<std::string> block(2);
    for (int i = 0; i < 5; ++i) {
        list.AddTail("a text too long for the object itself " + std::to_string(i));
        block.AddTail(std::to_string(i));
    }
    TypeParam copy(list);
    copy[0] = "changed";
    EXPECT_EQ(list[0], "a text too long for the object itself 0");
    TypeParam moved(std::move(copy));
    copy.AddTail("x");
    EXPECT_EQ(Joined(copy), "x ");
    EXPECT_EQ(moved[0], "changed");
    copy = moved;
    copy = std::move(moved);
    TypeParam const& same = copy;
    copy = same;
    EXPECT_EQ(same.Count(), 5);

    KxTList<std::string>& base = copy;  // nodes from a heap may not pass into a list without one
    base = block;
    KxTList<std::string> taken(std::move(static_cast<KxTList<std::string>&>(block)));
    base = std::move(taken);
    block.RemoveAll();
    EXPECT_EQ(Joined(copy), "0 1 2 3 4 ");
}

TYPED_TEST(Lists, TheCursorStaysOnItsElement) {
    TypeParam list;
    EXPECT_EQ(list.CursorIndex(), -1);
    for (int i = 0; i < 10; ++i) {
        list.AddTail(std::to_string(i));
    }
    EXPECT_EQ(list[4], "4");
    EXPECT_EQ(list.CursorIndex(), 4);
    list.AddHead("h");
    EXPECT_EQ(list.CursorIndex(), 5);
    list.RemoveHead();
    list.RemoveHead();
    EXPECT_EQ(list.CursorIndex(), 3);
    EXPECT_EQ(list[3], "4");
    list.RemoveTail();
    EXPECT_EQ(list.CursorIndex(), 3);
    list.Remove(3);
    EXPECT_EQ(list.CursorIndex(), 3);
    EXPECT_EQ(list[3], "5");
    EXPECT_EQ(list[list.Count() - 1], "8");
    list.RemoveTail();
    EXPECT_EQ(list.CursorIndex(), list.Count() - 1);
    for (int i = list.Count(); i-- > 0;) {
        list[i] += "!";
    }
    EXPECT_EQ(Joined(list), "1! 2! 3! 5! 6! 7! ");
    while (list.Count()) {
        list.Remove(list.Count() / 2);
    }
    EXPECT_EQ(list.CursorIndex(), -1);
}

template <class List>
void FailListOperations() {
    using Element = std::remove_reference_t<decltype(std::declval<List&>()[0])>;
    {
        List source;
        for (int i = 0; i < 6; ++i) {
            source.AddTail(Element(i));
        }
        List target;
        target.AddTail(Element(50));
        target.AddTail(Element(51));
        auto const isWhole = [&] {
            ASSERT_EQ(target.Count(), 2);
            ASSERT_EQ(target[0], Element(50));
            ASSERT_EQ(target.Tail(), Element(51));
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
    struct Counting : KxTList<int> {
        ~Counting() override { RemoveAll(); }
        SNode* NewNode(int const& value) override {
            ++made;
            return KxTList<int>::NewNode(value);
        }
        void DeleteNode(SNode* node) override {
            ++*freed;
            KxTList<int>::DeleteNode(node);
        }
        int made = 0;
        int* freed = nullptr;
    };
    int freed = 0;
    {
        Counting list;
        list.freed = &freed;
        KxTList<int> plain;
        plain.AddTail(1);
        plain.AddTail(2);
        KxTList<int>& base = list;
        base = plain;
        base.AddHead(0);
        base.Remove(1);
        EXPECT_EQ(list.made, 3);
        EXPECT_EQ(freed, 1);
    }
    EXPECT_EQ(freed, 3);
}

// The heap.

struct Slot {
    long number = 7;
};

TEST(KxTBlockHeap, HandsOutTheLowestFreeSlotOfTheCursorBlock) {
    KxTBlockHeap<Slot> heap(4);
    EXPECT_EQ(heap.BlockCount(), 0);
    std::vector<Slot*> slots;
    for (int i = 0; i < 12; ++i) {
        slots.push_back(heap.Alloc());
        EXPECT_EQ(slots.back()->number, 7);
        EXPECT_EQ(heap.FreeCount(), 3 - i % 4);
    }
    EXPECT_EQ(heap.BlockCount(), 3);
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(slots[i], slots[i / 4 * 4] + i % 4) << i;
    }
    // The cursor stands on the third block: its slots come first, in rising order; then those of the ring behind it.
    for (std::size_t const i : {1U, 6U, 5U, 10U, 8U}) {
        heap.Free(slots[i]);
    }
    EXPECT_EQ(heap.FreeCount(), 5);
    for (std::size_t const i : {8U, 10U, 1U, 5U, 6U}) {
        EXPECT_EQ(heap.Alloc(), slots[i]) << i;
    }
    // Now it stands on the second: the third comes before the first.
    heap.Free(slots[0]);
    heap.Free(slots[11]);
    EXPECT_EQ(heap.Alloc(), slots[11]);
    EXPECT_EQ(heap.Alloc(), slots[0]);
    EXPECT_EQ(heap.FreeCount(), 0);
}

TEST(KxTBlockHeap, DropsEmptyBlocksButTheOnlyOne) {
    KxTBlockHeap<Slot> heap(2);
    std::vector<Slot*> slots;
    for (int i = 0; i < 6; ++i) {
        slots.push_back(heap.Alloc());
    }
    heap.Free(slots[2]);
    heap.Free(slots[3]);
    EXPECT_EQ(heap.BlockCount(), 2);
    EXPECT_EQ(heap.FreeCount(), 0);
    heap.Free(slots[4]);
    heap.Free(slots[5]);  // the cursor's block: the cursor goes on in the ring
    heap.Free(slots[1]);
    EXPECT_EQ(heap.Alloc(), slots[1]);
    heap.Free(slots[0]);
    heap.Free(slots[1]);
    EXPECT_EQ(heap.BlockCount(), 1);
    EXPECT_EQ(heap.FreeCount(), 2);
    EXPECT_EQ(heap.Alloc(), slots[0]);
    Slot foreign;
    heap.Free(&foreign);
    heap.Free(nullptr);
    EXPECT_EQ(heap.FreeCount(), 1);
    heap.Clear();
    EXPECT_EQ(heap.BlockCount() + heap.FreeCount(), 0);
    heap.SetBlockSize(0);
    EXPECT_EQ(heap.BlockSize(), 1);
    heap.Alloc();
    heap.SetBlockSize(5);  // holds from the next Clear on
    heap.Alloc();
    EXPECT_EQ(heap.BlockCount(), 2);
    heap.Clear();
    heap.Alloc();
    EXPECT_EQ(heap.FreeCount(), 4);
}

/// The rules of the heap, told in the plainest way: a list of blocks, searched from the cursor.
class PlainHeap {
public:
    explicit PlainHeap(std::size_t blockSize) : m_blockSize(blockSize) {}
    /// Number of the block and of the slot in it.
    std::pair<int, std::size_t> Alloc() {
        for (std::size_t i = 0; i < m_blocks.size(); ++i) {
            std::size_t const k = (m_cursor + i) % m_blocks.size();
            std::vector<bool>& used = m_blocks[k].used;
            auto const slot = std::find(used.begin(), used.end(), false);
            if (slot != used.end()) {
                *slot = true;
                m_cursor = k;
                return {m_blocks[k].number, static_cast<std::size_t>(slot - used.begin())};
            }
        }
        m_blocks.push_back({m_next++, std::vector<bool>(m_blockSize)});
        m_blocks.back().used[0] = true;
        m_cursor = m_blocks.size() - 1;
        return {m_blocks.back().number, 0};
    }
    void Free(std::pair<int, std::size_t> place) {
        for (std::size_t k = 0; k < m_blocks.size(); ++k) {
            std::vector<bool>& used = m_blocks[k].used;
            if (m_blocks[k].number == place.first) {
                used[place.second] = false;
                if (m_blocks.size() > 1 && std::find(used.begin(), used.end(), true) == used.end()) {
                    m_blocks.erase(m_blocks.begin() + static_cast<std::ptrdiff_t>(k));
                    m_cursor -= m_cursor > k;
                    m_cursor %= m_blocks.size();
                }
                return;
            }
        }
    }
    std::size_t Blocks() const { return m_blocks.size(); }

private:
    struct Block {
        int number;
        std::vector<bool> used;
    };
    std::size_t m_blockSize;
    std::size_t m_cursor = 0;
    int m_next = 0;
    std::vector<Block> m_blocks;
};

TEST(KxTBlockHeap, FollowsItsRulesUnderRandomUse) {
    std::mt19937 random(11);
    for (int const blockSize : {1, 3, 16}) {
        KxTBlockHeap<Slot> heap(blockSize);
        PlainHeap plain(static_cast<std::size_t>(blockSize));
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
            ASSERT_EQ(heap.BlockCount(), static_cast<int>(plain.Blocks())) << i;
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
        for (int i = 0; i < 9; ++i) {
            heap.Construct(i);
        }
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
