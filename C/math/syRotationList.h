// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Rotations of the rows of a matrix, put off until many can be made while a strip of columns is in the nearest cache.
#pragma once

#include "math/syDenseKernels.h"

namespace KxN::detail {

class RotationList {
public:
    /// Of `rows`, at a distance of `stride`, with `length` elements each.
    RotationList(DenseKernels const& kernels, double* rows, int stride, int length)
        : m_kernels(kernels), m_rows(rows), m_stride(stride), m_length(length) {}
    RotationList(RotationList const&) = delete;
    RotationList& operator=(RotationList const&) = delete;

    /// The next rotations begin with the rows `first` and `first + step`.
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
        m_kernels.rotate(m_rows, m_stride, m_length, m_chains, m_chainCount, m_rotations);
        m_chainCount = m_count = 0;
    }

private:
    static constexpr int maxChains = 64, maxRotations = 1024;

    DenseKernels const& m_kernels;
    double* m_rows;
    int m_stride, m_length;
    int m_chainCount = 0, m_count = 0;
    RotationChain m_chains[maxChains];
    Rotation m_rotations[maxRotations];
};

}  // namespace KxN::detail
