// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Numbers in texts. Independent of the locale, and `long` has the 32 bits that it has in every stored form.
#include "hbtools/base/syString.h"

#include <charconv>
#include <limits>
#include <string>

namespace {

bool IsDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}
bool IsSign(wchar_t c) {
    return c == L'+' || c == L'-';
}

std::size_t CountDigits(std::wstring_view text) {
    std::size_t count = 0;
    while (count < text.size() && IsDigit(text[count])) ++count;
    return count;
}

std::wstring_view SkipBlanks(std::wstring_view text) {
    while (!text.empty() && (text[0] == L' ' || text[0] == L'\t')) text.remove_prefix(1);
    return text;
}

/// Length of the integer that the text starts with: sign and digits; 0 if there is none.
std::size_t IntegerLength(std::wstring_view text) {
    std::size_t const sign = !text.empty() && IsSign(text[0]) ? 1 : 0;
    std::size_t const digits = CountDigits(text.substr(sign));
    return digits > 0 ? sign + digits : 0;
}

/// Length of the floating-point number that the text starts with; 0 if there is none.
std::size_t FloatLength(std::wstring_view text) {
    std::size_t length = !text.empty() && IsSign(text[0]) ? 1 : 0;
    std::size_t const whole = CountDigits(text.substr(length));
    length += whole;
    std::size_t fraction = 0;
    if (length < text.size() && text[length] == L'.') {
        fraction = CountDigits(text.substr(length + 1));
        if (whole + fraction > 0) length += 1 + fraction;
    }
    if (whole + fraction == 0) return 0;
    if (length < text.size() && (text[length] == L'e' || text[length] == L'E')) {
        std::size_t const exponent = IntegerLength(text.substr(length + 1));
        if (exponent > 0) length += 1 + exponent;
    }
    return length;
}

/// The integer that the text starts with, brought into the range; 0 if there is none.
long long ReadInteger(std::wstring_view text, long long lowest, long long highest) {
    text = SkipBlanks(text);
    text = text.substr(0, IntegerLength(text));
    if (text.empty()) return 0;
    bool const negative = text[0] == L'-';
    long long number = 0;
    for (wchar_t const c : text) {
        if (IsSign(c)) continue;
        number = number * 10 + (c - L'0');
        if (number > -(lowest + 1) + 1 && number > highest) break;  // beyond both limits
    }
    if (negative) number = -number;
    return number < lowest ? lowest : number > highest ? highest : number;
}

/// True if a number that from_chars finds out of range is too large, not too small.
bool IsLarge(std::string_view number) {
    // The decimal exponent of the first digit that counts: far from 0 either way, so a rough one will do.
    long long exponent = 0;
    std::size_t const mark = number.find_first_of("eE");
    std::string_view const mantissa = number.substr(0, mark);
    if (mark != number.npos) {
        std::string_view digits = number.substr(mark + 1);
        bool const negative = digits[0] == '-';
        if (negative || digits[0] == '+') digits.remove_prefix(1);
        for (char const c : digits)
            if (exponent < 1'000'000'000'000) exponent = exponent * 10 + (c - '0');
        if (negative) exponent = -exponent;
    }
    long long const point = static_cast<long long>(std::min(mantissa.find('.'), mantissa.size()));
    long long const first = static_cast<long long>(mantissa.find_first_of("123456789"));
    return exponent + point - first > 0;
}

template <class T>
T ReadFloat(std::wstring_view text) {
    text = SkipBlanks(text);
    text = text.substr(0, FloatLength(text));
    bool const negative = !text.empty() && text[0] == L'-';
    if (!text.empty() && IsSign(text[0])) text.remove_prefix(1);
    if (text.empty()) return 0;
    std::string const number(text.begin(), text.end());  // ASCII throughout
    T value = 0;
    auto const result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc::result_out_of_range) value = IsLarge(number) ? std::numeric_limits<T>::max() : T(0);
    return negative ? -value : value;
}

}  // namespace

namespace KxTools {

String::operator long() const {
    return static_cast<long>(
        ReadInteger(m_text, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

String::operator unsigned long() const {
    return static_cast<unsigned long>(ReadInteger(m_text, 0, std::numeric_limits<std::uint32_t>::max()));
}

String::operator short() const {
    return static_cast<short>(
        ReadInteger(m_text, std::numeric_limits<short>::min(), std::numeric_limits<short>::max()));
}

}  // namespace KxTools

namespace KxN {

KxString::operator double() const {
    return ReadFloat<double>(m_text);
}

KxString::operator float() const {
    return ReadFloat<float>(m_text);
}

int KxString::IsIntNum() const {
    return !m_text.empty() && IntegerLength(m_text) == m_text.size();
}

int KxString::IsFloatNum() const {
    return !m_text.empty() && FloatLength(m_text) == m_text.size();
}

}  // namespace KxN
