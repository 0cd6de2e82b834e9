// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxMatrix: a matrix of doubles whose size is chosen at run time, with its decompositions and solvers.
//
// Sizes are given width first: KxMatrix(3, 2) has 2 rows of 3 columns. Elements are named row first: m[r][c], m(r, c).
// A value that owns one block of elements, row after row; copies are deep. Indices and sizes of operands are not
// checked. Solvers report by their results: false, a 1 by 1 matrix of zero, or elements that are not finite. Nothing
// throws but allocation; a negative size, or more than 2^31 - 1 elements, is std::bad_array_new_length. An object belongs
// to one thread at a time.
#pragma once

#include "hbtools/math/syVec.h"

namespace KxN {

class KX_API KxMatrix {
public:
    KxMatrix();                       ///< One element, zero.
    KxMatrix(int width, int height);  ///< All zero.
    KxMatrix(KxMatrix const& other);
    KxMatrix(KxMatrix&& other) noexcept;  ///< The source has no elements then.
    ~KxMatrix() = default;
    KxMatrix& operator=(KxMatrix const& other);
    KxMatrix& operator=(KxMatrix&& other) noexcept;
    KxMatrix& operator=(double value);  ///< All elements.

    int Width() const { return m_width; }    ///< Columns.
    int Height() const { return m_height; }  ///< Rows.
    /// All elements are zero afterwards, also where the size is the same.
    void Resize(int width, int height);
    void Resize(KxMatrix const& other) { Resize(other.m_width, other.m_height); }

    double* Data() { return m_data.Data(); }
    double const* Data() const { return m_data.Data(); }
    double* operator[](int row) { return m_rows[row]; }
    double const* operator[](int row) const { return m_rows[row]; }
    double& Elem(int row, int column) { return m_rows[row][column]; }
    double const& Elem(int row, int column) const { return m_rows[row][column]; }
    double& operator()(int row, int column) { return m_rows[row][column]; }
    double const& operator()(int row, int column) const { return m_rows[row][column]; }

    void Init(double value) { *this = value; }
    KxVec Row(int row) const;
    KxVec Col(int column) const;
    KxVec Diagonal() const;  ///< min(width, height) elements.
    void SetRow(int row, KxVec const& values);
    void SetCol(int column, KxVec const& values);
    void SetDiagonal(double value);
    void SetDiagonal(KxVec const& values);
    /// The block whose first element stands at (row, column).
    KxMatrix Submatrix(int row, int column, int width, int height) const;
    void SetSubmatrix(int row, int column, KxMatrix const& block);

    double Trace() const;
    double L1Norm() const;  ///< The sum of the absolute values.
    /// The square root of the sum of the square roots of the elements: a negative element gives NaN.
    double L2Norm() const;
    double EuclideanNorm() const { return L2Norm(); }

    KxMatrix& operator+=(double value);
    KxMatrix& operator-=(double value);
    KxMatrix& operator*=(double factor);
    KxMatrix& operator/=(double divisor);  ///< Times 1.0 / divisor.
    /// Over the size of this matrix.
    KxMatrix& operator+=(KxMatrix const& other);
    KxMatrix& operator-=(KxMatrix const& other);
    KxMatrix Transpose() const;

    static KxMatrix IdentityMatrix(int size);
    static KxMatrix DiagonalMatrix(KxVec const& diagonal);
    /// Row r holds the binomial coefficients of r as far as the width goes, and zeros.
    static KxMatrix BinomialMatrix(int width, int height);

    // Decompositions and solvers of square matrices, unless they say otherwise. Systems are A X = B; with a KxVec,
    // A x = b. Results are resized, and may be the operands; where a solver returns false, or throws std::bad_alloc, they
    // are as they were. Large matrices take working memory of their own size.
    //
    // Elements may have any size: singular values and eigenproblems of very large and very small numbers are solved as
    // those of usual ones, and a result beyond the range of double is infinite, or rounded as denormal numbers are. An
    // element that is NaN or infinite gives results that are not finite; every method ends all the same.

    /// True if Gauss-Jordan elimination with full pivoting meets a pivot of exactly zero, or NaN. A matrix that is not
    /// square counts as singular.
    bool IsSingular() const;
    /// By Gauss-Jordan elimination with full pivoting; of a singular matrix 1 by 1 with a zero.
    KxMatrix GaussJordanInverse() const;
    KxMatrix Inverse() const { return GaussJordanInverse(); }
    /// Rows are exchanged by the largest absolute value of the column. The result holds the multipliers below the
    /// diagonal and the upper factor; row i of it comes from row (*permutation)[i]. *sign is multiplied by -1 for each
    /// exchange. Both may be null. Of a matrix that is not square, the columns beyond the height do not count, and missing
    /// ones are zero.
    KxMatrix LUDecomposition(KxTArray<int>* permutation, int* sign) const;
    /// Of a matrix with fewer columns than rows 1 by 1 with NaN; of one with more, the inverse of the square on the left.
    KxMatrix LUInverse() const;
    double Determinant() const;  ///< NaN is possible where a pivot column is zero.

