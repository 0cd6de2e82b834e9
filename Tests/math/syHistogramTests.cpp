// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syHistogram.h"
#include "hbtools/math/syRangeHistogram.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

using namespace KxN;

namespace {

constexpr double Marker = KxMath::Infinity;
constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

template <class Histogram>
std::vector<double> Statistics(Histogram const& h) {
    return {h.Mean(),     h.AbsMean(),     h.SquareMean(), h.SquareSum(),
            h.Variance(), h.Variance(1.0), h.StdDev(),     h.StdDev(1.0)};
}

template <class Histogram>
void ExpectStatistics(Histogram const& histogram, std::vector<double> const& want) {
    std::vector<double> const got = Statistics(histogram);
    for (std::size_t i = 0; i < want.size(); ++i) EXPECT_DOUBLE_EQ(got[i], want[i]) << i;
}

TEST(KxHistogram, StatisticsOfItsValues) {
    KxHistogram histogram(2);
    EXPECT_FALSE(histogram.IsValid());
    EXPECT_GT(histogram.Min(), histogram.Max());
    EXPECT_EQ(Statistics(histogram), std::vector<double>(8, Marker));
    for (double const value : {1.0, -2.0, 4.0}) histogram.Add(value);
    ExpectStatistics(histogram, {1, 7.0 / 3, 7, 21, 6, 6, std::sqrt(6.0), std::sqrt(6.0)});
    EXPECT_EQ(histogram.Min(), -2.0);
    EXPECT_EQ(histogram.Max(), 4.0);
    EXPECT_EQ(histogram.Values().Tail(), 4.0);

    KxHistogram const copy(histogram);
    KxHistogram assigned(100);
    assigned = copy;
    KxHistogram const& itself = assigned;
    assigned = itself;
    histogram.Clear();
    EXPECT_FALSE(histogram.IsValid());
    EXPECT_EQ(histogram.Min(), Marker);
    EXPECT_EQ(histogram.Max(), -Marker);
    EXPECT_EQ(Statistics(assigned), Statistics(copy));
    EXPECT_EQ(assigned.Max(), 4.0);
    EXPECT_EQ(assigned.Count(), 3);
}

TEST(KxHistogram, StaysAccurateFarFromZero) {
    KxHistogram histogram(1024);
    for (int i = 0; i < 100000; ++i) histogram.Add(1e9 + (i % 2));
    EXPECT_NEAR(histogram.Mean(), 1e9 + 0.5, 1e-5);
    EXPECT_NEAR(histogram.Variance(), 0.25, 1e-5);
    histogram.SetBlockSize(7);
    histogram.Add(NaN);  // a NaN is taken as extremum and given up at the next value
    EXPECT_TRUE(std::isnan(histogram.Min()));
    histogram.Add(5);
    EXPECT_EQ(histogram.Min() + histogram.Max(), 10.0);
}

TEST(KxRangeHistogram, EveryValueHasAColumn) {
    KxRangeHistogram histogram(0, 10, 5);
    struct {
        double value;
        int column, added;
    } const cases[] = {
        {0, 0, 0},  {1.9, 0, 0},  {2, 1, 1},     {9.99, 4, 4},   {10, 4, 4},  {11, 4, 4},
        {-3, 0, 0}, {-0.5, 0, 0}, {1e300, 4, 4}, {-1e300, 0, 0}, {Inf, 4, 4}, {NaN, 0, 4},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(histogram.Column(c.value), c.column) << c.value;
        histogram.ClearValues();
        histogram.AddValue(c.value, 3);
        EXPECT_EQ(histogram.NumColumnValues(c.added), 3) << c.value;
        EXPECT_EQ(histogram.NumValues(), 3) << c.value;
    }
    EXPECT_EQ(histogram.ColumnCenter(0), 1.0);
    KxRangeHistogram none;
    none.AddValue(1, 1);
    EXPECT_EQ(none.NumColumns() + none.NumValues() + none.Maxima().Count(), 0);
}

TEST(KxRangeHistogram, CountsGoOnBeyondThirtyTwoBits) {
    constexpr int most = 2147483647;
    KxRangeHistogram histogram(0, 2, 2);  // centres 0.5 and 1.5
    histogram.AddValue(2, most);
    for (int i = 0; i < 3; ++i) histogram.AddValue(0, most);
    EXPECT_TRUE(histogram.NumColumnValues(0) == most && histogram.NumColumnValues(1) == most);
    EXPECT_EQ(histogram.NumValues(), 8589934588);
    ExpectStatistics(histogram, {0.75, 0.75, 0.75, 6442450941.0, 0.1875, 0.25, std::sqrt(0.1875), 0.5});
    EXPECT_TRUE(histogram.Maxima().Count() == 1 && histogram.Maxima()[0] == 0.5);
    std::vector<double> const many(1000, 1.5);
    histogram.AddValues(many.data(), 1000);
    EXPECT_EQ(histogram.NumValues(), 8589935588);
    KxRangeHistogram const copy(histogram);
    for (int const taken : {-most, -most, -5}) histogram.AddValue(0, taken);
    EXPECT_EQ(histogram.NumColumnValues(0), most - 5);
    histogram.Data()[1] = 7;
    EXPECT_EQ(histogram.NumValues(), most + 2LL);
    histogram.ClearValues();
    EXPECT_EQ(histogram.NumValues(), 0);
    for (int i = 0; i < 2; ++i) histogram.AddValue(0, -most);
    EXPECT_EQ(histogram.NumColumnValues(0), -most - 1);
    EXPECT_EQ(copy.NumValues(), 8589935588);
}

TEST(KxRangeHistogram, StatisticsOfTheCentres) {
    KxRangeHistogram histogram(-4, 4, 4);  // centres -3, -1, 1, 3
    EXPECT_EQ(Statistics(histogram), std::vector<double>(8, Marker));
    EXPECT_EQ(histogram.SmallestValue(), Marker);
    EXPECT_EQ(histogram.LargestValue(), Marker);
    EXPECT_EQ(histogram.Maxima().Count(), 4);  // every column has the largest count, 0
    histogram.AddValue(-1.5, 2);
    histogram.AddValue(2.5, 1);
    histogram.AddValue(3.5, 1);
    histogram.Data()[0] = -5;  // a count below 1 is skipped
    ExpectStatistics(histogram, {1, 2, 5, 20, 4, 4, 2, 2});
    EXPECT_EQ(histogram.SmallestValue(), -1.0);
    EXPECT_EQ(histogram.LargestValue(), 3.0);
    KxTList<double> const maxima = histogram.Maxima();
    ASSERT_EQ(maxima.Count(), 2);
    EXPECT_EQ(maxima[0] * 10 + maxima[1], -7.0);
    KxRangeHistogram copy(histogram);
    copy.AddValue(0.5, 9);
    EXPECT_EQ(histogram.NumColumnValues(2), 0);
    histogram = copy;
    EXPECT_EQ(histogram.Maxima()[0], 1.0);
}

TEST(RangeHistogram, ManyValuesAtOnceAreTheSingleOnes) {
    double const nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
    double const odd[] = {nan,   -nan,   infinity, -infinity, 0.0, -0.0,
                          1e308, -1e308, 5e-324,   2.0,       3.0, std::nextafter(3.0, 0.0)};
    std::mt19937 random(11);
    std::uniform_real_distribution<double> number(-4, 4);
    std::vector<double> values;
    for (int i = 0; i < 5000; ++i) values.push_back(i % 7 == 0 ? odd[i / 7 % std::ssize(odd)] : number(random));
    struct Case {
        double low, high;
        int columns;
    };
    for (Case const& c : {Case{-3, 3, 1}, Case{-3, 3, 64}, Case{-3, 3, 1000}, Case{3, -3, 10}, Case{0, 0, 10},
                          Case{-3, nan, 10}, Case{-infinity, infinity, 10}, Case{-3, 3, 0}, Case{-1e308, 1e308, 100}}) {
        for (int const count : {0, 1, 511, 512, 513, 5000}) {
            KxRangeHistogram single(c.low, c.high, c.columns), many(c.low, c.high, c.columns);
            for (int i = 0; i < count; ++i) single.AddValue(values[static_cast<std::size_t>(i)], 1);
            many.AddValues(values.data(), count);
            for (int i = 0; i < c.columns; ++i)
                ASSERT_EQ(many.NumColumnValues(i), single.NumColumnValues(i)) << c.low << ' ' << c.high << ' ' << i;
        }
    }
}

}  // namespace
