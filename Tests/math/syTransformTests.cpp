// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syArchive.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syFile.h"
#include "hbtools/math/syMathException.h"
#include "hbtools/math/syMatrix4.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

using namespace KxN;

constexpr double pi = KxMath::Pi;

template <class Vector>
concept IsImaged = requires(KxMatrix4 const& matrix, Vector const& vector) {
    matrix* vector;
};
static_assert(IsImaged<KxVec3d> && IsImaged<KxVec4f> && !IsImaged<KxVec4d>);  // which would lose its w

template <class Matrix>
double Difference(Matrix const& a, Matrix const& b, int size) {
    double most = 0;
    for (int r = 0; r < size; ++r)
        for (int c = 0; c < size; ++c) most = std::max(most, std::fabs(a[r][c] - b[r][c]));
    return most;
}
double Difference(KxMatrix3 const& a, KxMatrix3 const& b) {
    return Difference(a, b, 3);
}
double Difference(KxMatrix4 const& a, KxMatrix4 const& b) {
    return Difference(a, b, 4);
}

KxMatrix4 RandomMatrix(unsigned seed, bool isAffine) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> number(-2, 2);
    KxMatrix4 m;
    for (int r = 0; r < (isAffine ? 3 : 4); ++r)
        for (int c = 0; c < 4; ++c) m[r][c] = number(random);
    return m;
}

