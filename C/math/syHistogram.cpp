// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syHistogram.h"

namespace KxN {

namespace {

/// The mean of a function of the values, in the order of the values, or the marker.
template <class Function>
double RunningMean(KxTBlockList<double> const& values, Function function) {
    double mean = 0;
    double n = 0;
    for (double const value : values) {
        n += 1;
        mean += (function(value) - mean) / n;
    }
    return n > 0 ? mean : double(KxMath::Infinity);
}

double RootUnlessInvalid(double variance) {
    return variance == KxMath::Infinity ? variance : KxMath::Sqrt(variance);
}

}  // namespace

KxHistogram::KxHistogram(int blockSize) : m_values(blockSize), m_blockSize(blockSize) {}

KxHistogram::~KxHistogram() = default;

KxHistogram& KxHistogram::operator=(KxHistogram const& other) {
    if (this != &other) {
        KxTBlockList<double> copy(other.m_values);
        m_values.Swap(copy);
        m_blockSize = other.m_blockSize;
        m_min = other.m_min;
        m_max = other.m_max;
    }
    return *this;
}

void KxHistogram::SetBlockSize(int blockSize) {
    m_blockSize = blockSize;
    m_values.SetBlockSize(blockSize);
}

void KxHistogram::Clear() {
    m_values.RemoveAll();
    m_min = KxMath::Infinity;
    m_max = -double(KxMath::Infinity);
}

double KxHistogram::Mean() const {
    return RunningMean(m_values, [](double x) { return x; });
}

double KxHistogram::AbsMean() const {
    return RunningMean(m_values, [](double x) { return KxMath::Abs(x); });
}

double KxHistogram::SquareMean() const {
    return RunningMean(m_values, KxMath::Sqr);
}

double KxHistogram::SquareSum() const {
    if (!IsValid()) {
        return KxMath::Infinity;
    }
    double sum = 0;
    for (double const value : m_values) {
        sum += KxMath::Sqr(value);
    }
    return sum;
}

double KxHistogram::Variance() const {
    return Variance(Mean());
}

double KxHistogram::Variance(double mean) const {
    return RunningMean(m_values, [mean](double x) { return KxMath::Sqr(x - mean); });
}

double KxHistogram::StdDev() const {
    return RootUnlessInvalid(Variance());
}

double KxHistogram::StdDev(double mean) const {
    return RootUnlessInvalid(Variance(mean));
}

}  // namespace KxN
