// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syLink.h"

#include <gtest/gtest.h>

namespace {

struct Base {
    virtual ~Base() = default;
    virtual int Add(void* argument) { return m_sum += *static_cast<int*>(argument); }
    int m_sum = 0;
};
struct Derived : Base {
    int Add(void* argument) override { return m_sum += 10 * *static_cast<int*>(argument); }
    void Reset() { m_sum = 0; }
};

}  // namespace

TEST(Link, CallsMethodsThroughTheirObject) {
    Derived target;
    int one = 1;
    KxTools::Link link = KxxMakeLink(static_cast<Base*>(&target), &Base::Add);
    EXPECT_TRUE(link.IsSet());
    EXPECT_EQ(link.Call(&one), 10);
    KxTools::Link const copy = link;
    EXPECT_EQ(copy.Call(&one), 20);
    EXPECT_TRUE(copy == link);
    EXPECT_EQ(KxxMakeLink(&target, &Derived::Reset).Call(nullptr), 0);
    EXPECT_EQ(target.m_sum, 0);
}

TEST(Link, IsEmptyWithoutItsSecondWord) {
    int object = 0;
    EXPECT_FALSE(KxTools::Link().IsSet());
    EXPECT_FALSE(KxTools::Link(&object, nullptr).IsSet());
    EXPECT_EQ(KxTools::Link(&object, nullptr).Call(nullptr), 0);
    KxTools::Link const link(&object, [](void* o, void* argument) { return o == argument ? 7LL : 8LL; });
    EXPECT_EQ(link.Call(&object), 7);
}
