// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The bodies of the loops are written once, on groups of numbers that fill a register, and compiled for both forms. Sums
// are always made in sixteen parts, so that both have the same bits. Only the tile of the product is written twice: its
// fused steps have no common form.
#include "math/syDenseKernels.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <immintrin.h>

namespace KxN::detail {

namespace {

#define HBTOOLS_BODY [[gnu::always_inline]] inline
#define HBTOOLS_WIDE [[gnu::target("avx2,fma")]]
// Loops over the registers of a group must be gone before the compiler decides what stays in registers; Clang needs no
// telling.
#ifdef __clang__
#define HBTOOLS_UNROLL
#else
#define HBTOOLS_UNROLL _Pragma("GCC unroll 8")
#endif

/// `lanes` numbers in one register.
template <int lanes>
struct Group;
template <>
struct Group<2> {
    using Type [[gnu::vector_size(16)]] = double;
    using Bits [[gnu::vector_size(16)]] = long long;
};
template <>
struct Group<4> {
    using Type [[gnu::vector_size(32)]] = double;
    using Bits [[gnu::vector_size(32)]] = long long;
};

template <class T, int count>
using Several = T[static_cast<std::size_t>(count)];

double Absolute(double x) {
    return x < 0.0 ? -x : x;
}

HBTOOLS_BODY double SumOfParts(double const* p) {
    double eight[8];
    for (int i = 0; i < 8; ++i) eight[i] = p[i] + p[i + 8];
    return ((eight[0] + eight[4]) + (eight[2] + eight[6])) + ((eight[1] + eight[5]) + (eight[3] + eight[7]));
}

template <int lanes>
using Sums = Several<typename Group<lanes>::Type, sumParts / lanes>;

/// Adds the products of as many numbers as have all parts; returns how many these are.
template <int lanes>
HBTOOLS_BODY int AddProducts(Sums<lanes>& sums, double const* a, double const* b, int count) {
    int i = 0;
    for (; i + sumParts <= count; i += sumParts) {
        HBTOOLS_UNROLL for (int g = 0; g < sumParts / lanes; ++g) {
            typename Group<lanes>::Type x, y;
            std::memcpy(&x, a + i + g * lanes, sizeof x);
            std::memcpy(&y, b + i + g * lanes, sizeof y);
            sums[g] += x * y;
        }
    }
    return i;
}

template <int lanes>
HBTOOLS_BODY double DotBody(double const* a, double const* b, int count) {
    double sum = 0;
    int i = 0;
    if (count >= sumParts) {
        Sums<lanes> sums = {};
        i = AddProducts<lanes>(sums, a, b, count);
        double all[sumParts];
        std::memcpy(all, sums, sizeof all);
        sum = SumOfParts(all);
    }
    for (; i < count; ++i) sum += a[i] * b[i];
    return sum;
}

template <int lanes>
HBTOOLS_BODY double ContinueDotBody(double* state, double const* a, double const* b, int count) {
    Sums<lanes> sums;
    std::memcpy(sums, state, sizeof sums);
    int i = AddProducts<lanes>(sums, a, b, count);
    std::memcpy(state, sums, sizeof sums);
    double sum = SumOfParts(state);
    for (; i < count; ++i) sum += a[i] * b[i];
    return sum;
}

HBTOOLS_BODY void AddScaledBody(double* __restrict y, double factor, double const* __restrict x, int count) {
    for (int i = 0; i < count; ++i) y[i] += factor * x[i];
}

template <int lanes>
HBTOOLS_BODY int FirstLargestBody(double const* x, int count) {
    using V = typename Group<lanes>::Type;
    using Bits = typename Group<lanes>::Bits;
    double largest = 0;
    int i = 0;
    V best[2] = {};
    for (; i + 2 * lanes <= count; i += 2 * lanes) {
        for (int g = 0; g < 2; ++g) {
            V v;
            std::memcpy(&v, x + i + g * lanes, sizeof v);
            v = reinterpret_cast<V>(reinterpret_cast<Bits>(v) & 0x7FFFFFFFFFFFFFFF);
            best[g] = v > best[g] ? v : best[g];
        }
    }
    Several<double, 2 * lanes> lane;
    std::memcpy(lane, best, sizeof lane);
    for (double const value : lane) largest = value > largest ? value : largest;
    for (; i < count; ++i) largest = Absolute(x[i]) > largest ? Absolute(x[i]) : largest;
    if (!(largest > 0.0)) return -1;
    int place = 0;
    while (Absolute(x[place]) != largest) ++place;
    return place;
}

template <int lanes>
HBTOOLS_BODY double EliminateBody(double* row, int place, double factor, double const* x, int count) {
    using V = typename Group<lanes>::Type;
    using Bits = typename Group<lanes>::Bits;
    V best = {};
    double largest = 0;
    // The elements before the dropped one stay where they are, those behind it move up by one.
    int i = 0;
    for (int gap = 0; gap < 2; ++gap) {
        int const end = gap == 0 ? place : count;
        for (; i + lanes <= end; i += lanes) {
            V v, w;
            std::memcpy(&v, row + gap + i, sizeof v);
            std::memcpy(&w, x + i, sizeof w);
            v -= factor * w;
            std::memcpy(row + i, &v, sizeof v);
            v = reinterpret_cast<V>(reinterpret_cast<Bits>(v) & 0x7FFFFFFFFFFFFFFF);
            best = v > best ? v : best;
        }
        for (; i < end; ++i) {
            row[i] = row[gap + i] - factor * x[i];
            largest = Absolute(row[i]) > largest ? Absolute(row[i]) : largest;
        }
    }
    for (int k = 0; k < lanes; ++k) largest = best[k] > largest ? best[k] : largest;
    return largest;
}

template <int rows>
HBTOOLS_BODY void SubtractSomeRows(double* __restrict x, double const* __restrict l, int stride, double const* factors,
                                   int count) {
    Several<double, rows> f;
    HBTOOLS_UNROLL for (int k = 0; k < rows; ++k) f[k] = factors[k];
    for (int i = 0; i < count; ++i) {
        double value = x[i];
        HBTOOLS_UNROLL for (int k = 0; k < rows; ++k) value -= l[k * stride + i] * f[k];
        x[i] = value;
    }
}

HBTOOLS_BODY void SubtractRowsBody(double* x, double const* l, int stride, double const* factors, int rows, int count) {
    for (; rows >= 4; rows -= 4, factors += 4, l += Offset(4, stride))
        SubtractSomeRows<4>(x, l, stride, factors, count);
    if (rows & 2) {
        SubtractSomeRows<2>(x, l, stride, factors, count);
        factors += 2;
        l += Offset(2, stride);
    }
    if (rows & 1) SubtractSomeRows<1>(x, l, stride, factors, count);
}

/// Some neighbouring columns. knownRows is 0 where the number of rows is not known in advance.
template <class V, bool isLower, bool isDivided, int knownRows>
HBTOOLS_BODY void SolveStrip(double const* t, int strideT, double* b, int strideB, int someRows) {
    int const rows = knownRows ? knownRows : someRows;
    V x[triangleRows];
    HBTOOLS_UNROLL for (int step = 0; step < rows; ++step) {
        int const r = isLower ? step : rows - 1 - step;
        V v;
        std::memcpy(&v, b + Offset(r, strideB), sizeof v);
        HBTOOLS_UNROLL for (int known = 0; known < step; ++known) {
            int const k = isLower ? known : rows - 1 - known;
            v -= t[Offset(r, strideT) + k] * x[k];
        }
        if constexpr (isDivided) v /= t[Offset(r, strideT) + r];
        std::memcpy(b + Offset(r, strideB), &v, sizeof v);
        x[r] = v;
    }
}

template <int lanes, bool isLower, bool isDivided>
HBTOOLS_BODY void SolveOneTriangle(double const* t, int strideT, double* b, int strideB, int rows, int columns) {
    using V = typename Group<lanes>::Type;
    int c = 0;
    if (rows == triangleRows)
        for (; c + lanes <= columns; c += lanes)
            SolveStrip<V, isLower, isDivided, triangleRows>(t, strideT, b + c, strideB, rows);
    else
        for (; c + lanes <= columns; c += lanes) SolveStrip<V, isLower, isDivided, 0>(t, strideT, b + c, strideB, rows);
    for (; c < columns; ++c) SolveStrip<double, isLower, isDivided, 0>(t, strideT, b + c, strideB, rows);
}

template <int lanes>
HBTOOLS_BODY void SolveTriangleBody(bool isLower, bool isDivided, double const* t, int strideT, double* b, int strideB,
                                    int rows, int columns) {
    if (isLower && isDivided) SolveOneTriangle<lanes, true, true>(t, strideT, b, strideB, rows, columns);
    if (isLower && !isDivided) SolveOneTriangle<lanes, true, false>(t, strideT, b, strideB, rows, columns);
    if (!isLower && isDivided) SolveOneTriangle<lanes, false, true>(t, strideT, b, strideB, rows, columns);
    if (!isLower && !isDivided) SolveOneTriangle<lanes, false, false>(t, strideT, b, strideB, rows, columns);
}

template <int lanes>
HBTOOLS_BODY void ReflectRowsBody(double* rows, int stride, int rowCount, double const* u, double h, double const* v,
                                  int count) {
    for (int r = 0; r < rowCount; ++r) {
        double* const row = rows + Offset(r, stride);
        AddScaledBody(row, DotBody<lanes>(row, u, count) / h, v, count);
    }
}

HBTOOLS_BODY void AddRowsBody(double* __restrict sums, double const* rows, int stride, int rowCount,
                              double const* factors, int count) {
    int r = 0;
    for (; r + 4 <= rowCount; r += 4) {
        double const* __restrict const first = rows + Offset(r, stride);
        double const f[4] = {factors[r], factors[r + 1], factors[r + 2], factors[r + 3]};
        for (int i = 0; i < count; ++i) {
            double value = sums[i];
            for (int k = 0; k < 4; ++k) value += f[k] * first[Offset(k, stride) + i];
            sums[i] = value;
        }
    }
    for (; r < rowCount; ++r) AddScaledBody(sums, factors[r], rows + Offset(r, stride), count);
}

template <int lanes>
HBTOOLS_BODY void SymmetricProductBody(double* product, double const* rows, int stride, double const* u, int count) {
    using V = typename Group<lanes>::Type;
    constexpr int groups = sumParts / lanes;
    for (int r = 0; r < count; ++r) {
        // Each element of the triangle is used twice while it is at hand: in its row, and in that of its mirror image.
        double const* const row = rows + Offset(r, stride);
        double const factor = u[r];
        double sum = 0;
        int i = 0;
        if (r >= sumParts) {
            Several<V, groups> sums = {};
            for (; i + sumParts <= r; i += sumParts) {
                HBTOOLS_UNROLL for (int g = 0; g < groups; ++g) {
                    V x, y, z;
                    std::memcpy(&x, row + i + g * lanes, sizeof x);
                    std::memcpy(&y, u + i + g * lanes, sizeof y);
                    std::memcpy(&z, product + i + g * lanes, sizeof z);
                    sums[g] += x * y;
                    z += factor * x;
                    std::memcpy(product + i + g * lanes, &z, sizeof z);
                }
            }
            double all[sumParts];
            std::memcpy(all, sums, sizeof all);
            sum = SumOfParts(all);
        }
        for (; i < r; ++i) {
            sum += row[i] * u[i];
            product[i] += factor * row[i];
        }
        product[r] = sum + row[r] * factor;
    }
}

HBTOOLS_BODY void SymmetricUpdateBody(double* rows, int stride, double const* u, double const* v, int count) {
    for (int r = 0; r < count; ++r) {
        double* __restrict const row = rows + Offset(r, stride);
        double const f = u[r], g = v[r];
        for (int i = 0; i <= r; ++i) row[i] -= f * v[i] + g * u[i];
    }
}

/// The columns of one strip: the row that the next rotation shares with this one stays in registers.
template <int lanes, int groups>
HBTOOLS_BODY void RotateStripBody(double* rows, int stride, RotationChain const* chains, int chainCount,
                                  Rotation const* rotation) {
    using V = typename Group<lanes>::Type;
    for (int chain = 0; chain < chainCount; ++chain) {
        double* at = rows + Offset(chains[chain].first, stride);
        std::ptrdiff_t const step = Offset(chains[chain].step, stride);
        Several<V, groups> x;
        std::memcpy(x, at, sizeof x);
        for (int k = chains[chain].count; k > 0; --k, ++rotation) {
            double const c = rotation->c, s = rotation->s;
            double* const next = at + step;
            HBTOOLS_UNROLL for (int g = 0; g < groups; ++g) {
                V y;
                std::memcpy(&y, next + g * lanes, sizeof y);
                V const turned = x[g] * c + y * s;
                x[g] = y * c - x[g] * s;
                std::memcpy(at + g * lanes, &turned, sizeof turned);
            }
            at = next;
        }
        std::memcpy(at, x, sizeof x);
    }
}

template <int lanes>
HBTOOLS_BODY void RotateBody(double* rows, int stride, int length, RotationChain const* chains, int chainCount,
                             Rotation const* rotations) {
    int i = 0;
    for (; i + 4 * lanes <= length; i += 4 * lanes)
        RotateStripBody<lanes, 4>(rows + i, stride, chains, chainCount, rotations);
    for (; i + lanes <= length; i += lanes) RotateStripBody<lanes, 1>(rows + i, stride, chains, chainCount, rotations);
    for (; i < length; ++i) {
        Rotation const* rotation = rotations;
        for (int chain = 0; chain < chainCount; ++chain) {
            double* at = rows + Offset(chains[chain].first, stride) + i;
            std::ptrdiff_t const step = Offset(chains[chain].step, stride);
            for (int k = chains[chain].count; k > 0; --k, ++rotation, at += step) {
                double const x = at[0], y = at[step];
                at[0] = x * rotation->c + y * rotation->s;
                at[step] = y * rotation->c - x * rotation->s;
            }
        }
    }
}

// ---- product: tiles of four rows, with b packed so that the columns of a tile lie in one piece ----

constexpr int tileRows = 4;
constexpr int depth = 256;   // rows of b that are packed at a time: they fit the nearest cache
constexpr int height = 192;  // rows of a that stay in the next one meanwhile

struct PlainTile {
    static constexpr int columns = 4;

