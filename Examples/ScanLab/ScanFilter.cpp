// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ScanFilter.h"

#include "Neighbours.h"
#include "Operators/TextIds.h"

#include <hbtools/base/syException.h>

#include <cmath>
#include <unordered_set>

namespace ScanLab {

using namespace KxN;

Marks InBox(Scan const& scan, Box const& box) {
    Marks marks(scan.points.Size());
    for (int i = 0; i < marks.Size(); ++i) marks[i] = box.Contains(scan.points[i]);
    return marks;
}

Marks NotAlone(Scan const& scan, double distance, int neighbours) {
    KxTArray<KxVec3d> const points(scan.points.Data(), scan.points.Size());
    Neighbours const near(points, distance);
    Marks marks(points.Size());
    for (int i = 0; i < marks.Size(); ++i) marks[i] = near.HasNear(points[i], neighbours + 1);  // it finds itself too
    return marks;
}

Marks OnePerCube(Scan const& scan, double edge) {
    constexpr int bits = 21;  // of a key for each axis
    Marks marks(scan.points.Size());
    if (marks.Size() == 0) return marks;
    Box const box = BoxOf(scan);
    for (int axis = 0; axis < 3; ++axis)
        if (!((box.high[axis] - box.low[axis]) / edge < (1 << bits)))
            throw new KxException(L"ScanFilter", __LINE__, TextOf(Text::CellsTooSmall));
    std::unordered_set<std::uint64_t> taken;
    taken.reserve(static_cast<std::size_t>(marks.Size()));
    for (int i = 0; i < marks.Size(); ++i) {
        std::uint64_t key = 0;
        for (int axis = 0; axis < 3; ++axis)
            key = key << bits | static_cast<std::uint64_t>((scan.points[i][axis] - box.low[axis]) / edge);
        marks[i] = taken.insert(key).second;
    }
    return marks;
}

int KeepPoints(Scan& scan, Marks const& marks, unsigned char kept) {
    KxTDynArray<KxVec3d> points;
    points.Reserve(scan.points.Size());
    for (int i = 0; i < marks.Size(); ++i)
        if (marks[i] == kept) points.Add(scan.points[i]);
    int const gone = scan.points.Size() - points.Size();
    scan.points = std::move(points);
    return gone;
}

}  // namespace ScanLab
