// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syRangeHistogram.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <immintrin.h>

namespace KxN {

namespace {

constexpr long long largestShown = std::numeric_limits<int>::max();

/// Four columns at a time. Each comparison has its operands in the order that gives NaN and the borders the column of
/// the single value: the smaller, or the larger, instruction takes its second operand where it cannot compare.
[[gnu::target("avx2")]] void ColumnsOf(double const* values, int* columns, int fours, double low, double high,
                                       double width, int last) {
    __m256d const lows = _mm256_set1_pd(low), highs = _mm256_set1_pd(high), widths = _mm256_set1_pd(width);
    __m256d const lasts = _mm256_set1_pd(last);
    for (; fours > 0; --fours, values += 4, columns += 4) {
        __m256d const clamped = _mm256_min_pd(_mm256_max_pd(lows, _mm256_loadu_pd(values)), highs);
        __m256d const position = _mm256_div_pd(_mm256_sub_pd(clamped, lows), widths);
        __m256d const column = _mm256_min_pd(_mm256_max_pd(position, _mm256_setzero_pd()), lasts);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(columns), _mm256_cvttpd_epi32(column));
    }
    _mm256_zeroupper();
}

}  // namespace

KxRangeHistogram::KxRangeHistogram(double low, double high, int columns)
    : m_columns(columns), m_low(low), m_high(high), m_counts(columns), m_width(columns ? (high - low) / columns : 0) {}

KxRangeHistogram::~KxRangeHistogram() = default;

int KxRangeHistogram::Column(double value) const {
    // Compared before it is made whole, so that no value is too large for that.
    double const position = (value - m_low) / m_width;
    if (!(position >= 1)) {
        return 0;
    }
    return position >= m_columns ? KxMath::Max(m_columns - 1, 0) : static_cast<int>(position);
}

long long KxRangeHistogram::Total(int column) const {
    int const count = m_counts[column];
    return count < largestShown || m_surplus.Size() == 0 ? count : count + m_surplus[column];
}

void KxRangeHistogram::Add(int column, long long count) {
    long long const total = Total(column) + count;
    if (total > largestShown || m_surplus.Size() > 0) {
        if (m_surplus.Size() == 0) m_surplus.Resize(m_columns);
        m_surplus[column] = std::max(total - largestShown, 0LL);
    }
    m_counts[column] = static_cast<int>(std::clamp<long long>(total, std::numeric_limits<int>::min(), largestShown));
}

void KxRangeHistogram::AddValue(double value, int count) {
    if (m_columns <= 0) return;
    int const column = Column(KxMath::Clamp(value, m_low, m_high));
    int total = 0;
    if (m_surplus.Size() == 0 && !__builtin_add_overflow(m_counts[column], count, &total)) [[likely]]
        m_counts[column] = total;
    else
        Add(column, count);
}

void KxRangeHistogram::AddValues(double const* values, int count) {
    constexpr int block = 512, tables = 4;
    static bool const isWide = __builtin_cpu_supports("avx2");
    if (m_columns > 0 && isWide && count >= block && count / tables >= m_columns) {
        // Neighbouring values often share a column: four tables in turn, so that no count waits for the one before.
        KxTArray<unsigned int> counts(tables * m_columns);
        for (; count >= block; count -= block, values += block) {
            int columns[block];
            ColumnsOf(values, columns, block / 4, m_low, m_high, m_width, m_columns - 1);
            for (int i = 0; i < block; i += tables)
                for (int k = 0; k < tables; ++k) ++counts[k * m_columns + columns[i + k]];
        }
        for (int column = 0; column < m_columns; ++column) {
            long long sum = 0;
            for (int k = 0; k < tables; ++k) sum += counts[k * m_columns + column];
            Add(column, sum);
        }
    }
    for (; count > 0; --count, ++values) AddValue(*values, 1);
}

void KxRangeHistogram::ClearValues() {
    std::fill(m_counts.begin(), m_counts.end(), 0);
    m_surplus.Resize(0);
}

long long KxRangeHistogram::NumValues() const {
    long long sum = 0;
    for (int column = 0; column < m_columns; ++column) sum += Total(column);
    return sum;
}

double KxRangeHistogram::SmallestValue() const {
    for (int column = 0; column < m_columns; ++column) {
        if (m_counts[column] > 0) {
            return ColumnCenter(column);
        }
    }
    return KxMath::Infinity;
}

double KxRangeHistogram::LargestValue() const {
    for (int column = m_columns; column-- > 0;) {
        if (m_counts[column] > 0) {
            return ColumnCenter(column);
        }
    }
    return KxMath::Infinity;
}

/// The mean of a function of the column centres, weighted by the counts, in the order of the columns, or the marker.
template <class Function>
double KxRangeHistogram::RunningMean(Function function) const {
    double mean = 0;
    double weight = 0;
    for (int column = 0; column < m_columns; ++column) {
        if (auto const count = static_cast<double>(Total(column)); count > 0) {
            weight += count;
            mean += (function(ColumnCenter(column)) - mean) * (count / weight);
        }
    }
    return weight > 0 ? mean : double(KxMath::Infinity);
}

double KxRangeHistogram::Mean() const {
    return RunningMean([](double x) { return x; });
}

double KxRangeHistogram::AbsMean() const {
    return RunningMean([](double x) { return KxMath::Abs(x); });
}

double KxRangeHistogram::SquareMean() const {
    return RunningMean(KxMath::Sqr);
}

double KxRangeHistogram::SquareSum() const {
    double sum = 0;
    bool isEmpty = true;
    for (int column = 0; column < m_columns; ++column) {
        if (auto const count = static_cast<double>(Total(column)); count > 0) {
            sum += KxMath::Sqr(ColumnCenter(column)) * count;
            isEmpty = false;
        }
    }
    return isEmpty ? double(KxMath::Infinity) : sum;
}

double KxRangeHistogram::Variance() const {
    return Variance(Mean());
}

double KxRangeHistogram::Variance(double mean) const {
    return RunningMean([mean](double x) { return KxMath::Sqr(x - mean); });
}

double KxRangeHistogram::StdDev() const {
    return StdDev(Mean());
}

double KxRangeHistogram::StdDev(double mean) const {
    double const variance = Variance(mean);
    return variance == KxMath::Infinity ? variance : KxMath::Sqrt(variance);
}

KxTList<double> KxRangeHistogram::Maxima() const {
    long long largest = 0;
    for (int column = 0; column < m_columns; ++column) largest = std::max(largest, Total(column));
    KxTList<double> centers;
    for (int column = 0; column < m_columns; ++column) {
        if (Total(column) == largest) {
            centers.AddTail(ColumnCenter(column));
        }
    }
    return centers;
}

}  // namespace KxN
