// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Sphere.h"

#include "Deviations.h"
#include "Operators/TextIds.h"

#include <hbtools/base/syException.h>
#include <hbtools/math/syMatrix.h>

#include <limits>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr int unknowns = 4;  // centre and radius
constexpr int mostSteps = 100;
constexpr double mostRadius = 1e4;  // in sizes of the scan; beyond it the points say plane
constexpr double flat = 1e-6;       // least in largest extent

[[noreturn]] void ThrowNoSphere() {
    throw new KxException(L"Sphere", __LINE__, TextOf(Text::NoSphere));
}

/// Sums of a linear problem with four unknowns.
class Equations {
public:
    Equations() : m_products(unknowns, unknowns), m_sides(unknowns, 0.0) {}

    void Add(double const (&row)[unknowns], double side) {
        for (int i = 0; i < unknowns; ++i) {
            for (int j = 0; j < unknowns; ++j) m_products[i][j] += row[i] * row[j];
            m_sides[i] += row[i] * side;
        }
    }
    KxVec Solve() const {
        KxVec x;
        if (!KxMatrix::SolveEquationSystem(m_products, x, m_sides)) ThrowNoSphere();
        return x;
    }

private:
    KxMatrix m_products;
    KxVec m_sides;
};

/// The points that take part, about their middle and in their size, so that place and unit cost no digits.
class Part {
public:
    Part(Scan const& scan, Sphere const& sphere, double limit, Progress const& progress) {
        PlaneSums sums;
        m_points.Reserve(scan.points->Size());
        InBlocks(progress.Part(0, 0.7), scan.points->Size(), [&](int begin, int end) {
            for (int i = begin; i < end; ++i)
                if (!(KxMath::Abs(sphere.Distance(scan.points[i])) > limit)) {
                    m_points.Add(scan.points[i]);
                    sums.Add(scan.points[i]);
                }
        });
        if (m_points.Size() < unknowns) ThrowNoSphere();
        Plane const plane = sums.Fit();
        m_middle = plane.center;
        double thickness = 0;
        InBlocks(progress.Part(0.7, 0.9), m_points.Size(), [&](int begin, int end) {
            for (int i = begin; i < end; ++i) {
                m_size += m_points[i].SquaredDistance(m_middle);
                thickness += KxMath::Sqr(plane.Distance(m_points[i]));
            }
        });
        m_size = KxMath::Sqrt(m_size / m_points.Size());
        // Points in a plane lie on many spheres.
        if (!(m_size > 0) || !(KxMath::Sqrt(thickness / m_points.Size()) > flat * m_size)) ThrowNoSphere();
        InBlocks(progress.Part(0.9, 1), m_points.Size(), [&](int begin, int end) {
            for (int i = begin; i < end; ++i) {
                m_points[i] -= m_middle;
                m_points[i] /= m_size;
            }
        });
    }

    /// The sphere whose power of the points is least: linear, and near enough to start from.
    Sphere Estimate(Progress const& progress) const {
        Equations equations;
        InBlocks(progress, m_points.Size(), [&](int begin, int end) {
            for (int i = begin; i < end; ++i) {
                KxVec3d const& p = m_points[i];
                equations.Add({2 * p[0], 2 * p[1], 2 * p[2], 1}, p.Dot(p));
            }
        });
        KxVec const x = equations.Solve();
        KxVec3d const center(x[0], x[1], x[2]);
        return {center, KxMath::Sqrt(KxMath::Max(0.0, x[3] + center.Dot(center)))};
    }

    /// The sphere with the least squares of the distances, by Gauss-Newton.
    Sphere Fit(Progress progress) const {
        Sphere sphere = Estimate(progress.Part(0, 0.2));
        progress = progress.Part(0.2, 1);
        for (int step = 0; step < mostSteps; ++step) {
            Equations equations;
            // Nobody knows how many steps there will be; half of what is left is each one's.
            InBlocks(progress.Part(0, 0.5), m_points.Size(), [&](int begin, int end) {
                for (int i = begin; i < end; ++i) {
                    KxVec3d toward(m_points[i]);
                    toward -= sphere.center;
                    double const distance = toward.Length();
                    if (!(distance > 0)) continue;
                    toward /= distance;
                    equations.Add({toward[0], toward[1], toward[2], 1}, distance - sphere.radius);
                }
            });
            progress = progress.Part(0.5, 1);
            KxVec const x = equations.Solve();
            KxVec3d const shift(x[0], x[1], x[2]);
            sphere.center += shift;
            sphere.radius += x[3];
            if (!(sphere.radius > 0 && sphere.radius < mostRadius)) ThrowNoSphere();
            if (shift.Length() + KxMath::Abs(x[3]) < 1e-12 * (1 + sphere.radius)) break;
        }
        sphere.center *= m_size;
        sphere.center += m_middle;
        sphere.radius *= m_size;
        return sphere;
    }

private:
    KxTDynArray<KxVec3d> m_points;
    KxVec3d m_middle;
    double m_size = 0;
};

}  // namespace

Sphere FitSphere(Scan const& scan, double sigmas, int passes, Progress progress) {
    Sphere sphere;
    double limit = std::numeric_limits<double>::infinity();
    progress = progress.Stage(L"sphere", 0, 1);
    for (int pass = 0; pass < passes; ++pass) {
        Progress const part = progress.Part(double(pass) / passes, double(pass + 1) / passes);
        sphere = Part(scan, sphere, limit, part.Part(0, 0.2)).Fit(part.Part(0.2, 0.8));
        double const sigma = CoreOf(DeviationsFrom(sphere, scan, part.Part(0.8, 0.9)), 1, part.Part(0.9, 1)).sigma;
        if (!(sigma > 0)) break;
        limit = sigmas * sigma;
    }
    return sphere;
}

KxHistogram DeviationsFrom(Sphere const& sphere, Scan const& scan, Progress progress) {
    KxHistogram deviations(4096);
    InBlocks(progress, scan.points->Size(), [&](int begin, int end) {
        for (int i = begin; i < end; ++i) deviations.Add(sphere.Distance(scan.points[i]));
    });
    return deviations;
}

}  // namespace ScanLab
