// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// loader <library> [<library needed>...]: loads those behind the first, then the first, and prints how many nanoseconds
// that took. A program that knows nothing of the library, so that a process waits for nothing else.
#include <chrono>
#include <cstdio>
#include <dlfcn.h>

int main(int argc, char** argv) {
    for (int i = 2; i < argc; ++i)
        if (!::dlopen(argv[i], RTLD_NOW | RTLD_GLOBAL)) return 1;
    auto const start = std::chrono::steady_clock::now();
    void* const library = argc > 1 ? ::dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL) : nullptr;
    std::chrono::duration<double, std::nano> const taken = std::chrono::steady_clock::now() - start;
    if (!library) return 1;
    std::printf("%.0f\n", taken.count());
    return 0;
}
