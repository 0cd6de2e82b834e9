// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/localisation/syLanguage.h"

namespace KxN {

namespace {
constexpr int codeLength = 3, nameLength = 126;
}

KxLanguage::KxLanguage() : m_id(KxxGetUserLanguage()) {}

CString KxLanguage::GetLangCode() const {
    return CString(KxxGetLanguageCode(m_id)).Left(codeLength);
}

CString KxLanguage::GetLangUIName() const {
    return CString(KxxGetLanguageName(m_id, KxxGetUserLanguage())).Left(nameLength);
}

unsigned short KxLanguage::GetLangID() const {
    return m_id;
}

unsigned short KxLanguage::GetPrimaryLangID() const {
    return m_id & 0x3FF;
}

unsigned short KxLanguage::GetSubLangID() const {
    return static_cast<unsigned short>(m_id >> 10);
}

bool KxLanguage::operator==(KxLanguage const& other) const {
    return GetLangID() == other.GetLangID();
}

bool KxLanguage::operator!=(KxLanguage const& other) const {
    return GetLangID() != other.GetLangID();
}

}  // namespace KxN
