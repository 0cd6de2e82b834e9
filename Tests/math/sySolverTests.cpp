// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syObject.h"
#include "hbtools/math/syMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

static long g_blocks = 0;       // allocated by new[]
static long g_failsAfter = -1;  // so many of them there is no memory, in the way of the framework

[[gnu::noinline]] void* operator new[](std::size_t size) {
    ++g_blocks;
    if (g_failsAfter >= 0 && g_failsAfter-- == 0) KxN::AfxThrowMemoryException();
    return operator new(size);
}
[[gnu::noinline]] void operator delete[](void* block) noexcept {
    operator delete(block);
}
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

using namespace KxN;

constexpr double eps = 0x1p-52;
double const nan = std::nan("");
double const infinity = std::numeric_limits<double>::infinity();

KxMatrix Matrix(int width, std::vector<double> const& values) {
    KxMatrix result(width, static_cast<int>(values.size()) / width);
    std::copy(values.begin(), values.end(), result.Data());
    return result;
}

KxVec Vector(std::vector<double> const& values) {
    return KxVec(KxTArray<double>(values.data(), static_cast<int>(values.size())));
}

int Count(KxMatrix const& m) {
    return m.Width() * m.Height();
}

KxMatrix Random(int width, int height, unsigned int seed = 1) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> number(-1, 1);
    KxMatrix result(width, height);
    for (int i = 0; i < Count(result); ++i) result.Data()[i] = number(random);
    return result;
}

/// The largest absolute value; NaN if there is one.
double Size(KxMatrix const& m) {
    double largest = 0;
    for (int i = 0; i < Count(m); ++i)
        if (!(std::abs(m.Data()[i]) <= largest)) largest = std::abs(m.Data()[i]);
    return largest;
}

double Distance(KxMatrix const& a, KxMatrix const& b) {
    EXPECT_EQ(a.Width(), b.Width());
    EXPECT_EQ(a.Height(), b.Height());
    return Size(a - b);
}

bool IsSame(KxMatrix const& a, KxMatrix const& b) {
    return a.Width() == b.Width() && a.Height() == b.Height() && a == b;
}

KxMatrix Identity(int n) {
    return KxMatrix::IdentityMatrix(n);
}

struct Case {
    std::string name;
    KxMatrix matrix;
};

/// Regular and nearly singular matrices of small, usual and large numbers.
std::vector<Case> Squares() {
    std::vector<Case> cases;
    for (int const n : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 24, 33, 64, 65, 127, 130})
        cases.push_back({"random " + std::to_string(n), Random(n, n)});
    for (int const n : {3, 8, 12}) {
        KxMatrix hilbert(n, n), graded = Random(n, n, 2);
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < n; ++c) {
                hilbert[r][c] = 1.0 / (r + c + 1);
                graded[r][c] *= std::pow(10.0, -2 * r - c);
            }
        cases.push_back({"Hilbert " + std::to_string(n), hilbert});
        cases.push_back({"graded " + std::to_string(n), graded});
    }
    for (int const n : {4, 20}) {
        cases.push_back({"tiny " + std::to_string(n), Random(n, n) * 1e-300});
        cases.push_back({"huge " + std::to_string(n), Random(n, n) * 1e300});
    }
    return cases;
}

// ---- LU ----

