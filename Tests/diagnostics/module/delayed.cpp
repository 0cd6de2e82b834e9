// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A module for the test of delayed loading.
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
