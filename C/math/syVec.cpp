// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/math/syVec.h"

#include "hbtools/math/syVecParts.h"
#include "math/syDenseKernels.h"

#include <algorithm>

namespace KxN {

namespace {

constexpr double marker = detail::InvalidMarker<double>;

constinit double invalidElements[] = {marker, marker};

/// Never destroyed, since its elements are not of the heap.
union InvalidVector {
    KxVec vector;
    constexpr InvalidVector() : vector() { vector.Attach(invalidElements, 2); }
    constexpr ~InvalidVector() {}
};
constinit InvalidVector const invalid;

/// A vector of the size of `a` with what `element` makes of each index.
template <class Element>
KxVec Made(KxVec const& a, Element element) {
    KxVec result{KxTArray<double>(a.Size())};
    for (int i = 0; i < a.Size(); ++i) result[i] = element(i);
    return result;
}

template <class Vector, class Better>
auto& Extreme(Vector& vector, int* index, Better better) {
    int best = 0;
    for (int i = 1; i < vector.Size(); ++i)
        if (better(vector[i], vector[best])) best = i;
    if (index) *index = best;
    return vector[best];
}

constexpr auto isGreater = [](double a, double b) { return a > b; };
constexpr auto isLess = [](double a, double b) { return a < b; };

}  // namespace

constinit KxVec const& KxVec::Invalid = invalid.vector;

KxVec::KxVec(int size) : KxVec(size, marker) {}

KxVec::KxVec(int size, double value) : KxTArray(size) {
    *this = value;
}

KxVec& KxVec::operator=(KxTArray<double> const& values) {
    KxTArray::operator=(values);
    return *this;
}

KxVec& KxVec::operator=(double value) {
    std::fill(begin(), end(), value);
    return *this;
}

void KxVec::SetValues(double const* values) {
    std::copy(values, values + Size(), begin());
}

void KxVec::Invalidate() {
    if (Size() > 0) (*this)[0] = marker;
}

bool KxVec::IsValid() const {
    return std::find(begin(), end(), marker) == end();
}

double& KxVec::Max(int* index) {
    return Extreme(*this, index, isGreater);
}
double const& KxVec::Max(int* index) const {
    return Extreme(*this, index, isGreater);
}
double& KxVec::Min(int* index) {
    return Extreme(*this, index, isLess);
}
double const& KxVec::Min(int* index) const {
    return Extreme(*this, index, isLess);
}

double KxVec::Dot(KxVec const& vector) const {
    return detail::Kernels().dot(Data(), vector.Data(), Size());
}

double KxVec::SquaredDistance(KxVec const& vector) const {
    double sum = 0;
    for (int i = 0; i < Size(); ++i) sum += KxMath::Sqr((*this)[i] - vector[i]);
    return sum;
}

double KxVec::MinDistance(KxVec const& vector) const {
    double least = Size() > 0 ? KxMath::Abs((*this)[0] - vector[0]) : 0;
    for (int i = 1; i < Size(); ++i) least = KxMath::Min(least, KxMath::Abs((*this)[i] - vector[i]));
    return least;
}

double KxVec::MaxDistance(KxVec const& vector) const {
    double most = 0;
    for (int i = 0; i < Size(); ++i) most = KxMath::Max(most, KxMath::Abs((*this)[i] - vector[i]));
    return most;
}

double KxVec::Angle(KxVec const& vector, bool normalized) const {
    return detail::AngleAbove(1e-28, *this, vector, normalized);
}

bool KxVec::Normalize() {
    return detail::NormalizeUnlessNull(*this);
}

KxVec KxVec::Normalized() const {
    KxVec copy(*this);
    copy.Normalize();
    return copy;
}

void KxVec::Negate() {
    for (double& element : *this) element = -element;
}

KxVec KxVec::operator-() const {
    return Made(*this, [this](int i) { return -(*this)[i]; });
}

KxVec KxVec::Abs() const {
    return Made(*this, [this](int i) { return KxMath::Abs((*this)[i]); });
}

KxVec KxVec::Mult(KxVec const& vector) const {
    return Made(*this, [&](int i) { return (*this)[i] * vector[i]; });
}

KxVec KxVec::Div(KxVec const& vector) const {
    return Made(*this, [&](int i) { return (*this)[i] / vector[i]; });
}

KxVec& KxVec::operator+=(KxVec const& vector) {
    for (int i = 0; i < Size(); ++i) (*this)[i] += vector[i];
    return *this;
}

KxVec& KxVec::operator-=(KxVec const& vector) {
    for (int i = 0; i < Size(); ++i) (*this)[i] -= vector[i];
    return *this;
}

KxVec& KxVec::operator*=(double factor) {
    for (double& element : *this) element *= factor;
    return *this;
}

KxVec& KxVec::operator/=(double divisor) {
    for (double& element : *this) element /= divisor;
    return *this;
}

bool operator==(KxVec const& a, KxVec const& b) {
    if (a.Size() != b.Size()) return false;
    for (int i = 0; i < a.Size(); ++i)
        if (a[i] < b[i] || a[i] > b[i]) return false;
    return true;
}

void KxVec::TransferOwnershipTo(KxVec& target) noexcept {
    if (&target == this) return;
    int const size = Size();
    target.Attach(Detach(), size);
}

KxVec operator+(KxVec const& a, KxVec const& b) {
    return Made(a, [&](int i) { return a[i] + b[i]; });
}

KxVec operator-(KxVec const& a, KxVec const& b) {
    return Made(a, [&](int i) { return a[i] - b[i]; });
}

KxVec operator*(KxVec const& vector, double factor) {
    return Made(vector, [&](int i) { return vector[i] * factor; });
}

KxVec operator/(KxVec const& vector, double divisor) {
    return Made(vector, [&](int i) { return vector[i] / divisor; });
}

}  // namespace KxN
