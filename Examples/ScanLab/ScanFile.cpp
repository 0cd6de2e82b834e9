// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ScanFile.h"

#include "AnyNumbers.h"
#include "Operators/TextIds.h"
#include "TemporaryName.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syEncoding.h>
#include <hbtools/base/sySafeFile.h>
#include <hbtools/persistence/syBinFileHeader.h>
#include <hbtools/persistence/syGeometryTags.h>
#include <hbtools/persistence/sySimpleTags.h>
#include <hbtools/persistence/syTagArchive.h>
#include <hbtools/properties/syPropertyTag.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr unsigned short headerLen = 512;

enum Id : unsigned long {
    scanMarker = 1000,
    nameId = 1001,
    pointsId = 1002,
    measuredId = 1003,
    notFiniteId = 1004,
    unitId = 1005,
    conditionsId = 1006,
    deviationsMarker = 1010,
    centerId = 1011,
    normalId = 1012,
    histogramId = 1014,
    sphereMarker = 1020,
    sphereCenterId = 1021,
    radiusId = 1022,
    sphereHistogramId = 1024
};

// The record form is the process's; this is ours while a file is written.
class FormatScope {
public:
    explicit FormatScope(TagFormat format) : m_former(GetGlobalTagFormat()) { SetGlobalTagFormat(format); }
    FormatScope(FormatScope const&) = delete;
    FormatScope& operator=(FormatScope const&) = delete;
    ~FormatScope() { SetGlobalTagFormat(m_former); }

private:
    TagFormat m_former;
};

/// A file that tells how much of it was read or written, of about `size` bytes.
class WatchedFile : public CFile {
public:
    /// Failures tell the file that the user knows.
    WatchedFile(KxString const& path, KxString const& known, UINT flags, double size, Progress const& progress)
        : m_progress(progress), m_size(size) {
        CFileException error;
        if (!Open(path, flags, &error)) throw new CFileException(error.GetCause(), error.GetOsError(), known);
        SetFilePath(known);
    }

    UINT Read(void* buffer, UINT count) override {
        if (count <= few) {
            Tell(count);
            return CFile::Read(buffer, count);
        }
        UINT done = 0, got = 0;
        do {
            UINT const part = std::min(count - done, most);
            Tell(part);
            got = CFile::Read(static_cast<BYTE*>(buffer) + done, part);
            done += got;
        } while (done < count && got == most);
        return done;
    }
    void Write(void const* buffer, UINT count) override {
        if (count <= few) {
            Tell(count);
            CFile::Write(buffer, count);
            return;
        }
        for (UINT done = 0; done < count;) {
            UINT const part = std::min(count - done, most);
            Tell(part);
            CFile::Write(static_cast<BYTE const*>(buffer) + done, part);
            done += part;
        }
    }

private:
    static constexpr UINT few = 4096;            // nearly all parts have some bytes only, and come by the million
    static constexpr UINT most = UINT{1} << 22;  // at a time

    void Tell(UINT count) {
        m_done += count;
        if (m_done < m_next) return;
        m_next = m_done + (1 << 18);
        m_progress.Show(std::min(static_cast<double>(m_done), m_size), m_size);
    }

    Progress m_progress;
    double m_size;
    ULONGLONG m_done = 0;
    ULONGLONG m_next = 0;
};

KxTArray<KxVec3d> ArrayOf(KxTDynArray<KxVec3d> const& points) {
    return {points.Data(), points.Size()};
}

/// Tags take what they write as if they could read it too. It may be large, and stays as it is.
KxHistogram& Mutable(KxHistogram const& histogram) {
    return const_cast<KxHistogram&>(histogram);
}

void TakeArray(KxTDynArray<KxVec3d>& points, KxTArray<KxVec3d> const& array) {
    points.Reserve(array.Size());
    for (KxVec3d const& point : array) points.Add(point);
}

bool SamePoints(KxTDynArray<KxVec3d> const& a, KxTDynArray<KxVec3d> const& b) {
    if (a.Size() != b.Size()) return false;
    return a.Size() == 0 || std::memcmp(a.Data(), b.Data(), sizeof(KxVec3d) * static_cast<std::size_t>(a.Size())) == 0;
}

/// The image of a property and of all below it.
std::string ImageOf(KxProperty const& property) {
    CMemFile file(4096);
    CArchive archive(&file, CArchive::store);
    property.Store(archive);
    archive.Close();
    std::string image(static_cast<std::size_t>(file.GetLength()), '\0');
    file.Seek(0, CFile::begin);
    image.resize(file.Read(image.data(), static_cast<UINT>(image.size())));
    return image;
}

void LoadFit(KxTagArchive& archive, StoredScan& stored) {
    auto const find = [&archive](unsigned long marker) {
        archive.SetOptionalTagsMode();
        archive >> KxNullTag(marker);
        bool const isThere = archive.LastReadTagFound() != 0;
        archive.SetNecessaryTagsMode();
        return isThere;
    };
    if (find(deviationsMarker)) {
        stored.fit = FitKind::plane;
        archive.LevelDown();
        archive >> KxHistogramTag(histogramId, stored.deviations.Edit()) >> KxVec3dTag(normalId, stored.plane.normal) >>
            KxVec3dTag(centerId, stored.plane.center);
        archive.LevelUp();
    } else if (find(sphereMarker)) {
        stored.fit = FitKind::sphere;
        archive.LevelDown();
        archive >> KxHistogramTag(sphereHistogramId, stored.deviations.Edit()) >>
            KxTTag<double>(radiusId, stored.sphere.radius) >> KxVec3dTag(sphereCenterId, stored.sphere.center);
        archive.LevelUp();
    }
}

}  // namespace

