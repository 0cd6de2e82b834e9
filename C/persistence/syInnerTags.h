// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Ids of the records that the library writes inside payloads. They are part of the file format: do not renumber.
#pragma once

#include <cstdint>

namespace KxN::inner {

constexpr std::uint32_t object = 208001;  // unless the application gives another
constexpr std::uint32_t objectTypes = 208002;
constexpr std::uint32_t objectAddress = 208003;
constexpr std::uint32_t histogramValues = 208009;
constexpr std::uint32_t vec3d = 208010;  // to 208012
constexpr std::uint32_t vec3f = 208013;  // to 208015
constexpr std::uint32_t vec2s = 208016;  // and 208017
constexpr std::uint32_t vec2d = 208018;  // and 208019
constexpr std::uint32_t arrayCount = 208104;
constexpr std::uint32_t arrayElement = 208105;
constexpr std::uint32_t intCount = 208113;

}  // namespace KxN::inner
