// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/operators/syOperator.h"

#include "hbtools/base/syObject.h"
#include "hbtools/operators/syParamBool.h"
#include "hbtools/operators/syParamDouble.h"
#include "hbtools/operators/syParamFile.h"
#include "hbtools/operators/syParamList.h"
#include "hbtools/operators/syParamLong.h"
#include "hbtools/operators/syParamString.h"
#include "operators/syOperatorParts.h"

#include <atomic>

namespace KxN {

namespace {
constinit std::atomic<unsigned long long> g_numRenamings = 0;
}

unsigned long long detail::CountRenamings() {
    return g_numRenamings;
}

KxOperator::~KxOperator() {
    while (!m_parameters.IsEmpty()) delete m_parameters.Remove(0);
}

void KxOperator::InitParameters() {}

void KxOperator::CheckParameters() {}

void KxOperator::ParameterDialogDone(CWnd*) {
    throw new KxNotImplementedException(L"syOperator", __LINE__, L"KxOperator::ParameterDialogDone");
}

void KxOperator::ParameterDialog(CWnd*) {
    throw new KxNotImplementedException(L"syOperator", __LINE__, L"KxOperator::ParameterDialog");
}

void KxOperator::SetId(unsigned short id, KxResId const& resId) {
    detail::SetTexts(resId, m_fixName, m_uiName, m_helpText);
    m_id = id;
    m_resId = resId;
    if (m_managers > 0) ++g_numRenamings;
}

OperatorReturnCode KxOperator::Execute(int interactive) {
    m_isInteractive = interactive;
    return DoExecute();
}

OperatorReturnCode KxOperator::Execute(CWnd* parent, int interactive) {
    m_parentWindow = parent;
    return Execute(interactive);
}

KxParameter* KxOperator::GetParameterIndexed(unsigned long index) const {
    return index < GetNumParameters() ? m_parameters[static_cast<int>(index)] : nullptr;
}

template <class Match>
KxParameter* KxOperator::Find(Match match) const {
    for (KxParameter* parameter : m_parameters)
        if (match(*parameter)) return parameter;
    return nullptr;
}

KxParameter* KxOperator::GetParameter(KxString const& fixName) const {
    KxParameter* const found = Find([&](KxParameter const& parameter) { return parameter.GetFixName() == fixName; });
    if (found) return found;
    throw new KxException(L"syOperator", __LINE__, detail::FormatOf(text::ParameterUnknown, fixName, m_fixName));
}

KxParameter* KxOperator::GetParameter(unsigned short id) const {
    KxParameter* const found = Find([&](KxParameter const& parameter) { return parameter.GetId() == id; });
    if (found) return found;
    throw new KxException(L"syOperator", __LINE__,
                          detail::FormatOf(text::ParameterUnknown, detail::TextOf(id), m_fixName));
}

int KxOperator::Exists(KxParameter const* parameter) const {
    return Exists(parameter->GetId());
}

int KxOperator::Exists(unsigned short id) const {
    return Find([&](KxParameter const& parameter) { return parameter.GetId() == id; }) != nullptr;
}

int KxOperator::Exists(KxString const& fixName) const {
    return Find([&](KxParameter const& parameter) { return parameter.GetFixName() == fixName; }) != nullptr;
}

void KxOperator::Insert(KxParameter* parameter) {
    if (!parameter) AfxThrowInvalidArgException();
    if (Exists(parameter)) {
        throw new KxException(L"syOperator", __LINE__,
                              detail::FormatOf(text::ParameterKnown, parameter->GetFixName(), m_fixName));
    }
    m_parameters.Append(parameter);
}

template <class T>
T& KxOperator::Typed(unsigned short id) const {
    return *static_cast<T*>(GetParameter(id));
}

void KxOperator::SetParameterLong(unsigned short id, long value) {
    Typed<KxParameterLong>(id).SetValue(value);
}

long KxOperator::GetParameterLong(unsigned short id) const {
    return Typed<KxParameterLong>(id).GetValue();
}

void KxOperator::SetParameterDouble(unsigned short id, double value) {
    Typed<KxParameterDouble>(id).SetValue(value);
}

double KxOperator::GetParameterDouble(unsigned short id) const {
    return Typed<KxParameterDouble>(id).GetValue();
}

void KxOperator::SetParameterBool(unsigned short id, int status) {
    Typed<KxParameterBool>(id).SetStatus(status);
}

int KxOperator::GetParameterBool(unsigned short id) const {
    return Typed<KxParameterBool>(id).GetStatus();
}

void KxOperator::SetParameterString(unsigned short id, KxString const& value) {
    Typed<KxParameterString>(id).SetString(value);
}

KxString KxOperator::GetParameterString(unsigned short id) const {
    return Typed<KxParameterString>(id).GetString();
}

void KxOperator::SetParameterFile(unsigned short id, KxString const& fileName) {
    Typed<KxParameterFile>(id).SetFileName(fileName);
}

KxString KxOperator::GetParameterFile(unsigned short id) const {
    return Typed<KxParameterFile>(id).GetFileName();
}

void KxOperator::SetParameterList(unsigned short id, KxString const& entry) {
    Typed<KxParameterList>(id).SelectEntry(entry);
}

KxString KxOperator::GetParameterList(unsigned short id) const {
    return Typed<KxParameterList>(id).GetSelectedEntry();
}

void KxOperator::Save(KxString const& fileName) {
    detail::SharedSettings settings(fileName);
    for (KxParameter* parameter : m_parameters) parameter->Save(fileName, m_fixName);
    settings.Store();
}

void KxOperator::Load(KxString const& fileName) {
    {
        detail::SharedSettings const settings(fileName);
        for (KxParameter* parameter : m_parameters) parameter->Load(fileName, m_fixName);
    }
    detail::SlotFailure failure;
    auto const emit = [&](KxTSignal<KxParameter&>& signal, KxParameter& parameter) {
        try {
            signal.Emit(parameter);
        } catch (...) {
            failure.Keep();
        }
    };
    for (unsigned long i = 0; i < GetNumParameters(); ++i) {  // by index: a slot may insert
        KxParameter& parameter = *GetParameterIndexed(i);
        emit(parameter.SignalValueChanged, parameter);
        emit(parameter.SignalEnabledChanged, parameter);
        emit(parameter.SignalAttributesChanged, parameter);
    }
    failure.Rethrow();
}

}  // namespace KxN
