// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// The one grammar of conversions such as %-8.3lf or %2$s: the formatter and the checker of translations read by it.
// Standard headers only, since hbres is built before the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace KxN::detail {

constexpr int starCount = -2;  // the next argument says it

struct Conversion {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternative = false;
    bool zero = false;
    bool wide64 = false;  // a length mark for 64 bits was given
    int position = 0;     // which argument, from 1; 0: the next
    int width = 0;        // or starCount
    int precision = -1;   // -1: none; or starCount
    wchar_t kind = 0;
};

template <class C>
class ConversionReader {
public:
    /// `position` is that of a percent sign.
    ConversionReader(std::basic_string_view<C> text, std::size_t position) : m_text(text), m_position(position + 1) {}

    /// Reads a conversion; false, with the position behind what was read, if it is not one that is known.
    bool Read(Conversion& c) {
        std::size_t const start = m_position;
        int const number = ReadNumber(0);
        if (number > 0 && number <= mostPosition && Accept('$')) {
            c.position = number;
        } else {
            m_position = start;
        }
        ReadFlags(c);
        c.width = Accept('*') ? starCount : ReadNumber(0);
        if (Accept('.')) c.precision = Accept('*') ? starCount : ReadNumber(0);
        ReadLength(c);
        if (m_position == m_text.size()) return false;
        c.kind = static_cast<wchar_t>(m_text[m_position]);
        constexpr std::wstring_view known = L"%sScCdiuxXofFeEgGaAp";
        // A wrong character is not swallowed: it may be the percent sign of the next conversion.
        if (known.find(c.kind) == known.npos) return false;
        ++m_position;
        return true;
    }

    std::size_t GetPosition() const { return m_position; }

private:
    static constexpr int mostPosition = 999;

    bool Accept(char character) {
        if (m_position == m_text.size() || m_text[m_position] != static_cast<C>(character)) return false;
        ++m_position;
        return true;
    }

    void ReadFlags(Conversion& c) {
        for (;;) {
            if (Accept('-'))
                c.left = true;
            else if (Accept('+'))
                c.plus = true;
            else if (Accept(' '))
                c.blank = true;
            else if (Accept('#'))
                c.alternative = true;
            else if (Accept('0'))
                c.zero = true;
            else
                return;
        }
    }

    /// Huge numbers are cut; that is far above every limit.
    int ReadNumber(int missing) {
        int number = missing;
        for (; m_position < m_text.size(); ++m_position) {
            C const digit = m_text[m_position];
            if (digit < C('0') || digit > C('9')) break;
            number = std::min(number * 10 + static_cast<int>(digit - C('0')), 1'000'000);
        }
        return number;
    }

    void ReadLength(Conversion& c) {
        for (;;) {
            std::basic_string_view<C> const rest = m_text.substr(m_position);
            C const first = rest.empty() ? C(0) : rest[0];
            bool const isSized = first == C('I') && rest.size() > 2 &&
                                 ((rest[1] == C('6') && rest[2] == C('4')) || (rest[1] == C('3') && rest[2] == C('2')));
            if (isSized) {
                c.wide64 = rest[1] == C('6');
                m_position += 3;
            } else if (first == C('l') && rest.size() > 1 && rest[1] == C('l')) {
                c.wide64 = true;
                m_position += 2;
            } else if (first == C('h') || first == C('l') || first == C('L')) {
                ++m_position;
            } else if (first == C('j') || first == C('z') || first == C('t') || first == C('q')) {
                c.wide64 = true;
                ++m_position;
            } else {
                return;
            }
        }
    }

    std::basic_string_view<C> m_text;
    std::size_t m_position;
};

}  // namespace KxN::detail
