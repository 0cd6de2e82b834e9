// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Operations whose work must not grow faster than what they are given.
#pragma once

#include "hbtools/base/syFile.h"
#include "hbtools/base/syString.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace proof {

struct Case {
    char const* name;
    /// Makes what is needed for n elements; what comes back is the operation itself.
    std::function<std::function<void()>(int n)> prepare;
    /// Sorts, or looks up in what is sorted: n log n.
    bool isLogarithmic = false;
    /// Each of the n calls may look at all, in instructions, for this reason, and is documented to do so.
    char const* isLinearPerCall = nullptr;
    /// How many elements it takes; 0 if there is no bound.
    int most = 0;
};

std::vector<Case> ContainerCases();
std::vector<Case> FileCases();
std::vector<Case> ScanCases();
std::vector<Case> LookUpCases();

/// Calls of functions that the library is given: hashes, comparisons, slots, hooks.
inline long long g_calls = 0;
/// Bytes that went through files of the kind below.
inline long long g_bytes = 0;

class CountedFile : public KxN::CMemFile {
public:
    CountedFile() : CMemFile(65536) {}
    KxN::UINT Read(void* buffer, KxN::UINT count) override {
        g_bytes += count;
        return CMemFile::Read(buffer, count);
    }
    void Write(void const* buffer, KxN::UINT count) override {
        g_bytes += count;
        CMemFile::Write(buffer, count);
    }
};

/// A folder for the files of a case, empty each time.
std::filesystem::path EmptyFolder();
KxN::KxString WriteFile(std::filesystem::path const& path, std::string const& bytes);

/// 0 to n - 1: rising, falling, or mixed.
enum class Order { rising, falling, mixed };
std::vector<int> Numbers(int n, Order order);

/// As many digits for each number: longer texts take memory of their own.
inline std::string Digits(int i) {
    return std::to_string(10000000 + i);
}
inline KxN::KxString Name(wchar_t const* prefix, int i) {
    return KxN::KxString(prefix) + KxN::KxString(std::to_wstring(10000000 + i).c_str());
}

}  // namespace proof