TEST(Solvers, LUByHand) {
    KxMatrix const a = Matrix(3, {0, 2, 1, 4, 2, 0, 2, 3, 2});
    KxTArray<int> permutation;
    int sign = -1;  // is multiplied into
    EXPECT_EQ(a.LUDecomposition(&permutation, &sign), Matrix(3, {4, 2, 0, 0, 2, 1, 0.5, 1, 1}));
    EXPECT_EQ(std::vector<int>(permutation.begin(), permutation.end()), (std::vector<int>{1, 0, 2}));
    EXPECT_EQ(sign, 1);
    EXPECT_TRUE(IsSame(a.LUDecomposition(nullptr, nullptr), Matrix(3, {4, 2, 0, 0, 2, 1, 0.5, 1, 1})));
    struct {
        KxMatrix matrix;
        double determinant;
    } const cases[] = {{a, -8},
                       {Matrix(2, {0, 1, 1, 0}), -1},
                       {Matrix(2, {1, 1, 1, 1}), 0},
                       {Matrix(2, {0, 0, 0, 1}), nan},  // 0 / 0 below the pivot
                       {Matrix(1, {-3}), -3},
                       {KxMatrix(0, 0), 1},
                       {Matrix(2, {nan, 1, 2, 3}), nan},
                       {Matrix(3, {1, 2, 9, 3, 4, 9}), -2},  // columns beyond the height do not count
                       {KxMatrix(1, 2), nan}};               // missing ones are zero
    for (auto const& [matrix, determinant] : cases) {
        if (std::isnan(determinant))
            EXPECT_TRUE(std::isnan(matrix.Determinant())) << matrix.Height();
        else
            EXPECT_EQ(matrix.Determinant(), determinant);
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

// ---- inverses and systems ----

TEST(Solvers, InversesAndSolutions) {
    for (auto const& [name, a] : Squares()) {
        int const n = a.Height();
        KxMatrix const right = Random(3, n, 7) * Size(a);
        for (KxMatrix const& inverse : {a.Inverse(), a.LUInverse()}) {
            double const bound = 8 * n * eps * n * Size(a) * Size(inverse);
            EXPECT_LE(std::min(Distance(a * inverse, Identity(n)), Distance(inverse * a, Identity(n))), bound) << name;
        }
        double const size = n * Size(a);
        using Solver = bool (*)(KxMatrix const&, KxMatrix&, KxMatrix const&);
        for (Solver const solve :
             {Solver(KxMatrix::SolveEquationSystemGaussJordan), Solver(KxMatrix::SolveEquationSystemLU),
              Solver(KxMatrix::SolveEquationSystemSVD), Solver(KxMatrix::SolveEquationSystem)}) {
            KxMatrix x;
            if (!solve(a, x, right)) {
                ADD_FAILURE() << name;
                continue;
            }
            // The explicit inverse is only as good as the condition lets it be.
            double const condition = size * Size(a.Inverse());
            EXPECT_LE(Distance(a * x, right), 8 * n * eps * size * Size(x) * std::min(condition, 1e12)) << name;
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
                if (isDone[r] == 0 && isDone[c] == 0 && std::abs(a[r][c]) > best) {
                    best = std::abs(a[r][c]);
                    row = r;
                    column = c;
                }
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
    KxMatrix twenty(20, 20);
    twenty = 1.0;
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
                       {"high", Random(2, 12), true},
                       {"NaN alone", Matrix(1, {nan}), true},
                       {"NaN beside", Matrix(2, {1, nan, 0, 1}), true},
                       {"infinite", Matrix(2, {infinity, 1, 1, 1}), false},
                       {"denormal", Matrix(2, {5e-324, 0, 0, 1}), false},
                       {"twenty ones", twenty, true},
                       {"twenty NaN", twenty * nan, true}};
    for (auto const& [name, matrix, isSingular] : cases) {
        EXPECT_EQ(matrix.IsSingular(), isSingular) << name;
        KxMatrix const inverse = matrix.Inverse();
        EXPECT_EQ(inverse.Height(), isSingular ? 1 : matrix.Height()) << name;
        EXPECT_EQ(inverse.Width() == 1 && inverse[0][0] == 0.0, isSingular) << name;
        KxMatrix x = before;
        KxMatrix const b = Random(2, matrix.Height());
        EXPECT_EQ(KxMatrix::SolveEquationSystemGaussJordan(matrix, x, b), !isSingular) << name;
        EXPECT_TRUE(isSingular ? IsSame(x, before) : x.Width() == 2 && x.Height() == matrix.Height()) << name;
        EXPECT_TRUE(KxMatrix::SolveEquationSystemLU(matrix, x, b)) << name;
        EXPECT_EQ(x.Height(), matrix.Height()) << name;
        if (matrix.Height() > 1 && matrix.Width() == matrix.Height() && isSingular) {
            EXPECT_FALSE(std::isfinite(Size(x))) << name;
        }
        KxMatrix U, V;
        KxVec W;
        EXPECT_TRUE(matrix.SVD(U, W, V)) << name;
        EXPECT_EQ(U.Height() * 1000 + W.Size(), matrix.Height() * 1000 + matrix.Width()) << name;
        (void)matrix.EigenVectors(&W);
        (void)matrix.Determinant();
        (void)KxMatrix::SolveEquationSystem(matrix, x, b);
    }
}

TEST(Solvers, RoutesOfTheDispatcher) {
    // The line through (0, 1), (1, 3), (2, 4), least squares by hand: 7 / 6 + 3 / 2 x.
    KxVec x;
    ASSERT_TRUE(KxMatrix::SolveEquationSystem(Matrix(2, {1, 0, 1, 1, 1, 2}), x, Vector({1, 3, 4})));
    EXPECT_LT(x.Distance(Vector({7.0 / 6, 1.5})), 1e-14);
    EXPECT_FALSE(KxMatrix::SolveEquationSystem(KxMatrix(2, 2), x, Vector({1, 2})));
    EXPECT_EQ(x.Size(), 2);  // as it was
    for (int const n : {2, 8, 9, 40}) {
        KxMatrix a = Random(n, n), b = Random(2, n), expected, got;
        ASSERT_TRUE(KxMatrix::SolveEquationSystemLU(a, expected, b));
        ASSERT_TRUE(KxMatrix::SolveEquationSystem(a, got, b));
        EXPECT_TRUE(IsSame(got, expected)) << n;
        KxVec column = b.Col(1);
        ASSERT_TRUE(KxMatrix::SolveEquationSystem(a, column, column));  // result over the right side
        EXPECT_LE(column.Distance(expected.Col(1)), 1e-13 * n * column.Length()) << n;
        got = a;
        ASSERT_TRUE(KxMatrix::SolveEquationSystem(got, got, b));
        EXPECT_TRUE(IsSame(got, expected)) << n;
        a.SetCol(0, KxVec(n, 0.0));  // singular: the other route
        bool const isSolved = KxMatrix::SolveEquationSystemSVD(a, expected, b);
        ASSERT_EQ(KxMatrix::SolveEquationSystem(a, got, b), isSolved) << n;
        if (isSolved) {
            EXPECT_TRUE(IsSame(got, expected)) << n;
        }
    }
}

// ---- singular values ----

/// What defines the decomposition.
void ExpectDecomposition(std::string const& name, KxMatrix const& a) {
    KxMatrix U, V;
    KxVec W;
    ASSERT_TRUE(a.SVD(U, W, V)) << name;
    int const n = a.Width(), m = a.Height();
    double const bound = 16 * eps * (n + m);
    double largest = 0;
    KxMatrix scaled = U, gram = U.Transpose() * U;
    for (double const w : W) largest = std::max(largest, w);
    for (int k = 0; k < n; ++k) {
        EXPECT_GE(W[k], 0) << name;
        scaled.SetCol(k, U.Col(k) * W[k]);
        if (W[k] > bound * largest) {
            EXPECT_NEAR(gram[k][k], 1, bound) << name;
        }
    }
    EXPECT_LE(Distance(scaled * V.Transpose(), a), bound * largest) << name;
    EXPECT_LE(Distance(V.Transpose() * V, Identity(n)), bound) << name;
    if (m >= n && !a.IsSingular()) {
        EXPECT_LE(Distance(gram, Identity(n)), bound) << name;
    }
}

TEST(Svd, Families) {
    for (auto const& [name, matrix] : Squares()) ExpectDecomposition(name, matrix);
    for (auto const& [width, height] :
         {std::pair{1, 5}, {5, 1}, {3, 8}, {8, 3}, {20, 70}, {70, 20}, {1, 100}, {33, 34}})
        ExpectDecomposition(std::to_string(width) + " x " + std::to_string(height), Random(width, height));
    for (int const n : {4, 30}) {
        KxMatrix const low = Random(2, n) * Random(n, 2, 5);
        ExpectDecomposition("rank 2", low);
        ExpectDecomposition("rank 2, tiny", low * 1e-200);
        KxMatrix zeros = Random(n, n);
        for (int k = 0; k < n; k += 2) zeros.SetCol(k, KxVec(n, 0.0));
        ExpectDecomposition("zero columns", zeros);
        ExpectDecomposition("zero rows", zeros.Transpose());
        ExpectDecomposition("bidiagonal with a zero", KxMatrix::BinomialMatrix(n, n) - Identity(n));
    }
    ExpectDecomposition("zero", KxMatrix(3, 4));
}

TEST(Svd, SignsAndOrderByHand) {
    KxMatrix U, V;
    KxVec W;
    // The reflection of a positive element gives a negative value, so the column of V turns round; that of a negative
    // one does not.
    for (double const value : {2.0, -2.0}) {
        ASSERT_TRUE(Matrix(1, {value}).SVD(U, W, V));
        EXPECT_EQ(U[0][0], -1);
        EXPECT_EQ(W[0], 2);
        EXPECT_EQ(V[0][0], value > 0 ? -1 : 1);
    }
    ASSERT_TRUE(Matrix(2, {1, 0, 0, 3}).SVD(U, W, V));
    EXPECT_EQ(W, Vector({1, 3}));  // not sorted
    EXPECT_TRUE(IsSame(V, -1 * Identity(2)));
    KxMatrix self = Matrix(2, {1, 0, 0, 3});
    ASSERT_TRUE(self.SVD(self, W, V));
    EXPECT_TRUE(IsSame(self, -1 * Identity(2)));
}

// ---- eigenvectors ----

TEST(EigenVectors, Families) {
    std::vector<Case> cases = {{"zero", KxMatrix(5, 5)}, {"identity", Identity(20)}, {"empty", KxMatrix(0, 0)}};
    for (auto const& [name, matrix] : Squares()) cases.push_back({name, matrix * 0.5 + matrix.Transpose() * 0.5});
    for (int const n : {6, 50}) {
        KxMatrix clustered = Identity(n), one(n, n);
        for (int k = 0; k < n; ++k) clustered[k][k] += k % 3 * 1e-9;
        KxMatrix const q = clustered.EigenVectors(nullptr);
        KxMatrix const turn = (Random(n, n) + Random(n, n).Transpose()).EigenVectors(nullptr);
        one = 1.0;
        cases.push_back({"clustered", turn * clustered * turn.Transpose()});
        cases.push_back({"ones", one});
    }
    for (auto const& [name, matrix] : cases) {
        int const n = matrix.Height();
        KxVec values;
        KxMatrix const q = matrix.EigenVectors(&values);
        double const bound = 16 * eps * n, size = Size(matrix);
        ASSERT_EQ(values.Size(), n) << name;
        EXPECT_LE(Distance(q.Transpose() * q, Identity(n)), bound) << name;
        EXPECT_LE(Distance(matrix * q, q * KxMatrix::DiagonalMatrix(values)), bound * n * size) << name;
        // The steps one by one: tridiagonal form, then the same vectors.
        KxMatrix steps = matrix, tridiagonal(n, n);
        KxVec d, e;
        steps.TridiagonalizeHouseholder(&d, &e);
        for (int k = 0; k < n; ++k) {
            tridiagonal[k][k] = d[k];
            if (k > 0) tridiagonal[k][k - 1] = tridiagonal[k - 1][k] = e[k];
        }
        EXPECT_TRUE(n == 0 || e[0] == 0.0) << name;
        EXPECT_LE(Distance(steps.Transpose() * matrix * steps, tridiagonal), bound * n * size) << name;
        EXPECT_TRUE(steps.QLAlgorithm(d, e)) << name;
        EXPECT_EQ(d, values) << name;
        EXPECT_TRUE(IsSame(steps, q)) << name;
    }
}

TEST(EigenVectors, ByHandAndWithoutEnd) {
    KxVec d, e;
    KxMatrix q = Matrix(2, {4, 99, 1, 3});  // the lower triangle counts
    q.TridiagonalizeHouseholder(&d, &e);
    EXPECT_TRUE(IsSame(q, Identity(2)));
    EXPECT_EQ(d, Vector({4, 3}));
    EXPECT_EQ(e, Vector({0, 1}));
    q = Matrix(3, {5, 1, 4, 1, 7, -3, 4, -3, 2});  // the last row (4, -3) has length 5, against the sign of -3
    q.TridiagonalizeHouseholder(&d, &e);
    EXPECT_NEAR(e[2], 5, 1e-14);
    EXPECT_EQ(d[2], 2);
    q = Matrix(3, {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 2, 3});  // all rows are rotated, also more than there are columns
    d = Vector({2, 2, 5});
    e = Vector({77, 1, 0});
    EXPECT_TRUE(q.QLAlgorithm(d, e));
    EXPECT_NEAR(d[0] * d[1], 3, 1e-14);
    EXPECT_EQ(d[2], 5);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(q[3][c], q[0][c] + 2 * q[1][c] + 3 * q[2][c], 1e-14);
    KxMatrix one, none(0, 3);
    EXPECT_TRUE(one.QLAlgorithm(d, e));
    EXPECT_TRUE(none.QLAlgorithm(d, e));
    for (double const bad : {nan, infinity}) {
        q = Identity(3);
        d = Vector({1, 2, 3});
        e = Vector({0, 1, bad});
        EXPECT_FALSE(q.QLAlgorithm(d, e));
    }
}

// ---- memory ----

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
    EXPECT_EQ(blocks([&] { (void)a.LUDecomposition(&permutation, nullptr); }), 1);
    EXPECT_EQ(blocks([&] { (void)a.Determinant(); }), 0);
    EXPECT_EQ(blocks([&] { (void)a.IsSingular(); }), 0);
    EXPECT_EQ(blocks([&] { (void)a.Inverse(); }), 1);
    EXPECT_EQ(blocks([&] { (void)a.LUInverse(); }), 1);
    EXPECT_EQ(blocks([&] { (void)a.SVD(U, W, V); }), 0);
    EXPECT_EQ(blocks([&] { (void)symmetric.EigenVectors(&W); }), 1);
    EXPECT_EQ(blocks([&] { (void)KxMatrix::SolveEquationSystem(a, W, b); }), 1);
    long tries = 0;
    for (bool isDone = false; !isDone; ++tries) {
        KxMatrix u, v;
        KxVec w;
        g_failsAfter = tries;
        isDone = a.SVD(u, w, v);
        g_failsAfter = -1;
    }
    EXPECT_EQ(tries, 4);  // each of the three results failed once
}

}  // namespace
