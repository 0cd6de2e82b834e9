// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syTextEncoding.h"

#include "hbtools/base/syEncoding.h"

namespace KxN {

namespace {

constexpr unsigned windows1252 = 1252;

char16_t Unit(char low, char high) {
    return static_cast<char16_t>(static_cast<unsigned char>(low) | (static_cast<unsigned char>(high) << 8));
}

}  // namespace

KxTextEncoding KxxDetectEncoding(std::string_view bytes) {
    for (KxTextEncoding const marked : {KxTextEncoding::Utf8WithMark, KxTextEncoding::Utf16LE, KxTextEncoding::Utf16BE})
        if (bytes.starts_with(KxxMarkOf(marked))) return marked;
    return KxxIsUtf8(bytes) ? KxTextEncoding::Utf8 : KxTextEncoding::Windows1252;
}

std::string_view KxxMarkOf(KxTextEncoding encoding) {
    switch (encoding) {
        case KxTextEncoding::Utf8WithMark: return "\xEF\xBB\xBF";
        case KxTextEncoding::Utf16LE: return "\xFF\xFE";
        case KxTextEncoding::Utf16BE: return "\xFE\xFF";
        default: return {};
    }
}

std::size_t KxxMarkLength(KxTextEncoding encoding) {
    return KxxMarkOf(encoding).size();
}

std::wstring KxxDecodeText(std::string_view bytes, KxTextEncoding encoding) {
    if (encoding == KxTextEncoding::Windows1252) return KxxWidenNarrow(bytes, windows1252);
    if (encoding != KxTextEncoding::Utf16LE && encoding != KxTextEncoding::Utf16BE) return KxxWidenUtf8(bytes);
    bool const little = encoding == KxTextEncoding::Utf16LE;
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        units += little ? Unit(bytes[i], bytes[i + 1]) : Unit(bytes[i + 1], bytes[i]);
    return KxxWidenUtf16(units);
}

bool KxxEncodeText(std::wstring_view text, KxTextEncoding encoding, std::string& bytes) {
    switch (encoding) {
        case KxTextEncoding::Windows1252: {
            std::string const narrow = KxxToNarrow(text, windows1252);
            if (KxxWidenNarrow(narrow, windows1252) != text) return false;
            bytes += narrow;
            return true;
        }
        case KxTextEncoding::Utf16LE:
        case KxTextEncoding::Utf16BE:
            for (char16_t const unit : KxxToUtf16(text)) {
                char const low = static_cast<char>(unit & 0xFF);
                char const high = static_cast<char>(unit >> 8);
                if (encoding == KxTextEncoding::Utf16LE)
                    bytes += {low, high};
                else
                    bytes += {high, low};
            }
            return true;
        default: bytes += KxxToUtf8(text); return true;
    }
}

}  // namespace KxN
