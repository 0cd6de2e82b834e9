// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An application with an operator new of its own: the library uses it too, and its handlers are still called.
#include "hbtools/base/syString.h"
#include "hbtools/diagnostics/syHandlers.h"

#include <cstdlib>
#include <new>

namespace {
int g_requests = 0;
bool g_isExhausted = false;
}  // namespace

void* operator new(std::size_t size) {
    ++g_requests;
    if (g_isExhausted) std::get_new_handler()();
    return std::malloc(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

int main() {
    KxN::KxString const text("a text that is too long to be kept in the string itself");  // made in the library
    if (g_requests == 0) return 1;
    KxN::KxNewHandler const guard([](unsigned long long size) -> int { throw size; });
    g_isExhausted = true;
    try {
        KxN::KxString const copy = text.Upper();
    } catch (unsigned long long size) {
        return size == 0 ? 0 : 2;
    }
    return 3;
}
