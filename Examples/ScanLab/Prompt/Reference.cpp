// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Reference.h"

#include "../Operators/TextIds.h"

#include <hbtools/operators/syOperator.h>
#include <hbtools/operators/syParamBool.h>
#include <hbtools/operators/syParamColor.h>
#include <hbtools/operators/syParamDouble.h>
#include <hbtools/operators/syParamFile.h>
#include <hbtools/operators/syParamList.h>
#include <hbtools/operators/syParamLong.h>
#include <hbtools/operators/syParamString.h>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr unsigned short typeWords = 7211;  // of the library's texts: that of type 1 is the next

KxString DefaultOf(KxParameter const& parameter) {
    if (auto const* const p = dynamic_cast<KxParameterBool const*>(&parameter))
        return KxParameterBool::ConvertToString(p->GetDefaultStatus());
    if (auto const* const p = dynamic_cast<KxParameterLong const*>(&parameter))
        return KxTools::String(p->GetDefaultValue());
    if (auto const* const p = dynamic_cast<KxParameterDouble const*>(&parameter))
        return KxxFormat(L"%g", p->GetDefaultValue());
    if (auto const* const p = dynamic_cast<KxParameterString const*>(&parameter)) return p->GetDefaultString();
    if (auto const* const p = dynamic_cast<KxParameterList const*>(&parameter)) return p->GetSelectedDefaultEntry();
    if (auto const* const p = dynamic_cast<KxParameterFile const*>(&parameter)) return p->GetDefaultFileName();
    if (auto const* const p = dynamic_cast<KxParameterColor const*>(&parameter))
        return KxxFormat(L"(%d,%d,%d)", p->GetDefaultColor().GetRed(), p->GetDefaultColor().GetGreen(),
                         p->GetDefaultColor().GetBlue());
    return {};
}

/// As a cell of a table, as code if `isCode`.
std::wstring Cell(KxString const& text, bool isCode = false) {
    std::wstring cell;
    for (wchar_t const c : text.View()) {
        if (c == L'|' || (c == L'*' && !isCode)) cell += L'\\';
        cell += c;
    }
    return isCode && !cell.empty() ? L"`" + cell + L"`" : cell;
}

template <class Visit>
void ForEachParameter(KxOperator const& found, Visit visit) {
    for (unsigned long i = 0; KxParameter const* const parameter = found.GetParameterIndexed(i); ++i) visit(*parameter);
}

}  // namespace

KxString TypeOf(KxParameter const& parameter) {
    // A colour that was made with a value does not tell its type.
    if (dynamic_cast<KxParameterColor const*>(&parameter)) return TextOf(Text::Color);
    return KxString(KxResId(static_cast<unsigned short>(typeWords + parameter.GetType())));
}

KxString ValuesOf(KxParameter const& parameter) {
    if (dynamic_cast<KxParameterBool const*>(&parameter)) return L"TRUE, FALSE";
    if (auto const* const p = dynamic_cast<KxParameterLong const*>(&parameter))
        return FormatOf(Text::FromTo, KxTools::String(p->GetRange().minimum), KxTools::String(p->GetRange().maximum));
    if (auto const* const p = dynamic_cast<KxParameterDouble const*>(&parameter))
        return FormatOf(Text::FromTo, KxxFormat(L"%g", p->GetRange().minimum), KxxFormat(L"%g", p->GetRange().maximum));
    KxString values;
    auto const add = [&values](KxString const& value) { values = values + (values.Len() > 0 ? L", " : L"") + value; };
    if (auto const* const p = dynamic_cast<KxParameterList const*>(&parameter))
        for (KxString const& entry : p->GetList()) add(entry);
    if (auto const* const p = dynamic_cast<KxParameterFile const*>(&parameter))
        for (SxFileFilter const& filter : p->GetFilterList()) add(filter.Pattern);
    if (dynamic_cast<KxParameterColor const*>(&parameter)) values = L"(0,0,0) ... (255,255,255)";
    return values;
}

KxString ReferencePage(KxOperatorMgr const& manager) {
    std::wstring page = KxxFormat(L"# %s\n\n%s\n", TextOf(Text::Operators), TextOf(Text::Introduction));
    for (unsigned long i = 0; KxOperator const* const found = manager.GetOperatorIndexed(i); ++i) {
        page += KxxFormat(L"\n## %s: %s\n\n%s\n\n", found->GetFixName(), found->GetUIName(), found->GetHelpText());
        if (found->GetNumParameters() == 0) {
            page += KxxFormat(L"%s\n", TextOf(Text::NoParameters));
            continue;
        }
        page += KxxFormat(L"| %s | %s | %s | %s | %s |\n|---|---|---|---|---|\n", TextOf(Text::Parameter),
                          TextOf(Text::Type), TextOf(Text::Values), TextOf(Text::Default), TextOf(Text::Meaning));
        ForEachParameter(*found, [&page](KxParameter const& parameter) {
            page += KxxFormat(L"| `%s` | %s | %s | %s | %s: %s |\n", parameter.GetFixName(), TypeOf(parameter),
                              Cell(ValuesOf(parameter)), Cell(DefaultOf(parameter), true), parameter.GetUIName(),
                              Cell(parameter.GetHelpText()));
        });
    }
    return page;
}

KxString OperatorsHelp(KxOperatorMgr const& manager) {
    std::wstring help;
    for (unsigned long i = 0; KxOperator const* const found = manager.GetOperatorIndexed(i); ++i)
        help += KxxFormat(L"%-14s %s\n", found->GetFixName(), found->GetHelpText());
    return help;
}

KxString OperatorHelp(KxOperator const& found) {
    std::wstring help = KxxFormat(L"%s: %s\n%s\n", found.GetFixName(), found.GetUIName(), found.GetHelpText());
    ForEachParameter(found,
                     [&help](KxParameter const& parameter) { help += KxxFormat(L"  %s\n", ParameterHint(parameter)); });
    return help;
}

KxString ParameterHint(KxParameter const& parameter) {
    KxString const values = ValuesOf(parameter);
    return KxxFormat(L"%s (%s%s), %s \"%s\": %s", parameter.GetFixName(), TypeOf(parameter),
                     values.Len() > 0 ? L": " + values : KxString(), TextOf(Text::Now), parameter.GetValueAsString(),
                     parameter.GetHelpText());
}

}  // namespace ScanLab
