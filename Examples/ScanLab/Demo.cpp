// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Demo.h"

#include "Alignment.h"
#include "Conditions.h"
#include "HistogramPicture.h"
#include "ScanFile.h"
#include "ScanReader.h"
#include "SyntheticPlate.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>
#include <hbtools/diagnostics/syProfile.h>

#include <algorithm>
#include <cstdio>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr int barLength = 48;

template <class... Arguments>
void Print(wchar_t const* format, Arguments const&... arguments) {
    std::fputs(KxxToUtf8(KxxFormat(format, arguments...)).c_str(), stdout);
}

/// A stop watch that runs, for rates: never 0.
class RunningWatch {
public:
    RunningWatch() { m_watch.Start(); }
    double Seconds() { return std::max(1e-9, m_watch.GetSeconds()); }

private:
    KxStopWatch m_watch;
};

void PrintScan(Scan const& scan, double seconds) {
    Box const box = BoxOf(scan);
    Print(L"Scan        %s (%s)\n", scan.name, scan.source);
    Print(L"Points      %d, in %.2f s (%.1f million a second)\n", scan.points.Size(), seconds,
          scan.points.Size() / seconds / 1e6);
    if (scan.notFinite.Size() > 0) Print(L"Not finite  %d points, kept apart\n", scan.notFinite.Size());
    for (int i = 0; i < 3; ++i) Print(L"%c           %12.4f to %12.4f\n", L"xyz"[i], box.low[i], box.high[i]);
    Print(L"\n%s", ConditionsText(scan));
}

void PrintDeviations(StoredScan const& stored, int histogramColumns) {
    KxHistogram const& deviations = stored.deviations;
    Core const core = CoreOf(deviations);
    KxVec3d const& normal = stored.plane.normal;
    Print(L"\nDeviations from the plane of best fit (normal %.6f, %.6f, %.6f)\n", normal[0], normal[1], normal[2]);
    Print(L"all         mean %.4g, sigma %.4g, from %.4g to %.4g\n", deviations.Mean(), deviations.StdDev(),
          deviations.Min(), deviations.Max());
    Print(L"core        mean %.4g, sigma %.4g, %.1f %% of the points\n\n", core.mean, core.sigma,
          100.0 * core.count / deviations.Count());
    KxRangeHistogram const counts = Columns(deviations, core, histogramColumns);
    int highest = 1;
    for (int i = 0; i < counts.NumColumns(); ++i) highest = std::max(highest, counts.NumColumnValues(i));
    for (int i = 0; i < counts.NumColumns(); ++i) {
        int const count = counts.NumColumnValues(i);
        std::wstring const bar(static_cast<std::size_t>(static_cast<double>(count) / highest * barLength), L'#');
        Print(L"%12.5f %9d %s\n", counts.ColumnCenter(i), count, bar);
    }
    Print(L"\n");
}

// One form there and back. False if what came back is not what went.
bool StoreAndCompare(KxString const& path, StoredScan& stored, TagFormat format) {
    RunningWatch storing;
    Store(path, stored, format);
    double const storeSeconds = storing.Seconds();
    RunningWatch loading;
    StoredScan const loaded = Load(path);
    double const loadSeconds = loading.Seconds();
    double const megabytes = static_cast<double>(KxTools::FileStat(KxDirEntry(path)).GetSize()) / 1e6;
    bool const same = IsSame(stored, loaded);
    Print(L"%s  %7.1f MB, stored %6.0f MB/s, loaded %6.0f MB/s, %s\n", path, megabytes, megabytes / storeSeconds,
          megabytes / loadSeconds, same ? L"every bit the same" : L"NOT THE SAME");
    return same;
}

KxString PathIn(KxString const& folder, wchar_t const* name) {
    return KxString((KxDirEntry(folder) + KxDirEntry(name)).GetFull());
}

void MakeFolder(KxString const& folder) {
    KxDirEntry const directory(folder);
    if (directory.Exists() || directory.MakeDir(1)) return;
    KxString text;
    text.SPrintf(L"%s: the folder cannot be made", folder);
    throw new KxFileException(L"Demo", __LINE__, text);
}