TEST(Transform, Conventions) {
    KxVec3d const x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
    struct Case {
        KxMatrix4 matrix;
        KxVec3d from, to;
    };
    for (Case const& c :
         {Case{KxMatrix4::AZRotation(pi / 2), x, y}, Case{KxMatrix4::AXRotation(pi / 2), y, z},
          Case{KxMatrix4::AYRotation(pi / 2), z, x}, Case{KxMatrix4::ATranslation({1, 2, 3}), x, {2, 2, 3}},
          Case{KxMatrix4::AScale({2, 3, 4}), {1, 1, 1}, {2, 3, 4}}, Case{KxMatrix4::AScale(3), y, {0, 3, 0}},
          Case{KxMatrix4::ATranslation(x) * KxMatrix4::AZRotation(pi / 2), x, {1, 1, 0}},
          Case{KxMatrix4::ARotation({0, 5, 0}, pi / 2), z, x},
          Case{KxMatrix4::ARotation({1, 1, 1}, 2 * pi / 3), x, y}}) {
        EXPECT_LT((c.matrix * c.from).Distance(c.to), 1e-15);
        EXPECT_TRUE(c.matrix.IsAffine());
        KxVec3f image(0, 0, 0);
        c.matrix.Transform(
            KxVec3f(static_cast<float>(c.from[0]), static_cast<float>(c.from[1]), static_cast<float>(c.from[2])),
            image);
        EXPECT_LT(image.Distance(c.to.ToVector3f()), 1e-6);
    }
    EXPECT_TRUE(KxMatrix3::ARotation(KxVec3d(0, 0, 0), 0.7) == KxMatrix3::AZRotation(0.7));
    KxMatrix4 const counted(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    EXPECT_EQ(counted[1][2] * 100 + counted(3, 0), 612);
    EXPECT_TRUE(counted.SubMatrix3x3() == KxMatrix3(0, 1, 2, 4, 5, 6, 8, 9, 10));
    EXPECT_TRUE(KxMatrix4(static_cast<KxMatrix>(counted)) == counted);
    EXPECT_TRUE(KxMatrix4(static_cast<KxTMatrix4x4<float>>(counted)) == counted);
    EXPECT_TRUE(KxMatrix4(static_cast<KxTMatrix4x4<double>>(counted)) == counted);
    EXPECT_EQ(counted.L1Norm(), 120);
    EXPECT_DOUBLE_EQ(counted.L2Norm(), std::sqrt(1240));
    KxMatrix3 three;
    three.SetValues(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_TRUE(three == KxMatrix3(1, 2, 3, 4, 5, 6, 7, 8, 9) && three[0][2] == 3 && three[2][0] == 7);
    KxMatrix4 m = counted;
    m.SetValues(2);
    EXPECT_TRUE(m + KxMatrix4::ZeroMatrix == m && !(m - KxMatrix4::Identity == m));
    m[0][0] = NAN;
    EXPECT_TRUE(m == m);  // neither less nor greater
    KxMatrix4 nearlyAffine;
    nearlyAffine[3][3] = 1.0000000001;
    EXPECT_FALSE(nearlyAffine.IsAffine());
    EXPECT_EQ((nearlyAffine * KxVec3d(1, 0, 0))[0], 1 * (1 / 1.0000000001));
}

TEST(Transform, HomogeneousVectorsKeepOrSetTheirW) {
    KxMatrix4 m = KxMatrix4::ATranslation({10, 0, 0});
    KxVec4f const v(1, 2, 3, 2);
    KxVec4f image(v);
    m.Transform(image);
    EXPECT_EQ(image[0] * 10 + image[3], 212);
    EXPECT_EQ((m * v)[3], 1);
    m[3][0] = 5;
    EXPECT_EQ((m * v)[3], 7);  // no division
    m.Transform(v, image);
    EXPECT_EQ(image[3], 7);
    EXPECT_EQ((m * KxVec3d(1, 0, 0))[0], 11 * (1.0 / 6));
}

template <class Point>
void CompareArrays() {
    for (bool const isAffine : {true, false}) {
        KxMatrix4 const m = RandomMatrix(isAffine ? 1 : 2, isAffine);
        for (int n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 31, 400001}) {  // the last one past the caches
            std::mt19937 random(3);
            KxTArray<Point> points(n);
            for (Point& p : points)
                for (int i = 0; i < 3; ++i) p[i] = static_cast<float>(static_cast<int>(random() % 2000) - 1000) / 8;
            KxTArray<Point> out;
            m.Transform(points, out);
            KxTArray<Point> inPlace = points, product = m * points;
            m.Transform(inPlace);
            ASSERT_EQ(out.Size(), n);
            for (int i = 0; i < n; ++i) {
                Point const expected = m * points[i];
                ASSERT_EQ(std::memcmp(&out[i], &expected, sizeof expected), 0) << n << ' ' << i;
                ASSERT_EQ(std::memcmp(&inPlace[i], &expected, sizeof expected), 0) << n << ' ' << i;
                ASSERT_EQ(std::memcmp(&product[i], &expected, sizeof expected), 0) << n << ' ' << i;
            }
        }
    }
}

TEST(Transform, ArraysAreTheSinglePointsToTheLastBit) {
    CompareArrays<KxVec3d>();
    CompareArrays<KxVec3f>();
}

TEST(Transform, InverseDeterminantAdjugate) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        KxMatrix4 const m = RandomMatrix(seed, seed % 2 == 0), inverse = m.Inverse();
        EXPECT_LT(Difference(m * inverse, KxMatrix4::Identity), 1e-11) << seed;
        KxMatrix4 const product = m.Adjoint() * m;
        EXPECT_NEAR(product[2][2], m.Det(), 1e-12);
        KxMatrix3 const l = m.SubMatrix3x3();
        EXPECT_LT(Difference(l * l.Inverse(), KxMatrix3::Identity), 1e-11) << seed;
        EXPECT_NEAR((l.Adjoint() * l)[1][1], l.Det(), 1e-12);
        KxMatrix4 inverted = m;
        inverted.Invert();
        EXPECT_TRUE(inverted == inverse);
    }
    EXPECT_EQ(KxMatrix3(2, 0, 0, 0, 3, 0, 1, 1, 4).Det(), 24);
    EXPECT_EQ(KxMatrix4(0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3).Det(), -6);
    // The order of the sixteen numbers.
    EXPECT_EQ(KxMatrix4::Det(1, 2, 0, 0, 0, 3, 0, 0, 0, 0, 5, 7, 0, 0, 1, 2), 9);
    EXPECT_TRUE(KxMatrix4::Adjoint(1, 2, 0, 0, 0, 3, 0, 0, 0, 0, 5, 7, 0, 0, 1, 2) ==
                KxMatrix4(9, -6, 0, 0, 0, 3, 0, 0, 0, 0, 6, -21, 0, 0, -3, 15));
    KxMatrix rows(3, 3);
    for (int i = 0; i < 9; ++i) rows[i / 3][i % 3] = i * i;
    EXPECT_TRUE(KxMatrix3(rows) == KxMatrix3(0, 1, 4, 9, 16, 25, 36, 49, 64));
    EXPECT_TRUE(KxMatrix4::ZeroMatrix.IsSingular() && KxMatrix3(1, 2, 3, 2, 4, 6, 0, 0, 1).IsSingular());
    KxMatrix4 almost;
    almost[0][0] = 1e-300;
    EXPECT_FALSE(almost.IsSingular());
    EXPECT_FALSE(KxMatrix3(2, 0, 0, 0, 3, 0, 1, 1, 4).IsSingular() ||
                 KxMatrix3(0, 1, 0, 1, 0, 0, 0, 0, 1).IsSingular());
    EXPECT_FALSE(std::isfinite(KxMatrix4::ZeroMatrix.Inverse()[0][0]));
}

