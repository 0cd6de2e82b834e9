// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/math/syVec4.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>

using namespace KxN;

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Marker = KxMath::Infinity;
constexpr int SmallestInt = -2147483647 - 1;

template <class Vector>
using ScalarOf = std::remove_reference_t<decltype(std::declval<Vector&>()[0])>;
template <class Vector>
constexpr int SizeOf = sizeof(Vector) / sizeof(ScalarOf<Vector>);

template <class Vector>
std::string Text(Vector const& vector) {
    std::string text;
    for (int i = 0; i < SizeOf<Vector>; ++i) text.append(i ? " " : "").append(::testing::PrintToString(vector[i]));
    return text;
}

template <class Vector>
class Vectors : public ::testing::Test {};
using AllVectors =
    ::testing::Types<KxVec2s, KxVec2i, KxVec2f, KxVec2d, KxVec3i, KxVec3f, KxVec3d, KxVec4i, KxVec4f, KxVec4d>;
TYPED_TEST_SUITE(Vectors, AllVectors);

/// Out of line, since a compiler that sees what stood there before may drop it as having no value.
template <class Vector>
[[gnu::noinline]] Vector* ConstructAt(void* place) {
    return new (place) Vector;
}

TYPED_TEST(Vectors, OnlyTheFirstComponentMarksAndMostAreTested) {
    using Scalar = ScalarOf<TypeParam>;
    constexpr int Size = SizeOf<TypeParam>;
    constexpr Scalar Invalid = detail::InvalidMarker<Scalar>;
    Scalar values[4];
    std::fill(values, values + 4, Scalar(5));
    TypeParam* const vector = ConstructAt<TypeParam>(values);
    EXPECT_EQ(values[0], Invalid);
    EXPECT_EQ(values[1], Scalar(5));
    EXPECT_EQ(values[Size - 1], Scalar(5));
    EXPECT_FALSE(vector->IsValid());
    for (int i = 0; i < Size; ++i) {
        std::fill(vector->Values(), vector->Values() + Size, Scalar(1));
        EXPECT_TRUE(vector->IsValid());
        (*vector)[i] = Invalid;
        bool const isTested = i < 3 || std::is_same_v<Scalar, int>;
        EXPECT_EQ(vector->IsValid(), !isTested) << i;
    }
    (*vector)[1] = Scalar(1);
    vector->Invalidate();
    EXPECT_EQ((*vector)[0], Invalid);
    EXPECT_EQ((*vector)[1], Scalar(1));
}

TYPED_TEST(Vectors, HaveSumsDifferencesAndAccess) {
    using Scalar = ScalarOf<TypeParam>;
    constexpr int Size = SizeOf<TypeParam>;
    Scalar const a[4] = {1, 20, 3, 40};
    Scalar const b[4] = {7, -3, 9, 11};
    TypeParam sum(a);
    TypeParam const other(b);
    sum += other;
    TypeParam difference(sum);
    difference -= other;
    TypeParam scaled(a);
    scaled *= 2;
    TypeParam divided(scaled);
    divided /= 2;
    for (int i = 0; i < Size; ++i) {
        EXPECT_EQ(sum[i], a[i] + b[i]);
        EXPECT_EQ(static_cast<Scalar const*>(difference)[i], a[i]);
        EXPECT_EQ(scaled.Values()[i], 2 * a[i]);
        EXPECT_EQ(static_cast<Scalar*>(divided)[i], a[i]);
        TypeParam unequal(a);
        unequal[i] = static_cast<Scalar>(unequal[i] + 1);
        EXPECT_TRUE(unequal != TypeParam(a)) << i;
        EXPECT_FALSE(unequal == TypeParam(a)) << i;
    }
    EXPECT_TRUE(divided == TypeParam(a));
    EXPECT_FALSE(divided != TypeParam(a));
    if constexpr (requires { sum.Negate(); }) {
        sum.Negate();
        EXPECT_EQ(sum[1], -17);
    }
    if constexpr (requires { TypeParam::Zero; }) {
        for (int i = 0; i < Size; ++i) EXPECT_EQ(TypeParam::Zero[i], Scalar(0));
    }
}

