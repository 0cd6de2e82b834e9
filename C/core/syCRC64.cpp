// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/core/syCRC64.h"

#include "core/syCRC64Kernels.h"
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syObject.h"

#include <array>
#include <limits>
#include <string>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace KxN {

namespace detail {

namespace {

constexpr std::uint64_t polynomial = 0x42F0E1EBA9EA3693;

/// a x modulo the polynomial.
constexpr std::uint64_t TimesX(std::uint64_t a) {
    return a << 1 ^ (a >> 63 ? polynomial : 0);
}

constexpr std::uint64_t PowerOfX(int exponent) {
    std::uint64_t power = 1;
    for (int i = 0; i < exponent; ++i) power = TimesX(power);
    return power;
}

/// a b modulo the polynomial.
constexpr std::uint64_t Times(std::uint64_t a, std::uint64_t b) {
    std::uint64_t product = 0;
    for (int bit = 63; bit >= 0; --bit) product = TimesX(product) ^ (b >> bit & 1 ? a : 0);
    return product;
}

constexpr std::size_t sliceBytes = 16;
using Tables = std::array<std::array<std::uint64_t, 256>, sliceBytes>;

/// Table n: what a byte does to the register n bytes after it.
constexpr Tables MakeTables() {
    Tables tables{};
    for (std::size_t i = 0; i < 256; ++i) {
        std::uint64_t crc = std::uint64_t{i} << 56;
        for (int bit = 0; bit < 8; ++bit) crc = TimesX(crc);
        tables[0][i] = crc;
    }
    for (std::size_t n = 1; n < sliceBytes; ++n)
        for (std::size_t i = 0; i < 256; ++i) {
            std::uint64_t const before = tables[n - 1][i];
            tables[n][i] = tables[0][before >> 56] ^ before << 8;
        }
    return tables;
}
constexpr Tables tables = MakeTables();

std::uint64_t BigEndian(unsigned char const* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return __builtin_bswap64(word);
}

/// What the eight bytes of a word do to the register `after` bytes behind them.
std::uint64_t Slice(std::uint64_t word, std::size_t after) {
    std::uint64_t crc = 0;
    for (std::size_t i = 0; i < 8; ++i) crc ^= tables[after + i][word >> 8 * i & 0xff];
    return crc;
}

#if defined(__x86_64__)
#define HB_CARRYLESS [[gnu::target("pclmul,ssse3,sse4.1")]]

HB_CARRYLESS inline __m128i Load(unsigned char const* bytes) {
    __m128i const reversed = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes)), reversed);
}

/// The remainder `sum` as it stands so many bits further on, with what stands there.
HB_CARRYLESS inline __m128i Fold(__m128i sum, __m128i powers, __m128i next) {
    __m128i const high = _mm_clmulepi64_si128(sum, powers, 0x11), low = _mm_clmulepi64_si128(sum, powers, 0x00);
    return _mm_xor_si128(_mm_xor_si128(high, low), next);
}

/// Powers of x that bring the two halves of a remainder `bits` further.
HB_CARRYLESS inline __m128i Powers(std::uint64_t further64, std::uint64_t further) {
    return _mm_set_epi64x(static_cast<long long>(further64), static_cast<long long>(further));
}

HB_CARRYLESS std::uint64_t CrcWide(std::uint64_t crc, unsigned char const* bytes, std::size_t count) {
    constexpr std::size_t block = 16, lanes = 8, stride = block * lanes;
    if (count < 2 * stride) return CrcByTables(crc, bytes, count);
    constexpr std::uint64_t far64 = PowerOfX(8 * stride + 64), far = PowerOfX(8 * stride),
                            near64 = PowerOfX(8 * block + 64), near = PowerOfX(8 * block);
    __m128i const farPowers = Powers(far64, far), nearPowers = Powers(near64, near);
    __m128i sums[lanes];
    for (std::size_t i = 0; i < lanes; ++i) sums[i] = Load(bytes + block * i);
    sums[0] = _mm_xor_si128(sums[0], _mm_set_epi64x(static_cast<long long>(crc), 0));
    for (bytes += stride, count -= stride; count >= stride; bytes += stride, count -= stride)
        for (std::size_t i = 0; i < lanes; ++i) sums[i] = Fold(sums[i], farPowers, Load(bytes + block * i));
    __m128i sum = sums[0];
    for (std::size_t i = 1; i < lanes; ++i) sum = Fold(sum, nearPowers, sums[i]);
    for (; count >= block; bytes += block, count -= block) sum = Fold(sum, nearPowers, Load(bytes));
    // The sum stands for all so far as if it were the first sixteen bytes.
    auto const high = static_cast<std::uint64_t>(_mm_extract_epi64(sum, 1));
    auto const low = static_cast<std::uint64_t>(_mm_cvtsi128_si64(sum));
    return CrcByTables(Slice(high, 8) ^ Slice(low, 0), bytes, count);
}
#endif

}  // namespace

/// What sixteen bytes make of the register.
inline std::uint64_t Step(std::uint64_t crc, unsigned char const* bytes) {
    return Slice(crc ^ BigEndian(bytes), 8) ^ Slice(BigEndian(bytes + 8), 0);
}

std::uint64_t CrcByTables(std::uint64_t crc, unsigned char const* bytes, std::size_t count) {
    // Each step waits for the one before, so two runs go side by side; the first is moved on by the length of the second.
    constexpr std::size_t run = 2048;
    constexpr std::uint64_t length = PowerOfX(8 * run);
    for (; count >= 2 * run; bytes += 2 * run, count -= 2 * run) {
        std::uint64_t second = 0;
        for (std::size_t i = 0; i < run; i += sliceBytes) {
            crc = Step(crc, bytes + i);
            second = Step(second, bytes + run + i);
        }
        crc = Times(crc, length) ^ second;
    }
    for (; count >= sliceBytes; bytes += sliceBytes, count -= sliceBytes) crc = Step(crc, bytes);
    for (; count > 0; ++bytes, --count) crc = tables[0][crc >> 56 ^ *bytes] ^ crc << 8;
    return crc;
}

CrcKernel CrcByMultiplication() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1")) return &CrcWide;
#endif
    return nullptr;
}

}  // namespace detail

void KxCRC64::CRC(unsigned char const* bytes, long count) {
    static detail::CrcKernel const wide = detail::CrcByMultiplication();
    if (count < 1) return;
    m_register = (wide ? wide : &detail::CrcByTables)(m_register, bytes, static_cast<std::size_t>(count));
}

KxCRC64& KxCRC64::operator<<(wchar_t const* text) {
    std::u16string const units = KxxToUtf16(text);
    CRC(reinterpret_cast<unsigned char const*>(units.data()), static_cast<long>(2 * units.size()));
    return *this;
}

KxCRC64& KxCRC64::operator<<(long value) {
    using Stored = KxTStored<long>::Type;
    if (value < std::numeric_limits<Stored>::min() || value > std::numeric_limits<Stored>::max())
        AfxThrowInvalidArgException();
    return Add(static_cast<Stored>(value));
}

KxCRC64& KxCRC64::operator<<(unsigned long value) {
    using Stored = KxTStored<unsigned long>::Type;
    if (value > std::numeric_limits<Stored>::max()) AfxThrowInvalidArgException();
    return Add(static_cast<Stored>(value));
}

}  // namespace KxN