TEST(Transform, VectorIntoVector) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> number(-1, 1);
    for (int i = 0; i < 50; ++i) {
        KxVec3d const from(number(random), number(random), number(random)),
            to(number(random), number(random), number(random));
        KxMatrix4 const m = KxMatrix4::AVectorIntoVectorMatrix(from, to);
        EXPECT_LT((m * from.Normalized()).Distance(to.Normalized()), 1e-12);
        EXPECT_LT(Difference(m.SubMatrix3x3(), KxMatrix3::AVectorIntoVectorMatrix(from, to)), 1e-15);
        EXPECT_NEAR(m.Det(), 1, 1e-12);
    }
    KxVec3d const z(0, 0, 1), down(0, 0, -2);
    EXPECT_LT((KxMatrix3::AVectorIntoVectorMatrix(z, down) * z).Distance(z), 1e-12);  // about z: not turned over
    KxMatrix4 const about = KxMatrix4::AVectorIntoVectorMatrix(z, down);              // about (1, 0, 0)
    EXPECT_LT((about * z).Distance(KxVec3d(0, 0, -1)) + (about * KxVec3d(1, 0, 0)).Distance(KxVec3d(1, 0, 0)), 1e-12);
    EXPECT_TRUE(KxMatrix4::AVectorIntoVectorMatrix(z, KxVec3d(0, 0, 0)) == KxMatrix4::Identity);
    EXPECT_TRUE(KxMatrix4::AVectorIntoVectorMatrix(z, z) == KxMatrix4::Identity);
    // Around the guards: what is too short, or turns too little, stays; what is all but opposite goes about (z, x, y),
    // which keeps y. All others turn about z.
    KxVec3d const x(1, 0, 0);
    struct Case {
        char const* name;
        KxVec3d from, to;
        bool isTurned;
        double y;  // component y of the image of (0, 1, 0)
    };
    for (Case const& c :
         {Case{"1e-28", {1e-14, 0, 0}, {0, 1, 0}, false, 1}, Case{"above 1e-28", {1.01e-14, 0, 0}, {0, 1, 0}, true, 0},
          Case{"1e-28, both short", {1e-7, 0, 0}, {0, 0.99e-7, 0}, false, 1},
          Case{"0.9e-8", x, {1, 0.9e-8, 0}, false, 1}, Case{"2.2e-8", x, {1, 2.2e-8, 0}, true, 1},
          Case{"nearly opposite", x, {-1, 0.9e-8, 0}, true, 1}, Case{"less opposite", x, {-1, 2.2e-8, 0}, true, -1}}) {
        KxMatrix4 const m = KxMatrix4::AVectorIntoVectorMatrix(c.from, c.to);
        KxMatrix3 const three = KxMatrix3::AVectorIntoVectorMatrix(c.from, c.to);
        EXPECT_EQ(m == KxMatrix4::Identity, !c.isTurned) << c.name;
        EXPECT_EQ(three == KxMatrix3::Identity, !c.isTurned) << c.name;
        EXPECT_NEAR(m[1][1], c.y, 1e-15) << c.name;
    }
}

