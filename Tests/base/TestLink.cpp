// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syLink.h"

#include <gtest/gtest.h>

namespace {

struct Base {
    virtual ~Base() = default;
    virtual int Add(void*) { return 1; }
};
struct Derived : Base {
    int Add(void* argument) override { return m_sum += *static_cast<int*>(argument); }
    void Reset() { m_sum = 0; }
    int m_sum = 10;
};

TEST(Link, CallsMethodsThroughTheirObject) {
    Derived target;
    int one = 1;
    KxTools::Link const link = KxxMakeLink(static_cast<Base*>(&target), &Base::Add), copy = link;
    EXPECT_EQ(link.Call(&one) * 100 + copy.Call(&one), 1112);
    EXPECT_TRUE(copy == link && link.IsSet());
    EXPECT_FALSE(link == KxxMakeLink(&target, &Derived::Reset) || link == KxTools::Link());
    EXPECT_EQ(KxxMakeLink(&target, &Derived::Reset).Call(nullptr), 0);
    EXPECT_EQ(target.m_sum, 0);
    KxTools::Link const empty(&target, nullptr);
    EXPECT_FALSE(empty.IsSet() || KxTools::Link().IsSet());
    EXPECT_EQ(empty.Call(&one), 0);
}

}  // namespace
