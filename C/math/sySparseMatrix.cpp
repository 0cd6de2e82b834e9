// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/sySparseMatrix.h"

#include "math/syDenseKernels.h"
#include "math/sySparseGrowth.h"

#include <algorithm>
#include <cstddef>

namespace KxN {

namespace {

constexpr double smallResidual = 1e-10;  // squared, whatever the size of the right side

bool IsNonZero(double value) {
    return value < 0.0 || value > 0.0;
}

/// The triples arranged by rows, in their order within each row, for many products with vectors of one size.
class RowForm {
public:
    RowForm(KxTDynArray<int> const& rows, KxTDynArray<int> const& columns, KxTDynArray<double> const& values, int size)
        : m_begins(size + 1), m_columns(rows.Size()), m_values(rows.Size()) {
        for (int const row : rows) ++m_begins[row + 1];
        for (int r = 0; r < size; ++r) m_begins[r + 1] += m_begins[r];
        KxTArray<int> next(m_begins.Data(), size);
        for (int i = 0; i < rows.Size(); ++i) {
            int const place = next[rows[i]]++;
            m_columns[place] = columns[i];
            m_values[place] = values[i];
        }
    }

    /// `count` elements of q = A p.
    void Multiply(double const* p, double* q, int first, int count) const {
        double const* value = m_values.Data() + m_begins[first];
        int const* column = m_columns.Data() + m_begins[first];
        for (int r = first; r < first + count; ++r) {
            double sum = 0;
            for (double const* const end = m_values.Data() + m_begins[r + 1]; value != end; ++value, ++column)
                sum += p[*column] * *value;
            q[r] = sum;
        }
    }

private:
    KxTArray<int> m_begins;  // of the rows, and the end of the last
    KxTArray<int> m_columns;
    KxTArray<double> m_values;
};

/// The sum of KxVec::Dot, to the bit, made block after block.
class DotSum {
public:
    void Add(double const* a, double const* b, int count) {
        m_sum = detail::Kernels().continueDot(m_state, a, b, count);
    }
    double Get() const { return m_sum; }

private:
    double m_state[detail::sumParts] = {};
    double m_sum = 0;
};

/// Calls work(first, count) for each block of a vector: what is done to a block finds it in the nearest cache.
template <class Work>
void InBlocks(int size, Work work) {
    constexpr int block = 64 * detail::sumParts;
    for (int first = 0; first < size; first += block) work(first, std::min(block, size - first));
}

void SolveByRows(RowForm const& A, KxVec& x, KxVec const& b) {
    int const n = x.Size();
    KxVec residual{KxTArray<double>(n)}, direction{KxTArray<double>(n)}, image{KxTArray<double>(n)};
    double* const r = residual.Data();
    double* const p = direction.Data();
    double* const q = image.Data();
    auto const multiply = [&] {
        DotSum pq;
        InBlocks(n, [&](int first, int count) {
            A.Multiply(p, q, first, count);
            pq.Add(p + first, q + first, count);
        });
        return pq.Get();
    };

    A.Multiply(x.Data(), q, 0, n);
    for (int i = 0; i < n; ++i) {
        r[i] = b[i] - q[i];
        p[i] = -r[i];
    }
    double pq = multiply();
    double alpha = residual.Dot(direction) / pq;
    // The step along p is added to x in the loop that makes the next p, so that each vector is read once.
    for (int step = 0; step < n; ++step) {
        DotSum rr, rq;
        InBlocks(n, [&](int first, int count) {
            detail::Kernels().addScaled(r + first, -alpha, q + first, count);
            rr.Add(r + first, r + first, count);
            rq.Add(r + first, q + first, count);
        });
        if (rr.Get() < smallResidual) break;
        double const beta = rq.Get() / pq;
        DotSum rp;
        InBlocks(n, [&](int first, int count) {
            for (int i = first; i < first + count; ++i) {
                x[i] += alpha * p[i];
                p[i] = beta * p[i] - r[i];
            }
            rp.Add(r + first, p + first, count);
        });
        pq = multiply();
        alpha = rp.Get() / pq;
    }
    for (int i = 0; i < n; ++i) x[i] += alpha * p[i];
}

}  // namespace

KxSparseMatrix& KxSparseMatrix::operator=(KxMatrix const& dense) {
    int count = 0;
    for (int r = 0; r < dense.Height(); ++r)
        count += static_cast<int>(std::count_if(dense[r], dense[r] + dense.Width(), IsNonZero));
    Reserve(count);  // the last that can throw
    m_values.Clear();
    m_rows.Clear();
    m_columns.Clear();
    for (int r = 0; r < dense.Height(); ++r) {
        for (int c = 0; c < dense.Width(); ++c) {
            if (!IsNonZero(dense[r][c])) continue;
            m_values.Add(dense[r][c]);
            m_rows.Add(r);
            m_columns.Add(c);
        }
    }
    return *this;
}

void KxSparseMatrix::Clear() {
    *this = KxSparseMatrix();
}

void KxSparseMatrix::Reserve(int capacity) {
    m_rows.Reserve(capacity);
    m_columns.Reserve(capacity);
    m_values.Reserve(capacity);  // whose capacity is what Add looks at
}

void KxSparseMatrix::Grow() {
    Reserve(detail::GrownByHalf(m_values.Capacity(), m_values.Size()));
}

KxVec KxSparseMatrix::operator*(KxVec const& vector) const {
    KxVec result(vector.Size(), 0.0);
    for (int i = 0; i < m_values.Size(); ++i) result[m_rows[i]] += vector[m_columns[i]] * m_values[i];
    return result;
}

void KxSparseMatrix::Solve(KxSparseMatrix const& A, KxVec& x, KxVec const& b) {
    SolveByRows(RowForm(A.m_rows, A.m_columns, A.m_values, x.Size()), x, b);
}

void KxSparseMatrix::Solve(KxSparseMatrix const& A, KxMatrix& X, KxMatrix const& B) {
    RowForm const rows(A.m_rows, A.m_columns, A.m_values, B.Height());
    for (int c = 0; c < X.Width(); ++c) {
        KxVec x = X.Col(c);
        SolveByRows(rows, x, B.Col(c));
        X.SetCol(c, x);
    }
}

}  // namespace KxN
