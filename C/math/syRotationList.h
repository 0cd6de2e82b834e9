// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Rotations of the rows of a matrix, put off until many can be made while a strip of columns is in the nearest cache.
#pragma once

#include "math/syDenseKernels.h"

namespace KxN::detail {

/// A distance of rows of `length` elements: whole registers, and not such that the rows of a strip of columns compete for
/// the same few places of a cache. What is between the rows is rotated too.
inline int RotatedStride(int length) {
    int const whole = (length + 3) / 4 * 4;
    return whole < 64 ? whole : ((whole + 7) / 8 | 1) * 8;
}

class RotationList {
public:
    /// Of `rows` at a distance of RotatedStride.
    RotationList(double* rows, int stride) : m_rows(rows), m_stride(stride) {}
    RotationList(RotationList const&) = delete;
    RotationList& operator=(RotationList const&) = delete;

    /// The next rotations begin with the rows `first` and `first + step`, see RotationChain.
    void Begin(int first, int step) {
        if (m_chainCount == maxChains) Make();
        m_chains[m_chainCount++] = {first, step, 0};
    }

    void Add(double c, double s) {
        if (m_count == maxRotations) {
            RotationChain const last = m_chains[m_chainCount - 1];
            Make();
            Begin(last.first + last.step * last.count, last.step);
        }
        m_rotations[m_count++] = {c, s};
        ++m_chains[m_chainCount - 1].count;
    }

    /// Makes all that were put off.
    void Make() {
        Kernels().rotate(m_rows, m_stride, m_stride, m_chains, m_chainCount, m_rotations);
        m_chainCount = m_count = 0;
    }

private:
    static constexpr int maxChains = 64, maxRotations = 1024;

    double* m_rows;
    int m_stride;
    int m_chainCount = 0, m_count = 0;
    RotationChain m_chains[maxChains];
    Rotation m_rotations[maxRotations];
};

}  // namespace KxN::detail