TEST(Transform, Jacobi) {
    double values[3];
    KxVec3d vectors[3];
    KxMatrix3 const diagonal(3, 0, 0, 0, -1, 0, 0, 0, 2);
    EXPECT_FALSE(diagonal.Jacobi(values, vectors));  // converged
    EXPECT_TRUE(values[0] == 3 && values[1] == -1 && values[2] == 2);
    KxMatrix3 const families[] = {
        KxMatrix3(2, -1, 0, -1, 2, -1, 0, -1, 2), KxMatrix3(1, 1e-8, 0, 1e-8, 1, 1e-9, 0, 1e-9, 1),
        KxMatrix3(1e150, 1e140, 3, 1e140, 1, 2, 3, 2, 1e-150), KxMatrix3(1, 1, 1, 1, 1, 1, 1, 1, 1)};
    for (KxMatrix3 const& a : families) {
        ASSERT_FALSE(a.Jacobi(values, vectors));
        double const scale = std::fabs(values[0]) + std::fabs(values[1]) + std::fabs(values[2]);
        for (int j = 0; j < 3; ++j) {
            KxVec3d v(vectors[0][j], vectors[1][j], vectors[2][j]), residual = a * v;
            EXPECT_NEAR(v.Length(), 1, 1e-14);
            v *= values[j];
            residual -= v;
            EXPECT_LT(residual.Length(), 1e-14 * scale);
        }
    }
    KxMatrix3 lower(2, -1, 0, 99, 2, -1, 99, 99, 2);  // what stands below is not read
    double same[3];
    EXPECT_FALSE(families[0].Jacobi(same, vectors));
    EXPECT_FALSE(lower.Jacobi(values, vectors));
    EXPECT_EQ(std::memcmp(values, same, sizeof same), 0);
    EXPECT_TRUE(KxMatrix3(NAN, NAN, NAN, NAN, NAN, NAN, NAN, NAN, NAN).Jacobi(values, vectors));  // never
    // Reckoned apart from this code, step by step. Up to the third sweep small elements wait; after the fourth those that
    // no eigenvalue notices are dropped: either rule shows in the last bits.
    struct Case {
        KxMatrix3 matrix;
        double values[3], vectors[9];
    };
    for (Case const& c : {Case{{4, 7, -20000, 7, 30000, 4, -20000, 4, 50000},
                               {-0x1.b640fa904172bp+12, 0x1.d4c001a8b9590p+14, 0x1.bd701e7dab81dp+15},
                               {0x1.e32266c10ad84p-1, 0x1.cd690b136df31p-13, -0x1.52f84f0ad9b1ep-2,
                                -0x1.c14b1549fa1cep-13, 0x1.ffffff2e5e8c6p-1, 0x1.c4805600e1209p-15,
                                0x1.52f84f4bf5a3cp-2, 0x1.4fd6ea3395dd0p-16, 0x1.e3226790213c3p-1}},
                          Case{{7, 5, 0, 5, 7, -6, 0, -6, 7},
                               {-0x1.9ed90ba73a341p-1, 0x1.d9ed90ba73a35p+3, 0x1.bffffffffffffp+2},
                               {0x1.cf8b03576e7b5p-2, 0x1.cf8b03576e7b4p-2, 0x1.89544cafec8b7p-1, -0x1.6a09e667f3bcbp-1,
                                0x1.6a09e667f3bccp-1, -0x1.907cbe6f6eb7fp-58, -0x1.16203534757d5p-1,
                                -0x1.16203534757d4p-1, 0x1.47c63fe7efc98p-1}}}) {
        EXPECT_FALSE(c.matrix.Jacobi(values, vectors));
        for (int i = 0; i < 3; ++i) EXPECT_EQ(values[i], c.values[i]);
        for (int i = 0; i < 9; ++i) EXPECT_EQ(vectors[i / 3][i % 3], c.vectors[i]) << i;
    }
    // The end is a sum of 2.2e-16, whatever the size of the eigenvalues.
    for (double const off : {2.2e-16, 2.3e-16}) {
        EXPECT_FALSE(KxMatrix3(1e-16, off, 0, 0, 2e-16, 0, 0, 0, 0).Jacobi(values, vectors));
        EXPECT_EQ(values[0] == 1e-16 && values[1] == 2e-16, off < 2.22e-16) << off;
    }
}

