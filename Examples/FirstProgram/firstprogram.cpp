// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A first program: it stores a scan in a tag file and loads it again. README.md shows the part between the marks.
//   firstprogram [FILE]
#include <cstdio>

// [README
#include <hbtools/hbtools.h>

using namespace KxN;

enum Id : unsigned long { ScanId = 100, NameId, PointsId };  // yours to choose, never to change

void Store(KxString const& path, KxString name, KxTArray<KxVec3d> points) {
    KxSafeFile whole(path);  // the file appears whole or not at all
    CFile file(whole.GetTemporaryPath(), CFile::modeReadWrite);
    KxTagArchive archive(&file, 0);
    archive << KxNullTag(ScanId);
    archive.LevelDown();  // what follows belongs to the scan
    archive << KxStringTag(NameId, name) << KxVec3dArrayTag(PointsId, points);
    archive.LevelUp();
    file.Close();
    whole.Commit();
}

KxTArray<KxVec3d> Load(KxString const& path, KxString& name) {
    KxTArray<KxVec3d> points;
    CFile file(path, CFile::modeRead);
    KxTagArchive archive(&file, 1);
    archive >> KxNullTag(ScanId);
    archive.LevelDown();
    archive >> KxVec3dArrayTag(PointsId, points);  // by id: any order, past what it does not know
    archive >> KxStringTag(NameId, name);
    archive.LevelUp();
    return points;
}
// README]

int main(int argc, char** argv) {
    try {
        KxString const path(argc > 1 ? argv[1] : "first.tag");
        KxTArray<KxVec3d> points(3);
        for (int i = 0; i < points.Size(); ++i) points[i] = KxVec3d(10.0 * i, 0.1, -1e-300);
        Store(path, L"Plate 7", points);

        KxString name;
        KxTArray<KxVec3d> const loaded = Load(path, name);
        std::printf("%ls: %d points, the last at %.17g, %.17g, %.17g\n", name.GetStr(), loaded.Size(), loaded[2][0],
                    loaded[2][1], loaded[2][2]);
        return 0;
    } catch (CException* exception) {
        std::fprintf(stderr, "%ls\n", CException::TextOf(*exception).GetStr());
        exception->Delete();
        return 1;
    }
}
