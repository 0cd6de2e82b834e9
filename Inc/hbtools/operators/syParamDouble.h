// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameterDouble: a number with a range, both ends included, an increment for buttons that step it, and a precision:
// the digits behind the point in its text and in files, -1 for six. Constructors take any value, and a new range does
// not look at the value; setters of the value do, and refuse what is no number. Promises, errors and threads as in
// syParameter.h.
#pragma once

#include "hbtools/base/syValues.h"
#include "hbtools/operators/syParameter.h"

#include <limits>

namespace KxN {

class KX_API KxParameterDouble : public KxParameter {
public:
    /// 0, any finite number, in steps of 1, with 2 digits.
    KxParameterDouble() { SetType(PARAMETER_DOUBLE); }
    KxParameterDouble(unsigned short id, double value, double defaultValue, KxTFloatRange<double> const& range,
                      double increment, long precision);
    KxParameterDouble(unsigned short id, KxResId const& resId, double value, double defaultValue,
                      KxTFloatRange<double> const& range, double increment, long precision);

    KxString GetValueAsString() const override;
    /// Takes what KxString::IsFloatNum does, then as SetValue. A number beyond the type is out of every range.
    void SetValueFromString(KxString const& value) override;
    ~KxParameterDouble() override;
    /// Keys: the value, "(default)" and "(increment)" with the digits of the precision, "(precision)". The default is
    /// not read back, the increment in single precision, and a precision is brought to 0..17.
    void Save(KxString const& fileName, KxString const& group) override;
    /// A value that is below the minimum by less than one unit of its last digit, which is what rounding makes of it,
    /// gives the minimum.
    void Load(KxString const& fileName, KxString const& group) override;

    double GetValue() const { return m_value; }
    void SetValue(double value);  ///< Fires SignalValueChanged. @throws KxException out of range
    double GetDefaultValue() const { return m_defaultValue; }
    void SetDefaultValue(double value);  ///< No signal. @throws KxException out of range
    KxTFloatRange<double> const& GetRange() const { return m_range; }
    void SetRange(KxTFloatRange<double> const& range);  ///< Fires SignalAttributesChanged.
    double GetIncrement() const { return m_increment; }
    void SetIncrement(double increment);  ///< Fires SignalAttributesChanged.
    long GetPrecision() const { return m_precision; }
    void SetPrecision(long precision);  ///< Fires SignalAttributesChanged.

private:
    bool IsInRange(double value) const;
    void Check(double value, KxString const& prefix, unsigned long line) const;
    static KxString TextOf(double value, long precision);

    double m_value = 0;
    double m_defaultValue = 0;
    KxTFloatRange<double> m_range{std::numeric_limits<double>::lowest(), std::numeric_limits<double>::max()};
    double m_increment = 1;
    long m_precision = 2;
};

}  // namespace KxN
