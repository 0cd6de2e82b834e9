// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syMatrix.h"

#include "math/syDenseKernels.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace KxN {

namespace {

int ElementCount(int width, int height) {
    long long const count = static_cast<long long>(width) * height;
    if (width < 0 || height < 0 || count > std::numeric_limits<int>::max()) throw std::bad_array_new_length();
    return static_cast<int>(count);
}

}  // namespace

KxMatrix::KxMatrix() : KxMatrix(1, 1) {}

KxMatrix::KxMatrix(int width, int height) : m_height(height), m_width(width), m_data(ElementCount(width, height)) {
    PointRows();
}

KxMatrix::KxMatrix(KxMatrix const& other) : m_height(other.m_height), m_width(other.m_width), m_data(other.m_data) {
    PointRows();
}

KxMatrix::KxMatrix(KxMatrix&& other) noexcept {
    other.TransferOwnershipTo(*this);
}

KxMatrix& KxMatrix::operator=(KxMatrix const& other) {
    if (m_width == other.m_width && m_height == other.m_height)
        std::copy(other.m_data.begin(), other.m_data.end(), m_data.begin());
    else
        KxMatrix(other).TransferOwnershipTo(*this);
    return *this;
}

KxMatrix& KxMatrix::operator=(KxMatrix&& other) noexcept {
    other.TransferOwnershipTo(*this);
    return *this;
}

KxMatrix& KxMatrix::operator=(double value) {
    std::fill(m_data.begin(), m_data.end(), value);
    return *this;
}

void KxMatrix::PointRows() {
    if (m_height > fewRows) {
        m_rowTable.Resize(m_height);
        m_rows = m_rowTable.Data();
    } else {
        m_rowTable.Resize(0);
        m_rows = m_fewRows;
    }
    for (int r = 0; r < m_height; ++r) m_rows[r] = m_data.Data() + static_cast<std::ptrdiff_t>(r) * m_width;
}

void KxMatrix::Resize(int width, int height) {
    if (width == m_width && height == m_height)
        *this = 0.0;
    else
        KxMatrix(width, height).TransferOwnershipTo(*this);
}

KxVec KxMatrix::Row(int row) const {
    return KxVec(KxTArray<double>(m_rows[row], m_width));
}

KxVec KxMatrix::Col(int column) const {
    KxVec result{KxTArray<double>(m_height)};
    for (int r = 0; r < m_height; ++r) result[r] = m_rows[r][column];
    return result;
}

KxVec KxMatrix::Diagonal() const {
    KxVec result{KxTArray<double>(std::min(m_width, m_height))};
    for (int i = 0; i < result.Size(); ++i) result[i] = m_rows[i][i];
    return result;
}

void KxMatrix::SetRow(int row, KxVec const& values) {
    std::copy(values.begin(), values.begin() + m_width, m_rows[row]);
}

void KxMatrix::SetCol(int column, KxVec const& values) {
    for (int r = 0; r < m_height; ++r) m_rows[r][column] = values[r];
}

void KxMatrix::SetDiagonal(double value) {
    for (int i = 0; i < std::min(m_width, m_height); ++i) m_rows[i][i] = value;
}

void KxMatrix::SetDiagonal(KxVec const& values) {
    for (int i = 0; i < std::min(m_width, m_height); ++i) m_rows[i][i] = values[i];
}

KxMatrix KxMatrix::Submatrix(int row, int column, int width, int height) const {
    KxMatrix result(width, height);
    for (int r = 0; r < height; ++r) std::copy_n(m_rows[row + r] + column, width, result[r]);
    return result;
}

void KxMatrix::SetSubmatrix(int row, int column, KxMatrix const& block) {
    for (int r = 0; r < block.m_height; ++r) std::copy_n(block[r], block.m_width, m_rows[row + r] + column);
}

double KxMatrix::Trace() const {
    double sum = 0;
    for (int i = 0; i < std::min(m_width, m_height); ++i) sum += m_rows[i][i];
    return sum;
}

double KxMatrix::L1Norm() const {
    double sum = 0;
    for (double const element : m_data) sum += KxMath::Abs(element);
    return sum;
}

double KxMatrix::L2Norm() const {
    double sum = 0;
    for (double const element : m_data) sum += KxMath::Sqrt(element);
    return KxMath::Sqrt(sum);
}

KxMatrix& KxMatrix::operator+=(double value) {
    for (double& element : m_data) element += value;
    return *this;
}

