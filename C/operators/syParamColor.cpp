// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParamColor.h"

#include "operators/syOperatorParts.h"

#include <algorithm>
#include <array>

namespace KxN {

namespace {

/// Takes a number, with blanks in front of it, from the text and keeps its low eight bits.
bool TakeByte(std::wstring_view& text, std::uint8_t& byte) {
    constexpr std::wstring_view blanks = L" \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    bool const isNegative = text.starts_with(L'-');
    if (isNegative || text.starts_with(L'+')) text.remove_prefix(1);
    std::size_t const digits = std::min(text.find_first_not_of(L"0123456789"), text.size());
    unsigned number = 0;
    for (wchar_t const digit : text.substr(0, digits))
        number = (number * 10 + static_cast<unsigned>(digit - L'0')) % 256;
    byte = static_cast<std::uint8_t>(isNegative ? 256 - number : number);
    text.remove_prefix(digits);
    return digits > 0;
}

}  // namespace

KxParameterColor::KxParameterColor(unsigned short id, KxColor const& color, KxColor const& defaultColor)
    : KxParameter(id), m_color(color), m_defaultColor(defaultColor) {}

KxParameterColor::KxParameterColor(unsigned short id, KxResId const& resId, KxColor const& color,
                                   KxColor const& defaultColor)
    : KxParameter(id, resId), m_color(color), m_defaultColor(defaultColor) {}

KxParameterColor::~KxParameterColor() = default;

KxString KxParameterColor::CreateString(KxColor const& color) {
    return KxxFormat(L"(%d,%d,%d)", color.GetRed(), color.GetGreen(), color.GetBlue());
}

KxColor KxParameterColor::CreateColor(KxString const& text) const {
    std::wstring_view rest = text.View();
    std::array<std::uint8_t, 3> bytes{};
    wchar_t lead = L'(';
    for (std::uint8_t& byte : bytes) {
        bool const begins = rest.starts_with(lead);
        if (begins) rest.remove_prefix(1);
        // The word is that of a whole number, which is what each of the three has to be.
        if (!begins || !TakeByte(rest, byte)) detail::ThrowWrongType(text, GetFixName(), KxN::text::WordLong);
        lead = L',';
    }
    return {bytes[0], bytes[1], bytes[2]};
}

void KxParameterColor::SetColor(KxColor const& color) {
    m_color = color;
    SignalValueChanged.Emit(*this);
}

void KxParameterColor::Save(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings settings(fileName, group, GetFixName());
    settings.Write(L"", CreateString(m_color));
    settings.Write(L"(default)", CreateString(m_defaultColor));
    settings.Store();
}

void KxParameterColor::Load(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings const settings(fileName, group, GetFixName());
    KxString const text = settings.Read(L"");
    try {
        m_color = CreateColor(text);
    } catch (KxException* exception) {
        exception->Delete();
        m_color = m_defaultColor;
    }
}

}  // namespace KxN
