// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Ten million points under a matrix, out of place into an array that is there, beside a loop written by hand with SSE2
// and stores past the caches, and beside Eigen. Conjugate gradients on the matrix of a square grid beside rows written by
// hand and Eigen: each makes the steps that ours needs. Histograms beside a loop by hand, and beside just reading the
// values.

#include "hbtools/math/syHistogram.h"
#include "hbtools/math/syMatrix4.h"
#include "hbtools/math/syRangeHistogram.h"
#include "hbtools/math/sySparseMatrix.h"

#include <benchmark/benchmark.h>

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <vector>

#ifdef HBTOOLS_BENCH_EIGEN
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <Eigen/Dense>
#include <Eigen/IterativeLinearSolvers>
#include <Eigen/Sparse>
#pragma GCC diagnostic pop
#endif

using namespace KxN;

namespace {

// ---- points ----

constexpr int cloud = 10'000'000;

KxMatrix4 const& Motion() {
    static KxMatrix4 const motion = KxMatrix4::ATranslation({10, -20, 30}) * KxMatrix4::ARotation({1, 2, 3}, 0.7);
    return motion;
}

template <class Point>
KxTArray<Point> Points(int n) {
    KxTArray<Point> points(n);
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c) points[i][c] = static_cast<float>(i % 1000 + c);
    return points;
}

template <class Point>
bool IsRight(KxTArray<Point> const& in, KxTArray<Point> const& out) {
    for (int i = 0; i < in.Size(); i += 997) {
        Point const expected = Motion() * in[i];
        if (out[i].Distance(expected) > 1e-3) return false;
    }
    return true;
}

/// Runs `transform(in, out)` on arrays that are there.
template <class Point, class Transform>
void MeasureTransform(benchmark::State& state, Transform transform) {
    int const n = static_cast<int>(state.range(0));
    KxTArray<Point> const in = Points<Point>(n);
    KxTArray<Point> out = in;
    transform(in, out);
    if (!IsRight(in, out)) state.SkipWithError("wrong points");
    for (auto _ : state) {
        transform(in, out);
        benchmark::ClobberMemory();
    }
}

template <class Point>
void TransformOurs(benchmark::State& state) {
    MeasureTransform<Point>(state,
                            [](KxTArray<Point> const& in, KxTArray<Point>& out) { Motion().Transform(in, out); });
}

/// Two points at a time: three pairs of numbers come in, and three go out.
void HandWritten(double const* in, double* out, int points) {
    KxMatrix4 const& m = Motion();
    for (int i = 0; i < points / 2; ++i, in += 6, out += 6) {
        __m128d const a = _mm_loadu_pd(in), b = _mm_loadu_pd(in + 2), c = _mm_loadu_pd(in + 4);
        __m128d const x = _mm_shuffle_pd(a, b, 2), y = _mm_shuffle_pd(a, c, 1), z = _mm_shuffle_pd(b, c, 2);
        __m128d image[3];
        for (int r = 0; r < 3; ++r)
            image[r] = _mm_add_pd(
                _mm_add_pd(_mm_add_pd(_mm_mul_pd(_mm_set1_pd(m[r][0]), x), _mm_mul_pd(_mm_set1_pd(m[r][1]), y)),
                           _mm_mul_pd(_mm_set1_pd(m[r][2]), z)),
                _mm_set1_pd(m[r][3]));
        _mm_stream_pd(out, _mm_unpacklo_pd(image[0], image[1]));
        _mm_stream_pd(out + 2, _mm_shuffle_pd(image[2], image[0], 2));
        _mm_stream_pd(out + 4, _mm_unpackhi_pd(image[1], image[2]));
    }
    _mm_sfence();
}

