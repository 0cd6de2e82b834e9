// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParamBool.h"

#include "operators/syOperatorParts.h"

namespace KxN {

KxParameterBool::KxParameterBool(unsigned short id, int status, int defaultStatus)
    : KxParameter(id), m_status(status), m_defaultStatus(defaultStatus) {
    SetType(PARAMETER_BOOL);
}

KxParameterBool::KxParameterBool(unsigned short id, KxResId const& resId, int status, int defaultStatus)
    : KxParameter(id, resId), m_status(status), m_defaultStatus(defaultStatus) {
    SetType(PARAMETER_BOOL);
}

KxParameterBool::~KxParameterBool() = default;

int KxParameterBool::ConvertToStatus(KxString const& text) {
    return text.ICompare(L"TRUE") == 0;
}

void KxParameterBool::SetStatus(int status) {
    m_status = status;
    SignalValueChanged.Emit(*this);
}

void KxParameterBool::SetValueFromString(KxString const& value) {
    int const status = ConvertToStatus(value);
    if (!status && value.ICompare(L"FALSE") != 0) detail::ThrowWrongType(value, GetFixName(), text::WordBool);
    SetStatus(status);
}

void KxParameterBool::Save(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings settings(fileName, group, GetFixName());
    settings.Write(L"", ConvertToString(m_status));
    settings.Write(L"(default)", ConvertToString(m_defaultStatus));
    settings.Store();
}

void KxParameterBool::Load(KxString const& fileName, KxString const& group) {
    detail::ParameterSettings const settings(fileName, group, GetFixName());
    KxString const text = settings.Read(L"", ConvertToString(m_defaultStatus));
    int const status = ConvertToStatus(text);
    if (!status && text.ICompare(L"FALSE") != 0) settings.ThrowBad(L"syParamBool", __LINE__);
    m_status = status;
}

}  // namespace KxN
