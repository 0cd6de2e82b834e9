// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syMatrix4.h"

#include "hbtools/math/syMathMatrix.h"
#include "hbtools/math/syVec3.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace KxN;

constexpr double marker = 3.4028234663852886e+38;

KxMatrix Matrix(int width, std::vector<double> const& values) {
    KxMatrix result(width, static_cast<int>(values.size()) / width);
    std::copy(values.begin(), values.end(), result.Data());
    return result;
}

KxVec Vector(std::vector<double> const& values) {
    return KxVec(KxTArray<double>(values.data(), static_cast<int>(values.size())));
}

std::vector<double> List(KxTArray<double> const& vector) {
    return {vector.begin(), vector.end()};
}

std::vector<double> List(KxMatrix const& matrix) {
    std::vector<double> list;
    for (int r = 0; r < matrix.Height(); ++r) list.insert(list.end(), matrix[r], matrix[r] + matrix.Width());
    return list;
}

TEST(Vec, MarkerAndSizes) {
    KxVec v(3);
    EXPECT_EQ(List(v), (std::vector<double>{marker, marker, marker}));
    EXPECT_FALSE(v.IsValid());
    v = 2.0;
    EXPECT_TRUE(v.IsValid());
    v[2] = marker;
    EXPECT_FALSE(v.IsValid());
    v[2] = 5;
    v.Invalidate();
    EXPECT_EQ(List(v), (std::vector<double>{marker, 2, 5}));
    v.Resize(2);
    EXPECT_EQ(List(v), (std::vector<double>{marker, 2}));
    double const values[] = {7, 8};
    v.SetValues(values);
    EXPECT_EQ(List(v), (std::vector<double>{7, 8}));
    EXPECT_FALSE(KxVec::Invalid.IsValid());
    EXPECT_EQ(KxVec3d(1, 2, 3).ToVector(), Vector({1, 2, 3}));
    KxVec3d from = Vector({4, 5, 6, 7});
    EXPECT_TRUE(from == KxVec3d(4, 5, 6));
    EXPECT_FALSE(Vector({1, 2}) == Vector({1, 2, 3}) || Vector({1, 2}) == Vector({1, 3}) ||
                 Vector({1, 2}) == Vector({1, 1}));
    KxVec none;
    none.Invalidate();
    EXPECT_TRUE(none.Size() == 0 && none.MinDistance(none) == 0);
}

TEST(Matrix, EqualityLooksBothWaysAndItselfIsNoStranger) {
    KxMatrix m = Matrix(2, {1, 2, 3, 4});
    EXPECT_FALSE(m == Matrix(2, {1, 2, 3, 5}) || m == Matrix(2, {1, 2, 3, 3}));
    EXPECT_FALSE(KxMatrix3::Identity == KxMatrix3(2, 0, 0, 0, 1, 0, 0, 0, 1) ||
                 KxMatrix3(2, 0, 0, 0, 1, 0, 0, 0, 1) == KxMatrix3::Identity);
    EXPECT_FALSE(KxMatrix4::Identity == KxMatrix4::ZeroMatrix || KxMatrix4::ZeroMatrix == KxMatrix4::Identity);
    KxMatrix other(2, 3);  // as wide, not as high
    other = m;
    EXPECT_EQ(other, m);
    m.TransferOwnershipTo(m);
    EXPECT_EQ(m, other);
    EXPECT_EQ(KxMatrix::BinomialMatrix(0, 3).Height(), 3);
    EXPECT_EQ(KxTMathMatrix<double>().Width(), 0U);
}

TEST(Vec, Arithmetic) {
    KxVec const a = Vector({3, 4}), b = Vector({-1, 2});
    EXPECT_EQ(a.Norm(), 25);  // the squared length
    EXPECT_EQ(a.Length(), 5);
    EXPECT_EQ(a.Dot(b), 5);
    EXPECT_EQ(a.SquaredDistance(b), 20);
    EXPECT_EQ(a.MinDistance(b) * 10 + a.MaxDistance(b), 24);
    EXPECT_TRUE(a.IsNeighbour(Vector({3, 6}), 2) && !a.IsNeighbour(Vector({3, 6.001}), 2));
    EXPECT_EQ(List(a + b), (std::vector<double>{2, 6}));
    EXPECT_EQ(List(a - b), (std::vector<double>{4, 2}));
    EXPECT_EQ(List(a * 2), (std::vector<double>{6, 8}));
    EXPECT_EQ(List(a / 2), (std::vector<double>{1.5, 2}));
    EXPECT_EQ(List(-b), (std::vector<double>{1, -2}));
    EXPECT_EQ(List(b.Abs()), (std::vector<double>{1, 2}));
    EXPECT_EQ(List(a.Mult(b)), (std::vector<double>{-3, 8}));
    EXPECT_EQ(List(a.Div(b)), (std::vector<double>{-3, 2}));
    EXPECT_NEAR(Vector({1, 0}).Angle(Vector({0, 2}), false), KxMath::PiHalf, 1e-15);
    EXPECT_EQ(Vector({1e-8, 0}).Angle(Vector({0, 1e-7}), false), 0);  // below the guard
    KxVec null(4, 0.0), unit = a.Normalized();
    EXPECT_FALSE(null.Normalize());
    EXPECT_EQ(List(unit), (std::vector<double>{3 * (1.0 / 5), 4 * (1.0 / 5)}));
    int at = -1;
    KxVec peaks = Vector({1, 9, -4, 9, -4});
    EXPECT_EQ(peaks.Max(&at) * 10 + at, 91);
    peaks.Min(&at) = 100;
    EXPECT_EQ(at, 2);
    EXPECT_EQ(peaks[2], 100);
    KxVec const& seen = peaks;
    EXPECT_TRUE(seen.Max(&at) == 100 && at == 2 && seen.Min() == -4);
    peaks = KxTArray<double>(Vector({2, -4}));
    (peaks /= -2).Negate();
    EXPECT_EQ(List(peaks), (std::vector<double>{1, -2}));
    // Long sums: every length takes a different way through the loop.
    for (int n = 0; n < 9; ++n) {
        KxVec ones(n, 1.0), numbers(n, 0.0);
        for (int i = 0; i < n; ++i) numbers[i] = i;
        EXPECT_EQ(ones.Dot(numbers), n * (n - 1) / 2);
    }
}

