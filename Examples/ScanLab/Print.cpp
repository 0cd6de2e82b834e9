// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Print.h"

namespace ScanLab {

using namespace KxN;

bool IsControl(wchar_t c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x61c || c == 0x200e || c == 0x200f ||
           (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == 0xfeff;
}

std::wstring Printable(std::wstring text) {
    for (wchar_t& c : text)
        if (IsControl(c) && c != L'\n') c = L'?';
    return text;
}

std::wstring Escaped(KxString const& text) {
    std::wstring out;
    for (wchar_t const c : text.View()) {
        if (c == L'<')
            out += L"&lt;";
        else if (c == L'&')
            out += L"&amp;";
        else if (c == L'"')
            out += L"&quot;";
        else
            out += IsControl(c) || (c >= 0xd800 && c < 0xe000) || (c & 0xfffe) == 0xfffe ? L'?' : c;
    }
    return out;
}

std::wstring HtmlOf(KxColor const& color) {
    return KxxFormat(L"#%02x%02x%02x", color.GetRed(), color.GetGreen(), color.GetBlue());
}

}  // namespace ScanLab