TEST(Vectors, SharedConstants) {
    EXPECT_EQ(Text(KxVec2f::XUnit) + " " + Text(KxVec2f::YUnit) + " " + Text(KxVec2s::Invalid), "1 0 0 1 32767 32767");
    EXPECT_EQ(Text(KxVec2d::XUnit) + " " + Text(KxVec2d::YUnit) + " " + Text(KxVec3f::One), "1 0 0 1 1 1 1");
    EXPECT_EQ(Text(KxVec3f::XUnit) + " " + Text(KxVec3f::YUnit) + " " + Text(KxVec3f::ZUnit), "1 0 0 0 1 0 0 0 1");
    EXPECT_EQ(Text(KxVec3d::XUnit) + " " + Text(KxVec3d::YUnit) + " " + Text(KxVec3d::ZUnit), "1 0 0 0 1 0 0 0 1");
    EXPECT_EQ(Text(KxVec3f::Invalid) + Text(KxVec3d::One),
              Text(KxVec3f(KxMath::Infinity, KxMath::Infinity, KxMath::Infinity)) + "1 1 1");
    EXPECT_EQ(Text(KxVec3d::Invalid) + Text(KxVec2d::Invalid),
              Text(KxVec3d(Marker, Marker, Marker)) + Text(KxVec2d(Marker, Marker)));
    EXPECT_EQ(Text(KxVec3d::Infinity) + Text(KxVec3f::Infinity), Text(KxVec3d::Invalid) + Text(KxVec3f::Invalid));
}

// Equality: which differences count, by class. The difference is put into the last component.
template <class Vector>
bool AreEqual(ScalarOf<Vector> a, ScalarOf<Vector> b) {
    ScalarOf<Vector> first[4] = {1, 1, 1, 1};
    ScalarOf<Vector> second[4] = {1, 1, 1, 1};
    first[SizeOf<Vector> - 1] = a;
    second[SizeOf<Vector> - 1] = b;
    Vector const x(first);
    Vector const y(second);
    EXPECT_NE(x == y, x != y);
    return x == y;
}

TEST(Vectors, EqualityIsNotUniform) {
    // Differences: 1e-12; exactly Epsilon; just above; NaN against a number.
    struct {
        char const* name;
        bool (*areEqual)(double, double);
        bool tiny, epsilon, above, nan;
    } const cases[] = {
        {"2d", &AreEqual<KxVec2d>, true, false, false, false},
        {"4d", &AreEqual<KxVec4d>, true, false, false, false},
        {"3d", &AreEqual<KxVec3d>, false, false, false, true},
        {"3d-3f", [](double a, double b) { return KxVec3d(0, 0, a) == KxVec3f(0, 0, static_cast<float>(b)); }, true,
         true, false, true},
        {"3f-3d", [](double a, double b) { return !(KxVec3f(0, 0, static_cast<float>(b)) != KxVec3d(0, 0, a)); }, true,
         true, false, true},
    };
    double const above = std::nextafter(KxMath::Epsilon, 1.0);
    for (auto const& c : cases) {
        EXPECT_EQ(c.areEqual(1e-12, 0), c.tiny) << c.name;
        EXPECT_EQ(c.areEqual(KxMath::Epsilon, 0), c.epsilon) << c.name;
        EXPECT_EQ(c.areEqual(-KxMath::Epsilon, 0), c.epsilon) << c.name;
        EXPECT_EQ(c.areEqual(above, 0), c.above) << c.name;
        EXPECT_EQ(c.areEqual(NaN, 0), c.nan) << c.name;
    }
    // Float differences are formed in float and widened: 2^-23 is below Epsilon, 1.5 times that above.
    float const one = 1.0F;
    float const next = std::nextafter(one, 2.0F);
    float const second = std::nextafter(next, 2.0F);
    float const nan = static_cast<float>(NaN);
    EXPECT_EQ((AreEqual<KxVec2f>(one, next)), 0x1p-23 < KxMath::Epsilon);
    EXPECT_TRUE(AreEqual<KxVec3f>(one, next) && AreEqual<KxVec4f>(one, next));
    EXPECT_FALSE(AreEqual<KxVec2f>(one, second) || AreEqual<KxVec3f>(one, second) || AreEqual<KxVec4f>(one, second));
    EXPECT_FALSE(AreEqual<KxVec2f>(nan, one) || AreEqual<KxVec4f>(nan, one));
    EXPECT_TRUE(AreEqual<KxVec3f>(nan, one));
}

