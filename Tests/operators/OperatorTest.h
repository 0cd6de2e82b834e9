// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// What the tests of operators share: texts of an application, and a listener that writes down what it hears.
#pragma once

#include "hbtools/operators/syMacro.h"
#include "hbtools/operators/syOperatorMgr.h"
#include "hbtools/operators/syParamBool.h"
#include "hbtools/operators/syParamColor.h"
#include "hbtools/operators/syParamDouble.h"
#include "hbtools/operators/syParamFile.h"
#include "hbtools/operators/syParamList.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/operators/syParamString.h"

#include "../base/Support.h"

#include <functional>
#include <memory>

namespace test {

using namespace KxN;
using namespace std::string_literals;

inline constexpr SxStringResource applicationTexts[] = {
    {100, "Value"},   {101, "Wert"},    {102, "Hilfe"}, {110, "Count"}, {120, "Mode"},   {200, "Filter"},
    {201, "Glätten"}, {202, "Glättet"}, {210, "Other"}, {220, "Self"},  {65534, "Last"}, {65535, "Letzter"}};
inline constinit CDynLinkLibrary applicationModule{applicationTexts};

inline KxResId Id(unsigned short id) {
    return KxResId(id, &applicationModule);
}

/// Hears a parameter; what it heard is V, E and A for the three signals, each with the value by then.
struct Listener {
    explicit Listener(KxParameter& parameter) {
        parameter.SignalValueChanged.Connect(this, &Listener::OnValue);
        parameter.SignalEnabledChanged.Connect(this, &Listener::OnEnabled);
        parameter.SignalAttributesChanged.Connect(this, &Listener::OnAttributes);
    }
    void OnValue(KxParameter& parameter) { heard += "V:" + U(parameter.GetValueAsString()) + " "; }
    void OnEnabled(KxParameter& parameter) { heard += "E" + std::to_string(parameter.IsEnabled()) + " "; }
    void OnAttributes(KxParameter& parameter) { heard += "A:" + U(parameter.GetValueAsString()) + " "; }
    std::string Take() { return std::exchange(heard, std::string()); }

    std::string heard;
};

}  // namespace test
