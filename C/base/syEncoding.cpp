// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syEncoding.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace KxN {

namespace {

constexpr char32_t replacement = 0xFFFD;

constexpr bool IsSurrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}
constexpr char32_t Code(wchar_t c) {
    return static_cast<char32_t>(c);
}

/// Number of ASCII bytes at the start.
std::size_t AsciiPrefix(std::string_view bytes) {
    std::size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        std::uint64_t eight;
        std::memcpy(&eight, bytes.data() + i, 8);
        if (eight & 0x8080808080808080u) break;
    }
    while (i < bytes.size() && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
    return i;
}

struct Decoded {
    char32_t code;
    unsigned length;  // bytes taken
    bool valid;       // if not, the bytes taken are a maximal ill-formed sequence
};

/// One sequence of UTF-8 that starts with a byte from 0x80 on.
Decoded DecodeSequence(std::string_view bytes) {
    unsigned const lead = static_cast<unsigned char>(bytes[0]);
    if (lead < 0xC2 || lead > 0xF4) return {replacement, 1, false};
    unsigned const length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    // The second byte's range keeps out overlong forms, surrogates and what lies above U+10FFFF.
    unsigned const low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned const high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t code = lead & (0x7Fu >> length);
    for (unsigned i = 1; i < length; ++i) {
        unsigned const next = i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
        if (next < (i == 1 ? low : 0x80) || next > (i == 1 ? high : 0xBF)) return {replacement, i, false};
        code = (code << 6) | (next & 0x3F);
    }
    return {code, length, true};
}

/// Widens UTF-8; `bad(position, length, out)` writes what stands for an ill-formed sequence and returns the new end.
template <class Bad>
std::wstring Widen(std::string_view bytes, Bad bad) {
    std::wstring text(bytes.size(), L'\0');
    wchar_t* out = text.data();
    for (std::size_t i = 0; i < bytes.size();) {
        std::size_t const ascii = AsciiPrefix(bytes.substr(i));
        for (std::size_t k = 0; k < ascii; ++k) *out++ = static_cast<wchar_t>(bytes[i + k]);
        i += ascii;
        if (i == bytes.size()) break;
        Decoded const d = DecodeSequence(bytes.substr(i));
        if (d.valid)
            *out++ = static_cast<wchar_t>(d.code);
        else
            out = bad(i, d.length, out);
        i += d.length;
    }
    text.resize(static_cast<std::size_t>(out - text.data()));
    return text;
}

void AppendUtf8(std::string& bytes, char32_t c) {
    if (c < 0x80) {
        bytes += static_cast<char>(c);
    } else if (c < 0x800) {
        bytes += {static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
        bytes += {static_cast<char>(0xE0 | (c >> 12)), static_cast<char>(0x80 | ((c >> 6) & 0x3F)),
                  static_cast<char>(0x80 | (c & 0x3F))};
    } else {
        bytes += {static_cast<char>(0xF0 | (c >> 18)), static_cast<char>(0x80 | ((c >> 12) & 0x3F)),
                  static_cast<char>(0x80 | ((c >> 6) & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
    }
}

/// Simple case mappings of the first 256 characters: most texts need no others.
template <wchar_t (*Map)(wchar_t)>
std::array<wchar_t, 256> MakeLatinMap() {
    std::array<wchar_t, 256> map{};
    for (std::size_t i = 0; i < map.size(); ++i) map[i] = Map(static_cast<wchar_t>(i));
    return map;
}

wchar_t IcuUpper(wchar_t c) {
    return static_cast<wchar_t>(u_toupper(static_cast<UChar32>(c)));
}
wchar_t IcuLower(wchar_t c) {
    return static_cast<wchar_t>(u_tolower(static_cast<UChar32>(c)));
}

}  // namespace

std::wstring KxxWidenUtf8(std::string_view bytes) {
    return Widen(bytes, [](std::size_t, unsigned, wchar_t* out) {
        *out++ = static_cast<wchar_t>(replacement);
        return out;
    });
}

std::string KxxToUtf8(std::wstring_view text) {
    // Most texts are ASCII to their end, and what comes before the first other character needs no look at lengths.
    std::size_t const plain = static_cast<std::size_t>(
        std::find_if(text.begin(), text.end(), [](wchar_t c) { return Code(c) >= 0x80; }) - text.begin());
    std::string bytes;
    bytes.reserve(plain + (text.size() - plain) * 9 / 8);
    bytes.resize(plain);
    std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(plain), bytes.begin(),
                   [](wchar_t c) { return static_cast<char>(c); });
    for (wchar_t const c : text.substr(plain)) {
        char32_t const code = Code(c);
        AppendUtf8(bytes, IsSurrogate(code) || code > 0x10FFFF ? replacement : code);
    }
    return bytes;
}

bool KxxIsUtf8(std::string_view bytes) {
    for (;;) {
        bytes.remove_prefix(AsciiPrefix(bytes));
        if (bytes.empty()) return true;
        Decoded const d = DecodeSequence(bytes);
        if (!d.valid) return false;
        bytes.remove_prefix(d.length);
    }
}

std::wstring KxxWidenText(std::string_view bytes) {
    return KxxIsUtf8(bytes) ? KxxWidenUtf8(bytes) : KxxWidenNarrow(bytes);
}

std::wstring KxxFromSystemPath(std::string_view path) {
    return Widen(path, [&](std::size_t position, unsigned length, wchar_t* out) {
        for (unsigned k = 0; k < length; ++k)
            *out++ = static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(path[position + k]));
        return out;
    });
}

std::string KxxToSystemPath(std::wstring_view path) {
    std::string bytes;
    bytes.reserve(path.size() + path.size() / 8);
    for (wchar_t const c : path) {
        char32_t const code = Code(c);
        if (code >= 0xDC80 && code <= 0xDCFF)
            bytes += static_cast<char>(code - 0xDC00);
        else  // other surrogates keep bytes of their own, so that different texts stay different names
            AppendUtf8(bytes, code > 0x10FFFF ? replacement : code);
    }
    return bytes;
}

std::u16string KxxToUtf16(std::wstring_view text) {
    std::u16string units;
    units.reserve(text.size());
    for (wchar_t const c : text) {
        char32_t const code = Code(c);
        if (code < 0x10000) {
            units += static_cast<char16_t>(code);
        } else if (code > 0x10FFFF) {
            units += static_cast<char16_t>(replacement);
        } else {
            units += static_cast<char16_t>(0xD7C0 + (code >> 10));
            units += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        }
    }
    return units;
}

std::wstring KxxWidenUtf16(std::u16string_view units) {
    std::wstring text;
    text.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t const unit = units[i];
        bool const pair = unit >= 0xD800 && unit <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
                          units[i + 1] <= 0xDFFF;
        text += static_cast<wchar_t>(pair ? ((unit - 0xD7C0) << 10) + (char32_t{units[++i]} - 0xDC00) : unit);
    }
    return text;
}

wchar_t KxxToUpper(wchar_t character) {
    static std::array<wchar_t, 256> const latin = MakeLatinMap<IcuUpper>();
    return Code(character) < latin.size() ? latin[Code(character)] : IcuUpper(character);
}

wchar_t KxxToLower(wchar_t character) {
    static std::array<wchar_t, 256> const latin = MakeLatinMap<IcuLower>();
    return Code(character) < latin.size() ? latin[Code(character)] : IcuLower(character);
}

}  // namespace KxN
