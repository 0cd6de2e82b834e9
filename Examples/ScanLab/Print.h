// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What goes to people: lines on standard output, and text within the markup of pictures and pages.
#pragma once

#include <hbtools/base/syEncoding.h>
#include <hbtools/base/syFormat.h>
#include <hbtools/base/syString.h>
#include <hbtools/core/syColor.h>

#include <cstdio>
#include <string>

namespace ScanLab {

/// Control characters, and those that turn the direction of writing.
bool IsControl(wchar_t c);
/// The text without control characters but line ends: names from files must not steer a terminal.
std::wstring Printable(std::wstring text);
/// For SVG and HTML, between tags and within double quotes.
std::wstring Escaped(KxN::KxString const& text);
/// "#rrggbb"
std::wstring HtmlOf(KxN::KxColor const& color);

template <class... Arguments>
void Print(wchar_t const* format, Arguments const&... arguments) {
    std::fputs(KxN::KxxToUtf8(Printable(KxN::KxxFormat(format, arguments...))).c_str(), stdout);
}

}  // namespace ScanLab