TEST(Vec, OwnershipMoves) {
    KxVec a = Vector({1, 2});
    double* const block = a.Data();
    KxVec b(5, 0.0);
    a.TransferOwnershipTo(b);
    EXPECT_TRUE(a.Size() == 0 && b.Data() == block && b.Size() == 2);
    b.LoseOwnership();
    EXPECT_EQ(b.Size(), 0);
    a.TakeOwnership(block, 2);
    EXPECT_EQ(List(a), (std::vector<double>{1, 2}));
    a.TransferOwnershipTo(a);
    EXPECT_EQ(a.Size(), 2);
}

TEST(Matrix, WidthFirstForSizesRowFirstForElements) {
    KxMatrix m(3, 2);
    EXPECT_EQ(m.Height() * 10 + m.Width(), 23);
    m.Elem(1, 2) = 7;
    EXPECT_EQ(List(m), (std::vector<double>{0, 0, 0, 0, 0, 7}));
    EXPECT_EQ(m(1, 2) + m[1][2] + m.Data()[5], 21);
    m.Resize(3, 2);
    EXPECT_EQ(m.L1Norm(), 0);
    KxMatrix standard;
    EXPECT_EQ(List(standard), (std::vector<double>{0}));
    for (int height : {0, 1, 8, 9, 40}) {  // row pointers inside and outside of the object
        KxMatrix big(5, height);
        for (int r = 0; r < height; ++r) big[r][4] = r;
        KxMatrix copy(big), assigned, moved(KxMatrix(static_cast<KxMatrix const&>(big)));
        assigned = copy;
        copy = 0.0;
        assigned = copy;  // of the same size
        EXPECT_TRUE(assigned == copy);
        assigned = big;
        EXPECT_TRUE(big == assigned && moved == big) << height;
        EXPECT_TRUE(height == 0 || &moved[height - 1][4] == moved.Data() + 5 * height - 1) << height;
    }
    EXPECT_THROW(KxMatrix(-1, 2), std::bad_array_new_length);
    EXPECT_THROW(KxMatrix(65536, 32768), std::bad_array_new_length);
}