/// Four points at a time, widened to pairs of doubles.
void HandWritten(float const* in, float* out, int points) {
    KxMatrix4 const& m = Motion();
    for (int i = 0; i < points / 4; ++i, in += 12, out += 12) {
        __m128 const a = _mm_loadu_ps(in), b = _mm_loadu_ps(in + 4), c = _mm_loadu_ps(in + 8);
        __m128 const xy = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 1, 3, 2));  // x2 y2 x3 y3
        __m128 const yz = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 0, 2, 1));  // y0 z0 y1 z1
        __m128 const x = _mm_shuffle_ps(a, xy, _MM_SHUFFLE(2, 0, 3, 0));
        __m128 const y = _mm_shuffle_ps(yz, xy, _MM_SHUFFLE(3, 1, 2, 0));
        __m128 const z = _mm_shuffle_ps(yz, c, _MM_SHUFFLE(3, 0, 3, 1));
        __m128 image[3];
        for (int r = 0; r < 3; ++r) {
            auto const half = [&](__m128 u, __m128 v, __m128 w) {
                __m128d const sum = _mm_add_pd(_mm_add_pd(_mm_mul_pd(_mm_set1_pd(m[r][0]), _mm_cvtps_pd(u)),
                                                          _mm_mul_pd(_mm_set1_pd(m[r][1]), _mm_cvtps_pd(v))),
                                               _mm_mul_pd(_mm_set1_pd(m[r][2]), _mm_cvtps_pd(w)));
                return _mm_cvtpd_ps(_mm_add_pd(sum, _mm_set1_pd(m[r][3])));
            };
            image[r] =
                _mm_movelh_ps(half(x, y, z), half(_mm_movehl_ps(x, x), _mm_movehl_ps(y, y), _mm_movehl_ps(z, z)));
        }
        __m128 const uv = _mm_unpacklo_ps(image[0], image[1]);                           // x0 y0 x1 y1
        __m128 const uvHigh = _mm_unpackhi_ps(image[0], image[1]);                       // x2 y2 x3 y3
        __m128 const wx = _mm_shuffle_ps(image[2], uv, _MM_SHUFFLE(2, 2, 0, 0));         // z0 z0 x1 x1
        __m128 const yw = _mm_shuffle_ps(uv, image[2], _MM_SHUFFLE(1, 1, 3, 3));         // y1 y1 z1 z1
        __m128 const wLast = _mm_shuffle_ps(image[2], uvHigh, _MM_SHUFFLE(2, 2, 2, 2));  // z2 z2 x3 x3
        __m128 const yLast = _mm_shuffle_ps(uvHigh, image[2], _MM_SHUFFLE(3, 3, 3, 3));  // y3 y3 z3 z3
        _mm_stream_ps(out, _mm_shuffle_ps(uv, wx, _MM_SHUFFLE(2, 0, 1, 0)));
        _mm_stream_ps(out + 4, _mm_shuffle_ps(yw, uvHigh, _MM_SHUFFLE(1, 0, 2, 0)));
        _mm_stream_ps(out + 8, _mm_shuffle_ps(wLast, yLast, _MM_SHUFFLE(2, 0, 2, 0)));
    }
    _mm_sfence();
}

template <class Point>
void TransformByHand(benchmark::State& state) {
    MeasureTransform<Point>(state, [](KxTArray<Point> const& in, KxTArray<Point>& out) {
        HandWritten(in[0].Values(), out[0].Values(), in.Size());
    });
}

#ifdef HBTOOLS_BENCH_EIGEN
Eigen::Affine3d EigenMotion() {
    Eigen::Affine3d motion;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) motion.matrix()(r, c) = Motion()[r][c];
    return motion;
}

void TransformEigenDouble(benchmark::State& state) {
    Eigen::Affine3d const motion = EigenMotion();
    MeasureTransform<KxVec3d>(state, [&](KxTArray<KxVec3d> const& in, KxTArray<KxVec3d>& out) {
        Eigen::Map<Eigen::Matrix3Xd const> const from(in[0].Values(), 3, in.Size());
        Eigen::Map<Eigen::Matrix3Xd> to(out[0].Values(), 3, out.Size());
        for (int i = 0; i < in.Size(); ++i) to.col(i).noalias() = motion * from.col(i);
    });
}

void TransformEigenFloat(benchmark::State& state) {
    Eigen::Affine3d const motion = EigenMotion();
    MeasureTransform<KxVec3f>(state, [&](KxTArray<KxVec3f> const& in, KxTArray<KxVec3f>& out) {
        Eigen::Map<Eigen::Matrix3Xf const> const from(in[0].Values(), 3, in.Size());
        Eigen::Map<Eigen::Matrix3Xf> to(out[0].Values(), 3, out.Size());
        for (int i = 0; i < in.Size(); ++i)
            to.col(i).noalias() = (motion * from.col(i).cast<double>()).template cast<float>();
    });
}
#endif

