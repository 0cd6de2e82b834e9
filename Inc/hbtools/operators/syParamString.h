// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameterString: any text. A file keeps it without blanks around it, and refuses one with a line end. Promises,
// errors and threads as in syParameter.h.
#pragma once

#include "hbtools/operators/syParameter.h"

namespace KxN {

class KX_API KxParameterString : public KxParameter {
public:
    KxParameterString() { SetType(PARAMETER_STRING); }
    KxParameterString(unsigned short id, KxString const& value, KxString const& defaultValue);
    KxParameterString(unsigned short id, KxResId const& resId, KxString const& value, KxString const& defaultValue);

    KxString GetValueAsString() const override { return m_string; }
    void SetValueFromString(KxString const& value) override { SetString(value); }
    ~KxParameterString() override;
    /// Keys: the text and "(default)", which is not read back.
    void Save(KxString const& fileName, KxString const& group) override;
    void Load(KxString const& fileName, KxString const& group) override;

    KxString const& GetString() const { return m_string; }
    void SetString(KxString const& value);  ///< Fires SignalValueChanged.
    KxString const& GetDefaultString() const { return m_defaultString; }
    void SetDefaultString(KxString const& value) { m_defaultString = value; }

private:
    KxString m_string;
    KxString m_defaultString;
};

}  // namespace KxN
