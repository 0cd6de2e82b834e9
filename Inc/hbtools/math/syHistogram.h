// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxHistogram keeps every value it is given and computes exact statistics of them, as running means, which stay
// accurate for any number of values. The unit of the results is that of the values (squared where the name says).
// Without values every statistic is the marker KxMath::Infinity. Nothing throws but what `new` throws in Add and
// copies, which leaves the histogram as it was. A value: copies are deep; an object belongs to one thread at a time.
#pragma once

#include "hbtools/core/syList.h"
#include "hbtools/math/syMath.h"

#include <utility>

namespace KxN {

class KX_API KxHistogram {
public:
    /// blockSize: values per block of memory, at least 1.
    explicit KxHistogram(int blockSize = 1024);
    KxHistogram(KxHistogram const& other) = default;
    /// Takes the values; the other one is left without.
    KxHistogram(KxHistogram&& other) noexcept : KxHistogram(other.m_blockSize) { Swap(other); }
    KxHistogram& operator=(KxHistogram const& other);
    /// The other one gets the values of this one.
    KxHistogram& operator=(KxHistogram&& other) noexcept {
        Swap(other);
        return *this;
    }
    virtual ~KxHistogram();

    /// Sets the values per block, at least 1; with values in it, it goes on with the present blocks until Clear.
    void SetBlockSize(int blockSize);

    void Add(double value) {
        m_values.AddTail(value);
        m_min = m_min < value ? m_min : value;
        m_max = m_max > value ? m_max : value;
    }
    /// Removes all values.
    void Clear();

    int Count() const { return m_values.Count(); }
    bool IsValid() const { return Count() > 0; }
    /// All values in the order in which they were added.
    KxTBlockList<double> const& Values() const { return m_values; }
    /// Smallest and largest value; without values the marker and its negative.
    double Min() const { return m_min; }
    double Max() const { return m_max; }

    double Mean() const;
    double AbsMean() const;     ///< Mean of the absolute values.
    double SquareMean() const;  ///< Mean of the squares.
    double SquareSum() const;   ///< Sum of the squares.
    /// Mean squared difference from the mean, or from the given one, over n values and not n - 1.
    double Variance() const;
    double Variance(double mean) const;
    /// The root of the variance.
    double StdDev() const;
    double StdDev(double mean) const;

private:
    void Swap(KxHistogram& other) noexcept {
        m_values.Swap(other.m_values);
        std::swap(m_blockSize, other.m_blockSize);
        std::swap(m_min, other.m_min);
        std::swap(m_max, other.m_max);
    }

    KxTBlockList<double> m_values;
    int m_blockSize;
    double m_min = KxMath::Infinity;
    double m_max = -double(KxMath::Infinity);
};

}  // namespace KxN
