// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Dense matrices beside Eigen, one thread each: products, LU, inverses, systems with one right side, singular values
// with both sets of vectors, and symmetric eigenproblems. Eigen's matrices keep their sizes at run time as ours do;
// "Eigen4" is its inverse of matrices that are 4 by 4 by type. Every result is checked by what defines it.

#include "hbtools/math/syMatrix.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#ifdef HBTOOLS_BENCH_EIGEN
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <Eigen/Dense>
#pragma GCC diagnostic pop
#endif

using namespace KxN;

namespace {

KxMatrix Random(int width, int height, unsigned int seed = 1) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> number(-1, 1);
    KxMatrix matrix(width, height);
    for (int i = 0; i < width * height; ++i) matrix.Data()[i] = number(random);
    return matrix;
}

/// One large matrix or many small ones: what a processor foresees in one small matrix, it does not in another.
std::vector<KxMatrix> Some(benchmark::State const& state) {
    int const n = static_cast<int>(state.range(0));
    std::vector<KxMatrix> matrices;
    for (unsigned int seed = 1; seed <= (n < 8 ? 512U : 1U); ++seed) matrices.push_back(Random(n, n, seed));
    return matrices;
}

std::vector<KxMatrix> SomeSymmetric(benchmark::State const& state) {
    std::vector<KxMatrix> matrices = Some(state);
    for (KxMatrix& matrix : matrices) matrix += matrix.Transpose();
    return matrices;
}

bool IsSmall(KxMatrix const& difference) {
    double largest = 0;
    for (int i = 0; i < difference.Width() * difference.Height(); ++i)
        largest = std::fmax(largest, std::abs(difference.Data()[i]));
    return largest < 1e-8;
}

/// Runs `work` on each of the matrices; `isRight(matrix, result)` says whether a result is.
template <class Work, class IsRight>
void Measure(benchmark::State& state, std::vector<KxMatrix> const& matrices, Work work, IsRight isRight) {
    if (!isRight(matrices[0], work(matrices[0]))) state.SkipWithError("wrong result");
    std::size_t next = 0;
    for (auto _ : state) {
        auto result = work(matrices[next]);
        if (++next == matrices.size()) next = 0;
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
}

bool IsInverse(KxMatrix const& a, KxMatrix const& inverse) {
    return IsSmall(a * inverse - KxMatrix::IdentityMatrix(a.Height()));
}

void ProductOurs(benchmark::State& state) {
    Measure(
        state, Some(state), [](KxMatrix const& a) { return a * a; },
        [](KxMatrix const& a, KxMatrix const& product) {
            KxVec const ones(a.Width(), 1.0);
            return (a * (a * ones)).Distance(product * ones) < 1e-8;
        });
}

bool IsDecomposition(KxMatrix const& a, KxMatrix const& lu, KxTArray<int> const& permutation) {
    int const n = a.Height();
    KxMatrix lower = KxMatrix::IdentityMatrix(n), upper(n, n), permuted(n, n);
    for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n; ++c) (c < r ? lower : upper)[r][c] = lu[r][c];
        permuted.SetRow(r, a.Row(permutation[r]));
    }
    return IsSmall(lower * upper - permuted);
}

void LUOurs(benchmark::State& state) {
    KxTArray<int> permutation(static_cast<int>(state.range(0)));
    Measure(
        state, Some(state), [&](KxMatrix const& a) { return a.LUDecomposition(&permutation, nullptr); },
        [&](KxMatrix const& a, KxMatrix const& lu) { return IsDecomposition(a, lu, permutation); });
}

void InverseOurs(benchmark::State& state) {
    Measure(
        state, Some(state), [](KxMatrix const& a) { return a.Inverse(); }, IsInverse);
}

void LUInverseOurs(benchmark::State& state) {
    Measure(
        state, Some(state), [](KxMatrix const& a) { return a.LUInverse(); }, IsInverse);
}

template <auto solve>
void SolveOurs(benchmark::State& state) {
    int const n = static_cast<int>(state.range(0));
    KxVec const b = Random(1, n, 2).Col(0);
    Measure(
        state, Some(state),
        [&](KxMatrix const& a) {
            KxVec x;
            solve(a, x, b);
            return x;
        },
        [&](KxMatrix const& a, KxVec const& x) { return (a * x).Distance(b) < 1e-8; });
}

void SvdOurs(benchmark::State& state) {
    KxMatrix U, V;
    KxVec W;
    Measure(
        state, Some(state), [&](KxMatrix const& a) { return a.SVD(U, W, V); },
        [&](KxMatrix const& a, bool) { return IsSmall(U * KxMatrix::DiagonalMatrix(W) * V.Transpose() - a); });
}

