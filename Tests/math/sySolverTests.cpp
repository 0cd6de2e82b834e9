// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "DenseMatrices.h"
#include "hbtools/base/syObject.h"

#include <cmath>
#include <cstdlib>
#include <functional>
#include <new>
#include <tuple>

static long g_blocks = 0;       // allocated by new[]
static long g_failsAfter = -1;  // so many of them there is no memory, in the way of the framework
long g_plainFailsAfter = -1;    // so many blocks of `new` there is no memory, in the way of the language

[[gnu::noinline]] void* operator new[](std::size_t size) {
    ++g_blocks;
    if (g_failsAfter >= 0 && g_failsAfter-- == 0) KxN::AfxThrowMemoryException();
    return operator new(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const block = g_plainFailsAfter >= 0 && g_plainFailsAfter-- == 0 ? nullptr : std::malloc(size);
    if (!block) throw std::bad_alloc();
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete[](void* block) noexcept {
    operator delete(block);
}
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

using namespace KxN;

TEST(Solvers, LUByHand) {
    KxMatrix const a = Matrix(3, {0, 2, 1, 4, 2, 0, 2, 3, 2});
    KxTArray<int> permutation;
    int sign = -1;  // is multiplied into
    EXPECT_EQ(a.LUDecomposition(&permutation, &sign), Matrix(3, {4, 2, 0, 0, 2, 1, 0.5, 1, 1}));
    EXPECT_EQ(std::vector<int>(permutation.begin(), permutation.end()), (std::vector<int>{1, 0, 2}));
    EXPECT_EQ(sign, 1);
    EXPECT_EQ(a.LUDecomposition(nullptr, nullptr), a.LUDecomposition(&permutation, &sign));
    struct {
        KxMatrix matrix;
        double determinant;
    } const cases[] = {{a, -8},
                       {Matrix(2, {0, 1, 1, 0}), -1},
                       {Matrix(2, {1, 1, 1, 1}), 0},
                       {Matrix(2, {0, 0, 0, 1}), noNumber},  // 0 / 0 below the pivot
                       {Matrix(1, {-3}), -3},
                       {KxMatrix(0, 0), 1},
                       {Matrix(2, {noNumber, 1, 2, 3}), noNumber},
                       {Matrix(3, {1, 2, 9, 3, 4, 9}), -2},  // columns beyond the height do not count
                       {KxMatrix(1, 2), noNumber}};          // missing ones are zero
    for (auto const& [matrix, determinant] : cases) {
        double const got = matrix.Determinant();
        EXPECT_TRUE(got == determinant || (std::isnan(got) && std::isnan(determinant))) << got << ' ' << determinant;
    }
}

/// Elimination as it is defined, of rows in the order of their pivots.
template <class Number>
std::vector<Number> Eliminate(KxMatrix const& a) {
    int const n = a.Height();
    std::vector<Number> lu(a.Data(), a.Data() + n * n);
    Number* const m = lu.data();
    for (int k = 0; k < n - 1; ++k)
        for (int r = k + 1; r < n; ++r) {
            Number const factor = m[r * n + k] /= m[k * n + k];
            for (int c = k + 1; c < n; ++c) m[r * n + c] -= factor * m[k * n + c];
        }
    return lu;
}

TEST(Solvers, LUErrsNoMoreThanThePlainLoop) {
    long double total = 0;  // of the ratios of the squared errors
    for (auto const& [name, matrix] : Squares()) {
        int const n = matrix.Height();
        KxTArray<int> permutation;
        KxMatrix const lu = matrix.LUDecomposition(&permutation, nullptr);
        KxMatrix permuted(n, n);
        for (int r = 0; r < n; ++r) permuted.SetRow(r, matrix.Row(permutation[r]));
        auto const exact = Eliminate<long double>(permuted);
        auto const plain = Eliminate<double>(permuted);
        long double ours = 0, others = 1e-40L;
        for (int i = 0; i < n * n; ++i) {
            long double const truth = exact.data()[i], scale = truth == 0 ? 1 : truth;
            ours += std::pow((lu.Data()[i] - truth) / scale, 2);
            others += std::pow((plain.data()[i] - truth) / scale, 2);
            EXPECT_TRUE(i % n >= i / n || std::abs(lu.Data()[i]) <= 1) << name;
        }
        EXPECT_LE(ours, 4 * others) << name;
        total += ours / others - 1;
    }
    EXPECT_LE(total, 0);
}

TEST(Solvers, InversesAndSolutions) {
    for (auto const& [name, a] : Squares()) {
        int const n = a.Height();
        KxMatrix const right = Random(3, n, 7) * Size(a);
        for (KxMatrix const& inverse : {a.Inverse(), a.LUInverse()}) {
            double const bound = n * eps * n * Size(a) * Size(inverse);
            EXPECT_LE(std::min(Distance(a * inverse, Identity(n)), Distance(inverse * a, Identity(n))), bound) << name;
        }
        using Solver = bool (*)(KxMatrix const&, KxMatrix&, KxMatrix const&);
        for (Solver const solve :
             {Solver(KxMatrix::SolveEquationSystemGaussJordan), Solver(KxMatrix::SolveEquationSystemLU),
              Solver(KxMatrix::SolveEquationSystemSVD), Solver(KxMatrix::SolveEquationSystem)}) {
            KxMatrix x;
            ASSERT_TRUE(solve(a, x, right)) << name;
            // As good as the system that can be stored, whatever its condition.
            EXPECT_LE(Distance(a * x, right), n * eps * (n * Size(a) * Size(x) + Size(right))) << name;
        }
    }
}

/// Full pivoting as it is defined: true if it meets a pivot of zero.
bool MeetsZero(KxMatrix a) {
    int const n = a.Height();
    KxVec isDone(n, 0.0);
    for (int step = 0; step < n; ++step) {
        double best = 0;
        int row = 0, column = 0;
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < n; ++c)
                if (isDone[r] == 0 && isDone[c] == 0 && std::abs(a[r][c]) > best)
                    std::tie(best, row, column) = std::tuple(std::abs(a[r][c]), r, c);
        if (!(best > 0)) return true;
        isDone[column] = 1;
        if (row != column) std::swap_ranges(a[row], a[row] + n, a[column]);
        a.SetRow(column, a.Row(column).Div(KxVec(n, a[column][column])));
        for (int r = 0; r < n; ++r)
            if (r != column) a.SetRow(r, a.Row(r) - a.Row(column) * a[r][column]);
    }
    return false;
}

TEST(Solvers, FullPivotingTakesTheFirstLargest) {
    // Small whole numbers have many equal pivots, and whether rounding leaves an exact zero depends on their order.
    int singular = 0, kept = 0;
    for (unsigned int seed = 0; seed < 600; ++seed) {
        int const n = 2 + static_cast<int>(seed % 12);
        KxMatrix a = Random(n, n, 100 + seed) * 3;
        for (int i = 0; i < n * n; ++i) a.Data()[i] = std::round(a.Data()[i]);
        if (seed % 3 != 0) a.SetRow(n - 1, a.Row(0) + a.Row(n / 2));
        bool const isSingular = MeetsZero(a);
        (isSingular ? singular : kept) += seed % 3 != 0;
        ASSERT_EQ(a.IsSingular(), isSingular) << seed;
        ASSERT_EQ(IsSame(a.Inverse(), KxMatrix()), isSingular) << seed;
    }
    EXPECT_GT(singular, 100);
    EXPECT_GT(kept, 10);  // singular, but for the rounding
}

TEST(Solvers, NoSolutionAndOddSizes) {
    KxMatrix const ones = Matrix(2, {1, 1, 1, 1}), before = Matrix(1, {5, 6});
    struct {
        char const* name;
        KxMatrix matrix;
        bool isSingular;
    } const cases[] = {{"ones", ones, true},
                       {"zero", KxMatrix(3, 3), true},
                       {"empty", KxMatrix(0, 0), false},
                       {"no column", KxMatrix(0, 3), true},
                       {"no row", KxMatrix(3, 0), true},
                       {"wide", Random(3, 2), true},
                       {"wide, with a value of zero", Matrix(3, {1, 0, 0, 0, 2, 0}), true},
                       {"high", Random(2, 12), true},
                       {"one column short", Random(8, 9), true},
                       {"too high for a square", Random(1, 70000), true},
                       {"NaN alone", Matrix(1, {noNumber}), true},
                       {"NaN beside", Matrix(2, {1, noNumber, 0, 1}), true},
                       {"infinite", Matrix(2, {infinity, 1, 1, 1}), false},
                       {"denormal", Matrix(2, {5e-324, 0, 0, 1}), false},
                       {"huge", Matrix(2, {1e308, 1e308, 1e308, -1e308}), false},
                       {"twenty zeros", KxMatrix(20, 20), true},
                       {"twenty NaN", Random(20, 20) * noNumber, true}};
    for (auto const& [name, matrix, isSingular] : cases) {
        EXPECT_EQ(matrix.IsSingular(), isSingular) << name;
        KxMatrix const inverse = matrix.Inverse();
        EXPECT_TRUE(isSingular ? IsSame(inverse, KxMatrix()) : inverse.Height() == matrix.Height()) << name;
        KxMatrix x = before;
        KxMatrix const b = Random(2, matrix.Height());
        EXPECT_EQ(KxMatrix::SolveEquationSystemGaussJordan(matrix, x, b), !isSingular) << name;
        EXPECT_TRUE(isSingular ? IsSame(x, before) : x.Width() == 2 && x.Height() == matrix.Height()) << name;
        EXPECT_TRUE(KxMatrix::SolveEquationSystemLU(matrix, x, b) && x.Height() == matrix.Height()) << name;
        bool const isRuined = isSingular && matrix.Height() > 1 && matrix.Width() <= matrix.Height();
        EXPECT_TRUE(!isRuined || !std::isfinite(Size(x))) << name;
        KxVec column = b.Col(0);
        EXPECT_TRUE(KxMatrix::SolveEquationSystemLU(matrix, column, column) && column.Size() == matrix.Height())
            << name;
        KxVec solved;
        EXPECT_EQ(KxMatrix::SolveEquationSystemGaussJordan(matrix, solved, b.Col(0)), !isSingular) << name;
        EXPECT_TRUE(isSingular ? solved.Size() == 0 : solved.Size() == x.Height()) << name;
        bool const isHigh = matrix.Width() < matrix.Height();
        KxMatrix const byLU = matrix.LUInverse();
        EXPECT_TRUE(isHigh ? byLU.Height() == 1 && std::isnan(byLU[0][0]) : byLU.Height() == matrix.Height()) << name;
        double const determinant = matrix.Determinant();
        bool const isOneShort = matrix.Width() + 1 == matrix.Height();
        EXPECT_TRUE(!isHigh || (isOneShort ? determinant == 0 : std::isnan(determinant))) << name;
        KxMatrix U, V;
        KxVec W;
        EXPECT_TRUE(matrix.SVD(U, W, V)) << name;
        EXPECT_EQ(U.Height() * 1000 + W.Size(), matrix.Height() * 1000 + matrix.Width()) << name;
        bool const hasZero = std::any_of(W.begin(), W.end(), [](double w) { return !(w > 0); });  // or NaN
        (void)matrix.EigenVectors(&W);
        if (!isSingular) continue;
        KxMatrix bySVD = x = before;
        bool const isSolved = KxMatrix::SolveEquationSystemSVD(matrix, bySVD, b);
        EXPECT_EQ(KxMatrix::SolveEquationSystem(matrix, x, b), isSolved) << name;
        EXPECT_TRUE(isSolved ? IsSame(x, bySVD) : hasZero && IsSame(x, before)) << name;
    }
}

// The sums of elimination would be infinite, or its differences NaN, and small numbers come out that are wrong.
TEST(Solvers, NumbersNearTheEndOfTheirRange) {
    for (int const n : {2, 12}) {
        KxMatrix a(n, n), scaled(n, n), right(1, n);
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < n; ++c) a[r][c] = c <= r ? 1 : -1;  // grows at each step
        for (int i = 0; i < n * n; ++i) scaled.Data()[i] = std::ldexp(a.Data()[i], 1023);
        for (int i = 0; i < n; ++i) right.Data()[i] = std::ldexp(i % 3, 1000);
        KxMatrix expected = a.Inverse();
        for (KxMatrix const& inverse : {scaled.Inverse(), scaled.LUInverse()})
            for (int i = 0; i < n * n; ++i)
                EXPECT_NEAR(std::ldexp(inverse.Data()[i], 1023), expected.Data()[i], 1e-14) << n << ' ' << i;
        expected = a.Inverse() * right;
        for (auto const& solve : {std::function<bool(KxMatrix const&, KxMatrix&, KxMatrix const&)>(
                                      [](auto&&... of) { return KxMatrix::SolveEquationSystemGaussJordan(of...); }),
                                  {[](auto&&... of) { return KxMatrix::SolveEquationSystemLU(of...); }},
                                  {[](auto&&... of) { return KxMatrix::SolveEquationSystem(of...); }}}) {
            KxMatrix x;
            ASSERT_TRUE(solve(scaled, x, right));
            for (int i = 0; i < n; ++i)
                EXPECT_NEAR(std::ldexp(x.Data()[i], 23), std::ldexp(expected.Data()[i], -1000), 1e-14) << n << ' ' << i;
        }
    }
}

