// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The single-byte code pages of syEncoding.h. Each is a table of 256 characters and its reverse, made once per
// process: Windows-1252 from constants, the others by ICU.
#include "hbtools/base/syEncoding.h"

#include "base/posix/syMutex.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <string>

namespace KxN {

namespace {

constexpr unsigned defaultCodePage = 1252;

class CodePage {
public:
    explicit CodePage(std::array<wchar_t, 256> const& characters) : m_characters(characters) {
        for (unsigned byte = 0; byte < 256; ++byte)
            if (m_characters[byte] != 0xFFFD) m_bytes[m_count++] = {m_characters[byte], static_cast<char>(byte)};
        std::stable_sort(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(m_count),
                         [](Pair const& a, Pair const& b) { return a.character < b.character; });
        for (wchar_t c = 0; c < 128; ++c) m_isAscii = m_isAscii && m_characters[static_cast<std::size_t>(c)] == c;
    }

    wchar_t Widen(char byte) const { return m_characters[static_cast<unsigned char>(byte)]; }

    char Narrow(wchar_t character) const {
        if (m_isAscii && character >= 0 && character < 128) return static_cast<char>(character);
        auto const end = m_bytes.begin() + static_cast<std::ptrdiff_t>(m_count);
        auto const found = std::lower_bound(m_bytes.begin(), end, character,
                                            [](Pair const& pair, wchar_t c) { return pair.character < c; });
        return found != end && found->character == character ? found->byte : '?';
    }

private:
    struct Pair {
        wchar_t character;
        char byte;
    };
    std::array<wchar_t, 256> m_characters;
    std::array<Pair, 256> m_bytes{};  // by character
    std::size_t m_count = 0;
    bool m_isAscii = true;
};

/// Windows-1252 from 0x80 to 0x9F. The five bytes that it leaves open stand for the control of the same number.
constexpr wchar_t windows1252[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                     0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                     0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                     0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

std::array<wchar_t, 256> Windows1252Characters() {
    std::array<wchar_t, 256> characters{};
    for (std::size_t i = 0; i < 256; ++i)
        characters[i] = i >= 0x80 && i < 0xA0 ? windows1252[i - 0x80] : static_cast<wchar_t>(i);
    return characters;
}

std::string IcuName(unsigned codePage) {
    if (codePage >= 1250 && codePage <= 1258) return "windows-" + std::to_string(codePage);
    if (codePage >= 28591 && codePage <= 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
    if (codePage == 437 || codePage == 850) return "ibm-" + std::to_string(codePage);
    return {};
}

/// The table of a code page; null if there is none.
std::unique_ptr<CodePage> MakeCodePage(unsigned codePage) {
    if (codePage == defaultCodePage) return std::make_unique<CodePage>(Windows1252Characters());
    std::string const name = IcuName(codePage);
    if (name.empty()) return nullptr;
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<UConverter, decltype(&ucnv_close)> const converter(ucnv_open(name.c_str(), &error), &ucnv_close);
    if (U_FAILURE(error)) return nullptr;
    std::array<wchar_t, 256> characters{};
    for (unsigned i = 0; i < 256; ++i) {
        char const byte = static_cast<char>(i);
        UChar units[4];
        ucnv_resetToUnicode(converter.get());
        error = U_ZERO_ERROR;
        int32_t const length = ucnv_toUChars(converter.get(), units, 4, &byte, 1, &error);
        bool const known = U_SUCCESS(error) && length == 1 && units[0] != 0xFFFD;
        // As in Windows-1252: what is open among the controls stands for the control of the same number.
        characters[i] =
            known ? static_cast<wchar_t>(units[0]) : static_cast<wchar_t>(i >= 0x80 && i < 0xA0 ? i : 0xFFFD);
    }
    return std::make_unique<CodePage>(characters);
}

/// The one table of a code page in this process, made at its first use; null if there is none.
CodePage const* FindCodePage(unsigned codePage) {
    static detail::Mutex mutex;
    static auto& pages = *new std::map<unsigned, std::unique_ptr<CodePage>>;  // lives on for late destructors
    {
        std::lock_guard const lock(mutex);
        auto const found = pages.find(codePage);
        if (found != pages.end()) return found->second.get();
    }
    std::unique_ptr<CodePage> made = MakeCodePage(codePage);  // not under the lock: it may read files
    if (!made) return nullptr;
    std::lock_guard const lock(mutex);
    return pages.try_emplace(codePage, std::move(made)).first->second.get();
}

constinit thread_local unsigned t_codePage = defaultCodePage;
constinit thread_local CodePage const* t_page = nullptr;

CodePage const& ThreadCodePage() {
    if (!t_page) t_page = FindCodePage(t_codePage);
    return *t_page;
}

CodePage const& CodePageOr1252(unsigned codePage) {
    CodePage const* const page = FindCodePage(codePage);
    return page ? *page : *FindCodePage(defaultCodePage);
}

std::wstring Widen(std::string_view bytes, CodePage const& page) {
    std::wstring text(bytes.size(), L'\0');
    std::transform(bytes.begin(), bytes.end(), text.begin(), [&](char byte) { return page.Widen(byte); });
    return text;
}

std::string Narrow(std::wstring_view text, CodePage const& page) {
    std::string bytes(text.size(), '\0');
    std::transform(text.begin(), text.end(), bytes.begin(), [&](wchar_t character) { return page.Narrow(character); });
    return bytes;
}

}  // namespace

std::wstring KxxWidenNarrow(std::string_view bytes) {
    return Widen(bytes, ThreadCodePage());
}

std::wstring KxxWidenNarrow(std::string_view bytes, unsigned codePage) {
    return Widen(bytes, CodePageOr1252(codePage));
}

std::string KxxToNarrow(std::wstring_view text) {
    return Narrow(text, ThreadCodePage());
}

std::string KxxToNarrow(std::wstring_view text, unsigned codePage) {
    return Narrow(text, CodePageOr1252(codePage));
}

unsigned KxxSetThreadCodePage(unsigned codePage) {
    CodePage const* const page = FindCodePage(codePage);
    if (!page) return 0;
    unsigned const former = t_codePage;
    t_codePage = codePage;
    t_page = page;
    return former;
}

unsigned KxxGetThreadCodePage() {
    return t_codePage;
}

}  // namespace KxN
