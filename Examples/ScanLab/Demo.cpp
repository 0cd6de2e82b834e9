// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Demo.h"

#include "ScanFile.h"
#include "ScanReader.h"
#include "SyntheticPlate.h"

#include <hbtools/base/syDirEntry.h>
#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syException.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr int histogramColumns = 21;
constexpr int barLength = 48;

template <class... Arguments>
void Print(wchar_t const* format, Arguments const&... arguments) {
    std::fputs(KxxToUtf8(KxxFormat(format, arguments...)).c_str(), stdout);
}

class StopWatch {
public:
    double Seconds() const {
        return std::max(1e-9, std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count());
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

void PrintScan(Scan const& scan, double seconds) {
    KxVec3d low = scan.points[0];
    KxVec3d high = scan.points[0];
    for (KxVec3d const& point : scan.points) {
        for (int i = 0; i < 3; ++i) {
            low[i] = KxMath::Min(low[i], point[i]);
            high[i] = KxMath::Max(high[i], point[i]);
        }
    }
    Print(L"Scan        %s (%s)\n", scan.name, scan.source);
    Print(L"Points      %d, in %.2f s (%.1f million a second)\n", scan.points.Size(), seconds,
          scan.points.Size() / seconds / 1e6);
    if (scan.notFinite.Size() > 0) Print(L"Not finite  %d points, kept apart\n", scan.notFinite.Size());
    for (int i = 0; i < 3; ++i) Print(L"%c           %12.4f to %12.4f\n", L"xyz"[i], low[i], high[i]);
}

void PrintDeviations(StoredScan const& stored) {
    KxHistogram const& deviations = stored.deviations;
    Core const core = CoreOf(deviations);
    Print(L"\nDeviations from the plane of best fit (slopes %.3g, %.3g)\n", stored.plane.slopeX, stored.plane.slopeY);
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
    StopWatch const storing;
    Store(path, stored, format);
    double const storeSeconds = storing.Seconds();
    StopWatch const loading;
    StoredScan const loaded = Load(path);
    double const loadSeconds = loading.Seconds();
    double const megabytes = static_cast<double>(KxTools::FileStat(KxDirEntry(path)).GetSize()) / 1e6;
    bool const same = IsSame(stored, loaded);
    Print(L"%s  %7.1f MB, stored %6.0f MB/s, loaded %6.0f MB/s, %s\n", path, megabytes, megabytes / storeSeconds,
          megabytes / loadSeconds, same ? L"every bit the same" : L"NOT THE SAME");
    return same;
}

}  // namespace

int RunDemo(KxString const& scanPath, KxString const& folder, int points) {
    StopWatch const reading;
    StoredScan stored;
    stored.scan = !scanPath ? MakeSyntheticPlate(points) : ReadScan(scanPath);
    PrintScan(stored.scan, reading.Seconds());
    stored.plane = FitPlane(stored.scan);
    stored.deviations = DeviationsFrom(stored.plane, stored.scan);
    PrintDeviations(stored);

    KxDirEntry const directory(folder);
    if (!directory.Exists() && !directory.MakeDir(1)) {
        KxString text;
        text.SPrintf(L"%s: the folder cannot be made", folder);
        throw new KxFileException(L"Demo", __LINE__, text);
    }
    bool same = true;
    for (auto [format, name] : {std::pair{TagFormat32, L"scan-32.tag"}, std::pair{TagFormat64, L"scan-64.tag"}}) {
        KxDirEntry const path(directory + KxDirEntry(name));
        same = StoreAndCompare(KxString(path.GetFull()), stored, format) && same;
    }
    return same ? 0 : 2;
}

}  // namespace ScanLab