TEST(Vectors, NullVectorsNormalizeByTheirSize) {
    KxVec2d d2(0, 0);
    d2.Normalize();
    EXPECT_EQ(Text(d2), "1 0");
    KxVec2f f2(static_cast<float>(NaN), 0);
    f2.Normalize();
    EXPECT_EQ(Text(f2), "1 0");
    KxVec3d d3(0, 0, 0);
    EXPECT_FALSE(d3.Normalize());
    EXPECT_EQ(Text(d3) + " " + Text(d3.Normalized()), "0 0 0 0 0 0");
    KxVec3d notANumber(NaN, 4, 0);
    EXPECT_FALSE(notANumber.Normalize());
    EXPECT_EQ(notANumber[1], 4.0);
    KxVec3f f3(0, 3, 4);
    EXPECT_TRUE(f3.Normalize());
    EXPECT_EQ(f3[1], static_cast<float>(3 * (1.0 / 5)));
    KxVec3d tiny(0, 0, -1e-150);  // its square still is a number: there is no tolerance
    EXPECT_TRUE(tiny.Normalize());
    EXPECT_DOUBLE_EQ(tiny[2], -1.0);
    f2.SetValues(3, -4);
    f2.Normalize();
    EXPECT_EQ(f2[1], static_cast<float>(-4 * (1.0 / 5)));
    d2.SetValues(3, -4);
    d2.Normalize();
    EXPECT_EQ(d2[1], -4 * (1.0 / 5));
}

TEST(Vectors, Angles) {
    EXPECT_DOUBLE_EQ(KxVec3d(2, 0, 0).Angle(KxVec3d(0, 5, 0), false), KxMath::PiHalf);
    EXPECT_EQ(KxVec3d(1, 0, 0).Angle(KxVec3d(-3, 0, 0), true), KxMath::Pi);  // clamped
    EXPECT_EQ(KxVec3d::Zero.Angle(KxVec3d(0, 5, 0), false), 0.0);
    EXPECT_EQ(KxVec2d::Zero.Angle(KxVec2d(0, 5), false), KxMath::Pi);
    EXPECT_EQ(KxVec2f::Zero.Angle(KxVec2f(0, 5), false), KxMath::Pi);
    EXPECT_DOUBLE_EQ(KxVec2f(1, 0).Angle(KxVec2f(0, 5), false), KxMath::PiHalf);
    EXPECT_DOUBLE_EQ(KxVec2d(1, 0).Angle(KxVec2d(0.6, 0.8), true), std::acos(0.6));
    EXPECT_DOUBLE_EQ(KxVec2f(1, 0).Angle(KxVec2f(0, -1), true), KxMath::PiHalf);
    // The guards stand on the product of the squared lengths; what reaches them counts as null.
    EXPECT_EQ(KxVec3d(1e-14, 0, 0).Angle(KxVec3d(0, 0.9, 0), false), 0.0);
    EXPECT_DOUBLE_EQ(KxVec3d(1e-14, 0, 0).Angle(KxVec3d(0, 1.1, 0), false), KxMath::PiHalf);
    EXPECT_EQ(KxVec3f(1e-12F, 0, 0).Angle(KxVec3f(0, 0.9F, 0), false), 0.0);
    EXPECT_DOUBLE_EQ(KxVec3f(1e-12F, 0, 0).Angle(KxVec3f(0, 1.1F, 0), false), KxMath::PiHalf);
}

