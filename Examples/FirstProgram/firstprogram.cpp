// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A first program: it stores a scan in a tag file and loads it again.
//   firstprogram [FILE]
#include <cstdio>
#include <hbtools/hbtools.h>

using namespace KxN;

enum Id : unsigned long { ScanId = 100, PointsId, ConditionsId, DeviationsId };  // yours to choose, never to change

struct Scan {
    KxTArray<KxVec3d> points;  // mm
    std::unique_ptr<KxPropertyList> conditions;
    KxHistogram deviations;  // from the nominal height, mm
};

void Store(KxString const& path, Scan& scan) {
    KxSafeFile whole(path);  // the file appears whole or not at all
    CFile file;
    whole.Open(file);
    KxTagArchive archive(&file, 0);
    KxPropertyList* conditions = scan.conditions.get();
    KxPersistentObject::InitializeReferenceMap();
    archive << KxNullTag(ScanId);
    archive.LevelDown();  // what follows belongs to the scan
    archive << KxVec3dArrayTag(PointsId, scan.points) << KxPropertyListTag(ConditionsId, conditions)
            << KxHistogramTag(DeviationsId, scan.deviations);
    archive.LevelUp();
    file.Close();
    whole.Commit();
}

Scan Load(KxString const& path) {
    Scan scan;
    CFile file(path, CFile::modeRead);
    KxTagArchive archive(&file, 1);
    KxPropertyList* conditions = nullptr;
    KxPersistentObject::InitializeReferenceMap();
    archive >> KxNullTag(ScanId);
    archive.LevelDown();
    archive >> KxHistogramTag(DeviationsId, scan.deviations);  // by id: any order, past what it does not know
    archive >> KxPropertyListTag(ConditionsId, conditions);
    scan.conditions.reset(conditions);
    archive >> KxVec3dArrayTag(PointsId, scan.points);
    archive.LevelUp();
    return scan;
}

int main(int argc, char** argv) {
    KxGlobalLocalizer localizer;  // the library speaks the user's language, where its language pack is there
    localizer.DoLocalization(1);
    try {
        Scan scan;
        scan.points = KxTArray<KxVec3d>(5);
        for (int i = 0; i < scan.points.Size(); ++i) {
            scan.points[i] = KxVec3d(10.0 * i, 0.1, 25 + 0.001 * (i % 3 - 1));
            scan.deviations.Add(scan.points[i][2] - 25);
        }
        scan.conditions = std::make_unique<KxPropertyList>(L"Conditions", L"Conditions of the measurement", 1);
        scan.conditions->Insert(new KxStringProperty(L"Operator", L"Operator: %s", L"Meier", 1));
        scan.conditions->Insert(new KxTProperty<double>(L"Temperature", L"Temperature: %.1f C", 20.5, 1));
        KxString const path(argc > 1 ? argv[1] : "first.tag");
        Store(path, scan);

        Scan const loaded = Load(path);
        std::printf("%d points, the last at %g, %g, %g\n", loaded.points.Size(), loaded.points[4][0],
                    loaded.points[4][1], loaded.points[4][2]);
        std::printf("deviations from %.3f to %.3f mm\n", loaded.deviations.Min(), loaded.deviations.Max());
        for (KxProperty const& condition : *loaded.conditions) std::printf("%ls\n", condition.GetMessageW().GetStr());
        return 0;
    } catch (CException* exception) {
        std::fprintf(stderr, "%ls\n", CException::TextOf(*exception).GetStr());
        exception->Delete();
        return 1;
    }
}
