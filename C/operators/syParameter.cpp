// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syParameter.h"

#include "operators/syOperatorParts.h"

namespace KxN {

KxParameter::KxParameter(KxParameter const& other)
    : m_type(other.m_type),
      m_id(other.m_id),
      m_resId(other.m_resId),
      m_fixName(other.m_fixName),
      m_uiName(other.m_uiName),
      m_helpText(other.m_helpText),
      m_userLevel(other.m_userLevel),
      m_isVisible(other.m_isVisible),
      m_isEnabled(other.m_isEnabled) {
    SignalValueChanged.ConnectAsIn(other.SignalValueChanged);
    SignalEnabledChanged.ConnectAsIn(other.SignalEnabledChanged);
    SignalAttributesChanged.ConnectAsIn(other.SignalAttributesChanged);
}

KxParameter& KxParameter::operator=(KxParameter const& other) {
    if (this == &other) return *this;
    m_type = other.m_type;
    m_id = other.m_id;
    m_resId = other.m_resId;
    m_fixName = other.m_fixName;
    m_uiName = other.m_uiName;
    m_helpText = other.m_helpText;
    m_userLevel = other.m_userLevel;
    m_isVisible = other.m_isVisible;
    m_isEnabled = other.m_isEnabled;
    SignalValueChanged.ConnectAsIn(other.SignalValueChanged);
    SignalEnabledChanged.ConnectAsIn(other.SignalEnabledChanged);
    SignalAttributesChanged.ConnectAsIn(other.SignalAttributesChanged);
    return *this;
}

KxParameter::~KxParameter() = default;

void KxParameter::SetId(unsigned short id, KxResId const& resId) {
    detail::SetTexts(resId, m_fixName, m_uiName, m_helpText);
    m_id = id;
    m_resId = resId;
}

void KxParameter::SetVisibility(unsigned char) {
    throw new KxNotImplementedException(L"syParameter", __LINE__, L"KxParameter::SetVisibility");
}

void KxParameter::Enable() {
    m_isEnabled = 1;
    SignalEnabledChanged.Emit(*this);
}

void KxParameter::Disable() {
    m_isEnabled = 0;
    SignalEnabledChanged.Emit(*this);
}

}  // namespace KxN