TEST(Vectors, FloatsWidenWhereTheyShould) {
    // 2^12 + 1 squared needs 25 bits: the float product is 2^24 + 2^13. The sum of KxVec2f rounds in float too.
    float const x = 4097.0F;
    EXPECT_EQ(KxVec3f(x, 1, 0).SquaredLength(), 16785408.0 + 1.0);
    EXPECT_EQ(KxVec2f(x, 1).SquaredLength(), 16785408.0);
    EXPECT_EQ(KxVec3d(KxVec3f(x, 1, 0)).SquaredLength(), 16785409.0 + 1.0);
    // Differences in float: 16777216 - 0.25 is 16777216.
    EXPECT_EQ(KxVec3f(16777216, 0, 0).Distance(KxVec3f(0.25F, 0, 0)), 16777216.0);
    EXPECT_EQ(KxVec2f(16777216, 0).Distance(KxVec2f(0.25F, 0)), 16777216.0);
    EXPECT_EQ(KxVec3d(16777216, 0, 0).Distance(KxVec3f(0.25F, 0, 0)), 16777215.75);
    EXPECT_EQ(KxVec2s(3, 4).Dot(KxVec2f(0.5F, -1)), -2.5);
    KxVec3f third(1, 1, 1);
    third /= 3.0;
    EXPECT_EQ(third[2], static_cast<float>(1.0 / 3.0));
}

TEST(Vectors, GeometryOfThree) {
    KxVec3d const a(1, 2, 3);
    KxVec3d const b(-4, 5, 0.5);
    EXPECT_EQ(Text(a.Cross(b)), Text(KxVec3d(2 * 0.5 - 3 * 5, 3 * -4 - 1 * 0.5, 1 * 5 - 2 * -4)));
    EXPECT_EQ(Text(KxVec3f(1, 2, 3).Cross(KxVec3f(-4, 5, 0.5F))), "-14 -12.5 13");
    EXPECT_EQ(a.Dot(b), 7.5);
    EXPECT_EQ(a.MinDistance(b) * 100 + a.MaxDistance(b), 255.0);
    EXPECT_EQ(KxVec3f(1, 2, 3).MinDistance(KxVec3f(-4, 5, 0.5F)), 2.5);
    EXPECT_EQ(KxVec3f(1, 2, 3).MaxDistance(KxVec3f(-4, 5, 0.5F)), 5.0);
    EXPECT_EQ(a.SquaredDistance(b), 25 + 9 + 6.25);
    EXPECT_EQ(a.SquaredDistance(KxVec3f(-4, 5, 0.5F)), 40.25);
    EXPECT_EQ(Text(b.Abs()) + " " + Text(a.Mult(b)), "4 5 0.5 -4 10 1.5");
    EXPECT_EQ(Text(a.Div(KxVec3d(0, 4, -2))), "inf 0.5 -1.5");
    KxVec3d mixed(a);
    mixed += KxVec3f(1, 1, 1);
    mixed -= KxVec3f(0.5F, 0, 0);
    EXPECT_EQ(Text(mixed), "1.5 3 4");
}