    /// Makes a symmetric matrix, whose lower triangle is read, tridiagonal by Householder's method; it becomes the
    /// orthogonal matrix of the transformation. offDiagonal[0] is zero.
    void TridiagonalizeHouseholder(KxVec* diagonal, KxVec* offDiagonal);
    /// The eigenvalues of a tridiagonal matrix into `diagonal`, with the rotations accumulated into the columns of this
    /// matrix. Both vectors have as many elements as the matrix has columns; offDiagonal[0] does not count, and the rest is
    /// used up. False if one did not converge in max(2 * width, 32) steps, with what was reached by then.
    bool QLAlgorithm(KxVec& diagonal, KxVec& offDiagonal);
    /// The eigenvectors of a symmetric matrix as columns, in no order; *eigenvalues gets theirs unless it is null.
    KxMatrix EigenVectors(KxVec* eigenvalues) const;
    /// A = U diag(W) V^T for any size: U has the size of this matrix, W and V that of its width. The singular values are
    /// not negative and not sorted; one that did not converge in 30 steps is as near as these came, and may be negative.
    /// False only if memory ran out in the way of the framework, by a CException; std::bad_alloc passes out.
    bool SVD(KxMatrix& U, KxVec& W, KxMatrix& V) const;

    static bool SolveEquationSystemGaussJordan(KxMatrix const& A, KxMatrix& X, KxMatrix const& B);
    static bool SolveEquationSystemGaussJordan(KxMatrix const& A, KxVec& x, KxVec const& b);
    /// Always true: a singular matrix, or one with fewer columns than rows, gives elements that are not finite.
    static bool SolveEquationSystemLU(KxMatrix const& A, KxMatrix& X, KxMatrix const& B);
    static bool SolveEquationSystemLU(KxMatrix const& A, KxVec& x, KxVec const& b);
    /// Least squares for any size; false if a singular value is exactly zero.
    static bool SolveEquationSystemSVD(KxMatrix const& A, KxMatrix& X, KxMatrix const& B);
    static bool SolveEquationSystemSVD(KxMatrix const& A, KxVec& x, KxVec const& b);
    /// By LU if A is square and not singular, else by SVD.
    static bool SolveEquationSystem(KxMatrix const& A, KxMatrix& X, KxMatrix const& B);
    static bool SolveEquationSystem(KxMatrix const& A, KxVec& x, KxVec const& b);

    /// Forgets the elements, and a row table that was taken, without freeing them; the matrix is 0 by 0 then.
    void LoseOwnership() noexcept;
    /// Frees the present elements and owns `block` and `rows`, made by new[], with height * width elements row after row
    /// and a pointer to each row in their order. @throws std::bad_array_new_length for a size that no matrix has; block
    /// and rows stay the caller's then
    void TakeOwnership(double* block, double** rows, int width, int height);
    /// Moves the elements to `target`, which frees its own.
    void TransferOwnershipTo(KxMatrix& target) noexcept;

private:
    static constexpr int fewRows = 8;  // whose pointers need no block of their own

    void PointRows();  // at the rows of the block

    int m_height = 0;
    int m_width = 0;
    KxTArray<double> m_data;
    KxTArray<double*> m_rowTable;
    bool m_isTableTaken = false;  // by TakeOwnership, not our own
    double** m_rows = m_fewRows;
    double* m_fewRows[fewRows] = {};
};

/// Over the size of the left operand; sizes are not compared.
KX_API bool operator==(KxMatrix const& a, KxMatrix const& b);
KX_API KxMatrix operator+(KxMatrix const& a, KxMatrix const& b);
KX_API KxMatrix operator-(KxMatrix const& a, KxMatrix const& b);
/// The matrix product; the width of `a` is the height of `b`.
KX_API KxMatrix operator*(KxMatrix const& a, KxMatrix const& b);
KX_API KxMatrix operator*(double factor, KxMatrix const& matrix);
KX_API KxMatrix operator*(KxMatrix const& matrix, double factor);
KX_API KxVec operator*(KxMatrix const& matrix, KxVec const& vector);

}  // namespace KxN
