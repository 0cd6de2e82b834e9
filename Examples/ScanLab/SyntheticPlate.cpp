// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "SyntheticPlate.h"

#include "Conditions.h"

#include <hbtools/math/syMath.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr double length = 160.0;  // mm, along x
constexpr double width = 100.0;   // mm, along y
constexpr double inset = 20.0;    // mm, of the bores from the edges
constexpr double boreRadius = 6.0;
constexpr double sinkRadius = 10.0;
constexpr double waviness = 0.004;
constexpr double pitch = 12.5;
constexpr double noise = 0.003;

// The standard library leaves its distributions open; these numbers are the same everywhere.
class Random {
public:
    double Uniform() {
        m_state += 0x9e3779b97f4a7c15ULL;
        std::uint64_t z = m_state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return static_cast<double>((z ^ (z >> 31)) >> 11) * 0x1p-53;
    }
    /// Sum of twelve: near enough to normal for a measuring noise, and free of library functions.
    double Normal() {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i) sum += Uniform();
        return sum;
    }

private:
    std::uint64_t m_state = 20240229;
};

double DistanceToNearestBore(double x, double y) {
    double const dx = std::min(std::abs(x - inset), std::abs(x - (length - inset)));
    double const dy = std::min(std::abs(y - inset), std::abs(y - (width - inset)));
    return KxMath::Sqrt(dx * dx + dy * dy);
}

}  // namespace

Scan MakeSyntheticPlate(int count, Progress progress) {
    Scan scan;
    scan.name = KxString(L"Plate with bores");
    scan.source = KxString(L"synthetic");
    scan.unit = KxString(L"mm");
    scan.conditions = ConditionsOfPlate();
    KxTDynArray<KxVec3d>& points = scan.points.Edit();
    points.Reserve(count);
    progress = progress.Stage(L"measuring", 0, 1);
    Random random;
    int const columns = std::max(1, static_cast<int>(std::sqrt(count * length / width)));
    int const rows = count / columns + 1;
    for (int i = 0; points.Size() < count; ++i) {
        double const x = (i % columns + random.Uniform()) * length / columns;
        double const y = (i / columns % rows + random.Uniform()) * width / rows;
        double const distance = DistanceToNearestBore(x, y);
        if (distance < boreRadius) continue;  // the beam falls through
        double const surface =
            distance < sinkRadius ? distance - sinkRadius : waviness * KxMath::Sin(KxMath::TwoPi * x / pitch);
        points.Add(KxVec3d(x, y, surface + noise * random.Normal()));
        if (i % (1 << 14) == 0) progress.Show(points.Size(), count);
    }
    return scan;
}

Scan MakeSyntheticSphere(int count, double radius, Progress progress) {
    Scan scan;
    scan.name = KxString(L"Sphere");
    scan.source = KxString(L"synthetic");
    scan.unit = KxString(L"mm");
    KxTDynArray<KxVec3d>& points = scan.points.Edit();
    points.Reserve(count);
    Random random;
    KxVec3d const center(40, -20, 15);
    InBlocks(progress.Stage(L"measuring", 0, 1), count, [&](int begin, int end) {
        for (int i = begin; i < end; ++i) {
            // A height and an angle that are spread evenly are spread evenly over the ball.
            double const height = -0.5 + 1.5 * random.Uniform();
            double const angle = KxMath::TwoPi * random.Uniform();
            double const reach = KxMath::Sqrt(1 - height * height);
            KxVec3d point(reach * KxMath::Cos(angle), reach * KxMath::Sin(angle), height);
            point *= radius + noise * random.Normal();
            point += center;
            points.Add(point);
        }
    });
    return scan;
}

}  // namespace ScanLab
