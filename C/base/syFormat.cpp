// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syFormat.h"

#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syLimits.h"
#include "hbtools/base/syString.h"

#include "base/syConversion.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

namespace KxN::detail {

std::wstring_view ViewOf(KxTools::String const& text) {
    return text.View();
}
std::wstring_view ViewOf(CStringT<wchar_t> const& text) {
    return text.View();
}
std::string_view ViewOf(CStringT<char> const& text) {
    return text.View();
}

namespace {

using Buffer = fmt::basic_memory_buffer<char, 500>;

constexpr int mostPrecision = 1024;  // whatever the limits allow: the digits of one number are made on the stack

class Formatter {
public:
    Formatter(std::wstring_view format, FormatArgument const* arguments, std::size_t count)
        : m_format(format), m_arguments(arguments), m_count(count), m_limits(KxxLimits()) {}

    std::wstring Run() {
        m_out.reserve(m_format.size() + 16 * m_count);
        for (;;) {
            std::size_t const percent = std::min(m_format.find(L'%', m_position), m_format.size());
            m_out.append(m_format, m_position, percent - m_position);
            m_position = percent;
            if (percent == m_format.size()) return std::move(m_out);
            FormatOne();
        }
    }

private:
    /// Formats the conversion at the position, or copies its text if there is nothing for it.
    void FormatOne() {
        std::size_t const start = m_position;
        std::size_t const firstArgument = m_next;
        std::optional<Conversion> const conversion = Parse();
        // One that names its argument leaves the order of the others alone.
        std::size_t const named = conversion ? static_cast<std::size_t>(conversion->position) : 0;
        if (conversion && conversion->kind == L'%') {
            m_out += L'%';
        } else if (conversion && (named > 0 ? named <= m_count : m_next < m_count)) {
            FormatArgumentAs(*conversion, m_arguments[named > 0 ? named - 1 : m_next++]);
        } else {
            m_next = firstArgument;
            m_out.append(m_format, start, m_position - start);
        }
    }

    /// Reads a conversion. None, with the position behind what was read, if it is not one that is known.
    std::optional<Conversion> Parse() {
        Conversion c;
        ConversionReader<wchar_t> reader(m_format, m_position);
        bool const isKnown = reader.Read(c);
        m_position = reader.GetPosition();
        if (!isKnown) return std::nullopt;
        int const width = c.width == starCount ? TakeNumber(0) : c.width;
        c.left = c.left || width < 0;
        c.width = std::min(std::abs(width), m_limits.formatWidth);
        if (c.precision == starCount) c.precision = TakeNumber(0);
        c.precision = std::clamp(c.precision, -1, std::clamp(m_limits.formatPrecision, 0, mostPrecision));
        return c;
    }

    /// The number that an argument gives for a star.
    int TakeNumber(int missing) {
        if (m_next >= m_count) return missing;
        constexpr long long most = 1'000'000;
        FormatArgument const& argument = m_arguments[m_next++];
        if (auto const* const number = std::get_if<long long>(&argument))
            return static_cast<int>(std::clamp(*number, -most, most));
        if (auto const* const number = std::get_if<unsigned long long>(&argument))
            return static_cast<int>(std::min<unsigned long long>(*number, most));
        return missing;
    }

    void FormatArgumentAs(Conversion const& c, FormatArgument const& argument) {
        if (auto const* const wide = std::get_if<std::wstring_view>(&argument)) return Text(c, *wide);
        if (auto const* const narrow = std::get_if<std::string_view>(&argument)) return Text(c, KxxWidenText(*narrow));
        if (auto const* const character = std::get_if<wchar_t>(&argument)) return Character(c, *character);
        if (auto const* const character = std::get_if<char>(&argument)) return Narrow(c, *character);
        if (auto const* const number = std::get_if<double>(&argument)) return Floating(c, *number);
        if (auto const* const number = std::get_if<long long>(&argument))
            return Integer(
                c, *number < 0,
                *number < 0 ? 0 - static_cast<unsigned long long>(*number) : static_cast<unsigned long long>(*number));
        if (auto const* const number = std::get_if<unsigned long long>(&argument)) return Integer(c, false, *number);
        Pointer(c, std::get<void const*>(argument));
    }