TEST(Solvers, RoutesOfTheDispatcher) {
    // The line through (0, 1), (1, 3), (2, 4), least squares by hand: 7 / 6 + 3 / 2 x.
    KxVec x;
    ASSERT_TRUE(KxMatrix::SolveEquationSystem(Matrix(2, {1, 0, 1, 1, 1, 2}), x, Vector({1, 3, 4})));
    EXPECT_LT(x.Distance(Vector({7.0 / 6, 1.5})), 1e-14);
    EXPECT_TRUE(!KxMatrix::SolveEquationSystem(KxMatrix(2, 2), x, Vector({1, 2})) && x.Size() == 2);  // as it was
    for (int const n : {2, 12}) {  // small numbers make no matrix singular
        ASSERT_TRUE(KxMatrix::SolveEquationSystem(Identity(n) * 2e-250, x, KxVec(n, 1e-250)));
        EXPECT_EQ(x, KxVec(n, 0.5)) << n;
    }
    for (int const n : {2, 8, 9, 40}) {
        KxMatrix a = Random(n, n), b = Random(2, n), expected, got;
        got = a;
        ASSERT_TRUE(KxMatrix::SolveEquationSystemLU(a, expected, b) && KxMatrix::SolveEquationSystem(got, got, b));
        EXPECT_TRUE(IsSame(got, expected)) << n;
        KxVec column = b.Col(1);
        ASSERT_TRUE(KxMatrix::SolveEquationSystem(a, column, column));  // result over the right side
        EXPECT_LE(column.Distance(expected.Col(1)), 1e-13 * n * column.Length()) << n;
        a.SetCol(0, KxVec(n, 0.0));  // singular: the other route
        bool const isSolved = KxMatrix::SolveEquationSystemSVD(a, expected, b);
        ASSERT_EQ(KxMatrix::SolveEquationSystem(a, got, b), isSolved) << n;
        EXPECT_TRUE(!isSolved || IsSame(got, expected)) << n;
    }
}

