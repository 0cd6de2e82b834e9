// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What a first program does: format a text, store it, read it back. Needs C++20 and -fnon-call-exceptions, which it
// must get from the package alone.
#include <hbtools/hbtools.h>

#include <cstdio>

#if __cplusplus < 202002L
#error "the package does not ask for C++20"
#endif

int main() {
    KxN::KxString stored;
    stored.SPrintf(L"%s: %d points, %.1f mm", L"scan", 1200000, 0.5);
    KxN::CMemFile file;
    {
        KxN::CArchive archive(&file, KxN::CArchive::store);
        archive << stored << 42;
    }
    file.Seek(0, KxN::CFile::begin);
    KxN::CArchive archive(&file, KxN::CArchive::load);
    KxN::KxString loaded;
    int number = 0;
    archive >> loaded >> number;
    bool const same = loaded == L"scan: 1200000 points, 0.5 mm" && number == 42;
    std::printf("%ls, %d: %s\n", loaded.GetStr(), number, same ? "ok" : "WRONG");
    return same ? 0 : 1;
}
