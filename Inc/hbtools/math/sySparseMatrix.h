// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxSparseMatrix: a square matrix as a list of triples (row, column, value) in the order they were added; triples of one
// place add up. It has no size of its own: the vectors that it meets say how large it is, and no index is checked. Solve
// is the conjugate gradient method for symmetric positive definite matrices, without a dense matrix at any time. Values;
// nothing throws but allocation, after which a matrix is as it was; more than 2^31 - 1 triples are
// std::bad_array_new_length. An object belongs to one thread at a time; const operations may run on several.
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
    KxSparseMatrix& operator=(KxSparseMatrix const& other) { return *this = KxSparseMatrix(other); }
    KxSparseMatrix& operator=(KxSparseMatrix&&) noexcept = default;
    KxSparseMatrix& operator=(KxMatrix const& dense);

    void Clear();  ///< Removes all triples and frees their memory.
    /// Makes room for `capacity` triples in all. Room that is larger already stays, and so do the triples.
    void Reserve(int capacity);
    void Add(int row, int column, double value) {
        if (m_values.Size() >= m_values.Capacity() - 1) [[unlikely]]
            Grow();
        m_values.Add(value);
        m_rows.Add(row);
        m_columns.Add(column);
    }

    /// The product, of the size of `vector`, summed in the order of the triples.
    KxVec operator*(KxVec const& vector) const;

    /// Solves A x = b. x holds the start value, of the size of b, and then the result: after x.Size() steps at most, or
    /// when the squared length of the residual is below 1e-10. The result is that of the same steps made with operator* and
    /// KxVec::Dot, to the last bit. A start value that solves the system already gives a
    /// result that is not finite.
    static void Solve(KxSparseMatrix const& A, KxVec& x, KxVec const& b);
    /// The same for each column of X and B.
    static void Solve(KxSparseMatrix const& A, KxMatrix& X, KxMatrix const& B);

private:
    void Grow();

    KxTDynArray<double> m_values;  // the three have one length, and the others at least the capacity of this one
    KxTDynArray<int> m_rows;
    KxTDynArray<int> m_columns;
};

}  // namespace KxN