TEST(Transform, PolarDecomposition) {
    KxMatrix4 U, R, F;
    KxVec3d K, T;
    for (unsigned seed = 0; seed < 20; ++seed) {
        KxMatrix4 const m = RandomMatrix(seed, true);
        ASSERT_TRUE(m.Decompose(U, K, R, T, F));
        EXPECT_TRUE(F == KxMatrix4::Identity && T == KxVec3d(m[0][3], m[1][3], m[2][3]));
        EXPECT_LT(Difference(R * U.Transpose() * KxMatrix4::AScale(K) * U, KxMatrix4(m.SubMatrix3x3())), 1e-12) << seed;
        EXPECT_NEAR(R.Det(), 1, 1e-12);
        EXPECT_EQ(K[0] < 0 && K[1] < 0 && K[2] < 0, m.SubMatrix3x3().Det() < 0);
    }
    EXPECT_TRUE(KxMatrix4::AScale({-1, 1, 1}).Decompose(U, K, R, T, F));
    EXPECT_TRUE(K == KxVec3d(-1, -1, -1));
    EXPECT_FALSE(KxMatrix4::AScale(0.99e-4).Decompose(U, K, R, T, F));
    EXPECT_TRUE(KxMatrix4::AScale(1.01e-4).Decompose(U, K, R, T, F));
    EXPECT_TRUE(KxMatrix4(KxMatrix3(NAN, 0, 0, 0, 1, 0, 0, 0, 1)).Decompose(U, K, R, T, F));  // not below 1e-12
    EXPECT_TRUE(std::isnan(K[0]));
    KxMatrix4 const m = RandomMatrix(3, true);
    ASSERT_TRUE(m.Decompose(U, K, R, T, F));
    KxMatrix4 own[3] = {m, m, m}, other;  // an output may be the object
    KxVec3d k;
    ASSERT_TRUE(own[0].Decompose(own[0], k, other, T, F) && own[1].Decompose(other, k, own[1], T, F));
    EXPECT_TRUE(own[0] == U && own[1] == R);
    ASSERT_TRUE(own[2].Decompose(own[0], k, own[1], T, own[2]));
    EXPECT_TRUE(own[0] == U && own[1] == R && own[2] == KxMatrix4::Identity && k == K);
}

// Puts the sixteen numbers together again.
KxMatrix4 Recomposed(double const* v) {
    KxMatrix4 shear, perspective;
    shear[0][1] = v[3];
    shear[0][2] = v[4];
    shear[1][2] = v[5];
    if (v[12] != 0 || v[13] != 0 || v[14] != 0 || v[15] != 0)
        for (int i = 0; i < 4; ++i) perspective[3][i] = v[12 + i];
    KxMatrix4 const rotation = KxMatrix4::AZRotation(v[8]) * KxMatrix4::AYRotation(v[7]) * KxMatrix4::AXRotation(v[6]);
    return perspective * KxMatrix4::ATranslation({v[9], v[10], v[11]}) * rotation * shear *
           KxMatrix4::AScale({v[0], v[1], v[2]});
}

TEST(Transform, UnpackedIntoSixteenNumbers) {
    double v[16];
    for (unsigned seed = 0; seed < 40; ++seed) {
        KxMatrix4 m = RandomMatrix(seed, seed % 2 == 0);
        ASSERT_TRUE(m.Decompose(v)) << seed;
        double const w = m[3][3];
        for (int i = 0; i < 16; ++i) m[i / 4][i % 4] /= w;
        EXPECT_LT(Difference(Recomposed(v), m), 1e-12) << seed;
        EXPECT_EQ(v[15] == 0, seed % 2 == 0);
    }
    for (int i = 0; i < 3; ++i) {  // a perspective along one axis alone
        KxMatrix4 m = RandomMatrix(7, false);
        for (int k = 0; k < 3; ++k) m[3][k] = k == i ? 0.25 : 0;
        m[3][3] = 1;
        ASSERT_TRUE(!m.IsAffine() && m.Decompose(v)) << i;
        EXPECT_LT(Difference(Recomposed(v), m), 1e-12) << i;
    }
    KxMatrix4 const simple =
        KxMatrix4::ATranslation({7, 8, 9}) * KxMatrix4::AZRotation(0.5) * KxMatrix4::AScale({2, 3, 4});
    ASSERT_TRUE(simple.Decompose(v));
    double const expected[] = {2, 3, 4, 0, 0, 0, 0, 0, 0.5, 7, 8, 9, 0, 0, 0, 0};
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(v[i], expected[i], 1e-15) << i;
    // At the ends the sign of the angle is that of KxMath::ASin.
    KxMatrix4 quarter(0, 0, 1, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 0, 1);
    ASSERT_TRUE(quarter.Decompose(v));
    EXPECT_EQ(v[7], -KxMath::PiHalf);
    EXPECT_NEAR(std::fabs(v[6]) + std::fabs(v[8]), 0, 1e-15);
    quarter[0][2] = -1;
    quarter[2][0] = 1;
    ASSERT_TRUE(quarter.Decompose(v));
    EXPECT_EQ(v[7], KxMath::PiHalf);
    quarter[1][1] = NAN;
    EXPECT_FALSE(quarter.Decompose(v));  // its determinant is neither less nor greater than zero
    EXPECT_FALSE(KxMatrix4::ZeroMatrix.Decompose(v));
    EXPECT_FALSE(KxMatrix4::AScale(0).Decompose(v));
}

