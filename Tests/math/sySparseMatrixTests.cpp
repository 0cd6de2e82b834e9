// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/sySparseMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

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
    dense(0, 1) = 3;
    dense(1, 0) = -0.0;
    dense(1, 1) = std::nan("");
    KxSparseMatrix sparse(dense);
    EXPECT_EQ(sparse * Vector({1, 2}), Vector({6, 0}));  // no entry for NaN
    sparse = KxMatrix::IdentityMatrix(2);
    EXPECT_EQ(sparse * Vector({1, 2}), Vector({1, 2}));
}

// The steps as they are defined, one by one, to compare with: how many were made shows in the result.
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
    for (int n : {1, 2, 3, 10, 50}) {
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
        EXPECT_LT(x.Distance(expected), 1e-9) << n;
        EXPECT_LT((b - A * x).SquaredLength(), 1e-10) << n;

        KxMatrix X(2, n), B(2, n);
        B.SetCol(0, b);
        B.SetCol(1, b * 2);
        X = 0.25;
        KxSparseMatrix::Solve(A, X, B);
        EXPECT_LT(X.Col(0).Distance(truth) + X.Col(1).Distance(truth * 2), 1e-4) << n;
    }
}

TEST(SparseMatrix, EndsWhateverTheNumbers) {
    KxVec x(3, 0.0);
    KxSparseMatrix::Solve(KxMatrix::IdentityMatrix(3), x, Vector({1, -2, 4}));
    EXPECT_EQ(x, Vector({1, -2, 4}));  // one step
    KxSparseMatrix::Solve(KxMatrix::IdentityMatrix(3), x, Vector({1, -2, 4}));
    EXPECT_TRUE(std::isnan(x[0]));  // the start value was the solution
    KxVec none;
    KxSparseMatrix::Solve(KxSparseMatrix(), none, none);
    KxVec empty(3, 0.0);
    KxSparseMatrix::Solve(KxSparseMatrix(), empty, Vector({1, 1, 1}));
    EXPECT_FALSE(std::isfinite(empty[0]));
}

}  // namespace
