// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Typed formatting in the notation of printf. Every argument carries its own type, so that a wrong, a
// translated or a hostile format yields a readable text: a conversion that does not fit its argument shows
// the argument in its natural form, a surplus conversion is shown as it stands, surplus arguments are
// dropped, widths and precisions are bounded, %n is text. Never undefined behaviour. Any thread.
#pragma once

#include "hbtools/base/syTypes.h"

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace KxTools {
class String;
}

namespace KxN {

template <class C>
class CStringT;

namespace detail {

/// One argument of a format: a number by value, a text by view, or a pointer.
using FormatArgument = std::variant<long long, unsigned long long, double, wchar_t, char, std::wstring_view,
                                    std::string_view, void const*>;

KX_API std::wstring FormatText(std::wstring_view format, FormatArgument const* arguments, std::size_t count);
KX_API std::wstring_view ViewOf(KxTools::String const& text);
KX_API std::wstring_view ViewOf(CStringT<wchar_t> const& text);
KX_API std::string_view ViewOf(CStringT<char> const& text);

template <class T>
FormatArgument MakeFormatArgument(T const& value) {
    using D = std::decay_t<T>;
    if constexpr (std::is_same_v<D, wchar_t> || std::is_same_v<D, char>) {
        return value;
    } else if constexpr (std::is_enum_v<D>) {
        return static_cast<long long>(value);
    } else if constexpr (std::is_integral_v<D> && std::is_signed_v<D>) {
        return static_cast<long long>(value);
    } else if constexpr (std::is_integral_v<D>) {
        return static_cast<unsigned long long>(value);
    } else if constexpr (std::is_floating_point_v<D>) {
        return static_cast<double>(value);
    } else if constexpr (std::is_base_of_v<KxTools::String, D>) {
        return ViewOf(static_cast<KxTools::String const&>(value));
    } else if constexpr (std::is_same_v<D, CStringT<wchar_t>> || std::is_same_v<D, CStringT<char>>) {
        return ViewOf(value);
    } else if constexpr (std::is_same_v<D, wchar_t const*> || std::is_same_v<D, wchar_t*>) {
        wchar_t const* text = value;
        return text ? std::wstring_view(text) : std::wstring_view(L"(null)");
    } else if constexpr (std::is_same_v<D, char const*> || std::is_same_v<D, char*>) {
        char const* text = value;
        return text ? std::string_view(text) : std::string_view("(null)");
    } else if constexpr (std::is_convertible_v<T, std::wstring_view>) {
        return std::wstring_view(value);
    } else if constexpr (std::is_convertible_v<T, std::string_view>) {
        return std::string_view(value);
    } else {
        static_assert(std::is_convertible_v<T, void const*>, "this type cannot be formatted");
        return static_cast<void const*>(value);
    }
}

}  // namespace detail

/// The formatted text. `format` knows %s %c %d %i %u %x %X %o %f %F %e %E %g %G %a %p %% with flags, width,
/// precision (also as *) and the length marks h l ll L j z t I64, which are accepted and not needed. "%2$s" takes the second
/// argument, so that a translation may take them in another order.
template <class... Arguments>
std::wstring KxxFormat(std::wstring_view format, Arguments const&... arguments) {
    if constexpr (sizeof...(Arguments) == 0) {
        return detail::FormatText(format, nullptr, 0);
    } else {
        detail::FormatArgument const list[] = {detail::MakeFormatArgument(arguments)...};
        return detail::FormatText(format, list, sizeof...(Arguments));
    }
}

}  // namespace KxN
