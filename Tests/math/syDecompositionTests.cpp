// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "math/syHypotenuse.h"

#include "DenseMatrices.h"

namespace {

using namespace KxN;

/// What defines the decomposition.
void ExpectDecomposition(std::string const& name, KxMatrix const& a) {
    KxMatrix U, V;
    KxVec W;
    ASSERT_TRUE(a.SVD(U, W, V)) << name;
    int const n = a.Width(), m = a.Height();
    double const bound = 16 * eps * (n + m);
    double largest = 0;
    KxMatrix scaled = U, error = U.Transpose() * U - Identity(n);
    for (double const w : W) largest = std::max(largest, w);
    for (int k = 0; k < n; ++k) {
        EXPECT_GE(W[k], 0) << name;
        scaled.SetCol(k, U.Col(k) * W[k]);
        if (m >= n || W[k] > bound * largest) continue;
        // There is no room for more than m orthogonal columns: those of a value of zero do not count then.
        error.SetRow(k, KxVec(n, 0.0));
        error.SetCol(k, KxVec(n, 0.0));
    }
    EXPECT_LE(Size(error), bound) << name;
    EXPECT_LE(Distance(scaled * V.Transpose(), a), bound * largest) << name;
    EXPECT_LE(Distance(V.Transpose() * V, Identity(n)), bound) << name;
}

TEST(Hypotenuse, IsTheLargerTimesTheRootOfOneAndTheSquaredRatio) {
    double const cases[][3] = {{3, 4, 5},
                               {-4, 3, 5},
                               {5, 6, 0x1.f3db2174e746ap+2},  // the root of the sum of squares ends in 68
                               {0, -7, 7},
                               {0, -0.0, 0},
                               {noNumber, 0, 0},
                               {3e300, -4e300, 5e300},
                               {3e-300, 4e-300, 5e-300},
                               {infinity, 1, infinity}};
    for (auto const& [a, b, expected] : cases) EXPECT_EQ(detail::Hypotenuse(a, b), expected) << a << ' ' << b;
    EXPECT_TRUE(std::isnan(detail::Hypotenuse(0, noNumber)) && std::isnan(detail::Hypotenuse(noNumber, 1)));
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
        EXPECT_TRUE(U[0][0] == -1 && W[0] == 2 && V[0][0] == (value > 0 ? -1 : 1)) << value;
    }
    V.Resize(2, 5);  // as wide as it will be, not as high
    U = Matrix(2, {1, 0, 0, 3});
    ASSERT_TRUE(U.SVD(U, W, V));
    EXPECT_EQ(W, Vector({1, 3}));  // not sorted
    EXPECT_TRUE(IsSame(V, -1 * Identity(2)) && IsSame(U, V));
}

TEST(Svd, NumbersOfAnySize) {
    // Powers of two change nothing but the exponents.
    for (int const exponent : {1023, 400, -400, -1022, -1060})
        for (auto const& [width, height] : {std::pair{1, 1}, {3, 3}, {4, 6}, {9, 5}, {20, 20}}) {
            KxMatrix const a = Scaled(Random(width, height), exponent);  // denormal elements are rounded here
            KxMatrix U, V, sameU, sameV;
            KxVec W, sameW;
            ASSERT_TRUE(Scaled(a, -exponent).SVD(U, W, V) && a.SVD(sameU, sameW, sameV));
            EXPECT_TRUE(IsSame(U, sameU) && IsSame(V, sameV)) << exponent;
            for (int k = 0; k < width; ++k) EXPECT_EQ(sameW[k], std::ldexp(W[k], exponent)) << exponent;
        }
    KxMatrix U, V;
    KxVec W;
    ASSERT_TRUE(Matrix(2, {1e308, 0, 0, 1e-10}).SVD(U, W, V));
    EXPECT_EQ(W, Vector({1e308, 1e-10}));
}

