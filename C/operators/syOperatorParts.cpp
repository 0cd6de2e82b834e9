// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "operators/syOperatorParts.h"

namespace KxN::detail {

namespace {

thread_local SharedSettings* t_shared = nullptr;  // the innermost

}  // namespace

void SetTexts(KxResId const& resId, KxString& fixName, KxString& uiName, KxString& helpText) {
    auto const behind = [&resId](int offset) {
        int const id = resId.GetId() + offset;
        return id > 65535 ? KxString() : KxString(KxResId(static_cast<unsigned short>(id), resId.GetModule()));
    };
    KxString name(resId), nameForUsers = behind(1);
    helpText = behind(2);
    fixName = std::move(name);
    uiName = std::move(nameForUsers);
}

void ThrowWrongType(KxString const& value, KxString const& fixName, unsigned short typeWord) {
    throw new KxException(FormatOf(text::ValueOfWrongType, value, fixName, TextOf(typeWord)));
}

ParameterSettings::ParameterSettings(KxString const& fileName, KxString const& group, KxString const& fixName)
    : m_fixName(fixName), m_config(SharedSettings::Find(fileName)) {
    if (!m_config) {
        m_config = &m_own.emplace(fileName);
        m_config->ProofRead();
        m_config->BeginUpdate();
    }
    m_config->SetGroup(group);
}

KxString ParameterSettings::Read(wchar_t const* suffix, KxString const& fallback) const {
    return m_config->ReadKey(m_fixName + suffix, fallback);
}

void ParameterSettings::Write(wchar_t const* suffix, KxString const& value) {
    m_config->WriteKey(m_fixName + suffix, value);
}

void ParameterSettings::Store() {
    if (m_own) m_own->EndUpdate();
}

void ParameterSettings::ThrowBad(wchar_t const* sourceFile, unsigned long line) const {
    throw new KxReadKeywordException(sourceFile, line, m_fixName, m_config->GetGroup(), m_config->GetPathName());
}

void ParameterSettings::ThrowOutOfRange(wchar_t const* sourceFile, unsigned long line, KxString const& value,
                                        KxString const& min, KxString const& max) const {
    throw new KxReadKeywordException(sourceFile, line, m_fixName, m_config->GetGroup(), m_config->GetPathName(), value,
                                     min, max);
}

SharedSettings::SharedSettings(KxString const& fileName) : m_config(fileName), m_outer(t_shared) {
    m_config.ProofRead();
    m_config.BeginUpdate();
    t_shared = this;
}

SharedSettings::~SharedSettings() {
    t_shared = m_outer;
}

KxConfig* SharedSettings::Find(KxString const& fileName) {
    return t_shared && t_shared->m_config.GetPathName() == fileName ? &t_shared->m_config : nullptr;
}

}  // namespace KxN::detail