TEST(Solvers, SmallSizesAllocateTheirResult) {
    KxMatrix const a = Random(4, 4), symmetric = a + a.Transpose();
    KxMatrix U(4, 4), V(4, 4);
    KxVec W(4), b(4, 1.0);
    KxTArray<int> permutation(4);
    auto const blocks = [](auto work) {
        long const before = g_blocks;
        work();
        return g_blocks - before;
    };
    EXPECT_EQ(blocks([&] { (void)(a.Determinant() + a.IsSingular() + a.SVD(U, W, V)); }), 0);
    EXPECT_EQ(blocks([&] { (void)a.LUDecomposition(&permutation, nullptr); }), 1);
    EXPECT_EQ(blocks([&] { (void)a.Inverse(); }), 1);
    EXPECT_EQ(blocks([&] { (void)a.LUInverse(); }), 1);
    EXPECT_EQ(blocks([&] { (void)symmetric.EigenVectors(&W); }), 1);
    EXPECT_EQ(blocks([&] { (void)KxMatrix::SolveEquationSystem(a, W, b); }), 1);
    long tries = 0;
    for (bool isDone = false; !isDone; ++tries) {
        KxMatrix u = Matrix(1, {7}), v = u;
        KxVec w;
        g_failsAfter = tries;
        isDone = a.SVD(u, w, v);
        g_failsAfter = -1;
        EXPECT_TRUE(isDone || (u[0][0] == 7 && v[0][0] == 7 && w.Size() == 0)) << tries;  // as they were
    }
    EXPECT_EQ(tries, 4);  // each of the three results failed once
}

}  // namespace
