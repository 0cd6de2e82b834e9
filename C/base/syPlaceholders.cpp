// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syPlaceholders.h"

#include "base/syConversion.h"

#include <algorithm>
#include <vector>

namespace KxN {

namespace {

/// What an argument is taken as; conversions of one kind differ in their looks only.
char KindOf(wchar_t conversion) {
    switch (conversion) {
        case L's':
        case L'S': return 's';
        case L'c':
        case L'C': return 'c';
        case L'p': return 'p';
        case L'd':
        case L'i':
        case L'u':
        case L'x':
        case L'X':
        case L'o': return 'd';
        default: return 'f';
    }
}

/// What a text asks for.
struct Needs {
    std::vector<char> kinds;  // by argument; 0 for one that nobody takes, '!' for one that is taken as two kinds
    std::size_t strays = 0;   // percent signs that begin nothing

    void Take(std::size_t argument, char kind) {
        if (kinds.size() <= argument) kinds.resize(argument + 1);
        kinds[argument] = kinds[argument] == 0 || kinds[argument] == kind ? kind : '!';
    }
    bool operator==(Needs const&) const = default;
};

/// Calls `visit(conversion, text)`, with null for a percent sign that begins nothing, and `plain(text)` for what stands
/// between them.
template <class Visit, class Plain>
void ForEachConversion(std::string_view text, Visit visit, Plain plain) {
    for (std::size_t position = 0;;) {
        std::size_t const percent = std::min(text.find('%', position), text.size());
        plain(text.substr(position, percent - position));
        if (percent == text.size()) return;
        detail::Conversion conversion;
        detail::ConversionReader<char> reader(text, percent);
        bool const isKnown = reader.Read(conversion);
        position = reader.GetPosition();
        visit(isKnown ? &conversion : nullptr, text.substr(percent, position - percent));
    }
}

void Ignore(std::string_view) {}

/// Letters that look like those of ASCII, in their order.
constexpr std::string_view upperLetters[] = {"Á", "Ɓ", "Ç", "Ð", "É", "Ƒ", "Ĝ", "Ĥ", "Î", "Ĵ", "Ķ", "Ļ", "Ḿ",
                                             "Ñ", "Ö", "Þ", "Ǫ", "Ŕ", "Š", "Ţ", "Û", "Ṽ", "Ŵ", "Ẋ", "Ý", "Ž"};
constexpr std::string_view lowerLetters[] = {"á", "ƀ", "ç", "ð", "é", "ƒ", "ĝ", "ĥ", "î", "ĵ", "ķ", "ļ", "ɱ",
                                             "ñ", "ö", "þ", "ǫ", "ŕ", "š", "ţ", "û", "ṽ", "ŵ", "ẋ", "ý", "ž"};

Needs NeedsOf(std::string_view text) {
    Needs needs;
    std::size_t next = 0;
    auto const take = [&](detail::Conversion const* c, std::string_view) {
        if (!c) {
            ++needs.strays;
        } else if (c->kind != L'%') {
            for (int const count : {c->width, c->precision})
                if (count == detail::starCount) needs.Take(next++, 'd');
            std::size_t const argument = c->position > 0 ? static_cast<std::size_t>(c->position) - 1 : next++;
            needs.Take(argument, KindOf(c->kind));
        }
    };
    ForEachConversion(text, take, Ignore);
    return needs;
}

}  // namespace

bool KxxSamePlaceholders(std::string_view base, std::string_view translated) {
    return NeedsOf(base) == NeedsOf(translated);
}

std::string KxxListPlaceholders(std::string_view text) {
    std::string list;
    auto const add = [&](detail::Conversion const*, std::string_view conversion) {
        if (!list.empty()) list += ", ";
        list += conversion;
    };
    ForEachConversion(text, add, Ignore);
    return list;
}

std::string KxxPseudoTranslate(std::string_view text) {
    std::string made = "[";
    std::size_t length = 0;
    auto const plain = [&](std::string_view part) {
        for (char const c : part) {
            length += (c & 0xC0) != 0x80;  // the first byte of a character
            if (c >= 'A' && c <= 'Z')
                made += upperLetters[c - 'A'];
            else if (c >= 'a' && c <= 'z')
                made += lowerLetters[c - 'a'];
            else
                made += c;
        }
    };
    ForEachConversion(
        text, [&](detail::Conversion const*, std::string_view part) { made += part; }, plain);
    for (std::size_t i = 0; i < (length * 4 + 9) / 10; ++i) made += "~";
    return made + "]";
}

}  // namespace KxN