TEST(Matrix, PartsAndNorms) {
    KxMatrix m = Matrix(3, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(List(m.Row(1)), (std::vector<double>{4, 5, 6}));
    EXPECT_EQ(List(m.Col(1)), (std::vector<double>{2, 5}));
    EXPECT_EQ(List(m.Diagonal()), (std::vector<double>{1, 5}));
    EXPECT_EQ(m.Trace(), 6);
    EXPECT_EQ(List(m.Submatrix(0, 1, 2, 2)), (std::vector<double>{2, 3, 5, 6}));
    EXPECT_EQ(List(m.Transpose()), (std::vector<double>{1, 4, 2, 5, 3, 6}));
    m.SetSubmatrix(1, 0, Matrix(2, {-8, -9}));
    m.SetCol(2, Vector({0, 1}));
    m.SetDiagonal(4);
    EXPECT_EQ(List(m), (std::vector<double>{4, 2, 0, -8, 4, 1}));
    m.SetRow(0, Vector({9, 9, 9}));
    m.SetDiagonal(Vector({1, 2}));
    EXPECT_EQ(List(m), (std::vector<double>{1, 9, 9, -8, 2, 1}));
    EXPECT_EQ(m.L1Norm(), 30);
    EXPECT_TRUE(std::isnan(m.L2Norm()));  // the root of -8
    EXPECT_EQ(Matrix(1, {16}).L2Norm(), 2);
    EXPECT_EQ(Matrix(2, {16, 25}).EuclideanNorm(), 3);
    EXPECT_EQ(List(KxMatrix::BinomialMatrix(3, 5)), (std::vector<double>{1, 0, 0, 1, 1, 0, 1, 2, 1, 1, 3, 3, 1, 4, 6}));
    EXPECT_EQ(List(KxMatrix::DiagonalMatrix(Vector({2, 3}))), (std::vector<double>{2, 0, 0, 3}));
    KxMatrix large(33, 50);  // more than a tile each way
    for (int i = 0; i < 33 * 50; ++i) large.Data()[i] = i;
    KxMatrix const turned = large.Transpose();
    for (int r = 0; r < 50; ++r)
        for (int c = 0; c < 33; ++c) ASSERT_EQ(turned(c, r), large(r, c));
}

TEST(Matrix, Arithmetic) {
    KxMatrix const a = Matrix(3, {1, 2, 3, 4, 5, 6}), b = Matrix(2, {1, 0, 0, 1, 2, 2});
    EXPECT_EQ(List(a * b), (std::vector<double>{7, 8, 16, 17}));
    EXPECT_EQ(List(a * Vector({1, 1, 2})), (std::vector<double>{9, 21}));
    EXPECT_EQ(List(a + a - a), List(a));
    EXPECT_EQ(List(2 * a), List(a * 2));
    KxMatrix m = a;
    m += 1.0;
    m *= 2.0;
    m -= 4.0;
    m /= 2.0;
    EXPECT_EQ(List(m), (std::vector<double>{0, 1, 2, 3, 4, 5}));
    EXPECT_TRUE(Matrix(1, {1, 4}) == a);  // over the size of the left one
    EXPECT_FALSE(Matrix(1, {1, 5}) == a);
    EXPECT_EQ(List(KxMatrix(0, 2) * KxMatrix(2, 0)), (std::vector<double>{0, 0, 0, 0}));
    EXPECT_EQ((KxMatrix(3, 2) * KxMatrix(0, 3)).Width(), 0);
    EXPECT_EQ((KxMatrix(3, 0) * KxMatrix(4, 3)).Height(), 0);
    KxMatrix none;
    EXPECT_TRUE(KxMatrix::SolveEquationSystem(KxMatrix::IdentityMatrix(9), none, KxMatrix(0, 9)));
    EXPECT_EQ(none.Width(), 0);
}

TEST(Matrix, OwnershipMoves) {
    for (int height : {2, 12}) {
        KxMatrix a(2, height), b(3, 3);
        a[height - 1][1] = 5;
        double* const block = a.Data();
        a.TransferOwnershipTo(b);
        EXPECT_TRUE(a.Height() == 0 && b.Data() == block && b(height - 1, 1) == 5);
        double** const rows = new double*[static_cast<unsigned>(height)];
        for (int r = 0; r < height; ++r) rows[r] = b[r];
        double* const own = b.Data();
        KxMatrix(2, height).TransferOwnershipTo(a);
        b.LoseOwnership();
        a.TakeOwnership(own, rows, 2, height);
        EXPECT_EQ(a(height - 1, 1), 5);
        KxMatrix moved(std::move(a));
        EXPECT_EQ(moved(height - 1, 1), 5);
        for (auto const& [width, tooMany] : {std::pair{65536, 65536}, {-1, 1}, {1, -1}}) {
            EXPECT_THROW(moved.TakeOwnership(nullptr, nullptr, width, tooMany), std::bad_array_new_length);
            EXPECT_EQ(moved(height - 1, 1), 5);
        }
    }
}

TEST(MathMatrix, RowsOfVectors) {
    KxTMathMatrix<float> m(3, 2);
    m[1][2] = 4;
    m.Resize(KxTSize<unsigned long>(4, 3));
    EXPECT_EQ(m.Width() * 10 + m.Height(), 43u);
    EXPECT_EQ(m[1][2] + m[1][3] + m[2][2], 4);
    KxTMatrix4x4<double> identity;
    for (unsigned long r = 0; r < 4; ++r)
        for (unsigned long c = 0; c < 4; ++c) EXPECT_EQ(identity[r][c], r == c ? 1 : 0);
    KxTMem<KxTMathVector<double>>& rows = identity;
    EXPECT_THROW(rows.Resize(3), std::bad_array_new_length);
    EXPECT_THROW(identity.Resize(4, 5), std::bad_array_new_length);
    EXPECT_THROW(identity.Resize(KxTSize<unsigned long>(3, 4)), std::bad_array_new_length);
    identity[1][1] = 5;
    KxTMatrix4x4<double> moved(std::move(identity)), assigned;
    assigned = std::move(moved);
    EXPECT_EQ(identity[1][1] + moved[1][1] + assigned[1][1], 15);  // NOLINT(bugprone-use-after-move): moving copies
    identity[1].Resize(1);
    identity[2] = KxTMathVector<double>();
    EXPECT_TRUE(KxMatrix4(identity) == KxMatrix4::Identity);  // for what is missing
    static_cast<KxTMathMatrix<double>&>(identity) = KxTMathMatrix<double>();
    EXPECT_TRUE(KxMatrix4(identity) == KxMatrix4::Identity);
}

}  // namespace
