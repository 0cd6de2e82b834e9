// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// A value could not be rounded to an integer type. For rounding code of applications; KxMath::Round never throws.
#pragma once

#include "hbtools/base/syException.h"

namespace KxN {

class KX_API KxRoundingException : public KxRuntimeException {
public:
    /// `type`: the name of the integer type.
    KxRoundingException(double value, KxString const& type) : m_value(value), m_type(type) {}
    KxRoundingException(KxString const& file, unsigned long line, double value, KxString const& type)
        : KxRuntimeException(file, line), m_value(value), m_type(type) {}
    KxRoundingException(KxRoundingException& other) = default;
    KxRoundingException& operator=(KxRoundingException& other) = default;

    double GetValueToRound() const { return m_value; }
    CString GetIntegerType() const { return m_type; }

protected:
    void BuildMessage() override;

private:
    double m_value;
    CString m_type;
};

}  // namespace KxN
