// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Bytes as a CArchive stream: the input itself says what is read next.
#include "hbtools/base/syArchive.h"

#include "FuzzInput.h"

using namespace KxN;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput input(data, size);
    Survive([&] {
        CArchive archive(&input, CArchive::load, 128);
        for (;;) {
            BYTE what = 0;
            archive >> what;
            KxString text;
            CString wide;
            CStringA narrow;
            long number = 0;
            double value = 0;
            wchar_t character = 0;
            BYTE block[300];
            switch (what % 9) {
                case 0: archive >> text; break;
                case 1: archive >> wide; break;
                case 2: archive >> narrow; break;
                case 3: archive >> number; break;
                case 4: archive >> value; break;
                case 5: archive >> character; break;
                case 6: archive.ReadCount(); break;
                case 7: archive.FillBuffer(what); break;
                default: archive.ReadBlock(block, sizeof block); break;
            }
            if (text.Len() > static_cast<int>(size)) Broken();
        }
    });
    // What the archive read ahead and did not use is given back: the file never stands behind its end.
    if (input.GetPosition() > size) Broken();
    return 0;
}
