// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/sySparseMatrix.h"

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

    /// q = A p. Returns the dot product of p and q.
    double Multiply(double const* p, double* q) const {
        double const* value = m_values.Data();
        int const* column = m_columns.Data();
        double dot = 0;
        int const size = m_begins.Size() - 1;
        for (int r = 0; r < size; ++r) {
            double sum = 0;
            for (double const* const end = m_values.Data() + m_begins[r + 1]; value != end; ++value, ++column)
                sum += p[*column] * *value;
            q[r] = sum;
            dot += p[r] * sum;
        }
        return dot;
    }

private:
    KxTArray<int> m_begins;  // of the rows, and the end of the last
    KxTArray<int> m_columns;
    KxTArray<double> m_values;
};

/// Four sums side by side, so that the processor need not wait for the one before.
class Sum {
public:
    void Add(int i, double value) { m_parts[i & 3] += value; }
    double Get() const { return (m_parts[0] + m_parts[1]) + (m_parts[2] + m_parts[3]); }

private:
    double m_parts[4] = {};
};

void SolveByRows(RowForm const& A, KxVec& x, KxVec const& b) {
    int const n = x.Size();
    KxVec residual{KxTArray<double>(n)}, direction{KxTArray<double>(n)}, image{KxTArray<double>(n)};
    double* const r = residual.Data();
    double* const p = direction.Data();
    double* const q = image.Data();

    A.Multiply(x.Data(), q);
    Sum rpSum;
    for (int i = 0; i < n; ++i) {
        r[i] = b[i] - q[i];
        p[i] = -r[i];
        rpSum.Add(i, r[i] * p[i]);
    }
    double pq = A.Multiply(p, q);
    double alpha = rpSum.Get() / pq;
    // The step along p is added to x in the loop that makes the next p, so that each vector is read once.
    for (int step = 0; step < n; ++step) {
        Sum rr, rq;
        for (int i = 0; i < n; ++i) {
            r[i] -= alpha * q[i];
            rr.Add(i, r[i] * r[i]);
            rq.Add(i, r[i] * q[i]);
        }
        if (rr.Get() < smallResidual) break;
        double const beta = rq.Get() / pq;
        Sum rp;
        for (int i = 0; i < n; ++i) {
            x[i] += alpha * p[i];
            p[i] = beta * p[i] - r[i];
            rp.Add(i, r[i] * p[i]);
        }
        pq = A.Multiply(p, q);
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
