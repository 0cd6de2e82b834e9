// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "ScanFilter.h"

#include "Neighbours.h"
#include "Operators/TextIds.h"

#include <hbtools/base/syException.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <unordered_set>

namespace ScanLab {

using namespace KxN;

Marks InBox(Scan const& scan, Box const& box, Progress progress) {
    Marks marks(scan.points->Size());
    InBlocks(progress.Stage(L"choosing", 0, 1), marks.Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i) marks[i] = box.Contains(scan.points[i]);
    });
    return marks;
}

Marks NotAlone(Scan const& scan, double distance, int neighbours, Progress progress) {
    KxTArray<KxVec3d> const points(scan.points->Data(), scan.points->Size());
    Neighbours const near(points, distance, progress.Stage(L"sorting", 0, 0.4));
    Marks marks(points.Size());
    InBlocks(progress.Stage(L"neighbours", 0.4, 1), marks.Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i) marks[i] = near.HasNear(points[i], neighbours + 1);  // it finds itself too
    });
    return marks;
}

/// Of cubes. Mixed with a number of this process, so that no scan can be made whose cubes all collide.
struct CubeHash {
    std::uint64_t seed = (std::uint64_t{std::random_device()()} << 32) ^ std::random_device()();

    std::size_t operator()(std::uint64_t cube) const noexcept {
        constexpr std::uint64_t multiplier = 0x9E3779B97F4A7C15u;
        cube = (cube ^ seed) * multiplier;
        cube = (cube ^ cube >> 32) * multiplier;
        return cube ^ cube >> 32;
    }
};

Marks OnePerCube(Scan const& scan, double edge, Progress progress) {
    constexpr int bits = 21;  // of a key for each axis
    Marks marks(scan.points->Size());
    if (marks.Size() == 0) return marks;
    Box const box = BoxOf(scan);
    for (int axis = 0; axis < 3; ++axis)
        if (!((box.high[axis] - box.low[axis]) / edge < (1 << bits)))
            throw new KxException(L"ScanFilter", __LINE__, TextOf(Text::CellsTooSmall));
    std::unordered_set<std::uint64_t, CubeHash> taken;
    taken.reserve(static_cast<std::size_t>(marks.Size()));
    InBlocks(progress.Stage(L"cubes", 0, 1), marks.Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i) {
            std::uint64_t key = 0;
            for (int axis = 0; axis < 3; ++axis)
                key = key << bits | static_cast<std::uint64_t>((scan.points[i][axis] - box.low[axis]) / edge);
            marks[i] = taken.insert(key).second;
        }
    });
    return marks;
}

KxTDynArray<KxVec3d> KeptPoints(Scan const& scan, Marks const& marks, unsigned char kept, Progress progress) {
    KxTDynArray<KxVec3d> points;
    points.Reserve(scan.points->Size());
    InBlocks(progress, marks.Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i)
            if (marks[i] == kept) points.Add(scan.points[i]);
    });
    return points;
}

}  // namespace ScanLab
