// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/faults.md: an operator of somebody else crashes, and the application says so and goes on.
#include <cstdio>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

int Quotient(int const volatile* a, int const volatile* b) {
    return *a / *b;
}

void Try(char const* what, int const volatile* a, int const volatile* b) {
    try {
        std::printf("%s: %d\n", what, Quotient(a, b));
    } catch (KxIntDivideByZeroException* exception) {
        std::printf("%s: divided by zero\n", what);
        exception->Delete();
    } catch (KxAccessViolationException* exception) {
        std::printf("%s: an address that is none\n", what);
        exception->Delete();
    }
}

}  // namespace

int main() {
    KxSEHandler const guard;  // this thread, until the end of the block
    int const six = 6, three = 3, zero = 0;
    Try("six by three", &six, &three);
    Try("six by zero", &six, &zero);
    Try("six by nothing", &six, nullptr);
}