    static void Multiply(bool isSubtracted, double* c, int strideC, double const* a, int strideA, double const* b,
                         int strideB, int rows, int count, int inner) {
        HBTOOLS_UNROLL for (int r = 0; r < rows; ++r) {
            using V = Group<2>::Type;
            V sums[2] = {};
            for (int k = 0; k < inner; ++k) {
                double const factor = a[Offset(r, strideA) + k];
                for (int g = 0; g < 2; ++g) {
                    V v;
                    std::memcpy(&v, b + Offset(k, strideB) + 2 * g, sizeof v);
                    sums[g] += factor * v;
                }
            }
            double* const target = c + Offset(r, strideC);
            for (int i = 0; i < count; ++i) {
                double const sum = sums[i / 2][i % 2];
                target[i] = isSubtracted ? target[i] - sum : target[i] + sum;
            }
        }
    }
};

struct WideTile {
    static constexpr int columns = 12;

    template <int rows, int groups>
    HBTOOLS_WIDE static void MultiplyRows(bool isSubtracted, double* c, int strideC, double const* a, int strideA,
                                          double const* b, int strideB, int count, int inner) {
        using V = Group<4>::Type;
        Several<Several<V, groups>, rows> sums;
        HBTOOLS_UNROLL for (int r = 0; r < rows; ++r) HBTOOLS_UNROLL for (int g = 0; g < groups; ++g) sums[r][g] =
            _mm256_setzero_pd();
        for (int k = 0; k < inner; ++k, b += strideB) {
            Several<V, groups> v;
            HBTOOLS_UNROLL for (int g = 0; g < groups; ++g) v[g] = _mm256_loadu_pd(b + 4 * g);
            HBTOOLS_UNROLL for (int r = 0; r < rows; ++r) {
                __m256d const factor = _mm256_broadcast_sd(a + Offset(r, strideA) + k);
                HBTOOLS_UNROLL for (int g = 0; g < groups; ++g) sums[r][g] = _mm256_fmadd_pd(factor, v[g], sums[r][g]);
            }
        }
        // The last group of columns may be partly outside.
        __m256i const inside =
            _mm256_cmpgt_epi64(_mm256_set1_epi64x(count - 4 * (groups - 1)), _mm256_set_epi64x(3, 2, 1, 0));
        HBTOOLS_UNROLL for (int r = 0; r < rows; ++r) {
            HBTOOLS_UNROLL for (int g = 0; g < groups; ++g) {
                double* const target = c + Offset(r, strideC) + 4 * g;
                bool const isLast = g == groups - 1;
                __m256d const old = isLast ? _mm256_maskload_pd(target, inside) : _mm256_loadu_pd(target);
                __m256d const sum = isSubtracted ? _mm256_sub_pd(old, sums[r][g]) : _mm256_add_pd(old, sums[r][g]);
                if (isLast)
                    _mm256_maskstore_pd(target, inside, sum);
                else
                    _mm256_storeu_pd(target, sum);
            }
        }
    }

