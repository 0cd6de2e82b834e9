// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of dense matrices share.
#pragma once

#include "hbtools/math/syMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace KxN {

constexpr double eps = 0x1p-52;
inline double const noNumber = std::nan("");
inline double const infinity = std::numeric_limits<double>::infinity();

inline KxMatrix Matrix(int width, std::vector<double> const& values) {
    KxMatrix result(width, static_cast<int>(values.size()) / width);
    std::copy(values.begin(), values.end(), result.Data());
    return result;
}

inline KxVec Vector(std::vector<double> const& values) {
    return KxVec(KxTArray<double>(values.data(), static_cast<int>(values.size())));
}

inline KxMatrix Random(int width, int height, unsigned int seed = 1) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> number(-1, 1);
    KxMatrix result(width, height);
    for (int i = 0; i < width * height; ++i) result.Data()[i] = number(random);
    return result;
}

/// The largest absolute value; NaN if there is one.
inline double Size(KxMatrix const& m) {
    double largest = 0;
    for (int i = 0; i < m.Width() * m.Height(); ++i)
        if (!(std::abs(m.Data()[i]) <= largest) && !std::isnan(largest)) largest = std::abs(m.Data()[i]);
    return largest;
}

inline double Distance(KxMatrix const& a, KxMatrix const& b) {
    EXPECT_TRUE(a.Width() == b.Width() && a.Height() == b.Height());
    return Size(a - b);
}

inline bool IsSame(KxMatrix const& a, KxMatrix const& b) {
    return a.Width() == b.Width() && a.Height() == b.Height() && a == b;
}

inline KxMatrix Identity(int n) {
    return KxMatrix::IdentityMatrix(n);
}

/// The elements times 2 to the power of `exponent`.
inline KxMatrix Scaled(KxMatrix matrix, int exponent) {
    for (int i = 0; i < matrix.Width() * matrix.Height(); ++i)
        matrix.Data()[i] = std::ldexp(matrix.Data()[i], exponent);
    return matrix;
}

struct Case {
    std::string name;
    KxMatrix matrix;
};

/// Regular and nearly singular matrices of small, usual and large numbers.
inline std::vector<Case> Squares() {
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

}  // namespace KxN
