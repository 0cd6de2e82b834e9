// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameterLong: a whole number of 32 bits with a range, both ends included, and an increment for buttons that step it.
// Constructors take any value, and a new range does not look at the value; setters of the value do. A range wider
// than 32 bits admits what 32 bits hold. Promises, errors and threads as in syParameter.h.
#pragma once

#include "hbtools/base/syValues.h"
#include "hbtools/operators/syParameter.h"

namespace KxN {

class KX_API KxParameterLong : public KxParameter {
public:
    /// 0, from -2147483648 to 2147483647, in steps of 1.
    KxParameterLong() { SetType(PARAMETER_LONG); }
    KxParameterLong(unsigned short id, long value, long defaultValue, KxTRange<long> const& range, long increment);
    KxParameterLong(unsigned short id, KxResId const& resId, long value, long defaultValue, KxTRange<long> const& range,
                    long increment);

    KxString GetValueAsString() const override { return KxTools::String(m_value); }
    /// Takes an optional sign and decimal digits, then as SetValue.
    void SetValueFromString(KxString const& value) override;
    ~KxParameterLong() override;
    /// Keys: the value, "(default)" and "(increment)". The default is not read back; an increment that is none is ignored.
    void Save(KxString const& fileName, KxString const& group) override;
    void Load(KxString const& fileName, KxString const& group) override;

    long GetValue() const { return m_value; }
    void SetValue(long value);  ///< Fires SignalValueChanged. @throws KxException out of range
    long GetDefaultValue() const { return m_defaultValue; }
    void SetDefaultValue(long value);  ///< No signal. @throws KxException out of range
    KxTRange<long> const& GetRange() const { return m_range; }
    void SetRange(KxTRange<long> const& range);  ///< Fires SignalAttributesChanged.
    long GetIncrement() const { return m_increment; }
    void SetIncrement(long increment);  ///< Fires SignalAttributesChanged.

private:
    KxTRange<long> GetEffectiveRange() const;
    void Check(long long value, KxString const& prefix, unsigned long line) const;

    long m_value = 0;
    long m_defaultValue = 0;
    KxTRange<long> m_range{-2147483648L, 2147483647L};
    long m_increment = 1;
};

}  // namespace KxN