TEST(EigenVectors, NumbersOfAnySize) {
    for (int const exponent : {1020, -1022, -1060})
        for (int const n : {1, 2, 5, 20}) {
            KxMatrix const a = Scaled(Random(n, n) + Random(n, n).Transpose(), exponent);
            KxVec values, sameValues, d, e;
            KxMatrix const q = Scaled(a, -exponent).EigenVectors(&values);
            EXPECT_TRUE(IsSame(a.EigenVectors(&sameValues), q)) << exponent;
            for (double& value : values) value = std::ldexp(value, exponent);
            EXPECT_EQ(sameValues, values) << exponent;
            KxMatrix steps = a;
            steps.TridiagonalizeHouseholder(&d, &e);
            EXPECT_TRUE(exponent == -1060 || (steps.QLAlgorithm(d, e) && Distance(steps, q) < 1e-10)) << exponent;
        }
    KxMatrix steps = Identity(2);  // 3e307 * ((4, 1), (1, 4))
    KxVec d(2, 1.2e308), e = Vector({noNumber, 3e307});
    ASSERT_TRUE(steps.QLAlgorithm(d, e));
    EXPECT_NEAR(d.Min() / 9e307 + d.Max() / 1.5e308, 2, 1e-15);
}

TEST(EigenVectors, Families) {
    std::vector<Case> cases = {{"zero", KxMatrix(5, 5)}, {"identity", Identity(20)}, {"empty", KxMatrix(0, 0)}};
    for (auto const& [name, matrix] : Squares()) cases.push_back({name, matrix * 0.5 + matrix.Transpose() * 0.5});
    for (int const n : {6, 50}) {
        KxMatrix clustered = Identity(n);
        for (int k = 0; k < n; ++k) clustered[k][k] += k % 3 * 1e-9;
        KxMatrix const turn = (Random(n, n) + Random(n, n).Transpose()).EigenVectors(nullptr);
        cases.push_back({"clustered", turn * clustered * turn.Transpose()});
        cases.push_back({"ones", KxMatrix(n, n) += 1.0});
    }
    for (auto const& [name, matrix] : cases) {
        int const n = matrix.Height();
        KxVec values;
        KxMatrix const q = matrix.EigenVectors(&values);
        double const bound = 16 * eps * n, size = Size(matrix);
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
        EXPECT_TRUE(steps.QLAlgorithm(d, e) && d == values && IsSame(steps, q)) << name;
    }
}

TEST(EigenVectors, ByHandAndWithoutEnd) {
    KxVec d, e;
    KxMatrix q = Matrix(2, {4, 99, 1, 3});  // the lower triangle counts
    q.TridiagonalizeHouseholder(&d, &e);
    EXPECT_TRUE(IsSame(q, Identity(2)) && d == Vector({4, 3}) && e == Vector({0, 1}));
    q = Matrix(3, {5, 1, 4, 1, 7, -3, 4, -3, 2});  // the last row (4, -3) has length 5, against the sign of -3
    q.TridiagonalizeHouseholder(&d, &e);
    EXPECT_NEAR(e[2] + 100 * d[2], 205, 1e-12);
    q = Matrix(3, {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 2, 3});  // all rows are rotated, also more than there are columns
    d = Vector({2, 2, 5});
    e = Vector({77, 1, 0});
    EXPECT_TRUE(q.QLAlgorithm(d, e));
    EXPECT_NEAR(d[0] * d[1] + 100 * d[2], 503, 1e-12);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(q[3][c], q[0][c] + 2 * q[1][c] + 3 * q[2][c], 1e-14);
    // A rotation by so little that its product with the smallest number is zero, where the shift cancels the rest.
    q = Identity(3);
    d = Vector({0, 0, 1});
    e = Vector({0, 4.9406564584124654e-324, 1e-8});
    EXPECT_TRUE(q.QLAlgorithm(d, e));
    EXPECT_TRUE(d[0] == 0 && d[1] == -1e-8 * 1e-8 && d[2] == 1) << d[0] << ' ' << d[1] << ' ' << d[2];
    EXPECT_TRUE(KxMatrix().QLAlgorithm(d, e) && KxMatrix(0, 3).QLAlgorithm(d, e));
    for (double const bad : {noNumber, infinity}) {
        q = Identity(3);
        d = Vector({1, 2, 3});
        e = Vector({0, 1, bad});
        EXPECT_FALSE(q.QLAlgorithm(d, e));
    }
}

}  // namespace