KxMatrix& KxMatrix::operator-=(double value) {
    for (double& element : m_data) element -= value;
    return *this;
}

KxMatrix& KxMatrix::operator*=(double factor) {
    for (double& element : m_data) element *= factor;
    return *this;
}

KxMatrix& KxMatrix::operator/=(double divisor) {
    return *this *= 1.0 / divisor;
}

KxMatrix& KxMatrix::operator+=(KxMatrix const& other) {
    for (int i = 0; i < m_data.Size(); ++i) m_data[i] += other.m_data[i];
    return *this;
}

KxMatrix& KxMatrix::operator-=(KxMatrix const& other) {
    for (int i = 0; i < m_data.Size(); ++i) m_data[i] -= other.m_data[i];
    return *this;
}

KxMatrix KxMatrix::Transpose() const {
    KxMatrix result(m_height, m_width);
    detail::Transpose(Data(), m_width, result.Data(), m_height, m_height, m_width);
    return result;
}

KxMatrix KxMatrix::IdentityMatrix(int size) {
    KxMatrix result(size, size);
    result.SetDiagonal(1.0);
    return result;
}

KxMatrix KxMatrix::DiagonalMatrix(KxVec const& diagonal) {
    KxMatrix result(diagonal.Size(), diagonal.Size());
    result.SetDiagonal(diagonal);
    return result;
}

KxMatrix KxMatrix::BinomialMatrix(int width, int height) {
    KxMatrix result(width, height);
    if (width == 0) return result;
    for (int r = 0; r < height; ++r) {
        result[r][0] = 1.0;
        for (int c = 1; c <= r && c < width; ++c) result[r][c] = result[r - 1][c - 1] + result[r - 1][c];
    }
    return result;
}

void KxMatrix::LoseOwnership() noexcept {
    m_data.Detach();
    if (m_isTableTaken)
        m_rowTable.Detach();
    else
        m_rowTable.Resize(0);
    m_isTableTaken = false;
    m_rows = m_fewRows;
    m_width = m_height = 0;
}

void KxMatrix::TakeOwnership(double* block, double** rows, int width, int height) {
    m_data.Attach(block, ElementCount(width, height));
    m_rowTable.Attach(rows, height);
    m_isTableTaken = true;
    m_rows = rows;
    m_width = width;
    m_height = height;
}

void KxMatrix::TransferOwnershipTo(KxMatrix& target) noexcept {
    if (&target == this) return;
    target.m_data = std::move(m_data);
    target.m_rowTable = std::move(m_rowTable);
    target.m_isTableTaken = m_isTableTaken;
    std::copy(std::begin(m_fewRows), std::end(m_fewRows), target.m_fewRows);
    target.m_rows = m_rows == m_fewRows ? target.m_fewRows : m_rows;
    target.m_width = m_width;
    target.m_height = m_height;
    LoseOwnership();
}

bool operator==(KxMatrix const& a, KxMatrix const& b) {
    for (int r = 0; r < a.Height(); ++r)
        for (int c = 0; c < a.Width(); ++c)
            if (a[r][c] < b[r][c] || a[r][c] > b[r][c]) return false;
    return true;
}

KxMatrix operator+(KxMatrix const& a, KxMatrix const& b) {
    KxMatrix result(a);
    return std::move(result += b);
}

KxMatrix operator-(KxMatrix const& a, KxMatrix const& b) {
    KxMatrix result(a);
    return std::move(result -= b);
}

KxMatrix operator*(KxMatrix const& a, KxMatrix const& b) {
    KxMatrix result(b.Width(), a.Height());
    detail::Kernels().product(false, result.Data(), b.Width(), a.Data(), a.Width(), b.Data(), b.Width(), a.Height(),
                              b.Width(), a.Width());
    return result;
}

KxMatrix operator*(double factor, KxMatrix const& matrix) {
    KxMatrix result(matrix);
    return std::move(result *= factor);
}

KxMatrix operator*(KxMatrix const& matrix, double factor) {
    return factor * matrix;
}

KxVec operator*(KxMatrix const& matrix, KxVec const& vector) {
    KxVec result{KxTArray<double>(matrix.Height())};
    for (int r = 0; r < matrix.Height(); ++r)
        result[r] = detail::Kernels().dot(matrix[r], vector.Data(), matrix.Width());
    return result;
}

}  // namespace KxN