void StoredScan::DropFit() {
    fit = FitKind::none;
    plane = Plane();
    sphere = Sphere();
    deviations = KxHistogram(4096);
}

bool Store(KxString const& path, StoredScan const& original, TagFormat format, Progress progress,
           std::function<bool(KxString const&, Progress)> const& check) {
    AnyNumbers const anyNumbers;
    FormatScope const scope(format);
    KxSafeFile whole(path);
    StoredScan stored(original);
    Scan& scan = stored.scan;
    double const size =
        24.0 * (scan.points->Size() + scan.notFinite->Size()) + 8.0 * stored.deviations->Count() + headerLen;
    WatchedFile file(whole.GetTemporaryPath(), path, CFile::modeReadWrite, size,
                     progress.Stage(L"writing", 0, check ? 0.5 : 1));
    KxTArray<KxVec3d> points = ArrayOf(scan.points);
    KxTArray<KxVec3d> notFinite = ArrayOf(scan.notFinite);
    long long measured = static_cast<long long>(points.Size()) + notFinite.Size();

    KxTagArchive archive(&file, 0);
    KxBinHeader header(headerLen);
    header.SetDateTime(KxDateTime::Now());
    archive << header << KxNullTag(scanMarker);
    archive.LevelDown();
    archive << KxStringTag(nameId, scan.name) << KxVec3dArrayTag(pointsId, points)
            << KxTTag<long long>(measuredId, measured);
    if (notFinite.Size() > 0) archive << KxVec3dArrayTag(notFiniteId, notFinite);
    if (scan.unit.Len() > 0) archive << KxStringTag(unitId, scan.unit);
    KxPropertyList* conditions = &scan.conditions.Edit();
    if (conditions->GetCount() > 0) archive << KxPropertyListTag(conditionsId, conditions);
    if (stored.fit == FitKind::plane) {
        archive << KxNullTag(deviationsMarker);
        archive.LevelDown();
        archive << KxVec3dTag(centerId, stored.plane.center) << KxVec3dTag(normalId, stored.plane.normal)
                << KxHistogramTag(histogramId, Mutable(stored.deviations));
        archive.LevelUp();
    } else if (stored.fit == FitKind::sphere) {
        archive << KxNullTag(sphereMarker);
        archive.LevelDown();
        archive << KxVec3dTag(sphereCenterId, stored.sphere.center) << KxTTag<double>(radiusId, stored.sphere.radius)
                << KxHistogramTag(sphereHistogramId, Mutable(stored.deviations));
        archive.LevelUp();
    }
    archive.LevelUp();
    file.Close();
    KxString const written = whole.GetTemporaryPath();
    if (check && !UnderName(path, written, [&] { return check(written, progress.Part(0.5, 1)); })) return false;
    progress.Done();
    whole.Commit();
    return true;
}

StoredScan Load(KxString const& path, Progress progress) {
    AnyNumbers const anyNumbers;
    progress = progress.Stage(L"reading", 0, 1);
    WatchedFile file(path, path, CFile::modeRead, static_cast<double>(KxTools::FileStat(KxDirEntry(path)).GetSize()),
                     progress);
    StoredScan stored;
    KxTArray<KxVec3d> points;
    KxTArray<KxVec3d> notFinite;
    long long measured = 0;

    KxTagArchive archive(&file, 1);
    KxBinHeader header(headerLen);
    archive >> header;
    if (!header.IsIntel() || header.GetLen() != headerLen)
        throw new KxFileException(L"ScanFile", __LINE__, FormatOf(Text::NoScanFile, path));
    archive >> KxNullTag(scanMarker);
    archive.LevelDown();
    LoadFit(archive, stored);
    archive >> KxTTag<long long>(measuredId, measured) >> KxVec3dArrayTag(pointsId, points) >>
        KxStringTag(nameId, stored.scan.name);
    archive.SetOptionalTagsMode();
    archive >> KxVec3dArrayTag(notFiniteId, notFinite) >> KxStringTag(unitId, stored.scan.unit);
    KxPropertyList* conditions = nullptr;
    KxPersistentObject::InitializeReferenceMap();
    archive >> KxPropertyListTag(conditionsId, conditions);
    std::unique_ptr<KxPropertyList> const owner(conditions);
    archive.LevelUp();

    if (conditions) stored.scan.conditions = *conditions;
    TakeArray(stored.scan.points.Edit(), points);
    TakeArray(stored.scan.notFinite.Edit(), notFinite);
    return stored;
}

bool IsSame(StoredScan const& a, StoredScan const& b) {
    AnyNumbers const anyNumbers;
    // Names are narrow text in the file: a character that the code page lacks became '?'.
    if (KxxToNarrow(a.scan.name.View()) != KxxToNarrow(b.scan.name.View())) return false;
    if (KxxToNarrow(a.scan.unit.View()) != KxxToNarrow(b.scan.unit.View())) return false;
    bool const hasConditions = a.scan.conditions->GetCount() > 0 || b.scan.conditions->GetCount() > 0;
    if (hasConditions && ImageOf(*a.scan.conditions) != ImageOf(*b.scan.conditions)) return false;
    if (!SamePoints(a.scan.points, b.scan.points) || !SamePoints(a.scan.notFinite, b.scan.notFinite)) return false;
    if (a.fit != b.fit || std::memcmp(&a.plane, &b.plane, sizeof a.plane) != 0) return false;
    if (std::memcmp(&a.sphere, &b.sphere, sizeof a.sphere) != 0) return false;
    if (a.deviations->Count() != b.deviations->Count()) return false;
    auto other = b.deviations->Values().begin();
    for (double value : a.deviations->Values()) {
        double const otherValue = *other;
        ++other;
        if (std::memcmp(&value, &otherValue, sizeof value) != 0) return false;
    }
    return true;
}

}  // namespace ScanLab
