// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The scalar names of the framework classes, the export mark, and KxTStored, which says how wide a
// number is in every stored form. `long` and `unsigned long` appear in signatures as they are and are
// 32 bits in every file; `wchar_t` is 16 bits there. Nothing that writes uses sizeof of these types.
#pragma once

#include <cstddef>
#include <cstdint>

#define KX_API __attribute__((visibility("default")))

namespace KxN {

using BYTE = unsigned char;
using WORD = unsigned short;
using UINT = unsigned int;
using DWORD = std::uint32_t;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;

/// The handle of a module, see syModule.h.
class KxModule;
using HINSTANCE = KxModule*;
using HMODULE = HINSTANCE;

/// The type that stands for T in every stored form, binary or text.
template <class T>
struct KxTStored {
    using Type = T;
};
template <>
struct KxTStored<long> {
    using Type = std::int32_t;
};
template <>
struct KxTStored<unsigned long> {
    using Type = std::uint32_t;
};
template <>
struct KxTStored<wchar_t> {
    using Type = char16_t;
};

}  // namespace KxN
