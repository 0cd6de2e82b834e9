// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Languages.h"

#include "Operators/TextIds.h"

#include <hbtools/operators/syOperator.h>

#include <algorithm>
#include <vector>

namespace ScanLab {

using namespace KxN;

Languages::Languages(KxString const& settings) {
    Init(settings, L"Languages");
}

void Languages::Use(KxString const& name) {
    bool isKnown = SetActiveLanguage(name) != 0;
    for (auto const& element : m_languages)
        if (!isKnown && KxString(element.value.GetLangCode()).Upper() == name.Upper())
            isKnown = SetActiveLanguage(element.value.GetLangID()) != 0;
    if (!isKnown) throw new KxException(FormatOf(Text::NoLanguage, name, Known()));
    DoLocalization(1);
}

KxString Languages::Known() const {
    std::vector<KxString> names;
    for (auto const& element : m_languages)
        names.push_back(element.key + L" (" + KxString(element.value.GetLangCode()) + L")");
    std::sort(names.begin(), names.end(), [](KxString const& a, KxString const& b) { return a.View() < b.View(); });
    KxString known;
    for (KxString const& name : names) known += (known.Len() > 0 ? L", " : L"") + name;
    return known;
}

void Relabel(KxOperatorMgr& operators) {
    for (unsigned long i = 0; KxOperator* const found = operators.GetOperatorIndexed(i); ++i) {
        found->SetId(found->GetId(), found->GetResId());
        for (unsigned long j = 0; j < found->GetNumParameters(); ++j) {
            KxParameter& parameter = *found->GetParameterIndexed(j);
            parameter.SetId(parameter.GetId(), parameter.GetResId());
        }
    }
}

}  // namespace ScanLab
