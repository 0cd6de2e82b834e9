// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The inner loops, which no interface shows: the form for this processor, whose results the tests of the solvers check,
// against the plain one at sizes around those of its registers, and products against sums in long double.
#include "math/syDenseKernels.cpp"  // NOLINT(bugprone-suspicious-include)

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using namespace KxN::detail;

struct Numbers : std::vector<double> {
    using vector::vector;
    explicit Numbers(int count) : vector(static_cast<std::size_t>(count)) {}
    double& operator[](int i) { return data()[i]; }
    double operator[](int i) const { return data()[i]; }
};

constexpr double outside = 1e200;  // between the rows, never to be read or written

Numbers Random(int count, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> number(-1, 1);
    Numbers numbers(count);
    for (double& n : numbers) n = number(random);
    return numbers;
}

/// Rows of `width` numbers at a distance of `stride`.
Numbers Rows(int height, int width, int stride, unsigned int seed) {
    Numbers rows = Random(height * stride, seed);
    for (int i = 0; i < height * stride; ++i)
        if (i % stride >= width) rows[i] = outside;
    return rows;
}

TEST(DenseKernels, BothFormsHaveTheSameBits) {
    if (&plainKernels == &Kernels()) GTEST_SKIP() << "this processor has the plain form only";
    for (int n = 0; n <= 66; ++n) {
        int const stride = n + 3;
        Numbers const x = Random(n, 1), y = Random(n, 2), rows = Rows(n, n, stride, 3);
        double const factors[] = {0.5, -1.5, 3, 0.1, -0.2, 7, 1.1};
        RotationChain const chains[] = {{0, 1, n - 1}, {n - 1, -1, 2}, {0, 3, 1}, {2, 1, 0}};
        std::vector<Rotation> const turns(110, {0.6, 0.8});
        std::vector<Numbers> results[2];
        for (DenseKernels const* const k : {&plainKernels, &Kernels()}) {
            auto const add = [&list = results[k != &plainKernels]](Numbers numbers, auto change) {
                list.push_back(std::move(numbers));
                change(list.back().data());
            };
            add({0, 0}, [&](double* to) {
                double const sum = to[0] = k->dot(x.data(), y.data(), n);
                double state[sumParts] = {};
                for (int i = 0; i < n; i += 32)
                    to[1] = k->continueDot(state, x.data() + i, y.data() + i, std::min(32, n - i));
                EXPECT_EQ(to[1], sum) << n;
            });
            add({0}, [&](double* to) { *to = k->firstLargest(x.data(), n); });
            add(y, [&](double* to) { k->addScaled(to, 0.3, x.data(), n); });
            for (int const place : {0, n / 2, n - 1})
                if (n > 0) add(y, [&](double* to) { to[n - 1] = k->eliminate(to, place, 0.3, x.data(), n - 1); });
            for (int count = 0; count <= std::min(n, 7); ++count)
                add(y, [&](double* to) { k->subtractRows(to, rows.data(), stride, factors, count, n); });
            for (int const rest : {1, 3, 7, 8})
                for (int const form : {0, 1, 2, 3})
                    add(rows, [&](double* to) {
                        int const count = std::min(n, rest);
                        k->solveTriangle(form & 1, form & 2, rows.data(), stride, to, stride, count, n);
                    });
            add(rows, [&](double* to) { k->reflectRows(to, stride, n, x.data(), 0.7, y.data(), n); });
            add(y, [&](double* to) { k->addRows(to, rows.data(), stride, n, x.data(), n); });
            add(y, [&](double* to) { k->symmetricProduct(to, rows.data(), stride, x.data(), n); });
            add(rows, [&](double* to) { k->symmetricUpdate(to, stride, x.data(), y.data(), n); });
            if (n > 4) add(rows, [&](double* to) { k->rotate(to, stride, n, chains, 4, turns.data()); });
        }
        EXPECT_EQ(results[0], results[1]) << n;
    }
}

/// The squared differences to sums in long double, of a product and of the loop as it is defined: their order of adding
/// differs, so they scatter about each other.
TEST(DenseKernels, ProductErrsNoMoreThanThePlainLoop) {
    int const cases[][3] = {{1, 1, 1},   {1, 5, 3},    {3, 4, 0},    {4, 12, 8},    {5, 13, 7},    {8, 8, 8},
                            {7, 11, 40}, {9, 24, 255}, {4, 25, 256}, {13, 26, 257}, {191, 13, 30}, {194, 36, 600}};
    for (auto const& [rows, columns, inner] : cases) {
        for (DenseKernels const* const kernels : {&plainKernels, &Kernels()}) {
            int const strideA = inner + 1, strideB = columns + 2, strideC = columns + 5;
            Numbers const a = Rows(rows, inner, strideA, 1), b = Rows(inner, columns, strideB, 2);
            Numbers const old = Rows(rows, columns, strideC, 3);
            for (bool const isSubtracted : {false, true}) {
                Numbers c = old;
                kernels->product(isSubtracted, c.data(), strideC, a.data(), strideA, b.data(), strideB, rows, columns,
                                 inner);
                long double ours = 0, plain = 0;
                for (int i = 0; i < rows * strideC; ++i) {
                    int const row = i / strideC, column = i % strideC;
                    if (column >= columns) {
                        ASSERT_EQ(c[i], outside);
                        continue;
                    }
                    long double exact = old[i];
                    double sum = old[i];
                    for (int k = 0; k < inner; ++k) {
                        double const factor = isSubtracted ? -a[row * strideA + k] : a[row * strideA + k];
                        exact += static_cast<long double>(factor) * b[k * strideB + column];
                        sum += factor * b[k * strideB + column];
                    }
                    ours += (c[i] - exact) * (c[i] - exact);
                    plain += (sum - exact) * (sum - exact);
                }
                EXPECT_LE(ours, plain * 1.3L + 1e-30L) << rows << ' ' << columns << ' ' << inner;
            }
        }
    }
}

}  // namespace
