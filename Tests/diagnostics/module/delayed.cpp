// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A module for the test of delayed loading.
#include <cstdio>
#include <cstdlib>

extern "C" {
[[gnu::visibility("default")]] int Twice(int value);
[[gnu::visibility("default")]] int Ordinal8();
int Twice(int value) {
    return 2 * value;
}
int Ordinal8() {
    return 8;
}
}

// Calls whom the test wants to be called while the module is loaded.
__attribute__((constructor)) static void CallBack() {
    char const* const place = std::getenv("HBTOOLS_DELAYED_CALLS");
    void* function = nullptr;
    if (place && std::sscanf(place, "%p", &function) == 1) reinterpret_cast<void (*)()>(function)();
}
