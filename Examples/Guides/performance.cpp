// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/performance.md: the same heights as one record each and as one array, and what comes back out of order.
#include <cstdio>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

constexpr unsigned long heightsId = 100, settingsId = 200, firstHeightId = 1000;

}  // namespace

int main() {
    int const count = 10000;
    KxTArray<KxVec3f> heights(count);
    for (int i = 0; i < count; ++i) heights[i] = KxVec3f(0.1F * static_cast<float>(i), 0.0F, 25.0F);

    CMemFile slow, fast;
    KxTagArchive single(&slow, 0);
    for (int i = 0; i < count; ++i) single << KxVec3fTag(firstHeightId + static_cast<unsigned long>(i), heights[i]);
    KxTagArchive block(&fast, 0);
    block << KxVec3fArrayTag(heightsId, heights);  // one head for all of them, one write
    std::printf("a record for each: %llu bytes; one array: %llu bytes\n", slow.GetLength(), fast.GetLength());

    double speed = 12.5;
    block << KxTTag<double>(settingsId, speed);
    fast.Seek(0, CFile::begin);
    KxTagArchive archive(&fast, 1);  // one archive for all reads: it remembers the chain
    archive >> KxTTag<double>(settingsId, speed);
    archive >> KxVec3fArrayTag(heightsId, heights);
    std::printf("speed %g mm/s, %d heights\n", speed, heights.Size());
}
