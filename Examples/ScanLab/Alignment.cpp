// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Alignment.h"

#include "Deviations.h"
#include "Neighbours.h"
#include "Operators/TextIds.h"

#include <hbtools/base/syException.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr int mostCompared = 20000;  // points of the moving scan in each step
constexpr int fewCompared = 3000;    // on all levels but the finest
constexpr int mostSteps = 40;        // on each level
constexpr int fewestNeighbours = 6;
constexpr double neighbourhood = 4.0;  // in distances of neighbours: a dozen of them lie within

/// The points of a scan that lie in the box.
KxTDynArray<KxVec3d> Inside(Scan const& scan, Box const& box, Progress const& progress) {
    KxTDynArray<KxVec3d> inside;
    inside.Reserve(scan.points->Size());
    InBlocks(progress, scan.points->Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i)
            if (box.Contains(scan.points[i])) inside.Add(scan.points[i]);
    });
    return inside;
}

/// Every n-th point, so that `most` are left at most.
template <class Points>
KxTArray<KxVec3d> Thinned(Points const& points, int most) {
    int const step = std::max(1, (points.Size() + most - 1) / most);
    KxTArray<KxVec3d> thinned((points.Size() + step - 1) / step);
    for (int i = 0; i < thinned.Size(); ++i) thinned[i] = points[i * step];
    return thinned;
}

/// The fixed scan as a surface: the plane through the neighbours of a point.
class Surface {
public:
    Surface(KxTArray<KxVec3d> points, double cell, Progress const& progress)
        : m_points(std::move(points)),
          m_neighbours(m_points, cell, progress),
          m_planes(m_points.Size()),
          m_states(m_points.Size()) {}
    Surface(Surface const&) = delete;
    Surface& operator=(Surface const&) = delete;

    /// The plane near `place`; null where there is no surface.
    Plane const* Near(KxVec3d const& place) {
        int const nearest = m_neighbours.Nearest(place);
        if (nearest < 0) return nullptr;
        if (m_states[nearest] == unknown) {
            PlaneSums sums;
            m_neighbours.Near(m_points[nearest], [&](int index, double) { sums.Add(m_points[index]); });
            m_planes[nearest] = sums.Fit();
            m_states[nearest] = sums.Count() >= fewestNeighbours ? surface : nothing;
        }
        return m_states[nearest] == surface ? &m_planes[nearest] : nullptr;
    }

private:
    enum State : unsigned char { unknown, surface, nothing };

    KxTArray<KxVec3d> m_points;
    Neighbours m_neighbours;
    KxTArray<Plane> m_planes;
    KxTArray<unsigned char> m_states;
};

/// The small motion that lowers the sum of squared distances most: a turn about the middle and a shift, six unknowns.
class MotionSums {
public:
    MotionSums() : m_products(6, 6), m_sides(6, 0.0) {}

    void Add(KxVec3d const& arm, KxVec3d const& normal, double distance) {
        KxVec3d const turn = arm.Cross(normal);
        double const row[6] = {turn[0], turn[1], turn[2], normal[0], normal[1], normal[2]};
        for (int i = 0; i < 6; ++i) {
            for (int j = 0; j < 6; ++j) m_products[i][j] += row[i] * row[j];
            m_sides[i] -= row[i] * distance;
        }
    }

    /// What the surface does not hold, as a plane does not hold a shift along itself, stays where it is. `way` gets how far
    /// a point at the distance `reach` moves.
    KxMatrix4 Solve(KxVec3d const& middle, double reach, double& way) const {
        constexpr double damping = 1e-9;
        KxMatrix products = m_products;
        for (int block = 0; block < 6; block += 3) {
            double sum = 0;
            for (int i = block; i < block + 3; ++i) sum += m_products[i][i];
            for (int i = block; i < block + 3; ++i) products[i][i] += damping * sum;
        }
        KxVec x;
        if (!KxMatrix::SolveEquationSystem(products, x, m_sides))
            throw new KxException(L"Alignment", __LINE__, TextOf(Text::NoMotion));
        KxVec3d const turn(x[0], x[1], x[2]);
        KxVec3d back(middle);
        back.Negate();
        KxVec3d shift(x[3], x[4], x[5]);
        way = shift.Length() + turn.Length() * reach;
        shift += middle;
        return KxMatrix4::ATranslation(shift) * KxMatrix4::ARotation(turn, turn.Length()) *
               KxMatrix4::ATranslation(back);
    }

private:
    KxMatrix m_products;
    KxVec m_sides;
};

/// How far the points of a surface lie apart: the median distance of some to their nearest one.
double Spacing(KxTArray<KxVec3d> const& points, Progress const& progress) {
    constexpr int asked = 200;
    KxTArray<KxVec3d> const some = Thinned(points, asked);
    KxTArray<double> distances(some.Size());
    for (int i = 0; i < some.Size(); ++i) {
        progress.Show(i, some.Size());
        double least = std::numeric_limits<double>::infinity();
        for (KxVec3d const& other : points) {
            double const squared = some[i].SquaredDistance(other);
            if (squared > 0) least = KxMath::Min(least, squared);
        }
        distances[i] = KxMath::Sqrt(least);
    }
    std::nth_element(distances.begin(), distances.begin() + distances.Size() / 2, distances.end());
    return distances[distances.Size() / 2];
}

