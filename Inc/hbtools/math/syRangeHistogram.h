// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxRangeHistogram counts values into columns of equal width over a fixed range and computes statistics from the
// centres of the columns, weighted by their counts. No value is lost: what lies outside the range counts in the
// first or last column, NaN in the last. Without counts every statistic is the marker KxMath::Infinity.
// Columns with a count below 1 are skipped. A count shows as 2147483647 if it is larger, but is kept, and weighs, in 64 bits.
// Nothing throws but what `new` throws. Column indices are not checked. A value: copies are
// deep; const operations may run on several threads at a time.
#pragma once

#include "hbtools/core/syArray.h"
#include "hbtools/core/syList.h"
#include "hbtools/math/syMath.h"

namespace KxN {

class KX_API KxRangeHistogram {
public:
    /// No columns and no range: values cannot be added.
    KxRangeHistogram() = default;
    /// `columns` columns (0 or more) from `low` to `high`, all counts zero.
    KxRangeHistogram(double low, double high, int columns);
    KxRangeHistogram(KxRangeHistogram const&) = default;
    KxRangeHistogram& operator=(KxRangeHistogram const&) = default;
    virtual ~KxRangeHistogram();

    int NumColumns() const { return m_columns; }
    /// One count per column. Whoever lowers one that shows as 2147483647 sets the whole of it.
    KxTArray<int>& Data() { return m_counts; }
    KxTArray<int> const& Data() const { return m_counts; }

    /// The column of a value; the first or the last for values outside the range.
    int Column(double value) const;
    double ColumnCenter(int column) const { return (column + 0.5) * m_width + m_low; }
    int NumColumnValues(int column) const { return m_counts[column]; }

    /// Adds `count` to the column of the value.
    void AddValue(double value, int count);
    /// Adds 1 for each of `count` values, as AddValue would, much faster.
    void AddValues(double const* values, int count);
    /// Sets all counts to zero; the range stays.
    void ClearValues();

    /// Sum of all counts, whole ones.
    long long NumValues() const;
    /// Centre of the first and of the last column with a count above 0.
    double SmallestValue() const;
    double LargestValue() const;

    double Mean() const;
    double AbsMean() const;     ///< Mean of the absolute values.
    double SquareMean() const;  ///< Mean of the squares.
    double SquareSum() const;   ///< Sum of the squares.
    /// Mean squared difference from the mean, or from the given one.
    double Variance() const;
    double Variance(double mean) const;
    /// The root of the variance.
    double StdDev() const;
    double StdDev(double mean) const;

    /// Centres of all columns that have the largest count, in their order. Without counts these are all columns.
    KxTList<double> Maxima() const;

private:
    template <class Function>
    double RunningMean(Function function) const;
    long long Total(int column) const;
    void Add(int column, long long count);

    int m_columns = 0;
    double m_low = 0;
    double m_high = 0;
    KxTArray<int> m_counts;
    double m_width = 0;
    KxTArray<long long> m_surplus;  // of counts that show as the largest int; none until there is one
};

}  // namespace KxN