BENCHMARK(TransformOurs<KxVec3d>)->Name("transform double/hbtools")->Arg(1000)->Arg(cloud)->UseRealTime();
BENCHMARK(TransformByHand<KxVec3d>)->Name("transform double/SSE2")->Arg(1000)->Arg(cloud)->UseRealTime();
BENCHMARK(TransformOurs<KxVec3f>)->Name("transform float/hbtools")->Arg(1000)->Arg(cloud)->UseRealTime();
BENCHMARK(TransformByHand<KxVec3f>)->Name("transform float/SSE2")->Arg(1000)->Arg(cloud)->UseRealTime();
#ifdef HBTOOLS_BENCH_EIGEN
BENCHMARK(TransformEigenDouble)->Name("transform double/Eigen")->Arg(1000)->Arg(cloud)->UseRealTime();
BENCHMARK(TransformEigenFloat)->Name("transform float/Eigen")->Arg(1000)->Arg(cloud)->UseRealTime();
#endif

// ---- sparse ----

/// Hands the triples of the five-point grid of side * side unknowns to `add`.
template <class Add>
void Grid(int side, Add add) {
    for (int r = 0; r < side; ++r) {
        for (int c = 0; c < side; ++c) {
            int const i = r * side + c;
            if (r > 0) add(i, i - side, -1.0);
            if (c > 0) add(i, i - 1, -1.0);
            add(i, i, 4.0);
            if (c + 1 < side) add(i, i + 1, -1.0);
            if (r + 1 < side) add(i, i + side, -1.0);
        }
    }
}

KxSparseMatrix GridMatrix(int side) {
    KxSparseMatrix A;
    Grid(side, [&A](int r, int c, double v) { A.Add(r, c, v); });
    return A;
}

/// Rows written by hand, with every loop doing all it can on the way.
struct HandRows {
    std::vector<int> begins{0}, columns;
    std::vector<double> values;

    explicit HandRows(int side) {
        int row = 0;
        Grid(side, [&](int r, int c, double v) {
            if (r != row) begins.push_back(static_cast<int>(columns.size()));
            row = r;
            columns.push_back(c);
            values.push_back(v);
        });
        begins.push_back(static_cast<int>(columns.size()));
    }

    /// Solves from x = 0; returns the number of steps.
    int Solve(std::vector<double>& x, std::vector<double> const& b) const {
        std::size_t const n = b.size();
        std::vector<double> r(b), p(b), q(n);
        x.assign(n, 0.0);
        double rr = 0;
        for (double const value : r) rr += value * value;
        int steps = 0;
        while (rr >= 1e-10 && steps < static_cast<int>(n)) {
            double pq = 0;
            for (std::size_t i = 0; i < n; ++i) {
                double sum = 0;
                for (int k = begins[i]; k < begins[i + 1]; ++k)
                    sum += values[static_cast<std::size_t>(k)] *
                           p[static_cast<std::size_t>(columns[static_cast<std::size_t>(k)])];
                q[i] = sum;
                pq += sum * p[i];
            }
            double const alpha = rr / pq;
            double next = 0;
            for (std::size_t i = 0; i < n; ++i) {
                x[i] += alpha * p[i];
                r[i] -= alpha * q[i];
                next += r[i] * r[i];
            }
            double const beta = next / rr;
            rr = next;
            for (std::size_t i = 0; i < n; ++i) p[i] = r[i] + beta * p[i];
            ++steps;
        }
        return steps;
    }
};

double RightSide(int i) {
    return i % 7 - 3;
}

void SparseOurs(benchmark::State& state) {
    int const side = static_cast<int>(state.range(0)), n = side * side;
    KxSparseMatrix const A = GridMatrix(side);
    KxVec x(n, 0.0), b(n, 0.0);
    for (int i = 0; i < n; ++i) b[i] = RightSide(i);
    for (auto _ : state) {
        x = 0.0;
        KxSparseMatrix::Solve(A, x, b);
    }
    if ((b - A * x).SquaredLength() > 2e-10) state.SkipWithError("wrong solution");
}

void SparseByHand(benchmark::State& state) {
    int const side = static_cast<int>(state.range(0)), n = side * side;
    HandRows const A(side);
    std::vector<double> x, b;
    for (int i = 0; i < n; ++i) b.push_back(RightSide(i));
    int steps = 0;
    for (auto _ : state) steps = A.Solve(x, b);
    state.counters["steps"] = steps;
}

