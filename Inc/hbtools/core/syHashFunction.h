// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Hash functions for KxTMap. A value is 32 bits and the same on every platform, so that the order of a map does
// not depend on it. The objects have no state: one may serve any number of maps and threads, and a map does not
// own the one it is given. Nothing throws.
#pragma once

#include "hbtools/base/syString.h"
#include "hbtools/core/syGuid.h"

#include <bit>
#include <concepts>
#include <cstdint>

namespace KxN {

template <class K>
class KX_API KxTHashFunction {
public:
    virtual unsigned int Value(K const& key) const = 0;
    virtual ~KxTHashFunction() = default;
};

/// The value of the number in 32 bits, sign-extended; of `long` the lower 32 bits, of `long long` the upper
/// exclusive-or the lower ones.
template <std::integral K>
class KX_API KxTIntegerHashFunction : public KxTHashFunction<K> {
public:
    unsigned int Value(K const& key) const override {
        if constexpr (sizeof(typename KxTStored<K>::Type) > 4) {
            auto const bits = static_cast<std::uint64_t>(key);
            return static_cast<unsigned int>(bits >> 32) ^ static_cast<unsigned int>(bits);
        } else {
            return static_cast<unsigned int>(key);
        }
    }
};

/// For pointers as keys: the address, in which the bits that alignment leaves zero are dropped.
template <class T>
class KX_API KxTPointerHashFunction : public KxTHashFunction<T*> {
public:
    unsigned int Value(T* const& key) const override {
        auto const bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key)) >> 4;
        return static_cast<unsigned int>(bits >> 32) ^ static_cast<unsigned int>(bits);
    }
};

/// The 32 bits of the number: 0.0 and -0.0 differ.
class KX_API KxFloatHashFunction : public KxTHashFunction<float> {
public:
    unsigned int Value(float const& key) const override { return std::bit_cast<std::uint32_t>(key); }
};

/// The upper 32 bits of the number exclusive-or the lower ones.
class KX_API KxDoubleHashFunction : public KxTHashFunction<double> {
public:
    unsigned int Value(double const& key) const override {
        auto const bits = std::bit_cast<std::uint64_t>(key);
        return static_cast<unsigned int>(bits >> 32) ^ static_cast<unsigned int>(bits);
    }
};

/// 5381 for the empty text; each UTF-16 unit multiplies by 33 and adds itself, in 32 bits.
class KX_API KxStringHashFunction : public KxTHashFunction<CString> {
public:
    unsigned int Value(CString const& key) const override;
};

/// Exclusive-or of the first field, the second and third field with the second in the upper half, and a word of
/// the identifier's byte 10 in its highest and byte 15 in its lowest byte.
class KX_API KxGuidHashFunction : public KxTHashFunction<KxGuid> {
public:
    unsigned int Value(KxGuid const& key) const override;
};

}  // namespace KxN