    static void Multiply(bool isSubtracted, double* c, int strideC, double const* a, int strideA, double const* b,
                         int strideB, int rows, int count, int inner) {
        using Function = decltype(&MultiplyRows<1, 1>);
        static constexpr Function functions[tileRows][3] = {
            {MultiplyRows<1, 1>, MultiplyRows<1, 2>, MultiplyRows<1, 3>},
            {MultiplyRows<2, 1>, MultiplyRows<2, 2>, MultiplyRows<2, 3>},
            {MultiplyRows<3, 1>, MultiplyRows<3, 2>, MultiplyRows<3, 3>},
            {MultiplyRows<4, 1>, MultiplyRows<4, 2>, MultiplyRows<4, 3>}};
        functions[rows - 1][(count - 1) / 4](isSubtracted, c, strideC, a, strideA, b, strideB, count, inner);
    }
};

template <class Tile>
void Product(bool isSubtracted, double* c, int strideC, double const* a, int strideA, double const* b, int strideB,
             int rows, int columns, int inner) {
    if (rows <= 0 || columns <= 0) return;
    if (rows <= 2 * tileRows && columns <= Tile::columns && columns % 4 == 0) {
        for (int r = 0; r < rows; r += tileRows)
            Tile::Multiply(isSubtracted, c + Offset(r, strideC), strideC, a + Offset(r, strideA), strideA, b, strideB,
                           std::min(tileRows, rows - r), columns, inner);
        return;
    }
    alignas(64) double packed[depth * Tile::columns];
    for (int k = 0; k < inner; k += depth) {
        int const deep = std::min(depth, inner - k);
        for (int top = 0; top < rows; top += height) {
            int const end = std::min(top + height, rows);
            for (int left = 0; left < columns; left += Tile::columns) {
                int const count = std::min(Tile::columns, columns - left);
                for (int i = 0; i < deep; ++i) {
                    double const* const source = b + Offset(k + i, strideB) + left;
                    double* const target = packed + i * Tile::columns;
                    if (count == Tile::columns)
                        std::memcpy(target, source, Tile::columns * sizeof(double));
                    else
                        for (int column = 0; column < Tile::columns; ++column)
                            target[column] = column < count ? source[column] : 0.0;
                }
                for (int r = top; r < end; r += tileRows)
                    Tile::Multiply(isSubtracted, c + Offset(r, strideC) + left, strideC, a + Offset(r, strideA) + k,
                                   strideA, packed, Tile::columns, std::min(tileRows, end - r), count, deep);
            }
        }
    }
}

// ---- the two forms ----

template <auto body>
struct Compiled;
template <class Result, class... Of, Result (*body)(Of...)>
struct Compiled<body> {
    static Result Plain(Of... of) { return body(of...); }
    HBTOOLS_WIDE static Result Wide(Of... of) { return body(of...); }
};

}  // namespace

constexpr DenseKernels plainKernels = {Compiled<DotBody<2>>::Plain,
                                       Compiled<ContinueDotBody<2>>::Plain,
                                       Compiled<AddScaledBody>::Plain,
                                       Compiled<FirstLargestBody<2>>::Plain,
                                       Product<PlainTile>,
                                       Compiled<EliminateBody<2>>::Plain,
                                       Compiled<SubtractRowsBody>::Plain,
                                       Compiled<SolveTriangleBody<2>>::Plain,
                                       Compiled<ReflectRowsBody<2>>::Plain,
                                       Compiled<AddRowsBody>::Plain,
                                       Compiled<SymmetricProductBody<2>>::Plain,
                                       Compiled<SymmetricUpdateBody>::Plain,
                                       Compiled<RotateBody<2>>::Plain};

constexpr DenseKernels wideKernels = {Compiled<DotBody<4>>::Wide,
                                      Compiled<ContinueDotBody<4>>::Wide,
                                      Compiled<AddScaledBody>::Wide,
                                      Compiled<FirstLargestBody<4>>::Wide,
                                      Product<WideTile>,
                                      Compiled<EliminateBody<4>>::Wide,
                                      Compiled<SubtractRowsBody>::Wide,
                                      Compiled<SolveTriangleBody<4>>::Wide,
                                      Compiled<ReflectRowsBody<4>>::Wide,
                                      Compiled<AddRowsBody>::Wide,
                                      Compiled<SymmetricProductBody<4>>::Wide,
                                      Compiled<SymmetricUpdateBody>::Wide,
                                      Compiled<RotateBody<4>>::Wide};

DenseKernels const& Kernels() {
    static DenseKernels const& best =
        __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? wideKernels : plainKernels;
    return best;
}

void Transpose(double const* from, int strideFrom, double* to, int strideTo, int rows, int columns) {
    constexpr int tile = 16;  // rows and columns that stay in the nearest cache together
    for (int top = 0; top < rows; top += tile)
        for (int left = 0; left < columns; left += tile)
            for (int r = top; r < std::min(top + tile, rows); ++r)
                for (int c = left; c < std::min(left + tile, columns); ++c)
                    to[Offset(c, strideTo) + r] = from[Offset(r, strideFrom) + c];
}

}  // namespace KxN::detail
