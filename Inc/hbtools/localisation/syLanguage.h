// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxLanguage: a language by its number, see syLocale.h. A value; what it tells comes from the locale data. An object
// belongs to one thread at a time.
#pragma once

#include "hbtools/base/syLocale.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace KxN {

class KX_API KxLanguage {
public:
    /// The user's default UI language.
    KxLanguage();
    KxLanguage(unsigned short id) : m_id(id) {}

    /// The abbreviated name: three letters such as DEU. Empty for a language that nobody knows.
    virtual CString GetLangCode() const;
    /// The name in the user's language, at most 126 characters.
    virtual CString GetLangUIName() const;
    virtual unsigned short GetLangID() const;
    virtual unsigned short GetPrimaryLangID() const;  ///< The low 10 bits.
    virtual unsigned short GetSubLangID() const;      ///< The bits above them.
    virtual bool operator==(KxLanguage const& other) const;
    virtual bool operator!=(KxLanguage const& other) const;

private:
    unsigned short m_id;
};

}  // namespace KxN

#pragma GCC diagnostic pop