/// One step on one level. Returns how far the motion took points; -1 if hardly anything is near the surface.
double Step(Surface& surface, KxTArray<KxVec3d> const& points, KxMatrix4& motion, double limit, Box const& box) {
    KxVec3d const turned = motion * box.Middle();
    MotionSums sums;
    int count = 0;
    for (KxVec3d const& point : points) {
        KxVec3d const place = motion * point;
        Plane const* const plane = surface.Near(place);
        if (!plane) continue;
        double const distance = plane->Distance(place);
        if (KxMath::Abs(distance) > limit) continue;
        KxVec3d arm(place);
        arm -= turned;
        sums.Add(arm, plane->normal, distance);
        ++count;
    }
    if (count < fewestPoints / 4) return -1;
    double way = 0;
    motion = sums.Solve(turned, box.Diagonal() / 2, way) * motion;
    return way;
}

[[noreturn]] void ThrowApart() {
    throw new KxException(L"Alignment", __LINE__, TextOf(Text::NothingInCommon));
}

}  // namespace

Alignment Align(Scan const& moving, Scan const& fixed, Progress progress) {
    if (moving.points->Size() < fewestPoints || fixed.points->Size() < fewestPoints) {
        throw new KxException(L"Alignment", __LINE__, FormatOf(Text::FewToAlign, fewestPoints));
    }
    Box const box = CoreBoxOf(moving), fixedBox = CoreBoxOf(fixed);
    double const size = fixedBox.Diagonal();
    Progress const preparing = progress.Stage(L"preparing", 0, 0.4);
    KxTDynArray<KxVec3d> const inside = Inside(fixed, fixedBox, preparing.Part(0, 0.1));
    KxTArray<KxVec3d> const all(inside.Data(), inside.Size());
    KxTArray<KxVec3d> const points = Thinned(Inside(moving, box, preparing.Part(0.1, 0.2)), mostCompared);
    double const spacing = Spacing(all, preparing.Part(0.2, 1));
    if (!(spacing < size)) throw new KxException(L"Alignment", __LINE__, TextOf(Text::NoExtent));
    double const finest = KxMath::Max(neighbourhood * spacing, 1e-9 * size);

    Alignment result;
    result.compared = points.Size();
    Progress const aligning = progress.Stage(L"aligning", 0.4, 1);
    double const coarsest = KxMath::Max(size / 16, finest);
    unsigned const levels = 1 + static_cast<unsigned>(KxMath::Max(0.0, std::ceil(std::log2(coarsest / finest) / 2)));
    unsigned level = 0;
    double cell = coarsest;
    for (bool last = false; !last; ++level) {
        last = cell <= finest;
        // The finest one has by far the most points.
        Progress const part =
            last ? aligning.Part(0.3, 1) : aligning.Part(0.3 * level / levels, 0.3 * (level + 1) / levels);
        // Coarse planes need few points, and few are enough to find a coarse motion.
        KxTArray<KxVec3d> const compared = last ? points : Thinned(points, fewCompared);
        double const needed = 2 * KxMath::Sqr(2.5 * size / cell);
        Surface surface(last ? all : Thinned(all, static_cast<int>(KxMath::Min(needed, double(all.Size())))), cell,
                        part.Part(0, 0.6));
        for (int step = 0; step < mostSteps; ++step) {
            // What lies farther off belongs to no common surface. It must not be cut at the noise: the few points on
            // slopes are the ones that hold a flat part in place.
            double const way = Step(surface, compared, result.motion, step < 4 ? cell : cell / 4, box);
            ++result.steps;
            part.Part(0.6, 0.9).Show(step, mostSteps);
            if (way < 0) ThrowApart();
            if (step > 4 && way < (last ? 1e-7 : 1e-5) * size) break;
        }
        cell = KxMath::Max(cell / 4, finest);
        if (!last) continue;
        part.Part(0.9, 1).Show(0, 1);
        for (KxVec3d const& point : points) {
            KxVec3d const place = result.motion * point;
            if (Plane const* const plane = surface.Near(place)) {
                result.deviations.Add(plane->Distance(place));
                result.places.Add(place);
            }
        }
    }
    if (result.deviations.Count() < points.Size() / 10) ThrowApart();
    return result;
}

Scan HalfOf(Scan const& scan, int first, KxMatrix4 const& motion, Progress progress) {
    Scan half;
    half.name = scan.name;
    half.source = scan.source;
    half.unit = scan.unit;
    KxTDynArray<KxVec3d>& points = half.points.Edit();
    points.Reserve(scan.points->Size() / 2 + 1);
    InBlocks(progress, (scan.points->Size() - first + 1) / 2, [&](int begin, int end) {
        for (int i = begin; i < end; ++i) points.Add(motion * scan.points[2 * i + first]);
    });
    return half;
}

KxTDynArray<KxVec3d> Moved(KxTDynArray<KxVec3d> const& points, KxMatrix4 const& motion, Progress progress) {
    KxTDynArray<KxVec3d> moved;
    moved.Reserve(points.Size());
    InBlocks(progress, points.Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i) moved.Add(motion * points[i]);
    });
    return moved;
}

}  // namespace ScanLab
