// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Output.h"

#include <hbtools/base/syEncoding.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tool {

namespace {

// Controls, and the marks that reorder or hide text on a terminal.
bool MustEscape(wchar_t c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x061c || c == 0x200e || c == 0x200f ||
           (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == 0xfeff || (c >= 0xd800 && c <= 0xdfff);
}

}  // namespace

void Output::Write() {
    if (m_error == 0 && std::fwrite(m_text.data(), 1, m_text.size(), stdout) != m_text.size()) m_error = errno;
    m_text.clear();
}

bool Output::Finish() {
    Write();
    if (std::fflush(stdout) != 0 && m_error == 0) m_error = errno;
    if (m_error != 0) tool::Complain("{}: the output could not be written: {}\n", m_program, std::strerror(m_error));
    return m_error == 0;
}

std::string Escaped(KxN::KxString const& text) {
    std::string out;
    for (wchar_t c : text.View()) {
        switch (c) {
            case L'\\': out += "\\\\"; break;
            case L'\n': out += "\\n"; break;
            case L'\r': out += "\\r"; break;
            case L'\t': out += "\\t"; break;
            default:
                if (!MustEscape(c))
                    out += KxN::KxxToUtf8(std::wstring_view(&c, 1));
                else if (c < 0x100)
                    out += fmt::format("\\x{:02x}", static_cast<unsigned>(c));
                else
                    out += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        }
    }
    return out;
}

std::string Reason(KxN::CException* caught) {
    auto const release = [](KxN::CException* exception) { exception->Delete(); };
    std::unique_ptr<KxN::CException, decltype(release)> const owner(caught);
    return Escaped(KxN::CException::TextOf(*caught));
}

std::string Quoted(KxN::KxString const& text) {
    std::string out = "\"";
    for (wchar_t c : text.View()) {
        if (c == L'"' || c == L'\\')
            out += {'\\', static_cast<char>(c)};
        else if (MustEscape(c))
            out += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        else
            out += KxN::KxxToUtf8(std::wstring_view(&c, 1));
    }
    return out += '"';
}

std::string JsonNumber(std::string_view digits) {
    bool const isNumber = !digits.empty() && digits.find_first_of("nN") == std::string_view::npos;
    if (digits == "-0") return "-0.0";  // as an integer it would come back without its sign
    return isNumber ? std::string(digits) : fmt::format("\"{}\"", digits);
}

}  // namespace tool