    void Text(Conversion const& c, std::wstring_view text) {
        bool const cut = c.precision >= 0 && (c.kind == L's' || c.kind == L'S');
        if (cut) text = text.substr(0, static_cast<std::size_t>(c.precision));
        std::size_t const fill = Fill(c, text.size());
        if (!c.left) m_out.append(fill, L' ');
        m_out += text;
        if (c.left) m_out.append(fill, L' ');
    }

    void Character(Conversion const& c, wchar_t character) {
        constexpr std::wstring_view numeric = L"diuxXo";
        if (numeric.find(c.kind) != numeric.npos) {
            bool const negative = character < 0;
            return Integer(c, negative, static_cast<unsigned long long>(std::abs(static_cast<long long>(character))));
        }
        Conversion plain = c;
        plain.precision = -1;
        Text(plain, std::wstring_view(&character, 1));
    }

    /// As a number it has a sign, as a text it is a character of the thread's code page.
    void Narrow(Conversion const& c, char character) {
        if (character >= 0) return Character(c, static_cast<wchar_t>(character));
        if (std::wstring_view(L"diuxXo").find(c.kind) != std::wstring_view::npos)
            return Integer(c, true, static_cast<unsigned long long>(-static_cast<int>(character)));
        for (wchar_t const wide : KxxWidenNarrow(std::string_view(&character, 1))) Character(c, wide);
    }

    void Integer(Conversion const& c, bool negative, unsigned long long magnitude) {
        bool const hex = c.kind == L'x' || c.kind == L'X';
        if ((c.kind == L'c' || c.kind == L'C') && !negative && magnitude <= 0x10FFFF)
            return Character(c, static_cast<wchar_t>(magnitude));
        if (negative && (hex || c.kind == L'o')) {
            // Bits, not a number: in the 32 bits of int and long where they suffice and no longer form is asked for.
            bool const narrow = !c.wide64 && magnitude <= 0x80000000u;
            magnitude = 0 - magnitude;
            if (narrow) magnitude &= 0xFFFFFFFFu;
            negative = false;
        }
        Buffer digits;
        if (hex)
            fmt::format_to(std::back_inserter(digits), fmt::runtime(c.kind == L'x' ? "{:x}" : "{:X}"), magnitude);
        else if (c.kind == L'o')
            fmt::format_to(std::back_inserter(digits), "{:o}", magnitude);
        else
            digits.append(fmt::format_int(magnitude));

        bool const integral = std::wstring_view(L"diuxXo").find(c.kind) != std::wstring_view::npos;
        int const precision = integral ? c.precision : -1;
        if (precision == 0 && magnitude == 0) digits.clear();
        std::size_t zeros = precision > 0 ? static_cast<std::size_t>(precision) : 0;
        zeros = zeros > digits.size() ? zeros - digits.size() : 0;
        std::string_view prefix;
        if (c.alternative && c.kind == L'o' && zeros == 0 && (magnitude != 0 || digits.size() == 0)) zeros = 1;
        if (c.alternative && hex && magnitude != 0) prefix = c.kind == L'x' ? "0x" : "0X";
        bool const isSigned = !hex && c.kind != L'o' && c.kind != L'u';
        Number(c, isSigned, negative, prefix, zeros, digits, precision < 0);
    }

    void Floating(Conversion const& c, double number) {
        Buffer digits;
        double const magnitude = std::fabs(number);
        int const precision = c.precision < 0 ? 6 : c.precision;
        bool const upper = c.kind == L'F' || c.kind == L'E' || c.kind == L'G' || c.kind == L'A';
        std::string_view prefix;
        if (!std::isfinite(number)) {
            std::string_view const text = std::isnan(number) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
            digits.append(text);
        } else {
            FiniteDigits(c, magnitude, precision, digits);
            if (upper)
                for (char& digit : digits)
                    if (digit >= 'a') digit = static_cast<char>(digit - 'a' + 'A');
            if (c.kind == L'a' || c.kind == L'A') prefix = upper ? "0X" : "0x";
        }
        Number(c, true, std::signbit(number), prefix, 0, digits, std::isfinite(number));
    }

