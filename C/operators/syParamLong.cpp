// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParamLong.h"

#include "operators/syOperatorParts.h"

#include <algorithm>
#include <limits>

namespace KxN {

namespace {

using Stored = std::numeric_limits<KxTStored<long>::Type>;

/// The number of a text that passes IsIntNum. One of too many digits gives a number that no range takes.
long long NumberOf(KxString const& text) {
    constexpr long long most = 1'000'000'000'000'000'000;
    long long number = 0;
    for (wchar_t const c : text.View())
        if (c >= L'0' && c <= L'9') number = number > most / 10 ? most : number * 10 + (c - L'0');
    return text.View().starts_with(L'-') ? -number : number;
}

bool IsIn(KxTRange<long> const& range, long long value) {
    return range.minimum <= value && value <= range.maximum;
}

}  // namespace

KxParameterLong::KxParameterLong(unsigned short id, long value, long defaultValue, KxTRange<long> const& range,
                                 long increment)
    : KxParameter(id), m_value(value), m_defaultValue(defaultValue), m_range(range), m_increment(increment) {
    SetType(PARAMETER_LONG);
}

KxParameterLong::KxParameterLong(unsigned short id, KxResId const& resId, long value, long defaultValue,
                                 KxTRange<long> const& range, long increment)
    : KxParameter(id, resId), m_value(value), m_defaultValue(defaultValue), m_range(range), m_increment(increment) {
    SetType(PARAMETER_LONG);
}

KxParameterLong::~KxParameterLong() = default;

/// What a file can give back: it holds 32 bits, whatever the range says.
KxTRange<long> KxParameterLong::GetEffectiveRange() const {
    return {std::max<long>(m_range.minimum, Stored::min()), std::min<long>(m_range.maximum, Stored::max())};
}

void KxParameterLong::Check(long long value, KxString const& prefix, unsigned long line) const {
    KxTRange<long> const range = GetEffectiveRange();
    if (IsIn(range, value)) return;
    // As texts, so that a number of more than 32 bits is shown as it is.
    throw new KxException(L"syParamLong", line,
                          detail::FormatOf(text::LongOutOfRange, GetFixName(), detail::TextOf(text::WordLong), prefix,
                                           KxTools::String(static_cast<long>(value)), KxTools::String(range.minimum),
                                           KxTools::String(range.maximum)));
}

void KxParameterLong::SetValueFromString(KxString const& value) {
    if (!value.IsIntNum()) detail::ThrowWrongType(value, GetFixName(), text::WordLong);
    SetValue(static_cast<long>(NumberOf(value)));
}

void KxParameterLong::SetValue(long value) {
    Check(value, KxString(), __LINE__);
    m_value = value;
    SignalValueChanged.Emit(*this);
}

void KxParameterLong::SetDefaultValue(long value) {
    Check(value, detail::TextOf(text::LongDefault), __LINE__);
    m_defaultValue = value;
}

void KxParameterLong::SetRange(KxTRange<long> const& range) {
    m_range = range;
    SignalAttributesChanged.Emit(*this);
}

void KxParameterLong::SetIncrement(long increment) {
    m_increment = increment;
    SignalAttributesChanged.Emit(*this);
}

void KxParameterLong::Save(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings settings(fileName, group, GetFixName());
    settings.Write(L"", KxTools::String(m_value));
    settings.Write(L"(default)", KxTools::String(m_defaultValue));
    settings.Write(L"(increment)", KxTools::String(m_increment));
    settings.Store();
}

void KxParameterLong::Load(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings const settings(fileName, group, GetFixName());
    KxString const text = settings.Read(L"", KxTools::String(m_defaultValue));
    if (!text.IsIntNum()) settings.ThrowBad(L"syParamLong", __LINE__);
    KxTRange<long> const range = GetEffectiveRange();
    long long const value = NumberOf(text);
    if (!IsIn(range, value)) {
        settings.ThrowOutOfRange(L"syParamLong", __LINE__, text, KxTools::String(range.minimum),
                                 KxTools::String(range.maximum));
    }
    m_value = static_cast<long>(value);
    KxString const increment = settings.Read(L"(increment)");
    if (!increment.IsIntNum()) return;
    long long const step = NumberOf(increment);
    if (IsIn({Stored::min(), Stored::max()}, step)) m_increment = static_cast<long>(step);
}

}  // namespace KxN
