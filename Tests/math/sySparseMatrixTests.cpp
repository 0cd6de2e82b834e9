// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/sySparseMatrix.h"

#include "math/sySparseGrowth.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

extern long g_plainFailsAfter;  // so many blocks there is no memory

namespace {

using namespace KxN;

KxVec Vector(std::initializer_list<double> values) {
    return KxVec(KxTArray<double>(values.begin(), static_cast<int>(values.size())));
}

TEST(SparseMatrix, TriplesAddUpInTheProduct) {
    KxSparseMatrix m;
    m.Reserve(2);
    m.Add(1, 1, 2.0);
    EXPECT_EQ(m * Vector({5, 3}), Vector({0, 6}));
    m.Add(1, 1, 2.0);
    m.Add(0, 1, -1.0);
    EXPECT_EQ(m * Vector({5, 3}), Vector({-3, 12}));
    KxSparseMatrix copy(m);
    m.Clear();
    EXPECT_EQ(m * Vector({5, 3}), Vector({0, 0}));
    EXPECT_EQ(copy * Vector({5, 3}), Vector({-3, 12}));
}

TEST(SparseMatrix, FromDenseTakesWhatIsLessOrGreaterThanZero) {
    KxMatrix dense(2, 2);
    EXPECT_EQ(KxSparseMatrix(dense) * Vector({1, 1}), Vector({0, 0}));
    dense(0, 0) = -2;
    dense(0, 1) = 3;
    dense(1, 0) = -0.0;
    dense(1, 1) = std::nan("");
    KxSparseMatrix sparse(dense);
    EXPECT_EQ(sparse * Vector({1, 2}), Vector({4, 0}));  // no entry for NaN
    sparse = KxMatrix::IdentityMatrix(2);
    EXPECT_EQ(sparse * Vector({1, 2}), Vector({1, 2}));
}

TEST(SparseMatrix, WithoutMemoryItStaysAsItWas) {
    KxSparseMatrix other;
    for (int i = 0; i < 50; ++i) other.Add(1, 0, 1);
    struct {
        char const* name;
        void (*work)(KxSparseMatrix& m, KxSparseMatrix const& other);
    } const cases[] = {
        {"Reserve", [](KxSparseMatrix& m, KxSparseMatrix const&) { m.Reserve(1000); }},
        {"Add", [](KxSparseMatrix& m, KxSparseMatrix const&) { m.Add(0, 0, 1); }},
        {"copy", [](KxSparseMatrix& m, KxSparseMatrix const& o) { m = o; }},
        {"dense", [](KxSparseMatrix& m, KxSparseMatrix const&) { m = KxMatrix(4, 4) += 1.0; }},
    };
    KxVec const v = Vector({5, 3});
    for (auto const& [name, work] : cases) {
        int tries = 0;
        for (bool isDone = false; !isDone; ++tries) {
            KxSparseMatrix m;
            m.Add(1, 1, 2.0);
            try {
                g_plainFailsAfter = tries;
                work(m, other);
                isDone = true;
            } catch (std::bad_alloc const&) {
                g_plainFailsAfter = -1;
                ASSERT_EQ(m * v, Vector({0, 6})) << name << tries;
                for (int i = 0; i < 9; ++i) m.Add(0, 1, 1);  // of one length
                EXPECT_EQ(m * v, Vector({27, 6})) << name << tries;
            }
            g_plainFailsAfter = -1;
        }
        EXPECT_GE(tries, 4) << name;  // each of the three arrays failed
    }
    constexpr int limit = std::numeric_limits<int>::max();
    EXPECT_EQ(detail::GrownByHalf(0, 0), 1);
    EXPECT_EQ(detail::GrownByHalf(10, 9), 15);
    EXPECT_EQ(detail::GrownByHalf(1431655764, 1431655763), limit - 1);
    EXPECT_EQ(detail::GrownByHalf(1431655766, 1431655765), limit);
    EXPECT_EQ(detail::GrownByHalf(limit, limit - 1), limit);
    EXPECT_THROW(detail::GrownByHalf(limit, limit), std::bad_array_new_length);
}

// The steps as they are defined, one by one, with the public operations alone: the results have the same bits.
KxVec Reference(KxSparseMatrix const& A, KxVec x, KxVec const& b) {
    KxVec r = b - A * x, p = -r, q = A * p;
    double alpha = r.Dot(p) / p.Dot(q);
    x += p * alpha;
    for (int i = 0; i < x.Size(); ++i) {
        r -= q * alpha;
        if (r.SquaredLength() < 1e-10) break;
        double const beta = r.Dot(q) / p.Dot(q);
        p = p * beta - r;
        q = A * p;
        alpha = r.Dot(p) / p.Dot(q);
        x += p * alpha;
    }
    return x;
}

TEST(SparseMatrix, ConjugateGradientFollowsItsSteps) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> number(-1, 1);
    for (int n : {1, 2, 3, 10, 50, 2500}) {
        KxSparseMatrix A;
        for (int i = n - 1; i >= 0; --i) {  // rows in no order, some places twice
            A.Add(i, i, 3.0);
            A.Add(i, i, 1.5);
            if (i > 0) {
                A.Add(i, i - 1, -1);
                A.Add(i - 1, i, -1);
            }
        }
        KxVec truth(n, 0.0), x(n, 0.25);
        for (double& element : truth) element = number(random);
        KxVec const b = A * truth;
        KxVec const expected = Reference(A, x, b);
        KxSparseMatrix::Solve(A, x, b);
        EXPECT_EQ(x, expected) << n;
        EXPECT_LT((b - A * x).SquaredLength(), 1e-10) << n;

        KxMatrix X(2, n), B(2, n);
        B.SetCol(0, b);
        B.SetCol(1, b * 2);
        X.SetCol(0, KxVec(n, 0.25));
        X.SetCol(1, KxVec(n, -2));
        KxSparseMatrix::Solve(A, X, B);  // from what stands in X
        EXPECT_EQ(X.Col(0), expected) << n;
        EXPECT_EQ(X.Col(1), Reference(A, KxVec(n, -2), b * 2)) << n;
    }
}

TEST(SparseMatrix, EndsWhateverTheNumbers) {
    KxVec x(3, 0.0);
    KxSparseMatrix::Solve(KxMatrix::IdentityMatrix(3), x, Vector({1, -2, 4}));
    EXPECT_EQ(x, Vector({1, -2, 4}));  // one step
    KxSparseMatrix::Solve(KxMatrix::IdentityMatrix(3), x, Vector({1, -2, 4}));
    EXPECT_TRUE(std::isnan(x[0]));  // the start value was the solution
    // Not positive definite: the steps go on to their limit, one more than there are elements.
    KxSparseMatrix growing;
    for (int i = 0; i < 4; ++i) growing.Add(i, (i + 1) % 4, i + 1);
    KxVec const start = Vector({1, 0, 0, 0}), right = Vector({1, 2, 3, 4});
    KxVec wandering = start;
    KxSparseMatrix::Solve(growing, wandering, right);
    EXPECT_EQ(wandering, Reference(growing, start, right));
    EXPECT_GT((right - growing * wandering).SquaredLength(), 1e-10);
    KxVec none;
    KxSparseMatrix::Solve(KxSparseMatrix(), none, none);
    KxVec empty(3, 0.0);
    KxSparseMatrix::Solve(KxSparseMatrix(), empty, Vector({1, 1, 1}));
    EXPECT_FALSE(std::isfinite(empty[0]));
}

}  // namespace