    /// The digits of a conversion, in small letters.
    static void FiniteDigits(Conversion const& c, double magnitude, int precision, Buffer& digits) {
        switch (c.kind) {
            case L'f':
            case L'F': Append(digits, magnitude, std::chars_format::fixed, precision); break;
            case L'e':
            case L'E': Append(digits, magnitude, std::chars_format::scientific, precision); break;
            case L'g':
            case L'G':
                if (c.alternative)
                    FullGeneral(magnitude, std::max(precision, 1), digits);
                else
                    Append(digits, magnitude, std::chars_format::general, precision);
                break;
            case L'a':
            case L'A':
                if (c.precision < 0)
                    Append(digits, magnitude, std::chars_format::hex);
                else
                    Append(digits, magnitude, std::chars_format::hex, precision);
                break;
            default:
                fmt::format_to(std::back_inserter(digits), "{}", magnitude);
                return;  // the shortest that reads back
        }
        std::string_view const text(digits.data(), digits.size());
        if (!c.alternative || text.find('.') != text.npos) return;
        std::string const exponent(text.substr(std::min(text.find_first_of("ep"), text.size())));
        digits.resize(digits.size() - exponent.size());
        digits.push_back('.');
        digits.append(exponent);
    }

    /// What std::to_chars writes, which is what the C library prints in the "C" locale.
    template <class... Precision>
    static void Append(Buffer& digits, double magnitude, std::chars_format format, Precision... precision) {
        char text[2048];  // holds the largest number with the largest precision
        auto const end = std::to_chars(text, text + sizeof text, magnitude, format, precision...);
        digits.append(text, end.ptr);
    }

    /// %#g: as %g, with all digits of the precision.
    static void FullGeneral(double magnitude, int precision, Buffer& digits) {
        Append(digits, magnitude, std::chars_format::scientific, precision - 1);
        std::string_view const text(digits.data(), digits.size());
        std::size_t const mark = text.find('e');
        int exponent = 0;
        std::from_chars(text.data() + mark + 2, text.data() + text.size(), exponent);
        if (text[mark + 1] == '-') exponent = -exponent;
        if (exponent < -4 || exponent >= precision) return;
        digits.clear();
        Append(digits, magnitude, std::chars_format::fixed, precision - 1 - exponent);
    }

    void Pointer(Conversion const& c, void const* pointer) {
        Buffer digits;
        fmt::format_to(std::back_inserter(digits), "{:x}", reinterpret_cast<std::uintptr_t>(pointer));
        Number(c, false, false, "0x", 0, digits, false);
    }

    /// Writes sign, prefix, zeros and digits, filled to the width.
    void Number(Conversion const& c, bool isSigned, bool negative, std::string_view prefix, std::size_t zeros,
                Buffer const& digits, bool zeroFill) {
        char const sign = negative ? '-' : !isSigned ? '\0' : c.plus ? '+' : c.blank ? ' ' : '\0';
        std::size_t fill = Fill(c, (sign ? 1 : 0) + prefix.size() + zeros + digits.size());
        if (c.zero && zeroFill && !c.left) {
            zeros += fill;
            fill = 0;
        }
        if (!c.left) m_out.append(fill, L' ');
        if (sign) m_out += static_cast<wchar_t>(sign);
        Ascii(prefix);
        m_out.append(zeros, L'0');
        Ascii(std::string_view(digits.data(), digits.size()));
        if (c.left) m_out.append(fill, L' ');
    }

    void Ascii(std::string_view text) {
        std::size_t const length = m_out.size();
        m_out.resize(length + text.size());
        std::copy(text.begin(), text.end(), m_out.begin() + static_cast<std::ptrdiff_t>(length));
    }

    static std::size_t Fill(Conversion const& c, std::size_t length) {
        std::size_t const width = static_cast<std::size_t>(c.width);
        return width > length ? width - length : 0;
    }

    std::wstring_view m_format;
    FormatArgument const* m_arguments;
    std::size_t m_count;
    KxLimits const& m_limits;
    std::size_t m_position = 0;  // in the format
    std::size_t m_next = 0;      // argument
    std::wstring m_out;
};

}  // namespace

std::wstring FormatText(std::wstring_view format, FormatArgument const* arguments, std::size_t count) {
    return Formatter(format, arguments, count).Run();
}

}  // namespace KxN::detail