TEST(Transform, Interpolation) {
    KxMatrix4 const a = RandomMatrix(1, false), b = RandomMatrix(2, false);
    EXPECT_TRUE(KxMatrix4::Lerp(a, b, 0) == a);
    EXPECT_EQ(KxMatrix4::SmoothLerp(a, b, 0.25)[1][2], KxMatrix4::Lerp(a, b, 0.15625)[1][2]);
    KxMatrix4 const moved = KxMatrix4::ATranslation({1, 2, 3});
    EXPECT_TRUE(KxMatrix4::Slerp(moved, moved, 0.5) == KxMatrix4::Identity);
    auto const turned = [](double x, double y, double z) {
        return KxMatrix4::AZRotation(z) * KxMatrix4::AYRotation(y) * KxMatrix4::AXRotation(x);
    };
    struct Case {
        KxMatrix4 from, to, half;
    };
    for (Case const& c : {Case{turned(0.2, 0.4, 0.6), turned(0.4, 0.2, 1.0), turned(0.3, 0.3, 0.8)},
                          Case{turned(3, 0, 3), turned(-3, 0, -3), turned(pi, 0, pi)},  // the short way round
                          Case{turned(-3, 0, -3), turned(3, 0, 3), turned(-pi, 0, -pi)},
                          Case{turned(0, 0, 1) * KxMatrix4::AScale(3), turned(0, 0, 2), turned(0, 0, 1.5)}}) {
        EXPECT_LT(Difference(KxMatrix4::Slerp(c.from, c.to, 0.5), c.half), 1e-14);
        EXPECT_LT(Difference(KxMatrix4::SmoothSlerp(c.from, c.to, 0.5), c.half), 1e-14);
    }
    // Exactly upright: all of the turn goes to x.
    KxMatrix4 const up(0, 0.6, 0.8, 0, 0, 0.8, -0.6, 0, -1, 0, 0, 0, 0, 0, 0, 1);
    EXPECT_LT(Difference(KxMatrix4::Slerp(up, up, 0), turned(std::atan2(0.6, 0.8), KxMath::PiHalf, 0)), 1e-15);
    KxMatrix4 const down(0, 0.6, 0.8, 0, 0, 0.8, -0.6, 0, 1, 0, 0, 0, 0, 0, 0, 1);
    EXPECT_LT(Difference(KxMatrix4::Slerp(down, down, 0), turned(-std::atan2(0.6, 0.8), -KxMath::PiHalf, 0)), 1e-15);
}

TEST(Transform, LoadsFloats) {
    CMemFile file(64);
    CArchive storing(&file, CArchive::store);
    for (int i = 0; i < 16; ++i) storing << static_cast<float>(i) + 0.5f;
    KxMatrix4 m;
    try {
        m.LoadFloatVersion(storing);
        ADD_FAILURE();
    } catch (CArchiveException* exception) {
        EXPECT_EQ(exception->GetCause(), 4);
        exception->Delete();
    }
    storing.Flush();
    file.Seek(0, CFile::begin);
    CArchive loading(&file, CArchive::load);
    m.LoadFloatVersion(loading);
    EXPECT_EQ(m[0][1] * 100 + m[3][3], 165.5);
    KxMathMatrixNoSolutionException none;
    EXPECT_EQ(KxxToUtf8(none.GetMessage().View()), "Matrix Inversion ist nicht lösbar");
    KxMathMatrixNoSolutionException located(L"solver.cpp", 7);
    EXPECT_TRUE(located.GetMessage() == none.GetMessage() && located.GetSrcLine() == 7);
}

}  // namespace
