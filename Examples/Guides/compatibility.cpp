// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The code of Doc/compatibility.md: a kind of record of one's own, whose first version new programs still read, and a
// file of today that a program of yesterday reads.
#include <cstdio>
#include <hbtools/hbtools.h>

using namespace KxN;

namespace {

enum Id : unsigned long { circleId = 400, centreId, radiusId, gradeId };

struct Circle {
    KxVec2d centre{0.0, 0.0};  // mm
    double radius = 0;         // mm
    int grade = 0;             // came later: 0 where nobody said
};

class CircleTag : public KxTag {
public:
    CircleTag(unsigned long id, Circle& circle) : KxTag(id, KxVersion(100), 0, 0, 0), m_circle(circle) {}

protected:
    void WriteData(CFile* file) override {
        KxTagArchive archive(file, 0);  // a chain of its own, from the payload on
        archive << KxVec2dTag(centreId, m_circle.centre) << KxTTag<double>(radiusId, m_circle.radius);
        archive << KxTTag<int>(gradeId, m_circle.grade);
    }
    int ReadData(CFile* file, STag const&) override {
        KxTagArchive archive(file, 1);
        Circle read;
        archive >> KxVec2dTag(centreId, read.centre) >> KxTTag<double>(radiusId, read.radius);
        archive.SetOptionalTagsMode();  // what older files do not have
        archive >> KxTTag<int>(gradeId, read.grade);
        m_circle = read;  // only when all of it was there
        return 1;
    }

private:
    Circle& m_circle;
};

/// The class as it was before there were grades.
class OldCircleTag : public KxTag {
public:
    OldCircleTag(unsigned long id, Circle& circle) : KxTag(id, KxVersion(100), 0, 0, 0), m_circle(circle) {}

protected:
    void WriteData(CFile* file) override {
        KxTagArchive(file, 0) << KxVec2dTag(centreId, m_circle.centre) << KxTTag<double>(radiusId, m_circle.radius);
    }
    int ReadData(CFile* file, STag const&) override {
        KxTagArchive(file, 1) >> KxVec2dTag(centreId, m_circle.centre) >> KxTTag<double>(radiusId, m_circle.radius);
        return 1;
    }

private:
    Circle& m_circle;
};

}  // namespace

int main() {
    Circle const bore{KxVec2d(1.5, -2), 4.25, 7};
    Circle written = bore, byNew, byOld;
    CMemFile fresh, old;
    KxTagArchive(&fresh, 0) << CircleTag(circleId, written);
    KxTagArchive(&old, 0) << OldCircleTag(circleId, written);
    for (CMemFile* file : {&fresh, &old}) file->Seek(0, CFile::begin);
    KxTagArchive(&old, 1) >> CircleTag(circleId, byNew);
    KxTagArchive(&fresh, 1) >> OldCircleTag(circleId, byOld);
    std::printf("old file, new program: radius %g, grade %d\n", byNew.radius, byNew.grade);
    std::printf("new file, old program: radius %g\n", byOld.radius);
}
