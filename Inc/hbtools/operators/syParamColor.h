// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxParameterColor: a colour, black unless something else is said. Its text is "(red,green,blue)", of which each number
// counts with its lowest eight bits. Only the default constructor gives the type PARAMETER_COLOR; one that is made with a
// value has the type 0, as it always had. Promises, errors and threads as in syParameter.h.
#pragma once

#include "hbtools/core/syColor.h"
#include "hbtools/operators/syParameter.h"

namespace KxN {

class KX_API KxParameterColor : public KxParameter {
public:
    KxParameterColor() { SetType(PARAMETER_COLOR); }
    KxParameterColor(unsigned short id, KxColor const& color, KxColor const& defaultColor);
    KxParameterColor(unsigned short id, KxResId const& resId, KxColor const& color, KxColor const& defaultColor);

    KxString GetValueAsString() const override { return CreateString(m_color); }
    void SetValueFromString(KxString const& value) override { SetColor(CreateColor(value)); }
    ~KxParameterColor() override;
    /// Keys: the colour and "(default)", which is not read back. A damaged colour loads as the default one.
    void Save(KxString const& fileName, KxString const& group) override;
    void Load(KxString const& fileName, KxString const& group) override;

    KxColor const& GetColor() const { return m_color; }
    void SetColor(KxColor const& color);  ///< Fires SignalValueChanged.
    KxColor const& GetDefaultColor() const { return m_defaultColor; }
    void SetDefaultColor(KxColor const& color) { m_defaultColor = color; }

protected:
    static KxString CreateString(KxColor const& color);
    /// @throws KxException if the text does not begin as a colour's does
    KxColor CreateColor(KxString const& text) const;

private:
    KxColor m_color;
    KxColor m_defaultColor;
};

}  // namespace KxN
