// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxVec: a vector of doubles whose size is chosen at run time. A value that owns its elements; copies are deep. It is
// invalid while any element is the marker (KxMath::Infinity), as all are in a new one without a value. Nothing is
// checked: indices, and operands shorter than this vector, are the caller's care. Nothing throws but allocation. An
// object belongs to one thread at a time.
#pragma once

#include "hbtools/core/syArray.h"
#include "hbtools/math/syMath.h"

namespace KxN {

class KX_API KxVec : public KxTArray<double> {
public:
    /// Two elements that hold the marker. It is there before any code runs and stays until the process ends.
    static KxVec const& Invalid;

    KxVec() noexcept = default;  ///< No elements.
    explicit KxVec(int size);    ///< All elements are the marker, not zero.
    KxVec(int size, double value);
    KxVec(KxTArray<double> const& values) : KxTArray(values) {}
    KxVec(KxTArray<double>&& values) noexcept : KxTArray(std::move(values)) {}
    KxVec(KxVec const&) = default;
    KxVec(KxVec&&) noexcept = default;
    KxVec& operator=(KxVec const&) = default;
    KxVec& operator=(KxVec&&) noexcept = default;
    KxVec& operator=(KxTArray<double> const& values);
    KxVec& operator=(double value);  ///< All elements; the size stays.

    void Init(double value) { *this = value; }
    void SetValues(double value) { *this = value; }
    void SetValues(double const* values);  ///< Reads Size() doubles.
    double* Values() { return Data(); }
    double const* Values() const { return Data(); }

    void Invalidate();  ///< Writes the marker into element 0 only.
    bool IsValid() const;

    /// The largest and the smallest element, the first of equal ones; *index gets its place. Not of an empty vector.
    double& Max(int* index = nullptr);
    double const& Max(int* index = nullptr) const;
    double& Min(int* index = nullptr);
    double const& Min(int* index = nullptr) const;

    double Dot(KxVec const& vector) const;
    double SquaredLength() const { return Dot(*this); }
    double Norm() const { return SquaredLength(); }  ///< The sum of squares, not its root.
    double Length() const { return KxMath::Sqrt(SquaredLength()); }
    double SquaredDistance(KxVec const& vector) const;
    double Distance(KxVec const& vector) const { return KxMath::Sqrt(SquaredDistance(vector)); }
    /// The smallest and the largest absolute difference of corresponding elements; 0 without elements.
    double MinDistance(KxVec const& vector) const;
    double MaxDistance(KxVec const& vector) const;
    /// False only if the distance exceeds the bound.
    bool IsNeighbour(KxVec const& vector, double bound) const { return !(Distance(vector) > bound); }
    /// 0 to Pi, in radians. `normalized` promises that both lengths are 1. If the product of the squared lengths is not
    /// above 1e-28 the angle is 0.
    double Angle(KxVec const& vector, bool normalized) const;

    /// To length 1. A null vector, also one of NaN, stays as it is and gives false.
    bool Normalize();
    KxVec Normalized() const;
    void Negate();
    KxVec operator-() const;
    KxVec Abs() const;
    KxVec Mult(KxVec const& vector) const;  ///< Element by element.
    KxVec Div(KxVec const& vector) const;

    KxVec& operator+=(KxVec const& vector);
    KxVec& operator-=(KxVec const& vector);
    KxVec& operator*=(double factor);
    KxVec& operator/=(double divisor);

    /// Equal sizes, and no element less or greater than the other's.
    friend KX_API bool operator==(KxVec const& a, KxVec const& b);

    /// Forgets the elements without freeing them, which is then up to whom they were told to; the size is 0.
    void LoseOwnership() noexcept { Detach(); }
    /// Frees the present elements and owns `block`, made by new[] with `size` elements.
    void TakeOwnership(double* block, int size) noexcept { Attach(block, size); }
    /// Moves the elements to `target`, which frees its own.
    void TransferOwnershipTo(KxVec& target) noexcept;
};

KX_API KxVec operator+(KxVec const& a, KxVec const& b);
KX_API KxVec operator-(KxVec const& a, KxVec const& b);
KX_API KxVec operator*(KxVec const& vector, double factor);
KX_API KxVec operator/(KxVec const& vector, double divisor);

}  // namespace KxN
