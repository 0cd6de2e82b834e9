// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The two forms of the checksum's inner loop, for their comparison.
#pragma once

#include <cstddef>
#include <cstdint>

namespace KxN::detail {

using CrcKernel = std::uint64_t (*)(std::uint64_t crc, unsigned char const* bytes, std::size_t count);

/// Eight bytes at a time by tables.
std::uint64_t CrcByTables(std::uint64_t crc, unsigned char const* bytes, std::size_t count);
/// Null where the processor cannot multiply without carry.
CrcKernel CrcByMultiplication();

}  // namespace KxN::detail