void PrintAlignment(Alignment const& alignment, KxString const& unit, double seconds) {
    Core const core = CoreOf(alignment.deviations);
    KxMatrix4 U, R, F;
    KxVec3d K, T;
    alignment.motion.Decompose(U, K, R, T, F);
    double const angle = KxMath::ACos((R[0][0] + R[1][1] + R[2][2] - 1.0) / 2.0) * KxMath::RadToDeg;
    Print(L"Aligned     %d points in %d steps and %.2f s\n", alignment.compared, alignment.steps, seconds);
    Print(L"motion      turn %.5f degrees, shift %.5f, %.5f, %.5f %s\n", angle, T[0], T[1], T[2], unit);
    Print(L"residuals   mean %.4g, sigma %.4g, %.1f %% of the points\n", core.mean, core.sigma,
          100.0 * core.count / alignment.compared);
}

/// Every second point is taken for a second measurement of the part in another position, whose motion is known.
void AlignHalves(Scan const& scan, KxString const& folder) {
    if (scan.points.Size() < 2 * fewestPoints) {
        Print(L"Alignment   skipped: the scan has too few points\n");
        return;
    }
    Box const box = BoxOf(scan);
    double const size = box.Diagonal();
    KxVec3d const middle = box.Middle();
    KxVec3d shift(0.004, -0.003, 0.002), back(middle);
    shift *= size;
    shift += middle;
    back.Negate();
    KxMatrix4 const motion = KxMatrix4::ATranslation(shift) *
                             KxMatrix4::ARotation(KxVec3d(1, 2, 3), 0.5 * KxMath::DegToRad) *
                             KxMatrix4::ATranslation(back);
    RunningWatch aligning;
    Alignment const alignment = Align(HalfOf(scan, 1, motion), HalfOf(scan, 0, KxMatrix4::Identity));
    Print(L"\nTwo measurements, the second moved by %.3g in %.3g\n", (motion * middle).Distance(middle), size);
    PrintAlignment(alignment, scan.unit, aligning.Seconds());
    Print(L"off         %.3g at the middle, %.3g at the corners %s\n",
          (alignment.motion * (motion * middle)).Distance(middle),
          KxMath::Max((alignment.motion * (motion * box.low)).Distance(box.low),
                      (alignment.motion * (motion * box.high)).Distance(box.high)),
          scan.unit);
    KxString const picture = PathIn(folder, L"alignment.svg");
    SaveHistogramPicture(picture, alignment.deviations, scan.name + L": second measurement against the first",
                         scan.unit);
    Print(L"%s\n\n", picture);
}

}  // namespace

int RunAlign(KxString const& fixedPath, KxString const& movingPath, KxString const& folder) {
    Scan const fixed = ReadScan(fixedPath), moving = ReadScan(movingPath);
    RunningWatch aligning;
    Alignment const alignment = Align(moving, fixed);
    MakeFolder(folder);
    PrintAlignment(alignment, fixed.unit, aligning.Seconds());
    for (int r = 0; r < 4; ++r)
        Print(L"%18.12f %18.12f %18.12f %18.9f\n", alignment.motion[r][0], alignment.motion[r][1],
              alignment.motion[r][2], alignment.motion[r][3]);
    KxString const picture = PathIn(folder, L"alignment.svg");
    SaveHistogramPicture(picture, alignment.deviations, moving.name + L" against " + fixed.name, fixed.unit);
    Print(L"%s\n", picture);
    return 0;
}

int RunDemo(KxString const& scanPath, KxString const& folder, Settings const& settings) {
    KxProfileLogger profile(L"demo");
    RunningWatch reading;
    StoredScan stored;
    stored.scan = !scanPath ? MakeSyntheticPlate(settings.points) : ReadScan(scanPath);
    profile.Mark(L"scan");
    PrintScan(stored.scan, reading.Seconds());
    stored.plane = FitPlane(stored.scan);
    stored.deviations = DeviationsFrom(stored.plane, stored.scan);
    PrintDeviations(stored, settings.histogramColumns);

    profile.Mark(L"plane");
    MakeFolder(folder);
    KxString const picture = PathIn(folder, L"deviations.svg");
    SaveHistogramPicture(picture, stored.deviations, stored.scan.name + L": deviations from the plane of best fit",
                         stored.scan.unit);
    Print(L"%s\n", picture);
    AlignHalves(stored.scan, folder);
    profile.Mark(L"alignment");

    bool same = true;
    for (auto [format, name] : {std::pair{TagFormat32, L"scan-32.tag"}, std::pair{TagFormat64, L"scan-64.tag"}}) {
        same = StoreAndCompare(PathIn(folder, name), stored, format) && same;
    }
    return same ? 0 : 2;
}

}  // namespace ScanLab
