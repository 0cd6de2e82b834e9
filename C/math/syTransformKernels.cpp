// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Four points at a time in registers of four doubles: twelve numbers are turned into four x, four y and four z, reckoned
// and turned back. Each sum is made in the order of the plain form, without fused steps, so that the bits are the same.
#include "math/syTransformKernels.h"

#include <cstdint>
#include <immintrin.h>

namespace KxN::detail {

namespace {

template <class Scalar>
void Plainly(double const* m, bool isAffine, Scalar const* in, Scalar* out, std::size_t count) {
    for (; count > 0; --count, in += 3, out += 3) {
        double const x = in[0], y = in[1], z = in[2];
        double image[3];
        for (int r = 0; r < 3; ++r) image[r] = m[4 * r] * x + m[4 * r + 1] * y + m[4 * r + 2] * z + m[4 * r + 3];
        if (!isAffine) {
            double const factor = 1.0 / (m[12] * x + m[13] * y + m[14] * z + m[15]);
            for (double& value : image) value *= factor;
        }
        for (int i = 0; i < 3; ++i) out[i] = static_cast<Scalar>(image[i]);
    }
}

#define HBTOOLS_WIDE [[gnu::target("avx2")]] inline

HBTOOLS_WIDE __m256d Load(double const* p) {
    return _mm256_loadu_pd(p);
}
HBTOOLS_WIDE __m256d Load(float const* p) {
    return _mm256_cvtps_pd(_mm_loadu_ps(p));
}

template <bool isStreamed>
HBTOOLS_WIDE void Store(double* p, __m256d v) {
    if constexpr (isStreamed)
        _mm256_stream_pd(p, v);
    else
        _mm256_storeu_pd(p, v);
}
template <bool isStreamed>
HBTOOLS_WIDE void Store(float* p, __m256d v) {
    if constexpr (isStreamed)
        _mm_stream_ps(p, _mm256_cvtpd_ps(v));
    else
        _mm_storeu_ps(p, _mm256_cvtpd_ps(v));
}

HBTOOLS_WIDE __m256d RowTimes(double const* row, __m256d x, __m256d y, __m256d z) {
    __m256d sum = _mm256_mul_pd(_mm256_set1_pd(row[0]), x);
    sum = _mm256_add_pd(sum, _mm256_mul_pd(_mm256_set1_pd(row[1]), y));
    sum = _mm256_add_pd(sum, _mm256_mul_pd(_mm256_set1_pd(row[2]), z));
    return _mm256_add_pd(sum, _mm256_set1_pd(row[3]));
}

template <bool isAffine, bool isStreamed, class Scalar>
[[gnu::target("avx2")]] void FourAtATime(double const* matrix, Scalar const* in, Scalar* out, std::size_t fours) {
    double m[16];  // a copy that no store to `out` can change
    for (int i = 0; i < 16; ++i) m[i] = matrix[i];
    for (; fours > 0; --fours, in += 12, out += 12) {
        __m256d const a = Load(in);                      // x0 y0 z0 x1
        __m256d const b = Load(in + 4);                  // y1 z1 x2 y2
        __m256d const c = Load(in + 8);                  // z2 x3 y3 z3
        __m256d p = _mm256_permute2f128_pd(a, b, 0x30);  // x0 y0 x2 y2
        __m256d q = _mm256_permute2f128_pd(a, c, 0x21);  // z0 x1 z2 x3
        __m256d s = _mm256_permute2f128_pd(b, c, 0x30);  // y1 z1 y3 z3
        __m256d const x = _mm256_shuffle_pd(p, q, 0b1010);
        __m256d const y = _mm256_shuffle_pd(p, s, 0b0101);
        __m256d const z = _mm256_shuffle_pd(q, s, 0b1010);
        __m256d u = RowTimes(m, x, y, z);
        __m256d v = RowTimes(m + 4, x, y, z);
        __m256d w = RowTimes(m + 8, x, y, z);
        if constexpr (!isAffine) {
            __m256d const factor = _mm256_div_pd(_mm256_set1_pd(1.0), RowTimes(m + 12, x, y, z));
            u = _mm256_mul_pd(u, factor);
            v = _mm256_mul_pd(v, factor);
            w = _mm256_mul_pd(w, factor);
        }
        p = _mm256_unpacklo_pd(u, v);
        q = _mm256_shuffle_pd(w, u, 0b1010);
        s = _mm256_unpackhi_pd(v, w);
        Store<isStreamed>(out, _mm256_permute2f128_pd(p, q, 0x20));
        Store<isStreamed>(out + 4, _mm256_permute2f128_pd(s, p, 0x30));
        Store<isStreamed>(out + 8, _mm256_permute2f128_pd(q, s, 0x31));
    }
    if constexpr (isStreamed) _mm_sfence();
    _mm256_zeroupper();
}

// What is larger than the nearer caches goes past them: reading the target first would be a third of the traffic.
constexpr std::size_t streamedBytes = std::size_t{4} << 20;

template <class Scalar>
void Transform(double const* matrix, bool isAffine, Scalar const* in, Scalar* out, std::size_t count) {
    static bool const isWide = __builtin_cpu_supports("avx2");
    if (!isWide) {
        Plainly(matrix, isAffine, in, out, count);
        return;
    }
    bool const isStreamed = in != out && count * 3 * sizeof(Scalar) >= streamedBytes;
    if (isStreamed) {
        // Up to three points until the target is aligned to what is stored at a time.
        std::size_t head = 0;
        while (reinterpret_cast<std::uintptr_t>(out + 3 * head) % (4 * sizeof(Scalar)) != 0) ++head;
        Plainly(matrix, isAffine, in, out, head);
        in += 3 * head;
        out += 3 * head;
        count -= head;
        (isAffine ? FourAtATime<true, true, Scalar> : FourAtATime<false, true, Scalar>)(matrix, in, out, count / 4);
    } else {
        (isAffine ? FourAtATime<true, false, Scalar> : FourAtATime<false, false, Scalar>)(matrix, in, out, count / 4);
    }
    std::size_t const done = count / 4 * 4;
    Plainly(matrix, isAffine, in + 3 * done, out + 3 * done, count - done);
}

}  // namespace

void TransformPoints(double const* matrix, bool isAffine, double const* in, double* out, std::size_t count) {
    Transform(matrix, isAffine, in, out, count);
}

void TransformPoints(double const* matrix, bool isAffine, float const* in, float* out, std::size_t count) {
    Transform(matrix, isAffine, in, out, count);
}

void TransformPointsPlainly(double const* matrix, bool isAffine, double const* in, double* out, std::size_t count) {
    Plainly(matrix, isAffine, in, out, count);
}

void TransformPointsPlainly(double const* matrix, bool isAffine, float const* in, float* out, std::size_t count) {
    Plainly(matrix, isAffine, in, out, count);
}

}  // namespace KxN::detail