TEST(Vectors, Interpolation) {
    EXPECT_EQ(Text(KxVec3d::Lerp(KxVec3d(0, 1, 2), KxVec3d(4, 1, 0), 0.25)), "1 1 1.5");
    EXPECT_EQ(Text(KxVec2f::Lerp(KxVec2f(0, 1), KxVec2f(4, 1), 2)), "8 1");  // no clamp
    EXPECT_EQ(Text(KxVec4d::SmoothLerp(KxVec4d(0, 0, 0, 0), KxVec4d(32, 64, 0, 1), 0.25)), "5 10 0 0.15625");
    EXPECT_EQ(Text(KxVec4f::SmoothLerp(KxVec4f(0, 0, 0, 0), KxVec4f(32, 64, 0, 1), 0.25F)), "5 10 0 0.15625");
    EXPECT_EQ(Text(KxVec3f::SmoothLerp(KxVec3f(1, 1, 1), KxVec3f(2, 3, 4), 0.5F)), "1.5 2 2.5");
    EXPECT_EQ(Text(KxVec2d::SmoothLerp(KxVec2d(1, 1), KxVec2d(2, 3), 0.5)), "1.5 2");
    EXPECT_EQ(Text(KxVec3f::Lerp(KxVec3f(1, 1, 1), KxVec3f(2, 3, 4), 1)), "2 3 4");
    EXPECT_TRUE(KxVec2d(0, 0).IsNeighbour(KxVec2d(3, 4), 5));
    EXPECT_FALSE(KxVec2f(0, 0).IsNeighbour(KxVec2f(3, 4), 4.999));
    EXPECT_TRUE(KxVec2d(NaN, 0).IsNeighbour(KxVec2d(3, 4), 1));
}

TEST(Vectors, WholeNumbersWrap) {
    KxVec2i i(KxMath::IInfinity, SmallestInt);
    i += KxVec2i(1, -1);
    EXPECT_EQ(Text(i), "-2147483648 2147483647");
    i.Negate();
    EXPECT_EQ(Text(i), "-2147483648 -2147483647");
    i *= 65536;
    EXPECT_EQ(Text(i), "0 65536");
    i.SetValues(-7, 7);
    i /= 2;
    EXPECT_EQ(Text(i), "-3 3");
    EXPECT_EQ(KxVec3i(KxMath::IInfinity, 0, 0).Distance(KxVec3i(-1, 0, 0)), 2147483648.0);
    EXPECT_EQ(KxVec4i(1, 2, 3, 4).Distance(KxVec4i(1, 5, 3, 0)), 5.0);
    KxVec2s s(32767, -32768);
    s += KxVec2s(1, -1);
    EXPECT_EQ(Text(s), "-32768 32767");
    s.Negate();
    EXPECT_EQ(Text(s), "-32768 -32767");
    EXPECT_EQ(KxVec2s(32767, 0).Distance(KxVec2s(-32768, 0)), 65535.0);
    struct {
        double factor;
        char const* text;
    } const products[] = {
        {0.5, "3 -3"}, {-0.999, "-6 6"}, {10000, "4464 -4464"}, {1e300, "0 0"}, {NaN, "0 0"},
    };
    for (auto const& c : products) {
        KxVec2s scaled(7, -7);
        scaled *= c.factor;
        EXPECT_EQ(Text(scaled), c.text) << c.factor;
    }
    s.SetValues(7, -9);
    s /= 2;
    EXPECT_EQ(Text(s), "3 -4");
    s /= 0;
    EXPECT_EQ(Text(s), "0 0");
}