#ifdef HBTOOLS_BENCH_EIGEN
void SparseEigen(benchmark::State& state) {
    int const side = static_cast<int>(state.range(0)), n = side * side;
    std::vector<Eigen::Triplet<double>> triplets;
    Grid(side, [&](int r, int c, double v) { triplets.emplace_back(r, c, v); });
    Eigen::SparseMatrix<double, Eigen::RowMajor> A(n, n);
    A.setFromTriplets(triplets.begin(), triplets.end());
    Eigen::VectorXd b(n), x(n);
    for (int i = 0; i < n; ++i) b[i] = RightSide(i);
    Eigen::ConjugateGradient<Eigen::SparseMatrix<double, Eigen::RowMajor>, Eigen::Lower | Eigen::Upper,
                             Eigen::IdentityPreconditioner>
        solver;
    solver.setTolerance(1e-5 / b.norm());
    solver.compute(A);
    for (auto _ : state) {
        x = solver.solve(b);
        benchmark::DoNotOptimize(x.data());
    }
    state.counters["steps"] = static_cast<double>(solver.iterations());
}
BENCHMARK(SparseEigen)->Name("conjugate gradient/Eigen")->Arg(316)->UseRealTime();
#endif
BENCHMARK(SparseOurs)->Name("conjugate gradient/hbtools")->Arg(316)->UseRealTime();
BENCHMARK(SparseByHand)->Name("conjugate gradient/rows by hand")->Arg(316)->UseRealTime();

void TriplesOurs(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        KxSparseMatrix A;
        for (int i = 0; i < n; ++i) A.Add(i, i ^ 1, i);
        benchmark::DoNotOptimize(A);
    }
}

void TriplesVectors(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::vector<double> values;
        std::vector<int> rows, columns;
        for (int i = 0; i < n; ++i) {
            values.push_back(i);
            rows.push_back(i);
            columns.push_back(i ^ 1);
        }
        benchmark::DoNotOptimize(values.data());
        benchmark::DoNotOptimize(rows.data());
        benchmark::DoNotOptimize(columns.data());
    }
}
BENCHMARK(TriplesOurs)->Name("sparse triples/hbtools")->Arg(1000000)->UseRealTime();
BENCHMARK(TriplesVectors)->Name("sparse triples/three vectors")->Arg(1000000)->UseRealTime();

// ---- histograms ----

KxTArray<double> Deviations(int n) {
    KxTArray<double> values(n);
    for (int i = 0; i < n; ++i) values[i] = std::sin(i * 0.7) + std::sin(i * 1.3) * 0.5;
    return values;
}

void RangeOurs(benchmark::State& state) {
    KxTArray<double> const values = Deviations(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        KxRangeHistogram counts(-1.5, 1.5, 60);
        counts.AddValues(values.Data(), values.Size());
        benchmark::DoNotOptimize(counts.Data().Data());
    }
}

void RangeByHand(benchmark::State& state) {
    KxTArray<double> const values = Deviations(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::vector<int> counts(60);
        for (double const value : values)
            ++counts[static_cast<std::size_t>(std::min(std::max((value + 1.5) * 20.0, 0.0), 59.0))];
        benchmark::DoNotOptimize(counts.data());
    }
}

void RangeMemory(benchmark::State& state) {
    KxTArray<double> const values = Deviations(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        __m128d sums[4] = {};
        for (int i = 0; i + 8 <= values.Size(); i += 8)
            for (int k = 0; k < 4; ++k) sums[k] = _mm_add_pd(sums[k], _mm_loadu_pd(values.Data() + i + 2 * k));
        benchmark::DoNotOptimize(sums);
    }
}

void ListOurs(benchmark::State& state) {
    KxTArray<double> const values = Deviations(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        KxHistogram histogram(4096);
        for (double const value : values) histogram.Add(value);
        benchmark::DoNotOptimize(histogram);
    }
}

void ListBlocks(benchmark::State& state) {
    KxTArray<double> const values = Deviations(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        KxTBlockList<double> list(4096);
        for (double const value : values) list.AddTail(value);
        benchmark::DoNotOptimize(list);
    }
}

BENCHMARK(RangeOurs)->Name("range histogram/hbtools")->Arg(cloud)->UseRealTime();
BENCHMARK(RangeByHand)->Name("range histogram/loop by hand")->Arg(cloud)->UseRealTime();
BENCHMARK(RangeMemory)->Name("range histogram/sum of the values")->Arg(cloud)->UseRealTime();
BENCHMARK(ListOurs)->Name("histogram of values/hbtools")->Arg(cloud)->UseRealTime();
BENCHMARK(ListBlocks)->Name("histogram of values/its list alone")->Arg(cloud)->UseRealTime();

}  // namespace
