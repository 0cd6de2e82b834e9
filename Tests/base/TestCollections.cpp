// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syCollections.h"

#include "Support.h"
#include "hbtools/base/syBitmap.h"
#include "hbtools/base/syValues.h"

#include <functional>
#include <list>
#include <random>
#include <vector>

namespace {

using namespace KxN;

/// Counts its objects and fails to be copied when it is told to.
struct Counted {
    Counted(int v = 0) : value(v) { ++alive; }
    Counted(Counted const& other) : value(other.value) {
        if (failAfter >= 0 && failAfter-- == 0) throw 1;
        ++alive;
    }
    Counted& operator=(Counted const&) = default;
    ~Counted() { --alive; }
    bool operator==(Counted const&) const = default;

    int value;
    inline static int alive = 0;
    inline static int failAfter = -1;
};

template <class Collection>
std::vector<int> Values(Collection const& collection) {
    std::vector<int> values;
    for (auto const& element : collection) values.push_back(element.value);
    return values;
}

TEST(Collections, ArrayAgainstVector) {
    {
        CArray<Counted> array;
        std::vector<int> model;
        std::mt19937 random(4);
        for (int i = 0; i < 5000; ++i) {
            std::ptrdiff_t const size = static_cast<std::ptrdiff_t>(model.size());
            std::ptrdiff_t const at = static_cast<std::ptrdiff_t>(random()) % (size + 1);
            std::ptrdiff_t const count = static_cast<std::ptrdiff_t>(random() % 4);
            switch (random() % 6) {
                case 0: array.Add(Counted(i)), model.push_back(i); break;
                case 1:
                    array.InsertAt(at, Counted(i), count);
                    model.insert(model.begin() + at, static_cast<std::size_t>(count), i);
                    break;
                case 2:
                    if (at + count > size) break;
                    array.RemoveAt(at, count);
                    model.erase(model.begin() + at, model.begin() + at + count);
                    break;
                case 3:
                    array.SetAtGrow(at + count, Counted(i));
                    if (at + count >= size) model.resize(static_cast<std::size_t>(at + count + 1));
                    model[static_cast<std::size_t>(at + count)] = i;
                    break;
                case 4:
                    if (size > 100) array.SetSize(20, 3), model.resize(20);
                    break;
                default:
                    if (size == 0) break;
                    array.Add(array[at % size]);  // one of its own, also while it grows
                    model.push_back(int{model[static_cast<std::size_t>(at % size)]});
                    break;
            }
            ASSERT_EQ(array.GetSize(), static_cast<std::ptrdiff_t>(model.size()));
        }
        EXPECT_EQ(Values(array), model);
        CArray<Counted> copy;
        copy.Copy(array);
        EXPECT_EQ(copy.Append(copy), array.GetSize());
        EXPECT_EQ(copy.GetSize(), 2 * array.GetSize());
        copy.InsertAt(1, &array);
        EXPECT_EQ(copy[1], array[0]);
        EXPECT_EQ(copy[1 + array.GetSize()], array[1]);
        copy.FreeExtra();
        EXPECT_EQ(Counted::alive, array.GetSize() + copy.GetSize());
        CArray<Counted> const& same = copy;
        copy.Copy(same);
        copy.FreeExtra();  // there is none
        EXPECT_EQ(Counted::alive, array.GetSize() + copy.GetSize());
        copy.SetSize(0, 100);
        copy.SetSize(2);
        Counted const* const place = copy.GetData();
        copy[0] = copy[1] = 7;
        copy.InsertAt(4, Counted(5));  // beyond the end: what lies between is empty
        array.RemoveAt(0, array.GetSize());
        array.FreeExtra();
        array.InsertAt(2, &copy);
        EXPECT_EQ(Values(array), (std::vector<int>{0, 0, 7, 7, 0, 0, 5}));
        while (copy.GetSize() < 100) copy.Add(Counted(1));
        EXPECT_EQ(copy.GetData(), place);
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(Collections, RefuseWhatLiesOutside) {
    CArray<int, int> array;
    array.SetSize(3);
    EXPECT_EQ(array[0] + array[1] + array[2], 0);
    CList<int> list;
    std::function<void()> const bad[] = {
        [&] { array[3] = 1; },
        [&] { array[-1] = 1; },
        [&] { array.SetSize(-1); },
        [&] { array.RemoveAt(2, 2); },
        [&] { array.InsertAt(-1, 5); },
        [&] { array.RemoveAt(1, PTRDIFF_MAX); },
        [&] { array.InsertAt(0, 5, -1); },
        [&] { array.RemoveAt(-1); },
        [&] { array.RemoveAt(0, -1); },
        [&] { array.RemoveAt(4, 0); },
        [&] { array.InsertAt(0, nullptr); },
        [&] { list.GetHead(); },
        [&] { list.RemoveTail(); },
        [&] { list.RemoveAt(nullptr); },
    };
    for (auto const& call : bad) test::Thrown<CInvalidArgException>(call);
    array.RemoveAt(3, 0);
    EXPECT_EQ(array.GetUpperBound(), 2);
    CArray<bool> flags;
    flags.Add(true);
    EXPECT_TRUE(*flags.GetData());
    for (int i : {1, 2, 1}) list.AddTail(i);
    POSITION position = list.Find(1);
    EXPECT_EQ(list.Find(1, position), list.GetTailPosition());
    EXPECT_EQ(list.Find(1, list.GetTailPosition()), nullptr);
    EXPECT_EQ(list.Find(9), nullptr);
    EXPECT_EQ(list.FindIndex(3), nullptr);
    EXPECT_EQ(list.FindIndex(-1), nullptr);
    list.SetAt(position, 7);
    EXPECT_EQ(list.GetNext(position) + list.GetNext(position), 9);
    list.InsertBefore(nullptr, 3);
    list.InsertAfter(nullptr, 4);
    EXPECT_EQ(list.GetHead() * 10 + list.GetTail(), 34);
    CPlex* chain = nullptr;
    EXPECT_THROW(CPlex::Create(chain, static_cast<std::size_t>(-1) / 8, 8), std::bad_array_new_length);
    EXPECT_EQ(chain, nullptr);
}

TEST(Collections, ListAgainstList) {
    {
        CList<Counted> list(3);
        std::list<int> model;
        std::mt19937 random(5);
        for (int i = 0; i < 5000; ++i) {
            std::ptrdiff_t const size = list.GetCount();
            std::ptrdiff_t const at = size == 0 ? 0 : static_cast<std::ptrdiff_t>(random()) % size;
            POSITION const position = list.FindIndex(at);
            auto const place = std::next(model.begin(), at);
            switch (random() % (size == 0 ? 2 : 8)) {
                case 0: list.AddHead(Counted(i)), model.push_front(i); break;
                case 1: list.AddTail(Counted(i)), model.push_back(i); break;
                case 2: list.InsertBefore(position, Counted(i)), model.insert(place, i); break;
                case 3: list.InsertAfter(position, Counted(i)), model.insert(std::next(place), i); break;
                case 4: list.RemoveAt(position), model.erase(place); break;
                case 5:
                    EXPECT_EQ(list.RemoveHead().value, model.front());
                    model.pop_front();
                    break;
                case 6:
                    EXPECT_EQ(list.RemoveTail().value, model.back());
                    model.pop_back();
                    break;
                default:
                    if (size > 200) list.RemoveAll(), model.clear();
                    break;
            }
            ASSERT_EQ(list.GetCount(), static_cast<std::ptrdiff_t>(model.size()));
        }
        std::vector<int> const values(model.begin(), model.end());
        EXPECT_EQ(Values(list), values);
        std::vector<int> backwards;
        for (POSITION position = list.GetTailPosition(); position;) backwards.push_back(list.GetPrev(position).value);
        EXPECT_EQ(backwards, std::vector<int>(values.rbegin(), values.rend()));
        list.AddTail(&list);
        EXPECT_EQ(list.GetCount(), 2 * static_cast<std::ptrdiff_t>(values.size()));
        EXPECT_EQ(Counted::alive, list.GetCount());
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(Values, AreEqualInAllTheirMembers) {
    EXPECT_TRUE((KxTRange(1, 2) != KxTRange(1, 3) && KxTPair<int>(1, 2) != KxTPair<int>(2, 2)));
    EXPECT_TRUE((KxTRectangle<int>(1, 2, 3, 4) != KxTRectangle<int>(1, 2, 3, 5)));
    EXPECT_TRUE((KxTCoor<int>(1, 2, 3) != KxTCoor<int>(1, 0, 3)));
    CBitmap dark(2, 1), light(2, 1);
    light.GetBits()[1] = 0xFFFFFFFF;
    EXPECT_TRUE(dark == CBitmap(2, 1) && dark != light && dark != CBitmap(1, 2));
}

TEST(Collections, CopiesThatThrowChangeNothing) {
    {
        CArray<Counted> array;
        CList<Counted> list(2);
        for (int i = 0; i < 4; ++i) array.Add(i), list.AddTail(i);
        std::vector<int> const values{0, 1, 2, 3};
        Counted const element(9);
        for (int after = 0; after < 5; ++after) {
            Counted::failAfter = after;
            EXPECT_THROW(array.Append(array), int) << after;
            Counted::failAfter = -1;
            EXPECT_EQ(Values(array), values);
            if (after > 0) continue;
            Counted::failAfter = 0;
            EXPECT_THROW(list.AddTail(element), int);
            Counted::failAfter = 0;
            EXPECT_THROW(array.Add(element), int);
            Counted::failAfter = -1;
            EXPECT_EQ(Values(list), values);
            EXPECT_EQ(Values(array), values);
        }
        EXPECT_EQ(Counted::alive, 9);
    }
    EXPECT_EQ(Counted::alive, 0);
}

}  // namespace
