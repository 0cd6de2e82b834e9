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
    Part(Scan const& scan, Sphere const& sphere, double limit) {
        PlaneSums sums;
        m_points.Reserve(scan.points.Size());
        for (KxVec3d const& point : scan.points)
            if (!(KxMath::Abs(sphere.Distance(point)) > limit)) {
                m_points.Add(point);
                sums.Add(point);
            }
        if (m_points.Size() < unknowns) ThrowNoSphere();
        Plane const plane = sums.Fit();
        m_middle = plane.center;
        double thickness = 0;
        for (KxVec3d const& point : m_points) {
            m_size += point.SquaredDistance(m_middle);
            thickness += KxMath::Sqr(plane.Distance(point));
        }
        m_size = KxMath::Sqrt(m_size / m_points.Size());
        // Points in a plane lie on many spheres.
        if (!(m_size > 0) || !(KxMath::Sqrt(thickness / m_points.Size()) > flat * m_size)) ThrowNoSphere();
        for (KxVec3d& point : m_points) {
            point -= m_middle;
            point /= m_size;
        }
    }

    /// The sphere whose power of the points is least: linear, and near enough to start from.
    Sphere Estimate() const {
        Equations equations;
        for (KxVec3d const& p : m_points) equations.Add({2 * p[0], 2 * p[1], 2 * p[2], 1}, p.Dot(p));
        KxVec const x = equations.Solve();
        KxVec3d const center(x[0], x[1], x[2]);
        return {center, KxMath::Sqrt(KxMath::Max(0.0, x[3] + center.Dot(center)))};
    }

    /// The sphere with the least squares of the distances, by Gauss-Newton.
    Sphere Fit() const {
        Sphere sphere = Estimate();
        for (int step = 0; step < mostSteps; ++step) {
            Equations equations;
            for (KxVec3d const& p : m_points) {
                KxVec3d toward(p);
                toward -= sphere.center;
                double const distance = toward.Length();
                if (!(distance > 0)) continue;
                toward /= distance;
                equations.Add({toward[0], toward[1], toward[2], 1}, distance - sphere.radius);
            }
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

Sphere FitSphere(Scan const& scan, double sigmas, int passes) {
    Sphere sphere;
    double limit = std::numeric_limits<double>::infinity();
    for (int pass = 0; pass < passes; ++pass) {
        sphere = Part(scan, sphere, limit).Fit();
        double const sigma = CoreOf(DeviationsFrom(sphere, scan), 1).sigma;
        if (!(sigma > 0)) break;
        limit = sigmas * sigma;
    }
    return sphere;
}

KxHistogram DeviationsFrom(Sphere const& sphere, Scan const& scan) {
    KxHistogram deviations(4096);
    for (KxVec3d const& point : scan.points) deviations.Add(sphere.Distance(point));
    return deviations;
}

}  // namespace ScanLab
