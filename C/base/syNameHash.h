// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Hashes of names without regard to case, without a copy in capitals, and of numbers that files hold. They start from another
// number in each process, so that no file can be made whose keys all collide.
#pragma once

#include "hbtools/base/syEncoding.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string_view>

namespace KxN::detail {

inline wchar_t UpperOfName(wchar_t c) {
    if (c < 0x80) return c >= L'a' && c <= L'z' ? c - 0x20 : c;
    return KxxToUpper(c);
}

inline std::size_t HashSeed() {
    static std::size_t const seed = (std::size_t{std::random_device()()} << 32) ^ std::random_device()();
    return seed;
}

struct NameHash {
    static constexpr std::size_t multiplier = 0x9E3779B97F4A7C15u;

    std::size_t operator()(std::wstring_view name) const {
        std::size_t hash = HashSeed();
        for (wchar_t const c : name) {
            hash = (hash ^ static_cast<std::uint32_t>(UpperOfName(c))) * multiplier;
            hash ^= hash >> 32;
        }
        return hash;
    }
};

struct NumberHash {
    std::size_t operator()(std::uint64_t number) const {
        // Twice, so that every bit of the seed and of the number has a say in the lowest ones.
        std::size_t hash = (number ^ HashSeed()) * NameHash::multiplier;
        hash = (hash ^ hash >> 32) * NameHash::multiplier;
        return hash ^ hash >> 32;
    }
};

struct NameEqual {
    bool operator()(std::wstring_view a, std::wstring_view b) const {
        return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
                   return x == y || UpperOfName(x) == UpperOfName(y);
               });
    }
};

}  // namespace KxN::detail