TEST(Vectors, Conversions) {
    EXPECT_EQ(Text(KxVec2s(KxVec2i(70000, -1))), "4464 -1");
    KxVec2i i;
    i = KxVec2s(-3, 4);
    KxVec2d d;
    d = i;
    EXPECT_EQ(Text(i) + " " + Text(d), "-3 4 -3 4");
    d = KxVec2s(-5, 6);
    EXPECT_EQ(Text(d) + " " + Text(KxVec2d(KxVec2s(1, -2))), "-5 6 1 -2");
    d = KxVec2f(0.5F, 0.25F);
    EXPECT_EQ(Text(d.ToVector2f()), "0.5 0.25");
    EXPECT_EQ(Text(KxVec3f(KxVec2f(1, 2), 3)) + " " + Text(KxVec3d(KxVec2d(1, 2), 3)), "1 2 3 1 2 3");
    EXPECT_EQ(Text(KxVec3i(KxVec2i(1, 2), 3)) + " " + Text(KxVec4i(KxVec3i(1, 2, 3), 4)), "1 2 3 1 2 3 4");
    EXPECT_EQ(Text(KxVec4i(KxVec2i(1, 2), 3, 4)) + " " + Text(KxVec4f(KxVec2f(1, 2), 3, 4)), "1 2 3 4 1 2 3 4");
    EXPECT_EQ(Text(KxVec4f(KxVec3d(1, 2, 3))) + " " + Text(KxVec4f(KxVec3f(1, 2, 3))), "1 2 3 1 1 2 3 1");
    EXPECT_EQ(Text(KxVec4d(KxVec3d(1, 2, 3), 0.5F)) + " " + Text(KxVec4d(KxVec3f(1, 2, 3), 7)), "1 2 3 0.5 1 2 3 7");
    EXPECT_EQ(Text(KxVec4d(KxVec2d(1, 2), 3, 4)) + " " + Text(KxVec4d(KxVec4f(1, 2, 3, 4))), "1 2 3 4 1 2 3 4");
    EXPECT_EQ(Text(KxVec4d(1, 2, 3, 4).ToVector4f()), "1 2 3 4");
    float const floats[] = {1.5F, 2.5F, 3.5F};
    KxVec3d fromFloats;
    fromFloats.SetValues(floats);
    EXPECT_EQ(Text(fromFloats), "1.5 2.5 3.5");
    KxTCoor<float> const coor = KxVec3f(KxTCoor<float>(1, 2, 3));
    EXPECT_EQ(coor, KxTCoor<float>(1, 2, 3));
    EXPECT_EQ(Text(KxVec3d(1, Marker, 0).ToVector3f()), Text(KxVec3f::Invalid));
    EXPECT_EQ(Text(KxVec3d().ToVector3f()), Text(KxVec3f::Invalid));
    EXPECT_EQ(Text(KxVec3d(1, 0.1, 0).ToVector3f()), Text(KxVec3f(1, 0.1F, 0)));
}

TEST(Vectors, HomogeneousDivision) {
    KxVec3d const fromD = KxVec4d(1, 2, 3, 4);
    EXPECT_EQ(Text(fromD) + " " + Text(KxVec4d(1, 2, 3, 4).ToVector3f()), "0.25 0.5 0.75 0.25 0.5 0.75");
    KxVec3d const behind = KxVec4d(1, 2, 3, -4);
    KxVec3f const behindF = KxVec4f(1, 2, 3, -4);
    EXPECT_EQ(Text(behind) + " " + Text(behindF), "-0.25 -0.5 -0.75 -0.25 -0.5 -0.75");
    EXPECT_EQ(Text(KxVec4d(1, 2, 3, -4).ToVector3f()), "-0.25 -0.5 -0.75");
    KxVec4d const flat(1, 2, 3, 0);
    EXPECT_TRUE(static_cast<KxVec3d>(flat) == KxVec3d::Infinity);
    EXPECT_EQ(Text(flat.ToVector3f()), Text(KxVec3f::Infinity));
    EXPECT_EQ(Text(KxVec3d(KxVec4d(1, 2, 3, NaN))), Text(KxVec3d::Infinity));
    KxVec3f const nothing = KxVec4f(1, 2, 3, -0.0F);
    EXPECT_EQ(Text(nothing), Text(KxVec3f::Infinity));
    // The reciprocal is rounded to float before it multiplies, also on the way to double.
    float const third = 1.0F / 3.0F;
    KxVec3d const widened = KxVec4f(7, 5, 3, 3);
    EXPECT_EQ(widened[0], static_cast<double>(static_cast<float>(7.0 * static_cast<double>(third))));
    EXPECT_EQ(Text(KxVec3f(KxVec4f(7, 5, 3, 3))), Text(KxVec3d(KxVec4f(7, 5, 3, 3)).ToVector3f()));
}

}  // namespace
