// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameterBool: a parameter that is on or off; 0 is off, any other number on. Its text is "TRUE" or "FALSE", taken
// in any case. Promises, errors and threads as in syParameter.h.
#pragma once

#include "hbtools/operators/syParameter.h"

namespace KxN {

class KX_API KxParameterBool : public KxParameter {
public:
    KxParameterBool() { SetType(PARAMETER_BOOL); }
    KxParameterBool(unsigned short id, int status, int defaultStatus);
    KxParameterBool(unsigned short id, KxResId const& resId, int status, int defaultStatus);

    KxString GetValueAsString() const override { return ConvertToString(m_status); }
    void SetValueFromString(KxString const& value) override;
    ~KxParameterBool() override;
    /// Keys: the status and "(default)".
    void Save(KxString const& fileName, KxString const& group) override;
    void Load(KxString const& fileName, KxString const& group) override;

    int GetStatus() const { return m_status; }
    int IsTrue() const { return m_status != 0; }
    void SetStatus(int status);  ///< Fires SignalValueChanged.
    int GetDefaultStatus() const { return m_defaultStatus; }
    int IsDefaultTrue() const { return m_defaultStatus != 0; }
    void SetDefaultStatus(int status) { m_defaultStatus = status; }

    static KxString ConvertToString(int status) { return status ? L"TRUE" : L"FALSE"; }
    /// 1 for "TRUE" in any case, 0 for every other text.
    static int ConvertToStatus(KxString const& text);

private:
    int m_status = 0;
    int m_defaultStatus = 0;
};

}  // namespace KxN
