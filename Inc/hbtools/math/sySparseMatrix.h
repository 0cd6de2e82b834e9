// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxSparseMatrix: a square matrix as a list of triples (row, column, value) in the order they were added; triples of one
// place add up. It has no size of its own: the vectors that it meets say how large it is, and no index is checked. Solve
// is the conjugate gradient method for symmetric positive definite matrices, without a dense matrix at any time. Values;
// nothing throws but allocation. An object belongs to one thread at a time; const operations may run on several.
#pragma once

#include "hbtools/math/syMatrix.h"

namespace KxN {

class KX_API KxSparseMatrix {
public:
    KxSparseMatrix() = default;
    KxSparseMatrix(KxSparseMatrix const&) = default;
    KxSparseMatrix(KxSparseMatrix&&) noexcept = default;
    /// The elements that are less or greater than zero, row after row.
    KxSparseMatrix(KxMatrix const& dense) { *this = dense; }
    ~KxSparseMatrix() = default;
    KxSparseMatrix& operator=(KxSparseMatrix const&) = default;
    KxSparseMatrix& operator=(KxSparseMatrix&&) noexcept = default;
    KxSparseMatrix& operator=(KxMatrix const& dense);

    void Clear();  ///< Removes all triples and frees their memory.
    /// Makes room for that many triples.
    void Reserve(int capacity);
    void Add(int row, int column, double value) {
        if (m_values.Size() + 1 >= m_values.Capacity()) [[unlikely]]
            Grow();
        m_values.Add(value);
        m_rows.Add(row);
        m_columns.Add(column);
    }

    /// The product, of the size of `vector`, summed in the order of the triples.
    KxVec operator*(KxVec const& vector) const;

    /// Solves A x = b. x holds the start value, of the size of b, and then the result: after x.Size() steps at most, or
    /// when the squared length of the residual is below 1e-10. A start value that solves the system already gives a
    /// result that is not finite.
    static void Solve(KxSparseMatrix const& A, KxVec& x, KxVec const& b);
    /// The same for each column of X and B.
    static void Solve(KxSparseMatrix const& A, KxMatrix& X, KxMatrix const& B);

private:
    void Grow();

    KxTDynArray<double> m_values;  // the three have one length and one capacity
    KxTDynArray<int> m_rows;
    KxTDynArray<int> m_columns;
};

}  // namespace KxN
