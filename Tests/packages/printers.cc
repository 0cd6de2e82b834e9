// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What a debugger is asked to show where the packages are installed.
#include <hbtools/hbtools.h>

void Here() {}

int main() {
    KxN::KxString const text(L"plate 7");
    KxN::KxTArray<KxN::KxVec3d> points;
    points.Resize(2);
    Here();
    return text == L"plate 7" && points.Size() == 2 ? 0 : 1;
}
