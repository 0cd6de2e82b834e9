// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT

#include "hbtools/core/syHashFunction.h"

namespace KxN {

unsigned int KxStringHashFunction::Value(CString const& key) const {
    std::uint32_t value = 5381;
    for (wchar_t const character : key.View()) {
        auto const code = static_cast<std::uint32_t>(character);
        if (code > 0xFFFF && code <= 0x10FFFF) {
            value = value * 33 + (0xD7C0 + (code >> 10));
            value = value * 33 + (0xDC00 + (code & 0x3FF));
        } else {
            value = value * 33 + code;
        }
    }
    return value;
}

unsigned int KxGuidHashFunction::Value(KxGuid const& key) const {
    auto const word = [](unsigned int high, int shift, unsigned int low) { return high << shift | low; };
    GUID const& guid = key.Guid();
    return guid.Data1 ^ word(guid.Data2, 16, guid.Data3) ^ word(guid.Data4[2], 24, guid.Data4[7]);
}

}  // namespace KxN
