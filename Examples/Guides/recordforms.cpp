// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/record-forms.md: one scan in both forms of records, and a program that chooses.
#include <cstdio>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

constexpr unsigned long pointsId = 101;

void Store(CFile& file, KxTArray<KxVec3d>& points) {
    KxTagArchive archive(&file, 0);
    archive << KxVec3dArrayTag(pointsId, points);
}

void Choose(ULONGLONG numPoints) {
    ULONGLONG const bytes = numPoints * sizeof(KxVec3d) + (1 << 20);  // and what else stands in the file
    SetGlobalTagFormat(bytes < 0xFFFFFFFF ? TagFormat32 : TagFormat64);
}

char const* FormOf(CFile& file) {
    BYTE head[6] = {};
    file.Seek(0, CFile::begin);
    file.Read(head, sizeof head);
    return head[5] & 0x80 ? "64-bit" : "32-bit";
}

}  // namespace

int main() {
    KxTArray<KxVec3d> points(2);
    points[1] = KxVec3d(1.0, 2.0, 3.0);
    for (ULONGLONG const planned : {1000ULL, 300000000ULL}) {
        CMemFile file;
        Choose(planned);
        Store(file, points);
        std::printf("planned for %llu points: %s records; these two points take %llu bytes\n", planned, FormOf(file),
                    file.GetLength());
        KxTArray<KxVec3d> read;
        file.Seek(0, CFile::begin);
        KxTagArchive(&file, 1) >> KxVec3dArrayTag(pointsId, read);  // either form, without a word
        std::printf("  z of the last point: %g\n", read[1][2]);
    }
    SetGlobalTagFormat(TagFormat32);
}
