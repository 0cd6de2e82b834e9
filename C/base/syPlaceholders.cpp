// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syPlaceholders.h"

#include "base/syConversion.h"

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

/// Calls `visit(conversion, text)`, with null for a percent sign that begins nothing.
template <class Visit>
void ForEachConversion(std::string_view text, Visit visit) {
    for (std::size_t position = text.find('%'); position < text.size(); position = text.find('%', position)) {
        detail::Conversion conversion;
        detail::ConversionReader<char> reader(text, position);
        bool const isKnown = reader.Read(conversion);
        visit(isKnown ? &conversion : nullptr, text.substr(position, reader.GetPosition() - position));
        position = reader.GetPosition();
    }
}

Needs NeedsOf(std::string_view text) {
    Needs needs;
    std::size_t next = 0;
    ForEachConversion(text, [&](detail::Conversion const* c, std::string_view) {
        if (!c) {
            ++needs.strays;
        } else if (c->kind != L'%') {
            for (int const count : {c->width, c->precision})
                if (count == detail::starCount) needs.Take(next++, 'd');
            std::size_t const argument = c->position > 0 ? static_cast<std::size_t>(c->position) - 1 : next++;
            needs.Take(argument, KindOf(c->kind));
        }
    });
    return needs;
}

}  // namespace

bool KxxSamePlaceholders(std::string_view base, std::string_view translated) {
    return NeedsOf(base) == NeedsOf(translated);
}

std::string KxxListPlaceholders(std::string_view text) {
    std::string list;
    ForEachConversion(text, [&](detail::Conversion const*, std::string_view conversion) {
        if (!list.empty()) list += ", ";
        list += conversion;
    });
    return list;
}

}  // namespace KxN
