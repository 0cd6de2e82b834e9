// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxTMathVector, KxTMathMatrix and KxTMatrix4x4: dense objects of float or double for transforms that travel as such. A
// matrix is a vector of row vectors, m[row][column]. Values: copies are deep. Access is not checked; what passes out of
// an operation is what `new` throws. An object belongs to one thread at a time.
#pragma once

#include "hbtools/base/syValues.h"
#include "hbtools/core/syMem.h"

#include <new>

namespace KxN {

template <class T>
class KX_API KxTMathVector : public KxTVector<T> {
public:
    using KxTVector<T>::KxTVector;
};

template <class T>
class KX_API KxTMathMatrix : public KxTMathVector<KxTMathVector<T>> {
public:
    KxTMathMatrix() = default;
    /// All elements zero.
    KxTMathMatrix(unsigned long columns, unsigned long rows) { SetSize(columns, rows); }

    using KxTMathVector<KxTMathVector<T>>::Resize;
    virtual void Resize(KxTSize<unsigned long> const& size) { Resize(size.width, size.height); }
    /// Keeps the leading elements of the leading rows.
    virtual void Resize(unsigned long columns, unsigned long rows) { SetSize(columns, rows); }

    unsigned long Height() const { return this->Size(); }
    unsigned long Width() const { return this->Size() > 0 ? (*this)[0].Size() : 0; }

private:
    void SetSize(unsigned long columns, unsigned long rows) {
        KxTMathVector<KxTMathVector<T>>::Resize(rows);
        for (KxTMathVector<T>& row : *this) row.Resize(columns);
    }
};

/// Always 4 rows of 4 columns; made as the identity. Moving copies, and any other size is std::bad_array_new_length. A row
/// by itself can still be resized: who takes a matrix over reads an element that is missing as that of the identity.
template <class T>
class KX_API KxTMatrix4x4 : public KxTMathMatrix<T> {
public:
    KxTMatrix4x4() : KxTMathMatrix<T>(4, 4) {
        for (unsigned long i = 0; i < 4; ++i) (*this)[i][i] = T(1);
    }
    KxTMatrix4x4(KxTMatrix4x4 const&) = default;
    KxTMatrix4x4& operator=(KxTMatrix4x4 const&) = default;

    void Resize(unsigned long rows) override { Check(rows); }
    void Resize(KxTSize<unsigned long> const& size) override { Resize(size.width, size.height); }
    void Resize(unsigned long columns, unsigned long rows) override { Check(columns), Check(rows); }

private:
    static void Check(unsigned long count) {
        if (count != 4) throw std::bad_array_new_length();
    }
};

}  // namespace KxN
