// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Element types with which the tests of the containers look for lost, doubled and moved-from elements.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace KxN::tests {

/// Counts its live objects and throws after a stated number of copies. Moving it throws as well unless NoexceptMove.
template <bool NoexceptMove>
struct Fragile {
    static inline int live = 0;
    static inline int copiesLeft = -1;  // -1: no limit

    static void Spend() {
        if (copiesLeft == 0) throw std::runtime_error("copy");
        if (copiesLeft > 0) --copiesLeft;
    }

    Fragile() { ++live; }
    Fragile(int theValue) : value(theValue), text(40, static_cast<char>('a' + theValue % 26)) { ++live; }
    Fragile(Fragile const& other) : value(other.value), text((Spend(), other.text)) { ++live; }
    Fragile(Fragile&& other) noexcept(NoexceptMove) : value(other.value), text((SpendMove(), std::move(other.text))) {
        ++live;
    }
    Fragile& operator=(Fragile const& other) {
        Spend();
        value = other.value;
        text = other.text;
        return *this;
    }
    Fragile& operator=(Fragile&& other) noexcept(NoexceptMove) {
        SpendMove();
        value = other.value;
        text = std::move(other.text);
        return *this;
    }
    ~Fragile() { --live; }
    friend bool operator==(Fragile const& a, Fragile const& b) { return a.value == b.value && a.text == b.text; }

    int value = -1;
    std::string text;

private:
    static void SpendMove() {
        if constexpr (!NoexceptMove) Spend();
    }
};

/// Lets the n-th copy of `Element` throw, n = 0, 1, ..., until `operation` gets through; `check` looks at each failure.
template <class Element, class Operation, class Check>
int FailAtEachCopy(Operation operation, Check check) {
    for (int n = 0;; ++n) {
        Element::copiesLeft = n;
        try {
            operation();
            Element::copiesLeft = -1;
            return n;
        } catch (std::runtime_error const&) {
            Element::copiesLeft = -1;
            check();
        }
    }
}

}  // namespace KxN::tests