void EigenVectorsOurs(benchmark::State& state) {
    KxVec values;
    Measure(
        state, SomeSymmetric(state), [&](KxMatrix const& a) { return a.EigenVectors(&values); },
        [&](KxMatrix const& a, KxMatrix const& q) { return IsSmall(a * q - q * KxMatrix::DiagonalMatrix(values)); });
}

using Solver = bool (*)(KxMatrix const&, KxVec&, KxVec const&);
constexpr Solver byLU = KxMatrix::SolveEquationSystemLU;
constexpr Solver byAny = KxMatrix::SolveEquationSystem;

BENCHMARK(ProductOurs)->Name("matrix product/hbtools")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(LUOurs)->Name("LU/hbtools")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(InverseOurs)->Name("inverse/hbtools")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(LUInverseOurs)->Name("inverse by LU/hbtools")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(SolveOurs<byLU>)->Name("solve by LU/hbtools")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(SolveOurs<byAny>)->Name("solve/hbtools")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(SvdOurs)->Name("SVD/hbtools")->Arg(3)->Arg(64)->Arg(256);
BENCHMARK(EigenVectorsOurs)->Name("eigenvectors/hbtools")->Arg(3)->Arg(64)->Arg(256);

#ifdef HBTOOLS_BENCH_EIGEN

using Rows = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

Eigen::MatrixXd ToEigen(KxMatrix const& matrix) {
    return Eigen::Map<Rows const>(matrix.Data(), matrix.Height(), matrix.Width());
}

/// Runs `work` on the same matrices.
template <class Matrix = Eigen::MatrixXd, class Work>
void MeasureEigen(benchmark::State& state, std::vector<KxMatrix> const& from, Work work) {
    std::vector<Matrix> matrices;
    matrices.reserve(from.size());
    for (KxMatrix const& matrix : from) matrices.push_back(ToEigen(matrix));
    std::size_t next = 0;
    for (auto _ : state) {
        auto result = work(matrices[next]);
        if (++next == matrices.size()) next = 0;
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
}

void ProductEigen(benchmark::State& state) {
    MeasureEigen(state, Some(state), [](Eigen::MatrixXd const& a) -> Eigen::MatrixXd { return a * a; });
}

void LUEigen(benchmark::State& state) {
    MeasureEigen(state, Some(state), [](Eigen::MatrixXd const& a) { return Eigen::PartialPivLU<Eigen::MatrixXd>(a); });
}

void InverseEigen(benchmark::State& state) {
    MeasureEigen(state, Some(state), [](Eigen::MatrixXd const& a) -> Eigen::MatrixXd { return a.inverse(); });
}

void InverseEigenFixed(benchmark::State& state) {
    MeasureEigen<Eigen::Matrix4d>(state, Some(state),
                                  [](Eigen::Matrix4d const& a) -> Eigen::Matrix4d { return a.inverse(); });
}

void SolveEigen(benchmark::State& state) {
    Eigen::VectorXd const b = ToEigen(Random(1, static_cast<int>(state.range(0)), 2));
    MeasureEigen(state, Some(state),
                 [&](Eigen::MatrixXd const& a) -> Eigen::VectorXd { return a.partialPivLu().solve(b); });
}

template <class Method>
void SvdEigen(benchmark::State& state) {
    MeasureEigen(state, Some(state),
                 [](Eigen::MatrixXd const& a) { return Method(a, Eigen::ComputeThinU | Eigen::ComputeThinV); });
}

void EigenVectorsEigen(benchmark::State& state) {
    MeasureEigen(state, SomeSymmetric(state),
                 [](Eigen::MatrixXd const& a) { return Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(a); });
}

BENCHMARK(ProductEigen)->Name("matrix product/Eigen")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(LUEigen)->Name("LU/Eigen")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(InverseEigen)->Name("inverse/Eigen")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(InverseEigenFixed)->Name("inverse/Eigen4")->Arg(4);
BENCHMARK(InverseEigen)->Name("inverse by LU/Eigen")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(SolveEigen)->Name("solve by LU/Eigen")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(SolveEigen)->Name("solve/Eigen")->Arg(4)->Arg(64)->Arg(256)->Arg(512);
BENCHMARK(SvdEigen<Eigen::JacobiSVD<Eigen::MatrixXd>>)->Name("SVD/Jacobi of Eigen")->Arg(3)->Arg(64)->Arg(256);
BENCHMARK(SvdEigen<Eigen::BDCSVD<Eigen::MatrixXd>>)->Name("SVD/BDC of Eigen")->Arg(3)->Arg(64)->Arg(256);
BENCHMARK(EigenVectorsEigen)->Name("eigenvectors/Eigen")->Arg(3)->Arg(64)->Arg(256);
#endif

}  // namespace
