// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The checksum over 16 MB, beside the usual table of one byte, the sum of another polynomial that zlib brings, and a mere
// reading of the memory.
#include "hbtools/core/syCRC64.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <numeric>
#include <vector>

#ifdef HBTOOLS_BENCH_ZLIB
#include <zlib.h>
#endif

using namespace KxN;

namespace {

constexpr long size = 16 << 20;

std::vector<unsigned char> const& Bytes() {
    static std::vector<unsigned char> const bytes = [] {
        std::vector<unsigned char> made(size);
        for (std::size_t i = 0; i < made.size(); ++i) made[i] = static_cast<unsigned char>(i * 2654435761U >> 13);
        return made;
    }();
    return bytes;
}

void Rate(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * size);
}

void ChecksumOurs(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(KxCRC64().Compute(Bytes().data(), size));
    Rate(state);
}
BENCHMARK(ChecksumOurs)->Name("checksum/hbtools")->Arg(size);

void ChecksumByteTable(benchmark::State& state) {
    std::array<std::uint64_t, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        std::uint64_t crc = std::uint64_t{i} << 56;
        for (int bit = 0; bit < 8; ++bit) crc = crc << 1 ^ (crc >> 63 ? 0x42F0E1EBA9EA3693 : 0);
        table[i] = crc;
    }
    auto const expected = static_cast<std::uint64_t>(KxCRC64().Compute(Bytes().data(), size));
    for (auto _ : state) {
        std::uint64_t crc = ~std::uint64_t{0};
        for (unsigned char const byte : Bytes()) crc = table[crc >> 56 ^ byte] ^ crc << 8;
        if (~crc != expected) state.SkipWithError("another sum");
    }
    Rate(state);
}
BENCHMARK(ChecksumByteTable)->Name("checksum/byte table")->Arg(size);

void ChecksumMemory(benchmark::State& state) {
    auto const* const words = reinterpret_cast<std::uint64_t const*>(Bytes().data());
    for (auto _ : state) benchmark::DoNotOptimize(std::accumulate(words, words + size / 8, std::uint64_t{0}));
    Rate(state);
}
BENCHMARK(ChecksumMemory)->Name("checksum/memory read")->Arg(size);

#ifdef HBTOOLS_BENCH_ZLIB
void ChecksumZlib(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(::crc32_z(0, Bytes().data(), static_cast<z_size_t>(size)));
    Rate(state);
}
BENCHMARK(ChecksumZlib)->Name("checksum/zlib crc32")->Arg(size);
#endif

}  // namespace
