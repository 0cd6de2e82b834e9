// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParamString.h"

#include "operators/syOperatorParts.h"

namespace KxN {

KxParameterString::KxParameterString(unsigned short id, KxString const& value, KxString const& defaultValue)
    : KxParameter(id), m_string(value), m_defaultString(defaultValue) {
    SetType(PARAMETER_STRING);
}

KxParameterString::KxParameterString(unsigned short id, KxResId const& resId, KxString const& value,
                                     KxString const& defaultValue)
    : KxParameter(id, resId), m_string(value), m_defaultString(defaultValue) {
    SetType(PARAMETER_STRING);
}

KxParameterString::~KxParameterString() = default;

void KxParameterString::SetString(KxString const& value) {
    m_string = value;
    SignalValueChanged.Emit(*this);
}

void KxParameterString::Save(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings settings(fileName, group, GetFixName());
    settings.Write(L"", m_string);
    settings.Write(L"(default)", m_defaultString);
    settings.Store();
}

void KxParameterString::Load(KxString const& fileName, KxString const& group) {
    m_string = detail::ParameterSettings(fileName, group, GetFixName()).Read(L"", m_defaultString);
}

}  // namespace KxN
