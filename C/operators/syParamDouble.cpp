// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParamDouble.h"

#include "operators/syOperatorParts.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

namespace KxN {

namespace {

/// The number of a text that passes IsFloatNum; infinite if it is beyond the type.
double NumberOf(KxString const& text) {
    double const number = text;
    if (std::fabs(number) < std::numeric_limits<double>::max()) return number;
    std::wstring_view const digits = text.View().substr(text.View().find_first_not_of(L"+-"));
    std::string const narrow(digits.begin(), digits.end());
    double exact = 0;
    if (std::from_chars(narrow.data(), narrow.data() + narrow.size(), exact).ec == std::errc()) return number;
    return std::copysign(std::numeric_limits<double>::infinity(), number);
}

}  // namespace

KxParameterDouble::KxParameterDouble(unsigned short id, double value, double defaultValue,
                                     KxTFloatRange<double> const& range, double increment, long precision)
    : KxParameter(id),
      m_value(value),
      m_defaultValue(defaultValue),
      m_range(range),
      m_increment(increment),
      m_precision(precision) {
    SetType(PARAMETER_DOUBLE);
}

KxParameterDouble::KxParameterDouble(unsigned short id, KxResId const& resId, double value, double defaultValue,
                                     KxTFloatRange<double> const& range, double increment, long precision)
    : KxParameter(id, resId),
      m_value(value),
      m_defaultValue(defaultValue),
      m_range(range),
      m_increment(increment),
      m_precision(precision) {
    SetType(PARAMETER_DOUBLE);
}

KxParameterDouble::~KxParameterDouble() = default;

KxString KxParameterDouble::TextOf(double value, long precision) {
    return KxxFormat(L"%.*f", precision, value);
}

bool KxParameterDouble::IsInRange(double value) const {
    return m_range.minimum <= value && value <= m_range.maximum;
}

void KxParameterDouble::Check(double value, KxString const& prefix, unsigned long line) const {
    if (IsInRange(value)) return;
    throw new KxException(L"syParamDouble", line,
                          detail::FormatOf(text::DoubleOutOfRange, GetFixName(), detail::TextOf(text::WordDouble),
                                           prefix, value, m_range.minimum, m_range.maximum));
}

KxString KxParameterDouble::GetValueAsString() const {
    return TextOf(m_value, m_precision);
}

void KxParameterDouble::SetValueFromString(KxString const& value) {
    if (!value.IsFloatNum()) detail::ThrowWrongType(value, GetFixName(), text::WordDouble);
    SetValue(NumberOf(value));
}

void KxParameterDouble::SetValue(double value) {
    Check(value, KxString(), __LINE__);
    m_value = value;
    SignalValueChanged.Emit(*this);
}

void KxParameterDouble::SetDefaultValue(double value) {
    Check(value, detail::TextOf(text::DoubleDefault), __LINE__);
    m_defaultValue = value;
}

void KxParameterDouble::SetRange(KxTFloatRange<double> const& range) {
    m_range = range;
    SignalAttributesChanged.Emit(*this);
}

void KxParameterDouble::SetIncrement(double increment) {
    m_increment = increment;
    SignalAttributesChanged.Emit(*this);
}

void KxParameterDouble::SetPrecision(long precision) {
    m_precision = precision;
    SignalAttributesChanged.Emit(*this);
}

void KxParameterDouble::Save(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings settings(fileName, group, GetFixName());
    settings.Write(L"", TextOf(m_value, m_precision));
    settings.Write(L"(default)", TextOf(m_defaultValue, m_precision));
    settings.Write(L"(increment)", TextOf(m_increment, m_precision));
    settings.Write(L"(precision)", KxTools::String(m_precision < 0 ? 6L : m_precision));
    settings.Store();
}

void KxParameterDouble::Load(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings const settings(fileName, group, GetFixName());
    double increment = m_increment;
    long precision = m_precision;
    KxString const incrementText = settings.Read(L"(increment)");
    if (incrementText.IsFloatNum()) increment = static_cast<double>(static_cast<float>(incrementText));
    KxString const precisionText = settings.Read(L"(precision)");
    if (precisionText.IsIntNum()) precision = std::clamp<long>(precisionText, 0, 17);
    KxString const text = settings.Read(L"", TextOf(m_defaultValue, precision));
    if (!text.IsFloatNum()) settings.ThrowBad(L"syParamDouble", __LINE__);
    double value = NumberOf(text);
    // The digits that a file keeps may round a value at the lower end out of the range.
    double const lastDigit = std::pow(10.0, -static_cast<double>(precision < 0 ? 6 : precision));
    if (value < m_range.minimum && value + lastDigit > m_range.minimum) value = m_range.minimum;
    if (!IsInRange(value)) {
        settings.ThrowOutOfRange(L"syParamDouble", __LINE__, TextOf(value, precision),
                                 TextOf(m_range.minimum, precision), TextOf(m_range.maximum, precision));
    }
    m_value = value;
    m_increment = increment;
    m_precision = precision;
}

}  // namespace KxN
